#pragma once

#include "kep/detail/kep_unfolding.h"

#include <cstdint>
#include <vector>

/// An instance of a module, in one view of its master, with places at or below it.
struct KEP_SIBLING {
  std::uint32_t m_slot;   ///< in the module
  std::uint64_t m_extent; ///< so many numbers it takes
};

/// Where siblings stand from the first of them.
///
/// One order is always there: that in which the module lists them. Others come from numbers in names: the
/// first one, two or three of a name, or the last ones, are taken for the coordinates of a cell in a grid,
/// and what is left of the name for a kind. Each kind has the same offset in all cells, and all cells have
/// the same size; so two blocks of kinds A and B that stand n cells apart are equally far apart wherever they
/// are, however the file lists them and whatever else stands in between. Or the cells are not given one size,
/// so that no numbers are lost. The order that costs least is taken: connections between the siblings tell
/// how many unlike differences an order has.
struct KEP_SIBLING_LAYOUT {
  std::vector<std::uint64_t> m_offsets; ///< by sibling
  std::uint64_t m_size = 0;

  /// The siblings are in the order of their slots. The module stands at so many places.
  static KEP_SIBLING_LAYOUT find(const KEP_MODULE& module, const std::vector<KEP_SIBLING>& siblings,
                                 std::uint32_t num_occurrences, bool with_gaps);
};
