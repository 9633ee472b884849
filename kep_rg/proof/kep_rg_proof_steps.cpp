#include "kep_rg/proof/kep_rg_proof_steps.h"

namespace {

using TUNNEL = KEP_ROUTING_PRIMITIVE_TUNNEL;

KEP_UNFOLDED_INST_PORT beside(const KEP_UNFOLDED_INST_PORT& uip, const KEP_PORT* port) {
  return uip.get_unfolded_instance().get_unfolded_inst_port_by_index(port->get_index());
}

} // namespace

KEP_RG_PROOF_STEPS::KEP_RG_PROOF_STEPS(const KEP_RG_PROOF_FACTS& facts, const KEP_RG_PROOF_NODES& nodes)
    : m_facts(facts), m_nodes(nodes), m_rank(facts.get_rank()) {
  tabulate_points();
}

/// A point of a folded inst port is the same at each of its places, unless a spare row or an exception of a
/// skip mux has a say.
void KEP_RG_PROOF_STEPS::tabulate_points() {
  m_points.assign(m_facts.get_db()->get_unfolding().get_ports().size(), POINT::VARIES);
  for (const KEP_MODULE* module : m_facts.get_db()->get_unfolding().get_modules()) {
    for (const KEP_PORT* port : module->iter_ports()) {
      POINT& point = m_points[port->get_number()];
      if (port->is_output() || module->get_is_blc_bidir_buffer())
        point = POINT::PASSED_OVER;
      else if (m_facts.ends_connections(port))
        point = POINT::NODE;
      else if (port->is_input() && !m_facts.begins_some_path(port) && !m_facts.varies_by_instance(port))
        point = is_stopping(module, {}) ? POINT::LEAF : POINT::ENTERED;
    }
    for (const KEP_INSTANCE* instance : module->iter_instances()) {
      if (!instance->get_module()->get_is_blc_bidir_buffer()) continue;
      for (unsigned i = 0; i != instance->get_module()->get_num_ports(); ++i)
        if (const KEP_NET* net = instance->get_inst_port_by_index(i)->get_net()) m_buffer_nets.insert(net);
    }
  }
}

bool KEP_RG_PROOF_STEPS::is_transparent(const KEP_MODULE* plain_master, const MODE& mode) const {
  if (!mode.m_through_tunnels) return false;
  const KEP_MODULE* master = m_rank.find_view(plain_master);
  return master && m_facts.get_store().get_tunnel_type(master) == TUNNEL::THROUGH;
}

bool KEP_RG_PROOF_STEPS::is_stopping(const KEP_MODULE* plain_master, const MODE& mode) const {
  const KEP_MODULE* master = m_rank.find_view(plain_master);
  if (!master || is_transparent(plain_master, mode)) return false;
  if (m_facts.is_stop_module(master)) return true;
  return !mode.m_in_blc && m_facts.get_kind(master) == KEP_RG_PROOF_FACTS::KIND::BLC_ROOT;
}

bool KEP_RG_PROOF_STEPS::is_end(const KEP_UNFOLDED_INST_PORT& uip, const MODE& mode) const {
  if (is_transparent(uip.m_object->get_inst()->get_module(), mode)) return false;
  if (mode.m_in_blc) return m_nodes.is_node(uip);
  return m_facts.ends_connections(uip.m_object->get_port()) || m_facts.is_inserted(uip.m_object);
}

/// Visits where a skip path, or else a flyover, leads from the uip; false if there is neither.
template <class VISIT>
bool KEP_RG_PROOF_STEPS::visit_crossing(const KEP_UNFOLDED_INST_PORT& uip, VISIT visit) const {
  const KEP_PORT* port = uip.m_object->get_port();
  if (!m_facts.begins_some_path(port)) return false;
  if (const KEP_RG_PROOF_FACTS::PORTS* outputs = m_facts.find_skip_outputs(uip.m_object)) {
    for (const KEP_PORT* output : *outputs)
      visit(beside(uip, output));
    return true;
  }
  const KEP_PORT* over = m_facts.find_flyover_output(port);
  if (!over) return false;
  const auto* attributes = m_facts.get_db()->get_legacy_api()->get_attributes(uip.get_unfolded_instance());
  if (!attributes || !attributes->is_spare_row()) return false;
  visit(beside(uip, over));
  return true;
}

