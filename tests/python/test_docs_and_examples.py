"""Samples of the docs give what they show, and examples run."""

from __future__ import annotations

import doctest
import pathlib
import subprocess
import sys

import pytest

import devices
import kep_rg

PAGE = devices.ROOT / "docs" / "python.md"
PROGRAMS = devices.ROOT / "examples" / "python"


@pytest.mark.skipif(not devices.CHIPDB.exists(), reason="the device of the page is not installed")
def test_samples_of_the_page_give_what_it_shows(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    commands = [line.split()[1:] for line in PAGE.read_text().splitlines() if line.startswith("    kep-rg ")]
    assert commands
    for command in commands:
        devices.run_tool(*command)
    result = doctest.testfile(str(PAGE), module_relative=False, optionflags=doctest.ELLIPSIS)
    assert result.attempted > 30
    assert result.failed == 0


def run_example(name: str, *words: object) -> str:
    command = [sys.executable, str(PROGRAMS / name), *map(str, words)]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


@pytest.mark.parametrize("suffix, head", [(".svg", b"<?xml"), (".png", b"\x89PNG")])
def test_the_histogram_is_drawn(database: pathlib.Path, tmp_path: pathlib.Path, suffix: str, head: bytes) -> None:
    picture = tmp_path / f"fanouts{suffix}"
    text = run_example("fanout_histogram.py", database, picture)
    device = kep_rg.open(database)
    assert picture.read_bytes().startswith(head)
    mean, most = device.num_edges / len(device), device.fanout_counts().max()
    assert text.startswith(f"{mean:.1f} fanouts a node; most, {most}, at ")


def get_reached(start: kep_rg.Node) -> set[kep_rg.Node]:
    reached, waiting = {start}, [start]
    while waiting:
        for edge in waiting.pop().fanouts:
            if edge.target not in reached:
                reached.add(edge.target)
                waiting.append(edge.target)
    return reached


def test_reachability_is_that_of_a_walk(database: pathlib.Path) -> None:
    device = kep_rg.open(database)
    start = device.node(len(device) // 2)
    lines = run_example("reachability.py", database, start.name).splitlines()
    assert lines[1].startswith(f"{start.name} reaches {len(get_reached(start)) - 1:,} nodes, the last over ")
    way = lines[2].strip().split(" -> ")
    for source, target in zip(way, way[1:]):
        assert any(edge.target.name == target for edge in device.node(source).fanouts)


def test_the_window_holds_the_nodes_around_one(database: pathlib.Path) -> None:
    device = kep_rg.open(database)
    start = device.node(int(device.fanout_counts().argmax()))
    around = {start} | {edge.target for edge in start.fanouts}
    num_edges = sum(edge.target in around for node in around for edge in node.fanouts)
    text = run_example("window_in_networkx.py", database, start.name, 1)
    assert text.startswith(f"{len(around)} nodes and {num_edges} edges within 1 edges of {start.name}\n")
