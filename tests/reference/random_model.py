#!/usr/bin/env python3
"""Small random devices with every feature of the model, of the description and of redundancy data.

usage: random_model.py --seed N --out DIR [--no-redundancy]   writes model.json, routing.jsonl and, for some
                                                              seeds, redundancy.txt
       random_model.py --self-test A-B                        says which features change the results, how often

The same seed gives the same files. Most devices are accepted; one seed in forty may hold what is refused.
"""

import argparse
import copy
import json
import os
import random
import sys
import tempfile
from collections import Counter

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from errors import BadInput, BrokenInvariant
from model import BLC, LOGICAL, STANDARD_RANK, ModelReader
from random_netlist import NetlistMaker
from reference import run
from relative_ports import through_rank

ATTEMPTS = 8
TUNNELS = {"SRC": 1, "GATE": 2, "FAR": 3}  # by the names of the blocks that are made for them


class DescriptionMaker:
    """Statements about a model, most of them about what can make a difference there."""

    def __init__(self, rng, model):
        self.rng = rng
        self.model = model
        self.statements = []
        self.with_arcs = []

    def add(self, op, module=None, **fields):
        statement = {"op": op}
        if module is not None:
            statement["module"] = module.name
            if module.view != LOGICAL or self.rng.random() < 0.2:
                statement["view"] = module.view
        statement.update(fields)
        self.statements.append(statement)

    def names_itself(self, module):
        return self.model.find_modules(module.name, module.view)[0] is module

    def make(self):
        rng = self.rng
        self.add_roots()
        for group in self.groups():
            self.describe_group(group)
        self.add_marks()
        if rng.random() < 0.3 or self.model.find_modules("GATE", LOGICAL):
            self.add_tunnels()
        self.set_skips()
        if rng.random() < 0.4 and self.with_arcs:
            self.add_arcs(rng.choice(self.with_arcs), rng.random() < 0.5)
        if rng.random() < 0.25:
            self.set_skips()
        if rng.random() < 0.12:
            pattern = rng.choice(["sk", "m", "1"])
            self.add("set_non_template_mux_skip_path_inst_name_pattern", pattern=pattern)
        if rng.random() < 0.5:
            self.add_wire_types()
        with_flyovers = any(s["op"] == "add_routing_flyover" for s in self.statements)
        if rng.random() < (0.9 if with_flyovers else 0.3):
            self.add_spare_rows()
        return self.statements

    def groups(self):
        seen = set()
        for module in self.model.modules:
            if module.group[0] not in seen:
                seen.add(module.group[0])
                yield module.group

    def add_roots(self):
        rng = self.rng
        for group in self.groups():
            roots = [m for m in group if m.ip_root and self.names_itself(m)]
            if not roots or rng.random() < 0.15:
                continue
            logical = [m for m in roots if m.view == LOGICAL]
            has_blc = any(m.view == BLC for m in group)
            if has_blc and logical and rng.random() < 0.85:
                self.add("add_routing_root", logical[0], root_view="BLC")
            elif has_blc and rng.random() < 0.5:
                self.add("add_routing_root", [m for m in group if m.view == BLC][0], root_view="LOGICAL")
            else:
                self.add("add_routing_root", rng.choice(roots), root_view="LOGICAL")

    def describe_group(self, group):
        """Arcs: on nearly all leaves, on some hierarchies, seldom on IP roots."""
        rng = self.rng
        if self.model.top in group or not group[0].ports:
            return
        has_cells = any(m.instances for m in group)
        is_root = any(m.ip_root for m in group)
        share = 0.08 if is_root else 0.3 if has_cells else 0.85
        if group[0].name in TUNNELS:
            share = 1
        if rng.random() > share:
            return
        views = [m for m in group if self.names_itself(m)]
        if not views:
            return
        logical = [m for m in views if m.view == LOGICAL]
        blc = [m for m in views if m.view == BLC]
        module = rng.choice(views)
        if rng.random() < 0.75 and logical:
            module = logical[0]
        if rng.random() < 0.5 and blc:
            module = blc[0]  # the standard rank walks this one
        self.add_arcs(module, rng.random() < 0.2)

    def add_arcs(self, module, flag):
        rng = self.rng
        inputs = [p for p in module.ports if not p.is_output()]
        outputs = [p for p in module.ports if not p.is_input()]
        pairs = [(i, o) for i in inputs for o in outputs if i is not o]
        if rng.random() < 0.05:
            pairs = [(i, o) for i in module.ports for o in module.ports if i is not o]
        if not pairs:
            return
        if module not in self.with_arcs:
            self.with_arcs.append(module)
        hipi_share = rng.choice([0, 0, 0, 0.3, 0.6])
        for input, output in rng.sample(pairs, max(1, int(len(pairs) * rng.choice([0.5, 0.8, 1])))):
            fields = {"input": input.name, "output": output.name}
            if rng.random() < hipi_share:
                fields["hipi"] = rng.choice([1, 1, 2, 3])
            if flag or rng.random() < 0.03:
                fields["flag"] = flag if rng.random() < 0.9 else not flag
            self.add("add_port_edge", module, **fields)

    def add_tunnels(self):
        """A gate that can be seen through, with far ends inside, and sources that look for them."""
        rng = self.rng
        for group in self.groups():
            modules = [m for m in group if self.names_itself(m)]
            if not any(m in self.with_arcs for m in group) and rng.random() < 0.8 or not modules:
                continue
            if group[0].name in TUNNELS:
                tunnel = TUNNELS[group[0].name]
            elif any(m.instances for m in group):
                tunnel = rng.choice([2, 2, 2, 2, 0, 1, 3])
            else:
                tunnel = rng.choice([1, 1, 3, 3, 2])
            arc_modules = [m for m in modules if m in self.with_arcs]
            self.add("add_tunnel_type", rng.choice(arc_modules or modules), tunnel=tunnel)

    def pick_port(self, share_of_arc_modules=0.5, root_share=0.3):
        rng = self.rng
        modules = [m for m in self.model.modules if m.ports and self.names_itself(m)]
        candidates = self.with_arcs if rng.random() < share_of_arc_modules else modules
        roots = [m for m in modules if m.view == BLC and m.ip_root]
        if roots and rng.random() < root_share:
            candidates = roots + [m for root in roots for i in root.instances for m in [i.master]]
        candidates = [m for m in candidates if m.ports and self.names_itself(m)]
        if not candidates:
            return None
        return rng.choice(rng.choice(candidates).ports)

    def add_marks(self):
        rng = self.rng
        marks = (
            ("add_inserted_node", 0.45, 3),
            ("add_remove_node", 0.25, 3),
            ("disable_merge", 0.2, 2),
            ("add_routing_flyover", 0.4, 2),
            ("add_tunnel_type", 0.1, 3),
            ("add_module_is_not_template", 0.2, 1),
        )
        for op, share, most in marks:
            if rng.random() > share:
                continue
            for _ in range(rng.randint(1, most)):
                port = self.pick_port(root_share=0.7 if op == "add_remove_node" else 0.3)
                if port is not None:
                    self.add_mark(op, port)

    def add_mark(self, op, port):
        rng = self.rng
        module = port.module
        if op == "add_routing_flyover":
            inputs = [p for p in module.ports if not p.is_output()]
            outputs = [p for p in module.ports if not p.is_input()]
            if inputs and outputs:
                input = rng.choice(inputs)
                for output in rng.sample(outputs, min(len(outputs), rng.randint(1, 2))):
                    self.add(op, module, input=input.name, output=output.name)
        elif op == "add_tunnel_type":
            self.add(op, module, tunnel=rng.choice([0, 1, 1, 2, 2, 3, 3]))
        elif op == "add_module_is_not_template":
            self.add(op, module)
        elif op == "add_inserted_node" and rng.random() < 0.5:
            self.add(op, module, port=port.name, name="n")
        else:
            self.add(op, module, port=port.name)

    def set_skips(self):
        rng = self.rng
        if not self.with_arcs:
            return
        if rng.random() < 0.2:
            self.add("set_skip_paths", rng.choice(self.with_arcs), skip=rng.random() < 0.6)
        if rng.random() < 0.1:
            module = rng.choice(self.with_arcs)
            self.add("add_skip_paths_to_output_port", module, port=rng.choice(module.ports).name)
        if rng.random() < 0.55:
            places = [
                inst
                for module in self.model.modules
                if self.names_itself(module)
                for inst in module.instances
                if any(m in self.with_arcs for m in inst.master.group)
            ]
            for inst in rng.sample(places, min(len(places), rng.randint(1, 3))):
                skip = rng.random() < 0.5
                self.add("set_skip_paths", inst.parent, skip=skip, instance=inst.name)

    def paths_below(self, module, depth=4):
        """Relative ports below a module: pairs of the port and its text."""
        module = through_rank(module, STANDARD_RANK)
        if module is None:
            return []
        found = []
        for inst in module.instances:
            found += [(port, f"{inst.name}:{port.name}") for port in inst.master.ports]
            if depth > 1:
                below = self.paths_below(inst.master, depth - 1)
                found += [(port, f"{inst.name}/{text}") for port, text in below]
        return found

    def pick_path(self, paths, wants_input):
        """Most often a path to a mux port of the wanted direction."""
        good = [
            text
            for port, text in paths
            if port.is_input() == wants_input and any(m in self.with_arcs for m in port.module.group)
        ]
        if good and self.rng.random() < 0.75:
            return self.rng.choice(good)
        return self.rng.choice(paths)[1]

    def add_wire_types(self):
        rng = self.rng
        modules = [m for m in self.model.modules if self.names_itself(m)]
        for _ in range(rng.randint(1, 12)):
            module = rng.choice(modules)
            paths = self.paths_below(module)
            if not paths or rng.random() < 0.5:
                paths = [(port, port.name) for port in module.ports]
            if paths:
                self.add_wire_type(module, self.pick_path(paths, False))

    def add_wire_type(self, module, path):
        rng = self.rng
        fields = {"name": rng.choice(["long", "short"]), "path": path}
        if rng.random() < 0.7:
            fields["flags"] = rng.randint(0, 3)
        self.add("add_wire_type", module, **fields)
        # Often the same port has a type from further down as well, and the one from above holds.
        first, slash, rest = path.partition("/")
        inst = module.find_instance(first)
        if slash and inst is not None and self.names_itself(inst.master) and rng.random() < 0.5:
            self.add_wire_type(inst.master, rest)

    def add_spare_rows(self):
        rng = self.rng
        fly = {s["module"] for s in self.statements if s["op"] == "add_routing_flyover"}
        found = []

        def visit(module, names):
            for inst in module.instances:
                below = names + [inst.name]
                if inst.master.ip_root:
                    found.append((1, "/".join(below)))
                if inst.master.name in fly:
                    found.append((2, "/".join(below)))
                master = inst.get_module_by_rank(STANDARD_RANK)
                if master is not None:
                    visit(master, below)

        for view in STANDARD_RANK:
            if self.model.get_top_module(view) is not None:
                visit(self.model.get_top_module(view), [])
                break
        for kind, share in ((1, 0.15), (2, 0.7)):
            paths = [path for k, path in found if k == kind]
            for path in paths:
                if rng.random() < share:
                    self.add("set_spare_row", instance=path)


