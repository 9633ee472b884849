"""Devices described call by call are those of files."""

from __future__ import annotations

import json
import pathlib
from collections.abc import Callable
from typing import Any, Optional

import pytest

import devices
import kep_rg


def describe(model: dict[str, Any]) -> kep_rg.Model:
    """A model file, one bit a port, as calls."""
    made = kep_rg.Model()
    modules: dict[str, kep_rg.Module] = {}
    for key, module in model["modules"].items():
        attributes = {name.removeprefix("kep_"): value for name, value in module.get("attributes", {}).items()}
        flags = {name: bool(value) for name, value in attributes.items() if isinstance(value, int) and name != "db_type"}
        modules[key] = made.add_module(key, **{**attributes, **flags})
        for name, port in module.get("ports", {}).items():
            blc = module.get("netnames", {}).get(name, {}).get("attributes", {})
            modules[key].add_port(
                name,
                port["direction"],
                blc_re_index=blc.get("kep_blc_re_index", -1),
                blc_icd_port_name=blc.get("kep_blc_icd_port_name", ""),
            )
    for key, module in model["modules"].items():
        describe_contents(modules, modules[key], module)
    return made


def describe_contents(modules: dict[str, kep_rg.Module], made: kep_rg.Module, module: dict[str, Any]) -> None:
    names = {entry["bits"][0]: name for name, entry in reversed(module.get("netnames", {}).items())}
    nets: dict[int, kep_rg.Net] = {}

    def get_net(bits: list[Any]) -> Optional[kep_rg.Net]:
        if not bits or isinstance(bits[0], str):
            return None
        if bits[0] not in nets:
            nets[bits[0]] = made.add_net(names.get(bits[0], f"$n{bits[0]}"))
        return nets[bits[0]]

    for name, port in module.get("ports", {}).items():
        if net := get_net(port["bits"]):
            made.connect(name, net)
    for name, cell in module.get("cells", {}).items():
        attributes = {key.removeprefix("kep_"): bool(value) for key, value in cell.get("attributes", {}).items()}
        instance = made.add_instance(name, modules[cell["type"]], {}, **attributes)
        for port, bits in cell["connections"].items():
            if net := get_net(bits):
                instance.connect(port, net)


def state(lines: str) -> kep_rg.Routing:
    """A routing file as calls."""
    routing = kep_rg.Routing()
    for line in lines.splitlines():
        if line.strip() and not line.startswith("#"):
            fields = json.loads(line)
            getattr(routing, fields.pop("op"))(**fields)
    return routing


@pytest.mark.parametrize("folder", devices.EXAMPLE_FOLDERS, ids=devices.EXAMPLE_NAMES)
def test_an_example_described_by_calls_has_the_graph_of_its_files(folder: pathlib.Path) -> None:
    model = describe(json.loads((folder / "model.json").read_text()))
    routing = state((folder / "routing.jsonl").read_text())
    redundancy = folder / "redundancy.txt"
    device = kep_rg.build(model, routing, redundancy if redundancy.exists() else ())
    assert devices.get_dump(device) == devices.get_dump(devices.build_folder(folder))


def test_a_routing_description_has_a_statement_for_each_of_a_file() -> None:
    routing = kep_rg.Routing()
    routing.add_port_edge("M", "a", "o", view="BLC", hipi=1, flag=True)
    routing.add_routing_flyover("M", "a", "o")
    routing.add_routing_root("M", "LOGICAL")
    routing.add_inserted_node("M", "o")
    routing.add_remove_node("M", "o")
    routing.add_tunnel_type("M", 2)
    routing.add_module_is_not_template("M")
    routing.disable_merge("M", "o")
    routing.set_skip_paths("M", True)
    routing.set_skip_paths("M", False, instance="m")
    routing.add_skip_paths_to_output_port("M", "o")
    routing.set_non_template_mux_skip_path_inst_name_pattern("skip")
    routing.add_wire_type("M", "o", "long", flags=3)
    routing.set_spare_row("a/b")
    statements = [json.loads(line) for line in routing.text.splitlines()]
    assert len(routing) == len(statements) == 14
    assert statements[0] == {
        "op": "add_port_edge", "module": "M", "view": "BLC", "input": "a", "output": "o", "hipi": 1, "flag": True,
    }
    assert statements[8] == {"op": "set_skip_paths", "module": "M", "view": "LOGICAL", "skip": True}
    formats = (devices.ROOT / "docs" / "formats.md").read_text()
    told = formats[formats.index("## Routing description") : formats.index("## Redundancy data")]
    ops = {line.split("`")[1] for line in told.splitlines() if line.startswith("| `")} - {"op"}
    assert {statement["op"] for statement in statements} == ops


