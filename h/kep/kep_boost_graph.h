#pragma once

#include "kep/kep_numbered_graph.h"

#include <boost/graph/graph_traits.hpp>
#include <boost/graph/properties.hpp>
#include <boost/iterator/counting_iterator.hpp>
#include <boost/property_map/property_map.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <tuple>
#include <utility>

/// @file
/// KEP_ROUTING::NUMBERED_GRAPH for Boost.Graph: a model of VertexListGraph, BidirectionalGraph, EdgeListGraph
/// and AdjacencyGraph, and of a readable property graph for vertex_index. It takes no memory.
///
///     const KEP_ROUTING::NUMBERED_GRAPH graph(*db->get_routing_template_graph());
///     boost::breadth_first_search(graph, start, boost::visitor(visitor));
///
/// A vertex is the number of a node, and its own vertex_index; the null vertex is NONE. The edges are all
/// edges of the graph, real and redundant: boost::filtered_graph leaves out what an algorithm should not see.
/// What an algorithm needs to know of edges, their weights above all, is a function of the edge, a
/// boost::make_function_property_map; of vertices, arrays by number.
///
/// num_vertices, num_edges, vertices and degrees take constant time, and so does each step over the edges out
/// of a vertex, into it, or of the whole graph; edge(u, v, graph) walks over the edges out of u. Any number
/// of threads may read at once. The graph must be sound: without edges to nowhere, as a build and a database
/// that was opened are. Edges and ranges refer to it, and not to the NUMBERED_GRAPH that gave them.
namespace KEP_ROUTING {

/// An edge with both its ends. A small value that refers to the graph. Of parallel edges - through another
/// mux input, or one real and one redundant - each is an edge of its own. The edge out of its source and the
/// edge into its target are equal; to find that out, and class and mux input of an edge that was reached from
/// its target, takes a walk over the edges out of its source.
class BOOST_GRAPH_EDGE {
public:
  /// An edge of no graph.
  BOOST_GRAPH_EDGE() = default;

  ///@{
  /// Its ends; NUMBERED_GRAPH::NONE for an edge of no graph.
  std::uint32_t get_source() const { return m_source; }
  std::uint32_t get_target() const { return m_target; }
  ///@}
  /// Its class.
  bool is_redundant() const { return get_fwd_edge().is_redundant(); }
  /// Empty without a mux.
  KEP_UNFOLDED_INST_PORT get_mux_input() const { return get_fwd_edge().get_mux_input(); }
  /// The edge as its source sees it.
  inline NUMBERED_FWD_EDGE get_fwd_edge() const;
  /// Where the edge stands among those out of its source, from 0. Added to the number of all edges out of the
  /// nodes before, it is an index of the edge.
  inline std::uint32_t get_fwd_index() const;

  ///@{
  /// Of two edges of one graph.
  friend bool operator==(const BOOST_GRAPH_EDGE& left, const BOOST_GRAPH_EDGE& right) {
    if (left.m_source != right.m_source || left.m_target != right.m_target) return false;
    if (left.m_is_fwd == right.m_is_fwd) return left.m_index == right.m_index;
    return left.get_fwd_index() == right.get_fwd_index();
  }
  friend bool operator!=(const BOOST_GRAPH_EDGE& left, const BOOST_GRAPH_EDGE& right) {
    return !(left == right);
  }
  ///@}
  /// Parallel edges have the same.
  friend std::size_t hash_value(const BOOST_GRAPH_EDGE& edge) {
    const std::uint64_t h = (std::uint64_t{edge.m_source} << 32 | edge.m_target) * 0x9e3779b97f4a7c15U;
    return h ^ (h >> 32);
  }

private:
  template <class EDGE>
  friend class BOOST_GRAPH_VERTEX_EDGE_ITER;
  BOOST_GRAPH_EDGE(const GRAPH* graph, std::uint32_t source, std::uint32_t target, std::uint32_t index,
                   bool is_fwd)
      : m_graph(graph), m_source(source), m_target(target), m_index(static_cast<std::uint16_t>(index)),
        m_is_fwd(is_fwd) {}

