#pragma once

#include <cstdint>

/// How a finished graph keeps its edges: as templates, lists of edges told by where the other end stands as
/// seen from this one. Nodes at like places share a template, and a template is kept once. An edge is worked
/// out from the word of its node and an entry of the template, with no further load.
///
/// A graph lends these tables to its nodes, edges and iterators; nothing else needs them.

/// The other end of an edge. Its place is told as the difference from the node's own, modulo 2^32; or itself,
/// where ABSOLUTE is set: for the few ends that are seen from everywhere.
struct KEP_FANIN_ENTRY {
  static constexpr std::uint32_t ABSOLUTE = std::uint32_t{1} << 31;

  std::uint32_t m_place;
  std::uint32_t m_node; ///< the lower half of the node's word

  static constexpr std::uint64_t resolve(std::uint32_t own, std::uint32_t place, std::uint32_t low) {
    const std::uint32_t base = (low & ABSOLUTE) != 0 ? 0 : own;
    return static_cast<std::uint64_t>(base + place) << 32 | (low & ~ABSOLUTE);
  }
  std::uint64_t get_word(std::uint32_t own) const { return resolve(own, m_place, m_node); }
};

struct KEP_FANOUT_ENTRY {
  std::uint32_t m_place;
  std::uint32_t m_node;
  std::uint32_t m_mux_place;
  std::uint32_t m_mux; ///< of the mux input: its inst port's number plus one; 0 without one

  std::uint64_t get_word(std::uint32_t own) const { return KEP_FANIN_ENTRY::resolve(own, m_place, m_node); }
};

/// A template: real edges first.
struct KEP_EDGE_TEMPLATE {
  std::uint32_t m_first_entry;
  std::uint16_t m_num_real;
  std::uint16_t m_num_edges;
};

/// The tables of one graph, lent.
struct KEP_EDGE_TABLES {
  static constexpr std::uint32_t NO_NODE = ~std::uint32_t{0};

  const std::uint32_t* m_first_nodes;      ///< by place: the number of its first node; and one more
  const std::uint32_t* m_pages;            ///< by place: where in the next two its ranks begin
  const std::uint32_t* m_fanouts_of_nodes; ///< templates, or NO_NODE where no node stands
  const std::uint32_t* m_fanins_of_nodes;
  const KEP_EDGE_TEMPLATE* m_fanout_templates;
  const KEP_EDGE_TEMPLATE* m_fanin_templates;
  const KEP_FANOUT_ENTRY* m_fanouts;
  const KEP_FANIN_ENTRY* m_fanins;
  std::uint32_t m_num_nodes;

  std::uint32_t get_slot(std::uint64_t word) const {
    return m_pages[word >> 32] + static_cast<std::uint32_t>(word) - 1;
  }
  const KEP_EDGE_TEMPLATE& get_fanouts(std::uint64_t word) const {
    return m_fanout_templates[m_fanouts_of_nodes[get_slot(word)]];
  }
  const KEP_EDGE_TEMPLATE& get_fanins(std::uint64_t word) const {
    return m_fanin_templates[m_fanins_of_nodes[get_slot(word)]];
  }
};
