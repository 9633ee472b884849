#pragma once

#include <cstdint>

/// A fanout as the flat storage keeps it.
struct KEP_EDGE {
  // A mux input is nearly always an inst port beside the target's, or the source itself. Any other is kept in
  // a side table of words.
  static constexpr std::uint32_t NO_MUX = 0;
  static constexpr std::uint32_t SOURCE_IS_MUX = 1;
  static constexpr std::uint32_t BESIDE_TARGET = 2;                  // plus the inst port's number
  static constexpr std::uint32_t ELSEWHERE = std::uint32_t{1} << 31; // plus the place in the side table

  std::uint32_t m_target; // node number
  std::uint32_t m_mux;
};