  const GRAPH* m_graph = nullptr;
  std::uint32_t m_source = NUMBERED_GRAPH::NONE;
  std::uint32_t m_target = NUMBERED_GRAPH::NONE;
  std::uint16_t m_index = 0; // among the edges out of the source, or into the target
  bool m_is_fwd = true;
};

/// The edges of one vertex: out of it where EDGE is NUMBERED_FWD_EDGE, into it where it is NUMBERED_REV_EDGE.
template <class EDGE>
class BOOST_GRAPH_VERTEX_EDGE_ITER
    : public boost::iterators::iterator_facade<BOOST_GRAPH_VERTEX_EDGE_ITER<EDGE>, BOOST_GRAPH_EDGE,
                                               boost::random_access_traversal_tag, BOOST_GRAPH_EDGE> {
public:
  BOOST_GRAPH_VERTEX_EDGE_ITER() = default;
  /// At the edge of that index; `edges` begins with the first one of the vertex.
  BOOST_GRAPH_VERTEX_EDGE_ITER(std::uint32_t vertex, const NUMBERED_EDGE_ITER<EDGE>& edges,
                               std::uint32_t index)
      : m_edges(edges), m_vertex(vertex), m_index(index) {}
  /// The edge that many places on, which must be in the range.
  BOOST_GRAPH_EDGE operator[](std::ptrdiff_t at) const { return *(*this + at); }

private:
  friend class boost::iterator_core_access;
  BOOST_GRAPH_EDGE dereference() const { return make_edge(m_edges[m_index]); }
  BOOST_GRAPH_EDGE make_edge(const NUMBERED_FWD_EDGE& edge) const {
    return {m_edges.m_source.m_graph, m_vertex, edge.get_fanout(), m_index, true};
  }
  BOOST_GRAPH_EDGE make_edge(const NUMBERED_REV_EDGE& edge) const {
    return {m_edges.m_source.m_graph, edge.get_fanin(), m_vertex, m_index, false};
  }
  bool equal(const BOOST_GRAPH_VERTEX_EDGE_ITER& other) const { return m_index == other.m_index; }
  void increment() { ++m_index; }
  void decrement() { --m_index; }
  void advance(std::ptrdiff_t by) { m_index += static_cast<std::uint32_t>(by); }
  std::ptrdiff_t distance_to(const BOOST_GRAPH_VERTEX_EDGE_ITER& other) const {
    return std::ptrdiff_t{other.m_index} - std::ptrdiff_t{m_index};
  }

  NUMBERED_EDGE_ITER<EDGE> m_edges; // the first one
  std::uint32_t m_vertex = 0;
  std::uint32_t m_index = 0;
};

/// All edges, as their sources see them, in the order of the sources.
class BOOST_GRAPH_EDGE_ITER
    : public boost::iterators::iterator_facade<BOOST_GRAPH_EDGE_ITER, BOOST_GRAPH_EDGE,
                                               boost::forward_traversal_tag, BOOST_GRAPH_EDGE> {
public:
  BOOST_GRAPH_EDGE_ITER() = default;
  /// At the first edge out of the vertex, or of the next one that has any.
  inline BOOST_GRAPH_EDGE_ITER(const NUMBERED_GRAPH& graph, std::uint32_t vertex);

private:
  friend class boost::iterator_core_access;
  BOOST_GRAPH_EDGE dereference() const { return *m_at; }
  bool equal(const BOOST_GRAPH_EDGE_ITER& other) const {
    return m_vertex == other.m_vertex && m_at == other.m_at;
  }
  void increment() {
    if (++m_at == m_end) *this = {NUMBERED_GRAPH(*m_graph), m_vertex + 1};
  }

  const GRAPH* m_graph = nullptr;
  std::uint32_t m_vertex = 0;
  BOOST_GRAPH_VERTEX_EDGE_ITER<NUMBERED_FWD_EDGE> m_at, m_end; // among the edges out of the vertex
};

/// The targets of the edges out of one vertex.
class BOOST_GRAPH_ADJACENCY_ITER
    : public boost::iterators::iterator_adaptor<BOOST_GRAPH_ADJACENCY_ITER,
                                                BOOST_GRAPH_VERTEX_EDGE_ITER<NUMBERED_FWD_EDGE>,
                                                std::uint32_t, boost::iterators::use_default, std::uint32_t> {
public:
  BOOST_GRAPH_ADJACENCY_ITER() = default;
  /// At the target of that edge.
  explicit BOOST_GRAPH_ADJACENCY_ITER(const BOOST_GRAPH_VERTEX_EDGE_ITER<NUMBERED_FWD_EDGE>& edge)
      : iterator_adaptor_(edge) {}

private:
  friend class boost::iterator_core_access;
  std::uint32_t dereference() const { return (*base()).get_target(); }
};

/// What Boost takes the graph for.
struct BOOST_GRAPH_CATEGORY : boost::bidirectional_graph_tag,
                              boost::adjacency_graph_tag,
                              boost::vertex_list_graph_tag,
                              boost::edge_list_graph_tag {};

} // namespace KEP_ROUTING

