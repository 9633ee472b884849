"""Names are bytes; those that are not UTF-8 come and go as Python's own names of files do."""

from __future__ import annotations

import os
import pathlib

import pytest

import devices
import kep_rg

ODD = "caf\udce9"  # the byte 0xe9


def build_odd() -> kep_rg.Device:
    """Two muxes in a ring, with a byte in their names that is not UTF-8."""
    model = kep_rg.Model()
    mux = model.add_module("MUX")
    mux.add_port("a", "input")
    mux.add_port("o", "output")
    top = model.add_module("TOP")
    there, back = top.add_net(f"there{ODD}"), top.add_net("back")
    top.add_instance(f"left{ODD}", mux, {"a": back, "o": there}, inst_header=True)
    top.add_instance(f"right{ODD}", mux, {"a": there, "o": back}, inst_header=True)
    return kep_rg.build(model, kep_rg.Text(devices.MUX_ROUTING))


@pytest.mark.parametrize("is_saved", [False, True])
def test_names_of_nodes_are_told_and_taken(tmp_path: pathlib.Path, is_saved: bool) -> None:
    device = build_odd()
    if is_saved:
        device.save(tmp_path / "odd.kdb")
        device = kep_rg.open(tmp_path / "odd.kdb")
    left, right = f"left{ODD}:o", f"right{ODD}:o"
    assert device.names() == [node.name for node in device] == [left, right]
    assert [device.node(left).index, device.find_nodes(right)[0].index] == [0, 1]
    assert left in repr(device.node(0)) and right in repr(device.node(0).fanouts[0])
    assert device.node(0).fanouts[0].mux_input == f"right{ODD}:a"
    trace = device.trace(left, right)
    assert [str(step) for step in trace.steps] == [
        f"net there{ODD} to right{ODD}:a", f"mux right{ODD} to right{ODD}:o",
    ]
    assert ODD in repr(trace.steps[0])
    assert [finding.text for finding in device.check().findings] == [
        f"Unreachable node {left}", f"Unreachable node {right}",
    ]
    with pytest.raises(kep_rg.NotFoundError, match=f'^no node "left{ODD}:p"; closest: {left}'):
        device.node(f"left{ODD}:p")


def test_files_have_names_of_any_bytes(tmp_path: pathlib.Path) -> None:
    folder = os.fsencode(tmp_path)
    database, model, routing = (folder + b"/\xe9" + suffix for suffix in (b".kdb", b".json", b".jsonl"))
    build_odd().save(database)
    device = kep_rg.open(os.fsdecode(database))
    assert os.fsencode(device.name) == database and device.name in repr(device)
    pathlib.Path(os.fsdecode(model)).write_text(devices.MUX_MODEL.replace("kep_inst_header", "kep_inst_heeder"))
    pathlib.Path(os.fsdecode(routing)).write_text(devices.MUX_ROUTING)
    with pytest.warns(kep_rg.InputWarning) as warned:
        kep_rg.build(model, routing)
    assert str(warned[0].message).startswith(f"{os.fsdecode(model)}: ")


def test_names_of_a_model_go_in_and_come_out() -> None:
    model = kep_rg.Model()
    module = model.add_module(ODD)
    module.add_port(ODD, "input")
    net = module.add_net(ODD)
    module.connect(ODD, net)
    with pytest.raises(kep_rg.ArgumentError, match=f'^module "{ODD}" has no port "x{ODD}"$'):
        module.connect(f"x{ODD}", net)
    assert (module.key, net.name, repr(net)) == (ODD, ODD, f'<kep_rg.Net "{ODD}">')
    with pytest.raises(TypeError):
        model.add_module("\ud800")  # stands for no byte
