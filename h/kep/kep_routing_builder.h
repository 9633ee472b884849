#pragma once

#include "kep/kep_routing_graph.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <oneapi/tbb/mutex.h>
#include <string>
#include <utility>
#include <vector>

/// @file
/// The graph under construction: nodes are allocated and found by their uips, fanouts are set from many
/// threads, and the last step publishes the finished graph in the database. Until then the database shows the
/// graph that it had. Boundary nodes, hipi twins and templates are those of docs/glossary.md.
///
/// One thread calls, unless an operation is marked concurrent.

class KEP_OCCURRENCE_PLACES;
class KEP_PLACE_LAYOUT;
class KEP_ROUTING_BUILDER_GRAPH;

namespace KEP_ROUTING_REVERSE_EDGE_BUILDER {
/// The last step of a build: adds the fanins and publishes the finished graph in the database. The flag is
/// accepted and changes nothing. KEP_DB_ERROR, naming the node, for more than 65535 fanins; the old graph
/// then stays.
KEP_EXPORT void add_reverse_edges(KEP_ROUTING_BUILDER_GRAPH* graph, bool);
} // namespace KEP_ROUTING_REVERSE_EDGE_BUILDER

struct KEP_ROUTING_BUILDER_NODE_CHUNK;

/// A node under construction, 8 bytes: what else it tells it works out from the chunk in which it stands, so
/// it is never copied. Nodes move once, when the graph is sorted for templating; from then on a pointer to
/// one is valid as long as the graph.
class KEP_EXPORT KEP_ROUTING_BUILDER_NODE {
public:
  // The graph owns its nodes. KEP_DB_ERROR when it has 2147483647 of them.
  /// A new boundary node for a port of the top module.
  static KEP_ROUTING_BUILDER_NODE* allocate(KEP_ROUTING_BUILDER_GRAPH* graph, const KEP_PORT* port);
  /// A new node for a uip. A second node for one uip is its hipi twin.
  static KEP_ROUTING_BUILDER_NODE* allocate(KEP_ROUTING_BUILDER_GRAPH* graph,
                                            const KEP_UNFOLDED_INST_PORT& uip);
  KEP_ROUTING_BUILDER_NODE() = default;
  KEP_ROUTING_BUILDER_NODE(const KEP_ROUTING_BUILDER_NODE&) = delete;
  KEP_ROUTING_BUILDER_NODE& operator=(const KEP_ROUTING_BUILDER_NODE&) = delete;

  // Concurrent, but for set_hipi.
  ///@{
  /// Its kind: neither holds for a plain node.
  bool is_boundary() const { return m_occurrence == KEP_UNFOLDING::ABOVE_TOP; }
  bool is_hipi() const { return m_is_hipi; }
  ///@}
  /// Makes it a hipi twin or a plain node; before the nodes are sorted.
  void set_hipi(bool is_hipi) { m_is_hipi = is_hipi; }
  /// The port of a boundary node, null for any other.
  inline KEP_PORT* get_port() const;
  /// The uip of a node that is no boundary node, the same for a hipi twin.
  KEP_UNFOLDED_INST_PORT get_unfolded_inst_port() const {
    return is_boundary() ? KEP_UNFOLDED_INST_PORT() : KEP_UNFOLDED_INST_PORT(m_occurrence, get_inst_port());
  }
  /// That uip's inst port, null for a boundary node.
  inline KEP_INST_PORT* get_inst_port() const;
  /// The node's place in its graph, from 0.
  inline std::uint32_t get_index() const;
  /// The name that the node will have in the finished graph.
  std::string get_name(const KEP_NAME_STYLE& style) const;
  /// The inner occurrence in which the node stands; KEP_UNFOLDING::ABOVE_TOP for a boundary node.
  std::uint32_t get_occurrence() const { return m_occurrence; }
  /// The number of the inst port in its module, or that of a boundary node's port.
  std::uint32_t get_number() const { return m_number; }
  /// What tells the nodes of one occurrence apart, and their order there.
  std::uint32_t get_key() const { return m_number << 1 | static_cast<std::uint32_t>(m_is_hipi); }

private:
  friend class KEP_NODE_SORTER;
  friend class KEP_ROUTING_BUILDER_GRAPH;
  inline const KEP_ROUTING_BUILDER_NODE_CHUNK& get_chunk() const;
  void set(std::uint32_t occurrence, std::uint32_t number, bool is_hipi) {
    m_occurrence = occurrence;
    m_number = number & 0x7fffffff;
    m_is_hipi = is_hipi;
  }

