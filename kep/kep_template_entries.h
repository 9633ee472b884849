#pragma once

#include "kep/kep_edge_tables.h"

#include <cstdint>

/// The lists of edges of a graph that is being made, before its words are folded.

struct KEP_FANIN_ENTRY {
  KEP_SEEN_WORD m_node;

  std::uint64_t get_hash() const { return m_node.m_bits; }
};

struct KEP_FANOUT_ENTRY {
  KEP_SEEN_WORD m_node;
  KEP_SEEN_WORD m_mux; ///< the mux input: its inst port's number plus one; the word 0 without one

  std::uint64_t get_hash() const { return m_node.m_bits + m_mux.m_bits * 0xbf58476d1ce4e5b9U; }
};

/// A list: real edges first.
struct KEP_EDGE_TEMPLATE {
  std::uint32_t m_first_entry;
  std::uint16_t m_num_real;
  std::uint16_t m_num_edges;
};
