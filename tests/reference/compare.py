#!/usr/bin/env python3
"""Runs kep-rg and the reference on random devices and compares what they give.

usage: compare.py --tool PATH --seeds A-B [--threads 1,2] [--no-redundancy] [--keep DIR]

For each seed the exit status, the dumped nodes and edges (as multisets of lines) and the counters must be the
same, and the dumps and the device databases must be the same bytes for every number of threads. A database that
was opened must give the same dump and, of its build, the same counters, and the proof of `kep-rg check` must find
nothing in it. The folder of a failing seed is kept. As many seeds run at a time as there are processors.
"""

import argparse
import concurrent.futures
import functools
import json
import os
import shutil
import subprocess
import sys
import tempfile
from collections import Counter

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from errors import BadInput, BrokenInvariant
from random_model import make_device
from reference import run

HEADERS = {"nodes.tsv": "node\tkind", "edges.tsv": "from\tfrom_kind\tto\tto_kind\tclass\tmux_input"}
SHOWN = 6
TIMEOUT_S = 120


def run_tool(command):
    return subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=TIMEOUT_S)


def device_arguments(arguments):
    model_file, routing_files, redundancy_files = arguments
    command = [model_file, *routing_files]
    for file_name in redundancy_files:
        command += ["--redundancy", file_name]
    return command


class ToolRun:
    """A build of a device, or the opening of a database."""

    def __init__(self, tool, arguments, folder, threads, more=()):
        self.dump = os.path.join(folder, f"tool-{threads}")
        stats = os.path.join(folder, f"tool-{threads}.json")
        command = [tool, "build", *arguments]
        done = run_tool([*command, "-j", str(threads), "--dump", self.dump, "--stats", stats, *more])
        self.status = done.returncode
        self.message = done.stderr.strip()
        self.counters = {}
        if self.status == 0:
            with open(stats, encoding="utf-8") as file:
                self.counters = json.load(file)["counters"]

    def bytes_of(self, name):
        with open(os.path.join(self.dump, name), "rb") as file:
            return file.read()

    def lines_of(self, name):
        return self.bytes_of(name).decode("utf-8").split("\n")[:-1]


def compare_lines(name, wanted, tool_lines):
    """The differences, as lines to print."""
    if not tool_lines or tool_lines[0] != HEADERS[name]:
        return [f"{name}: the header is {tool_lines[:1]}"]
    wanted, given = Counter(wanted), Counter(tool_lines[1:])
    found = [f"{name}: missing: {line}" for line in sorted((wanted - given).elements())]
    found += [f"{name}: too much: {line}" for line in sorted((given - wanted).elements())]
    return found


def expected_counters(reference, tool):
    """The reference has no fanout cache. A hit saves one call, and brings the source once more."""
    hits = tool.get("n_cdrn_cache_hits", 0)
    wanted = dict(reference)
    wanted["n_cdrn_cache_hits"] = hits
    wanted["n_cdrn_cache_misses"] -= hits
    wanted["n_get_leaf_calls"] -= hits
    wanted["n_get_leaf_fanouts"] += hits
    return wanted


def compare_run(result, status, tool_run):
    if tool_run.status != status:
        return [f"exit status {tool_run.status}, wanted {status}: {tool_run.message[-300:]}"]
    if status != 0:
        return []
    found = compare_lines("nodes.tsv", result.nodes, tool_run.lines_of("nodes.tsv"))
    found += compare_lines("edges.tsv", result.edges, tool_run.lines_of("edges.tsv"))
    for name, value in expected_counters(result.counters, tool_run.counters).items():
        if tool_run.counters.get(name) != value:
            found.append(f"{name} = {tool_run.counters.get(name)}, wanted {value}")
    return found


def compare_database(tool, database, built, folder, threads):
    """How what is opened differs from what was built."""
    opened = ToolRun(tool, [database], os.path.join(folder, "opened"), threads)
    if opened.status != 0:
        return [f"database: exit status {opened.status}: {opened.message[-300:]}"]
    found = [f"database: {name} differs" for name in HEADERS if opened.bytes_of(name) != built.bytes_of(name)]
    for name, value in opened.counters.items():
        if built.counters.get(name) != value:
            found.append(f"database: {name} = {value}, wanted {built.counters.get(name)}")
    return found if opened.counters else ["database: it has no counters"]


