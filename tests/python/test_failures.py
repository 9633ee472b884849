"""Whatever is wrong is an exception with one line, and nothing ends the interpreter."""

from __future__ import annotations

import copy
import pathlib
import pickle
import subprocess
from collections.abc import Callable
from typing import Any

import pytest

import devices
import kep_rg


def get_line_of_tool(*words: object) -> str:
    done = subprocess.run([devices.TOOL, *map(str, words)], capture_output=True, text=True)
    assert done.returncode == 2
    return done.stderr.removeprefix("kep-rg: ").rstrip("\n")


@pytest.mark.parametrize(
    "model, routing",
    [
        ("{", ""),
        ('{"modules": {"A": {"cells": {"b": {"type": "B"}}}}}', ""),
        ('{"modules": {"A": {}, "B": {}}}', ""),
        ('{"modules": {"A": {"attributes": {"kep_view": "X"}}}}', ""),
        (devices.MUX_MODEL, "{"),
        (devices.MUX_MODEL, devices.MUX_ROUTING + '{"op": "add_port_edge"}\n'),
        (devices.MUX_MODEL, '{"op": "add_port_edge", "module": "MUX", "input": "a\\u001b", "output": "o"}'),
    ],
)
def test_input_is_refused_with_the_line_of_the_tool(tmp_path: pathlib.Path, model: str, routing: str) -> None:
    (tmp_path / "m.json").write_text(model)
    (tmp_path / "r.jsonl").write_text(routing)
    with pytest.raises(kep_rg.InputError) as refusal:
        kep_rg.build(tmp_path / "m.json", tmp_path / "r.jsonl")
    assert str(refusal.value) == get_line_of_tool("build", tmp_path / "m.json", tmp_path / "r.jsonl")
    assert "\n" not in str(refusal.value)


@pytest.mark.parametrize("content", [b"", b"KEPRGDB", b"\xff" * 1000, None])
def test_a_file_that_is_no_database_is_refused_with_the_line_of_the_tool(
    tmp_path: pathlib.Path, content: bytes | None
) -> None:
    path = tmp_path / "x.kdb"
    if content is not None:
        path.write_bytes(content)
    with pytest.raises(kep_rg.InputError) as refusal:
        kep_rg.open(path)
    assert str(refusal.value) == get_line_of_tool("info", path)


def test_a_damaged_database_is_refused(tmp_path: pathlib.Path) -> None:
    path = tmp_path / "ring.kdb"
    devices.build_ring().save(path)
    whole = path.read_bytes()
    for at in range(0, len(whole), 37):
        path.write_bytes(whole[:at] + bytes([whole[at] ^ 0x55]) + whole[at + 1 :])
        with pytest.raises(kep_rg.InputError):
            kep_rg.open(path)
        try:
            device = kep_rg.open(path, checksums=False)
        except kep_rg.InputError:
            continue
        try:
            kep_rg.edges(device)
            devices.get_dump(device)
        except kep_rg.Error:
            pass


def test_a_name_without_a_node_is_told_with_the_closest_ones() -> None:
    with pytest.raises(kep_rg.NotFoundError, match='^no node "left/m:p"; closest: left/m:o$'):
        devices.build_ring().node("left/m:p")


@pytest.mark.parametrize("number", [-1, 2, 2**32, 2**62])
def test_a_number_without_a_node_is_refused(number: int) -> None:
    with pytest.raises(kep_rg.NotFoundError, match=f"^no node {number}: ring.json has 2 nodes$"):
        devices.build_ring().node(number)


@pytest.mark.parametrize("first, last", [(-1, 1), (0, 3), (2, 1), (5, None), (0, -1), (-5, -2), (0, 2**40)])
def test_a_range_that_is_not_there_is_refused(first: int, last: int | None) -> None:
    ring = devices.build_ring()
    for call in (kep_rg.edges, kep_rg.Device.names):
        with pytest.raises(kep_rg.ArgumentError, match=r"^nodes -?\d+ to -?\d+: ring.json has nodes 0 to 2$"):
            call(ring, first, last)


def test_nodes_of_another_device_are_refused() -> None:
    ring, other = devices.build_ring(), devices.build_ring()
    with pytest.raises(kep_rg.ArgumentError, match='^node "left/m:o" is one of another device, ring.json$'):
        ring.trace(other.node("left/m:o"), ring.node("right/m:o"))


def test_an_edge_that_is_not_there_is_told() -> None:
    with pytest.raises(kep_rg.NotFoundError, match="^No edge from left/m:o to left/m:o$"):
        devices.build_ring().trace("left/m:o", "left/m:o")


@pytest.mark.parametrize("threads", [0, -1])
def test_less_than_one_thread_is_refused(threads: int) -> None:
    with pytest.raises(kep_rg.ArgumentError, match=f"^threads={threads}: "):
        devices.build_ring().check(threads=threads)


