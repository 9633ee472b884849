#include "kep/detail/kep_place_layout.h"

#include "kep/graph_building/kep_sibling_layout.h"
#include "kep/kep_db.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace {

// Gaps of nested grids multiply. A device with more numbers than this for each place goes without.
constexpr std::uint64_t MAX_STRETCH = 3;
constexpr std::uint64_t FEW_PLACES = 4096;

constexpr std::uint64_t MAX_PLACES = std::numeric_limits<std::int32_t>::max();

} // namespace

KEP_PLACE_LAYOUT::KEP_PLACE_LAYOUT(const KEP_UNFOLDING& unfolding, std::vector<bool> holds_nodes)
    : m_unfolding(&unfolding), m_holds_nodes(std::move(holds_nodes)),
      m_num_occurrences(unfolding.get_modules().size()) {
  std::uint64_t num_placed = 0;
  for (std::uint32_t i = 1; i < unfolding.size(); ++i) {
    const unsigned module = unfolding.get(i).m_module;
    ++m_num_occurrences[module];
    num_placed += m_holds_nodes[module];
  }
  lay_out(true);
  if (m_num_places > std::min(num_placed * MAX_STRETCH + FEW_PLACES, MAX_PLACES)) lay_out(false);
  if (m_num_places > MAX_PLACES)
    throw KEP_DB_ERROR(
        fmt::format("the routing graph has nodes in {} places, more than the {} that it can have",
                    m_num_places, MAX_PLACES));
  find_first_places();
  std::vector<std::uint32_t>().swap(m_num_occurrences);
}

/// Number 0 is the place of boundary nodes.
void KEP_PLACE_LAYOUT::lay_out(bool with_gaps) {
  m_modules.assign(m_unfolding->get_modules().size(), {});
  m_offsets.clear();
  m_top_offsets.clear();
  m_num_places = 1;
  for (const KEP_SLOT& slot : m_unfolding->get_top_slots()) {
    m_top_offsets.push_back(static_cast<std::uint32_t>(m_num_places));
    m_num_places += lay_out_module(*slot.m_module, with_gaps);
  }
}

/// Sizes that don't fit 32 bits come out in the end; offsets then mean nothing.
std::uint64_t KEP_PLACE_LAYOUT::lay_out_module(const KEP_MODULE& module, bool with_gaps) {
  OF_MODULE& own = m_modules[module.get_number()];
  if (own.m_extent != UNKNOWN) return own.m_extent;
  std::vector<KEP_SIBLING> siblings;
  for (std::uint32_t i = 0; i != module.get_num_slots(); ++i) {
    const KEP_SLOT& slot = module.get_slots()[i];
    if (slot.m_inner_rank == KEP_SLOT::NOT_INNER) continue;
    if (const std::uint64_t extent = lay_out_module(*slot.m_module, with_gaps))
      siblings.push_back({i, extent});
  }
  std::uint64_t size = m_holds_nodes[module.get_number()] ? 1 : 0;
  if (!siblings.empty()) {
    const KEP_SIBLING_LAYOUT layout =
        KEP_SIBLING_LAYOUT::find(module, siblings, m_num_occurrences[module.get_number()], with_gaps);
    own.m_first_slot = static_cast<std::uint32_t>(m_offsets.size());
    m_offsets.resize(m_offsets.size() + module.get_num_slots());
    for (std::size_t i = 0; i != siblings.size(); ++i)
      m_offsets[own.m_first_slot + siblings[i].m_slot] =
          static_cast<std::uint32_t>(size + layout.m_offsets[i]);
    size += layout.m_size;
  }
  return own.m_extent = size;
}

/// Parents stand before their children.
void KEP_PLACE_LAYOUT::find_first_places() {
  m_first_places.resize(m_unfolding->size());
  for (std::uint32_t i = 1; i < m_unfolding->size(); ++i) {
    const KEP_OCCURRENCE& own = m_unfolding->get(i);
    if (get_extent(*m_unfolding->get_module(own)) == 0) continue;
    const KEP_MODULE* parent = m_unfolding->get_module(own.m_parent);
    m_first_places[i] =
        m_first_places[own.m_parent] + (parent ? get_offset(*parent, own.m_slot) : m_top_offsets[own.m_slot]);
  }
}
