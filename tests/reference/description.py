"""The description of routing primitives: the store, the operations that fill it, the reader of its text."""

import json
import re

from errors import BadInput
from model import BLC, LOGICAL, LOGICAL_TWIN, STANDARD_RANK, VIEWS
from relative_ports import RelativePort, parse_relative_port


class Mux:
    def __init__(self, module, skip):
        self.module = module
        self.skip = skip
        self.arcs = []
        self.exceptions = []

    def find_arc(self, input, output):
        for arc in self.arcs:
            if arc.input is input and arc.output is output:
                return arc
        return None


class Arc:
    def __init__(self, input, output, mux):
        self.input = input
        self.output = output
        self.mux = mux

    def is_skip(self, inst):
        return self.mux.skip != (inst in self.mux.exceptions)

    def is_always_skip(self):
        return self.mux.skip and not self.mux.exceptions


class Store:
    """What the description says, and the look-ups into it."""

    def __init__(self, model):
        self.model = model
        self.muxes = []
        self.arcs = []
        self.flyovers = []  # pairs of an input and an output
        self.roots = []
        self.inserted = {}  # port -> name
        self.removed = set()
        self.not_template = set()
        self.merge_disabled = set()
        self.hipi = {}
        self.tunnels = {}
        self.pattern = ""
        self.wire_types = {}  # (start module, chain, port) -> (name, flags)
        self.spare_rows = set()  # "a/b/c" from the top

    def muxes_of(self, module):
        return [mux for mux in self.muxes if mux.module is module]

    def has_muxes(self, module):
        return bool(self.muxes_of(module))

    def arc_outputs(self, input):
        """The arcs with that input; an empty list stands for none."""
        return [arc for arc in self.arcs if arc.input is input]

    def arc_inputs(self, output):
        return [arc for arc in self.arcs if arc.output is output]

    def is_arc_input(self, port):
        return bool(self.arc_outputs(port))

    def hipi_type(self, port):
        return self.hipi.get(port, 0)

    def tunnel_type(self, module):
        return self.tunnels.get(module, 0)

    def find_wire_type(self, uip):
        """From every ancestor, the top first, and last the port alone in its own module."""
        port = uip.obj.port
        modules = uip.place[0::2]
        chain = uip.place[1::2] + (uip.obj.inst,)
        for depth, module in enumerate(modules):
            found = self.wire_types.get((module, chain[depth:], port))
            if found is not None:
                return found
        return self.wire_types.get((port.module, (), port))


