#pragma once

#include "kep/detail/kep_mark_block.h"
#include "kep/kep_export.h"

#include <cstddef>
#include <cstdint>

/// Where the nodes of a finished graph stand, by their numbers: a place's nodes are numbered in a row, in the
/// order of their ranks. Lent by KEP_NODE_PLACES.
struct KEP_EXPORT KEP_NUMBERED_PLACES {
  static constexpr std::uint32_t NONE = ~0U;
  static constexpr unsigned NEAR_BITS = 6; ///< one number of 2^6 tells where to look for the others' places

  const std::uint32_t* m_first_nodes; ///< by place: the number of its first node; and one more
  const std::uint32_t* m_near_places; ///< the places of the numbers 0, 64, 128, ...; and of the last
  const KEP_MARK_BLOCK* m_lacking;    ///< places that lack a node of some rank; null where none does
  const std::uint32_t* m_first_ranks; ///< by places that lack some: where the ranks of their nodes begin
  const std::uint32_t* m_ranks;

  std::uint32_t get_num_nodes(std::uint32_t place) const {
    return m_first_nodes[place + std::size_t{1}] - m_first_nodes[place];
  }

  /// The place of a node.
  std::uint32_t find_place(std::uint32_t number) const {
    std::uint32_t place = m_near_places[number >> NEAR_BITS];
    if (is_behind(place, number)) ++place;
    if (is_behind(place, number)) ++place;
    return is_behind(place, number) ? search_place(number) : place;
  }

  /// The ranks of the nodes of the place, in order; null where the place has a node of each rank, or none.
  const std::uint32_t* find_ranks(std::uint32_t place) const {
    const bool is_lacking = m_lacking && m_lacking[place / KEP_MARK_BLOCK::NUM_BITS].has(place);
    return is_lacking ? get_listed_ranks(place) : nullptr;
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
  bool is_behind(std::uint32_t place, std::uint32_t number) const {
    return m_first_nodes[place + std::size_t{1}] <= number;
  }
  // What is seldom needed is not inline, so that it takes no registers from loops.
  [[gnu::pure]] std::uint32_t search_place(std::uint32_t number) const;
  [[gnu::pure]] const std::uint32_t* get_listed_ranks(std::uint32_t place) const;
  [[gnu::pure]] std::uint32_t find_listed(std::uint32_t place, const std::uint32_t* ranks,
                                          std::uint32_t rank) const;
};
