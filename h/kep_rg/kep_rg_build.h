#pragma once

/// @file
/// Building the routing graph of a device.

#include "kep/kep_db_cache.h"
#include "kep/kep_routing_builder.h"
#include "kep_report/kep_report_assert.h"
#include "kep_rg/detail/kep_rg_fanout_cache.h"
#include "kep_rg/detail/kep_rg_like_places.h"
#include "kep_rg/detail/kep_rg_redundancy_marks.h"
#include "kep_rg/kep_rg_creation_stats.h"
#include "kep_rg/kep_rg_instance_is_primitive.h"
#include "kep_rg/kep_rg_outputs_without_node.h"
#include "kep_rg/kep_rg_phase_clock.h"
#include "kep_rg/kep_rg_primitives.h"
#include "kep_rg/kep_rg_trace_predicate.h"

#include <tbb/cache_aligned_allocator.h>
#include <tbb/enumerable_thread_specific.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

class KEP_REPORT_PROGRESS;
class KEP_RG_DBG_FANOUTS;
class KEP_RG_MUX_OUTPUTS;
class KEP_RG_NODE_PLANS;

/// What a build is told. A small value; setters change the object and return a copy, so that calls chain.
class KEP_RG_EXPORT KEP_RG_BUILD_PARAMS {
public:
  /// The most threads that a build uses, taken as it stands. Default 1.
  KEP_RG_BUILD_PARAMS set_num_threads(int num_threads) {
    m_num_threads = static_cast<std::uint32_t>(num_threads);
    return *this;
  }
  /// Debug lines for each target in the edge phase. Default false.
  KEP_RG_BUILD_PARAMS set_verbose(bool verbose) {
    m_verbose = verbose;
    return *this;
  }
  /// The step of the progress line, in nodes; must not be 0. Default 1000000.
  KEP_RG_BUILD_PARAMS set_nodes_per_display(int nodes_per_display) {
    m_nodes_per_display = nodes_per_display;
    return *this;
  }
  /// A cache of the finished description, which stays the caller's and must outlive the builder. Default
  /// null: the builder makes its own.
  KEP_RG_BUILD_PARAMS set_routing_primitive_cache(const KEP_DB_ROUTING_PRIMITIVE_CACHE* cache) {
    m_routing_primitive_cache = cache;
    return *this;
  }
  /// Wire types are always in use; this is here to refuse false.
  KEP_RG_BUILD_PARAMS set_use_wire_types(bool use_wire_types_val) {
    KEP_ASSERT(use_wire_types_val);
    return *this;
  }
  /// The first memory size of the graph, in MiB. Default 1. The one setter that does not chain.
  void set_init_size_MiB(std::size_t size) { m_init_size_MiB = size; }

  ///@{
  /// What was set, or the default.
  unsigned get_num_threads() const { return m_num_threads; }
  bool get_verbose() const { return m_verbose; }
  int get_nodes_per_display() const { return m_nodes_per_display; }
  const KEP_DB_ROUTING_PRIMITIVE_CACHE* get_routing_primitive_cache() const {
    return m_routing_primitive_cache;
  }
  std::size_t get_init_size_MiB() const { return m_init_size_MiB; }
  ///@}

private:
  const KEP_DB_ROUTING_PRIMITIVE_CACHE* m_routing_primitive_cache = nullptr;
  std::uint32_t m_num_threads = 1;
  bool m_verbose = false;
  std::int32_t m_nodes_per_display = 1000000;
  std::uint64_t m_init_size_MiB = 1;
};

/// Turns a database with a finished description into its routing graph (docs/glossary.md).
///
///     KEP_RG_BUILD build(db, KEP_RG_BUILD_PARAMS().set_num_threads(2));
///     build.build(); // db->get_routing_template_graph() now shows the new graph
///
/// The constructor digests the description, which must be complete: it asserts that there is one. build()
/// runs once per object; it is build_nodes() and then build_edges(). The finished graph belongs to the
/// database and outlives the builder; the graph under construction dies with it. One thread calls; the edge
/// phase uses others inside. Phase lines and statistics go to the information stream of kep_report. A graph
/// past its limits gives KEP_DB_ERROR, and a build whose task group was cancelled KEP_CANCELLED
/// (kep_cancelled.h); the database then keeps the graph that it had, and the builder is spent.
class KEP_RG_EXPORT KEP_RG_BUILD {
public:
  /// Digests the description. The database must not be null and must outlive the builder.
  KEP_RG_BUILD(KEP_DB* db, KEP_RG_BUILD_PARAMS params);
  ~KEP_RG_BUILD();
  KEP_RG_BUILD(const KEP_RG_BUILD&) = delete;
  KEP_RG_BUILD& operator=(const KEP_RG_BUILD&) = delete;