def make_redundancy(rng, maker):
    modules = [m for m in maker.model.modules if m.view == LOGICAL and maker.names_itself(m) and m.instances]
    if not modules:
        return None
    above = [m for m in modules if any(i.master.instances for i in m.instances)]
    module = rng.choice(above if above and rng.random() < 0.6 else modules)
    paths = maker.paths_below(module)
    if rng.random() < 0.3:
        paths += [(port, port.name) for port in module.ports]
    lines = [f"module_name: {module.name}"]
    if not paths:
        return None
    for number in range(rng.randint(1, 12)):
        path = maker.pick_path(paths, rng.random() < 0.75)
        if rng.random() < 0.1:
            path = rng.choice(["nothing/here:a", path + "\r", path + "x", path.replace(":", "/")])
        if rng.random() < 0.1:
            path = f'"{path}"'
        lines.append(f"{number} {path}" if rng.random() < 0.9 else f"\t{number}\t{path}\n")
    return "\n".join(lines) + "\n"


class Device:
    """The files of one random device."""

    def __init__(self, rng, with_redundancy):
        self.model = NetlistMaker(rng).make()
        maker = DescriptionMaker(rng, ModelReader(json.dumps(self.model), "model.json").read())
        self.statements = maker.make()
        redundancy = make_redundancy(rng, maker) if rng.random() < 0.5 else None
        self.redundancy = redundancy if with_redundancy else None

    def write(self, folder):
        """Writes the files and gives the arguments of a run on them."""
        os.makedirs(folder, exist_ok=True)
        model_file = os.path.join(folder, "model.json")
        with open(model_file, "w", encoding="utf-8") as file:
            json.dump(self.model, file, indent=1)
        routing_file = os.path.join(folder, "routing.jsonl")
        with open(routing_file, "w", encoding="utf-8") as file:
            file.write("# a random device\n\n")
            file.write("".join(json.dumps(s) + "\n" for s in self.statements))
        redundancy_file = os.path.join(folder, "redundancy.txt")
        if self.redundancy is None:
            return model_file, [routing_file], []
        with open(redundancy_file, "w", encoding="utf-8", newline="") as file:
            file.write(self.redundancy)
        return model_file, [routing_file], [redundancy_file]

    def run(self):
        with tempfile.TemporaryDirectory() as folder:
            return run(*self.write(folder))


