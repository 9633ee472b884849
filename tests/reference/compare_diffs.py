#!/usr/bin/env python3
"""Holds `kep-rg diff` to the dumps of both devices, on pairs of random devices.

usage: compare_diffs.py --tool PATH --seeds A-B [--keep DIR]

The first device of a pair is one of all features, or, for one seed in four, a small regular fabric; the second is
the first one with a few changes, or, for one seed in eight, another device. What is
gone and new must be the difference of the dumps as multisets of lines, counts and groups must add up to it, and the
output must be the same bytes for one thread and two, and for models and databases. At the end it is told how often
each change was made and how often it made a difference. The folder of a failing seed is kept. As many seeds run at
a time as there are processors.
"""

import argparse
import concurrent.futures
import copy
import functools
import json
import os
import random
import shutil
import subprocess
import sys
import tempfile
from collections import Counter

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from random_model import features_of, make_device

ATTEMPTS = 12
TIMEOUT_S = 120
SIDES = ("a", "b")


# ---- changes of a device; each gives False where it finds nothing to change -----------------------


def pick_cell(rng, device):
    found = [(m, name) for m in device.model["modules"].values() for name in m["cells"]]
    return rng.choice(found) if found else (None, None)


def delete_instance(rng, device):
    module, name = pick_cell(rng, device)
    return module is not None and module["cells"].pop(name) is not None


def insert_instance(rng, device):
    module, name = pick_cell(rng, device)
    if module is None:
        return False
    cells = list(module["cells"].items())
    cells.insert(rng.randrange(len(cells) + 1), (f"new{rng.randrange(9)}", copy.deepcopy(module["cells"][name])))
    module["cells"] = dict(cells)
    return True


def rename_instance(rng, device):
    module, name = pick_cell(rng, device)
    if module is None:
        return False
    fresh = f"x{rng.randrange(9)}y{rng.randrange(9)}"
    module["cells"] = {fresh if n == name else n: cell for n, cell in module["cells"].items()}
    return True


def swap_names(rng, device):
    module, name = pick_cell(rng, device)
    if module is None or len(module["cells"]) < 2:
        return False
    other = rng.choice([n for n in module["cells"] if n != name])
    names = {name: other, other: name}
    module["cells"] = {names.get(n, n): cell for n, cell in module["cells"].items()}
    return True


def swap_master(rng, device):
    module, name = pick_cell(rng, device)
    if module is None:
        return False
    module["cells"][name]["type"] = rng.choice(sorted(device.model["modules"]))
    return True


def add_port(rng, device):
    module = rng.choice(list(device.model["modules"].values()))
    ports = list(module["ports"].items())
    bits = [b for cell in module["cells"].values() for c in cell["connections"].values() for b in c]
    bit = rng.choice(bits) if bits else 1000
    port = ("added", {"direction": rng.choice(["input", "output", "inout"]), "bits": [bit]})
    ports.insert(rng.randrange(len(ports) + 1), port)
    module["ports"] = dict(ports)
    return True


def move_connection(rng, device):
    module, name = pick_cell(rng, device)
    if module is None:
        return False
    bits = [(c, i) for c in module["cells"][name]["connections"].values() for i in range(len(c))]
    others = [b for cell in module["cells"].values() for c in cell["connections"].values() for b in c]
    if not bits:
        return False
    connection, index = rng.choice(bits)
    connection[index] = rng.choice(others)
    return True


def drop_statement(rng, device):
    if not device.statements:
        return False
    device.statements.pop(rng.randrange(len(device.statements)))
    return True


def drop_arc(rng, device):
    arcs = [s for s in device.statements if s["op"] == "add_port_edge"]
    if not arcs:
        return False
    device.statements.remove(rng.choice(arcs))
    return True


def drop_feature(rng, device):
    changed = list(features_of(device))
    if not changed:
        return False
    _, other = rng.choice(changed)
    device.model, device.statements, device.redundancy = other.model, other.statements, other.redundancy
    return True


def change_redundancy(rng, device):
    if device.redundancy is None:
        return False
    lines = device.redundancy.split("\n")
    lines.pop(rng.randrange(len(lines)))
    device.redundancy = "\n".join(lines)
    return True


def reorder(rng, device):
    for module in device.model["modules"].values():
        cells = list(module["cells"].items())
        rng.shuffle(cells)
        module["cells"] = dict(cells)
    modules = list(device.model["modules"].items())
    rng.shuffle(modules)
    device.model["modules"] = dict(modules)
    return True