  std::uint32_t m_occurrence;
  std::uint32_t m_number : 31;
  std::uint32_t m_is_hipi : 1;
};
static_assert(sizeof(KEP_ROUTING_BUILDER_NODE) == 8, "a build holds one for each node");

/// The nodes of a graph stand in chunks of a mebibyte, each at a multiple of its size, so that a node finds
/// its chunk.
struct alignas(1 << 20) KEP_ROUTING_BUILDER_NODE_CHUNK {
  /// How many nodes a chunk holds.
  static constexpr std::uint32_t NUM_NODES = ((1 << 20) - 16) / sizeof(KEP_ROUTING_BUILDER_NODE);

  const KEP_UNFOLDING* m_unfolding;            ///< of the database
  std::uint32_t m_first_index;                 ///< of the first node, in the graph
  KEP_ROUTING_BUILDER_NODE m_nodes[NUM_NODES]; ///< those behind the last one mean nothing
};
static_assert(sizeof(KEP_ROUTING_BUILDER_NODE_CHUNK) == 1 << 20);

inline const KEP_ROUTING_BUILDER_NODE_CHUNK& KEP_ROUTING_BUILDER_NODE::get_chunk() const {
  const std::uintptr_t behind_begin =
      reinterpret_cast<std::uintptr_t>(this) % sizeof(KEP_ROUTING_BUILDER_NODE_CHUNK);
  return *reinterpret_cast<const KEP_ROUTING_BUILDER_NODE_CHUNK*>(reinterpret_cast<const char*>(this) -
                                                                  behind_begin);
}
inline KEP_PORT* KEP_ROUTING_BUILDER_NODE::get_port() const {
  return is_boundary() ? get_chunk().m_unfolding->get_ports()[m_number] : nullptr;
}
inline KEP_INST_PORT* KEP_ROUTING_BUILDER_NODE::get_inst_port() const {
  if (is_boundary()) return nullptr;
  return get_chunk().m_unfolding->get_module(m_occurrence)->get_inst_port_by_number(m_number);
}
inline std::uint32_t KEP_ROUTING_BUILDER_NODE::get_index() const {
  const KEP_ROUTING_BUILDER_NODE_CHUNK& chunk = get_chunk();
  return chunk.m_first_index + static_cast<std::uint32_t>(this - chunk.m_nodes);
}

/// Over the nodes of a graph under construction, by their places in it.
class KEP_EXPORT KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER
    : public boost::iterator_facade<KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER,
                                    KEP_ROUTING_BUILDER_NODE*, boost::forward_traversal_tag,
                                    KEP_ROUTING_BUILDER_NODE*> {
public:
  KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER() = default;
  /// At the node of that index.
  KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER(KEP_ROUTING_BUILDER_GRAPH* graph, std::uint32_t index)
      : m_graph(graph), m_index(index) {}

private:
  friend class boost::iterator_core_access;
  friend class KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER_RANGE;
  KEP_ROUTING_BUILDER_NODE* dereference() const;
  bool equal(const KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER& other) const {
    return m_index == other.m_index;
  }
  void increment() { ++m_index; }

  KEP_ROUTING_BUILDER_GRAPH* m_graph = nullptr;
  std::uint32_t m_index = 0;
};

/// The nodes that exist when the range is made; a TBB range that is divisible while it holds more nodes than
/// its grain. Pieces may be walked on different threads.
class KEP_EXPORT KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER_RANGE
    : public boost::iterator_range<KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER> {
public:
  /// What it steps with.
  using ITER = KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER;
  /// From the one to before the other, of one graph.
  KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER_RANGE(const ITER& begin, const ITER& end,
                                                            unsigned grain)
      : boost::iterator_range<ITER>(begin, end), m_grain(grain) {}
  /// Takes the second half of the other one.
  KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER_RANGE(
      KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER_RANGE& other, tbb::split);
  /// It holds more nodes than its grain.
  bool is_divisible() const { return end().m_index - begin().m_index > m_grain; }

private:
  unsigned m_grain;
};

/// The graph under construction. It owns its nodes; whoever makes it destroys it, before the database goes.
class KEP_EXPORT KEP_ROUTING_BUILDER_GRAPH {
public:
  /// Short for its long name.
  using NODE_RANGE = KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER_RANGE;