  ///@{
  /// The whole build, or its two phases, each once and in this order.
  void build();
  void build_nodes();
  void build_edges();
  ///@}
  /// Reads the redundant inputs, unless there are some already.
  void build_redundant_inputs();

  /// After a build - or beside a graph that was there, after build_nodes() and, unless the database is one
  /// without redundancy, build_redundant_inputs() - does again for the one node at the uip what the edge
  /// phase did, on the calling thread, and changes nothing in the graph: appends the node's fanouts, real
  /// ones first, and lets the observer see the walk and then close. A uip without a node is a warning.
  /// `node_flag` is that of KEP_ROUTING::NODE; a hipi node is refused by an assertion. Fanouts and observer
  /// may be null, and stay the caller's. From then on the builder is verbose and allocates no edges:
  /// build_edges() is refused by an assertion.
  void debug_edges(KEP_RG_DBG_FANOUTS* fanouts, const KEP_UNFOLDED_INST_PORT& uip, bool node_flag,
                   KEP_UNFOLD_OBSERVER* observer);
  /// The same with a KEP_RG_UUI_OBSERVER that writes the walk to this file; without one for null.
  void debug_edges(KEP_RG_DBG_FANOUTS* fanouts, const KEP_UNFOLDED_INST_PORT& uip, bool node_flag,
                   const char* log_file_name);

  /// Why build_nodes() would assert or throw on this device, with the place in it: an IP root under another,
  /// or an inst header on an IP root that has nothing to make nodes of. "" if it would not. One pass over the
  /// folded model.
  std::string find_refusal() const;
  /// Why no uip became a node, in a few words that name what is missing, for a device that was built; "" when
  /// one did.
  std::string explain_no_nodes() const;

  ///@{
  /// What the builder works with. All of it belongs to the builder, but for the database and for a cache that
  /// the caller gave, and dies with it.
  KEP_DB* get_db() { return m_db; }
  KEP_ROUTING_BUILDER_GRAPH* get_builder_graph() { return m_builder_graph.get(); }
  KEP_ROUTING_BUILDER_NODE_CACHE& get_node_cache() { return m_node_cache; }
  const KEP_DB_ROUTING_PRIMITIVE_CACHE* find_routing_primitive_cache() const {
    return m_routing_primitive_cache.get();
  }
  unsigned get_num_threads() { return m_num_threads; }
  bool get_verbose() { return m_verbose; }
  ///@}

  ///@{
  /// What was counted while nodes were made; zero before.
  const KEP_RG_NODE_CREATION_STATS& get_node_stats() const { return m_node_stats; }
  const KEP_RG_OUTPUTS_WITHOUT_NODE& get_outputs_without_node() const { return m_outputs_without_node; }
  ///@}
  /// The sum over all threads; zero before the edge phase is over.
  const KEP_RG_EDGE_CREATION_STATS& get_edge_stats() const { return m_edge_stats; }
  ///@{
  /// The estimates made before the first node: nodes of uips, and boundary nodes.
  std::uint64_t get_counted_n() const { return m_counted_n; }
  std::uint64_t get_counted_boundary() const { return m_counted_boundary; }
  ///@}
  /// The phases that ran, in order, each with its wall time in seconds.
  const KEP_RG_PHASES& get_phase_seconds() const { return m_phase_seconds; }

private:
  friend class KEP_PROCESS_NODE_FOR_ADD_EDGES;
  friend class KEP_RG_TEST_ACCESS;

  // In names of members `dbg` is debug, and a cdrn cache is a fanout cache.

  /// The kind of creation, printed as its number.
  enum CREATE_TYPE : int {
    CREATE_TYPE_PORT = 0,
    CREATE_TYPE_INSERTED = 1,
    CREATE_TYPE_BLC_PORT = 2,
    CREATE_TYPE_INSIDE_BLC = 3,
    CREATE_TYPE_BLC_ATOM = 4,
    CREATE_TYPE_BLC_TRAIT = 5,
  };
  using HAS_NODES = std::map<KEP_MODULE*, bool>;
  using WITHOUT_NODE = KEP_RG_OUTPUTS_WITHOUT_NODE::REASON;

