"""Ports named from a module by a chain of instances, groups of them, and rewrite tables over them."""

import re

from errors import BadInput, BrokenInvariant
from model import find_view_by_rank


class RelativePort:
    def __init__(self, chain=(), port=None):
        self.chain = tuple(chain)
        self.port = port

    def get_top(self):
        if self.chain:
            return self.chain[0].parent
        return None if self.port is None else self.port.module

    def get_inst_port(self):
        if not self.chain or self.port is None:
            return None
        return self.chain[-1].inst_ports[self.port.index]

    def get_name(self):
        text = "/".join(inst.name for inst in self.chain)
        return text if self.port is None else text + ":" + self.port.name

    def ends_with(self, other):
        if self.port is not other.port or len(other.chain) > len(self.chain):
            return False
        return not other.chain or self.chain[-len(other.chain) :] == other.chain

    def without_tail(self, count, port):
        return RelativePort(self.chain[: len(self.chain) - count], port)


def through_rank(module, rank):
    return find_view_by_rank(rank, module) if module.ip_root else module


def parse_relative_port(top, text, rank):
    """The relative port that the text names below the module, or None."""
    segments = [s for s in re.split("[/:]", text) if s]
    module = top
    chain = []
    last = ""
    while segments:
        if chain:
            module = chain[-1].master
        if module is not None:
            module = through_rank(module, rank)
        inst = None if module is None else module.find_instance(segments[0])
        if inst is None:
            last = segments[0]
            break
        if chain and through_rank(inst.parent, rank) is not through_rank(chain[-1].master, rank):
            raise BrokenInvariant("top == back")
        chain.append(inst)
        segments = segments[1:]
    if not segments:
        return None
    segments = segments[1:]
    if segments or not last:
        return None
    if chain:
        module = chain[-1].master
    port = None if module is None else module.find_port(last)
    if port is None:
        return None
    return RelativePort(chain, port)


class RelativePortGroup:
    """Relative ports below one module, in order of arrival."""

    def __init__(self):
        self.top = None
        self.entries = []

    def add(self, entry):
        if self.top is None:
            self.top = entry.get_top()
        if entry.get_top() is not self.top:
            raise BrokenInvariant("r_port->get_top() == m_top")
        self.entries.append(entry)


class RelativePortToPort:
    """A rewrite table: which port stands in the place of a relative port, or of its tail."""

    def __init__(self):
        self.by_port = {}
        self.by_inst_port = {}
        self.deep = {}  # inst port -> list of (key, value), first value of a key stays

    def add(self, key, value):
        if key.get_top() is not value.module:
            raise BadInput(f"Mismatched top level when adding {key.get_name()} and {value.name}")
        if len(key.chain) == 0:
            self.by_port.setdefault(key.port, value)
        elif len(key.chain) == 1:
            self.by_inst_port.setdefault(key.get_inst_port(), value)
        else:
            known = self.deep.setdefault(key.get_inst_port(), [])
            if not any(k.chain == key.chain and k.port is key.port for k, _ in known):
                known.append((key, value))

    def apply(self, entry):
        """The rewritten entry, or None when no rule fits."""
        if len(entry.chain) == 0:
            if entry.port in self.by_port:
                return entry.without_tail(0, self.by_port[entry.port])
            return None
        if len(entry.chain) == 1:
            if entry.get_inst_port() in self.by_inst_port:
                return entry.without_tail(1, self.by_inst_port[entry.get_inst_port()])
            return None
        for key, value in self.deep.get(entry.get_inst_port(), []):
            # No chain of a key runs through the module that another key starts in, so one key at most fits.
            if entry.ends_with(key):
                return entry.without_tail(len(key.chain), value)
        if entry.get_inst_port() in self.by_inst_port:
            return entry.without_tail(1, self.by_inst_port[entry.get_inst_port()])
        if entry.port in self.by_port:
            return entry.without_tail(0, self.by_port[entry.port])
        return None

    def apply_to_group(self, out, group):
        for entry in group.entries:
            rewritten = self.apply(entry)
            out.add(entry if rewritten is None else rewritten)
