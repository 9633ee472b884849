#include "kep_rg/checks/kep_rg_rules.h"

#include <algorithm>
#include <limits>

using KEP_ROUTING::FWD_EDGE;
using KEP_ROUTING::NODE;

namespace KEP_RG_RULES {

REAL_FANOUTS::REAL_FANOUTS(const NODE& node) {
  for (const FWD_EDGE& edge : node.iter_real_fanout())
    m_places.push_back(get_place(edge));
  std::sort(m_places.begin(), m_places.end());
}

bool REAL_FANOUTS::has_doubled() const {
  return std::adjacent_find(m_places.begin(), m_places.end()) != m_places.end();
}

int REAL_FANOUTS::count(const FWD_EDGE& edge) const {
  const auto [first, last] = std::equal_range(m_places.begin(), m_places.end(), get_place(edge));
  return static_cast<int>(last - first);
}

std::uint32_t REAL_FANOUTS::get_place(const FWD_EDGE& edge) {
  const NODE fanout = edge.get_fanout();
  return fanout ? fanout.m_graph->get_index(fanout) : std::numeric_limits<std::uint32_t>::max();
}

bool are_enough_redundant(std::uint64_t num_real, std::uint64_t num_redundant) {
  constexpr double LEAST_SHARE = 0.05;
  const auto real = static_cast<double>(num_real);
  const auto redundant = static_cast<double>(num_redundant);
  return redundant / (redundant + real) > LEAST_SHARE; // without any edge there is no share
}

HIPI check_hipi(const NODE& node) {
  bool has_hipi_fanin = false;
  const auto fanins = node.iter_all_fanin();
  for (auto fanin = fanins.begin(); fanin != fanins.end(); ++fanin) {
    const NODE from_node = (*fanin).get_fanin();
    if (!from_node.is_hipi()) continue;
    has_hipi_fanin = true;
    if (fanin != fanins.begin()) return HIPI::NOT_FIRST;
    if (node.get_hipi_node() != from_node) return HIPI::NOT_NAMED;
  }
  return has_hipi_fanin || !node.get_hipi_node() ? HIPI::HOLDS : HIPI::NOT_FED;
}

} // namespace KEP_RG_RULES
