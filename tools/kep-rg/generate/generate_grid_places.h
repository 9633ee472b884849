#pragma once

#include "tools/kep-rg/generate/generate.h"

#include <cstdint>
#include <functional>
#include <string>

/// The kinds of blocks in the top of a fabric of grids, in the order of the alphabet.
enum GENERATE_GRID : std::uint32_t {
  GENERATE_CONNECT_H, ///< between two switch blocks side by side
  GENERATE_CONNECT_V, ///< between two switch blocks one above the other
  GENERATE_DIRECT,    ///< from a logic block to the one above
  GENERATE_LOGIC,
  GENERATE_SWITCHES ///< with a column and a row more than logic blocks
};

inline constexpr std::uint32_t GENERATE_NUM_GRIDS = 5;

/// A block by its kind and place. Logic blocks count from 1; the switch block of the same place is the one
/// to the north-east, the connection blocks lie north and east.
struct GENERATE_GRID_PLACE {
  GENERATE_GRID m_grid;
  std::uint32_t m_x;
  std::uint32_t m_y;

  std::string get_name() const;
};

/// The places of a fabric of so many columns and rows of logic blocks.
class GENERATE_GRID_PLACES {
public:
  GENERATE_GRID_PLACES(std::uint32_t columns, std::uint32_t rows) : m_columns(columns), m_rows(rows) {}

  std::uint32_t get_columns() const { return m_columns; }
  std::uint32_t get_rows() const { return m_rows; }

  bool contains(const GENERATE_GRID_PLACE& place) const;
  std::uint64_t get_num_places(GENERATE_GRID grid) const;
  /// Of a place among those of its grid, column by column.
  std::uint64_t get_index(const GENERATE_GRID_PLACE& place) const;

  void visit(GENERATE_ORDER order, std::uint64_t seed,
             const std::function<void(const GENERATE_GRID_PLACE&)>& visit_place) const;

private:
  struct RANGE {
    std::uint32_t m_first_x, m_last_x, m_first_y, m_last_y;
  };
  RANGE get_range(GENERATE_GRID grid) const;

  std::uint32_t m_columns;
  std::uint32_t m_rows;
};
