#pragma once

#include "kep/detail/kep_place_layout.h"

#include <bit>
#include <cstdint>
#include <vector>

/// The places of inner occurrences that hold nodes, by the numbers of a layout, and back. Place 0 is what
/// stands above the tops.
class KEP_EXPORT KEP_OCCURRENCE_ORDER {
public:
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};

  KEP_OCCURRENCE_ORDER(const KEP_UNFOLDING& unfolding, const KEP_PLACE_LAYOUT& layout);

  /// NONE of an occurrence whose module holds no nodes.
  std::uint32_t get_place(std::uint32_t occurrence) const {
    const BLOCK& block = m_blocks[occurrence / BITS];
    const std::uint64_t bit = std::uint64_t{1} << occurrence % BITS;
    if ((block.m_has_place & bit) == 0) return NONE;
    return m_places[block.m_first + static_cast<unsigned>(std::popcount(block.m_has_place & (bit - 1)))];
  }
  /// NONE of a number that is no place.
  std::uint32_t get_occurrence(std::uint32_t place) const { return m_occurrences[place]; }
  std::uint32_t get_num_places() const { return static_cast<std::uint32_t>(m_occurrences.size()); }
  std::uint64_t get_memory_bytes() const {
    return (m_places.capacity() + m_occurrences.capacity()) * sizeof(std::uint32_t) +
           m_blocks.capacity() * sizeof(BLOCK);
  }

private:
  static constexpr std::uint32_t BITS = 64;
  struct BLOCK {
    std::uint64_t m_has_place = 0; // a bit an occurrence
    std::uint32_t m_first = 0;     // of its places
  };

  std::vector<BLOCK> m_blocks;
  std::vector<std::uint32_t> m_places; // of the occurrences that have one
  std::vector<std::uint32_t> m_occurrences;
};