/// @cond
template <>
struct boost::graph_traits<KEP_ROUTING::NUMBERED_GRAPH> {
  using traversal_category = KEP_ROUTING::BOOST_GRAPH_CATEGORY;
  using directed_category = bidirectional_tag;
  using edge_parallel_category = allow_parallel_edge_tag;
  using vertex_descriptor = std::uint32_t;
  using edge_descriptor = KEP_ROUTING::BOOST_GRAPH_EDGE;
  using vertices_size_type = std::uint32_t;
  using edges_size_type = std::uint64_t;
  using degree_size_type = std::uint32_t;
  using vertex_iterator = counting_iterator<std::uint32_t>;
  using out_edge_iterator = KEP_ROUTING::BOOST_GRAPH_VERTEX_EDGE_ITER<KEP_ROUTING::NUMBERED_FWD_EDGE>;
  using in_edge_iterator = KEP_ROUTING::BOOST_GRAPH_VERTEX_EDGE_ITER<KEP_ROUTING::NUMBERED_REV_EDGE>;
  using edge_iterator = KEP_ROUTING::BOOST_GRAPH_EDGE_ITER;
  using adjacency_iterator = KEP_ROUTING::BOOST_GRAPH_ADJACENCY_ITER;

  static constexpr vertex_descriptor null_vertex() { return KEP_ROUTING::NUMBERED_GRAPH::NONE; }
};

template <>
struct boost::property_map<KEP_ROUTING::NUMBERED_GRAPH, boost::vertex_index_t> {
  using type = typed_identity_property_map<std::uint32_t>;
  using const_type = type;
};

/// By the ends alone: parallel edges have the same.
template <>
struct std::hash<KEP_ROUTING::BOOST_GRAPH_EDGE> {
  std::size_t operator()(const KEP_ROUTING::BOOST_GRAPH_EDGE& edge) const noexcept {
    return hash_value(edge);
  }
};
/// @endcond