KEP_RG_PROOF_STEPS::POINT KEP_RG_PROOF_STEPS::read_point(const KEP_UNFOLDED_INST_PORT& uip,
                                                         const ORIGIN* origin, const MODE& mode) const {
  const KEP_MODULE* plain_master = uip.m_object->get_inst()->get_module();
  if (uip.m_object->is_output()) return POINT::PASSED_OVER;
  if (!origin && plain_master->get_is_blc_bidir_buffer()) return POINT::PASSED_OVER;
  if (!(origin && uip == origin->m_uip) && is_end(uip, mode)) return POINT::NODE;
  if (visit_crossing(uip, [](const KEP_UNFOLDED_INST_PORT&) {})) return POINT::CROSSED;
  return is_stopping(plain_master, mode) ? POINT::LEAF : POINT::ENTERED;
}

KEP_RG_PROOF_STEPS::POINT KEP_RG_PROOF_STEPS::read_point(const KEP_UNFOLDED_INST_PORT& uip) const {
  const POINT point = m_points[uip.m_object->get_port()->get_number()];
  return point == POINT::VARIES ? read_point(uip, nullptr, {}) : point;
}

void KEP_RG_PROOF_STEPS::enter(const KEP_UNFOLDED_INST_PORT& uip, const MODE& mode, REACHED& reached) const {
  if (is_end(uip, mode)) {
    reached.m_ends.push_back(uip);
    return;
  }
  const KEP_UNFOLDED_NET net = uip.get_unfolded_net();
  if (net) reached.m_steps.push_back({net, uip, {}});
}

bool KEP_RG_PROOF_STEPS::append_crossing(const KEP_UNFOLDED_INST_PORT& uip, const MODE& mode,
                                         REACHED& reached) const {
  return visit_crossing(uip, [&](const KEP_UNFOLDED_INST_PORT& output) {
    if (output.m_object->is_input()) { // an input on the far side is an end
      reached.m_ends.push_back(output);
      return;
    }
    if (output.m_object->is_bidir() && !is_end(output, mode)) reached.m_order_matters = true;
    enter(output, mode, reached);
  });
}

void KEP_RG_PROOF_STEPS::go_on(POINT point, const KEP_UNFOLDED_INST_PORT& uip, const MODE& mode,
                               REACHED& reached) const {
  switch (point) {
  case POINT::NODE:
  case POINT::LEAF:
    reached.m_ends.push_back(uip);
    break;
  case POINT::CROSSED:
    append_crossing(uip, mode, reached);
    break;
  case POINT::ENTERED: {
    const KEP_UNFOLDED_PORT inner = uip.get_unfolded_port(m_rank);
    const KEP_UNFOLDED_NET net = inner.get_unfolded_net();
    if (net) reached.m_steps.push_back({net, {}, inner});
    break;
  }
  case POINT::PASSED_OVER:
  case POINT::VARIES:
    break;
  }
}

void KEP_RG_PROOF_STEPS::leave_module(const KEP_UNFOLDED_PORT& port, const MODE& mode,
                                      REACHED& reached) const {
  const KEP_UNFOLDED_INST_PORT outer = port.get_unfolded_inst_port();
  if (outer) {
    if (outer.m_object->is_bidir() && is_stopping(outer.m_object->get_inst()->get_module(), mode))
      reached.m_order_matters = true;
    enter(outer, mode, reached);
  } else if (port.m_object->get_parent()->is_top_module_or_equiv()) {
    reached.m_top_ports.push_back(port);
  }
}

void KEP_RG_PROOF_STEPS::expand(const KEP_UNFOLDED_NET& net, REACHED& reached) const {
  for (const KEP_UNFOLDED_INST_PORT uip : net.iter_inst_ports())
    go_on(read_point(uip), uip, {}, reached);
  for (const KEP_UNFOLDED_PORT port : net.iter_ports())
    if (!port.m_object->is_input()) leave_module(port, {}, reached);
}

void KEP_RG_PROOF_STEPS::expand(const STEP& entry, const ORIGIN* origin, const MODE& mode,
                                REACHED& reached) const {
  for (const KEP_UNFOLDED_INST_PORT uip : entry.m_net.iter_inst_ports()) {
    const POINT point = read_point(uip, origin, mode);
    const bool is_entry = uip == entry.m_uip;
    if (is_entry && (point == POINT::LEAF || point == POINT::ENTERED)) continue;
    go_on(point, uip, mode, reached);
  }
  for (const KEP_UNFOLDED_PORT port : entry.m_net.iter_ports()) {
    if (port.m_object->is_input() || (origin && port == origin->m_port)) continue;
    const bool leaves_device = !port.get_unfolded_inst_port();
    if (leaves_device || !(port == entry.m_port)) leave_module(port, mode, reached);
  }
}
