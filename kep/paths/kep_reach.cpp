#include "kep/kep_cancelled.h"
#include "kep/kep_paths.h"
#include "kep/paths/kep_neighbours.h"

#include <algorithm>

namespace KEP_ROUTING {

REACH::REACH(const NUMBERED_GRAPH& graph, const std::vector<std::uint32_t>& nodes, PATH_DIRECTION direction,
             const PATH_RULES& rules)
    : m_graph(graph), m_direction(direction), m_rules(rules),
      m_reached((std::size_t{graph.get_num_nodes()} + 63) / 64) {
  std::sort(m_rules.m_avoid.begin(), m_rules.m_avoid.end());
  for (const std::uint32_t node : nodes)
    reach(node, m_nodes);
  std::sort(m_nodes.begin(), m_nodes.end());
}

void REACH::reach(std::uint32_t node, std::vector<std::uint32_t>& nodes) {
  std::uint64_t& word = m_reached[node / 64];
  const std::uint64_t bit = std::uint64_t{1} << node % 64;
  if ((word & bit) != 0) return;
  if (std::binary_search(m_rules.m_avoid.begin(), m_rules.m_avoid.end(), node)) return;
  word |= bit;
  nodes.push_back(node);
  ++m_num_reached;
}

bool REACH::step() {
  std::vector<std::uint32_t> next;
  std::size_t num_done = 0;
  for (const std::uint32_t node : m_nodes) {
    if (num_done++ % KEP_PATHS::NODES_PER_LOOK == 0) kep_throw_if_cancelled();
    KEP_PATHS::visit_neighbours(m_graph, node, m_direction, m_rules.m_only_real,
                                [&](std::uint32_t neighbour) { reach(neighbour, next); });
  }
  if (next.empty()) return false;
  std::sort(next.begin(), next.end());
  m_nodes = std::move(next);
  ++m_steps;
  return true;
}

} // namespace KEP_ROUTING