  /// An empty graph whose node memory starts at so many MiB and grows as needed.
  static KEP_ROUTING_BUILDER_GRAPH* create(KEP_DB* db, std::size_t init_size_MiB);
  /// Frees the graph and its nodes. Null is harmless.
  static void destroy(KEP_ROUTING_BUILDER_GRAPH* graph);

  /// The database that it is built for.
  KEP_DB* get_db() const { return m_db; }
  /// Nodes allocated so far, boundary and hipi nodes included.
  unsigned get_node_count() const { return m_node_count; }
  /// `index` must be below get_node_count().
  KEP_ROUTING_BUILDER_NODE* get_node(std::uint32_t index) const {
    return m_chunks[index / CHUNK::NUM_NODES]->m_nodes + index % CHUNK::NUM_NODES;
  }
  /// All nodes that there are so far.
  NODE_RANGE iter_nodes(unsigned grain);
  /// How the places of nodes are numbered. Once the nodes are sorted.
  const KEP_PLACE_LAYOUT& get_place_layout() const;
  /// From that index on, as many as stand side by side; none behind the last.
  boost::iterator_range<KEP_ROUTING_BUILDER_NODE*> get_nodes_from(std::uint32_t index) const {
    if (index >= m_node_count) return {};
    const std::uint32_t room = CHUNK::NUM_NODES - index % CHUNK::NUM_NODES;
    return {get_node(index), get_node(index) + std::min(room, m_node_count - index)};
  }

  /// So many new nodes, without what they stand at; gives the index of the first. KEP_DB_ERROR as for one.
  std::uint32_t allocate_nodes(std::uint32_t count);
  /// Concurrent for different nodes: makes those from the index on nodes of inst ports, given by number, of
  /// one inner occurrence.
  void put_nodes(std::uint32_t index, std::uint32_t occurrence,
                 boost::iterator_range<const std::uint32_t*> inst_ports);

private:
  using CHUNK = KEP_ROUTING_BUILDER_NODE_CHUNK;
  friend class KEP_RG_BUILD;
  friend class KEP_TEST_ACCESS;
  friend class KEP_ROUTING_BUILDER_NODE;
  friend class KEP_ROUTING_BUILDER_NODE_CACHE;
  friend class KEP_ROUTING_BUILDER_EDGE_BUILDER;
  friend class KEP_ROUTING_GRAPH_FOLDER;
  friend void KEP_ROUTING_REVERSE_EDGE_BUILDER::add_reverse_edges(KEP_ROUTING_BUILDER_GRAPH* graph, bool);
  struct STATE;

  KEP_ROUTING_BUILDER_GRAPH(KEP_DB* db, std::size_t init_size_MiB);
  ~KEP_ROUTING_BUILDER_GRAPH();
  /// Room for the fanouts of so many uip nodes. An estimate: the graph grows past it.
  void reserve_routing_node_template_space(unsigned count);
  KEP_ROUTING_BUILDER_NODE* allocate_node(std::uint32_t occurrence, std::uint32_t number);
  void add_chunk();
  void sort_nodes();
  /// Folds the graph and hands it to the database.
  void publish();

  KEP_DB* m_db;
  unsigned m_node_count = 0;
  std::vector<std::unique_ptr<CHUNK>> m_chunks;
  std::unique_ptr<STATE> m_state;
};

/// Finds nodes by what they stand at, with no hash table for uips: tables by number answer, one while nodes
/// are made and another once they are sorted.
class KEP_EXPORT KEP_ROUTING_BUILDER_NODE_CACHE {
public:
  KEP_ROUTING_BUILDER_NODE_CACHE();
  ~KEP_ROUTING_BUILDER_NODE_CACHE() = default;
  KEP_ROUTING_BUILDER_NODE_CACHE(const KEP_ROUTING_BUILDER_NODE_CACHE&) = delete;
  KEP_ROUTING_BUILDER_NODE_CACHE& operator=(const KEP_ROUTING_BUILDER_NODE_CACHE&) = delete;

  /// Before the first node; the numbers are estimates, and tables grow without them.
  void initialize_routing_builder_graph(std::size_t n_uip_nodes, std::size_t n_boundary_nodes,
                                        KEP_ROUTING_BUILDER_GRAPH* graph);
  /// After the sort: finds every node of the graph where it stands now.
  void initialize_routing_builder_graph(KEP_ROUTING_BUILDER_GRAPH* graph);
  ///@{
  /// False when a node stood there already; the first stays.
  bool add_routing_node(KEP_ROUTING_BUILDER_NODE* node);
  bool add_routing_node_hipi(KEP_ROUTING_BUILDER_NODE* node);
  ///@}
  /// All nodes of the graph. That is put off until a node is looked for; whoever sorts the nodes first saves
  /// it.
  void add_all_routing_nodes();

