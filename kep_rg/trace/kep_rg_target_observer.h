#pragma once

#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_export.h"
#include "kep_rg/trace/kep_rg_trace_chain.h"

#include <vector>

/// Watches a search from the source of an edge until it meets the target or the mux input before it, and
/// keeps the chain of uips up to there. From then on it does nothing. One object serves one search after the
/// other; what its tables have grown to stays.
class KEP_RG_EXPORT KEP_TARGET_OBSERVER_TG : public KEP_UNFOLD_OBSERVER {
public:
  /// Both nodes are of one graph and not null; the source is no boundary node. What is asked at each visit is
  /// taken from them here.
  void set_edge(const KEP_ROUTING::NODE& from, const KEP_ROUTING::NODE& to,
                const KEP_UNFOLDED_INST_PORT& mux_input, std::vector<KEP_UNFOLDED_INST_PORT>& trace);
  void start_search();
  bool is_done() const { return m_found; }

  void start_net(const KEP_UNFOLDED_NET& net) override;
  void visit(const KEP_UNFOLDED_PORT& up, VISIT_TYPE type) override;
  void visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) override;

private:
  KEP_UNFOLDED_INST_PORT m_from_uip;
  KEP_UNFOLDED_INST_PORT m_to_uip; // empty for a boundary node, which no visit of a uip meets
  KEP_UNFOLDED_INST_PORT m_mux_input;
  bool m_to_is_boundary = false;
  bool m_found = false;
  std::vector<KEP_UNFOLDED_INST_PORT>* m_trace = nullptr;
  KEP_RG_TRACE_CHAIN m_chain;
};
