#include "kep/graph/kep_occurrence_order.h"

KEP_OCCURRENCE_ORDER::KEP_OCCURRENCE_ORDER(const KEP_UNFOLDING& unfolding, const KEP_PLACE_LAYOUT& layout)
    : m_blocks(unfolding.size() / BITS + 1), m_occurrences(layout.get_num_places(), NONE) {
  for (std::uint32_t i = 0; i != unfolding.size(); ++i) {
    BLOCK& block = m_blocks[i / BITS];
    if (i % BITS == 0) block.m_first = static_cast<std::uint32_t>(m_places.size());
    if (i != KEP_UNFOLDING::ABOVE_TOP && !layout.holds_nodes(*unfolding.get(i).m_module)) continue;
    const std::uint32_t place = layout.get_first_place(i);
    block.m_has_place |= std::uint64_t{1} << i % BITS;
    m_places.push_back(place);
    m_occurrences[place] = i;
  }
  m_places.shrink_to_fit();
}