def test_a_statement_that_is_refused_is_told_by_its_number() -> None:
    routing = kep_rg.Routing()
    routing.add_port_edge("MUX", "a", "o")
    routing.add_port_edge("MUX", "b", "o")
    with pytest.raises(kep_rg.InputError, match='^routing:2: no port "b" in module "MUX"$'):
        kep_rg.build(kep_rg.Text(devices.MUX_MODEL), routing)


def test_a_model_with_a_fault_is_refused_by_the_build() -> None:
    model = kep_rg.Model()
    model.add_module("A")
    model.add_module("A")
    with pytest.raises(kep_rg.InputError, match="^modules.A: a module of that key stands before$"):
        kep_rg.build(model)


def test_a_model_is_built_once() -> None:
    model = kep_rg.Model()
    top = model.add_module("TOP")
    with pytest.warns(kep_rg.InputWarning, match="^model: no port of a cell became a node: no routing description"):
        kep_rg.build(model)
    calls: list[Callable[[], object]] = [
        lambda: kep_rg.build(model),
        lambda: model.add_module("A"),
        lambda: top.add_net("n"),
    ]
    for call in calls:
        with pytest.raises(kep_rg.ArgumentError, match="^the model was given to a build; a new one begins with Model"):
            call()


def test_a_model_is_used_up_by_a_build_that_fails() -> None:
    model = kep_rg.Model()
    model.add_module("TOP")
    with pytest.raises(kep_rg.InputError):
        kep_rg.build(model, kep_rg.Text("{"))
    with pytest.raises(kep_rg.ArgumentError, match="^the model was given to a build; "):
        kep_rg.build(model)


def test_a_wrong_call_is_refused_and_changes_nothing() -> None:
    model, other = kep_rg.Model(), kep_rg.Model()
    mux, top = model.add_module("MUX"), model.add_module("TOP")
    mux.add_port("o", "output")
    inside, outside = mux.add_net("inside"), top.add_net("outside")
    instance = top.add_instance("m", mux)
    with pytest.raises(kep_rg.ArgumentError, match='^module "MUX" has no port "p"$'):
        instance.connect("p", outside)
    with pytest.raises(kep_rg.ArgumentError, match='^module "MUX" has no port "p"$'):
        top.add_instance("n", mux, {"o": outside, "p": outside})
    with pytest.raises(kep_rg.ArgumentError, match='^net "inside" lies in module "MUX", and not in "TOP"$'):
        instance.connect("o", inside)
    with pytest.raises(kep_rg.ArgumentError, match='^module "FAR" is one of another model$'):
        top.add_instance("far", other.add_module("FAR"))
    with pytest.raises(kep_rg.ArgumentError, match='^no direction is called "in"; there are "input", '):
        mux.add_port("x", "in")  # type: ignore[arg-type]
    with pytest.raises(kep_rg.ArgumentError, match='^no view is called "blc"; there are "LOGICAL", '):
        model.add_module("X", view="blc")  # type: ignore[arg-type]
    with pytest.raises(kep_rg.ArgumentError, match="^db_type=3: 0, 1 or 2$"):
        model.add_module("X", db_type=3)
    with pytest.warns(kep_rg.InputWarning):
        assert len(kep_rg.build(model)) == 0
