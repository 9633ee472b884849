"""A router that exists routes on a graph, and what it routed is held to that graph."""

from __future__ import annotations

import json
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
from collections import Counter
from typing import NamedTuple, Optional

import pytest

import devices
import kep_rg

EXAMPLES = devices.ROOT / "examples"
sys.path.append(str(EXAMPLES / "python"))
from routes import Route, check

PAGE = devices.ROOT / "docs" / "python.md"
PROGRAM = EXAMPLES / "python" / "nextpnr_generic.py"
NEEDED = ["nextpnr-generic", "yosys", str(devices.CHIPDB)]
LACKING = [each for each in NEEDED if not shutil.which(each) and not pathlib.Path(each).exists()]
Steps = list[tuple[kep_rg.Node, kep_rg.Node, Optional[str]]]

# Two muxes drive one net, which leads to two more.
MODEL = """{"modules": {
  "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "b": {"direction": "input", "bits": [4]},
                    "o": {"direction": "output", "bits": [3]}}},
  "TOP": {"cells": {
    "left":  {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"a": [3], "o": [2]}},
    "right": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"o": [2]}},
    "up":    {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"a": [2], "b": [2], "o": [3]}},
    "down":  {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"a": [2], "b": [3], "o": [4]}}}}}}"""
ROUTING = "".join(
    '{"op": "add_port_edge", "module": "MUX", "input": "%s", "output": "o"}\n' % port for port in "ab"
)


@pytest.fixture(scope="module")
def device() -> kep_rg.Device:
    return kep_rg.build(kep_rg.Text(MODEL, "model"), kep_rg.Text(ROUTING, "routing"))


def make_route(device: kep_rg.Device, net: str, pins: str, *steps: str) -> Route:
    """Pins are "driver reader ...", a step is "source target input"; all by the names of cells."""
    driver, *readers = [device.node(f"{cell}:o") for cell in pins.split()]
    words = [step.split() for step in steps]
    taken = [(device.node(f"{a}:o"), device.node(f"{b}:o"), f"{b}:{port}") for a, b, port in words]
    return Route(net, driver, readers, [*taken])


def test_routes_that_are_trees_of_edges_have_no_faults(device: kep_rg.Device) -> None:
    n = make_route(device, "n", "left down up", "left up b", "up down b")
    assert list(check([n])) == []
    assert list(check([make_route(device, "n", "left")])) == []


@pytest.mark.parametrize(
    "routes, faults",
    [
        ([("n", "up left", "up left b")], ["n: no edge up:o -> left:o through left:b"]),
        ([("n", "up right", "up right a")], ["n: no edge up:o -> right:o through right:a"]),
        ([("n", "left up down", "left up a")], ["n: down:o isn't reached"]),
        ([("n", "left down", "up down b")], ["n: down:o isn't reached", "n: up:o isn't reached"]),
        ([("n", "left up", "left up a", "left up b")], ["n: up:o is reached 2 times"]),
        ([("n", "left up", "left up a", "up left a")], ["n: left:o is reached 2 times"]),
        ([("n", "left up", "left up a"), ("m", "up down", "up down b")], ["m: up:o drives what up:o drives for n"]),
        ([("n", "left up", "left up a"), ("m", "right down", "right down a")],
         ["m: right:o drives what left:o drives for n"]),
        ([("n", "left down", "left down a"), ("m", "up down", "up down b")],
         ["m: down:o drives what down:o drives for n"]),
    ],
)
def test_what_is_wrong_with_routes_is_told(
    device: kep_rg.Device, routes: list[tuple[str, ...]], faults: list[str]
) -> None:
    assert list(check(make_route(device, *route) for route in routes)) == faults


def read_samples() -> list[tuple[str, str]]:
    """The commands of the page's section on routers, each with what the page shows below it."""
    section = PAGE.read_text().split("\n## In a router\n")[1].split("\n## ")[0]
    samples = re.findall(r"^    \$ (.*)\n((?:    (?!\$ ).*\n)*)", section, re.MULTILINE)
    return [(command, re.sub("^    ", "", shown, flags=re.MULTILINE)) for command, shown in samples]


@pytest.fixture(scope="module")
def ran(tmp_path_factory: pytest.TempPathFactory) -> tuple[pathlib.Path, list[tuple[str, str, str]]]:
    """A folder in which the commands of the page ran; each of them, what the page shows and what was printed."""
    if LACKING:
        pytest.skip(f"not installed: {', '.join(LACKING)}")
    top = tmp_path_factory.mktemp("router")
    (top / "load.py").write_text("import kep_rg")
    if subprocess.run(["nextpnr-generic", "--run", top / "load.py"], capture_output=True).returncode:
        pytest.skip("the Python inside nextpnr-generic can't load the module of this build")
    (top / "kep-rg").symlink_to(pathlib.Path(devices.TOOL).resolve())
    (top / "python3").symlink_to(sys.executable)
    shutil.copytree(EXAMPLES, top / "examples")
    (enter, _), *samples = read_samples()
    folder, results = top / enter.removeprefix("cd "), []
    for command, shown in samples:
        environment = {**os.environ, "PATH": f"{top}:{os.environ['PATH']}"}
        done = subprocess.run(command, shell=True, cwd=folder, env=environment, capture_output=True, text=True)
        assert (done.returncode, done.stderr) == (0, ""), command
        results.append((command, shown, done.stdout))
    return folder, results


