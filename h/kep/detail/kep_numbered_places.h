#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

/// Where the nodes of a finished graph stand, by their numbers: a place's nodes are numbered in a row, in the
/// order of their ranks. Lent by KEP_NODE_PLACES.
struct KEP_NUMBERED_PLACES {
  static constexpr std::uint32_t NONE = ~0U;
  static constexpr unsigned NEAR_BITS = 6; ///< one number of 2^6 tells where to look for the others' places

  /// Of 64 places, those that lack a node of some rank, and how many such stand before them.
  struct LACKING {
    std::uint64_t m_bits = 0;
    std::uint32_t m_num_before = 0;
  };

  const std::uint32_t* m_first_nodes; ///< by place: the number of its first node; and one more
  const std::uint32_t* m_near_places; ///< the places of the numbers 0, 64, 128, ...; and of the last
  const LACKING* m_lacking;           ///< by place / 64; null where no place lacks any
  const std::uint32_t* m_first_ranks; ///< by places that lack some: where the ranks of their nodes begin
  const std::uint32_t* m_ranks;

  std::uint32_t get_num_nodes(std::uint32_t place) const {
    return m_first_nodes[place + std::size_t{1}] - m_first_nodes[place];
  }

  /// The place of a node.
  std::uint32_t find_place(std::uint32_t number) const {
    const std::uint32_t* behind = m_first_nodes + m_near_places[number >> NEAR_BITS] + 1;
    if (*behind <= number) ++behind; // nearly always it is one of these two
    if (*behind <= number)
      behind = std::upper_bound(
          behind, m_first_nodes + m_near_places[(number >> NEAR_BITS) + std::size_t{1}] + 1, number);
    return static_cast<std::uint32_t>(behind - m_first_nodes) - 1;
  }

  /// The ranks of the nodes of the place, in order; null where the place has a node of each rank, or none.
  const std::uint32_t* find_ranks(std::uint32_t place) const {
    if (!m_lacking) return nullptr;
    const LACKING& lacking = m_lacking[place / 64];
    const std::uint64_t bit = std::uint64_t{1} << place % 64;
    if ((lacking.m_bits & bit) == 0) return nullptr;
    const int before = std::popcount(lacking.m_bits & (bit - 1));
    return m_ranks + m_first_ranks[lacking.m_num_before + static_cast<std::uint32_t>(before)];
  }

  /// The rank of a node of the place.
  std::uint32_t get_rank(std::uint32_t place, std::uint32_t number) const {
    const std::uint32_t at = number - m_first_nodes[place];
    const std::uint32_t* ranks = find_ranks(place);
    return ranks ? ranks[at] : at;
  }

  /// The number of the node of a rank below those of the place's module; NONE where the place has nodes, but
  /// none of that rank. The null word, of place 0 and no rank, gives NONE, too.
  std::uint32_t find_number(std::uint32_t place, std::uint32_t rank) const {
    const std::uint32_t* ranks = find_ranks(place);
    return ranks ? find_listed(place, ranks, rank) : m_first_nodes[place] + rank;
  }

private:
  /// The place lacks so many ranks up to its last node, and at most as many before a rank.
  std::uint32_t find_listed(std::uint32_t place, const std::uint32_t* ranks, std::uint32_t rank) const {
    const std::uint32_t num_nodes = get_num_nodes(place);
    const std::uint32_t last = ranks[num_nodes - 1];
    if (rank > last) return NONE;
    const std::uint32_t num_lacking = last + 1 - num_nodes;
    const std::uint32_t* found = std::lower_bound(ranks + (rank > num_lacking ? rank - num_lacking : 0),
                                                  ranks + std::min(rank, num_nodes - 1), rank);
    return *found == rank ? m_first_nodes[place] + static_cast<std::uint32_t>(found - ranks) : NONE;
  }
};