def test_a_file_that_cannot_be_written_is_told(tmp_path: pathlib.Path) -> None:
    with pytest.raises(kep_rg.OutputError, match="^.*/nowhere/x.kdb: can't be written: No such file or directory$"):
        devices.build_ring().save(tmp_path / "nowhere" / "x.kdb")


def test_what_is_odd_is_a_warning_at_the_line_of_the_caller(tmp_path: pathlib.Path) -> None:
    model = devices.MUX_MODEL.replace("kep_inst_header", "kep_inst_heeder")
    with pytest.warns(kep_rg.InputWarning) as warned:
        kep_rg.build(kep_rg.Text(model, "odd.json"), kep_rg.Text(devices.MUX_ROUTING))
    assert str(warned[0].message).startswith("odd.json: ")
    assert "kep_inst_header" in str(warned[0].message)
    assert warned[0].filename == __file__


@pytest.mark.parametrize("junk", [None, 1.5, "x", b"x", object(), [], kep_rg.Device, 2**70])
def test_junk_is_a_python_exception(junk: Any) -> None:
    ring = devices.build_ring()

    def add_instance(connections: Any) -> object:
        module = kep_rg.Model().add_module("A")
        return module.add_instance("a", module, connections)

    calls: list[Callable[[], object]] = [
        lambda: kep_rg.open(junk),
        lambda: kep_rg.build(junk),
        lambda: kep_rg.build(kep_rg.Text(devices.MUX_MODEL), [junk]),
        lambda: kep_rg.build(kep_rg.Text(junk)),
        lambda: ring.node(junk),
        lambda: ring.trace(junk, 0),
        lambda: ring.names(junk),
        lambda: ring.trace(0, junk),
        lambda: kep_rg.edges(junk),
        lambda: kep_rg.matrix(junk),
        lambda: ring.check(max_findings=-junk if isinstance(junk, int) else junk),
        lambda: kep_rg.Model().add_module("A").add_instance("a", junk),
        lambda: add_instance({"o": junk}),
        lambda: add_instance({junk: None} if junk != [] else junk),
        lambda: kep_rg.Model().add_module("A").connect("a", junk),
    ]
    for call in calls:
        with pytest.raises((kep_rg.Error, TypeError, ValueError)):
            call()


def test_objects_that_hold_nothing_cannot_be_made() -> None:
    classes: list[Any] = [
        kep_rg.Device, kep_rg.Node, kep_rg.Edge, kep_rg.Step, kep_rg.Trace, kep_rg.Finding, kep_rg.CheckReport,
        kep_rg.Module, kep_rg.Instance, kep_rg.Net,
    ]
    for made in classes:
        told = f"^{made.__name__} objects are made by other calls of kep_rg alone$"
        with pytest.raises(TypeError, match=told):
            made()
        with pytest.raises(TypeError, match=told):
            made.__new__(made)
    empty = kep_rg.Model.__new__(kep_rg.Model)
    with pytest.raises(RuntimeError):
        empty.add_module("A")
    with pytest.raises(TypeError):
        kep_rg.build(empty)


@pytest.mark.parametrize("protocol", range(6))
def test_objects_are_not_pickled_and_that_is_told(protocol: int) -> None:
    ring = devices.build_ring()
    for each in (ring, ring.node(0), ring.node(0).fanouts[0], iter(ring), ring.check(), kep_rg.Model()):
        with pytest.raises(TypeError, match="^cannot pickle a "):
            pickle.dumps(each, protocol)
    with pytest.raises(TypeError, match="^cannot pickle a Node: what it holds lives in this process alone$"):
        copy.copy(ring.node(0))


def test_errors_are_of_one_family() -> None:
    for error in (kep_rg.InputError, kep_rg.OutputError, kep_rg.ArgumentError, kep_rg.NotFoundError,
                  kep_rg.InternalError):
        assert issubclass(error, kep_rg.Error)
    assert issubclass(kep_rg.NotFoundError, LookupError)
    assert issubclass(kep_rg.ArgumentError, ValueError)


def test_a_plain_tuple_is_no_source_and_a_path_of_bytes_is_one(tmp_path: pathlib.Path) -> None:
    routing = tmp_path / "r.jsonl"
    routing.write_text(devices.MUX_ROUTING)
    model = kep_rg.Text(devices.MUX_MODEL)
    pair: Any = ("a.json", devices.MUX_MODEL)
    calls: list[Callable[[], object]] = [
        lambda: kep_rg.build(pair),
        lambda: kep_rg.build(model, [pair]),
        lambda: kep_rg.build(model, (), [pair]),
    ]
    for call in calls:
        with pytest.raises(TypeError, match="^expected a path, a Text or a Routing, not a plain tuple$"):
            call()
    assert len(kep_rg.build(model, bytes(routing))) == len(kep_rg.build(model, (bytes(routing),))) == 2
