#!/usr/bin/env python3
"""Compares the mux-to-mux edges of a dump with those that follow from a chip database.

usage: check_icebox_edges.py CHIPDB.txt EDGES.tsv

The expectation comes from the text alone: an edge from every mux that drives a net to every mux that lists the net as
a source, once for each such line; a mux that lists its own net has no edge to itself. Exit status: 0 when both agree,
1 when they differ, 2 when a file can't be understood.

An edge's place is counted by the first line of its target that lists the source's net, and the driver's number among
the drivers of that net; so millions of edges fit in one flat array.
"""

import sys
from array import array

COLUMNS = ["from", "from_kind", "to", "to_kind", "class", "mux_input"]
MUX_INSTANCES = ("buffer.", "routing.")
SHOWN = 5  # findings of one sort that are printed


class Chip:
    """Muxes by name, with the net that each drives and the nets that it lists."""

    def __init__(self, path):
        self.mux_ids = {}
        self.names = []
        self.driven = array("l")  # by mux
        self.first_line = array("l")  # by mux, in listed; one more at the end
        self.listed = array("l")  # nets, mux after mux
        self.drivers = {}  # by net: muxes
        self.rank = array("l")  # by mux: its number among the drivers of its net
        self._read(path)

    def _read(self, path):
        first_name = {}  # by (x, y, net): the first local name there
        entries = {}  # by instance name without a number: entries so far
        section = net = None
        with open(path, encoding="ascii") as text:
            for line in text:
                words = line.split()
                if not words or words[0].startswith("#"):
                    continue
                if words[0].startswith("."):
                    section = words[0]
                    if section == ".net":
                        net = int(words[1])
                    elif section in (".buffer", ".routing"):
                        x, y, driven = words[1], words[2], int(words[3])
                        wire = first_name[x, y, driven].replace("/", ".")
                        name = f"{x}_{y}/{section[1:]}.{wire}"
                        entries[name] = entries.get(name, 0) + 1
                        self._add_mux(name if entries[name] == 1 else f"{name}.{entries[name]}", driven)
                elif section == ".net":
                    first_name.setdefault((words[0], words[1], net), words[2])
                elif section in (".buffer", ".routing"):
                    self.listed.append(int(words[1]))
        self.first_line.append(len(self.listed))

    def _add_mux(self, name, net):
        mux = len(self.names)
        if self.mux_ids.setdefault(name, mux) != mux:
            raise ValueError(f"two muxes are named {name}")
        self.names.append(name)
        self.driven.append(net)
        self.first_line.append(len(self.listed))
        drivers = self.drivers.setdefault(net, array("l"))
        self.rank.append(len(drivers))
        drivers.append(mux)

    def lines_of(self, mux):
        return self.listed[self.first_line[mux]:self.first_line[mux + 1]]


class Findings:
    def __init__(self):
        self.counts = {}

    def add(self, sort, text):
        self.counts[sort] = self.counts.get(sort, 0) + 1
        if self.counts[sort] <= SHOWN:
            print(f"{sort}: {text}")


def mux_of(chip, node, findings):
    """The mux whose output the node is, None for any other node."""
    instance, _, port = node.rpartition(":")
    mux = chip.mux_ids.get(instance)
    if mux is not None and port == "o":
        return mux
    if instance.rpartition("/")[2].startswith(MUX_INSTANCES):
        findings.add("unknown mux node", node)
    return None


def is_input_of(chip, text, mux, net):
    """Whether `text` names an input of the mux that listens to the net."""
    instance, _, port = text.rpartition(":i")
    lines = chip.lines_of(mux)
    return instance == chip.names[mux] and port.isdecimal() and int(port) < len(lines) and lines[int(port)] == net


def count_edges(chip, path, findings):
    """Counts the dump's edges by place; gives the array and the first place of every listing line."""
    base = array("L")
    places = 0
    for net in chip.listed:
        base.append(places)
        places += len(chip.drivers.get(net, ()))
    counted = array("H", bytes(2 * places))
    rows = other = found = 0

    with open(path, encoding="ascii") as text:
        if text.readline().rstrip("\n").split("\t") != COLUMNS:
            raise ValueError(f"{path}: the header is not {' '.join(COLUMNS)}")
        for line in text:
            cells = line.rstrip("\n").split("\t")
            if len(cells) != len(COLUMNS):
                raise ValueError(f"{path}: a row of {len(cells)} columns: {line!r}")
            rows += 1
            source = mux_of(chip, cells[0], findings)
            target = mux_of(chip, cells[2], findings)
            if source is None or target is None:
                other += 1
                continue
            found += 1
            net = chip.driven[source]
            lines = chip.lines_of(target)
            if net not in lines:
                findings.add("edge that does not follow", f"{cells[0]} -> {cells[2]}")
                continue
            counted[base[chip.first_line[target] + lines.index(net)] + chip.rank[source]] += 1
            if cells[4] != "real":
                findings.add("edge that is not real", f"{cells[0]} -> {cells[2]} is {cells[4]}")
            if cells[5] and not is_input_of(chip, cells[5], target, net):
                findings.add("wrong mux input", f"{cells[0]} -> {cells[2]} through {cells[5]}")
    print(f"dump: {rows} edges, {found} between mux outputs, {other} others")
    return counted, base


def compare(chip, counted, base, findings):
    expected = to_itself = 0
    for target in range(len(chip.names)):
        lines = chip.lines_of(target)
        for net in set(lines):
            place = base[chip.first_line[target] + lines.index(net)]
            times = lines.count(net)
            for source in chip.drivers.get(net, ()):
                wanted = times
                if source == target:
                    to_itself += times
                    wanted = 0
                expected += wanted
                if counted[place + chip.rank[source]] != wanted:
                    findings.add("missing edge" if counted[place + chip.rank[source]] < wanted else "surplus edge",
                                 f"{chip.names[source]}:o -> {chip.names[target]}:o stands "
                                 f"{counted[place + chip.rank[source]]} times, not {wanted}")
    print(f"text: {len(chip.names)} muxes, {expected} edges, {to_itself} listings of a mux's own net left out")


def main(arguments):
    if len(arguments) != 2:
        print(__doc__.split("\n\n")[1], file=sys.stderr)
        return 2
    findings = Findings()
    try:
        chip = Chip(arguments[0])
        counted, base = count_edges(chip, arguments[1], findings)
    except (OSError, ValueError, KeyError, IndexError) as error:
        print(f"{sys.argv[0]}: {type(error).__name__}: {error}", file=sys.stderr)
        return 2
    compare(chip, counted, base, findings)
    for sort, count in findings.counts.items():
        print(f"{sort}: {count} in all")
    print("DIFFERENT" if findings.counts else "equal")
    return 1 if findings.counts else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
