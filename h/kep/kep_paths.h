#pragma once

/// @file
/// Shortest paths in a finished graph, and how far a node reaches.

#include "kep/kep_export.h"
#include "kep/kep_numbered_graph.h"

#include <cstdint>
#include <limits>
#include <vector>

/// Paths go by edges, each one step, real and redundant ones alike. Nodes are numbers of a NUMBERED_GRAPH.
/// Who has a name takes the numbers of all nodes that it stands for: of the plain node and of its hipi twin.
///
/// What is asked is answered in the thread of the caller; any number of threads may ask one graph at once.
/// KEP_CANCELLED ends an answer whose task group was cancelled.
namespace KEP_ROUTING {

/// What paths may use.
struct PATH_RULES {
  std::vector<std::uint32_t> m_avoid; ///< nodes on no path, not as its ends either; in any order
  bool m_only_real = false;           ///< real edges alone
};

/// Whether a search follows edges to their fanouts, or back to their fanins.
enum class PATH_DIRECTION : unsigned char { TO_FANOUTS, TO_FANINS };

/// Goes out from some nodes, one step at a time, and holds the nodes that are exactly so far away:
///
///     KEP_ROUTING::REACH reach(numbers, {node}, KEP_ROUTING::PATH_DIRECTION::TO_FANOUTS);
///     do
///       for (const std::uint32_t reached : reach.get_nodes())
///         ... // which takes reach.get_steps() steps
///     while (reach.step());
///
/// Takes a bit for each node of the graph, and 4 bytes for each node at the distance at hand. One thread at a
/// time may use an object; it must not outlive the graph.
class KEP_EXPORT REACH {
public:
  /// Stands at the nodes themselves, 0 steps away. They may come in any order, and more than once.
  REACH(const NUMBERED_GRAPH& graph, const std::vector<std::uint32_t>& nodes, PATH_DIRECTION direction,
        const PATH_RULES& rules = {});

  /// One step further. False when no node lies there; all stays as it is then. An object whose step was
  /// cancelled can't be used any more.
  bool step();

  /// How many steps away the nodes at hand are.
  std::uint32_t get_steps() const { return m_steps; }
  /// The nodes so many steps away and not fewer, by their numbers; none where it began with none.
  const std::vector<std::uint32_t>& get_nodes() const { return m_nodes; }
  /// How many nodes were reached up to here, those it began with among them.
  std::uint64_t get_num_reached() const { return m_num_reached; }
  /// The node is one of them.
  bool has_reached(std::uint32_t node) const { return (m_reached[node / 64] >> node % 64 & 1) != 0; }

private:
  void reach(std::uint32_t node, std::vector<std::uint32_t>& nodes);

  NUMBERED_GRAPH m_graph;
  PATH_DIRECTION m_direction;
  PATH_RULES m_rules; // what is avoided is sorted
  std::vector<std::uint64_t> m_reached;
  std::vector<std::uint32_t> m_nodes;
  std::uint64_t m_num_reached = 0;
  std::uint32_t m_steps = 0;
};

/// The shortest paths from one set of nodes to another.
struct SHORTEST_PATHS {
  /// So many paths, or more.
  static constexpr std::uint64_t MANY = std::numeric_limits<std::uint64_t>::max();

  /// How many there are: edges side by side make different paths. 0 where there is no path; MANY where the
  /// number doesn't fit.
  std::uint64_t m_num_paths = 0;
  /// Where the first of them begins; NUMBERED_GRAPH::NONE where there is none.
  std::uint32_t m_start = NUMBERED_GRAPH::NONE;
  /// Its edges, from its start on; none where it begins and ends at one node.
  std::vector<NUMBERED_FWD_EDGE> m_edges;

  /// There is a path.
  explicit operator bool() const { return m_num_paths != 0; }
};

/// No limit of steps.
inline constexpr std::uint32_t ANY_NUMBER_OF_STEPS = std::numeric_limits<std::uint32_t>::max();

/// The shortest paths from any of the nodes `from` to any of the nodes `to`, if they have at most so many
/// steps. A node of both is a path of 0 steps. The one that is told is the first: of all starts the one of
/// the lowest number, and at each node the first edge, in the order of iter_all_fanout(), of those that lead
/// on.
///
/// Searches from both ends, so that near nodes are found quickly in a graph of any size. Takes 2 bits for
/// each node of the graph and 4 bytes for each one that it comes to.
KEP_EXPORT SHORTEST_PATHS find_shortest_paths(const NUMBERED_GRAPH& graph,
                                              const std::vector<std::uint32_t>& from,
                                              const std::vector<std::uint32_t>& to,
                                              const PATH_RULES& rules = {},
                                              std::uint32_t max_steps = ANY_NUMBER_OF_STEPS);

} // namespace KEP_ROUTING