@pytest.fixture(scope="module")
def folder(ran: tuple[pathlib.Path, list[tuple[str, str, str]]]) -> pathlib.Path:
    return ran[0]


def test_the_page_shows_what_its_commands_print(ran: tuple[pathlib.Path, list[tuple[str, str, str]]]) -> None:
    assert len(ran[1]) > 4
    for command, shown, printed in ran[1]:
        assert printed == shown, command


class Lines(NamedTuple):
    """A net of the program's output, by names."""

    net: str
    driver: str
    readers: list[str]
    steps: list[tuple[str, str, Optional[str]]]


def read_routes(folder: pathlib.Path) -> list[Lines]:
    *lines, last = (folder / "routes.txt").read_text().splitlines()
    routes: list[Lines] = []
    for line in lines:
        if match := re.fullmatch(r"  (\S+) -> (\S+)(?: through (\S+))?", line):
            routes[-1].steps.append((match[1], match[2], match[3]))
        else:
            net, driver, readers = re.fullmatch(r"(\S+): (\S+) to (.*)", line).groups()  # type: ignore[union-attr]
            routes.append(Lines(net, driver, readers.split(", "), []))
    assert last == f"{len(routes)} nets, {sum(len(route.steps) for route in routes)} steps, 0 faults"
    return routes


def test_the_nets_of_the_netlist_are_routed(folder: pathlib.Path) -> None:
    netlist = json.loads((folder / "multiply.json").read_text())["modules"]["multiply"]
    readers = Counter(
        bit
        for cell in netlist["cells"].values()
        for port, [bit] in cell["connections"].items()
        if cell["port_directions"][port] == "input" and bit != "x"
    )
    routes = read_routes(folder)
    assert max(readers.values()) > 5
    assert sorted(readers.values()) == sorted(len(set(route.readers)) for route in routes)
    assert len(netlist["cells"]) == len({pin.split(":")[0] for net in routes for pin in [net.driver, *net.readers]})


def test_each_step_is_an_edge_of_the_dump_and_leads_on_from_the_driver(folder: pathlib.Path) -> None:
    devices.run_tool("build", folder / "384.json", folder / "384.jsonl", "--dump", folder / "graph")
    edges = {(edge.source, edge.target, edge.mux_input or None) for edge in devices.read_dump(folder / "graph")[1]}
    used: set[str] = set()
    for route in read_routes(folder):
        sources = {target: source for source, target, _ in route.steps}
        assert edges.issuperset(route.steps)
        assert len(sources) == len(route.steps)
        for node in [*sources, *route.readers]:
            for _ in sources:
                node = sources.get(node, node)
            assert node == route.driver
        nodes = {route.driver, *sources}
        assert not used & nodes
        used |= nodes


def test_no_damage_to_a_route_goes_unseen(folder: pathlib.Path) -> None:
    device = kep_rg.build(folder / "384.json", folder / "384.jsonl")
    routes = [
        Route(
            route.net,
            device.node(route.driver),
            [device.node(name) for name in route.readers],
            [(device.node(source), device.node(target), mux_input) for source, target, mux_input in route.steps],
        )
        for route in read_routes(folder)
    ]
    assert list(check(routes)) == []
    chance = random.Random(17)
    for turn in range(400):
        damaged, other = chance.sample(routes, 2)
        place = chance.randrange(len(damaged.steps))
        source, target, mux_input = damaged.steps[place]
        stray = device.node(chance.randrange(len(device)))
        wrong: list[Steps] = [[], [(source, stray, mux_input)], [(stray, target, mux_input)], [(source, target, "m:i")]]
        instead = [*wrong, other.steps][turn % 5]
        changed = damaged._replace(steps=damaged.steps[:place] + instead + damaged.steps[place + 1 :])
        assert stray in (source, target) or list(check([changed])), (turn, changed)


def run_program(*words: object) -> subprocess.CompletedProcess[str]:
    return subprocess.run([sys.executable, PROGRAM, *map(str, words)], capture_output=True, text=True)


def test_what_cant_be_routed_ends_in_status_1(folder: pathlib.Path, tmp_path: pathlib.Path) -> None:
    model, routing, netlist = folder / "384.json", folder / "384.jsonl", folder / "multiply.json"
    other = tmp_path / "other.json"
    other.write_text(netlist.read_text().replace("bel.io.1", "bel.none"))
    done = run_program(model, routing, other)
    assert (done.returncode, done.stdout) == (1, "")
    assert re.match(r"ERROR: failed to place cell '.*' of type 'bel.none'\n", done.stderr)
    done = run_program(model, tmp_path / "none", netlist)
    assert done.returncode == 1
    assert done.stderr.strip() == f"{tmp_path}/none: can't be read: No such file or directory"
