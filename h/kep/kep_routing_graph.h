#pragma once

#include "kep/detail/kep_edge_tables.h"
#include "kep/kep_routing_primitive.h"

#include <tbb/blocked_range.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class KEP_RG_TEST_ACCESS;
class KEP_ROUTING_GRAPH_STORAGE; // where a finished graph is kept; belongs to KEP_ROUTING::GRAPH

/// The finished routing graph: nodes, plain, hipi or boundary, and real and redundant edges between them,
/// each through a mux input or none (docs/glossary.md: node, edge).
///
/// Nodes, edges, iterators and ranges are small values that refer to storage of the graph. Reading allocates
/// nothing and changes nothing; any number of threads may read at once. Values of a graph that was replaced
/// by a newer build must not be used any more.
namespace KEP_ROUTING {

class GRAPH;
class NODE;
class FWD_EDGE;
class REV_EDGE;
template <class T>
class EDGE_ITER;

/// The identity of a node inside its graph: one word that names its place in the model.
class KEP_EXPORT BASE_NODE {
public:
  bool operator==(const BASE_NODE& other) const { return m_word == other.m_word; }
  bool operator!=(const BASE_NODE& other) const { return m_word != other.m_word; }
  explicit operator bool() const { return m_word != 0; }

protected:
  friend class ::KEP_RG_TEST_ACCESS;
  friend class FWD_EDGE;
  friend class GRAPH;
  friend class NODE;
  explicit BASE_NODE(std::uint64_t word) : m_word(word) {}
  std::uint64_t m_word = 0;

private:
  explicit BASE_NODE(bool) {}
};

class KEP_EXPORT NODE : public BASE_NODE {
public:
  /// The null node of no graph.
  NODE() : BASE_NODE(false) {}
  /// The boundary node of a port of the top; the null node for null and for a port without one.
  explicit NODE(const KEP_PORT* port);
  explicit NODE(std::nullptr_t) : NODE() {}
  /// The hipi node that stands at the uip when `hipi` is set, else the plain node; the null node if there is
  /// none.
  NODE(const KEP_UNFOLDED_INST_PORT& uip, bool hipi);

  /// The same identity in the same graph.
  bool operator==(const NODE& other) const { return m_word == other.m_word && m_graph == other.m_graph; }
  bool operator!=(const NODE& other) const { return !(*this == other); }
  unsigned long long hash() const {
    const std::uint64_t h = m_word * 0x9e3779b97f4a7c15U;
    return h ^ (h >> 32);
  }

  bool is_boundary() const;
  bool is_hipi() const;
  /// The port of a boundary node, null for any other.
  KEP_PORT* get_port() const;
  /// The uip of a plain or hipi node, empty for a boundary node.
  KEP_UNFOLDED_INST_PORT get_unfolded_inst_port() const;
  /// The hipi node at the place of this plain node, or the null node.
  NODE get_hipi_node() const;

  inline unsigned short get_num_edges() const;
  inline unsigned short get_num_real_edges() const;
  inline unsigned short get_num_fanin() const;
  inline boost::iterator_range<EDGE_ITER<FWD_EDGE>> iter_real_fanout() const;
  inline boost::iterator_range<EDGE_ITER<FWD_EDGE>> iter_redundant_fanout() const;
  /// The real ones, then the redundant ones.
  inline boost::iterator_range<EDGE_ITER<FWD_EDGE>> iter_all_fanout() const;
  /// A hipi fanin first, then by the order of the nodes they come from.
  inline boost::iterator_range<EDGE_ITER<REV_EDGE>> iter_all_fanin() const;

  /// The full name of its uip, or `:p` for a boundary node.
  std::string get_name(const KEP_NAME_STYLE& style) const;

