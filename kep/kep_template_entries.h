#pragma once

#include "kep/kep_edge_templates.h"

/// The lists of edges of a graph that is being made, before its words are folded.

using KEP_FANIN_ENTRY = KEP_SEEN_WORD;

struct KEP_FANOUT_ENTRY {
  KEP_SEEN_WORD m_node;
  KEP_SEEN_WORD m_mux; ///< the mux input: its inst port's number plus one; the word 0 without one
};

/// A list: real edges first.
struct KEP_EDGE_TEMPLATE {
  std::uint32_t m_first_entry;
  std::uint16_t m_num_real;
  std::uint16_t m_num_edges;
};