class Parse:
    """The operations by which a tool describes a device. Facts are copied to equivalents as they are given."""

    def __init__(self, store):
        self.store = store

    # -- arcs

    def add_port_edge_internal(self, input, output, flag):
        assert input.module is output.module
        module = input.module
        mux = None
        for candidate in self.store.muxes_of(module):
            if len(candidate.exceptions) == 0:
                mux = candidate
                break
        if mux is None:
            mux = Mux(module, flag)
            self.store.muxes.append(mux)
        if mux.find_arc(input, output) is not None:
            return
        arc = Arc(input, output, mux)
        mux.arcs.append(arc)
        self.store.arcs.append(arc)

    def add_port_edge(self, input, output, hipi, flag):
        self.add_port_edge_internal(input, output, flag)
        module = input.module
        view = module.view
        if hipi != 0:
            self.store.hipi[input] = hipi
            self.store.hipi[output] = hipi
        if hipi != 0 or view == LOGICAL:
            if view != LOGICAL_TWIN:
                for other in module.equivalents(LOGICAL_TWIN):
                    other_in, other_out = other.ports[input.index], other.ports[output.index]
                    if view == LOGICAL:
                        self.add_port_edge_internal(other_in, other_out, flag)
                    if hipi != 0:
                        self.store.hipi[other_in] = hipi
                        self.store.hipi[other_out] = hipi
            if hipi != 0 and view != BLC:
                for other in module.equivalents(BLC):
                    self.store.hipi[other.ports[input.index]] = hipi
                    self.store.hipi[other.ports[output.index]] = hipi
        if view == BLC:
            for other in module.equivalents(LOGICAL):
                self.add_port_edge_internal(other.ports[input.index], other.ports[output.index], flag)

    def add_routing_flyover(self, input, output):
        self.store.flyovers.append((input, output))
        if input.module.view != LOGICAL_TWIN:
            for other in input.module.equivalents(LOGICAL_TWIN):
                self.store.flyovers.append((other.ports[input.index], other.ports[output.index]))

    # -- marks

    def add_routing_root(self, module, view):
        if not module.ip_root:
            raise BadInput(f"{module.name} is no IP root")
        if view == BLC:
            roots = module.equivalents(BLC)
            if not roots:
                raise BadInput(f"Failed because routing_root={module.name} does not have a view_type=blc")
        elif view == LOGICAL:
            roots = [module]
        else:
            raise BadInput(
                f"Failed because routing_root={module.name} is not marked as view_type logical or blc."
            )
        for root in roots:
            if root not in self.store.roots:
                self.store.roots.append(root)

    def add_inserted_node(self, name, port):
        blc = port.module.find_view(BLC)
        target = port if blc is None else blc.ports[port.index]
        self.store.inserted[target] = name

    def add_remove_node(self, port):
        self.store.removed.add(port)

    def add_tunnel_type(self, module, tunnel):
        self.store.tunnels[module] = tunnel
        if tunnel != 0 and module.view != BLC:
            for other in module.equivalents(BLC):
                self.store.tunnels[other] = tunnel

    def add_module_is_not_template(self, module):
        self.store.not_template.add(module)
        self.store.not_template.update(module.equivalents(LOGICAL_TWIN))
        self.store.not_template.update(module.equivalents(BLC))

    def disable_merge(self, port):
        self.store.merge_disabled.add(port)
        if port.module.view != LOGICAL_TWIN:
            for other in port.module.equivalents(LOGICAL_TWIN):
                self.store.merge_disabled.add(other.ports[port.index])

    # -- skip paths

    def set_skip_paths_internal(self, module, skip):
        muxes = self.store.muxes_of(module)
        if not muxes and module.view == LOGICAL:
            raise BadInput(f"No port edges exist for module {module.name}(logical)")
        for mux in muxes:
            if mux.skip != skip:
                mux.skip = skip
                mux.exceptions = []

    def set_skip_paths_of_module(self, module, skip):
        self.set_skip_paths_internal(module, skip)
        for view in (LOGICAL, LOGICAL_TWIN, BLC):
            if module.view != view:
                for other in module.equivalents(view):
                    self.set_skip_paths_internal(other, skip)

    def set_skip_paths_of_instance(self, inst, skip):
        muxes = self.store.muxes_of(inst.master)
        if not muxes:
            raise BadInput(
                f"No port edges exist for instance {inst.name} with a master {inst.master.name}"
            )
        for mux in muxes:
            if mux.skip != skip:
                mux.exceptions.append(inst)
            elif mux.exceptions:
                word = "add" if skip else "remove"
                raise BadInput(f"Can't currently {word} a skip path for instance {inst.name}")

    # -- facts by position

    def add_wire_type(self, relative_port, name, flags):
        key = (relative_port.get_top(), relative_port.chain, relative_port.port)
        self.store.wire_types[key] = (name, flags)

    def set_spare_row(self, path):
        """The names lead from the top through instances in whatever view of the masters."""
        modules = list(self.store.model.top.group)
        found = []
        for name in path.split("/"):
            found = [i for m in modules for i in [m.find_instance(name)] if i is not None]
            modules = [m for i in found for m in i.master.group]
        if not found:
            raise BadInput(f"no instance {path}")
        self.store.spare_rows.add(path)


# ---- reading ----------------------------------------------------------------------------------

REQUIRED = object()

PORT_PAIR = {"module": REQUIRED, "view": LOGICAL, "input": REQUIRED, "output": REQUIRED}
ONE_PORT = {"module": REQUIRED, "view": LOGICAL, "port": REQUIRED}

FIELDS = {
    "add_port_edge": {**PORT_PAIR, "hipi": 0, "flag": False},
    "add_routing_flyover": PORT_PAIR,
    "add_routing_root": {"module": REQUIRED, "view": LOGICAL, "root_view": REQUIRED},
    "add_inserted_node": {**ONE_PORT, "name": ""},
    "add_remove_node": ONE_PORT,
    "add_tunnel_type": {"module": REQUIRED, "view": LOGICAL, "tunnel": REQUIRED},
    "add_module_is_not_template": {"module": REQUIRED, "view": LOGICAL},
    "disable_merge": ONE_PORT,
    "set_skip_paths": {"module": REQUIRED, "view": LOGICAL, "skip": REQUIRED, "instance": None},
    "add_skip_paths_to_output_port": ONE_PORT,
    "set_non_template_mux_skip_path_inst_name_pattern": {"pattern": REQUIRED},
    "add_wire_type": {"name": REQUIRED, "flags": 0, "module": REQUIRED, "view": LOGICAL, "path": REQUIRED},
    "set_spare_row": {"instance": REQUIRED},
}

