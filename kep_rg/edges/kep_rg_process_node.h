#pragma once

#include "kep_rg/edges/kep_rg_plain_walk.h"
#include "kep_rg/kep_rg_build.h"

#include <cstddef>
#include <oneapi/tbb/mutex.h>
#include <vector>

/// The body of the parallel loop of the edge phase: finds the fanout of each node of a range and hands it to
/// the edge builder. It holds pointers alone and is shared by all workers; what a range works with lives in
/// its WORK.
class KEP_RG_EXPORT KEP_PROCESS_NODE_FOR_ADD_EDGES {
public:
  using FANOUT = KEP_ROUTING_BUILDER_EDGE_BUILDER::FANOUT;
  using FANOUTS = std::vector<FANOUT>;
  using NODE_RANGE = KEP_ROUTING_BUILDER_GRAPH::NODE_RANGE;
  using STATS = tbb::enumerable_thread_specific<KEP_RG_EDGE_CREATION_STATS,
                                                tbb::cache_aligned_allocator<KEP_RG_EDGE_CREATION_STATS>>;

  /// What one range of nodes works with. The lists keep their capacity from node to node.
  struct WORK {
    FANOUTS m_fanouts;
    FANOUTS m_redundant_fanouts;
    KEP_RG_BUILD::CDRN_CACHE* m_cache;
    KEP_RG_EDGE_CREATION_STATS* m_stats; // counts of this range
    KEP_RG_PLAIN_WALK m_plain_walk;
    KEP_LEAF_RESULTS m_results;
    KEP_LEAF_RESULTS m_tunnel_results;
    std::vector<KEP_UNFOLDED_INST_PORT> m_mux_outputs;
    bool m_asked_for_nodes = false;  // the search at hand ended where nodes stand
    std::uint32_t m_first_node = 0;  // where the range begins
    std::uint32_t m_first_place = 0; // likewise, as the number of its place
    std::uint32_t m_last_place = 0;  // and where it ends
  };

  KEP_PROCESS_NODE_FOR_ADD_EDGES(KEP_RG_BUILD* ftd,
                                 const KEP_LEAF_SEARCH<KEP_RG_INSTANCE_IS_PRIMITIVE>* build_search,
                                 const KEP_LEAF_SEARCH<KEP_RG_TRACE_PREDICATE>* trace_search, STATS* stats,
                                 tbb::mutex* mutex, const KEP_RG_PLAIN_NETS* plain_nets = nullptr)
      : m_ftd(ftd), m_build_search(build_search), m_trace_search(trace_search), m_stats(stats),
        m_mutex(mutex), m_plain_nets(plain_nets) {}

  void operator()(const NODE_RANGE& range) const;

  /// One node: exactly one of the two is given. A node of the finished graph is traced for debugging (dbg)
  /// and its fanouts are left in the lists.
  void process_one_node(KEP_ROUTING_BUILDER_NODE* start_node, const KEP_ROUTING::NODE* dbg_start_node,
                        WORK& work) const;

private:
  /// The point from which a node's connection is searched.
  struct START {
    const KEP_ROUTING_BUILDER_NODE* m_node = nullptr; // null when a finished node is debugged
    KEP_UNFOLDED_INST_PORT m_uip;                     // empty for a boundary node
    KEP_UNFOLDED_PORT m_u_port;
    KEP_PORT* m_port = nullptr;
    KEP_MODULE* m_master = nullptr;
    KEP_MODULE* m_parent_module = nullptr; // null for a boundary node
    bool m_is_boundary = false;
    bool m_is_inserted = false;
  };

  void note_ends(const KEP_ROUTING_BUILDER_NODE& first, std::uint32_t count, WORK& work) const;
  void check_start(const KEP_ROUTING_BUILDER_NODE* start_node, const KEP_ROUTING::NODE* dbg_start_node) const;
  bool process_plain_node(KEP_ROUTING_BUILDER_NODE* node, WORK& work) const;
  bool was_answered_before(const KEP_ROUTING_BUILDER_NODE* node, const WORK& work) const;
  void connect_hipi_twin(KEP_ROUTING_BUILDER_NODE* start_node, WORK& work,
                         KEP_RG_BUILD::REP_NODE_ARGS& row) const;
  template <class NODE>
  START find_start(const NODE& node) const;
  void compute_fanout(KEP_ROUTING_BUILDER_NODE* start_node, const KEP_ROUTING::NODE* dbg_start_node,
                      WORK& work) const;
  void search(const START& start, WORK& work) const;
  void get_leaf_fanout(const START& start, WORK& work, KEP_LEAF_RESULTS& results, bool tunnel_pass) const;
  bool get_mux_fanout(const START& start, KEP_LEAF_RESULTS& results, const KEP_GET_LEAF_PARAMS& params) const;
  void fill_fanouts(const START& start, WORK& work) const;
  void fill_fanout(const START& start, const KEP_UNFOLDED_INST_PORT& leaf, bool tunnel_source,
                   WORK& work) const;
  void add_fanout(FANOUTS& list, const KEP_UNFOLDED_INST_PORT& mux_input,
                  const KEP_UNFOLDED_INST_PORT& target, bool is_inserted, WORK& work) const;
  void add_boundary_fanout(FANOUTS& list, const KEP_UNFOLDED_PORT& u_port, WORK& work) const;
  template <class POINT>
  void note_missing(const POINT& target, WORK& work) const;
  KEP_ROUTING_PRIMITIVE_TUNNEL get_tunnel_type(const KEP_PORT* port) const;

  /// Finding nothing is always a correct answer: the node is then searched.
  bool find_cached_fanout(const START& start, WORK& work) const;
  /// Keeps an answer only if a search from every like place finds the same.
  void store_cached_fanout(const START& start, WORK& work) const;
  bool may_come_again(const START& start, const WORK& work) const;
  bool depends_on_place(const START& start, const WORK& work) const;

  void store_row(const KEP_RG_BUILD::REP_NODE_ARGS& row) const;
  KEP_RG_EDGE_CREATION_STATS& get_own_stats() const;
  void print_progress(std::size_t count) const;

  KEP_RG_BUILD* m_ftd; // the builder
  const KEP_LEAF_SEARCH<KEP_RG_INSTANCE_IS_PRIMITIVE>* m_build_search;
  const KEP_LEAF_SEARCH<KEP_RG_TRACE_PREDICATE>* m_trace_search;
  STATS* m_stats;
  tbb::mutex* m_mutex;
  const KEP_RG_PLAIN_NETS* m_plain_nets; // null: every connection is searched
};