  using REP_NODES_BUILDER = KEP_ROUTING_BUILDER_GRAPH_REPRESENTATIVE_NODES_BUILDER;
  /// One row of representative data.
  struct REP_NODE_ARGS {
    REP_NODES_BUILDER::RELPATH_AND_ORIENTATION m_relpath;
    KEP_UNFOLDED_MODULE m_module; ///< the module that the path is relative to
    KEP_ROUTING_BUILDER_NODE* m_node;
  };
  using CDRN_CACHE = KEP_RG_FANOUT_CACHE;
  /// How the edge phase goes about it; no graph shows it.
  struct EDGE_PHASE {
    bool m_walks_plain_nets = true; ///< else plain connections are searched, too
    bool m_uses_fanout_cache = true;
    bool m_keeps_all_answers = false; ///< else what can't come again in its range is not kept
    unsigned m_min_grain = 10000;     ///< the fewest nodes of a range
  };
  template <class T>
  using PER_THREAD = tbb::enumerable_thread_specific<T, tbb::cache_aligned_allocator<T>>;

  struct CACHE_DELETER {
    const bool* m_owns;
    void operator()(const KEP_DB_ROUTING_PRIMITIVE_CACHE* cache) const {
      if (*m_owns) delete cache;
    }
  };
  struct GRAPH_DELETER {
    void operator()(KEP_ROUTING_BUILDER_GRAPH* graph) const { KEP_ROUTING_BUILDER_GRAPH::destroy(graph); }
  };

  // Counting. With the flag a mux counts nothing and gives no node; all callers pass false.
  void prepare_nodes();
  std::size_t count(std::size_t& boundary_count);
  std::size_t count_module(KEP_UNFOLDED_MODULE u_module);
  std::size_t count_mux(KEP_MODULE* module, bool flag) const;
  std::size_t count_blc(KEP_MODULE* module) const;
  std::size_t count_inside_blc(KEP_MODULE* module) const;
  std::size_t count_inserted(KEP_MODULE* module) const;

  // Nodes. A bool is true when a node was created or a port eliminated at least once. Each operation for one
  // instance takes the folded instance and its master as well, whether it reads them or not.
  void add_nodes(bool debug);
  KEP_UNFOLDED_MODULE find_routing_top() const;
  void add_nodes_by_plans(KEP_UNFOLDED_MODULE top);
  bool goes_by_plan(KEP_UNFOLDED_MODULE u_module);
  bool add_nodes_module(KEP_UNFOLDED_MODULE u_module, HAS_NODES* has_nodes, bool debug);
  bool walk_module(KEP_UNFOLDED_MODULE u_module, HAS_NODES* has_nodes, bool debug);
  bool add_nodes_instance(KEP_UNFOLDED_INSTANCE u_instance, HAS_NODES* has_nodes, bool debug);
  bool add_nodes_mux(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE* instance, KEP_MODULE* master, bool flag,
                     bool debug);
  bool add_nodes_blc(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE* instance, KEP_MODULE* master,
                     bool debug);
  bool add_nodes_inside_blc(KEP_UNFOLDED_MODULE u_module, bool debug);
  bool walk_inside_blc(KEP_UNFOLDED_MODULE u_module, bool debug);
  bool add_nodes_inserted(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE* instance, KEP_MODULE* master,
                          bool debug);
  bool add_nodes_from_boundary_nodes(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE* instance,
                                     KEP_MODULE* master, bool debug);
  bool create_nodes_of_ports(const KEP_RG_PRIMITIVES::PORT_SET& ports, KEP_UNFOLDED_INSTANCE u_instance,
                             CREATE_TYPE type, bool debug);
  bool create_node(KEP_UNFOLDED_INST_PORT uip, CREATE_TYPE type, bool debug);
  void create_node(KEP_PORT* port, bool debug);
  bool do_exclude_node(const KEP_UNFOLDED_INST_PORT& uip) const { return find_exclusion(uip).has_value(); }
  std::optional<WITHOUT_NODE> find_exclusion(const KEP_UNFOLDED_INST_PORT& uip) const;
  bool is_excluded_in_spare_row(const KEP_UNFOLDED_INST_PORT& uip) const;
  bool asks_for_spare_row(const KEP_UNFOLDED_INSTANCE& u_instance) const;
  bool is_on_skip_arc(const KEP_UNFOLDED_INST_PORT& uip) const;
  KEP_UNFOLDED_MODULE get_master_for_routing(KEP_UNFOLDED_INSTANCE u_instance) const;
  void add_nodes_hipi();
  bool create_node_hipi(KEP_UNFOLDED_INST_PORT uip, bool no_plain_node_needed, bool debug);
  void print_node_stats() const;

