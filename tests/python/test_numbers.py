"""Whatever Python takes for a number is one, however large; a node is a number in its own device alone."""

from __future__ import annotations

import subprocess
import sys
from collections.abc import Callable
from typing import SupportsIndex

import numpy as np
import pytest

import devices
import kep_rg

ROUTING = kep_rg.Text(devices.MUX_ROUTING)


@pytest.mark.parametrize("number", [2**63, -(2**63) - 1, 10**30])
def test_a_number_that_no_node_can_have_is_told(number: int) -> None:
    ring = devices.build_ring()
    with pytest.raises(kep_rg.NotFoundError, match=f"^no node {number}: ring.json has 2 nodes$"):
        ring.node(number)
    with pytest.raises(kep_rg.NotFoundError, match=f"^no node {number}: "):
        ring.trace(0, number)
    for call in (kep_rg.edges, kep_rg.Device.names):
        with pytest.raises(kep_rg.ArgumentError, match=f"^nodes 0 to {number}: ring.json has nodes 0 to 2$"):
            call(ring, 0, number)


def test_any_number_of_threads_or_findings_is_a_number() -> None:
    ring = devices.build_ring()
    assert ring.check(threads=2**80, max_findings=2**80).counts == ring.check().counts
    assert len(kep_rg.build(kep_rg.Text(devices.MUX_MODEL), ROUTING, threads=2**40)) == 2
    with pytest.raises(kep_rg.ArgumentError, match=f"^threads={-2**80}: "):
        ring.check(threads=-(2**80))
    with pytest.raises(kep_rg.ArgumentError, match=f"^max_findings={-2**80}: "):
        ring.check(max_findings=-(2**80))


def test_numbers_of_numpy_are_numbers() -> None:
    ring = devices.build_ring()
    assert ring.node(np.int64(1)) == ring.node(np.uint8(1)) == ring.node(1)
    assert ring.names(np.int64(1), np.uint32(2)) == ring.names(1)
    assert len(kep_rg.edges(ring, np.int64(1)).targets) == 1
    assert ring.check(threads=np.int64(2), max_findings=np.int64(0)).findings == []


def test_numbers_and_flags_of_numpy_stand_in_routing_descriptions() -> None:
    plain, numpy = kep_rg.Routing(), kep_rg.Routing()
    plain.add_port_edge("MUX", "a", "o", hipi=1, flag=True)
    numpy.add_port_edge("MUX", "a", "o", hipi=np.int64(1), flag=np.bool_(True))
    plain.add_tunnel_type("MUX", 3)
    numpy.add_tunnel_type("MUX", np.uint8(3))
    plain.set_skip_paths("MUX", False)
    numpy.set_skip_paths("MUX", np.bool_(False))
    assert numpy.text == plain.text


def test_a_node_of_another_device_is_refused_wherever_a_number_is_taken() -> None:
    ring, other = devices.build_ring(), devices.build_ring()
    node: SupportsIndex = other.node("left/m:o")
    calls: list[Callable[[], object]] = [
        lambda: ring.node(node),
        lambda: ring.names(node),
        lambda: ring.names(0, node),
        lambda: kep_rg.edges(ring, node),
        lambda: kep_rg.edges(ring, 0, node),
        lambda: ring.trace(node, 1),
    ]
    for call in calls:
        with pytest.raises(kep_rg.ArgumentError, match='^node "left/m:o" is one of another device, ring.json$'):
            call()
    own = ring.node(1)
    assert ring.node(own) == own
    assert ring.names(own) == [own.name]
    assert kep_rg.edges(ring, own).sources.tolist() == [1]


def test_a_net_of_another_model_is_told_as_one() -> None:
    first, second = kep_rg.Model().add_module("TOP"), kep_rg.Model().add_module("TOP")
    second.add_port("p", "input")
    with pytest.raises(kep_rg.ArgumentError, match='^net "a" is one of another model$'):
        second.connect("p", first.add_net("a"))


def test_works_of_more_threads_than_cores_say_nothing_of_it() -> None:
    program = """
import sys, threading, kep_rg
devices = [kep_rg.build(kep_rg.Text(sys.argv[1]), kep_rg.Text(sys.argv[2])) for _ in range(4)]
def work(device, threads):
    for _ in range(50):
        device.check(threads=threads)
threads = [threading.Thread(target=work, args=(device, 4 + 60 * at)) for at, device in enumerate(devices)]
for thread in threads: thread.start()
for thread in threads: thread.join()
"""
    command = [sys.executable, "-c", program, devices.MUX_MODEL, devices.MUX_ROUTING]
    done = subprocess.run(command, capture_output=True, text=True)
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")
