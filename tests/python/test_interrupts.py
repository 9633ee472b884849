"""Long work lets other threads of Python run, and ends when a signal says so."""

from __future__ import annotations

import pathlib
import subprocess
import sys
import threading

import pytest

import devices
import kep_rg

BUILD = """
import pathlib, signal, sys, threading, time
import kep_rg

folder = pathlib.Path(sys.argv[1])

def build(size):
    return kep_rg.build(folder / size / "model.json", folder / size / "routing.jsonl", threads=1)
"""

# Each kind of work is done once, and then gets a signal in its midst: prints its name and which part of the whole time
# passed between the signal and its end, the least of some tries.
PROGRAM = BUILD + """
def measure(work):
    begin = time.monotonic()
    work()
    return time.monotonic() - begin

def get_seconds_to_end(work, delay):
    sent = []
    def send():
        sent.append(time.monotonic())
        signal.raise_signal(signal.SIGINT)
    timer = threading.Timer(delay, send)
    try:
        timer.start()
        work()
        timer.join()
        time.sleep(1)  # the signal comes here
    except KeyboardInterrupt:
        return time.monotonic() - sent[0]

def interrupt(name, work, whole, delay):
    part = 1.0
    for _ in range(3):  # a busy machine may be slow once
        part = min(part, get_seconds_to_end(work, delay) / whole)
        if part < 1 / 3:
            break
    print(name, part, flush=True)

def interrupt_midst(name, work):
    whole = measure(work)
    interrupt(name, work, whole, whole / 5)

def find_nothing():
    try:
        device.node("no/such:node")
    except kep_rg.NotFoundError:
        pass

interrupt_midst("build", lambda: build("larger"))
device = build("large")
check = lambda: device.check(threads=1)
whole = measure(check)
interrupt("check", check, whole, whole / 5)
interrupt("trace", lambda: device.check(trace=True, threads=1), whole, whole * 1.2)  # checks come first
interrupt_midst("node", find_nothing)
interrupt_midst("names", device.names)
print("usable", len(device), device.node(0).name != "", len(build("large")) == len(device))
"""

SAVING_PROGRAM = """
import os, pathlib, signal, sys, threading, time
import kep_rg

path = pathlib.Path(sys.argv[1]) / "device.kdb"
cells = ",".join(f'"{i:060}": {{"type": "MUX"}}' for i in range(200000))
device = kep_rg.build(kep_rg.Text(f'{{"modules": {{"MUX": {{}}, "TOP": {{"cells": {{{cells}}}}}}}}}'))
def save():
    begin = time.monotonic()
    device.save(path)
    return time.monotonic() - begin

whole = min(save() for _ in range(3))
size = path.stat().st_size
for part in (0.2, 0.4):
    path.write_bytes(b"old")
    threading.Timer(whole * part, signal.raise_signal, [signal.SIGINT]).start()
    try:
        save()
        time.sleep(1)  # the signal comes here
    except KeyboardInterrupt:
        print(path.read_bytes() == b"old", os.listdir(path.parent))
device.save(path)
print(path.stat().st_size == size)
"""


@pytest.fixture(scope="module")
def folder(tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    """The files of devices whose builds take half a second and more by one thread."""
    folder = tmp_path_factory.mktemp("large")
    for name, num_nodes in {"large": 2000000, "larger": 6000000}.items():
        (folder / name).mkdir()
        files = ("--model", folder / name / "model.json", "--routing", folder / name / "routing.jsonl")
        devices.run_tool("generate", "--nodes", num_nodes, *files)
    return folder


def test_ctrl_c_ends_long_work_and_the_process_goes_on(folder: pathlib.Path) -> None:
    done = subprocess.run([sys.executable, "-c", PROGRAM, folder], capture_output=True, text=True)
    lines = [line.split(" ", 1) for line in done.stdout.splitlines()]
    assert done.returncode == 0, done.stderr
    assert [name for name, _ in lines] == ["build", "check", "trace", "node", "names", "usable"]
    for name, part in lines[:-1]:
        assert float(part) < 1 / 3, f"{name}: without an end by the signal it is four fifths and more"
    assert lines[-1][1].endswith(" True True")


def test_ctrl_c_while_a_device_is_saved_leaves_the_file_as_it_was(tmp_path: pathlib.Path) -> None:
    done = subprocess.run([sys.executable, "-W", "ignore", "-c", SAVING_PROGRAM, tmp_path], capture_output=True, text=True)
    assert (done.stdout, done.stderr) == ("True ['device.kdb']\n" * 2 + "True\n", "")


def test_a_handler_that_does_not_raise_lets_the_work_go_on(folder: pathlib.Path) -> None:
    program = BUILD + """
seen = []
signal.signal(signal.SIGALRM, lambda *_: seen.append(1))
signal.setitimer(signal.ITIMER_REAL, 0.05, 0.05)
device = build("large")
print(len(device) > 0, len(seen) > 0)
"""
    done = subprocess.run([sys.executable, "-c", program, folder], capture_output=True, text=True)
    assert (done.stdout, done.stderr) == ("True True\n", "")


def test_other_threads_run_while_a_device_is_built(folder: pathlib.Path) -> None:
    counted = 0
    done = threading.Event()

    def build() -> None:
        kep_rg.build(folder / "large" / "model.json", folder / "large" / "routing.jsonl", threads=1)
        done.set()

    thread = threading.Thread(target=build)
    thread.start()
    while not done.wait(0.001):
        counted += 1
    thread.join()
    assert counted > 20


def test_threads_read_one_device_at_a_time(fabric_device: kep_rg.Device) -> None:
    expected = [[str(step) for step in fabric_device.trace(edge.source, edge.target).steps]
                for edge in fabric_device.node(len(fabric_device) // 2).fanouts]
    found: list[object] = []

    def read() -> None:
        edges = fabric_device.node(len(fabric_device) // 2).fanouts
        found.append([[str(step) for step in fabric_device.trace(edge.source, edge.target).steps] for edge in edges])
        kep_rg.edges(fabric_device)
        fabric_device.fanin_counts()

    threads = [threading.Thread(target=read) for _ in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert expected and found == [expected] * 8
