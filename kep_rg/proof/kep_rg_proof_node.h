#pragma once

#include "kep/detail/kep_unfolded_set.h"
#include "kep/kep_routing_graph.h"
#include "kep_rg/proof/kep_rg_proof_groups.h"
#include "kep_rg/proof/kep_rg_proof_redundancy.h"
#include "kep_rg/proof/kep_rg_proof_steps.h"

#include <compare>
#include <cstdint>
#include <vector>

/// Works out what one node after the other should drive, by the description. One object serves one thread.
class KEP_RG_PROOF_NODE {
public:
  /// An edge of the node at hand, in numbers: places as an inner occurrence, an inst port and a bit for a
  /// hipi node; a boundary node as its port's number above the tops.
  struct EDGE {
    std::uint64_t m_target;
    std::uint64_t m_mux_input; // 0 without one
    bool m_is_redundant;
    auto operator<=>(const EDGE&) const = default;
  };

  /// Follows connections by groups if they are given, else from net to net, so many of them at most. All must
  /// outlive the object.
  KEP_RG_PROOF_NODE(const KEP_RG_PROOF_STEPS& steps, const KEP_RG_PROOF_REDUNDANCY& redundancy,
                    const KEP_RG_PROOF_GROUPS* groups, std::size_t max_nets)
      : m_steps(steps), m_facts(steps.get_facts()), m_nodes(steps.get_nodes()), m_groups(groups),
        m_redundancy(redundancy), m_max_nets(max_nets), m_db(steps.get_facts().get_db()) {}

  /// The node of the graph should stand.
  bool should_stand(const KEP_ROUTING::NODE& node) const;
  /// Calls `visit(net)` for each net from which groups are followed for the edges of the node.
  template <class VISIT>
  void visit_beginnings(const KEP_ROUTING::NODE& node, VISIT visit) {
    START start;
    if (!find_start(node, start)) return;
    m_reached.clear();
    begin(start, false, m_reached);
    if (m_in_order) return;
    for (const BEGINNING& beginning : m_beginnings)
      visit(beginning.m_step.m_net);
  }
  /// The edges that a node which should stand should have, in no order; of their targets some that should
  /// stand may be missing in the graph. Valid until the next call. Null for a connection of so many nets that
  /// it is to be followed by groups, where there are none.
  std::vector<EDGE>* find_edges(const KEP_ROUTING::NODE& node);

  static EDGE make_edge(const KEP_ROUTING::FWD_EDGE& edge, bool is_redundant);
  /// The node and the uip behind such a number; null and empty if there is none.
  KEP_ROUTING::NODE get_target(const EDGE& edge) const;
  KEP_UNFOLDED_INST_PORT get_mux_input(const EDGE& edge) const { return get_uip(edge.m_mux_input); }

private:
  using STEP = KEP_RG_PROOF_STEPS::STEP;
  using MODE = KEP_RG_PROOF_STEPS::MODE;
  using ORIGIN = KEP_RG_PROOF_STEPS::ORIGIN;
  using REACHED = KEP_RG_PROOF_STEPS::REACHED;

  /// Where the connection of a node begins.
  struct START {
    KEP_UNFOLDED_INST_PORT m_uip; // empty for a boundary node
    KEP_UNFOLDED_PORT m_port;     // the port inside
  };
  /// A net from which the connection is followed.
  struct BEGINNING {
    STEP m_step;
    ORIGIN m_origin;
    bool m_has_origin;
    MODE m_mode;
  };

  bool find_start(const KEP_ROUTING::NODE& node, START& start) const;
  void begin(const START& start, bool through_tunnels, REACHED& reached);
  bool follow(const START& start, bool through_tunnels, REACHED& reached);
  bool begin_behind_muxes(const START& start, const MODE& mode, REACHED& reached);
  void begin_at_port(const START& start, bool through_tunnels);
  /// What became of an attempt to follow a connection in any order.
  enum class ATTEMPT { DONE, ORDER_MATTERS, TOO_LONG };
  ATTEMPT follow_groups(REACHED& reached);
  KEP_UNFOLDED_NET find_group(const KEP_UNFOLDED_NET& net) const {
    return m_groups ? m_groups->find_group(net) : net;
  }
  void follow_nets(REACHED& reached);
  void add_edges(const START& start);
  void add_edges_to(const START& start, const KEP_UNFOLDED_INST_PORT& end, bool is_from_tunnel);
  void add_edge(const KEP_UNFOLDED_INST_PORT& target, const KEP_UNFOLDED_INST_PORT& mux_input,
                bool is_redundant, bool is_inserted);
  KEP_UNFOLDED_INST_PORT get_uip(std::uint64_t place) const;

  const KEP_RG_PROOF_STEPS& m_steps;
  const KEP_RG_PROOF_FACTS& m_facts;
  const KEP_RG_PROOF_NODES& m_nodes;
  const KEP_RG_PROOF_GROUPS* m_groups;
  const KEP_RG_PROOF_REDUNDANCY& m_redundancy;
  std::size_t m_max_nets;
  const KEP_DB* m_db;
  std::vector<EDGE> m_edges;
  REACHED m_reached;
  REACHED m_behind_tunnel;
  std::vector<BEGINNING> m_beginnings;
  bool m_in_order = false; // groups would not do for these beginnings
  KEP_UNFOLDED_SET<KEP_UNFOLDED_NET> m_visited;
};