CHANGES = (
    delete_instance,
    insert_instance,
    rename_instance,
    swap_names,
    swap_master,
    add_port,
    move_connection,
    drop_statement,
    drop_arc,
    drop_feature,
    change_redundancy,
    reorder,
)


def change(rng, device):
    changed = copy.deepcopy(device)
    made = [c.__name__ for c in rng.choices(CHANGES, k=rng.choice([1, 1, 1, 2, 4])) if c(rng, changed)]
    return changed, made


# ---- the tool and what it should say --------------------------------------------------------------


def run_tool(*command):
    return subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=TIMEOUT_S)


def build(tool, arguments, folder):
    """False when the device is refused."""
    model, routing, redundancy = arguments
    more = [word for file in redundancy for word in ("--redundancy", file)]
    words = [tool, "build", "-q", model, *routing, *more, "-j", "1", "--dump", folder]
    done = run_tool(*words, "-o", os.path.join(folder, "device.kdb"))
    if done.returncode not in (0, 2):
        raise ValueError(f"build: exit status {done.returncode}: {done.stderr[-300:]}")
    return done.returncode == 0


def make_side(tool, device, folder):
    arguments = device.write(folder)
    return arguments if build(tool, arguments, folder) else None


def make_fabric(tool, rng, folder):
    """Tiles in columns and rows, in which like tiles differ alike."""
    os.makedirs(folder, exist_ok=True)
    names = {word: os.path.join(folder, f"fabric.{word}") for word in ("model", "routing", "redundancy")}
    size = [word for name in ("columns", "rows") for word in (f"--{name}", str(rng.randint(2, 4)))]
    files = [word for name, file in names.items() for word in (f"--{name}", file)]
    done = run_tool(tool, "generate", *size, *files, "--redundant", "5")
    if done.returncode != 0:
        raise ValueError(f"generate: {done.stderr[-300:]}")
    fabric = make_device(1)
    texts = {}
    for name, file in names.items():
        with open(file, encoding="utf-8") as opened:
            texts[name] = opened.read()
    fabric.model = json.loads(texts["model"])
    fabric.statements = [json.loads(line) for line in texts["routing"].splitlines()]
    fabric.redundancy = texts["redundancy"]
    return fabric


def make_pair(tool, seed, folder):
    """The files of both devices, and the changes between them; None for a refused device."""
    rng = random.Random(f"diff/{seed}")
    first = make_fabric(tool, rng, folder) if seed % 4 == 1 else make_device(seed)
    folders = [os.path.join(folder, side) for side in SIDES]
    arguments = [make_side(tool, first, folders[0]), None]
    if arguments[0] is None:
        return None
    for _ in range(ATTEMPTS):
        second, made = (make_device(seed + 1), ["another device"]) if seed % 8 == 7 else change(rng, first)
        shutil.rmtree(folders[1], ignore_errors=True)
        arguments[1] = make_side(tool, second, folders[1])
        if arguments[1] is not None and made:
            return arguments, made
        if seed % 8 == 7:
            return None
    return None


def read_lines(folder, name):
    with open(os.path.join(folder, name), "rb") as file:
        return Counter(file.read().decode("utf-8").split("\n")[1:-1])


def get_wanted(folder):
    """The lines "-<tab>..." and "+<tab>..." that must come, without the lines of columns."""
    wanted = Counter()
    for name in ("nodes.tsv", "edges.tsv"):
        first, second = (read_lines(os.path.join(folder, side), name) for side in SIDES)
        for sign, lines in (("-", first - second), ("+", second - first)):
            wanted.update({f"{sign}\t{line}": count for line, count in lines.items()})
    return wanted


def count_lines(wanted, sign):
    """Nodes, real and redundant edges among them."""
    counts = Counter()
    for line, count in wanted.items():
        fields = line.split("\t")
        if fields[0] == sign:
            counts[fields[5] if len(fields) == 7 else "nodes"] += count
    return [counts["nodes"], counts["real"], counts["redundant"]]


def get_counts(counts):
    return [counts["nodes"], counts["real_edges"], counts["redundant_edges"]]


