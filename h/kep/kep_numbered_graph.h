#pragma once

/// @file
/// A finished graph by numbers, for routers.

#include "kep/kep_routing_graph.h"

#include <cstddef>
#include <cstdint>

/// A finished graph as a router reads it: by the numbers of its nodes alone, from 0 to get_num_nodes() - 1 in
/// the order of GRAPH::iter_nodes(). What a router knows of nodes then stands in arrays by number; it asks
/// for a NODE (GRAPH::get_node(), GRAPH::get_index()) where a name or a place is wanted.
///
///     const KEP_ROUTING::NUMBERED_GRAPH numbers(*db->get_routing_template_graph());
///     for (const KEP_ROUTING::NUMBERED_FWD_EDGE& edge : numbers.iter_real_fanout(node))
///       relax(edge.get_fanout());
///
/// Graph, edges and ranges are small values that refer to the graph. Reading allocates nothing and changes
/// nothing; any number of threads may read at once. Values of a graph that was replaced by a newer build must
/// not be used any more. Numbers that are handed in must be below get_num_nodes().
namespace KEP_ROUTING {

/// An edge, as its source sees it. The class and the mux input cost nothing where they are not asked for.
class NUMBERED_FWD_EDGE {
public:
  /// An edge to nowhere.
  NUMBERED_FWD_EDGE() = default;

  /// The number of the node that the edge goes to; NUMBERED_GRAPH::NONE in a damaged graph alone.
  std::uint32_t get_fanout() const { return m_fanout; }
  /// Its class.
  bool is_redundant() const { return m_position >= m_source.m_end_of_real; }
  /// The uip of the mux input through which the edge reaches its fanout; empty without a mux.
  inline KEP_UNFOLDED_INST_PORT get_mux_input() const;

private:
  friend class NUMBERED_GRAPH;
  template <class EDGE>
  friend class NUMBERED_EDGE_ITER;
  struct SOURCE {
    const GRAPH* m_graph = nullptr;
    std::uint32_t m_place = 0;       // of the node that the edge comes from
    std::uint32_t m_end_of_real = 0; // the position behind its last real fanout
  };
  NUMBERED_FWD_EDGE(const SOURCE& source, std::uint32_t position, std::uint32_t fanout)
      : m_source(source), m_position(position), m_fanout(fanout) {}
  inline NUMBERED_FWD_EDGE(const SOURCE& source, std::uint32_t position);

  SOURCE m_source;
  std::uint32_t m_position = 0; // among the graph's fanouts
  std::uint32_t m_fanout = KEP_NUMBERED_PLACES::NONE;
};

/// An edge, as its target sees it.
class NUMBERED_REV_EDGE {
public:
  /// The number of the node that the edge comes from; NUMBERED_GRAPH::NONE in a damaged graph alone.
  std::uint32_t get_fanin() const { return m_fanin; }
  /// The edge as that node sees it, which tells the class and the mux input. Found by a walk over that node's
  /// fanouts; of several edges between two nodes the first one here is the first one there.
  inline NUMBERED_FWD_EDGE find_fwd_edge() const;
  /// The index of that edge in iter_all_fanout() of the node; NUMBERED_GRAPH::NONE in a damaged graph alone.
  inline std::uint32_t find_fwd_index() const;

private:
  friend class NUMBERED_GRAPH;
  template <class EDGE>
  friend class NUMBERED_EDGE_ITER;
  struct SOURCE {
    const GRAPH* m_graph = nullptr;
    std::uint32_t m_place = 0; // of the node that the edge goes to
    std::uint32_t m_node = 0;  // its number
    std::uint32_t m_first = 0; // the position of its first fanin
  };
  inline NUMBERED_REV_EDGE(const SOURCE& source, std::uint32_t position);

