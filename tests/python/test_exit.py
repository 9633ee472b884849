"""A program may end while threads of it are at work."""

from __future__ import annotations

import pathlib
import subprocess
import sys

import pytest

import devices

BEGIN = """
import os, signal, sys, threading, time
import kep_rg

signal.signal(signal.SIGINT, signal.default_int_handler)  # where it is ignored, too, as in the background
device = kep_rg.open(sys.argv[1])
begun = threading.Event()

class Late:
    # Takes its time to go, when Python lets no other thread run any more.
    def __del__(self, sleep=time.sleep):
        sleep(0.2)

late = Late()

def work():
    begun.set()
    while True:
        WORK

def start(daemon):
    thread = threading.Thread(target=work, daemon=daemon)
    thread.start()
    begun.wait()
    time.sleep(0.05)
    return thread
"""
WORKS = ["device.check(trace=True)", "device.names()", "device.fanin_counts()"]


@pytest.fixture(scope="module")
def large(tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    """A database of a device whose check with traces takes seconds."""
    folder = tmp_path_factory.mktemp("large")
    model, routing = folder / "model.json", folder / "routing.jsonl"
    devices.run_tool("generate", "--nodes", 500000, "--model", model, "--routing", routing)
    devices.run_tool("build", model, routing, "-o", folder / "large.kdb")
    return folder / "large.kdb"


def run(large: pathlib.Path, work: str, end: str) -> tuple[int, str, str]:
    program = BEGIN.replace("WORK", work) + end
    done = subprocess.run([sys.executable, "-c", program, large], capture_output=True, text=True, timeout=60)
    return done.returncode, done.stdout, done.stderr


@pytest.mark.parametrize("work", WORKS)
def test_a_program_ends_while_a_daemon_thread_is_at_work(large: pathlib.Path, work: str) -> None:
    assert run(large, work, "start(daemon=True); print('end')") == (0, "end\n", "")


def test_ctrl_c_while_a_thread_is_awaited_ends_the_program_as_it_says(large: pathlib.Path) -> None:
    end = """
thread = start(daemon=True)
threading.Timer(0.1, os.kill, (os.getpid(), signal.SIGINT)).start()
try:
    thread.join()
except KeyboardInterrupt:
    sys.exit(3)
"""
    assert run(large, WORKS[0], end) == (3, "", "")


def test_a_child_without_the_thread_at_work_ends_at_once(large: pathlib.Path) -> None:
    end = """
start(daemon=True)
started = time.monotonic()
child = os.fork()
if child == 0:
    sys.exit(4)
status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
print(status, time.monotonic() - started < 4)
"""
    assert run(large, WORKS[0], end) == (0, "4 True\n", "")