def make_device(seed, with_redundancy=True):
    """The device of a seed: the first of a few that is accepted and has edges.

    One seed in forty asks for a refused one instead, so that failures are compared as well.
    """
    wants_refused = seed % 40 == 39
    for attempt in range(ATTEMPTS):
        device = Device(random.Random(f"{seed}/{attempt}"), with_redundancy)
        try:
            found = bool(device.run().edges) and not wants_refused
        except (BadInput, BrokenInvariant):
            found = wants_refused
        if found:
            break
    return device


# ---- what the features do -----------------------------------------------------------------------


def outcome(device):
    try:
        result = device.run()
    except (BadInput, BrokenInvariant) as error:
        return str(error)
    return sorted(result.nodes), sorted(result.edges), result.counters


def without_statements(device, test):
    changed = copy.copy(device)
    changed.statements = [s for s in device.statements if not test(s)]
    return changed


def without_attribute(device, name):
    changed = copy.copy(device)
    changed.model = copy.deepcopy(device.model)
    for module in changed.model["modules"].values():
        for holder in [module, *module["cells"].values(), *module["netnames"].values()]:
            holder["attributes"].pop(name, None)
    return changed


def features_of(device):
    """Each feature that the device has, with the device that lacks it."""
    for op in sorted({s["op"] for s in device.statements}):
        yield op, without_statements(device, lambda s: s["op"] == op)
    for name, values in (("hipi", (1, 2, 3)), ("tunnel", (1, 2, 3)), ("flag", (True,)), ("flags", (2, 3))):
        for value in values:
            if any(s.get(name) == value for s in device.statements):
                yield f"{name} {value}", without_statements(device, lambda s: s.get(name) == value)
    if any("instance" in s and "skip" in s for s in device.statements):
        yield "skip exception", without_statements(device, lambda s: "instance" in s and "skip" in s)
    text = json.dumps(device.model)
    for name in (
        "kep_view",
        "kep_equivalents",
        "kep_db_type",
        "kep_device_top",
        "kep_foreign",
        "kep_ip_root",
        "kep_trait_0",
        "kep_blc_bidir_buffer",
        "kep_blc_inserted_buffer",
        "kep_blc_atom",
        "kep_blc_re_index",
        "kep_inst_header",
    ):
        if f'"{name}"' in text:
            yield name, without_attribute(device, name)
    if device.redundancy is not None:
        changed = copy.copy(device)
        changed.redundancy = None
        yield "redundancy", changed


