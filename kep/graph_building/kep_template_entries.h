#pragma once

#include "kep/detail/kep_edge_tables.h"

#include <cstdint>

/// The lists of edges of a graph that is being made, before its words are folded.

namespace KEP_TEMPLATE_HASH {

constexpr std::uint64_t SEED = 0x9e3779b97f4a7c15U;

/// Both halves of a product tell all bits of both words.
inline std::uint64_t mix(std::uint64_t left, std::uint64_t right) {
  __extension__ using PRODUCT = unsigned __int128;
  const PRODUCT product = PRODUCT{left ^ SEED} * (right ^ 0xbf58476d1ce4e5b9U);
  return static_cast<std::uint64_t>(product >> 64) ^ static_cast<std::uint64_t>(product);
}

} // namespace KEP_TEMPLATE_HASH

struct KEP_FANIN_ENTRY {
  KEP_SEEN_WORD m_node;

  std::uint64_t hash(std::uint64_t seed) const { return KEP_TEMPLATE_HASH::mix(m_node.m_bits, seed); }
};

struct KEP_FANOUT_ENTRY {
  KEP_SEEN_WORD m_node;
  KEP_SEEN_WORD m_mux; ///< the mux input: its inst port's number plus one; the word 0 without one

  std::uint64_t hash(std::uint64_t seed) const {
    return KEP_TEMPLATE_HASH::mix(m_node.m_bits, m_mux.m_bits ^ seed);
  }
};

/// A list: real edges first.
struct KEP_EDGE_TEMPLATE {
  std::uint32_t m_first_entry;
  std::uint16_t m_num_real;
  std::uint16_t m_num_edges;
};
