"""The walk over unfolded nets from a driver to the next leaves, and the two predicates that say what a leaf is.

The walk always goes from a driver to its loads: output ports of instances and input ports of modules are
passed over.
"""

from model import BLC, DEFAULT_RANK, STANDARD_RANK
from unfolded import (
    instance_of_uip,
    master_of,
    module_of,
    net_of_port,
    net_of_uip,
    port_of_uip,
    ports_on_net,
    uip_by_index,
    uip_of_port,
    uips_on_net,
)

STOP_MODULE = 0
STOP_INSTANCE_MASTER = 1
BLC_ROUTING_ROOT = 2
ROUTING_ROOT = 3
IP_ROOT_NOT_ROUTED = 4
UNCLASSIFIED = 5


class BuildPredicate:
    """Leaves are routing primitives; the walk ends at inserted ports."""

    leaf_types = (STOP_MODULE, STOP_INSTANCE_MASTER, BLC_ROUTING_ROOT)

    def __init__(self, primitives):
        self.primitives = primitives
        self.store = primitives.store
        self.module_types = {}
        for module in primitives.stop_modules:
            self.module_types.setdefault(module, STOP_MODULE)
        for inst in primitives.stop_instances:
            self.module_types.setdefault(inst.get_module(), STOP_INSTANCE_MASTER)
        for module in primitives.model.modules:
            if not module.ip_root:
                continue
            if not primitives.is_routing_root(module):
                kind = IP_ROOT_NOT_ROUTED
            else:
                kind = BLC_ROUTING_ROOT if module.view == BLC else ROUTING_ROOT
            self.module_types.setdefault(module, kind)

    def get_module_type(self, module):
        return self.module_types.get(module, UNCLASSIFIED)

    def is_transparent(self, uip, honour_tunnels):
        """A tunnel of type 2, where tunnels count."""
        module = module_of(master_of(instance_of_uip(uip), STANDARD_RANK))
        return honour_tunnels and self.store.tunnel_type(module) == 2

    def is_leaf_module(self, uip, honour_tunnels):
        if self.is_transparent(uip, honour_tunnels):
            return False
        module = module_of(master_of(instance_of_uip(uip), STANDARD_RANK))
        return self.get_module_type(module) in self.leaf_types

    def is_leaf(self, uip, honour_tunnels):
        return self.is_leaf_module(uip, honour_tunnels)

    def is_terminating(self, uip, honour_tunnels):
        if self.is_transparent(uip, honour_tunnels):
            return False
        if self.primitives.has_inserted_port(uip.obj.port):
            return True
        return uip.obj in self.primitives.inserted_inst_ports

    def is_ignore_port(self, u_port):
        return False

    def is_ignore_uip(self, uip, exclude_uip, exclude_port, cur_uip, cur_port):
        same_net = False
        if exclude_uip is not None and uip.obj.is_output() and exclude_uip.obj.is_output():
            same_net = net_of_uip(uip) == net_of_uip(exclude_uip)
        if uip.obj.port.module not in self.primitives.bidir_buffers:
            return same_net
        if cur_uip is not None and cur_uip != exclude_uip:
            return True
        if cur_port is not None and cur_port != exclude_port:
            return True
        return False

    def should_trace_thru_fanout(self, uip):
        return uip.obj.is_output() or uip.obj.is_bidir()

    def get_trace_thru_outputs(self, uip):
        primitives = self.primitives
        inst_port, port = uip.obj, uip.obj.port
        u_instance = instance_of_uip(uip)
        outputs = []
        if port in primitives.skip_path_ports:
            if inst_port not in primitives.dont_skip_path_inst_ports:
                for output in primitives.skip_path_ports[port]:
                    outputs.append(uip_by_index(u_instance, output.index))
        elif inst_port in primitives.skip_path_inst_ports:
            for output in primitives.skip_path_inst_ports[inst_port]:
                outputs.append(uip_by_index(u_instance, output.port.index))
        if outputs:
            return outputs
        mapped = primitives.spare_row_map.get(port)
        if mapped is not None and is_spare_row(self.store, u_instance):
            outputs.append(uip_by_index(u_instance, mapped.index))
        return outputs


