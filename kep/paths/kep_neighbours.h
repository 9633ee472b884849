#pragma once

#include "kep/kep_paths.h"

#include <cstdint>

namespace KEP_PATHS {

using KEP_ROUTING::NUMBERED_FWD_EDGE;
using KEP_ROUTING::NUMBERED_GRAPH;
using KEP_ROUTING::NUMBERED_REV_EDGE;

constexpr std::uint32_t NODES_PER_LOOK = 1024; // whether the work was cancelled

/// The fanouts that a path may use.
inline NUMBERED_GRAPH::RANGE<NUMBERED_FWD_EDGE> iter_fanout(const NUMBERED_GRAPH& graph, std::uint32_t node,
                                                            bool only_real) {
  return only_real ? graph.iter_real_fanout(node) : graph.iter_all_fanout(node);
}

/// The class of an edge is known at its source alone, which is searched only if it has edges of both.
inline bool is_real(const NUMBERED_GRAPH& graph, const NUMBERED_REV_EDGE& edge) {
  const std::uint32_t fanin = edge.get_fanin();
  const unsigned short num_real = graph.get_num_real_edges(fanin);
  return num_real == graph.get_num_edges(fanin) || (num_real != 0 && !edge.find_fwd_edge().is_redundant());
}

/// Calls `visit` with each node that lies a step from this one, once for each edge.
template <class VISIT>
void visit_neighbours(const NUMBERED_GRAPH& graph, std::uint32_t node, KEP_ROUTING::PATH_DIRECTION direction,
                      bool only_real, const VISIT& visit) {
  if (direction == KEP_ROUTING::PATH_DIRECTION::TO_FANOUTS) {
    for (const NUMBERED_FWD_EDGE& edge : iter_fanout(graph, node, only_real))
      if (edge.get_fanout() != NUMBERED_GRAPH::NONE) visit(edge.get_fanout());
  } else {
    for (const NUMBERED_REV_EDGE& edge : graph.iter_all_fanin(node))
      if (edge.get_fanin() != NUMBERED_GRAPH::NONE && (!only_real || is_real(graph, edge)))
        visit(edge.get_fanin());
  }
}

} // namespace KEP_PATHS
