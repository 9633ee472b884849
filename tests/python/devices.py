"""Devices for tests, and what their dumps say."""

from __future__ import annotations

import csv
import os
import pathlib
import subprocess
from collections.abc import Iterator
from typing import NamedTuple

import kep_rg

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "tests" / "data" / "examples"
EXAMPLE_FOLDERS = sorted(EXAMPLES.iterdir())
EXAMPLE_NAMES = [folder.name for folder in EXAMPLE_FOLDERS]
TOOL = os.environ["KEP_RG_TOOL"]
CHIPDB = pathlib.Path("/usr/share/fpga-icestorm/chipdb/chipdb-384.txt")

MUX_MODEL = """{"modules": {
  "MUX":  {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
  "TILE": {"ports": {"in": {"direction": "input", "bits": [5]}, "out": {"direction": "output", "bits": [6]}},
           "cells": {"m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                           "connections": {"a": [5], "o": [6]}}}},
  "RING": {"cells": {"left": {"type": "TILE", "connections": {"in": [2], "out": [3]}},
                     "right": {"type": "TILE", "connections": {"in": [3], "out": [2]}}}}}}"""
MUX_ROUTING = '{"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}\n'


class DumpedEdge(NamedTuple):
    """An edge as a row of edges.tsv."""

    source: str
    source_kind: str
    target: str
    target_kind: str
    edge_class: str
    mux_input: str


def run_tool(*words: object) -> None:
    subprocess.run([TOOL, *map(str, words)], check=True, capture_output=True)


def build_ring() -> kep_rg.Device:
    """Two tiles with a mux each, joined to a ring."""
    return kep_rg.build(kep_rg.Text(MUX_MODEL, "ring.json"), kep_rg.Text(MUX_ROUTING, "ring.jsonl"))


def build_folder(folder: pathlib.Path) -> kep_rg.Device:
    redundancy = folder / "redundancy.txt"
    return kep_rg.build(
        folder / "model.json", folder / "routing.jsonl", redundancy if redundancy.exists() else ()
    )


def get_kind(node: kep_rg.Node) -> str:
    return "boundary" if node.is_boundary else "hipi" if node.is_hipi else "uip"


def get_dump(device: kep_rg.Device) -> tuple[list[tuple[str, str]], list[DumpedEdge]]:
    """Nodes and edges as a dump has them, asked node by node."""
    nodes = [(node.name, get_kind(node)) for node in device]
    edges = [
        DumpedEdge(
            edge.source.name,
            get_kind(edge.source),
            edge.target.name,
            get_kind(edge.target),
            "redundant" if edge.is_redundant else "real",
            edge.mux_input or "",
        )
        for node in device
        for edge in node.fanouts
    ]
    return nodes, edges


def read_rows(path: pathlib.Path) -> Iterator[list[str]]:
    with path.open(newline="") as file:
        rows = csv.reader(file, delimiter="\t", quoting=csv.QUOTE_NONE)
        next(rows)
        yield from rows


def read_dump(folder: pathlib.Path) -> tuple[list[tuple[str, str]], list[DumpedEdge]]:
    nodes = [(name, kind) for name, kind in read_rows(folder / "nodes.tsv")]
    return nodes, [DumpedEdge(*row) for row in read_rows(folder / "edges.tsv")]
