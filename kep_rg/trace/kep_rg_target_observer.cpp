#include "kep_rg/trace/kep_rg_target_observer.h"

void KEP_TARGET_OBSERVER_TG::set_edge(const KEP_ROUTING::NODE& from, const KEP_ROUTING::NODE& to,
                                      const KEP_UNFOLDED_INST_PORT& mux_input,
                                      std::vector<KEP_UNFOLDED_INST_PORT>& trace) {
  m_from_uip = from.get_unfolded_inst_port();
  m_to_uip = to.get_unfolded_inst_port();
  m_mux_input = mux_input;
  m_to_is_boundary = to.is_boundary();
  m_trace = &trace;
}

void KEP_TARGET_OBSERVER_TG::start_search() {
  m_found = false;
  m_chain.start(m_trace);
}

void KEP_TARGET_OBSERVER_TG::start_net(const KEP_UNFOLDED_NET& net) {
  if (!m_found) m_chain.start_net(net);
}

void KEP_TARGET_OBSERVER_TG::visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) {
  if (m_found) return;
  const bool at_mux_input = uip == m_mux_input;
  if (at_mux_input || (type != VISIT_TYPE::END && !(uip == m_from_uip))) m_trace->push_back(uip);
  if (!m_to_is_boundary && (at_mux_input || uip == m_to_uip)) {
    m_found = true;
    if (at_mux_input) m_trace->push_back(m_to_uip);
    return;
  }
  m_chain.leave(uip, type);
}
