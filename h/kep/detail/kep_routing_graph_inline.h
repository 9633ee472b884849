#pragma once

#include "kep/kep_routing_graph.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

// The steps over nodes and edges that hot loops take. Included by kep_routing_graph.h alone.

namespace KEP_ROUTING {

inline FWD_EDGE::FWD_EDGE(GRAPH* graph, std::uint32_t own, std::uint32_t position)
    : m_fanout(graph->m_tables.m_fanouts[position].get_word(own), graph), m_position(position) {}
inline REV_EDGE::REV_EDGE(GRAPH* graph, std::uint32_t own, std::uint32_t position)
    : m_fanin(graph->m_tables.m_fanins[position].get_word(own), graph) {}

inline unsigned short NODE::get_num_edges() const {
  return m_graph ? m_graph->m_tables.get_shape(m_word).m_num_fanouts : 0;
}
inline unsigned short NODE::get_num_real_edges() const {
  return m_graph ? m_graph->m_tables.get_shape(m_word).m_num_real : 0;
}
inline unsigned short NODE::get_num_fanin() const {
  return m_graph ? m_graph->m_tables.get_shape(m_word).m_num_fanins : 0;
}

inline boost::iterator_range<EDGE_ITER<FWD_EDGE>> NODE::iter_real_fanout() const {
  if (!m_graph) return {};
  const KEP_NODE_SHAPE& shape = m_graph->m_tables.get_shape(m_word);
  return make_range<FWD_EDGE>(shape.m_first_fanout, shape.m_first_fanout + shape.m_num_real);
}
inline boost::iterator_range<EDGE_ITER<FWD_EDGE>> NODE::iter_redundant_fanout() const {
  if (!m_graph) return {};
  const KEP_NODE_SHAPE& shape = m_graph->m_tables.get_shape(m_word);
  return make_range<FWD_EDGE>(shape.m_first_fanout + shape.m_num_real,
                              shape.m_first_fanout + shape.m_num_fanouts);
}
inline boost::iterator_range<EDGE_ITER<FWD_EDGE>> NODE::iter_all_fanout() const {
  if (!m_graph) return {};
  const KEP_NODE_SHAPE& shape = m_graph->m_tables.get_shape(m_word);
  return make_range<FWD_EDGE>(shape.m_first_fanout, shape.m_first_fanout + shape.m_num_fanouts);
}
inline boost::iterator_range<EDGE_ITER<REV_EDGE>> NODE::iter_all_fanin() const {
  if (!m_graph) return {};
  const KEP_NODE_SHAPE& shape = m_graph->m_tables.get_shape(m_word);
  return make_range<REV_EDGE>(shape.m_first_fanin, shape.m_first_fanin + shape.m_num_fanins);
}

template <class VISIT>
void GRAPH::visit_edges(const NODE_ITER_RANGE& range, VISIT&& visit) const {
  if (range.empty()) return;
  auto* graph = const_cast<GRAPH*>(this);
  const KEP_EDGE_TABLES tables = m_tables; // a copy: what the visitor writes can't change it
  const NODE_ITER& first = range.begin();
  tables.visit_nodes(
      {first.m_index, first.m_place, first.m_rank}, range.end().m_index,
      [&](std::uint32_t, std::uint32_t place, std::uint32_t rank, const KEP_NODE_SHAPE& shape) {
        const NODE from(std::uint64_t{place} << 32 | (rank + std::uint64_t{1}), graph);
        const KEP_SEEN_WORD* fanout = tables.m_fanouts + shape.m_first_fanout;
        const KEP_SEEN_WORD* behind = fanout + shape.m_num_fanouts;
        if (shape.m_has_absolute) {
          for (; fanout != behind; ++fanout)
            visit(from, NODE(fanout->get_word(place), graph));
        } else {
          for (; fanout != behind; ++fanout)
            visit(from, NODE(fanout->get_relative_word(place), graph));
        }
      });
}

inline std::uint32_t GRAPH::get_index(const NODE& node) const {
  return m_tables.get_number(node.m_word);
}
inline NODE GRAPH::get_node(std::uint32_t index) const {
  return NODE(m_tables.get_word(index), const_cast<GRAPH*>(this));
}

inline void NODE_ITER::increment() {
  const KEP_EDGE_TABLES& tables = m_graph->m_tables;
  if (m_index++ == m_last) {
    if (m_index == tables.m_num_nodes) return;
    do
      ++m_place;
    while (tables.m_places.m_first_nodes[m_place + std::size_t{1}] == m_index);
    m_last = tables.m_places.m_first_nodes[m_place + std::size_t{1}] - 1;
    m_rank = 0;
  } else {
    ++m_rank;
  }
  const std::size_t page = tables.m_pages[m_place];
  while (tables.m_shapes_of_nodes.get(page + m_rank) == KEP_EDGE_TABLES::NO_NODE)
    ++m_rank;
}

} // namespace KEP_ROUTING
