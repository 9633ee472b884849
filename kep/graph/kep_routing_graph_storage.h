#pragma once

#include "kep/detail/kep_edge_tables.h"
#include "kep/detail/kep_table.h"
#include "kep/graph/kep_node_places.h"
#include "kep/graph/kep_word_folder.h"

#include <cstdint>
#include <memory>

/// A finished graph, folded four times: nodes share lists of fanouts and of fanins; those at like places
/// share their shape, which is both lists; places whose nodes have the same shapes, in order, share one page
/// of them; and a mux input or a fanin that stands in many lists is kept once. Filled when a graph is folded
/// (KEP_ROUTING_GRAPH_FOLDER), then owned by a GRAPH, which can't change it; nodes, edges and iterators read
/// through the tables that it lends.
struct KEP_ROUTING_GRAPH_STORAGE {
  KEP_EDGE_TABLES get_tables() const {
    return {m_places->get_numbers(), m_pages.data(),           m_shapes_of_nodes.get_view(),
            m_shapes.data(),         m_fanouts.data(),         m_mux_inputs.get_view(),
            m_fanins.get_view(),     m_places->get_num_nodes()};
  }
  std::uint64_t get_memory_bytes() const {
    return sizeof(*this) + m_places->get_memory_bytes() + m_pages.get_memory_bytes() +
           m_shapes_of_nodes.get_memory_bytes() + m_shapes.get_memory_bytes() + m_fanouts.get_memory_bytes() +
           m_mux_inputs.get_memory_bytes() + m_fanins.get_memory_bytes();
  }

  std::shared_ptr<const KEP_NODE_PLACES> m_places;
  KEP_TABLE<std::uint32_t> m_pages;         ///< by place
  KEP_PACKED_NUMBER_LIST m_shapes_of_nodes; ///< page after page, by rank
  KEP_TABLE<KEP_NODE_SHAPE> m_shapes;       ///< by number; number 0 stands where no node does
  KEP_TABLE<KEP_SEEN_WORD> m_fanouts;
  KEP_FOLDED_WORD_LIST m_mux_inputs;
  KEP_FOLDED_WORD_LIST m_fanins;
  std::uint64_t m_num_templates = 0; ///< lists of fanouts that are not empty
  std::uint64_t m_num_edges = 0;
  std::uint64_t m_num_real_edges = 0;
};
