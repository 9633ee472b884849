"""The folded device model, and its reader.

A model is read from the JSON form of a Yosys netlist. Objects are compared and hashed by identity.
Everything keeps the order of the file.
"""

import json
import re

from errors import BadInput

LOGICAL, VIEW_1, BLC, LOGICAL_TWIN = "LOGICAL", "VIEW_1", "BLC", "LOGICAL_TWIN"
DEFAULT_VIEW = "DEFAULT_VIEW"  # only ever asked for, never the view of a module
VIEWS = (LOGICAL, VIEW_1, BLC, LOGICAL_TWIN)

STANDARD_RANK = (BLC, LOGICAL)
DEFAULT_RANK = (DEFAULT_VIEW,)

NO_REDUNDANCY, TOP_PORTS_ROUTED, WITH_REDUNDANCY = 0, 1, 2

DIRECTIONS = {"input": "input", "output": "output", "inout": "bidir"}


class Port:
    def __init__(self, module, name, direction, index):
        self.module = module
        self.name = name
        self.direction = direction
        self.index = index
        self.net = None
        self.re_index = -1
        self.icd_name = ""

    def is_input(self):
        return self.direction == "input"

    def is_output(self):
        return self.direction == "output"

    def is_bidir(self):
        return self.direction == "bidir"


class InstPort:
    """The place of one port of the plain master on one instance."""

    def __init__(self, inst, port):
        self.inst = inst
        self.port = port
        self.net = None

    def is_input(self):
        return self.port.is_input()

    def is_output(self):
        return self.port.is_output()

    def is_bidir(self):
        return self.port.is_bidir()


class Net:
    def __init__(self, module, bit):
        self.module = module
        self.bit = bit
        self.name = f"$n{bit}"
        self.ports = []
        self.inst_ports = []


class Instance:
    def __init__(self, parent, name, master):
        self.parent = parent
        self.name = name
        self.master = master
        self.inst_ports = [InstPort(self, port) for port in master.ports]
        self.inst_header = False
        self.trait_0 = False
        self.blc_atom = False
        self.inserted_buffer = False

    def get_module(self, view=DEFAULT_VIEW):
        """The plain master when it has that view, else its first equivalent there, else None."""
        if view == DEFAULT_VIEW:
            return self.master
        return self.master.find_view(view)

    def get_module_by_rank(self, rank):
        for view in rank:
            found = self.get_module(view)
            if found is not None:
                return found
        return None

    def module_in_same_db(self):
        return self.parent.foreign == self.master.foreign


class Module:
    def __init__(self, key):
        self.key = key
        self.name = key
        self.view = LOGICAL
        self.group = [self]  # every equivalent in file order, this module among them
        self.ports = []
        self.port_by_name = {}
        self.wide_ports = {}  # the port's name in the file -> the ports of its bits
        self.instances = []
        self.instance_by_name = {}
        self.nets = []
        self.ip_root = False
        self.trait_0 = False
        self.bidir_buffer = False
        self.foreign = False

    def find_port(self, name):
        return self.port_by_name.get(name)

    def find_instance(self, name):
        return self.instance_by_name.get(name)

    def equivalents(self, view):
        """Every equivalent in that view, this module left out."""
        return [m for m in self.group if m is not self and m.view == view]

    def find_view(self, view):
        if self.view == view:
            return self
        others = self.equivalents(view)
        return others[0] if others else None


def find_view_by_rank(rank, module):
    for view in rank:
        found = module.find_view(view)
        if found is not None:
            return found
    return None


class Model:
    def __init__(self):
        self.modules = []
        self.top = None
        self.db_type = WITH_REDUNDANCY
        self.device_top = False

    def find_modules(self, name, view):
        return [m for m in self.modules if m.name == name and m.view == view]

    def get_top_module(self, view):
        return self.top if view == DEFAULT_VIEW else self.top.find_view(view)

    def is_top_module_or_equiv(self, module):
        return module in self.top.group


# ---- reading ----------------------------------------------------------------------------------


def attribute_number(attributes, name, default, where):
    if name not in attributes:
        return default
    value = attributes[name]
    if isinstance(value, bool):
        return int(value)
    if isinstance(value, int):
        return value
    if isinstance(value, str) and re.fullmatch("[01]+", value):
        return int(value, 2)
    raise BadInput(f"{where}/attributes/{name}: not a number")


