"""Arrays say what nodes say."""

from __future__ import annotations

import numpy as np
import pytest

import devices
import kep_rg

RANGES = [(0, None), (0, 0), (17, 18), (100, 9000), (8191, 8193), (0, 8192)]


def get_edges_of_nodes(device: kep_rg.Device, first: int, last: int) -> list[tuple[int, int, bool]]:
    return [
        (edge.source.index, edge.target.index, edge.is_redundant)
        for number in range(first, last)
        for edge in device.node(number).fanouts
    ]


@pytest.mark.parametrize("first, last", RANGES)
def test_edges_of_a_range_are_those_of_its_nodes(
    fabric_device: kep_rg.Device, first: int, last: int | None
) -> None:
    sources, targets, redundant = kep_rg.edges(fabric_device, first, last)
    found = list(zip(sources.tolist(), targets.tolist(), redundant.tolist()))
    assert found == get_edges_of_nodes(fabric_device, first, len(fabric_device) if last is None else last)


def test_edges_have_small_types() -> None:
    edges = kep_rg.edges(devices.build_ring())
    assert [array.dtype for array in edges] == [np.uint32, np.uint32, np.bool_]
    assert (edges.sources.tolist(), edges.targets.tolist(), edges.redundant.tolist()) == ([0, 1], [1, 0], [False] * 2)


def test_edges_stay_when_their_device_goes() -> None:
    targets = kep_rg.edges(devices.build_ring()).targets
    targets[0] += 1  # they are the caller's
    assert targets.tolist() == [2, 0]


def test_arrays_stay_as_they_are_while_others_come_and_go(fabric_device: kep_rg.Device) -> None:
    expected = kep_rg.edges(fabric_device).targets.copy()
    kept = kep_rg.edges(fabric_device).targets  # its two neighbours go
    slices = []
    for first in range(0, len(fabric_device) - 100, 500):
        sources, targets, redundant = kep_rg.edges(fabric_device, first, first + 100)
        slices.append(targets[5:])
        for array in (sources, targets, redundant, kep_rg.edges(fabric_device).sources):
            array.fill(1)
    assert np.array_equal(kept, expected)
    assert all(np.all(part == 1) for part in slices)


@pytest.mark.parametrize("redundant", [True, False])
def test_the_matrix_has_a_one_for_each_edge(fabric_device: kep_rg.Device, redundant: bool) -> None:
    matrix = kep_rg.matrix(fabric_device, redundant=redundant)
    matrix.check_format(full_check=True)
    edges = kep_rg.edges(fabric_device)
    kept = np.logical_or(redundant, ~edges.redundant)
    assert matrix.shape == (len(fabric_device), len(fabric_device))
    assert np.array_equal(np.repeat(np.arange(len(fabric_device)), np.diff(matrix.indptr)), edges.sources[kept])
    assert np.array_equal(matrix.indices, edges.targets[kept])
    assert matrix.dtype == np.int32 and np.all(matrix.data == 1)


def test_the_matrix_is_of_the_type_that_is_asked_for() -> None:
    assert kep_rg.matrix(devices.build_ring(), dtype=np.float64).toarray().tolist() == [[0.0, 1.0], [1.0, 0.0]]


def test_counts_by_number_are_those_of_nodes(fabric_device: kep_rg.Device) -> None:
    assert fabric_device.fanout_counts().tolist() == [len(node.fanouts) for node in fabric_device]
    assert fabric_device.fanin_counts().tolist() == [len(node.fanins) for node in fabric_device]


@pytest.mark.parametrize("example", ["hipi_twin", "top_ports_routed", "plain_mux_chain"])
def test_kinds_by_number_are_those_of_nodes(example: str) -> None:
    device = devices.build_folder(devices.EXAMPLES / example)
    kinds = [kep_rg.Kind(kind).name.lower() for kind in device.kinds()]
    assert kinds == [devices.get_kind(node) for node in device]


def test_a_node_stands_for_its_number_in_an_array() -> None:
    ring = devices.build_ring()
    cost = np.array([3, 5])
    assert cost[ring.node(1)] == 5


def test_a_device_without_nodes_has_empty_arrays() -> None:
    with pytest.warns(kep_rg.InputWarning):
        device = kep_rg.build(kep_rg.Text(devices.MUX_MODEL))
    assert len(device) == 0 and list(device) == [] and device.names() == []
    assert [len(array) for array in kep_rg.edges(device)] == [0, 0, 0]
    assert kep_rg.matrix(device).shape == (0, 0)
    assert len(device.kinds()) == 0
