#pragma once

#include "kep/kep_numbered_graph.h"

#include <cstdint>

// How a graph is read by numbers. Included by kep_numbered_graph.h alone.

namespace KEP_ROUTING {

inline NUMBERED_FWD_EDGE::NUMBERED_FWD_EDGE(const SOURCE& source, std::uint32_t position)
    : m_source(source), m_position(position) {
  const KEP_EDGE_TABLES& tables = source.m_graph->m_tables;
  m_fanout = tables.get_number(tables.m_fanouts[position].get_word(source.m_place));
}
inline NUMBERED_REV_EDGE::NUMBERED_REV_EDGE(const SOURCE& source, std::uint32_t position)
    : m_source(source), m_position(position) {
  const KEP_EDGE_TABLES& tables = source.m_graph->m_tables;
  m_fanin = tables.get_number(tables.m_fanins[position].get_word(source.m_place));
}

inline KEP_UNFOLDED_INST_PORT NUMBERED_FWD_EDGE::get_mux_input() const {
  if (!m_source.m_graph) return {};
  return FWD_EDGE(const_cast<GRAPH*>(m_source.m_graph), m_source.m_place, m_position).get_mux_input();
}

/// Fanins stand in the order of their nodes, so those of one node side by side.
inline std::uint32_t NUMBERED_REV_EDGE::find_fwd_index() const {
  if (m_fanin == NUMBERED_GRAPH::NONE) return NUMBERED_GRAPH::NONE;
  const KEP_FOLDED_WORDS& fanins = m_source.m_graph->m_tables.m_fanins;
  std::uint32_t num_before = 0;
  while (m_position - num_before != m_source.m_first &&
         fanins[m_position - num_before - 1].m_bits == fanins[m_position].m_bits)
    ++num_before;
  std::uint32_t index = 0;
  for (const NUMBERED_FWD_EDGE& edge : NUMBERED_GRAPH(*m_source.m_graph).iter_all_fanout(m_fanin)) {
    if (edge.get_fanout() == m_source.m_node && num_before-- == 0) return index;
    ++index;
  }
  return NUMBERED_GRAPH::NONE; // in a damaged graph
}
inline NUMBERED_FWD_EDGE NUMBERED_REV_EDGE::find_fwd_edge() const {
  const std::uint32_t index = find_fwd_index();
  if (index == NUMBERED_GRAPH::NONE) return {};
  return NUMBERED_GRAPH(*m_source.m_graph).iter_all_fanout(m_fanin)[index];
}

inline NUMBERED_GRAPH::RANGE<NUMBERED_FWD_EDGE>
NUMBERED_GRAPH::make_range(const PLACED& at, std::uint32_t begin, std::uint32_t end) const {
  using ITER = NUMBERED_EDGE_ITER<NUMBERED_FWD_EDGE>;
  const std::uint32_t first = at.m_shape.m_first_fanout;
  const NUMBERED_FWD_EDGE::SOURCE source{m_graph, at.m_place, first + at.m_shape.m_num_real};
  return {ITER(source, first + begin), ITER(source, first + end)};
}
inline NUMBERED_GRAPH::RANGE<NUMBERED_FWD_EDGE> NUMBERED_GRAPH::iter_real_fanout(std::uint32_t node) const {
  const PLACED at = find(node);
  return make_range(at, 0, at.m_shape.m_num_real);
}
inline NUMBERED_GRAPH::RANGE<NUMBERED_FWD_EDGE>
NUMBERED_GRAPH::iter_redundant_fanout(std::uint32_t node) const {
  const PLACED at = find(node);
  return make_range(at, at.m_shape.m_num_real, at.m_shape.m_num_fanouts);
}
inline NUMBERED_GRAPH::RANGE<NUMBERED_FWD_EDGE> NUMBERED_GRAPH::iter_all_fanout(std::uint32_t node) const {
  const PLACED at = find(node);
  return make_range(at, 0, at.m_shape.m_num_fanouts);
}
inline NUMBERED_GRAPH::RANGE<NUMBERED_REV_EDGE> NUMBERED_GRAPH::iter_all_fanin(std::uint32_t node) const {
  using ITER = NUMBERED_EDGE_ITER<NUMBERED_REV_EDGE>;
  const PLACED at = find(node);
  const std::uint32_t first = at.m_shape.m_first_fanin;
  const NUMBERED_REV_EDGE::SOURCE source{m_graph, at.m_place, node, first};
  return {ITER(source, first), ITER(source, first + at.m_shape.m_num_fanins)};
}

template <class VISIT>
void NUMBERED_GRAPH::visit_shapes(const KEP_EDGE_TABLES& tables, std::uint32_t first, std::uint32_t end,
                                  const VISIT& visit) {
  if (first >= end) return;
  const std::uint32_t place = tables.m_places.find_place(first);
  tables.visit_nodes({first, place, tables.m_places.get_rank(place, first)}, end, visit);
}

template <class VISIT>
void NUMBERED_GRAPH::visit_nodes(std::uint32_t first, std::uint32_t end, VISIT&& visit) const {
  const KEP_EDGE_TABLES tables = m_graph->m_tables; // a copy: what the visitor writes can't change it
  visit_shapes(tables, first, end,
               [&](std::uint32_t node, std::uint32_t, std::uint32_t, const KEP_NODE_SHAPE& shape) {
                 visit(node, shape.m_num_real, shape.m_num_fanouts);
               });
}

template <class VISIT>
void NUMBERED_GRAPH::visit_edges(std::uint32_t first, std::uint32_t end, VISIT&& visit) const {
  const KEP_EDGE_TABLES tables = m_graph->m_tables;
  const auto visit_row = [&](std::uint32_t from, std::uint32_t place, std::uint32_t,
                             const KEP_NODE_SHAPE& shape) {
    const NUMBERED_FWD_EDGE::SOURCE source{m_graph, place, shape.m_first_fanout + shape.m_num_real};
    const KEP_SEEN_WORD* fanout = tables.m_fanouts + shape.m_first_fanout;
    const KEP_SEEN_WORD* behind = fanout + shape.m_num_fanouts;
    std::uint32_t position = shape.m_first_fanout;
    if (shape.m_has_absolute) {
      for (; fanout != behind; ++fanout)
        visit(from, NUMBERED_FWD_EDGE(source, position++, tables.get_number(fanout->get_word(place))));
    } else {
      for (; fanout != behind; ++fanout)
        visit(from,
              NUMBERED_FWD_EDGE(source, position++, tables.get_number(fanout->get_relative_word(place))));
    }
  };
  visit_shapes(tables, first, end, visit_row);
}

} // namespace KEP_ROUTING