def prove(tool, database, threads):
    """What the proof of `check` finds, as lines to print. Other findings are no matter of the graph."""
    done = run_tool([tool, "check", database, "-j", str(threads)])
    if done.returncode not in (0, 1):
        return [f"check: exit status {done.returncode}: {done.stderr.strip()[-300:]}"]
    if not any(words in done.stdout for words in (" the model", "The graph is wrong", "has no nodes at all")):
        return ["check: it tells nothing of a proof"]
    lines = done.stdout.splitlines() + done.stderr.splitlines()
    return [f"check: {line}" for line in lines if line.lstrip().startswith(("Missing", "Surplus"))]


def compare_seed(tool, seed, threads, with_redundancy, folder):
    arguments = make_device(seed, with_redundancy).write(folder)
    result, status = None, 0
    try:
        result = run(*arguments)
    except (BadInput, BrokenInvariant) as error:
        status = error.status
    os.makedirs(os.path.join(folder, "opened"), exist_ok=True)
    found, first, first_bytes = [], None, None
    for count in threads:
        database = os.path.join(folder, f"tool-{count}.kdb")
        tool_run = ToolRun(tool, device_arguments(arguments), folder, count, ["-o", database])
        found += [f"-j {count}: {line}" for line in compare_run(result, status, tool_run)]
        if tool_run.status != 0:
            continue
        first = first or tool_run
        for name in HEADERS:
            if tool_run.bytes_of(name) != first.bytes_of(name):
                found.append(f"{name}: other bytes with {count} threads than with {threads[0]}")
        with open(database, "rb") as file:
            database_bytes = file.read()
        first_bytes = first_bytes or database_bytes
        if database_bytes != first_bytes:
            found.append(f"database: other bytes with {count} threads than with {threads[0]}")
    if first:
        found += compare_database(tool, database, tool_run, folder, threads[-1])
        found += prove(tool, database, threads[-1])
    return found, result


def try_seed(tool, seed, threads, with_redundancy, folder):
    """What differs, and how many edges there are; None for a device without a graph."""
    os.makedirs(folder, exist_ok=True)
    try:
        found, result = compare_seed(tool, seed, threads, with_redundancy, folder)
    except (OSError, ValueError, KeyError, subprocess.TimeoutExpired) as error:
        return [f"{type(error).__name__}: {error}"], None
    return found, result and len(result.edges)


def main():
    parser = argparse.ArgumentParser(description="Compare kep-rg with the reference on random devices.")
    parser.add_argument("--tool", required=True)
    parser.add_argument("--seeds", required=True, metavar="A-B")
    parser.add_argument("--threads", default="1,2")
    parser.add_argument("--no-redundancy", action="store_true")
    parser.add_argument("--keep", metavar="DIR", help="where the folders of failing seeds go")
    arguments = parser.parse_args()
    first, last = (int(text) for text in arguments.seeds.split("-"))
    threads = [int(text) for text in arguments.threads.split(",")]
    keep = arguments.keep or tempfile.mkdtemp(prefix="kep-rg-compare-")
    passed = failed = with_edges = edges = refused = 0
    seeds = range(first, last + 1)
    folders = [os.path.join(keep, f"seed-{seed}") for seed in seeds]
    run_seed = functools.partial(try_seed, arguments.tool, threads=threads, with_redundancy=not arguments.no_redundancy)
    with concurrent.futures.ProcessPoolExecutor() as pool:
        outcomes = [pool.submit(run_seed, seed=seed, folder=folder) for seed, folder in zip(seeds, folders)]
        for seed, folder, outcome in zip(seeds, folders, outcomes):
            found, num_edges = outcome.result()
            if num_edges is None:
                refused += 1
            else:
                edges += num_edges
                with_edges += bool(num_edges)
            if found:
                failed += 1
                print(f"seed {seed}: {len(found)} differences, in {folder}")
                for line in found[:SHOWN]:
                    print(f"    {line}")
            else:
                passed += 1
                shutil.rmtree(folder)
    if not failed and not arguments.keep:
        os.rmdir(keep)
    print(f"{with_edges} seeds with {edges} edges, {refused} without a graph")
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
