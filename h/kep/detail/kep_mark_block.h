#pragma once

#include <cstdint>

/// Marks of 64 numbers in a row. With the count of those marked before it, each marked number has a rank
/// among all that are.
struct KEP_MARK_BLOCK {
  static constexpr std::uint32_t NUM_BITS = 64;

  std::uint64_t m_bits = 0;
  std::uint32_t m_num_before = 0;
  std::uint32_t m_unused = 0; // files hold blocks as they are

  void set(std::uint32_t number) { m_bits |= std::uint64_t{1} << number % NUM_BITS; }
  bool has(std::uint32_t number) const { return (m_bits >> number % NUM_BITS & 1) != 0; }
  std::uint32_t get_count() const { return static_cast<std::uint32_t>(__builtin_popcountll(m_bits)); }
  /// Of a number that is marked, or of the next one that is.
  std::uint32_t get_rank(std::uint32_t number) const {
    const std::uint64_t before = m_bits & ((std::uint64_t{1} << number % NUM_BITS) - 1);
    return m_num_before + static_cast<std::uint32_t>(__builtin_popcountll(before));
  }
};
