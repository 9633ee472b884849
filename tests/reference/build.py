"""The build of a routing graph: counting, nodes, hipi twins, redundant inputs, edges."""

from collections import Counter

from errors import BadInput
from leaf_search import (
    BLC_ROUTING_ROOT,
    IP_ROOT_NOT_ROUTED,
    STOP_INSTANCE_MASTER,
    STOP_MODULE,
    BuildPredicate,
    LeafResults,
    LeafSearch,
    TracePredicate,
    is_spare_row,
)
from model import BLC, DEFAULT_RANK, DEFAULT_VIEW, NO_REDUNDANCY, STANDARD_RANK, TOP_PORTS_ROUTED
from primitives import Primitives
from unfolded import (
    UInstPort,
    UPort,
    instance_of_uip,
    instances_of,
    ip_root_instance,
    master_of,
    module_of,
    net_of_port,
    net_of_uip,
    parent_of_instance,
    port_of_uip,
    top_unfolded_module,
    uip_by_index,
    uip_name,
    uips_of,
)

PORT, INSERTED, BLC_PORT, INSIDE_BLC, BLC_ATOM, BLC_TRAIT = range(6)

NODE_COUNTERS = (
    "m_eliminated_num_nodes",
    "m_created_num_nodes",
    "m_created_num_nodes_blc",
    "m_created_num_nodes_inserted",
    "m_created_num_nodes_hipi",
    "m_repeated_num_nodes",
    "m_created_num_nodes_boundary",
)
EDGE_COUNTERS = (
    "n_skip_port",
    "n_get_leaf_calls",
    "n_get_leaf_fanouts",
    "n_edges",
    "n_redundant_edges",
    "n_cdrn_cache_hits",
    "n_cdrn_cache_misses",
)


class Node:
    """A node of a uip, its hipi twin, or a boundary node of a port."""

    def __init__(self, uip, port=None, hipi=False):
        self.uip = uip
        self.port = port
        self.hipi = hipi

    def is_boundary(self):
        return self.port is not None

    def name(self):
        return ":" + self.port.name if self.is_boundary() else uip_name(self.uip)

    def kind(self):
        if self.is_boundary():
            return "boundary"
        return "hipi" if self.hipi else "uip"