  GRAPH* m_graph = nullptr;

private:
  friend class GRAPH;
  friend class FWD_EDGE;
  friend class REV_EDGE;
  friend class NODE_ITER;
  NODE(std::uint64_t word, GRAPH* graph) : BASE_NODE(word), m_graph(graph) {}
  template <class T>
  boost::iterator_range<EDGE_ITER<T>> make_range(std::uint32_t begin, std::uint32_t end) const {
    const auto own = static_cast<std::uint32_t>(m_word >> 32);
    return {EDGE_ITER<T>(m_graph, own, begin), EDGE_ITER<T>(m_graph, own, end)};
  }
};
static_assert(sizeof(NODE) == 16, "identity and graph");

class KEP_EXPORT FWD_EDGE {
public:
  NODE get_fanout() const { return m_fanout; }
  /// The uip of the mux input through which the edge reaches its fanout; empty without a mux.
  KEP_UNFOLDED_INST_PORT get_mux_input() const;

private:
  template <class T>
  friend class EDGE_ITER;
  inline FWD_EDGE(GRAPH* graph, std::uint32_t own, std::uint32_t position);
  NODE m_fanout;
  std::uint32_t m_own;      // the place of the node that the edge comes from
  std::uint32_t m_position; // among the graph's fanouts
};

class REV_EDGE {
public:
  /// The node that the edge comes from.
  NODE get_fanin() const { return m_fanin; }

private:
  template <class T>
  friend class EDGE_ITER;
  inline REV_EDGE(GRAPH* graph, std::uint32_t own, std::uint32_t position);
  NODE m_fanin;
};

/// The edges of one node. Two iterators of one range are equal when their positions are.
template <class T>
class EDGE_ITER : public boost::iterators::iterator_facade<EDGE_ITER<T>, T, boost::forward_traversal_tag, T> {
public:
  EDGE_ITER() = default;

private:
  friend class boost::iterator_core_access;
  friend class NODE;
  EDGE_ITER(GRAPH* graph, std::uint32_t own, std::uint32_t position)
      : m_graph(graph), m_own(own), m_position(position) {}
  T dereference() const { return T(m_graph, m_own, m_position); }
  bool equal(const EDGE_ITER& other) const { return m_position == other.m_position; }
  void increment() { ++m_position; }

  GRAPH* m_graph = nullptr;
  std::uint32_t m_own = 0; // the node's place
  std::uint32_t m_position = 0;
};

class KEP_EXPORT NODE_ITER
    : public boost::iterators::iterator_facade<NODE_ITER, NODE, boost::forward_traversal_tag, NODE> {
public:
  NODE_ITER() = default;

private:
  friend class boost::iterator_core_access;
  friend class GRAPH;
  friend class NODE_ITER_RANGE;
  NODE_ITER(GRAPH* graph, std::uint32_t index);
  NODE dereference() const {
    return NODE(std::uint64_t{m_place} << 32 | (m_rank + std::uint64_t{1}), m_graph);
  }
  bool equal(const NODE_ITER& other) const { return m_index == other.m_index; }
  inline void increment();

  GRAPH* m_graph = nullptr;
  std::uint32_t m_index = 0;
  std::uint32_t m_place = 0;
  std::uint32_t m_rank = 0;
  std::uint32_t m_last = 0; // index of the last node of the place
};

/// A range of nodes that TBB can split: it is divisible while it holds more nodes than its grain.
class KEP_EXPORT NODE_ITER_RANGE : public boost::iterator_range<NODE_ITER> {
public:
  NODE_ITER_RANGE(NODE_ITER_RANGE& other, tbb::split);
  bool is_divisible() const;

private:
  friend class GRAPH;
  NODE_ITER_RANGE(const NODE_ITER& begin, const NODE_ITER& end, unsigned grain)
      : boost::iterator_range<NODE_ITER>(begin, end), m_grain(grain) {}
  unsigned m_grain;
};

/// The graph of a database, and the description it is built from. Before the first build it has no nodes.
class KEP_EXPORT GRAPH {
public:
  explicit GRAPH(KEP_DB* db);
  ~GRAPH();
  GRAPH(const GRAPH&) = delete;
  GRAPH& operator=(const GRAPH&) = delete;

  KEP_ROUTING_PRIMITIVE* get_routing_primitive() { return &m_routing_primitive; }
  const KEP_ROUTING_PRIMITIVE* find_routing_primitive() const { return &m_routing_primitive; }

  /// Every node once, in an order that stays the same as long as the graph.
  NODE_ITER_RANGE iter_nodes() const { return iter_nodes_with_grain(1); }
  NODE_ITER_RANGE iter_nodes_with_grain(unsigned grain) const;

  /// Calls `visit(from, to)` for each edge of the nodes of a range of this graph, in the order of
  /// iter_all_fanout(): the fastest way to read them all.
  template <class VISIT>
  void visit_edges(const NODE_ITER_RANGE& range, VISIT&& visit) const;

  /// The place of a node of this graph in the order of iter_nodes(), from 0; and the node of a place.
  std::uint32_t get_index(const NODE& node) const;
  NODE get_node(std::uint32_t index) const;
  /// Appends the numbers of the real fanouts of the node of that number, in the order of iter_real_fanout():
  /// for walks that go by numbers and need no nodes on the way; an edge to nowhere, in a damaged graph, is
  /// left out. `near` is the caller's, 0 at first: it makes calls for neighbouring numbers fast.
  void append_real_fanouts(std::uint32_t index, std::uint32_t& near,
                           std::vector<std::uint32_t>& fanouts) const;

