#pragma once

#include "kep/detail/kep_mark_block.h"
#include "kep/detail/kep_place_layout.h"

#include <cstdint>
#include <vector>

/// The places of inner occurrences that hold nodes, by the numbers of a layout, and back. Place 0 is what
/// stands above the tops.
class KEP_EXPORT KEP_OCCURRENCE_PLACES {
public:
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};

  KEP_OCCURRENCE_PLACES(const KEP_UNFOLDING& unfolding, const KEP_PLACE_LAYOUT& layout);

  /// NONE of an occurrence whose module holds no nodes.
  std::uint32_t get_place(std::uint32_t occurrence) const {
    const KEP_MARK_BLOCK& block = m_blocks[occurrence / KEP_MARK_BLOCK::NUM_BITS];
    return block.has(occurrence) ? m_places[block.get_rank(occurrence)] : NONE;
  }
  /// NONE of a number that is no place.
  std::uint32_t get_occurrence(std::uint32_t place) const { return m_occurrences[place]; }
  std::uint32_t get_num_places() const { return static_cast<std::uint32_t>(m_occurrences.size()); }
  std::uint64_t get_memory_bytes() const {
    return (m_places.capacity() + m_occurrences.capacity()) * sizeof(std::uint32_t) +
           m_blocks.capacity() * sizeof(KEP_MARK_BLOCK);
  }

private:
  std::vector<KEP_MARK_BLOCK> m_blocks; // marks occurrences that have a place
  std::vector<std::uint32_t> m_places;  // of these
  std::vector<std::uint32_t> m_occurrences;
};