  // Outputs of muxes that become no node: at a uip, at ports of an instance, and at and below an instance.
  void count_without_node(WITHOUT_NODE reason, const KEP_UNFOLDED_INST_PORT& uip);
  void count_without_node(WITHOUT_NODE reason, const std::vector<const KEP_PORT*>& outputs,
                          const KEP_UNFOLDED_INSTANCE& u_instance);
  void count_below_without_node(WITHOUT_NODE reason, const KEP_UNFOLDED_INSTANCE& u_instance,
                                const KEP_MODULE* master);
  void count_all_without_node(WITHOUT_NODE reason, const KEP_UNFOLDED_INSTANCE& u_instance,
                              const KEP_MODULE* master);
  void count_unseen(const KEP_UNFOLDED_INSTANCE& u_instance, const KEP_MODULE* master,
                    KEP_RG_INSTANCE_IS_PRIMITIVE::MODULE_TYPE type);

  // Edges.
  void create_edge_builder();
  void add_edges();
  bool get_mux_outputs(std::vector<KEP_UNFOLDED_INST_PORT>* outputs, KEP_UNFOLDED_INSTANCE u_instance,
                       KEP_PORT* port);
  bool is_mux_output(KEP_PORT* input, KEP_PORT* output);
  /// A connection is followed alike from every driver, whatever mux it drives, and every instance may be a
  /// mux somewhere: so both answers are fixed. No phase asks; they tell the rule to whoever extends the edge
  /// phase.
  bool is_muxtype_edge_driver(KEP_UNFOLDED_INST_PORT) const { return false; }
  bool is_sometimes_mux_instance(KEP_INSTANCE*) const { return true; }

  KEP_DB* m_db;
  std::unique_ptr<KEP_ROUTING_BUILDER_GRAPH, GRAPH_DELETER> m_builder_graph;
  KEP_LEGACY_API* m_legacy_api;
  KEP_ROUTING_BUILDER_NODE_CACHE m_node_cache;
  bool m_owns_routing_primitive_cache;
  std::unique_ptr<const KEP_DB_ROUTING_PRIMITIVE_CACHE, CACHE_DELETER> m_routing_primitive_cache;
  KEP_DB_PARENTS_CACHE m_parents_cache;
  bool m_disable_edge_allocation = false; // set by debug_edges
  // For debugging a walk, and set by no operation: nodes are only counted, and listed below where `debug` is
  // set; and no twin is made or looked for.
  bool m_disable_node_allocation = false;
  bool m_disable_hipi = false;
  bool m_plans_nodes = true; // else each place is walked; no graph shows it
  std::int32_t m_nodes_per_display;
  bool m_verbose;
  KEP_RG_PRIMITIVES m_primitives;
  KEP_RG_INSTANCE_IS_PRIMITIVE m_instance_is_primitive;
  KEP_RG_TRACE_PREDICATE m_trace_predicate;
  std::unique_ptr<REP_NODES_BUILDER> m_rep_nodes_builder;
  std::unordered_map<KEP_MODULE*, std::uint64_t> m_module_counts;
  std::unique_ptr<KEP_ROUTING_BUILDER_EDGE_BUILDER> m_edge_builder;
  KEP_VIEW_TYPE_RANK m_view_type_rank;
  KEP_RG_NODE_CREATION_STATS m_node_stats;
  KEP_REPORT_PROGRESS* m_node_progress = nullptr; // while nodes are added, else null
  std::uint32_t m_num_threads;
  // Likewise: nodes are made in the master of this instance alone, with `debug` set.
  KEP_UNFOLDED_INSTANCE m_dbg_u_instance;
  std::vector<KEP_UNFOLDED_INST_PORT> m_dbg_uips; // instead of nodes
  std::vector<KEP_PORT*> m_dbg_ports;
  std::unordered_set<KEP_UNFOLDED_INST_PORT> m_redundant_inputs;
  KEP_RG_REDUNDANCY_MARKS m_redundancy_marks; // the same, for look-ups without hashing
  KEP_UNFOLD_OBSERVER* m_observer;
  KEP_UNFOLD_OBSERVER m_null_observer;
  std::map<KEP_MODULE*, HAS_NODES> m_module_has_nodes; // by IP root: whether a module gave nodes under it
  bool m_has_nodes_known = false;                      // the current IP root had been walked before
  PER_THREAD<CDRN_CACHE> m_cdrn_caches;
  KEP_RG_LIKE_PLACES m_like_places;
  PER_THREAD<std::vector<REP_NODE_ARGS>> m_rep_node_args;
  EDGE_PHASE m_edge_phase;

  std::unique_ptr<KEP_RG_MUX_OUTPUTS> m_mux_outputs;
  std::unique_ptr<KEP_RG_NODE_PLANS> m_node_plans; // while nodes are added by plans, else null
  KEP_RG_OUTPUTS_WITHOUT_NODE m_outputs_without_node;
  KEP_RG_EDGE_CREATION_STATS m_edge_stats;
  std::uint64_t m_counted_n = 0;
  std::uint64_t m_counted_boundary = 0;
  KEP_RG_PHASES m_phase_seconds;
};
