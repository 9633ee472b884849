#include "kep_rg/trace/kep_rg_fanout_observer.h"

void KEP_RG_FANOUT_OBSERVER::set_source(const KEP_RG_TRACE_HOPS& hops) {
  m_hops = hops;
  m_targets.clear();
  m_num_found = 0;
  m_awaited.clear();
  m_first_wait.clear();
  m_waits.clear();
  m_trace.clear();
  m_states.assign(1, {});
}

std::uint32_t KEP_RG_FANOUT_OBSERVER::add_target(const KEP_ROUTING::FWD_EDGE& edge) {
  const KEP_ROUTING::NODE to = edge.get_fanout();
  const KEP_UNFOLDED_INST_PORT to_uip = to.get_unfolded_inst_port();
  if (const std::uint32_t awaited = m_awaited.find(to_uip); awaited != m_awaited.NONE)
    for (std::uint32_t wait = m_first_wait[awaited]; wait != NONE; wait = m_waits[wait].m_next)
      if (m_targets[m_waits[wait].m_target].m_to == to) return m_waits[wait].m_target;
  const auto target = static_cast<std::uint32_t>(m_targets.size());
  m_targets.push_back({to, to_uip, edge.get_mux_input(), false, OUTCOME::NOT_FOUND, 0});
  wait_for(to_uip, target);
  if (const KEP_UNFOLDED_INST_PORT& mux_input = m_targets.back().m_mux_input) wait_for(mux_input, target);
  return target;
}

void KEP_RG_FANOUT_OBSERVER::wait_for(const KEP_UNFOLDED_INST_PORT& uip, std::uint32_t target) {
  if (m_awaited.insert(uip)) m_first_wait.push_back(NONE);
  std::uint32_t& first = m_first_wait[m_awaited.find(uip)];
  m_waits.push_back({target, first});
  first = static_cast<std::uint32_t>(m_waits.size() - 1);
}

void KEP_RG_FANOUT_OBSERVER::start_net(const KEP_UNFOLDED_NET& net) {
  m_chain.start_net(net);
}

void KEP_RG_FANOUT_OBSERVER::visit(const KEP_UNFOLDED_PORT&, VISIT_TYPE type) {
  if (type == VISIT_TYPE::END) m_chain.rewind();
}

void KEP_RG_FANOUT_OBSERVER::visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) {
  const bool joins = type != VISIT_TYPE::END && !(uip == m_hops.get_from_uip());
  if (const std::uint32_t awaited = m_awaited.find(uip); awaited != m_awaited.NONE) {
    for (std::uint32_t wait = m_first_wait[awaited]; wait != NONE; wait = m_waits[wait].m_next)
      meet(m_targets[m_waits[wait].m_target], uip, joins);
    m_first_wait[awaited] = NONE; // nobody waits for it any more
  }
  if (joins) m_trace.push_back(uip);
  m_chain.leave(uip, type);
}

/// The trace of a target ends with the mux input and the target behind it, or with the target alone, which
/// stays out of it where it does not join the chain.
void KEP_RG_FANOUT_OBSERVER::meet(TARGET& target, const KEP_UNFOLDED_INST_PORT& uip, bool joins) {
  if (target.m_found) return;
  target.m_found = true;
  ++m_num_found;
  follow_trace();
  const bool at_mux_input = uip == target.m_mux_input;
  KEP_RG_TRACE_HOPS::STATE state = m_states.back();
  if (at_mux_input || joins)
    state = m_hops.step(state, m_trace.empty() ? m_hops.get_from_uip() : m_trace.back(), uip);
  if (at_mux_input) state = m_hops.step(state, uip, target.m_to_uip);
  target.m_outcome = state.m_outcome;
  if (state.m_outcome == OUTCOME::VERIFIED)
    target.m_num_hops =
        static_cast<std::uint32_t>(m_trace.size()) + (at_mux_input || joins ? 1 : 0) + (at_mux_input ? 1 : 0);
}

/// Follows the chain as far as it is new since the last time.
void KEP_RG_FANOUT_OBSERVER::follow_trace() {
  const std::size_t unchanged = m_chain.take_unchanged();
  if (m_states.size() > unchanged + 1) m_states.resize(unchanged + 1);
  for (std::size_t i = m_states.size() - 1; i != m_trace.size(); ++i)
    m_states.push_back(m_hops.step(m_states[i], i == 0 ? m_hops.get_from_uip() : m_trace[i - 1], m_trace[i]));
}
