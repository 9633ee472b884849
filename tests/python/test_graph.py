"""A graph as Python reads it is the one that dumps tell."""

from __future__ import annotations

import pathlib

import devices
import kep_rg
import pytest


@pytest.mark.parametrize("folder", devices.EXAMPLE_FOLDERS, ids=devices.EXAMPLE_NAMES)
def test_nodes_and_edges_of_an_example_are_those_of_its_dump(folder: pathlib.Path) -> None:
    nodes, edges = devices.get_dump(devices.build_folder(folder))
    expected_nodes, expected_edges = devices.read_dump(folder / "expected")
    assert sorted(nodes) == sorted(expected_nodes)
    assert sorted(edges) == sorted(expected_edges)


def test_nodes_and_edges_of_a_fabric_are_those_of_the_dump_in_its_order(
    fabric: pathlib.Path, fabric_device: kep_rg.Device
) -> None:
    nodes, edges = devices.get_dump(fabric_device)
    expected_nodes, expected_edges = devices.read_dump(fabric)
    assert nodes == expected_nodes
    assert edges == expected_edges
    assert any(edge.edge_class == "redundant" for edge in edges)
    assert (len(fabric_device), fabric_device.num_edges) == (len(nodes), len(edges))


def test_fanins_are_the_fanouts_seen_from_their_targets(fabric_device: kep_rg.Device) -> None:
    def get_words(edge: kep_rg.Edge) -> tuple[int, int, str, bool]:
        return edge.source.index, edge.target.index, edge.mux_input or "", edge.is_redundant

    fanouts = sorted(get_words(edge) for node in fabric_device for edge in node.fanouts)
    fanins = sorted(get_words(edge) for node in fabric_device for edge in node.fanins)
    assert fanins == fanouts


def test_a_device_is_the_same_for_any_number_of_threads(fabric: pathlib.Path, tmp_path: pathlib.Path) -> None:
    for threads in (1, 2, 300):
        device = kep_rg.build(
            fabric / "model.json", [fabric / "routing.jsonl"], [fabric / "redundancy.txt"], threads=threads
        )
        device.save(tmp_path / f"{threads}.kdb")
    assert (tmp_path / "1.kdb").read_bytes() == (tmp_path / "2.kdb").read_bytes()
    assert (tmp_path / "1.kdb").read_bytes() == (tmp_path / "300.kdb").read_bytes()


def test_a_device_that_was_saved_is_the_same_when_it_is_opened(
    fabric_device: kep_rg.Device, tmp_path: pathlib.Path
) -> None:
    path = tmp_path / "fabric.kdb"
    fabric_device.save(path)
    for checksums in (True, False):
        opened = kep_rg.open(path, checksums=checksums)
        assert devices.get_dump(opened) == devices.get_dump(fabric_device)
        assert opened.name == str(path)


def test_a_database_of_the_tool_and_one_of_python_hold_the_same_device(
    fabric: pathlib.Path, fabric_device: kep_rg.Device, tmp_path: pathlib.Path
) -> None:
    devices.run_tool("build", fabric / "model.json", fabric / "routing.jsonl", "--redundancy",
                     fabric / "redundancy.txt", "-o", tmp_path / "tool.kdb")
    assert devices.get_dump(kep_rg.open(tmp_path / "tool.kdb")) == devices.get_dump(fabric_device)


def test_a_node_is_found_by_its_name_and_by_its_number(fabric_device: kep_rg.Device) -> None:
    for number in (0, 17, len(fabric_device) - 1):
        node = fabric_device.node(number)
        assert fabric_device.node(node.name) == node
        assert node.index == number
        assert node.device is fabric_device


def test_a_plain_node_is_found_before_its_hipi_twin() -> None:
    device = devices.build_folder(devices.EXAMPLES / "hipi_twin")
    twins = [node for node in device if node.is_hipi]
    assert twins
    for twin in twins:
        found = device.find_nodes(twin.name)
        assert [node.is_hipi for node in found] == [False, True]
        assert found[1] == twin
        assert device.node(twin.name) == found[0]


def test_a_boundary_node_is_named_by_its_port() -> None:
    device = devices.build_folder(devices.EXAMPLES / "top_ports_routed")
    boundary = [node for node in device if node.is_boundary]
    assert boundary
    for node in boundary:
        assert node.name.startswith(":")
        assert device.node(node.name) == node


def test_names_come_in_ranges(fabric_device: kep_rg.Device) -> None:
    names = [node.name for node in fabric_device]
    assert fabric_device.names() == names
    assert fabric_device.names(17) == names[17:]
    assert fabric_device.names(17, 20) == names[17:20]
    assert fabric_device.names(17, 17) == []


def test_nodes_are_equal_where_number_and_device_are() -> None:
    ring, other = devices.build_ring(), devices.build_ring()
    assert ring.node(0) == ring.node(0)
    assert ring.node(0) != ring.node(1)
    assert ring.node(0) != other.node(0)
    assert ring.node(0) != "left/m:o"
    assert len({ring.node(0), ring.node(0), ring.node(1), other.node(0)}) == 3


def test_a_node_and_an_edge_keep_their_device_alive() -> None:
    node = devices.build_ring().node("left/m:o")
    edge = devices.build_ring().node("left/m:o").fanouts[0]
    assert node.fanouts[0].target.name == "right/m:o"
    assert (edge.source.name, edge.target.name, edge.mux_input) == ("left/m:o", "right/m:o", "right/m:a")


def test_the_next_node_is_found_along_a_plain_wire() -> None:
    wire = kep_rg.Model()
    buffer = wire.add_module("BUF")
    buffer.add_port("o", "output")
    end = wire.add_module("END")
    end.add_port("i", "input")
    top = wire.add_module("TOP")
    net = top.add_net("n")
    top.add_instance("b", buffer, {"o": net}, inst_header=True)
    top.add_instance("e", end, {"i": net}, inst_header=True)
    routing = kep_rg.Routing()
    routing.add_inserted_node("BUF", "o")
    routing.add_inserted_node("END", "i")
    device = kep_rg.build(wire, routing)
    next_node = device.node("b:o").next()
    assert next_node is not None and next_node.name == "e:i"


def test_where_a_wire_ends_at_a_mux_there_is_no_next_node() -> None:
    assert devices.build_ring().node("left/m:o").next() is None


def test_objects_tell_what_they_are() -> None:
    ring = devices.build_ring()
    node = ring.node("left/m:o")
    assert repr(ring) == '<kep_rg.Device "ring.json": 2 nodes, 2 edges>'
    assert repr(node) == f'<kep_rg.Node {node.index} "left/m:o">'
    assert repr(node.fanouts[0]) == '<kep_rg.Edge "left/m:o" -> "right/m:o", real>'
