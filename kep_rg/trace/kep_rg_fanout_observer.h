#pragma once

#include "kep/kep_routing_graph.h"
#include "kep_rg/trace/kep_rg_trace_chain.h"
#include "kep_rg/trace/kep_rg_trace_hops.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Does for all edges of a node in one walk what KEP_TARGET_OBSERVER_TG does for one edge, and follows each
/// trace as soon as it is there.
///
/// Until an edge's target is met, nothing that is done depends on it: up to there all edges of the node have
/// the same chain. So the chain is kept once, and an edge takes it as it stands when its target comes.
class KEP_RG_FANOUT_OBSERVER : public KEP_UNFOLD_OBSERVER {
public:
  using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;

  /// Forgets all targets; `hops` is what follows the traces.
  void set_source(const KEP_RG_TRACE_HOPS& hops);
  /// The number of the edge's target; an edge to a fanout that an earlier edge has shares its target. The
  /// fanout is no boundary node.
  std::uint32_t add_target(const KEP_ROUTING::FWD_EDGE& edge);
  OUTCOME get_outcome(std::uint32_t target) const { return m_targets[target].m_outcome; }

  /// 0 unless that verifies.
  std::uint32_t get_num_hops(std::uint32_t target) const { return m_targets[target].m_num_hops; }

  void start_search() { m_chain.start(&m_trace); }
  bool is_done() const { return m_num_found == m_targets.size(); }

  void start_net(const KEP_UNFOLDED_NET& net) override;
  void visit(const KEP_UNFOLDED_PORT& up, VISIT_TYPE type) override;
  void visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) override;

private:
  static constexpr std::uint32_t NONE = ~0U;
  struct TARGET {
    KEP_ROUTING::NODE m_to;
    KEP_UNFOLDED_INST_PORT m_to_uip;
    KEP_UNFOLDED_INST_PORT m_mux_input;
    bool m_found;
    OUTCOME m_outcome;
    std::uint32_t m_num_hops; // of a trace that verifies
  };
  struct WAIT { // one in the list of those who wait for a uip
    std::uint32_t m_target;
    std::uint32_t m_next;
  };

  void wait_for(const KEP_UNFOLDED_INST_PORT& uip, std::uint32_t target);
  void meet(TARGET& target, const KEP_UNFOLDED_INST_PORT& uip, bool joins);
  void follow_trace();

  KEP_RG_TRACE_HOPS m_hops;
  std::vector<TARGET> m_targets;
  std::size_t m_num_found = 0;
  KEP_UNFOLDED_SET<KEP_UNFOLDED_INST_PORT> m_awaited;
  std::vector<std::uint32_t> m_first_wait; // by number in m_awaited
  std::vector<WAIT> m_waits;
  std::vector<KEP_UNFOLDED_INST_PORT> m_trace;
  std::vector<KEP_RG_TRACE_HOPS::STATE> m_states; // where the trace stands behind its first i uips
  KEP_RG_TRACE_CHAIN m_chain;
};