def self_test(first, last):
    totals, present, effective = Counter(), Counter(), Counter()
    for seed in range(first, last + 1):
        device = make_device(seed)
        whole = outcome(device)
        if isinstance(whole, str):
            totals["refused"] += 1
            print(f"seed {seed}: {whole}")
            continue
        totals["accepted"] += 1
        totals["with three edges or more"] += len(whole[1]) >= 3
        totals["nodes"] += len(whole[0])
        totals["edges"] += len(whole[1])
        kinds = Counter(line.split("\t")[1] for line in whole[0])
        for kind in kinds:
            totals[f"with {kind} nodes"] += 1
        for edge_class in {line.split("\t")[4] for line in whole[1]}:
            totals[f"with {edge_class} edges"] += 1
        for name, value in whole[2].items():
            totals[f"with {name}"] += value != 0
        for name, changed in features_of(device):
            present[name] += 1
            effective[name] += outcome(changed) != whole
    for name, value in totals.items():
        print(f"{value:8d}  {name}")
    print("feature: seeds that have it, seeds where it changes the result")
    for name in present:
        print(f"{present[name]:8d} {effective[name]:6d}  {name}")


def main():
    parser = argparse.ArgumentParser(description="Make small random devices.")
    parser.add_argument("--seed", type=int)
    parser.add_argument("--out")
    parser.add_argument("--no-redundancy", action="store_true")
    parser.add_argument("--self-test", metavar="A-B")
    arguments = parser.parse_args()
    if arguments.self_test:
        first, last = arguments.self_test.split("-")
        self_test(int(first), int(last))
    elif arguments.seed is not None and arguments.out:
        make_device(arguments.seed, not arguments.no_redundancy).write(arguments.out)
    else:
        parser.error("--seed with --out, or --self-test")


if __name__ == "__main__":
    main()