def attribute_text(attributes, name, default, where):
    value = attributes.get(name, default)
    if not isinstance(value, str):
        raise BadInput(f"{where}/attributes/{name}: not a text")
    if re.fullmatch("[01xz]* +", value):
        return value[:-1]  # Yosys puts a blank behind a text that looks like digits
    return value


def check_name(name, where):
    if "/" in name or ":" in name:
        raise BadInput(f'{where}: the name holds "/" or ":"')


def model_names(names, where):
    """From the names of cells or nets in the file to those in the model."""
    changed = {name: name.replace("/", ".").replace(":", ".") for name in names}
    if len(set(changed.values())) != len(changed):
        raise BadInput(f"{where}: two names become alike")
    return changed


def bit_names(name, description, width):
    """The names of the bits of a port or a net, in the order of its bit list."""
    if width == 1:
        return [name]
    offset = int(description.get("offset", 0))
    upto = int(description.get("upto", 0))
    indices = range(width)
    if upto:
        indices = reversed(indices)
    return [f"{name}[{offset + i}]" for i in indices]


class ModelReader:
    def __init__(self, text, file_name):
        self.file_name = file_name
        try:
            self.data = json.loads(text)
        except ValueError as error:
            raise BadInput(f"{file_name}: no JSON: {error}")
        self.model = Model()
        self.by_key = {}

    def read(self):
        try:
            self.read_all()
        except BadInput as error:
            raise BadInput(f"{self.file_name}: {error}")
        return self.model

    def read_all(self):
        if not isinstance(self.data, dict) or not isinstance(self.data.get("modules"), dict):
            raise BadInput("no modules")
        self.described = self.data["modules"]
        for key, description in self.described.items():
            self.read_module(key, description)
        self.read_groups()
        for key, description in self.described.items():
            self.read_cells(self.by_key[key], description)
        for key, description in self.described.items():
            self.read_nets(self.by_key[key], description)
        self.check_hierarchy()
        self.find_top()

    def read_module(self, key, description):
        where = f"modules/{key}"
        attributes = description.get("attributes", {})
        module = Module(key)
        module.name = attribute_text(attributes, "kep_name", key, where)
        check_name(module.name, where)
        module.view = attribute_text(attributes, "kep_view", LOGICAL, where)
        if module.view not in VIEWS:
            raise BadInput(f"{where}: unknown view {module.view}")
        module.ip_root = attribute_number(attributes, "kep_ip_root", 0, where) != 0
        module.trait_0 = attribute_number(attributes, "kep_trait_0", 0, where) != 0
        module.bidir_buffer = attribute_number(attributes, "kep_blc_bidir_buffer", 0, where) != 0
        module.foreign = attribute_number(attributes, "kep_foreign", 0, where) != 0
        for name, port in description.get("ports", {}).items():
            self.read_port(module, name, port, f"{where}/ports/{name}")
        for name, net in description.get("netnames", {}).items():
            self.read_port_attributes(module, name, net, f"{where}/netnames/{name}")
        self.by_key[key] = module
        self.model.modules.append(module)

    def read_port(self, module, name, description, where):
        check_name(name, where)
        direction = DIRECTIONS.get(description.get("direction"))
        if direction is None:
            raise BadInput(f"{where}: unknown direction {description.get('direction')}")
        ports = []
        for bit_name in bit_names(name, description, len(description["bits"])):
            if bit_name in module.port_by_name:
                raise BadInput(f"{where}: two ports named {bit_name}")
            port = Port(module, bit_name, direction, len(module.ports))
            module.ports.append(port)
            module.port_by_name[bit_name] = port
            ports.append(port)
        module.wide_ports[name] = ports

    def read_port_attributes(self, module, name, description, where):
        attributes = description.get("attributes", {})
        first = attribute_number(attributes, "kep_blc_re_index", -1, where)
        icd_name = attribute_text(attributes, "kep_blc_icd_port_name", "", where)
        for i, port in enumerate(module.wide_ports.get(name, [])):
            port.re_index = -1 if first == -1 else first + i
            port.icd_name = icd_name

    def read_groups(self):
        groups = {}
        for module in self.model.modules:
            attributes = self.described[module.key].get("attributes", {})
            if "kep_equivalents" in attributes:
                name = attribute_text(attributes, "kep_equivalents", "", f"modules/{module.key}")
                groups.setdefault(name, []).append(module)
        for name, members in groups.items():
            first = [(p.name, p.direction) for p in members[0].ports]
            for module in members:
                if [(p.name, p.direction) for p in module.ports] != first:
                    raise BadInput(f"modules/{module.key}: ports differ within the equivalents {name}")
                module.group = members

    def read_cells(self, module, description):
        cells = description.get("cells", {})
        names = model_names(cells, f"modules/{module.key}/cells")
        for name, cell in cells.items():
            where = f"modules/{module.key}/cells/{name}"
            master = self.by_key.get(cell.get("type"))
            if master is None:
                raise BadInput(f"{where}: unknown master {cell.get('type')}")
            attributes = cell.get("attributes", {})
            inst = Instance(module, names[name], master)
            inst.inst_header = attribute_number(attributes, "kep_inst_header", 0, where) != 0
            inst.trait_0 = attribute_number(attributes, "kep_trait_0", 0, where) != 0
            inst.blc_atom = attribute_number(attributes, "kep_blc_atom", 0, where) != 0
            inst.inserted_buffer = attribute_number(attributes, "kep_blc_inserted_buffer", 0, where) != 0
            for port_name, bits in cell.get("connections", {}).items():
                if port_name not in master.wide_ports:
                    raise BadInput(f"{where}: unknown port {port_name}")
                if bits and len(bits) != len(master.wide_ports[port_name]):
                    raise BadInput(f"{where}/connections/{port_name}: the width differs")
            module.instances.append(inst)
            module.instance_by_name[inst.name] = inst

    def read_nets(self, module, description):
        nets = {}

        def net_of(bit):
            if isinstance(bit, str):
                if bit not in ("0", "1", "x", "z"):
                    raise BadInput(f"modules/{module.key}: a bit that is {bit!r}")
                return None
            if bit not in nets:
                nets[bit] = Net(module, bit)
            return nets[bit]

        for name, port in description.get("ports", {}).items():
            for bit, member in zip(port["bits"], module.wide_ports[name]):
                net = net_of(bit)
                if net is not None:
                    net.ports.append(member)
        for inst, cell in zip(module.instances, description.get("cells", {}).values()):
            connections = cell.get("connections", {})
            for name, ports in inst.master.wide_ports.items():
                for bit, port in zip(connections.get(name, []), ports):
                    net = net_of(bit)
                    if net is not None:
                        net.inst_ports.append(inst.inst_ports[port.index])
        for net in nets.values():
            if len(net.ports) == 1 and not net.inst_ports:
                continue  # one port and nothing behind it
            module.nets.append(net)
            for member in net.ports + net.inst_ports:
                member.net = net
        named = set()
        names = model_names(description.get("netnames", {}), f"modules/{module.key}/netnames")
        for name, net in description.get("netnames", {}).items():
            for bit_name, bit in zip(bit_names(names[name], net, len(net["bits"])), net["bits"]):
                if bit in nets and bit not in named:
                    nets[bit].name = bit_name
                    named.add(bit)

    def check_hierarchy(self):
        """No module may stand below itself, through whatever views."""
        done, open_modules = set(), set()

        def visit(module):
            if module in done:
                return
            if module in open_modules:
                raise BadInput(f"modules/{module.key}: the hierarchy contains itself")
            open_modules.add(module)
            for inst in module.instances:
                for master in inst.master.group:
                    visit(master)
            open_modules.discard(module)
            done.add(module)

        for module in self.model.modules:
            visit(module)

    def find_top(self):
        def attributes_of(module):
            return self.described[module.key].get("attributes", {})

        tops = [
            m
            for m in self.model.modules
            if attribute_number(attributes_of(m), "top", 0, f"modules/{m.key}") != 0
        ]
        if not tops:
            used = {inst.master for m in self.model.modules for inst in m.instances}
            tops = [m for m in self.model.modules if m not in used]
        if len(tops) != 1:
            raise BadInput("no top module" if not tops else "several top modules")
        top = tops[0]
        where = f"modules/{top.key}"
        self.model.top = top
        self.model.db_type = attribute_number(attributes_of(top), "kep_db_type", WITH_REDUNDANCY, where)
        self.model.device_top = attribute_number(attributes_of(top), "kep_device_top", 0, where) != 0


def read_model(file_name):
    try:
        with open(file_name, encoding="utf-8") as file:
            text = file.read()
    except OSError as error:
        raise BadInput(f"{file_name}: {error.strerror}")
    return ModelReader(text, file_name).read()