  // Concurrent.
  /// The plain node of the uip, or null.
  KEP_ROUTING_BUILDER_NODE* find_routing_node(const KEP_UNFOLDED_INST_PORT& uip) const;
  /// The boundary node of the port, or null.
  KEP_ROUTING_BUILDER_NODE* find_routing_node(const KEP_PORT* port) const;
  /// The plain node or null, the hipi twin or null.
  std::pair<KEP_ROUTING_BUILDER_NODE*, KEP_ROUTING_BUILDER_NODE*>
  find_both_routing_nodes(const KEP_UNFOLDED_INST_PORT& uip) const;

  /// What stands at the node's inst port in another occurrence of the same module, or null. Once the nodes
  /// are sorted.
  KEP_ROUTING_BUILDER_NODE* find_like_node(const KEP_ROUTING_BUILDER_NODE& node,
                                           std::uint32_t occurrence) const;

private:
  /// By the number of an inst port, or of a port above the tops.
  KEP_ROUTING_BUILDER_NODE* find_node(std::uint32_t occurrence, std::uint32_t number, bool is_hipi) const;

  KEP_ROUTING_BUILDER_GRAPH* m_graph = nullptr;
};

/// Stores the fanouts of nodes. Two forms: nodes as they were found, or runs of folded fanouts, which a walk
/// over nets that are alike at all places gives without looking at a target.
class KEP_EXPORT KEP_ROUTING_BUILDER_EDGE_BUILDER {
public:
  /// An edge as it was found.
  struct FANOUT {
    KEP_ROUTING_BUILDER_NODE* m_node;   ///< the target of the edge
    KEP_UNFOLDED_INST_PORT m_mux_input; ///< the mux input through which the edge goes, else empty
  };

  /// The capacity is a hint.
  KEP_ROUTING_BUILDER_EDGE_BUILDER(KEP_ROUTING_BUILDER_GRAPH* graph, int edge_capacity);
  ~KEP_ROUTING_BUILDER_EDGE_BUILDER() = default;
  KEP_ROUTING_BUILDER_EDGE_BUILDER(const KEP_ROUTING_BUILDER_EDGE_BUILDER&) = delete;
  KEP_ROUTING_BUILDER_EDGE_BUILDER& operator=(const KEP_ROUTING_BUILDER_EDGE_BUILDER&) = delete;

  /// Puts the graph's nodes into their final order: boundary nodes, then by place, a hipi twin
  /// behind its plain node. Once, before edges exist. The attributes are not looked at.
  void sort_nodes_for_templating(KEP_LEGACY_API* legacy_api) const;

  /// Concurrent. Stores the node's real and redundant fanouts in the order of the lists, which are read
  /// during the call alone; two empty lists change nothing. The mutex is not needed: the tables that threads
  /// share have locks of their own. KEP_DB_ERROR, naming the node, for more than 65535 edges of one kind.
  void set_fanout(KEP_ROUTING_BUILDER_NODE* node, const std::vector<FANOUT>& fanouts,
                  const std::vector<FANOUT>& redundant_fanouts, tbb::mutex& mutex, bool);

  /// A fanout as every place of one module has it if the target stands there.
  struct FOLDED_FANOUT {
    std::uint32_t m_target;    ///< of find_target()
    std::uint32_t m_mux_input; ///< the number of its inst port less that of the target's, modulo 2^32
  };
  /// In place of such a difference: without a mux input.
  static constexpr std::uint32_t NO_MUX_INPUT = std::uint32_t{1} << 31;
  /// Folded fanouts of one place, which is so far behind the place that they are told from.
  struct FOLDED_RUN {
    const FOLDED_FANOUT* m_fanouts; ///< the caller's
    std::uint32_t m_num_fanouts;    ///< how many these are
    std::uint32_t m_behind;         ///< in places
  };
  /// Runs told from one place. The caller's, lent.
  struct FANOUT_RUNS {
    const FOLDED_RUN* m_runs; ///< the caller's
    std::uint32_t m_num_runs; ///< how many these are
    std::uint32_t m_place;    ///< from which they are told
  };
  /// Where a node stands: its place, and what names it there as a target.
  struct SEAT {
    std::uint32_t m_place;  ///< where
    std::uint32_t m_target; ///< as find_target() gives it
  };
  /// What became of fanouts that were told by runs.
  struct FANOUT_COUNTS {
    std::size_t m_num_real;      ///< edges stored
    std::size_t m_num_redundant; ///< likewise
    std::size_t m_num_missing;   ///< targets at which no node stands
  };
  /// No target of its place.
  static constexpr std::uint32_t NO_TARGET = ~std::uint32_t{0};

