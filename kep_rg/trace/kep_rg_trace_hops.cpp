#include "kep_rg/trace/kep_rg_trace_hops.h"

KEP_RG_TRACE_HOPS::KEP_RG_TRACE_HOPS(const KEP_DB& db, const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache,
                                     const KEP_VIEW_TYPE_RANK& rank, const KEP_ROUTING::NODE& from)
    : m_cache(&cache), m_rank(rank) {
  if (const KEP_PORT* port = from.get_port()) {
    m_from_port_net = db.get_top_unfolded_module(port->get_parent()->get_view_type())
                          .get_unfolded_port_by_index(port->get_index())
                          .get_unfolded_net();
  } else {
    m_from_uip = from.get_unfolded_inst_port();
    m_from_uip_net = m_from_uip.get_unfolded_net();
    m_from_port_net = m_from_uip.get_unfolded_port(rank).get_unfolded_net();
  }
}

KEP_RG_TRACE_HOPS::STATE KEP_RG_TRACE_HOPS::step(const STATE& state, const KEP_UNFOLDED_INST_PORT& previous,
                                                 const KEP_UNFOLDED_INST_PORT& uip) const {
  STATE after = state;
  if (state.m_outcome != OUTCOME::VERIFIED) return after;
  const KEP_UNFOLDED_PORT port = uip.get_unfolded_port(m_rank);
  after.m_outcome = m_cache->is_arc_output(port.m_object)
                        ? step_through_arc(after, previous, uip)
                        : step_along_net(after, uip.get_unfolded_net(), port.get_unfolded_net());
  return after;
}

KEP_RG_TRACE_HOPS::OUTCOME KEP_RG_TRACE_HOPS::step_through_arc(STATE& state,
                                                               const KEP_UNFOLDED_INST_PORT& previous,
                                                               const KEP_UNFOLDED_INST_PORT& uip) const {
  if (!previous) return OUTCOME::NO_PREVIOUS_UIP;
  if (!m_cache->find_routing_arc(previous.m_object->get_port(), uip.m_object->get_port()))
    return OUTCOME::NO_ARC;
  state.m_net = {};
  state.m_is_arc = true;
  state.m_expected_net = uip.get_unfolded_net();
  return OUTCOME::VERIFIED;
}

KEP_RG_TRACE_HOPS::OUTCOME KEP_RG_TRACE_HOPS::step_along_net(STATE& state, const KEP_UNFOLDED_NET& uip_net,
                                                             const KEP_UNFOLDED_NET& port_net) const {
  if (!uip_net) return OUTCOME::UNCONNECTED_PORT;
  const bool is_first = state.m_first_net_hop;
  // Behind the first hop, two nets that are not there are the same net. The rule is fixed: tools that know
  // the findings of traces rely on it.
  const auto fits = [&](const KEP_UNFOLDED_NET& net) {
    return is_first ? net && (net == m_from_uip_net || net == m_from_port_net) : net == state.m_expected_net;
  };
  state.m_first_net_hop = false;
  state.m_is_arc = false;
  if (fits(uip_net)) {
    state.m_net = uip_net;
    state.m_expected_net = port_net;
  } else if (fits(port_net)) {
    state.m_net = port_net;
    state.m_expected_net = uip_net;
  } else {
    return is_first ? OUTCOME::NET_OF_FIRST_HOP : OUTCOME::NET_OF_LATER_HOP;
  }
  return OUTCOME::VERIFIED;
}
