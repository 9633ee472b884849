#pragma once

/// @file
/// The way of an edge through the hierarchy.

#include "kep/kep_db.h"
#include "kep/kep_db_cache.h"
#include "kep/kep_routing_graph.h"
#include "kep/kep_routing_primitive_cache.h"
#include "kep_rg/kep_rg_export.h"
#include "kep_rg/kep_rg_primitives.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// Gets back what a finished graph doesn't say: the way of an edge through the hierarchy.
///
/// The trace of an edge is the chain of uips from behind its source to its target, the mux input before the
/// target. One object serves one thread; several may trace side by side on one graph, which they only read.
/// The database and the cache must outlive the object.
class KEP_RG_EXPORT KEP_RG_TRACE_EDGE {
public:
  ///@{
  /// The first cache is accepted and not used.
  KEP_RG_TRACE_EDGE(const KEP_DB* db, const KEP_DB_CACHE& cache,
                    const KEP_DB_ROUTING_PRIMITIVE_CACHE& routing_cache);
  KEP_RG_TRACE_EDGE(const KEP_DB* db, const KEP_DB_ROUTING_PRIMITIVE_CACHE& routing_cache);
  ///@}
  ///@{
  /// A copy serves another thread.
  KEP_RG_TRACE_EDGE(const KEP_RG_TRACE_EDGE& other);
  KEP_RG_TRACE_EDGE(KEP_RG_TRACE_EDGE&& other) noexcept;
  ///@}
  ~KEP_RG_TRACE_EDGE();

  /// Replaces `trace` by the chain of the first edge between the two nodes. False when a node is null (the
  /// trace is then left alone), when there is no such edge (which is told) and when the search does not meet
  /// the target (which is not); the trace then means nothing. Asserts that the source is no boundary node. An
  /// edge to a boundary node is never met.
  bool trace_edge(const KEP_ROUTING::NODE& from, const KEP_ROUTING::NODE& to,
                  std::vector<KEP_UNFOLDED_INST_PORT>& trace);
  /// Traces every edge and follows each trace hop by hop along the nets and arcs of the model. Tells of the
  /// first edge that fails, and ends there with false.
  bool verify_all_edge_traces();

  /// What becomes of an edge that is traced and whose trace is followed. All but the first: why it does not
  /// verify.
  enum class OUTCOME : unsigned char {
    VERIFIED,
    NULL_NODE,          ///< a node of the edge is null
    STARTS_AT_BOUNDARY, ///< no trace can start at a boundary node
    ENDS_AT_BOUNDARY,   ///< no trace can end at a boundary node
    NOT_FOUND,          ///< the search does not meet the target
    UNCONNECTED_PORT,   ///< the trace comes to a uip without a net
    NO_PREVIOUS_UIP,    ///< the trace begins with an arc and has no input for it
    NO_ARC,             ///< no arc joins two uips of the trace
    NET_OF_FIRST_HOP,   ///< the first uip lies on no net of the source
    NET_OF_LATER_HOP,   ///< a later uip does not lie on the net on which the trace stands
  };
  /// Of OUTCOME.
  static constexpr unsigned NUM_OUTCOMES = 10;
  /// One uip of a trace, and how the trace comes to it: through a mux, from an input to the output that the
  /// uip is, or on a net. The net is empty, too, where two sides without a net meet.
  struct HOP {
    KEP_UNFOLDED_INST_PORT m_uip; ///< where the trace comes to
    KEP_UNFOLDED_NET m_net;       ///< on which it comes; empty through a mux
    bool m_is_arc;                ///< through a mux
  };

  ///@{
  /// The outcomes of the node's edges, in the order of iter_all_fanout(); as trace_edge does, of several
  /// edges to one fanout it takes the first for all. Asserts nothing, tells nothing. What the edges of a node
  /// share is walked once. `num_hops` gets the number of hops of each edge that verifies, as check_trace
  /// gives them, and 0 for the others.
  void check_edges(const KEP_ROUTING::NODE& from, std::vector<OUTCOME>& outcomes);
  void check_edges(const KEP_ROUTING::NODE& from, std::vector<OUTCOME>& outcomes,
                   std::vector<std::uint32_t>& num_hops);
  ///@}
  /// The hops of a trace that trace_edge gave for an edge from that node. A trace that does not verify has
  /// them up to the last good one.
  OUTCOME check_trace(const KEP_ROUTING::NODE& from, const std::vector<KEP_UNFOLDED_INST_PORT>& trace,
                      std::vector<HOP>& hops) const;

private:
  friend class KEP_RG_TEST_ACCESS;
  struct SEARCHES;
  SEARCHES& get_searches();
  std::size_t check_edges(const KEP_ROUTING::NODE& from, bool through_tunnel, std::vector<OUTCOME>& outcomes,
                          std::vector<std::uint32_t>& num_hops);
  bool is_through_tunnel(const KEP_ROUTING::NODE& from, const KEP_ROUTING::NODE& to) const;
  bool verify_trace_edge(const KEP_ROUTING::NODE& from, const std::vector<KEP_UNFOLDED_INST_PORT>& trace);

  const KEP_DB* m_db;
  const KEP_DB_ROUTING_PRIMITIVE_CACHE* m_routing_primitive_cache;
  const KEP_ROUTING_PRIMITIVE* m_routing_primitive;
  const KEP_VIEW_TYPE_RANK* m_view_type_rank;
  KEP_RG_PRIMITIVES m_primitives;
  std::unique_ptr<SEARCHES> m_searches; // made when first used; no part of a copy
};