  SOURCE m_source;
  std::uint32_t m_position; // among the graph's fanins
  std::uint32_t m_fanin;
};

/// The edges of one node, by position.
template <class EDGE>
class NUMBERED_EDGE_ITER
    : public boost::iterators::iterator_facade<NUMBERED_EDGE_ITER<EDGE>, EDGE,
                                               boost::random_access_traversal_tag, EDGE> {
public:
  NUMBERED_EDGE_ITER() = default;
  /// The edge that many places on, which must be in the range.
  EDGE operator[](std::ptrdiff_t at) const { return *(*this + at); }

private:
  friend class boost::iterator_core_access;
  template <class OTHER>
  friend class BOOST_GRAPH_VERTEX_EDGE_ITER;
  friend class NUMBERED_GRAPH;
  NUMBERED_EDGE_ITER(const typename EDGE::SOURCE& source, std::uint32_t position)
      : m_source(source), m_position(position) {}
  EDGE dereference() const { return EDGE(m_source, m_position); }
  bool equal(const NUMBERED_EDGE_ITER& other) const { return m_position == other.m_position; }
  void increment() { ++m_position; }
  void decrement() { --m_position; }
  void advance(std::ptrdiff_t by) { m_position += static_cast<std::uint32_t>(by); }
  std::ptrdiff_t distance_to(const NUMBERED_EDGE_ITER& other) const {
    return std::ptrdiff_t{other.m_position} - std::ptrdiff_t{m_position};
  }

  typename EDGE::SOURCE m_source;
  std::uint32_t m_position = 0;
};

/// A graph by the numbers of its nodes.
class NUMBERED_GRAPH {
public:
  /// No node.
  static constexpr std::uint32_t NONE = KEP_NUMBERED_PLACES::NONE;
  /// The edges of a node of one kind, at random access.
  template <class EDGE>
  using RANGE = boost::iterator_range<NUMBERED_EDGE_ITER<EDGE>>;

  /// The graph must have been built; a newer build makes this view worthless.
  explicit NUMBERED_GRAPH(const GRAPH& graph) : m_graph(&graph) {}

  /// Which gives the NODE of a number.
  const GRAPH& get_graph() const { return *m_graph; }
  /// Numbers are below this one.
  std::uint32_t get_num_nodes() const { return m_graph->m_tables.m_num_nodes; }

  ///@{
  /// How many edges of a node there are: all fanouts, the real ones among them, all fanins.
  unsigned short get_num_edges(std::uint32_t node) const { return find(node).m_shape.m_num_fanouts; }
  unsigned short get_num_real_edges(std::uint32_t node) const { return find(node).m_shape.m_num_real; }
  unsigned short get_num_fanin(std::uint32_t node) const { return find(node).m_shape.m_num_fanins; }
  ///@}

  ///@{
  /// The edges of a node, in the order in which NODE gives them.
  inline RANGE<NUMBERED_FWD_EDGE> iter_real_fanout(std::uint32_t node) const;
  inline RANGE<NUMBERED_FWD_EDGE> iter_redundant_fanout(std::uint32_t node) const;
  inline RANGE<NUMBERED_FWD_EDGE> iter_all_fanout(std::uint32_t node) const;
  inline RANGE<NUMBERED_REV_EDGE> iter_all_fanin(std::uint32_t node) const;
  ///@}

  ///@{
  /// Passes over nodes `first` to `end - 1`, in their order, at a fraction of what asking for each costs.
  /// visit_edges() calls `visit(from, edge)` for each edge out of them, with the number of its source and the
  /// NUMBERED_FWD_EDGE, for each node in the order of iter_all_fanout(); visit_nodes() calls
  /// `visit(node, num_real, num_edges)` for each node, with the numbers of its real and of all its fanouts.
  /// `end` may be get_num_nodes(); nothing is visited unless it is above `first`.
  template <class VISIT>
  void visit_edges(std::uint32_t first, std::uint32_t end, VISIT&& visit) const;
  template <class VISIT>
  void visit_nodes(std::uint32_t first, std::uint32_t end, VISIT&& visit) const;
  ///@}

private:
  struct PLACED {
    std::uint32_t m_place;
    const KEP_NODE_SHAPE& m_shape;
  };
  PLACED find(std::uint32_t node) const {
    const std::uint64_t word = m_graph->m_tables.get_word(node);
    return {static_cast<std::uint32_t>(word >> 32), m_graph->m_tables.get_shape(word)};
  }
  template <class VISIT>
  static void visit_shapes(const KEP_EDGE_TABLES& tables, std::uint32_t first, std::uint32_t end,
                           const VISIT& visit);
  inline RANGE<NUMBERED_FWD_EDGE> make_range(const PLACED& at, std::uint32_t begin, std::uint32_t end) const;

  const GRAPH* m_graph;
};

} // namespace KEP_ROUTING

#include "kep/detail/kep_numbered_graph_inline.h"
