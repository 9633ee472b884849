"""Names of many nodes are made while other threads go on."""

from __future__ import annotations

import pathlib
import threading
import time

import devices
import kep_rg


def measure(device: kep_rg.Device) -> tuple[float, float]:
    """How long the names took, and for how long of that another thread stood still at most."""
    begun, is_done, gap = threading.Event(), False, 0.0

    def turn() -> None:
        nonlocal gap
        last = time.monotonic()
        while not is_done:
            begun.set()
            time.sleep(0)
            now = time.monotonic()
            gap, last = max(gap, now - last), now

    thread = threading.Thread(target=turn)
    thread.start()
    begun.wait()
    start = time.monotonic()
    names = device.names()
    duration = time.monotonic() - start
    is_done = True
    thread.join()
    assert len(names) == len(device)
    return duration, gap


def test_other_threads_run_while_names_are_made(tmp_path: pathlib.Path) -> None:
    model, routing = tmp_path / "model.json", tmp_path / "routing.jsonl"
    devices.run_tool("generate", "--nodes", 1000000, "--model", model, "--routing", routing)
    device = kep_rg.build(model, routing)
    assert any(gap < duration / 2 for duration, gap in (measure(device) for _ in range(5)))
