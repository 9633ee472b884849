#include "kep/kep_cancelled.h"
#include "kep/kep_paths.h"
#include "kep/paths/kep_neighbours.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace KEP_ROUTING {
namespace {

using LEVEL = std::vector<std::uint32_t>; // nodes equally far from an end, by number

/// A search from one end, which keeps where it was.
class END {
public:
  END(const NUMBERED_GRAPH& graph, const LEVEL& nodes, PATH_DIRECTION direction, const PATH_RULES& rules)
      : m_reach(graph, nodes, direction, rules), m_levels{m_reach.get_nodes()} {}

  bool step() {
    if (!m_reach.step()) return false;
    m_levels.push_back(m_reach.get_nodes());
    return true;
  }
  std::uint32_t get_steps() const { return m_reach.get_steps(); }
  /// By the steps from this end.
  const std::vector<LEVEL>& get_levels() const { return m_levels; }
  /// The nodes at hand that the other end came to, too.
  LEVEL find_common(const END& other) const {
    LEVEL common;
    std::copy_if(m_levels.back().begin(), m_levels.back().end(), std::back_inserter(common),
                 [&other](std::uint32_t node) { return other.m_reach.has_reached(node); });
    return common;
  }

private:
  REACH m_reach;
  std::vector<LEVEL> m_levels;
};

/// All nodes on shortest paths, by the steps from the start.
class PATH_LEVELS {
public:
  PATH_LEVELS(const NUMBERED_GRAPH& graph, bool only_real) : m_graph(graph), m_only_real(only_real) {}

  /// Goes from both ends till they meet; false if they don't within so many steps. Of two ends that have not
  /// met, a step brings one to nodes that the other one came to with its last step and not before: so all
  /// shortest paths go through these nodes.
  bool find(END from, END to, std::uint32_t max_steps) {
    LEVEL meeting = from.find_common(to);
    while (meeting.empty()) {
      if (max_steps - from.get_steps() == to.get_steps()) return false;
      const bool is_from = from.get_levels().back().size() <= to.get_levels().back().size();
      if (!(is_from ? from : to).step()) return false;
      meeting = is_from ? from.find_common(to) : to.find_common(from);
    }
    m_levels.resize(from.get_levels().size() + to.get_levels().size() - 1);
    m_levels[from.get_steps()] = std::move(meeting);
    for (std::size_t i = from.get_steps(); i != 0; --i)
      m_levels[i - 1] = find_next(m_levels[i], PATH_DIRECTION::TO_FANINS, from.get_levels()[i - 1]);
    for (std::size_t i = from.get_steps(); i + 1 != m_levels.size(); ++i)
      m_levels[i + 1] =
          find_next(m_levels[i], PATH_DIRECTION::TO_FANOUTS, to.get_levels()[m_levels.size() - 2 - i]);
    return true;
  }

  std::uint64_t count() const {
    std::vector<std::uint64_t> counts(m_levels.back().size(), 1); // of ways to the end, by node of a level
    for (std::size_t i = m_levels.size() - 1; i != 0; --i)
      counts = count_from(m_levels[i - 1], m_levels[i], counts);
    std::uint64_t sum = 0;
    for (const std::uint64_t count : counts)
      add(sum, count);
    return sum;
  }

  std::vector<NUMBERED_FWD_EDGE> find_first() const {
    std::vector<NUMBERED_FWD_EDGE> edges;
    edges.reserve(m_levels.size() - 1);
    std::uint32_t node = get_start();
    for (std::size_t i = 1; i != m_levels.size(); ++i) {
      const auto fanouts = KEP_PATHS::iter_fanout(m_graph, node, m_only_real);
      edges.push_back(*std::find_if(fanouts.begin(), fanouts.end(), [&](const NUMBERED_FWD_EDGE& edge) {
        return std::binary_search(m_levels[i].begin(), m_levels[i].end(), edge.get_fanout());
      }));
      node = edges.back().get_fanout();
    }
    return edges;
  }
  std::uint32_t get_start() const { return m_levels.front().front(); }

private:
  static void add(std::uint64_t& sum, std::uint64_t count) {
    sum = count > SHORTEST_PATHS::MANY - sum ? SHORTEST_PATHS::MANY : sum + count;
  }

  template <class VISIT>
  void visit_neighbours(const LEVEL& level, PATH_DIRECTION direction, const VISIT& visit) const {
    for (std::size_t i = 0; i != level.size(); ++i) {
      if (i % KEP_PATHS::NODES_PER_LOOK == 0) kep_throw_if_cancelled();
      KEP_PATHS::visit_neighbours(m_graph, level[i], direction, m_only_real,
                                  [&visit, i](std::uint32_t neighbour) { visit(i, neighbour); });
    }
  }

  /// Those of `candidates` that lie a step from a node of the level.
  LEVEL find_next(const LEVEL& level, PATH_DIRECTION direction, const LEVEL& candidates) const {
    LEVEL neighbours;
    visit_neighbours(level, direction,
                     [&neighbours](std::size_t, std::uint32_t node) { neighbours.push_back(node); });
    std::sort(neighbours.begin(), neighbours.end());
    neighbours.erase(std::unique(neighbours.begin(), neighbours.end()), neighbours.end());
    LEVEL next;
    std::set_intersection(neighbours.begin(), neighbours.end(), candidates.begin(), candidates.end(),
                          std::back_inserter(next));
    return next;
  }

  std::vector<std::uint64_t> count_from(const LEVEL& level, const LEVEL& next,
                                        const std::vector<std::uint64_t>& counts) const {
    std::vector<std::uint64_t> sums(level.size());
    visit_neighbours(level, PATH_DIRECTION::TO_FANOUTS, [&](std::size_t at, std::uint32_t node) {
      const auto found = std::lower_bound(next.begin(), next.end(), node);
      if (found != next.end() && *found == node)
        add(sums[at], counts[static_cast<std::size_t>(found - next.begin())]);
    });
    return sums;
  }

  NUMBERED_GRAPH m_graph;
  bool m_only_real;
  std::vector<LEVEL> m_levels;
};

} // namespace

SHORTEST_PATHS find_shortest_paths(const NUMBERED_GRAPH& graph, const std::vector<std::uint32_t>& from,
                                   const std::vector<std::uint32_t>& to, const PATH_RULES& rules,
                                   std::uint32_t max_steps) {
  PATH_LEVELS levels(graph, rules.m_only_real);
  if (!levels.find(END(graph, from, PATH_DIRECTION::TO_FANOUTS, rules),
                   END(graph, to, PATH_DIRECTION::TO_FANINS, rules), max_steps))
    return {};
  return {levels.count(), levels.get_start(), levels.find_first()};
}

} // namespace KEP_ROUTING
