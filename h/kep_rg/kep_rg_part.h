#pragma once

/// @file
/// The parts of a check that is divided.

#include <cstdint>
#include <utility>

/// One of the parts into which the checks of a graph are divided, for several machines to share them. What is
/// about single nodes and edges falls to parts by ranges; what is about the graph as a whole falls to the
/// first one.
struct KEP_RG_PART {
  /// So many at most.
  static constexpr std::uint32_t MAX_NUM_PARTS = 1000000;

  std::uint32_t m_index = 0;     ///< from 0
  std::uint32_t m_num_parts = 1; ///< of how many

  ///@{
  /// Whether it is all there is to do; whether what is about the whole graph falls to it.
  bool is_whole() const { return m_num_parts == 1; }
  bool is_first() const { return m_index == 0; }
  ///@}
  /// The first and the end of those of so many things in a row, less than 2^44, that fall to this part. Each
  /// falls to one.
  std::pair<std::uint64_t, std::uint64_t> get_range(std::uint64_t num) const {
    return {num * m_index / m_num_parts, num * (m_index + std::uint64_t{1}) / m_num_parts};
  }
};
