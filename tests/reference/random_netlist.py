"""Small random device models: hierarchies of a few modules in several views, as netlist JSON.

A Block is one piece of hardware, with one module for each view in which it is described. Blocks are made
from the leaves upward, and a block holds instances of blocks that were made before it, so that no hierarchy
contains itself.
"""

LOGICAL, VIEW_1, BLC, LOGICAL_TWIN = "LOGICAL", "VIEW_1", "BLC", "LOGICAL_TWIN"
SUFFIX = {LOGICAL: "", VIEW_1: "_v1", BLC: "_blc", LOGICAL_TWIN: "_twin"}

MAX_UNFOLDED = 220
MAX_INSTANCES = 30


class PortSpec:
    def __init__(self, name, direction, width=1, offset=0, upto=0):
        self.name = name
        self.direction = direction
        self.width = width
        self.offset = offset
        self.upto = upto


class Block:
    def __init__(self, name, ports):
        self.name = name
        self.ports = ports
        self.modules = []  # pairs of a view and a key
        self.ip_root = False
        self.walked_root_below = False  # a module below may be a logical routing root
        self.routed = False
        self.size = 1


class NetlistMaker:
    def __init__(self, rng):
        self.rng = rng
        self.modules = {}
        self.atoms = []
        self.blocks = []
        self.instances_left = MAX_INSTANCES
        self.header_share = rng.choice([0.95, 0.95, 0.7, 0.4])
        self.many_views = rng.random() < 0.5
        self.open_share = rng.choice([0.0, 0.05, 0.15])
        self.device_top = rng.random() < 0.25

    # ---- the parts of a model ---------------------------------------------------------------

    def make(self):
        rng = self.rng
        for i in range(rng.randint(1, 2)):
            self.atoms.append(self.make_leaf(f"A{i}", []))
        for i in range(rng.randint(1, 3)):
            self.blocks.append(self.make_leaf(f"L{i}", self.atoms))
        if rng.random() < 0.3:
            self.blocks.append(self.make_buffer("BUF"))
        if rng.random() < 0.45:
            self.blocks.append(self.make_logic_block("K0"))
        if rng.random() < 0.2:
            self.make_tunnel_blocks()
        for level in range(rng.randint(0, 3)):
            for i in range(rng.randint(1, 2)):
                self.blocks.append(self.make_hierarchy(f"H{level}{i}"))
        self.make_top()
        return {"creator": "random", "modules": self.modules}

    def make_leaf(self, name, inner):
        rng = self.rng
        ports = [self.port("abcd"[i], "input") for i in range(rng.randint(1, 3))]
        ports += [self.port("opq"[i], "output") for i in range(rng.randint(1, 2))]
        if rng.random() < 0.2:
            ports.append(self.port("io", "inout"))
        rng.shuffle(ports)
        block = Block(name, ports)
        views = self.pick_views(0.5 if inner else 0.2)
        for view in views:
            children = [rng.choice(inner) for _ in range(rng.randint(0, 2))] if inner else []
            if rng.random() < 0.6:
                children = []
            self.add_module(block, view, children, group=len(views) > 1)
        block.ip_root = bool(inner) and rng.random() < 0.05
        self.mark_ip_root(block)
        return block

    def make_buffer(self, name):
        block = Block(name, [PortSpec("x", "inout"), PortSpec("y", "inout")])
        self.add_module(block, LOGICAL, [], group=False)
        if self.rng.random() < 0.8:
            self.set_flag(self.modules[block.modules[0][1]], "kep_blc_bidir_buffer")
        return block

    def make_logic_block(self, name):
        """A block that is described as a BLC, most often with a logical stub beside it."""
        rng = self.rng
        ports = [self.port("ijk"[i], "input") for i in range(rng.randint(1, 3))]
        ports += [self.port("rs"[i], "output") for i in range(rng.randint(1, 2))]
        if rng.random() < 0.2:
            ports.append(self.port("w", "inout"))
        block = Block(name, ports)
        block.ip_root = True
        inner = [b for b in self.atoms + self.blocks if not b.walked_root_below and not b.ip_root]
        views = [LOGICAL, BLC] + [v for v in (VIEW_1, LOGICAL_TWIN) if rng.random() < 0.2]
        if rng.random() < 0.08:
            views.append(BLC)
        for view in views:
            count = rng.randint(1, 4) if view == BLC else rng.choice([0, 0, 1, 2])
            children = [rng.choice(inner) for _ in range(count)]
            if view == BLC and rng.random() < 0.3:
                children += [b for b in self.blocks if b.name == "BUF"]
            self.add_module(block, view, children, group=True)
        self.mark_ip_root(block)
        for view, key in block.modules:
            if view == BLC and rng.random() < 0.45:
                self.set_flag(self.modules[key], "kep_trait_0")
        return block

    def make_tunnel_blocks(self):
        """Sources, gates that a source may see through, and far ends inside the gates and beside them."""
        for name, children in (("FAR", 0), ("SRC", 0), ("GATE", self.rng.randint(1, 3))):
            block = Block(name, [PortSpec("a", "input"), PortSpec("b", "input"), PortSpec("o", "output")])
            far = [b for b in self.blocks if b.name == "FAR"] * children
            self.add_module(block, LOGICAL, far, group=False)
            self.blocks.append(block)

    def make_hierarchy(self, name):
        rng = self.rng
        ports = [self.port(f"in{i}", "input") for i in range(rng.randint(0, 3))]
        ports += [self.port(f"out{i}", "output") for i in range(rng.randint(0, 2))]
        if rng.random() < 0.25:
            ports.append(self.port("pad", "inout"))
        block = Block(name, ports)
        views = self.pick_views(0.3)
        for view in views:
            self.add_module(block, view, self.pick_children(5), group=len(views) > 1)
        may_be_root = not block.walked_root_below or rng.random() < 0.04
        block.ip_root = may_be_root and rng.random() < 0.4
        self.mark_ip_root(block)
        return block

    def make_top(self):
        rng = self.rng
        ports = [self.port(f"t{i}", "input") for i in range(rng.randint(0, 2))]
        ports += [self.port(f"z{i}", "output") for i in range(rng.randint(0, 2))]
        if rng.random() < 0.3:
            ports.append(self.port("tio", "inout"))
        block = Block("TOP", ports)
        self.instances_left = max(self.instances_left, 4)
        views = [rng.choice([LOGICAL] * 8 + [BLC, VIEW_1, LOGICAL_TWIN])]
        if rng.random() < 0.2:
            views += rng.sample([v for v in SUFFIX if v not in views], rng.randint(1, 2))
        for view in views:
            children = self.pick_children(6, at_least=2)
            roots = [b for b in self.blocks if b.ip_root and b.size * 3 < MAX_UNFOLDED]
            if roots and rng.random() < 0.4:
                children += [rng.choice(roots)] * rng.randint(2, 3)
            self.add_module(block, view, children, group=len(views) > 1)
        if not block.walked_root_below and rng.random() < 0.1:
            block.ip_root = True
            self.mark_ip_root(block)
        top = self.modules[block.modules[0][1]]
        used = {c["type"] for m in self.modules.values() for c in m["cells"].values()}
        roots = [key for key in self.modules if key not in used]
        if len(roots) > 1 or rng.random() < 0.6:
            self.set_number(top, "top", 1)
        db_type = rng.choice([0, 1, 1, 1, 2, 2, 2, 2, 2])
        if db_type != 2 or rng.random() < 0.5:
            self.set_number(top, "kep_db_type", db_type)
        if self.device_top:
            self.set_number(top, "kep_device_top", 1)
            for block in self.blocks:
                if rng.random() < 0.3:
                    for _, key in block.modules:
                        if rng.random() < 0.9:
                            self.set_flag(self.modules[key], "kep_foreign")

    # ---- choices ------------------------------------------------------------------------------

    def port(self, name, direction):
        rng = self.rng
        if rng.random() < 0.85:
            return PortSpec(name, direction)
        return PortSpec(
            name, direction, rng.randint(2, 3), rng.choice([0, 0, 0, 4]), rng.choice([0, 0, 1])
        )

    def pick_views(self, share):
        rng = self.rng
        first = rng.choice([LOGICAL] * 14 + [VIEW_1, BLC])
        if not self.many_views or rng.random() > share:
            return [first]
        others = [v for v in SUFFIX if v != first]
        views = [first] + rng.sample(others, rng.choice([1, 1, 2, 3]))
        return views + [rng.choice(views)] if rng.random() < 0.1 else views

    def pick_children(self, at_most, at_least=1):
        rng = self.rng
        count = min(rng.randint(at_least, at_most), max(self.instances_left, 1))
        last = self.blocks[-2:]
        children, size = [], 0
        for _ in range(count):
            child = rng.choice(last if rng.random() < 0.55 else self.blocks)
            if size + child.size > MAX_UNFOLDED:
                continue
            size += child.size
            children.append(child)
            if rng.random() < 0.4 and size + child.size <= MAX_UNFOLDED:
                size += child.size
                children.append(child)
        return children

    # ---- writing modules ----------------------------------------------------------------------

    def mark_ip_root(self, block):
        if not block.ip_root:
            return
        for _, key in block.modules:
            if self.rng.random() < 0.97:
                self.set_flag(self.modules[key], "kep_ip_root")
        block.walked_root_below = block.walked_root_below or any(view != BLC for view, _ in block.modules)

    def set_number(self, target, name, value):
        target["attributes"][name] = value if self.rng.random() < 0.7 else format(value, "032b")

    def set_flag(self, target, name):
        self.set_number(target, name, 1)

    def add_module(self, block, view, children, group):
        rng = self.rng
        key = block.name + SUFFIX[view]
        while key in self.modules:
            key += "x"
        module = {"attributes": {}, "ports": {}, "cells": {}, "netnames": {}}
        self.modules[key] = module
        block.modules.append((view, key))
        if key != block.name:
            module["attributes"]["kep_name"] = block.name
        if view != LOGICAL or rng.random() < 0.2:
            module["attributes"]["kep_view"] = view
        if group:
            module["attributes"]["kep_equivalents"] = "group " + block.name
        if rng.random() < 0.05:
            self.set_flag(module, "kep_trait_0")
        for number, child in enumerate(children):
            self.add_cell(module, child, number, view)
            block.walked_root_below |= child.walked_root_below
            self.instances_left -= 1
        block.size = max(block.size, 1 + sum(child.size for child in children))
        self.wire(block, module, children)
        self.name_nets(block, module, view)

    def add_cell(self, module, child, number, view):
        rng = self.rng
        cell = {"type": self.pick_master(child), "parameters": {}, "attributes": {}, "connections": {}}
        if rng.random() < self.header_share * (0.15 if child.ip_root else 1):
            self.set_flag(cell, "kep_inst_header")
        if rng.random() < 0.08:
            self.set_flag(cell, "kep_trait_0")
        if rng.random() < (0.5 if view == BLC else 0.03):
            self.set_flag(cell, "kep_blc_atom")
        if rng.random() < (0.3 if any(v == BLC for v, _ in child.modules) else 0.03):
            self.set_flag(cell, "kep_blc_inserted_buffer")
        module["cells"][rng.choice(["i", "i", "m", "sk"]) + str(number)] = cell

    def pick_master(self, child):
        rng = self.rng
        if rng.random() < 0.75:
            return child.modules[0][1]
        return rng.choice(child.modules)[1]

    def wire(self, block, module, children):
        """Drivers take nets, mostly one each, and loads join the nets of drivers."""
        rng = self.rng
        drivers, loads = [], []
        for port in block.ports:
            bits = [None] * port.width
            described = {"direction": port.direction, "bits": bits}
            if port.offset:
                described["offset"] = port.offset
            if port.upto:
                described["upto"] = port.upto
            module["ports"][port.name] = described
            for i in range(port.width):
                (loads if port.direction == "output" else drivers).append((bits, i))
        for cell, child in zip(module["cells"].values(), children):
            for port in child.ports:
                if rng.random() < self.open_share:
                    if rng.random() < 0.5:
                        constants = [rng.choice("01xz") for _ in range(port.width)]
                        # An open port may have an empty list instead.
                        cell["connections"][port.name] = [] if constants[:1] == ["0"] else constants
                    continue
                bits = [None] * port.width
                cell["connections"][port.name] = bits
                for i in range(port.width):
                    (drivers if port.direction == "output" else loads).append((bits, i))
        if not children and rng.random() < 0.75:
            for number, (bits, i) in enumerate(drivers + loads):
                bits[i] = 2 + number if rng.random() < 0.93 else "x"
            return
        nets = list(range(2, 2 + max(2, len(drivers))))
        driven = []
        for bits, i in drivers:
            bits[i] = self.rng.choice(nets) if rng.random() > self.open_share else "x"
            if bits[i] != "x":
                driven.append(bits[i])
        for bits, i in loads:
            bits[i] = rng.choice(driven if driven and rng.random() < 0.9 else nets)
            if rng.random() < self.open_share:
                bits[i] = rng.choice("01xz")

    def name_nets(self, block, module, view):
        rng = self.rng
        re_index = rng.choice([0, 0, 3])
        for port in block.ports:
            if view != BLC and rng.random() < 0.1:
                continue
            named = {"hide_name": 0, "bits": list(module["ports"][port.name]["bits"]), "attributes": {}}
            for field in ("offset", "upto"):
                if getattr(port, field):
                    named[field] = getattr(port, field)
            if rng.random() < (0.7 if view == BLC else 0.05):
                self.set_number(named, "kep_blc_re_index", re_index)
                re_index += port.width
                if rng.random() < 0.3:
                    named["attributes"]["kep_blc_icd_port_name"] = "icd " + port.name
            module["netnames"][port.name] = named
        used = sorted(
            {
                bit
                for cell in module["cells"].values()
                for bits in cell["connections"].values()
                for bit in bits
                if isinstance(bit, int)
            }
        )
        for bit in used:
            if rng.random() < 0.7:
                module["netnames"][f"n{bit}"] = {"hide_name": 1, "bits": [bit], "attributes": {}}
        if len(used) > 1 and rng.random() < 0.1:
            module["netnames"]["bus"] = {"hide_name": 0, "bits": used[:2], "attributes": {}}