class Build:
    def __init__(self, model, store, redundancy_table):
        self.model = model
        self.store = store
        self.redundancy_table = redundancy_table
        self.primitives = Primitives(model, store)
        self.build_predicate = BuildPredicate(self.primitives)
        self.trace_predicate = TracePredicate(self.primitives, self.find_routing_node)
        self.counters = Counter()
        self.nodes = []
        self.plain = {}  # uip -> node
        self.twins = {}  # uip -> node
        self.boundary = {}  # port -> node
        self.module_counts = {}
        self.module_has_nodes = {}
        self.has_nodes_known = False
        self.redundant_inputs = set()
        self.edges = []  # (from, to, class, mux input)

    def build(self):
        self.count()
        self.add_nodes()
        self.add_nodes_hipi()
        if self.model.db_type != NO_REDUNDANCY:
            self.build_redundant_inputs()
        for node in self.nodes:
            self.process_one_node(node)

    def get_counters(self):
        names = NODE_COUNTERS + EDGE_COUNTERS + ("counted_n", "counted_boundary")
        return {name: self.counters[name] for name in names}

    def find_routing_node(self, uip):
        return self.plain.get(uip)

    # ---- counting -----------------------------------------------------------------------------

    def count(self):
        n = self.count_module(top_unfolded_module(self.model, DEFAULT_VIEW))
        self.counters["counted_n"] = n
        if self.model.db_type == TOP_PORTS_ROUTED:
            self.counters["counted_boundary"] = len(self.model.get_top_module(DEFAULT_VIEW).ports)

    def count_module(self, u_module):
        module = module_of(u_module)
        if module in self.module_counts:
            return self.module_counts[module]
        total = 0
        for u_instance in instances_of(u_module):
            u_master = master_of(u_instance, STANDARD_RANK)
            master = module_of(u_master)
            total += len(self.primitives.get_inserted_ports(master))
            kind = self.build_predicate.get_module_type(master)
            if kind in (STOP_MODULE, STOP_INSTANCE_MASTER):
                total += self.count_mux(master)
            elif kind == BLC_ROUTING_ROOT:
                total += self.count_inside_blc(master) + len(self.primitives.get_module_to_ports(master))
            elif kind == IP_ROOT_NOT_ROUTED:
                pass
            else:
                total += self.count_module(u_master)
        self.module_counts[module] = total
        return total

    def count_mux(self, module):
        ports = self.primitives.get_module_to_ports(module)
        return sum(
            1
            for port in ports
            if not self.store.is_arc_input(port) and port not in self.primitives.ignored_ports
        )

    def count_inside_blc(self, module):
        total = 0
        for inst in module.instances:
            total += len(inst.get_module().ports) + self.count_inside_blc(inst.get_module())
        return total

    # ---- nodes --------------------------------------------------------------------------------

    def add_nodes(self):
        top = None
        for view in STANDARD_RANK:
            top = top_unfolded_module(self.model, view)
            if top is not None:
                break
        if top is None:
            top = top_unfolded_module(self.model, DEFAULT_VIEW)
        self.add_nodes_module(top, None)
        if self.model.db_type == TOP_PORTS_ROUTED:
            for port in module_of(top).ports:
                self.create_boundary_node(port)

    def add_nodes_module(self, u_module, has_nodes):
        master = module_of(u_module)
        if master is not None and master.ip_root:
            if has_nodes is not None:
                raise BadInput("one IP root lies under another")
            self.has_nodes_known = master in self.module_has_nodes
            has_nodes = self.module_has_nodes.setdefault(master, {})
        if self.build_predicate.get_module_type(master) == BLC_ROUTING_ROOT:
            result = self.add_nodes_inside_blc(u_module)
        else:
            result = False
            for u_instance in instances_of(u_module):
                result |= self.add_nodes_child(u_instance, has_nodes)
        if has_nodes is not None and not self.has_nodes_known:
            has_nodes[master] = has_nodes.get(master, False) or result
        return result

    def add_nodes_child(self, u_instance, has_nodes):
        u_master = master_of(u_instance, STANDARD_RANK)
        child = module_of(u_master)
        if has_nodes is not None and self.has_nodes_known and has_nodes.get(child) is False:
            return False
        result = self.add_nodes_inserted(u_instance, child)
        kind = self.build_predicate.get_module_type(child)
        if kind in (STOP_MODULE, STOP_INSTANCE_MASTER):
            result |= self.add_nodes_mux(u_instance, child)
        elif kind == BLC_ROUTING_ROOT:
            result |= self.add_nodes_blc(u_instance, child)
        elif kind == IP_ROOT_NOT_ROUTED:
            if u_instance.obj.inst_header:
                result |= self.create_nodes(u_instance, self.primitives.get_module_to_ports(child), PORT)
        else:
            result |= self.add_nodes_module(u_master, has_nodes)
        return result

    def add_nodes_inserted(self, u_instance, master):
        ports = [p for p in self.primitives.get_inserted_ports(master) if p.module.view != BLC]
        return self.create_nodes(u_instance, ports, INSERTED)

    def add_nodes_mux(self, u_instance, master):
        inst = u_instance.obj
        if self.store.pattern and self.store.pattern in inst.name:
            return False
        result = False
        for port in self.primitives.get_module_to_ports(master):
            if self.store.is_arc_input(port):
                continue
            inst_port = inst.inst_ports[port.index]
            ignored = port in self.primitives.ignored_ports
            if ignored and inst_port not in self.primitives.inserted_inst_ports:
                continue
            uip = UInstPort(u_instance.place, inst_port)
            if not inst.inst_header and self.store.find_wire_type(uip) is None:
                continue
            result |= self.create_node(uip, PORT)
        return result

    def add_nodes_blc(self, u_instance, master):
        result = self.add_nodes_inside_blc(master_of(u_instance, STANDARD_RANK))
        ports = self.primitives.get_module_to_ports(master)
        return self.create_nodes(u_instance, ports, BLC_PORT) | result

    def add_nodes_inside_blc(self, u_module):
        result = False
        for u_instance in instances_of(u_module):
            if u_instance.obj.blc_atom:
                kind = BLC_ATOM
            elif u_instance.obj.trait_0:
                kind = BLC_TRAIT
            else:
                kind = INSIDE_BLC
            for uip in uips_of(u_instance):
                if not self.primitives.is_removed_port(port_of_uip(uip, DEFAULT_RANK).obj):
                    result |= self.create_node(uip, kind)
            result |= self.add_nodes_inside_blc(master_of(u_instance, STANDARD_RANK))
        return result

    def create_nodes(self, u_instance, ports, kind):
        result = False
        for port in ports:
            result |= self.create_node(uip_by_index(u_instance, port.index), kind)
        return result

    def create_node(self, uip, kind):
        if self.do_exclude_node(uip):
            self.counters["m_eliminated_num_nodes"] += 1
            return True
        if uip in self.plain:
            self.counters["m_repeated_num_nodes"] += 1
            return False
        node = Node(uip)
        self.nodes.append(node)
        self.plain[uip] = node
        self.counters["m_created_num_nodes"] += 1
        if kind == INSERTED:
            self.counters["m_created_num_nodes_inserted"] += 1
        elif kind in (BLC_PORT, INSIDE_BLC, BLC_ATOM, BLC_TRAIT):
            self.counters["m_created_num_nodes_blc"] += 1
        return True

    def create_boundary_node(self, port):
        if port in self.boundary:
            self.counters["m_repeated_num_nodes"] += 1
            return
        node = Node(None, port=port)
        self.nodes.append(node)
        self.boundary[port] = node
        self.counters["m_created_num_nodes_boundary"] += 1

    def do_exclude_node(self, uip):
        inner = port_of_uip(uip, STANDARD_RANK)
        if net_of_uip(uip) is None and net_of_port(inner) is None:
            return True
        u_instance = instance_of_uip(uip)
        inst = u_instance.obj
        if is_spare_row(self.store, ip_root_instance(u_instance)):
            wire_type = self.store.find_wire_type(uip)
            if wire_type is None or not wire_type[1] & 2:
                return True
        master = module_of(master_of(u_instance, STANDARD_RANK))
        if master is not None and master.view == BLC and master.trait_0:
            if uip.obj.is_input() or inst.inserted_buffer:
                return True
        if not self.store.has_muxes(master):
            return False
        if any(arc.is_skip(inst) for arc in self.store.arc_inputs(inner.obj)):
            return True
        return any(arc.is_skip(inst) for arc in self.store.arc_outputs(inner.obj))

    # ---- hipi twins, redundant inputs ---------------------------------------------------------

    def add_nodes_hipi(self):
        for node in list(self.nodes):
            if node.is_boundary() or self.store.hipi_type(node.uip.obj.port) not in (1, 2):
                continue
            if self.do_exclude_node(node.uip):
                self.counters["m_eliminated_num_nodes"] += 1
                continue
            twin = Node(node.uip, hipi=True)
            self.nodes.append(twin)
            self.twins[node.uip] = twin
            self.counters["m_created_num_nodes_hipi"] += 1

    def build_redundant_inputs(self):
        top = top_unfolded_module(self.model, DEFAULT_VIEW)
        self.redundant_inputs = self.redundancy_table.marked_uips(top)

    # ---- edges --------------------------------------------------------------------------------

    def process_one_node(self, node):
        self.fanouts, self.redundant_fanouts = [], []
        if node.hipi:
            plain = self.plain.get(node.uip)
            if plain is not None:
                self.fanouts.append((plain, None))
        else:
            self.compute_fanout(node)
        self.counters["n_edges"] += len(self.fanouts)
        self.counters["n_redundant_edges"] += len(self.redundant_fanouts)
        self.edges += [(node, to, "real", mux_input) for to, mux_input in self.fanouts]
        self.edges += [(node, to, "redundant", mux_input) for to, mux_input in self.redundant_fanouts]

    def compute_fanout(self, node):
        if node.is_boundary():
            uip = None
            port = node.port
            master = port.module
            u_top = top_unfolded_module(self.model, master.view)
            u_port = None if u_top is None else UPort(u_top.place, module_of(u_top).ports[port.index])
            parent_module = None
        else:
            uip = node.uip
            u_port = port_of_uip(uip, STANDARD_RANK)
            port = None if u_port is None else u_port.obj
            u_instance = instance_of_uip(uip)
            master = module_of(master_of(u_instance, STANDARD_RANK))
            parent_module = module_of(parent_of_instance(u_instance))
        if u_port is None:
            return
        if node.is_boundary() and port.is_output():
            return
        is_inserted = self.primitives.is_inserted_port(port)
        if u_port.obj.module.view == BLC:
            is_inserted = False
        place = (uip, u_port, port, master, parent_module, node.is_boundary(), is_inserted)

        results = LeafResults()
        if uip is not None:
            results.uips.append(uip)
        else:
            results.top_ports.append(u_port)
        self.counters["n_cdrn_cache_misses"] += 1
        self.counters["n_get_leaf_calls"] += 1
        self.get_leaf_fanout(*place, results, False)
        if uip is not None and self.store.tunnel_type(uip.obj.port.module) == 1:
            second = LeafResults()
            second.uips.append(uip)
            self.get_leaf_fanout(*place, second, True)
            results.uips += second.uips
        self.fill_fanouts(node, results)
        self.counters["n_get_leaf_calls"] += 1
        self.counters["n_get_leaf_fanouts"] += len(results.uips)

    def get_leaf_fanout(
        self, uip, u_port, port, master, parent_module, is_boundary, is_inserted, results, tunnel_pass
    ):
        build_search = LeafSearch(self.model, self.build_predicate, tunnel_pass)
        trace_search = LeafSearch(self.model, self.trace_predicate, tunnel_pass)
        down = not port.is_output()
        up = not port.is_input() and not is_boundary

        mux_case = is_inserted and port.is_input()
        if not is_boundary and net_of_uip(uip) is None and not port.is_output():
            mux_case = True
        if mux_case and self.store.has_muxes(master):
            u_instance = instance_of_uip(uip)
            for arc in self.store.arc_outputs(port):
                output = uip_by_index(u_instance, arc.output.index)
                if arc.is_skip(u_instance.obj):
                    build_search.find_leaves(output, None, results)
                else:
                    results.uips.append(output)
        else:
            if down and master.view == BLC:
                down = False
                trace_search.find_leaves(None, u_port, results, exclude_port=u_port)
            if up and parent_module is not None and parent_module.view == BLC:
                up = False
                trace_search.find_leaves(uip, None, results, exclude_uip=uip)
            if down:
                build_search.find_leaves(None, u_port, results, exclude_port=u_port)
            if up:
                build_search.find_leaves(uip, None, results, exclude_uip=uip)

        if tunnel_pass:
            results.uips = [u for u in results.uips if self.store.tunnel_type(u.obj.port.module) == 3]
            results.top_ports = []

    def fill_fanouts(self, node, results):
        source = node.uip
        tunnel_source = source is not None and self.store.tunnel_type(source.obj.port.module) == 2
        for leaf in results.uips:
            if leaf == source:
                continue
            port = leaf.obj.port
            is_load = port.is_input() or port.is_bidir()
            redundant = is_load and leaf in self.redundant_inputs
            if tunnel_source and self.store.tunnel_type(port.module) == 3:
                continue
            inserted = (
                self.primitives.is_inserted_port(port)
                or self.primitives.has_inserted_port(port)
                or leaf.obj in self.primitives.inserted_inst_ports
            )
            fanouts = self.redundant_fanouts if redundant else self.fanouts
            if is_load and not inserted:
                outputs = self.get_mux_outputs(instance_of_uip(leaf), port)
                if outputs is not None:
                    for output in outputs:
                        if output != source:
                            self.add_fanout(fanouts, leaf, output, False)
                    continue
            mux_input = None
            if source is not None and self.is_mux_output(source.obj.port, port):
                mux_input = source
            self.add_fanout(fanouts, mux_input, leaf, inserted)
        if self.model.db_type == TOP_PORTS_ROUTED:
            for u_port in results.top_ports:
                if u_port.obj is not node.port and self.model.is_top_module_or_equiv(u_port.obj.module):
                    self.add_boundary_fanout(u_port)

    def add_fanout(self, fanouts, mux_input, target, is_inserted):
        plain = self.plain.get(target)
        if plain is None:
            self.counters["n_skip_port"] += 1
            return
        node = plain
        twin = self.twins.get(target)
        if not is_inserted and mux_input is not None and twin is not None:
            if self.store.hipi_type(mux_input.obj.port) in (1, 2):
                node = twin
        fanouts.append((node, mux_input))

    def add_boundary_fanout(self, u_port):
        node = self.boundary.get(u_port.obj)
        if node is None:
            self.counters["n_skip_port"] += 1
        else:
            self.fanouts.append((node, None))

    def get_mux_outputs(self, u_instance, port):
        if port.is_output():
            return None
        arcs = self.store.arc_outputs(port)
        if not arcs:
            return None
        return [uip_by_index(u_instance, arc.output.index) for arc in arcs]

    def is_mux_output(self, input, output):
        if input.is_output() or output.is_input():
            return False
        return any(arc.output is output for arc in self.store.arc_outputs(input))
