#!/usr/bin/env python3
"""A second, slow and literal implementation of the build, to run the real one against.

usage: reference.py MODEL.json [ROUTING.jsonl ...] [--redundancy FILE ...] [--dump DIR] [--stats FILE.json]
"""

import argparse
import json
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from build import Build
from description import DescriptionReader, Store
from errors import BadInput, BrokenInvariant
from model import read_model
from redundancy import RedundancyTable
from unfolded import uip_name


class Result:
    """What a run gives: dump lines without their headers, counters, and the texts that couldn't be read."""

    def __init__(self, build, failed_lines):
        self.nodes = [f"{n.name()}\t{n.kind()}" for n in build.nodes]
        self.edges = [
            "\t".join((a.name(), a.kind(), b.name(), b.kind(), edge_class, uip_name(mux_input)))
            for a, b, edge_class, mux_input in build.edges
        ]
        self.counters = build.get_counters()
        self.failed_lines = failed_lines


def read_text(file_name):
    try:
        with open(file_name, encoding="utf-8", newline="") as file:
            return file.read()
    except OSError as error:
        raise BadInput(f"{file_name}: {error.strerror}")


def run(model_file, routing_files, redundancy_files=()):
    """The whole road from the files to the graph. Raises BadInput or BrokenInvariant."""
    model = read_model(model_file)
    store = Store(model)
    for file_name in routing_files:
        DescriptionReader(model, store).read(file_name)
    table = RedundancyTable()
    failed_lines = []
    for file_name in redundancy_files:
        try:
            failed_lines += table.add_text(model, store, read_text(file_name))
        except BadInput as error:
            raise BadInput(f"{file_name}: {error}")
    build = Build(model, store, table)
    build.build()
    return Result(build, failed_lines)


def write_lines(file_name, header, lines):
    with open(file_name, "w", encoding="utf-8") as file:
        file.write("".join(line + "\n" for line in [header] + lines))


def main():
    parser = argparse.ArgumentParser(description="Build a routing graph, slowly and literally.")
    parser.add_argument("files", nargs="+", metavar="MODEL.json ROUTING.jsonl")
    parser.add_argument("--redundancy", nargs="+", action="extend", default=[])
    parser.add_argument("--dump")
    parser.add_argument("--stats")
    arguments = parser.parse_args()
    try:
        result = run(arguments.files[0], arguments.files[1:], arguments.redundancy)
    except (BadInput, BrokenInvariant) as error:
        print(f"reference: {error}", file=sys.stderr)
        return error.status
    for line in result.failed_lines:
        print(f"reference: can't read the line {line}", file=sys.stderr)
    if arguments.dump:
        os.makedirs(arguments.dump, exist_ok=True)
        write_lines(os.path.join(arguments.dump, "nodes.tsv"), "node\tkind", result.nodes)
        header = "from\tfrom_kind\tto\tto_kind\tclass\tmux_input"
        write_lines(os.path.join(arguments.dump, "edges.tsv"), header, result.edges)
    if arguments.stats:
        with open(arguments.stats, "w", encoding="utf-8") as file:
            json.dump({"counters": result.counters}, file, indent=2)
            file.write("\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