class TracePredicate(BuildPredicate):
    """The walk ends wherever a node stands. It never climbs out of a module through an input port."""

    leaf_types = (STOP_MODULE, STOP_INSTANCE_MASTER)

    def __init__(self, primitives, find_routing_node):
        super().__init__(primitives)
        self.find_routing_node = find_routing_node

    def is_leaf(self, uip, honour_tunnels):
        leaf = self.is_leaf_module(uip, honour_tunnels)
        if not leaf and not honour_tunnels:
            return uip.obj.is_output()
        return leaf

    def is_terminating(self, uip, honour_tunnels):
        if self.is_transparent(uip, honour_tunnels):
            return False
        return self.find_routing_node(uip) is not None

    def is_ignore_port(self, u_port):
        return u_port.obj.is_input()


def is_spare_row(store, u_instance):
    if u_instance is None:
        return False
    names = [inst.name for inst in u_instance.place[1::2]] + [u_instance.obj.name]
    return "/".join(names) in store.spare_rows


class LeafResults:
    def __init__(self):
        self.uips = []
        self.top_ports = []
        self.visited_nets = set()


class LeafSearch:
    def __init__(self, model, predicate, honour_tunnels):
        self.model = model
        self.predicate = predicate
        self.honour_tunnels = honour_tunnels

    def is_terminating(self, uip):
        return self.predicate.is_terminating(uip, self.honour_tunnels)

    def find_leaves(self, cur_uip, cur_port, results, exclude_uip=None, exclude_port=None):
        if cur_uip is not None:
            net = net_of_uip(cur_uip)
            if cur_uip != exclude_uip and self.is_terminating(cur_uip):
                results.uips.append(cur_uip)
                return
        elif cur_port is not None:
            net = net_of_port(cur_port)
        else:
            return
        if net is None or net in results.visited_nets:
            return
        results.visited_nets.add(net)
        for uip in uips_on_net(net):
            self.look_at_uip(uip, cur_uip, cur_port, results, exclude_uip, exclude_port)
        for u_port in ports_on_net(net):
            self.look_at_port(u_port, cur_port, results, exclude_port)

    def look_at_uip(self, uip, cur_uip, cur_port, results, exclude_uip, exclude_port):
        terminating = uip != exclude_uip and self.is_terminating(uip)
        ignored = self.predicate.is_ignore_uip(uip, exclude_uip, exclude_port, cur_uip, cur_port)
        if not ignored:
            port = port_of_uip(uip, DEFAULT_RANK).obj
            if port.is_output():
                ignored = True
        outputs = []
        if not terminating and not ignored:
            outputs = self.predicate.get_trace_thru_outputs(uip)
        leaf = False
        if not outputs:
            leaf = self.predicate.is_leaf(uip, self.honour_tunnels) and uip != cur_uip
        if leaf or terminating or ignored:
            if uip != exclude_uip and not ignored:
                results.uips.append(uip)
            return
        if outputs:
            self.cross_skip_path(outputs, results)
        else:
            self.go_down(uip, cur_uip, results)

    def go_down(self, uip, cur_uip, results):
        if uip == cur_uip:
            return
        inner = port_of_uip(uip, STANDARD_RANK)
        if inner is None or inner.obj.net is None:
            return
        self.find_leaves(None, inner, results)

    def cross_skip_path(self, outputs, results):
        for output in outputs:
            if not self.is_terminating(output) and self.predicate.should_trace_thru_fanout(output):
                self.find_leaves(output, None, results)
            else:
                results.uips.append(output)

    def look_at_port(self, u_port, cur_port, results, exclude_port):
        if u_port == exclude_port:
            return
        if self.predicate.is_ignore_port(u_port) or u_port.obj.is_input():
            return
        outer = uip_of_port(u_port)
        if outer is not None:
            if u_port != cur_port:
                self.find_leaves(outer, None, results)
            return
        if self.model.is_top_module_or_equiv(u_port.obj.module):
            results.top_ports.append(u_port)
