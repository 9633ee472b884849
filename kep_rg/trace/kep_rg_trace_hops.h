#pragma once

#include "kep_rg/kep_rg_trace_edge.h"

/// Follows traces of edges from one node hop by hop: along a net, where a uip lies on the net on which the
/// trace stands, or through a mux, where an arc joins the uip to the one before.
class KEP_RG_TRACE_HOPS {
public:
  using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;

  /// Where a trace stands behind a hop. One that failed stays where it failed.
  struct STATE {
    KEP_UNFOLDED_NET m_expected_net; ///< the net on which the trace stands
    KEP_UNFOLDED_NET m_net;          ///< the net by which it came to the last uip; empty behind an arc
    OUTCOME m_outcome = OUTCOME::VERIFIED;
    bool m_first_net_hop = true;
    bool m_is_arc = false; ///< the last hop went through a mux
  };

  KEP_RG_TRACE_HOPS() = default;
  KEP_RG_TRACE_HOPS(const KEP_DB& db, const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache,
                    const KEP_VIEW_TYPE_RANK& rank, const KEP_ROUTING::NODE& from);

  /// The uip from which the first hop goes out; empty for a boundary node.
  const KEP_UNFOLDED_INST_PORT& get_from_uip() const { return m_from_uip; }
  const KEP_UNFOLDED_NET& get_from_uip_net() const { return m_from_uip_net; }
  const KEP_UNFOLDED_NET& get_from_port_net() const { return m_from_port_net; }

  /// The hop from `previous`, empty at the start from a boundary node, to `uip`.
  STATE step(const STATE& state, const KEP_UNFOLDED_INST_PORT& previous,
             const KEP_UNFOLDED_INST_PORT& uip) const;

private:
  OUTCOME step_through_arc(STATE& state, const KEP_UNFOLDED_INST_PORT& previous,
                           const KEP_UNFOLDED_INST_PORT& uip) const;
  OUTCOME step_along_net(STATE& state, const KEP_UNFOLDED_NET& uip_net,
                         const KEP_UNFOLDED_NET& port_net) const;

  const KEP_DB_ROUTING_PRIMITIVE_CACHE* m_cache = nullptr;
  KEP_VIEW_TYPE_RANK m_rank;
  KEP_UNFOLDED_INST_PORT m_from_uip;
  KEP_UNFOLDED_NET m_from_uip_net;
  KEP_UNFOLDED_NET m_from_port_net;
};
