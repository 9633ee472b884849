#pragma once

/// @file
/// A finished graph: its nodes and edges.

#include "kep/detail/kep_edge_tables.h"
#include "kep/kep_routing_primitive.h"

#include <tbb/blocked_range.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class KEP_COMPARED_GRAPH;
class KEP_DATABASE_LISTER;
class KEP_DATABASE_RESTORER;
class KEP_RG_TEST_ACCESS;
class KEP_TEST_ACCESS;
class KEP_ROUTING_BUILDER_GRAPH;
struct KEP_ROUTING_GRAPH_STORAGE; // where a finished graph is kept; belongs to KEP_ROUTING::GRAPH

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
class NUMBERED_GRAPH;
class NUMBERED_FWD_EDGE;
class NUMBERED_REV_EDGE;
template <class T>
class EDGE_ITER;

/// The identity of a node inside its graph: one word that names its place in the model.
class KEP_EXPORT BASE_NODE {
public:
  ///@{
  /// Whether it is the same place, which tells only among nodes of one graph.
  bool operator==(const BASE_NODE& other) const { return m_word == other.m_word; }
  bool operator!=(const BASE_NODE& other) const { return m_word != other.m_word; }
  ///@}
  /// False for the null node.
  explicit operator bool() const { return m_word != 0; }

protected:
  friend class ::KEP_RG_TEST_ACCESS;
  friend class FWD_EDGE;
  friend class GRAPH;
  friend class NODE;
  ///@{
  /// The place and the rank there, from 1; 0 is no node.
  explicit BASE_NODE(std::uint64_t word) : m_word(word) {}
  std::uint64_t m_word = 0;
  ///@}

private:
  explicit BASE_NODE(bool) {}
};

/// How a node is named: `:p` for a port of the top, the full name of the uip without one.
KEP_EXPORT void append_node_name(const KEP_PORT* port, const KEP_UNFOLDED_INST_PORT& uip,
                                 const KEP_NAME_STYLE& style, std::string& name);

/// A node of a graph. Every operation on the null node is total: it gives a null node, an empty range or
/// value, false or 0.
class KEP_EXPORT NODE : public BASE_NODE {
public:
  /// The null node of no graph.
  NODE() : BASE_NODE(false) {}
  /// The boundary node of a port of the top; the null node for null and for a port without one.
  explicit NODE(const KEP_PORT* port);
  /// The null node of no graph.
  explicit NODE(std::nullptr_t) : NODE() {}
  /// The hipi node that stands at the uip when `hipi` is set, else the plain node; the null node if there is
  /// none.
  NODE(const KEP_UNFOLDED_INST_PORT& uip, bool hipi);

  ///@{
  /// The same identity in the same graph.
  bool operator==(const NODE& other) const { return m_word == other.m_word && m_graph == other.m_graph; }
  bool operator!=(const NODE& other) const { return !(*this == other); }
  ///@}
  /// Spreads the identity. Equal nodes have equal hashes, in every run.
  unsigned long long hash() const {
    const std::uint64_t h = m_word * 0x9e3779b97f4a7c15U;
    return h ^ (h >> 32);
  }

  ///@{
  /// Its kind: neither holds for a plain node.
  bool is_boundary() const;
  bool is_hipi() const;
  ///@}
  /// The port of a boundary node, null for any other.
  KEP_PORT* get_port() const;
  /// The uip of a plain or hipi node, empty for a boundary node.
  KEP_UNFOLDED_INST_PORT get_unfolded_inst_port() const;
  /// The hipi node at the place of this plain node, or the null node.
  NODE get_hipi_node() const;

  ///@{
  /// All fanouts, the real ones among them, and all fanins; each from 0 to 65535.
  inline unsigned short get_num_edges() const;
  inline unsigned short get_num_real_edges() const;
  inline unsigned short get_num_fanin() const;
  ///@}
  ///@{
  /// The fanouts of one class, in an order that stays the same.
  inline boost::iterator_range<EDGE_ITER<FWD_EDGE>> iter_real_fanout() const;
  inline boost::iterator_range<EDGE_ITER<FWD_EDGE>> iter_redundant_fanout() const;
  ///@}
  /// The real ones, then the redundant ones.
  inline boost::iterator_range<EDGE_ITER<FWD_EDGE>> iter_all_fanout() const;
  /// A hipi fanin first, then by the order of the nodes they come from.
  inline boost::iterator_range<EDGE_ITER<REV_EDGE>> iter_all_fanin() const;

  ///@{
  /// Its full name, as a dump has it: `a/b:c`, and `:p` for a boundary node. A hipi node has the name of its
  /// plain one.
  std::string get_name(const KEP_NAME_STYLE& style) const;
  void append_name(const KEP_NAME_STYLE& style, std::string& name) const;
  ///@}

