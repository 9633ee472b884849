"""Edges are values: equal where they are the same edge of the same device."""

from __future__ import annotations

import devices
import kep_rg


def test_an_edge_equals_itself_however_it_is_found() -> None:
    ring = devices.build_ring()
    left = ring.node("left/m:o")
    edge = left.fanouts[0]
    assert edge == left.fanouts[0]
    assert edge == edge.target.fanins[0]
    assert edge == ring.trace(left, edge.target).edges[0]
    assert edge != ring.node("right/m:o").fanouts[0]
    assert edge != devices.build_ring().node("left/m:o").fanouts[0]
    assert edge != "left/m:o"


def test_edges_of_a_device_are_as_many_in_a_set(fabric_device: kep_rg.Device) -> None:
    fanouts = {edge for node in fabric_device for edge in node.fanouts}
    assert len(fanouts) == fabric_device.num_edges
    assert {edge for node in fabric_device for edge in node.fanins} <= fanouts
