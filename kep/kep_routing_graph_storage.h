#pragma once

#include "kep/kep_edge.h"
#include "kep/kep_node_index.h"
#include "kep/kep_node_word.h"

#include <cstdint>
#include <memory>
#include <vector>

class KEP_ROUTING_BUILDER_GRAPH;

/// A finished graph in flat arrays, by node number. This class alone knows how a graph is laid out.
class KEP_ROUTING_GRAPH_STORAGE {
public:
  /// Takes over the nodes and fanouts of a graph under construction and works out its fanins. KEP_DB_ERROR
  /// when a node has too many of them.
  explicit KEP_ROUTING_GRAPH_STORAGE(const KEP_ROUTING_BUILDER_GRAPH& graph);

  std::uint32_t get_num_nodes() const { return static_cast<std::uint32_t>(m_words.size()); }
  std::uint64_t get_word(std::uint32_t node) const { return m_words[node]; }
  /// The number of the node with that word, or KEP_NODE_INDEX::NO_NODE.
  std::uint32_t find(std::uint64_t word) const {
    if (KEP_NODE_WORD::is_boundary(word)) return m_index->find_boundary(KEP_NODE_WORD::port_number(word));
    return m_index->find(KEP_NODE_WORD::occurrence(word), KEP_NODE_WORD::inst_port(word),
                         KEP_NODE_WORD::is_hipi(word));
  }

  std::uint64_t get_first_edge(std::uint32_t node) const { return m_first_edge[node]; }
  std::uint32_t get_num_edges(std::uint32_t node) const {
    return static_cast<std::uint32_t>(m_first_edge[node + 1] - m_first_edge[node]);
  }
  std::uint32_t get_num_real_edges(std::uint32_t node) const { return m_num_real[node]; }
  std::uint32_t get_target(std::uint64_t edge) const { return m_edges[edge].m_target; }
  std::uint64_t get_target_word(std::uint64_t edge) const { return m_words[m_edges[edge].m_target]; }
  /// The word of the edge's mux input, 0 without one.
  std::uint64_t get_mux_word(std::uint64_t source_word, std::uint64_t edge) const;

  std::uint64_t get_first_fanin(std::uint32_t node) const { return m_first_fanin[node]; }
  std::uint32_t get_num_fanin(std::uint32_t node) const {
    return static_cast<std::uint32_t>(m_first_fanin[node + 1] - m_first_fanin[node]);
  }
  std::uint64_t get_fanin_word(std::uint64_t fanin) const { return m_words[m_fanins[fanin]]; }

  std::uint64_t get_total_edges() const { return m_edges.size(); }
  std::uint64_t get_total_real_edges() const { return m_total_real; }
  std::uint64_t get_num_templates() const { return m_num_templates; }
  std::uint64_t get_memory_bytes() const;

private:
  friend class KEP_RG_TEST_ACCESS;
  void take_edges(const KEP_ROUTING_BUILDER_GRAPH& graph);
  void add_fanins(const KEP_ROUTING_BUILDER_GRAPH& graph);

  std::shared_ptr<const KEP_NODE_INDEX> m_index;
  std::vector<std::uint64_t> m_words;
  std::vector<std::uint64_t> m_first_edge; // one more than nodes
  std::vector<std::uint16_t> m_num_real;
  std::vector<KEP_EDGE> m_edges;
  std::vector<std::uint64_t> m_mux_words;
  std::vector<std::uint64_t> m_first_fanin; // one more than nodes
  std::vector<std::uint32_t> m_fanins;      // node numbers
  std::uint64_t m_total_real = 0;
  std::uint64_t m_num_templates = 0;
};
