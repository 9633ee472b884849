#include "kep_rg/kep_rg_find_routing_node_on_net.h"

#include "kep/kep_design.h"

using KEP_ROUTING::NODE;
using VISIT_TYPE = KEP_UNFOLD_OBSERVER::VISIT_TYPE;

namespace {

/// What a net holds beside the point from which the way comes.
template <class POINT>
struct OTHERS {
  POINT m_only; ///< empty when there is none
  bool m_branches = false;
};

template <class POINT, class RANGE>
OTHERS<POINT> find_others(const RANGE& points, const POINT& from) {
  OTHERS<POINT> others;
  for (const POINT& point : points) {
    if (point == from) continue;
    if (others.m_only) {
      others.m_branches = true;
      break;
    }
    others.m_only = point;
  }
  return others;
}

} // namespace

NODE KEP_RG_FIND_ROUTING_NODE_ON_NET::find_routing_node(const NODE& node) const {
  const KEP_UNFOLDED_INST_PORT uip = node.get_unfolded_inst_port();
  NETS visited(8);
  return find_routing_node_sub({}, uip, uip.get_unfolded_net(), visited);
}

/// Each step is a call of this from the net before, whose answer is the answer there. So the steps are turns
/// of a loop: a wire can cross more modules than a stack has room for.
NODE KEP_RG_FIND_ROUTING_NODE_ON_NET::find_routing_node_sub(KEP_UNFOLDED_PORT port,
                                                            KEP_UNFOLDED_INST_PORT uip, KEP_UNFOLDED_NET net,
                                                            NETS& visited) const {
  POINT at{port, uip, net};
  while (at.m_net && visited.insert(at.m_net).second) {
    if (at.m_port) m_observer->visit(at.m_port, VISIT_TYPE::WALK);
    if (at.m_uip) m_observer->visit(at.m_uip, VISIT_TYPE::WALK);
    NODE found;
    const KEP_UNFOLDED_NET here = at.m_net;
    const OTHERS<KEP_UNFOLDED_INST_PORT> inst_ports = find_others(here.iter_inst_ports(), at.m_uip);
    if (inst_ports.m_branches) break;
    if (inst_ports.m_only && follow_inst_port(inst_ports.m_only, at, found)) {
      if (found) return found;
      continue;
    }
    const OTHERS<KEP_UNFOLDED_PORT> ports = find_others(here.iter_ports(), at.m_port);
    if (ports.m_branches || !ports.m_only || !follow_port(ports.m_only, visited, at, found)) break;
    if (found) return found;
  }
  return NODE(nullptr);
}

/// True when the way ends in a node there or goes on inside the instance, false when it leads nowhere.
bool KEP_RG_FIND_ROUTING_NODE_ON_NET::follow_inst_port(const KEP_UNFOLDED_INST_PORT& other, POINT& at,
                                                       NODE& found) const {
  found = NODE(other, false);
  if (found) {
    m_observer->visit(found.get_unfolded_inst_port(), VISIT_TYPE::FOUND);
    return true;
  }
  m_observer->visit(other, VISIT_TYPE::WALK);
  const KEP_UNFOLDED_PORT inner = other.get_unfolded_port(m_view_type_rank);
  if (!inner || !inner.m_object->get_net()) return false;
  // It is told once more at the start of the next step: as where the way leaves an instance port, and as
  // where it comes to a net. Readers of the log count on both lines.
  m_observer->visit(inner, VISIT_TYPE::WALK);
  at = {inner, {}, inner.get_unfolded_net()};
  return true;
}

/// True when the way ends in a node outside the module or goes on there.
bool KEP_RG_FIND_ROUTING_NODE_ON_NET::follow_port(const KEP_UNFOLDED_PORT& other, const NETS& visited,
                                                  POINT& at, NODE& found) const {
  m_observer->visit(other, VISIT_TYPE::WALK);
  const KEP_UNFOLDED_INST_PORT outer = other.get_unfolded_inst_port();
  if (!outer) return false;
  found = NODE(outer, false);
  if (found) {
    m_observer->visit(outer, VISIT_TYPE::FOUND);
    return true;
  }
  at = {{}, outer, outer.get_unfolded_net()};
  return at.m_net && !visited.contains(at.m_net);
}