TYPES = {"hipi": int, "tunnel": int, "flags": int, "flag": bool, "skip": bool}


class DescriptionReader:
    def __init__(self, model, store):
        self.model = model
        self.parse = Parse(store)

    def read(self, file_name):
        try:
            with open(file_name, encoding="utf-8") as file:
                lines = file.read().split("\n")
        except OSError as error:
            raise BadInput(f"{file_name}: {error.strerror}")
        for number, line in enumerate(lines, 1):
            if not line.strip() or line.startswith("#"):
                continue
            try:
                self.carry_out(line)
            except BadInput as error:
                raise BadInput(f"{file_name}:{number}: {error}")

    def carry_out(self, line):
        try:
            statement = json.loads(line)
        except ValueError as error:
            raise BadInput(f"no JSON: {error}")
        if not isinstance(statement, dict):
            raise BadInput("no JSON object")
        op = statement.pop("op", None)
        if op not in FIELDS:
            raise BadInput(f"unknown op {op}")
        values = self.check_fields(FIELDS[op], statement)
        if "module" in values:
            values["module"] = self.find_module(values.pop("module"), values.pop("view"))
        getattr(self, op)(**values)

    def check_fields(self, fields, statement):
        for name, value in statement.items():
            if name not in fields:
                raise BadInput(f"unknown field {name}")
            wanted = TYPES.get(name, str)
            if type(value) is not wanted:
                raise BadInput(f"field {name} is not of type {wanted.__name__}")
        values = {**fields, **statement}
        for name, value in values.items():
            if value is REQUIRED:
                raise BadInput(f"field {name} is missing")
        return values

    def find_module(self, name, view):
        if view not in VIEWS:
            raise BadInput(f"unknown view {view}")
        found = self.model.find_modules(name, view)
        if not found:
            raise BadInput(f"no module {name} in view {view}")
        return found[0]

    def find_port(self, module, name):
        port = module.find_port(name)
        if port is None:
            raise BadInput(f"no port {name} in module {module.name}")
        return port

    # -- one operation each, by the names of the statements

    def add_port_edge(self, module, input, output, hipi, flag):
        if not 0 <= hipi <= 3:
            raise BadInput(f"no hipi type {hipi}")
        self.parse.add_port_edge(self.find_port(module, input), self.find_port(module, output), hipi, flag)

    def add_routing_flyover(self, module, input, output):
        self.parse.add_routing_flyover(self.find_port(module, input), self.find_port(module, output))

    def add_routing_root(self, module, root_view):
        if root_view not in VIEWS:
            raise BadInput(f"unknown view {root_view}")
        self.parse.add_routing_root(module, root_view)

    def add_inserted_node(self, module, port, name):
        self.parse.add_inserted_node(name, self.find_port(module, port))

    def add_remove_node(self, module, port):
        self.parse.add_remove_node(self.find_port(module, port))

    def add_tunnel_type(self, module, tunnel):
        self.parse.add_tunnel_type(module, tunnel)

    def add_module_is_not_template(self, module):
        self.parse.add_module_is_not_template(module)

    def disable_merge(self, module, port):
        self.parse.disable_merge(self.find_port(module, port))

    def set_skip_paths(self, module, skip, instance):
        if instance is None:
            self.parse.set_skip_paths_of_module(module, skip)
            return
        inst = module.find_instance(instance)
        if inst is None:
            raise BadInput(f"no instance {instance} in module {module.name}")
        self.parse.set_skip_paths_of_instance(inst, skip)

    def add_skip_paths_to_output_port(self, module, port):
        self.parse.set_skip_paths_of_module(self.find_port(module, port).module, True)

    def set_non_template_mux_skip_path_inst_name_pattern(self, pattern):
        self.parse.store.pattern = pattern

    def add_wire_type(self, name, flags, module, path):
        relative_port = self.find_wire(module, path)
        if relative_port is None:
            raise BadInput(f"no port {path} below module {module.name}")
        self.parse.add_wire_type(relative_port, name, flags)

    @staticmethod
    def find_wire(module, path):
        """A path of one name is a port of the module itself, in whatever view it is named."""
        segments = [s for s in re.split("[/:]", path) if s]
        if len(segments) != 1:
            return parse_relative_port(module, path, STANDARD_RANK)
        port = module.find_port(segments[0])
        if port is None or module.find_instance(segments[0]) is not None:
            return None
        return RelativePort([], port)

    def set_spare_row(self, instance):
        self.parse.set_spare_row(instance)
