"""Places in the flattened hierarchy, spelled out.

A place is a tuple that begins with the module at the top and goes on with pairs of an instance and the
master that was entered there: (top, instance, module, instance, module, ...). An unfolded value is a place
and a folded object; None stands for the empty value, and every function here takes it and gives None, an
empty list or "" for it.
"""

from collections import namedtuple

UModule = namedtuple("UModule", "place")  # the module is the last element of the place
UInstance = namedtuple("UInstance", "place obj")  # the place is that of the module that holds it
UPort = namedtuple("UPort", "place obj")  # the place is that of the module that owns it
UInstPort = namedtuple("UInstPort", "place obj")  # the place is that of the module that holds its instance
UNet = namedtuple("UNet", "place obj")


def top_unfolded_module(model, view):
    top = model.get_top_module(view)
    return None if top is None else UModule((top,))


def module_of(u_module):
    return None if u_module is None else u_module.place[-1]


def instance_above(u_module):
    """The unfolded instance whose master this module is; None at the top."""
    if u_module is None or len(u_module.place) == 1:
        return None
    return UInstance(u_module.place[:-2], u_module.place[-2])


def instances_of(u_module):
    if u_module is None:
        return []
    return [UInstance(u_module.place, inst) for inst in module_of(u_module).instances]


def parent_of_instance(u_instance):
    return None if u_instance is None else UModule(u_instance.place)


def master_of(u_instance, rank):
    """The step downward: the master in the first view of the rank that has one."""
    if u_instance is None:
        return None
    master = u_instance.obj.get_module_by_rank(rank)
    return None if master is None else UModule(u_instance.place + (u_instance.obj, master))


def uips_of(u_instance):
    if u_instance is None:
        return []
    return [UInstPort(u_instance.place, ip) for ip in u_instance.obj.inst_ports]


def uip_by_index(u_instance, index):
    return None if u_instance is None else UInstPort(u_instance.place, u_instance.obj.inst_ports[index])


def instance_of_uip(uip):
    return None if uip is None else UInstance(uip.place, uip.obj.inst)


def net_of_uip(uip):
    if uip is None or uip.obj.net is None:
        return None
    return UNet(uip.place, uip.obj.net)


def port_of_uip(uip, rank):
    """The port on the inside, in the master of the first view of the rank that has one."""
    u_module = master_of(instance_of_uip(uip), rank)
    if u_module is None:
        return None
    return UPort(u_module.place, module_of(u_module).ports[uip.obj.port.index])


def net_of_port(u_port):
    if u_port is None or u_port.obj.net is None:
        return None
    return UNet(u_port.place, u_port.obj.net)


def uip_of_port(u_port):
    """The step upward through a port; None for a port of the top module."""
    if u_port is None or len(u_port.place) == 1:
        return None
    return UInstPort(u_port.place[:-2], u_port.place[-2].inst_ports[u_port.obj.index])


def ports_on_net(u_net):
    return [UPort(u_net.place, port) for port in u_net.obj.ports]


def uips_on_net(u_net):
    return [UInstPort(u_net.place, ip) for ip in u_net.obj.inst_ports]


def ip_root_instance(u_instance):
    """The innermost enclosing instance, itself included, whose plain master is an IP root."""
    while u_instance is not None:
        if u_instance.obj.master.ip_root:
            return u_instance
        u_instance = instance_above(parent_of_instance(u_instance))
    return None


def instance_names(u_instance):
    return [inst.name for inst in u_instance.place[1::2]] + [u_instance.obj.name]


def uip_name(uip):
    if uip is None:
        return ""
    return "/".join(instance_names(instance_of_uip(uip))) + ":" + uip.obj.port.name
