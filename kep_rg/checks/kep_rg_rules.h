#pragma once

#include "kep/kep_routing_graph.h"

#include <boost/container/small_vector.hpp>

#include <cstdint>

/// The rules that a finished graph has to keep, node by node: what the post checks tell of and what is
/// gathered as findings.
namespace KEP_RG_RULES {

/// Some edge is redundant, and not alone: only there two real edges to one fanout are against the rule.
inline bool has_redundant_edge_beside_others(const KEP_ROUTING::NODE& node) {
  const unsigned num_edges = node.get_num_edges();
  return num_edges >= 2 && node.get_num_real_edges() < num_edges;
}

/// The real fanouts of one node.
class REAL_FANOUTS {
public:
  explicit REAL_FANOUTS(const KEP_ROUTING::NODE& node);

  /// Two or more edges lead to the same one.
  bool has_doubled() const;
  /// How many lead to the fanout of an edge of the node.
  int count(const KEP_ROUTING::FWD_EDGE& edge) const;
  /// The place of a fanout in the graph; of none, in a damaged graph, a number beyond all places.
  static std::uint32_t get_place(const KEP_ROUTING::FWD_EDGE& edge);

private:
  boost::container::small_vector<std::uint32_t, 64> m_places; // sorted
};

/// More than a twentieth of all edges are redundant.
bool are_enough_redundant(std::uint64_t num_real, std::uint64_t num_redundant);

/// How a node fares with its hipi node.
enum class HIPI {
  HOLDS,
  NOT_FIRST, ///< a hipi fanin stands behind the first place
  NOT_NAMED, ///< the first fanin is a hipi node, and it isn't the one that get_hipi_node() names
  NOT_FED,   ///< get_hipi_node() names a node, and no fanin is a hipi node
};
HIPI check_hipi(const KEP_ROUTING::NODE& node);

} // namespace KEP_RG_RULES
