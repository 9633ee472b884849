#pragma once

#include "kep/detail/kep_edge_tables.h"
#include "kep/graph/kep_node_places.h"
#include "kep/graph/kep_template_entries.h"
#include "kep/graph/kep_word_folder.h"
#include "kep/kep_export.h"

#include <cstdint>
#include <memory>
#include <vector>

class KEP_ROUTING_BUILDER_GRAPH;

/// A finished graph, folded four times: nodes share lists of fanouts and of fanins; those at like places
/// share their shape, which is both lists; places whose nodes have the same shapes, in order, share one page
/// of them; and a mux input or a fanin that stands in many lists is kept once. This class alone knows how a
/// graph is laid out; nodes, edges and iterators read through the tables that it lends.
class KEP_EXPORT KEP_ROUTING_GRAPH_STORAGE {
public:
  /// Takes over the nodes and fanouts of a graph under construction and works out its fanins, so many at a
  /// time; 0 leaves the number to it. KEP_DB_ERROR when a node has too many of them.
  explicit KEP_ROUTING_GRAPH_STORAGE(KEP_ROUTING_BUILDER_GRAPH& graph, std::uint64_t fanins_at_a_time = 0);

  const KEP_NODE_PLACES& get_places() const { return *m_places; }
  KEP_EDGE_TABLES get_tables() const {
    return {m_places->get_first_nodes().data(),
            m_pages.data(),
            m_shapes_of_nodes.get_view(),
            m_shapes.data(),
            m_fanouts.data(),
            m_mux_inputs.get_view(),
            m_fanins.get_view(),
            m_places->get_num_nodes()};
  }

  std::uint64_t get_total_edges() const { return m_total_edges; }
  std::uint64_t get_total_real_edges() const { return m_total_real; }
  /// Lists of fanouts that are not empty.
  std::uint64_t get_num_templates() const { return m_num_templates; }
  std::uint64_t get_memory_bytes() const;

private:
  friend class KEP_RG_TEST_ACCESS;
  struct LISTS;

  std::vector<KEP_FANOUT_ENTRY> take_fanouts(KEP_ROUTING_BUILDER_GRAPH& graph, LISTS& fanouts);
  LISTS find_fanins(const KEP_ROUTING_BUILDER_GRAPH& graph, const LISTS& fanouts,
                    const std::vector<KEP_FANOUT_ENTRY>& entries, std::uint64_t at_a_time);
  void fold_pages(const LISTS& fanouts, const LISTS& fanins, const std::vector<KEP_FANOUT_ENTRY>& entries);
  void fold_shapes(const std::vector<std::uint64_t>& pairs, const LISTS& fanouts, const LISTS& fanins,
                   const std::vector<KEP_FANOUT_ENTRY>& entries);
  void take_words(std::vector<KEP_FANOUT_ENTRY> entries);

  std::shared_ptr<const KEP_NODE_PLACES> m_places;
  std::vector<std::uint32_t> m_pages;       // by place
  KEP_PACKED_NUMBER_LIST m_shapes_of_nodes; // page after page, by rank
  std::vector<KEP_NODE_SHAPE> m_shapes;     // by number; number 0 stands where no node does
  std::vector<KEP_SEEN_WORD> m_fanouts;
  KEP_FOLDED_WORD_LIST m_mux_inputs;
  KEP_FOLDED_WORD_LIST m_fanins;
  std::uint64_t m_num_templates = 0;
  std::uint64_t m_total_edges = 0;
  std::uint64_t m_total_real = 0;
};
