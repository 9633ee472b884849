"""Redundancy data: from its text to the uips that it marks."""

import re

from errors import BadInput
from model import LOGICAL, STANDARD_RANK
from relative_ports import RelativePort, RelativePortGroup, RelativePortToPort, parse_relative_port
from unfolded import UInstPort


class FixupTables:
    def __init__(self, store):
        self.mux_modules = []
        self.inner_to_outer = RelativePortToPort()
        self.output_to_input = RelativePortToPort()
        for arc in store.arcs:
            if not arc.is_always_skip() and not arc.mux.exceptions:
                for module in (arc.input.module, arc.output.module):
                    if module not in self.mux_modules:
                        self.mux_modules.append(module)
        for module in self.mux_modules:
            for outer in module.ports:
                self.descend(outer, outer, ())
        for arc in store.arcs:
            self.output_to_input.add(RelativePort((), arc.output), arc.input)

    def descend(self, port, outer, stack):
        if port.net is None:
            return
        for inst_port in port.net.inst_ports:
            below = stack + (inst_port.inst,)
            if inst_port.inst.master in self.mux_modules:
                self.inner_to_outer.add(RelativePort(below, inst_port.port), outer)
            else:
                self.descend(inst_port.port, outer, below)


def tokens_of(text):
    return [token for token in re.split('[ \t\n"]', text) if token]


def parse_redundancy(model, text):
    """The group that the text names, and the lines that couldn't be read."""
    tokens = tokens_of(text)
    if not tokens or tokens[0] != "module_name:":
        raise BadInput("FATAL ERROR: Missing module_name keyword in first line of redundancy_data.")
    if len(tokens) < 2:
        raise BadInput("the text ends behind the keyword")
    modules = model.find_modules(tokens[1], LOGICAL)
    if not modules:
        raise BadInput(f"unknown module {tokens[1]}")
    if len(tokens) % 2 != 0:
        raise BadInput("the text ends in the middle of a pair")
    group = RelativePortGroup()
    failed = []
    for line in tokens[3::2]:
        entry = parse_relative_port(modules[0], line, STANDARD_RANK)
        if entry is None:
            failed.append(line)
        else:
            group.add(entry)
    return group, failed


class RedundancyTable:
    """The relative paths that are stored for each module."""

    def __init__(self):
        self.paths = {}  # module -> list of (chain, port)

    def add_text(self, model, store, text):
        group, failed = parse_redundancy(model, text)
        tables = FixupTables(store)
        middle, out = RelativePortGroup(), RelativePortGroup()
        tables.inner_to_outer.apply_to_group(middle, group)
        tables.output_to_input.apply_to_group(out, middle)
        for entry in out.entries:
            stored = self.paths.setdefault(out.top, [])
            if (entry.chain, entry.port) not in stored:
                stored.append((entry.chain, entry.port))
        return failed

    def marked_uips(self, u_top):
        """Every marked uip below the module, at every occurrence and in whatever view of the masters."""
        marked = set()
        if self.paths:
            self.visit(u_top.place, marked)
        return marked

    def visit(self, place, marked):
        module = place[-1]
        for chain, port in self.paths.get(module, []):
            uip = self.uip_below(place, chain, port)
            if uip is not None:
                marked.add(uip)
        for inst in module.instances:
            for master in inst.master.group:
                self.visit(place + (inst, master), marked)

    def uip_below(self, place, chain, port):
        if not chain:
            if len(place) == 1:
                return None
            return UInstPort(place[:-2], place[-2].inst_ports[port.index])
        for above, below in zip(chain, chain[1:]):
            place = place + (above, below.parent)
        return UInstPort(place, chain[-1].inst_ports[port.index])
