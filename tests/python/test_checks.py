"""Checks and traces give what the tool prints, as objects."""

from __future__ import annotations

import ctypes
import pathlib
import re
import struct
import subprocess
from collections.abc import Callable, Collection, Sequence

import pytest

import devices
import kep_rg


def test_a_trace_leads_through_the_hierarchy_step_by_step() -> None:
    trace = devices.build_ring().trace("left/m:o", "right/m:o")
    assert [(step.kind, step.name, step.to) for step in trace.steps] == [
        ("net", "left/$n6", "left:out"),
        ("net", "$n3", "right:in"),
        ("net", "right/$n5", "right/m:a"),
        ("mux", "right/m", "right/m:o"),
    ]
    assert trace.is_verified and trace.reason == ""
    assert [edge.mux_input for edge in trace.edges] == ["right/m:a"]


def test_a_trace_takes_nodes_numbers_and_names() -> None:
    ring = devices.build_ring()
    steps = [str(step) for step in ring.trace("left/m:o", "right/m:o").steps]
    assert [str(step) for step in ring.trace(ring.node("left/m:o"), ring.node("right/m:o")).steps] == steps
    numbers = ring.node("left/m:o").index, ring.node("right/m:o").index
    assert [str(step) for step in ring.trace(*numbers).steps] == steps


def test_an_edge_at_a_boundary_node_has_no_trace_and_the_reason_is_told() -> None:
    device = devices.build_folder(devices.EXAMPLES / "top_ports_routed")
    edge = next(edge for node in device if node.is_boundary for edge in node.fanouts)
    trace = device.trace(edge.source, edge.target)
    assert not trace.is_verified and trace.steps == []
    assert "boundary" in trace.reason


def test_a_name_stands_for_all_nodes_at_its_place() -> None:
    device = devices.build_folder(devices.EXAMPLES / "hipi_twin")
    edge = next(edge for node in device if node.is_hipi for edge in node.fanouts)
    assert device.trace(edge.source.name, edge.target.name).edges


def test_all_edges_of_a_sound_device_verify(fabric_device: kep_rg.Device) -> None:
    report = fabric_device.check(trace=True)
    assert report.is_clean and report.counts == {} and report.findings == []
    assert repr(report) == "<kep_rg.CheckReport: nothing found>"


def build_unreachable() -> kep_rg.Device:
    """Muxes in rows that no input reaches, beside one that an input does."""
    model = kep_rg.Model()
    mux = model.add_module("MUX")
    mux.add_port("a", "input")
    mux.add_port("o", "output")
    pad = model.add_module("PAD")
    pad.add_port("o", "output")
    top = model.add_module("TOP")
    start = top.add_net("start")
    top.add_instance("pad", pad, {"o": start})
    top.add_instance("reached", mux, {"a": start, "o": top.add_net("end")}, inst_header=True)
    for row in range(30):
        before, behind = top.add_net(f"before{row}"), top.add_net(f"behind{row}")
        top.add_instance(f"first{row}", mux, {"a": behind, "o": before}, inst_header=True)
        top.add_instance(f"second{row}", mux, {"a": before, "o": behind}, inst_header=True)
    routing = kep_rg.Routing()
    routing.add_port_edge("MUX", "a", "o")
    return kep_rg.build(model, routing)


def test_findings_are_objects_with_their_node() -> None:
    device = build_unreachable()
    report = device.check()
    assert report.counts == {"unreachable-node": 60}
    assert not report.is_clean
    assert len(report.findings) == 20
    for finding in report.findings:
        assert (finding.id, finding.subject) == ("unreachable-node", "device")
        assert finding.node is not None and finding.node.name in finding.text
        assert finding.target is None and finding.mux_input is None


@pytest.mark.parametrize("kept", [0, 1, 1000])
def test_so_many_findings_are_kept_as_are_asked_for(kept: int) -> None:
    report = build_unreachable().check(max_findings=kept, threads=1)
    assert report.counts == {"unreachable-node": 60}
    assert len(report.findings) == min(kept, 60)


def build_chain(sources: Sequence[int], heads: Collection[int]) -> kep_rg.Device:
    """Muxes, of which each has one for its source; those that are heads bear nodes."""
    model = kep_rg.Model()
    mux = model.add_module("MUX")
    mux.add_port("a", "input")
    mux.add_port("o", "output")
    top = model.add_module("TOP")
    nets = [top.add_net(f"n{i}") for i in range(len(sources))]
    for i, source in enumerate(sources):
        top.add_instance(f"m{i}", mux, {"a": nets[source], "o": nets[i]}, inst_header=i in heads)
    routing = kep_rg.Routing()
    routing.add_port_edge("MUX", "a", "o")
    return kep_rg.build(model, routing)


