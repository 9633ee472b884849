#pragma once

#include "kep/kep_edge_templates.h"
#include "kep/kep_node_places.h"

#include <cstdint>
#include <memory>
#include <vector>

class KEP_ROUTING_BUILDER_GRAPH;

/// A finished graph, folded twice: nodes at like places share the templates of their fanouts and fanins, and
/// places whose nodes share all of them, in order, share one page of template numbers. This class alone
/// knows how a graph is laid out; nodes, edges and iterators read through the tables that it lends.
class KEP_ROUTING_GRAPH_STORAGE {
public:
  /// Takes over the nodes and fanouts of a graph under construction and works out its fanins. KEP_DB_ERROR
  /// when a node has too many of them.
  explicit KEP_ROUTING_GRAPH_STORAGE(const KEP_ROUTING_BUILDER_GRAPH& graph);

  const KEP_NODE_PLACES& get_places() const { return *m_places; }
  KEP_EDGE_TABLES get_tables() const {
    return {m_places->get_first_nodes().data(),
            m_pages.data(),
            m_fanouts_of_nodes.data(),
            m_fanins_of_nodes.data(),
            m_fanout_templates.data(),
            m_fanin_templates.data(),
            m_fanouts.data(),
            m_fanins.data(),
            m_places->get_num_nodes()};
  }

  std::uint64_t get_total_edges() const { return m_total_edges; }
  std::uint64_t get_total_real_edges() const { return m_total_real; }
  /// Lists of fanouts that are not empty.
  std::uint64_t get_num_templates() const { return m_fanout_templates.size() - 1; }
  std::uint64_t get_memory_bytes() const;

private:
  friend class KEP_RG_TEST_ACCESS;
  using NUMBERS = std::vector<std::uint32_t>; // of templates, by node

  void take_fanouts(const KEP_ROUTING_BUILDER_GRAPH& graph, NUMBERS& of_nodes);
  void fold_pages(const NUMBERS& fanouts_of_nodes, const NUMBERS& fanins_of_nodes);

  std::shared_ptr<const KEP_NODE_PLACES> m_places;
  std::vector<KEP_EDGE_TEMPLATE> m_fanout_templates; // by number; number 0 has no edges
  std::vector<KEP_EDGE_TEMPLATE> m_fanin_templates;
  std::vector<KEP_FANOUT_ENTRY> m_fanouts;
  std::vector<KEP_FANIN_ENTRY> m_fanins;
  std::vector<std::uint32_t> m_pages;            // by place
  std::vector<std::uint32_t> m_fanouts_of_nodes; // page after page, by rank
  std::vector<std::uint32_t> m_fanins_of_nodes;
  std::uint64_t m_total_edges = 0;
  std::uint64_t m_total_real = 0;
};
