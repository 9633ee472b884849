"""Tables over the description that answer the questions of a build."""

from errors import BadInput
from model import BLC, DEFAULT_VIEW, LOGICAL, LOGICAL_TWIN


class Primitives:
    def __init__(self, model, store):
        self.model = model
        self.store = store
        self.module_to_ports = {}
        self.all_inserted_ports = set()
        self.module_to_inserted_ports = {}
        self.all_removed_ports = set()
        self.module_to_removed_ports = {}
        self.stop_modules = []
        self.stop_instances = []  # asked by the predicates, filled by nothing
        self.routing_roots = []
        self.skip_path_ports = {}
        self.skip_path_inst_ports = {}
        self.dont_skip_path_inst_ports = {}
        self.spare_row_map = {}
        self.ignored_ports = set()
        self.inserted_inst_ports = set()
        self.bidir_buffers = set()

        self.digest_flyovers()
        self.digest_muxes()
        self.digest_modules()
        self.routing_roots = list(store.roots)
        self.digest_blc_roots()
        self.digest_pattern()
        self.digest_foreign_masters()

    # -- look-ups

    def get_module_to_ports(self, module):
        if module not in self.module_to_ports:
            raise BadInput(f"No port list found in map for primitive module {module.name}")
        return sorted(self.module_to_ports[module], key=lambda port: port.index)

    def get_inserted_ports(self, module):
        return sorted(self.module_to_inserted_ports.get(module, ()), key=lambda port: port.index)

    def is_inserted_port(self, port):
        return port in self.module_to_inserted_ports.get(port.module, ())

    def has_inserted_port(self, port):
        return port in self.all_inserted_ports

    def is_removed_port(self, port):
        return port in self.module_to_removed_ports.get(port.module, ())

    def is_routing_root(self, module):
        return module in self.routing_roots

    # -- the tables, in the order in which they are filled

    def digest_flyovers(self):
        for input, output in self.store.flyovers:
            self.spare_row_map.setdefault(input, output)

    def digest_muxes(self):
        for mux in self.store.muxes:
            module = mux.module
            if not mux.skip and (not module.ip_root or module.view == LOGICAL):
                self.add_stop_module(module)
            for arc in mux.arcs:
                self.digest_arc(mux, arc)

    def digest_arc(self, mux, arc):
        def on(inst, port):
            return inst.inst_ports[port.index]

        if not mux.skip:
            self.module_to_ports.setdefault(mux.module, set()).update((arc.input, arc.output))
            for inst in mux.exceptions:
                self.add_skip_path_inst_port(on(inst, arc.input), on(inst, arc.output))
            return
        self.skip_path_ports.setdefault(arc.input, []).append(arc.output)
        if not mux.exceptions:
            # No inserted port is known yet, so every such output is ignored.
            if arc.output not in self.all_inserted_ports:
                self.ignored_ports.add(arc.output)
            if arc.input not in self.all_inserted_ports and arc.input.module.trait_0:
                self.ignored_ports.add(arc.output)
        for inst in mux.exceptions:
            self.inserted_inst_ports.add(on(inst, arc.output))
            outputs = self.dont_skip_path_inst_ports.setdefault(on(inst, arc.input), [])
            outputs.append(on(inst, arc.output))

    def digest_modules(self):
        for module in self.model.modules:
            if module.bidir_buffer:
                self.bidir_buffers.add(module)
            inserted = {p for p in module.ports if p in self.store.inserted}
            removed = {p for p in module.ports if p in self.store.removed and p not in inserted}
            if not inserted and not removed:
                continue
            self.module_to_inserted_ports.setdefault(module, inserted)
            self.module_to_removed_ports.setdefault(module, removed)
            self.all_inserted_ports |= inserted
            self.all_removed_ports |= removed
            if module.view == LOGICAL_TWIN:
                continue
            for other in module.equivalents(LOGICAL_TWIN):
                mapped = {other.ports[p.index] for p in inserted}
                if mapped:
                    self.module_to_inserted_ports.setdefault(other, mapped)
                    self.all_inserted_ports |= mapped
                mapped = {other.ports[p.index] for p in removed}
                if mapped:
                    self.module_to_removed_ports.setdefault(other, mapped)
                    self.all_removed_ports |= mapped

    def digest_blc_roots(self):
        for module in self.routing_roots:
            if module.view != BLC:
                continue
            ports = set()
            for port in module.ports:
                if port.re_index != -1 and port not in self.all_removed_ports:
                    ports.add(port)
                elif port in self.all_inserted_ports:
                    ports.add(port)
            self.module_to_ports.setdefault(module, ports)

    def digest_pattern(self):
        top = self.model.get_top_module(DEFAULT_VIEW)
        self.add_non_template_skip_paths(top, set())
        for view in (LOGICAL_TWIN, LOGICAL):
            if top.view != view:
                visited = set()
                for other in top.equivalents(view):
                    self.add_non_template_skip_paths(other, visited)

    def add_non_template_skip_paths(self, module, visited):
        pattern = self.store.pattern
        if not pattern or module is None or module in visited:
            return
        visited.add(module)
        for inst in module.instances:
            if pattern in inst.name:
                self.add_skip_paths(inst)
            self.add_non_template_skip_paths(inst.get_module(), visited)

    def add_skip_paths(self, inst):
        module = inst.get_module()
        for arc in self.store.arcs:
            if arc.is_skip(inst) or arc.mux.exceptions or arc.input.module is not module:
                continue
            self.add_skip_path_inst_port(inst.inst_ports[arc.input.index], inst.inst_ports[arc.output.index])

    def add_skip_path_inst_port(self, input, output):
        self.skip_path_inst_ports.setdefault(input, []).append(output)

    def digest_foreign_masters(self):
        if not self.model.device_top:
            return
        for module in self.model.modules:
            for inst in module.instances:
                if inst.module_in_same_db():
                    continue
                master = inst.get_module(module.view)
                if master is None or master in self.stop_modules:
                    continue
                self.add_stop_module_and_ports(master)
                for view in (LOGICAL, BLC):
                    if view == module.view:
                        continue
                    for other in master.equivalents(view):
                        if other not in self.stop_modules:
                            self.add_stop_module_and_ports(other)

    def add_stop_module(self, module):
        if module not in self.stop_modules:
            self.stop_modules.append(module)

    def add_stop_module_and_ports(self, module):
        self.add_stop_module(module)
        self.module_to_ports.setdefault(module, set()).update(module.ports)