def get_checksum(content: bytes) -> bytes:
    make = ctypes.CDLL("libxxhash.so.0").XXH3_64bits  # kep_io is linked with it
    make.restype = ctypes.c_uint64
    return struct.pack("<Q", make(content, ctypes.c_size_t(len(content))))


def split_before_graph(database: bytes) -> tuple[bytes, bytes]:
    """The graph is the last section, whose checksum stands in the header."""
    begin = next(at for at in range(24, len(database), 8) if get_checksum(database[at:]) in database[24:at])
    return database[:begin], database[begin:]


def build_damaged(folder: pathlib.Path) -> kep_rg.Device:
    """A device with the graph of another one, as large."""
    build_chain([3, 0, 1, 2], [0, 1, 2]).save(folder / "device.kdb")
    build_chain([1, 2, 3, 0], [0, 1, 3]).save(folder / "other.kdb")
    front, graph = split_before_graph((folder / "device.kdb").read_bytes())
    other = split_before_graph((folder / "other.kdb").read_bytes())[1]
    front = front.replace(get_checksum(graph), get_checksum(other))
    header = front[24 : 24 + struct.unpack_from("<I", front, 12)[0]]
    damaged = front[:16] + get_checksum(header) + front[24:] + other
    (folder / "damaged.kdb").write_bytes(damaged)
    return kep_rg.open(folder / "damaged.kdb")


def build_without_redundant_edges(_: pathlib.Path) -> kep_rg.Device:
    return kep_rg.build(kep_rg.Text(devices.MUX_MODEL), kep_rg.Text(devices.MUX_ROUTING), kep_rg.Text("module_name: TILE\n"))


def build_nothing(_: pathlib.Path) -> kep_rg.Device:
    model = kep_rg.Model()
    model.add_module("TOP")
    with pytest.warns(kep_rg.InputWarning):
        return kep_rg.build(model)


def build_example(name: str) -> Callable[[pathlib.Path], kep_rg.Device]:
    return lambda _: devices.build_folder(devices.EXAMPLES / name)


def check_by_tool(device: kep_rg.Device, path: pathlib.Path) -> tuple[list[tuple[str, int]], list[tuple[str, str]]]:
    """The numbers of kinds and the findings that the tool shows, in their order."""
    if not path.exists():
        device.save(path)
    command = [devices.TOOL, "check", "--trace", "-q", str(path)]
    done = subprocess.run(command, capture_output=True, text=True)
    assert done.returncode == 1, done.stderr
    counts: list[tuple[str, int]] = []
    findings = []
    for line in done.stdout.splitlines():
        if head := re.fullmatch(r"([a-z-]+): ([\d,]+)", line):
            counts.append((head[1], int(head[2].replace(",", ""))))
        elif line.startswith("  ") and not re.fullmatch(r"  and [\d,]+ more", line):
            findings.append((counts[-1][0], line[2:]))
    return counts, findings


PROVED = ["missing-node", "surplus-node", "missing-edge", "surplus-edge"]


@pytest.mark.parametrize(
    "build, kinds",
    [
        (build_damaged, [*PROVED, "trace-not-found"]),
        (lambda _: build_unreachable(), ["unreachable-node"]),
        (build_without_redundant_edges, ["few-redundant-edges", "unreachable-node"]),
        (build_nothing, ["no-node"]),
        (build_example("edge_to_a_place_that_lacks_nodes"), ["trace-no-arc"]),
        (build_example("mux_input_behind_a_blc"), ["trace-unconnected-port"]),
    ],
)
def test_findings_are_those_that_the_tool_shows(
    tmp_path: pathlib.Path, build: Callable[[pathlib.Path], kep_rg.Device], kinds: list[str]
) -> None:
    device = build(tmp_path)
    report = device.check(trace=True)
    counts, findings = check_by_tool(device, tmp_path / "damaged.kdb")
    assert list(report.counts.items()) == counts
    assert [(finding.id, finding.text) for finding in report.findings] == findings
    assert list(report.counts) == kinds


def test_findings_of_the_proof_and_of_traces_have_their_edge(tmp_path: pathlib.Path) -> None:
    told = {
        (finding.id, finding.subject): [
            finding.node and finding.node.name, finding.target and finding.target.name, finding.mux_input,
        ]
        for finding in build_damaged(tmp_path).check(trace=True).findings
    }
    assert told == {
        ("missing-node", "graph"): [None, None, None],
        ("surplus-node", "graph"): ["m3:o", None, None],
        ("missing-edge", "graph"): ["m0:o", "m1:o", "m1:a"],
        ("surplus-edge", "graph"): ["m1:o", "m0:o", "m0:a"],
        ("trace-not-found", "trace"): ["m1:o", "m0:o", "m0:a"],  # the last one
    }
