#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

/// The nodes that a walk still has to go on from, by their place in the graph, one bit for each place. They
/// are taken upward from the place taken last, and from the lowest again behind the highest, so a walk reads
/// the graph nearly in the order in which it lies in memory. Each level above the bits has a bit for every
/// word below it that isn't empty: finding the next place takes a few steps however far it lies.
class KEP_RG_PENDING_PLACES {
public:
  /// None is pending of the places below `size`.
  explicit KEP_RG_PENDING_PLACES(std::uint32_t size) {
    std::size_t words = size;
    do {
      words = (words + BITS - 1) / BITS;
      m_levels.emplace_back(words);
    } while (words > 1);
  }

  void insert(std::uint32_t place) {
    std::size_t bit = place;
    for (LEVEL& level : m_levels) {
      std::uint64_t& word = level[bit / BITS];
      const bool was_empty = word == 0;
      word |= std::uint64_t{1} << bit % BITS;
      if (!was_empty) return;
      bit /= BITS;
    }
  }

  /// Takes the next place out; false when none is pending.
  bool take(std::uint32_t& place) {
    if (!find(m_next, place) && !find(0, place)) return false;
    m_next = std::size_t{place} + 1;
    erase(place);
    return true;
  }

private:
  static constexpr std::size_t BITS = 64;
  using LEVEL = std::vector<std::uint64_t>;

  /// The lowest pending place that isn't below `first`.
  bool find(std::size_t first, std::uint32_t& place) const {
    std::size_t bit = first;
    for (std::size_t level = 0; level != m_levels.size(); ++level) {
      if (bit / BITS == m_levels[level].size()) return false;
      const std::uint64_t rest = m_levels[level][bit / BITS] >> bit % BITS;
      if (rest != 0) {
        bit += static_cast<std::size_t>(std::countr_zero(rest));
        while (level-- != 0)
          bit = bit * BITS + static_cast<std::size_t>(std::countr_zero(m_levels[level][bit]));
        place = static_cast<std::uint32_t>(bit);
        return true;
      }
      bit = bit / BITS + 1;
    }
    return false;
  }

  void erase(std::size_t bit) {
    for (LEVEL& level : m_levels) {
      std::uint64_t& word = level[bit / BITS];
      word &= ~(std::uint64_t{1} << bit % BITS);
      if (word != 0) return;
      bit /= BITS;
    }
  }

  std::vector<LEVEL> m_levels; // the places first, a single word last
  std::size_t m_next = 0;      // one above the place taken last
};