  // Concurrent, once the nodes are sorted.
  /// What names an inst port as the target of folded fanouts, NO_TARGET if it is a node at no place of its
  /// module.
  std::uint32_t find_target(const KEP_INST_PORT& inst_port) const;
  /// The targets of an inner occurrence's module, twins included, are the numbers from 1 to this one.
  std::uint32_t get_num_targets(std::uint32_t occurrence) const;
  /// The number of a target's inst port.
  std::uint32_t get_inst_port(std::uint32_t occurrence, std::uint32_t target) const;
  /// The first place at or below an inner occurrence; without meaning where no nodes stand. What is below two
  /// occurrences of one module is equally far behind them.
  std::uint32_t get_place(std::uint32_t occurrence) const;
  /// Where the node stands.
  SEAT get_seat(const KEP_ROUTING_BUILDER_NODE& node) const;
  /// At the inner occurrence stand all nodes, twins too, that stand at some occurrence of its module.
  bool has_all_nodes(std::uint32_t occurrence) const;
  /// Concurrent. Stores fanouts that are told by runs, in the order of the lists; no target is looked at.
  /// Targets at which no node stands and the node itself are left out. KEP_DB_ERROR as for the other form.
  FANOUT_COUNTS set_fanout(KEP_ROUTING_BUILDER_NODE* node, const std::vector<FANOUT_RUNS>& fanouts,
                           const std::vector<FANOUT_RUNS>& redundant_fanouts);
  /// The number of distinct lists of fanouts stored, as seen from the nodes. Read once the parallel section
  /// is over.
  int get_num_templates() const;

private:
  KEP_ROUTING_BUILDER_GRAPH* m_graph;
};

/// Knows for like places of repeated modules which node shows what the others look like: for each relative
/// path below a module that is not the top, the node at the module's first occurrence.
class KEP_EXPORT KEP_ROUTING_BUILDER_GRAPH_REPRESENTATIVE_NODES_BUILDER {
public:
  /// An edge as it was found.
  using FANOUT = KEP_ROUTING_BUILDER_EDGE_BUILDER::FANOUT;
  /// What like places of a repeated module have in common.
  struct RELPATH_AND_ORIENTATION {
    KEP_RELATIVE_PATH m_path; ///< invalid: the node needs no entry
    int m_orientation = 0;    ///< 1 for a hipi twin
    /// There is a path.
    explicit operator bool() const { return static_cast<bool>(m_path); }
  };

  /// The rank leads from an instance into its master.
  KEP_ROUTING_BUILDER_GRAPH_REPRESENTATIVE_NODES_BUILDER(KEP_DB* db, KEP_VIEW_TYPE_RANK rank);
  ~KEP_ROUTING_BUILDER_GRAPH_REPRESENTATIVE_NODES_BUILDER();

  /// Concurrent, without shared writes. Under which path, seen from `top`, the shape of the node's fanout is
  /// known.
  RELPATH_AND_ORIENTATION get_relative_path(KEP_ROUTING_BUILDER_NODE* node,
                                            const std::vector<FANOUT>& fanouts,
                                            const std::vector<FANOUT>& redundant_fanouts,
                                            KEP_UNFOLDED_MODULE top) const;
  /// The same for a node that has fanouts.
  RELPATH_AND_ORIENTATION get_relative_path(KEP_ROUTING_BUILDER_NODE* node, KEP_UNFOLDED_MODULE top) const;
  /// The first node stored for a path stays.
  void store_relative_path_and_repnode(RELPATH_AND_ORIENTATION path, KEP_UNFOLDED_MODULE module,
                                       KEP_ROUTING_BUILDER_NODE* node);

private:
  friend class KEP_TEST_ACCESS;
  struct STATE;
  /// Null if none was stored.
  KEP_ROUTING_BUILDER_NODE* find_representative(const RELPATH_AND_ORIENTATION& path) const;
  std::unique_ptr<STATE> m_state;
};
