#pragma once

#include "kep/detail/kep_mark_block.h"
#include "kep/detail/kep_place_layout.h"
#include "kep/detail/kep_table.h"

#include <cstdint>
#include <utility>

/// The places of inner occurrences that hold nodes, by the numbers of a layout, and back. Place 0 is what
/// stands above the tops.
class KEP_EXPORT KEP_OCCURRENCE_PLACES {
public:
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};

  struct TABLES {
    KEP_TABLE<KEP_MARK_BLOCK> m_marks;      ///< of occurrences that have a place
    KEP_TABLE<std::uint32_t> m_places;      ///< of these
    KEP_TABLE<std::uint32_t> m_occurrences; ///< by place
  };

  KEP_OCCURRENCE_PLACES(const KEP_UNFOLDING& unfolding, const KEP_PLACE_LAYOUT& layout);
  explicit KEP_OCCURRENCE_PLACES(TABLES tables) : m_tables(std::move(tables)) {}

  /// NONE of an occurrence whose module holds no nodes.
  std::uint32_t get_place(std::uint32_t occurrence) const {
    const KEP_MARK_BLOCK& block = m_tables.m_marks[occurrence / KEP_MARK_BLOCK::NUM_BITS];
    return block.has(occurrence) ? m_tables.m_places[block.get_rank(occurrence)] : NONE;
  }
  /// NONE of a number that is no place.
  std::uint32_t get_occurrence(std::uint32_t place) const { return m_tables.m_occurrences[place]; }
  std::uint32_t get_num_places() const { return static_cast<std::uint32_t>(m_tables.m_occurrences.size()); }
  const TABLES& get_tables() const { return m_tables; }
  std::uint64_t get_memory_bytes() const {
    return m_tables.m_marks.get_memory_bytes() + m_tables.m_places.get_memory_bytes() +
           m_tables.m_occurrences.get_memory_bytes();
  }

private:
  TABLES m_tables;
};
