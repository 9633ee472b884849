#pragma once

#include "kep/graph/kep_routing_graph_storage.h"
#include "kep/graph_building/kep_template_lists.h"
#include "kep/kep_export.h"

#include <cstdint>
#include <memory>
#include <vector>

class KEP_ROUTING_BUILDER_GRAPH;

/// Folds a graph under construction, whose nodes are sorted, into a finished one. Used once: it takes the
/// fanouts out of the graph, and works out the fanins.
class KEP_EXPORT KEP_ROUTING_GRAPH_FOLDER {
public:
  explicit KEP_ROUTING_GRAPH_FOLDER(KEP_ROUTING_BUILDER_GRAPH& graph) : m_graph(graph) {}

  /// A thread gathers so many fanins at a time; 0 leaves the number to the folder. KEP_DB_ERROR when a node
  /// has more of them than it can have, or the graph more than can be numbered.
  std::unique_ptr<const KEP_ROUTING_GRAPH_STORAGE> fold(std::uint32_t fanins_at_a_time = 0);

private:
  using FANOUT_LIST = KEP_TEMPLATE_TABLE<KEP_FANOUT_ENTRY>::LIST;
  using FANIN_LIST = KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>::LIST;

  void take_fanouts();
  void count_edges();
  void find_fanins(std::uint32_t at_a_time);
  KEP_FOLDED_WORD_LIST fold_mux_inputs(const std::vector<FANOUT_LIST>& lists) const;
  KEP_FOLDED_WORD_LIST fold_fanins(const std::vector<FANIN_LIST>& lists) const;
  void fold_pages();
  /// Sets the templates of the place's nodes, by rank, and gives their hash.
  std::uint64_t read_page(std::uint32_t place, std::vector<std::uint64_t>& page) const;
  void fold_shapes(const std::vector<std::uint64_t>& pairs);
  KEP_NODE_SHAPE make_shape(std::uint64_t pair) const;

  KEP_ROUTING_BUILDER_GRAPH& m_graph;
  std::unique_ptr<KEP_ROUTING_GRAPH_STORAGE> m_folded;
  KEP_TEMPLATE_LISTS m_fanouts;
  std::vector<KEP_SEEN_WORD> m_fanout_words; // of their entries
  KEP_TEMPLATE_LISTS m_fanins;
};