def compare_text(done, wanted):
    given = Counter(line for line in done.stdout.split("\n")[:-1] if not line.startswith("change\t"))
    found = [f"missing: {line}" for line in sorted((wanted - given).elements())]
    found += [f"too much: {line}" for line in sorted((given - wanted).elements())]
    if done.returncode != (1 if wanted else 0):
        found.append(f"exit status {done.returncode}: {done.stderr[-300:]}")
    return found


def compare_json(done, wanted):
    answer = json.loads(done.stdout)
    found = [] if answer["alike"] == (not wanted) else [f"alike is {answer['alike']}"]
    for word, sign in (("gone", "-"), ("new", "+")):
        counts = count_lines(wanted, sign)
        of_groups = [sum(column) for column in zip([0, 0, 0], *(get_counts(g[word]) for g in answer["groups"]))]
        if get_counts(answer[word]) != counts:
            found.append(f"{word}: {answer[word]}, wanted {counts}")
        if of_groups != counts:
            found.append(f"groups: {of_groups} {word}, wanted {counts}")
        given = Counter()
        for name in ("nodes", "edges"):
            given.update("\t".join([sign, *row.values()]) for row in answer[f"{word}_{name}"])
        if given != Counter({line: n for line, n in wanted.items() if line[0] == sign}):
            found.append(f"{word}: the lists of the JSON object are others")
    return found


def compare_seed(tool, seed, folder):
    pair = make_pair(tool, seed, folder)
    if pair is None:
        return [], None, 0
    arguments, made = pair
    databases = [os.path.join(folder, side, "device.kdb") for side in SIDES]
    wanted = get_wanted(folder)
    done = run_tool(tool, "diff", *databases, "-q", "--all", "-j", "1")
    found = compare_text(done, wanted)
    found += compare_json(run_tool(tool, "diff", *databases, "--json", "--all", "-j", "2"), wanted)
    words = [tool, "diff", *(model for model, _, _ in arguments), "-q", "--all", "-j", "2"]
    for side, (_, routing, redundancy) in zip(SIDES, arguments):
        words += [word for file in routing for word in (f"--routing-{side}", file)]
        words += [word for file in redundancy for word in (f"--redundancy-{side}", file)]
    if run_tool(*words).stdout != done.stdout:
        found.append("other bytes for the models than for the databases")
    return found, made, sum(wanted.values())


def try_seed(tool, seed, folder):
    os.makedirs(folder, exist_ok=True)
    try:
        return compare_seed(tool, seed, folder)
    except (OSError, ValueError, KeyError, subprocess.TimeoutExpired) as error:
        return [f"{type(error).__name__}: {error}"], None, 0


def main():
    parser = argparse.ArgumentParser(description="Hold kep-rg diff to the dumps of random devices.")
    parser.add_argument("--tool", required=True)
    parser.add_argument("--seeds", required=True, metavar="A-B")
    parser.add_argument("--keep", metavar="DIR", help="where the folders of failing seeds go")
    arguments = parser.parse_args()
    first, last = (int(text) for text in arguments.seeds.split("-"))
    keep = arguments.keep or tempfile.mkdtemp(prefix="kep-rg-diffs-")
    made_counts, told_counts = Counter(), Counter()
    failed = differ = alike = refused = num_lines = 0
    seeds = range(first, last + 1)
    folders = [os.path.join(keep, f"seed-{seed}") for seed in seeds]
    with concurrent.futures.ProcessPoolExecutor() as pool:
        outcomes = pool.map(functools.partial(try_seed, arguments.tool), seeds, folders)
        for seed, folder, outcome in zip(seeds, folders, outcomes):
            found, made, lines = outcome
            refused += made is None
            differ += lines != 0
            alike += made is not None and lines == 0
            num_lines += lines
            made_counts.update(made or [])
            told_counts.update(made if lines else [])
            if found:
                failed += 1
                print(f"seed {seed}: {len(found)} faults, in {folder} ({', '.join(made or [])})")
                print("".join(f"    {line}\n" for line in found[:6]), end="")
            else:
                shutil.rmtree(folder)
    if not failed and not arguments.keep:
        os.rmdir(keep)
    for name in sorted(made_counts):
        print(f"{made_counts[name]:6d} {told_counts[name]:6d}  {name}")
    print(f"{differ} pairs differ by {num_lines} lines, {alike} are alike, {refused} were refused; {failed} failed")
    return 1 if failed or not differ or not alike else 0


if __name__ == "__main__":
    sys.exit(main())