namespace KEP_ROUTING {

///@{
/// What the concepts of Boost.Graph ask for, found by the namespace of the graph.
using BOOST_GRAPH_TRAITS = boost::graph_traits<NUMBERED_GRAPH>;
template <class ITER>
using BOOST_GRAPH_RANGE = std::pair<ITER, ITER>;

inline std::uint32_t num_vertices(const NUMBERED_GRAPH& graph) {
  return graph.get_num_nodes();
}
inline BOOST_GRAPH_RANGE<BOOST_GRAPH_TRAITS::vertex_iterator> vertices(const NUMBERED_GRAPH& graph) {
  using ITER = BOOST_GRAPH_TRAITS::vertex_iterator;
  return {ITER(0U), ITER(graph.get_num_nodes())};
}

inline std::uint32_t out_degree(std::uint32_t vertex, const NUMBERED_GRAPH& graph) {
  return graph.get_num_edges(vertex);
}
inline std::uint32_t in_degree(std::uint32_t vertex, const NUMBERED_GRAPH& graph) {
  return graph.get_num_fanin(vertex);
}
inline std::uint32_t degree(std::uint32_t vertex, const NUMBERED_GRAPH& graph) {
  return out_degree(vertex, graph) + in_degree(vertex, graph);
}

/// Real ones, then redundant ones, as iter_all_fanout() gives them.
inline BOOST_GRAPH_RANGE<BOOST_GRAPH_TRAITS::out_edge_iterator> out_edges(std::uint32_t vertex,
                                                                          const NUMBERED_GRAPH& graph) {
  using ITER = BOOST_GRAPH_TRAITS::out_edge_iterator;
  const auto edges = graph.iter_all_fanout(vertex);
  const auto num = static_cast<std::uint32_t>(edges.size());
  return {ITER(vertex, edges.begin(), 0), ITER(vertex, edges.begin(), num)};
}
/// As iter_all_fanin() gives them.
inline BOOST_GRAPH_RANGE<BOOST_GRAPH_TRAITS::in_edge_iterator> in_edges(std::uint32_t vertex,
                                                                        const NUMBERED_GRAPH& graph) {
  using ITER = BOOST_GRAPH_TRAITS::in_edge_iterator;
  const auto edges = graph.iter_all_fanin(vertex);
  const auto num = static_cast<std::uint32_t>(edges.size());
  return {ITER(vertex, edges.begin(), 0), ITER(vertex, edges.begin(), num)};
}
/// A vertex comes once for each of several edges to it.
inline BOOST_GRAPH_RANGE<BOOST_GRAPH_TRAITS::adjacency_iterator>
adjacent_vertices(std::uint32_t vertex, const NUMBERED_GRAPH& graph) {
  using ITER = BOOST_GRAPH_TRAITS::adjacency_iterator;
  const auto edges = out_edges(vertex, graph);
  return {ITER(edges.first), ITER(edges.second)};
}

inline std::uint64_t num_edges(const NUMBERED_GRAPH& graph) {
  return graph.get_graph().get_num_real_edges() + graph.get_graph().get_num_redundant_edges();
}
inline BOOST_GRAPH_EDGE_ITER::BOOST_GRAPH_EDGE_ITER(const NUMBERED_GRAPH& graph, std::uint32_t vertex)
    : m_graph(&graph.get_graph()), m_vertex(vertex) {
  while (m_vertex != graph.get_num_nodes() && graph.get_num_edges(m_vertex) == 0)
    ++m_vertex;
  if (m_vertex != graph.get_num_nodes()) std::tie(m_at, m_end) = out_edges(m_vertex, graph);
}
inline BOOST_GRAPH_RANGE<BOOST_GRAPH_EDGE_ITER> edges(const NUMBERED_GRAPH& graph) {
  return {BOOST_GRAPH_EDGE_ITER(graph, 0), BOOST_GRAPH_EDGE_ITER(graph, graph.get_num_nodes())};
}

inline std::uint32_t source(const BOOST_GRAPH_EDGE& edge, const NUMBERED_GRAPH&) {
  return edge.get_source();
}
inline std::uint32_t target(const BOOST_GRAPH_EDGE& edge, const NUMBERED_GRAPH&) {
  return edge.get_target();
}
/// The first edge between the two, and whether there is one.
inline std::pair<BOOST_GRAPH_EDGE, bool> edge(std::uint32_t from, std::uint32_t to,
                                              const NUMBERED_GRAPH& graph) {
  const auto [begin, end] = out_edges(from, graph);
  for (auto at = begin; at != end; ++at)
    if (const BOOST_GRAPH_EDGE edge = *at; edge.get_target() == to) return {edge, true};
  return {};
}

inline boost::typed_identity_property_map<std::uint32_t> get(boost::vertex_index_t, const NUMBERED_GRAPH&) {
  return {};
}
inline std::uint32_t get(boost::vertex_index_t, const NUMBERED_GRAPH&, std::uint32_t vertex) {
  return vertex;
}
///@}

inline std::uint32_t BOOST_GRAPH_EDGE::get_fwd_index() const {
  if (m_is_fwd) return m_index;
  return NUMBERED_GRAPH(*m_graph).iter_all_fanin(m_target)[m_index].find_fwd_index();
}
inline NUMBERED_FWD_EDGE BOOST_GRAPH_EDGE::get_fwd_edge() const {
  if (!m_graph) return {};
  return NUMBERED_GRAPH(*m_graph).iter_all_fanout(m_source)[get_fwd_index()];
}

} // namespace KEP_ROUTING