  std::uint64_t get_num_nodes() const;
  std::uint64_t get_num_real_edges() const;
  std::uint64_t get_num_redundant_edges() const;
  /// The number of distinct lists of fanouts, as seen from their nodes, that the graph stores.
  std::uint64_t get_num_templates() const;
  /// What the graph holds in memory, all of it.
  std::uint64_t get_memory_bytes() const;

  /// Replaces the graph by a newer one, at the end of a build.
  void publish(std::unique_ptr<const KEP_ROUTING_GRAPH_STORAGE> storage);

protected:
  friend class ::KEP_RG_TEST_ACCESS;
  friend class NODE;
  friend class FWD_EDGE;
  friend class REV_EDGE;
  friend class NODE_ITER;
  KEP_PORT* get_port(const BASE_NODE& node) const;
  KEP_UNFOLDED_INST_PORT get_unfolded_inst_port(const BASE_NODE& node) const;
  bool is_boundary(const BASE_NODE& node) const;
  bool is_hipi(const BASE_NODE& node) const;

private:
  std::uint32_t get_key(const BASE_NODE& node) const;

  KEP_DB* m_db;
  KEP_ROUTING_PRIMITIVE m_routing_primitive;
  std::unique_ptr<const KEP_ROUTING_GRAPH_STORAGE> m_storage;
  KEP_EDGE_TABLES m_tables{}; // of the storage; all null without one
};

inline FWD_EDGE::FWD_EDGE(GRAPH* graph, std::uint32_t own, std::uint32_t position)
    : m_fanout(graph->m_tables.m_fanouts[position].get_word(own), graph), m_own(own), m_position(position) {}
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
  const KEP_EDGE_TABLES tables = m_tables; // a copy: what the visitor writes cannot change it
  std::uint32_t place = range.begin().m_place;
  std::uint32_t rank = range.begin().m_rank;
  std::uint32_t index = range.begin().m_index;
  const std::uint32_t end = range.end().m_index;
  for (; index != end; ++place, rank = 0) {
    const std::uint32_t last = std::min(tables.m_first_nodes[place + std::size_t{1}], end);
    KEP_PACKED_NUMBERS shapes = tables.m_shapes_of_nodes;
    shapes.m_bytes += (tables.m_pages[place] + std::size_t{rank}) * shapes.m_width;
    std::uint64_t word = std::uint64_t{place} << 32 | rank;
    std::uint32_t next_number = shapes.get(0);
    KEP_NODE_SHAPE next_shape = tables.m_shapes[next_number];
    while (index != last) {
      // Where a node's edges end is foreseen badly; the next shape is there by then.
      const std::uint32_t number = next_number;
      const KEP_NODE_SHAPE shape = next_shape;
      shapes.m_bytes += shapes.m_width;
      next_number = shapes.get(0);
      next_shape = tables.m_shapes[next_number];
      ++word;
      if (number == KEP_EDGE_TABLES::NO_NODE) continue;
      ++index;
      const NODE from(word, graph);
      const KEP_SEEN_WORD* fanout = tables.m_fanouts + shape.m_first_fanout;
      const KEP_SEEN_WORD* behind = fanout + shape.m_num_fanouts;
      if (shape.m_has_absolute) {
        for (; fanout != behind; ++fanout)
          visit(from, NODE(fanout->get_word(place), graph));
      } else {
        for (; fanout != behind; ++fanout)
          visit(from, NODE(fanout->get_relative_word(place), graph));
      }
    }
  }
}

inline void NODE_ITER::increment() {
  const KEP_EDGE_TABLES& tables = m_graph->m_tables;
  if (m_index++ == m_last) {
    if (m_index == tables.m_num_nodes) return;
    do
      ++m_place;
    while (tables.m_first_nodes[m_place + std::size_t{1}] == m_index);
    m_last = tables.m_first_nodes[m_place + std::size_t{1}] - 1;
    m_rank = 0;
  } else {
    ++m_rank;
  }
  const std::size_t page = tables.m_pages[m_place];
  while (tables.m_shapes_of_nodes.get(page + m_rank) == KEP_EDGE_TABLES::NO_NODE)
    ++m_rank;
}

} // namespace KEP_ROUTING

template <>
struct std::hash<KEP_ROUTING::NODE> {
  std::size_t operator()(const KEP_ROUTING::NODE& node) const noexcept { return node.hash(); }
};
