#include "kep/graph/kep_occurrence_places.h"

KEP_OCCURRENCE_PLACES::KEP_OCCURRENCE_PLACES(const KEP_UNFOLDING& unfolding, const KEP_PLACE_LAYOUT& layout)
    : m_blocks(unfolding.size() / KEP_MARK_BLOCK::NUM_BITS + 1),
      m_occurrences(layout.get_num_places(), NONE) {
  for (std::uint32_t i = 0; i != unfolding.size(); ++i) {
    KEP_MARK_BLOCK& block = m_blocks[i / KEP_MARK_BLOCK::NUM_BITS];
    if (i % KEP_MARK_BLOCK::NUM_BITS == 0) block.m_num_before = static_cast<std::uint32_t>(m_places.size());
    if (i != KEP_UNFOLDING::ABOVE_TOP && !layout.holds_nodes(*unfolding.get(i).m_module)) continue;
    const std::uint32_t place = layout.get_first_place(i);
    block.set(i);
    m_places.push_back(place);
    m_occurrences[place] = i;
  }
  m_places.shrink_to_fit();
}
