#include "kep/graph/kep_occurrence_places.h"

#include <vector>

KEP_OCCURRENCE_PLACES::KEP_OCCURRENCE_PLACES(const KEP_UNFOLDING& unfolding, const KEP_PLACE_LAYOUT& layout) {
  std::vector<KEP_MARK_BLOCK> marks(unfolding.size() / KEP_MARK_BLOCK::NUM_BITS + 1);
  std::vector<std::uint32_t> places;
  std::vector<std::uint32_t> occurrences(layout.get_num_places(), NONE);
  for (std::uint32_t i = 0; i != unfolding.size(); ++i) {
    KEP_MARK_BLOCK& block = marks[i / KEP_MARK_BLOCK::NUM_BITS];
    if (i % KEP_MARK_BLOCK::NUM_BITS == 0) block.m_num_before = static_cast<std::uint32_t>(places.size());
    if (i != KEP_UNFOLDING::ABOVE_TOP && !layout.holds_nodes(*unfolding.get_module(i))) continue;
    const std::uint32_t place = layout.get_first_place(i);
    block.set(i);
    places.push_back(place);
    occurrences[place] = i;
  }
  if (unfolding.size() % KEP_MARK_BLOCK::NUM_BITS == 0) // a block of no occurrence stands behind all
    marks.back().m_num_before = static_cast<std::uint32_t>(places.size());
  places.shrink_to_fit();
  m_tables = {std::move(marks), std::move(places), std::move(occurrences)};
}