  /// The graph of the node; null for the null node of none.
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

/// An edge, as its source sees it.
class KEP_EXPORT FWD_EDGE {
public:
  /// The node that the edge goes to; null in a damaged graph alone.
  NODE get_fanout() const { return m_fanout; }
  /// The uip of the mux input through which the edge reaches its fanout; empty without a mux.
  KEP_UNFOLDED_INST_PORT get_mux_input() const;

private:
  friend class NUMBERED_FWD_EDGE;
  template <class T>
  friend class EDGE_ITER;
  inline FWD_EDGE(GRAPH* graph, std::uint32_t own, std::uint32_t position);
  NODE m_fanout;
  std::uint32_t m_position; // among the graph's fanouts
};

/// An edge, as its target sees it.
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

/// Over the nodes of a graph, in its order.
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
  /// Takes the second half of the other one.
  NODE_ITER_RANGE(NODE_ITER_RANGE& other, tbb::split);
  /// It holds more nodes than its grain.
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
  /// A graph without nodes. Each database has its own: KEP_DB::get_routing_template_graph().
  explicit GRAPH(KEP_DB* db);
  ~GRAPH();
  GRAPH(const GRAPH&) = delete;
  GRAPH& operator=(const GRAPH&) = delete;

  ///@{
  /// The description that graphs are built from. Never null.
  KEP_ROUTING_PRIMITIVE* get_routing_primitive() { return &m_routing_primitive; }
  const KEP_ROUTING_PRIMITIVE* find_routing_primitive() const { return &m_routing_primitive; }
  ///@}

  ///@{
  /// Every node once, in an order that stays the same as long as the graph.
  NODE_ITER_RANGE iter_nodes() const { return iter_nodes_with_grain(1); }
  NODE_ITER_RANGE iter_nodes_with_grain(unsigned grain) const;
  ///@}
  /// Those of these numbers in that order; `end` must not be above get_num_nodes().
  NODE_ITER_RANGE iter_nodes_with_grain(unsigned grain, std::uint32_t first, std::uint32_t end) const;

  /// Calls `visit(from, to)` for each edge of the nodes of a range of this graph, in the order of
  /// iter_all_fanout(): the fastest way to read them all.
  template <class VISIT>
  void visit_edges(const NODE_ITER_RANGE& range, VISIT&& visit) const;

  ///@{
  /// The number of a node of this graph in the order of iter_nodes(), from 0; and the node of a number, which
  /// must be below get_num_nodes(). What goes by numbers alone reads a NUMBERED_GRAPH (kep_numbered_graph.h).
  inline std::uint32_t get_index(const NODE& node) const;
  inline NODE get_node(std::uint32_t index) const;
  ///@}

  /// The numbers of the nodes that stand inside a module at its position, at any depth: from `first` up to
  /// `second`, which is not one of them; those are all of them and no others. Ports of the module itself
  /// stand outside. Takes a look at each inner occurrence below.
  std::pair<std::uint32_t, std::uint32_t> find_numbers_below(const KEP_UNFOLDED_MODULE& module) const;

  /// At the inner occurrence stand all nodes that stand at any occurrence of its module, one at least.
  bool has_all_nodes_at(std::uint32_t occurrence) const;

  ///@{
  /// How many there are in the whole graph, in constant time.
  std::uint64_t get_num_nodes() const;
  std::uint64_t get_num_real_edges() const;
  std::uint64_t get_num_redundant_edges() const;
  ///@}
  /// The number of distinct lists of fanouts, as seen from their nodes, that the graph stores.
  std::uint64_t get_num_templates() const;
  /// What the graph holds in memory, all of it.
  std::uint64_t get_memory_bytes() const;

protected:
  friend class ::KEP_TEST_ACCESS;
  friend class ::KEP_RG_TEST_ACCESS;
  friend class NODE;
  friend class FWD_EDGE;
  friend class REV_EDGE;
  friend class NODE_ITER;
  friend class NUMBERED_FWD_EDGE;
  friend class NUMBERED_REV_EDGE;
  friend class NUMBERED_GRAPH;
  ///@{
  /// What NODE tells of a node of this graph.
  KEP_PORT* get_port(const BASE_NODE& node) const;
  KEP_UNFOLDED_INST_PORT get_unfolded_inst_port(const BASE_NODE& node) const;
  bool is_boundary(const BASE_NODE& node) const;
  bool is_hipi(const BASE_NODE& node) const;
  ///@}

private:
  friend class ::KEP_COMPARED_GRAPH;
  friend class ::KEP_DATABASE_LISTER;
  friend class ::KEP_DATABASE_RESTORER;
  friend class ::KEP_ROUTING_BUILDER_GRAPH;
  std::uint32_t get_key(const BASE_NODE& node) const;
  /// Replaces the graph by a newer one, at the end of a build.
  void publish(std::unique_ptr<const KEP_ROUTING_GRAPH_STORAGE> storage);

  KEP_DB* m_db;
  KEP_ROUTING_PRIMITIVE m_routing_primitive;
  std::unique_ptr<const KEP_ROUTING_GRAPH_STORAGE> m_storage;
  KEP_EDGE_TABLES m_tables{}; // of the storage; all null without one
};

} // namespace KEP_ROUTING

/// @cond
template <>
struct std::hash<KEP_ROUTING::NODE> {
  std::size_t operator()(const KEP_ROUTING::NODE& node) const noexcept { return node.hash(); }
};
/// @endcond

#include "kep/detail/kep_routing_graph_inline.h"
