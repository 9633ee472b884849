#pragma once

#include "kep/graph_building/kep_sibling_layout.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Siblings on a grid, by the numbers in their names.
class KEP_SIBLING_GRID {
public:
  KEP_SIBLING_GRID(const KEP_MODULE& module, const std::vector<KEP_SIBLING>& siblings);

  /// Which numbers of a name tell the cell: so many of the first ones, or of the last ones.
  struct AXES {
    std::size_t m_num_axes;
    bool m_takes_last;
  };
  /// Every way that is worth a try.
  std::vector<AXES> list_axes() const;
  /// Puts the siblings on the grid of these axes; those whose names have too few numbers stand behind it.
  /// False if there are too many cells to number them.
  bool choose(const AXES& axes);

  // Of the axes that were chosen.
  /// All cells have one size. None, where that would take far more numbers than there are places.
  std::optional<KEP_SIBLING_LAYOUT> lay_out_with_gaps() const;
  /// Cell after cell, in each by kind.
  KEP_SIBLING_LAYOUT lay_out_without_gaps() const;

private:
  struct NAME {
    std::uint32_t m_text = 0; // what stands around the numbers
    std::vector<std::uint32_t> m_numbers;
  };
  using KIND = std::pair<std::uint32_t, std::vector<std::uint32_t>>; // a text, and numbers that tell no cell
  struct PLACED {
    std::uint32_t m_sibling;
    std::uint32_t m_kind;
    std::uint64_t m_cell;
  };
  class STACKER;

  static void take_apart(const KEP_MODULE& module, const KEP_SIBLING& sibling, std::string& text,
                         std::vector<std::uint32_t>& numbers);
  void order_kinds(const std::map<KIND, std::uint32_t>& kinds);
  bool find_cells(std::vector<std::vector<std::uint32_t>>& coordinates);
  void append(const std::vector<PLACED>& siblings, KEP_SIBLING_LAYOUT& layout) const;

  const std::vector<KEP_SIBLING>& m_siblings;
  std::vector<std::string> m_texts; // with a 0 for each number
  std::vector<NAME> m_names;        // by sibling
  std::vector<PLACED> m_on_grid;    // by cell, in a cell by kind
  std::vector<PLACED> m_apart;      // by kind, of a kind by its numbers
  std::uint64_t m_num_cells = 0;
  std::uint32_t m_num_kinds = 0;
};
