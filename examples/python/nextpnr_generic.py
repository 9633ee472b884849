"""Routes a netlist on a device by nextpnr-generic, and holds each step of the routes to the device's graph.

usage: nextpnr_generic.py MODEL.json ROUTING.jsonl NETLIST.json [OPTION of nextpnr-generic ...]

Nodes are wires, those that drive one net together one; edges are pips, cells with inserted nodes are bels. Cells of the
netlist, a file as Yosys writes it, are of modules of the model. Status 1: a net isn't routed, or a route is wrong.
"""

import json
import os
import re
import subprocess
import sys
from collections.abc import Iterator
from typing import Any

import kep_rg
from routes import Route, check, get_driven

ctx: Any  # nextpnr-generic gives these two to a file that it runs
Loc: Any


def get_place(name: str) -> tuple[int, int]:
    """Column and row, by which the router guesses distances, where a name begins with them like 3_12/ or x3y12/."""
    place = re.match(r"x?(\d{1,3})[_y](\d{1,3})/", name)
    return (int(place[1]), int(place[2])) if place else (0, 0)


def add_wires(device: kep_rg.Device) -> tuple[list[str], dict[str, kep_rg.Edge]]:
    """Gives the wire of each node, by number, and an edge of each pip. What a net leads to first tells nets apart."""
    found: dict[str, str] = {}
    wires = [found.setdefault(min(get_driven(node)), f"{node.name}#{node.index}") for node in device]
    for wire in found.values():
        ctx.addWire(wire, "wire", *get_place(wire))
    pips: dict[str, kep_rg.Edge] = {}
    delay = ctx.getDelayFromNS(0.05)  # with much more the router would rather give up than look around
    for node, wire in zip(device, wires):
        for edge, pip in zip(node.fanouts, get_driven(node)):
            if pips.setdefault(pip, edge) is edge:
                ctx.addPip(pip, "pip", wire, wires[edge.target.index], delay, Loc(*get_place(pip), 0))
    return wires, pips


def iter_cells(modules: dict[str, Any], module: str, path: str = "") -> Iterator[tuple[str, str]]:
    """All cells below a module by their full names, each with its own module."""
    for name, cell in modules[module].get("cells", {}).items():
        yield path + name, cell["type"]
        yield from iter_cells(modules, cell["type"], f"{path}{name}/")


def add_bels(device: kep_rg.Device, wires: list[str], modules: dict[str, Any], pins: list[tuple[str, str]]) -> None:
    tops = modules.keys() - {cell["type"] for module in modules.values() for cell in module.get("cells", {}).values()}
    owners = {module for module, _ in pins}
    cells = (each for top in sorted(tops) for each in iter_cells(modules, top) if each[1] in owners)
    for level, (cell, module) in enumerate(cells):
        ctx.addBel(cell, module, Loc(*get_place(cell), level), False, False)
        for pin in (pin for owner, pin in pins if owner == module):
            add = ctx.addBelInput if modules[module]["ports"][pin]["direction"] == "input" else ctx.addBelOutput
            add(cell, pin, wires[device.node(f"{cell}:{pin}").index])


def iter_routes(device: kep_rg.Device, pips: dict[str, kep_rg.Edge]) -> Iterator[Route]:
    for name, net in ctx.nets:
        if net.driver.cell:
            driver = device.node(f"{net.driver.cell.bel}:{net.driver.port}")
            readers = [device.node(f"{user.cell.bel}:{user.port}") for user in net.users]
            taken = [(wire, ctx.getPipSrcWire(pip.pip), pips[pip.pip]) for wire, pip in net.wires if pip.pip]
            nodes = {wire: edge.target for wire, _, edge in taken}  # by which the net comes to a wire
            steps = [(nodes.get(before, driver), edge.target, edge.mux_input) for _, before, edge in taken]
            yield Route(name, driver, readers, steps)


def route(model: str, routing: str) -> bool:
    """Makes an architecture of the device, and routes the netlist that nextpnr-generic has read; was it routed well?"""
    device = kep_rg.build(model, routing)
    wires, pips = add_wires(device)
    with open(model) as model_file, open(routing) as routing_file:
        statements = [json.loads(line) for line in routing_file if line.lstrip().startswith("{")]
        pins = [(each["module"], each["port"]) for each in statements if each["op"] == "add_inserted_node"]
        add_bels(device, wires, json.load(model_file)["modules"], pins)
    if not (ctx.pack() and ctx.place() and ctx.route()):
        return False
    routes = sorted(iter_routes(device, pips))
    faults = list(check(routes))
    num_steps = sum(len(each.steps) for each in routes)
    print(*routes, *faults, f"{len(routes)} nets, {num_steps} steps, {len(faults)} faults", sep="\n")
    return not faults


if __name__ == "__main__":
    try:
        if "ctx" in globals():
            sys.exit(not route(*json.loads(os.environ["KEP_RG_FILES"])))
        os.environ["KEP_RG_FILES"] = json.dumps(sys.argv[1:3])
        os.environ["PYTHONPATH"] = os.pathsep.join([sys.path[0], os.environ.get("PYTHONPATH", "")])
        command = ["nextpnr-generic", "--quiet", "--placer", "sa", "--run", __file__, "--json", *sys.argv[3:]]
        sys.exit(subprocess.run(command).returncode != 0)
    except (kep_rg.Error, OSError) as error:
        sys.exit(str(error))
