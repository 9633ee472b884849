#pragma once

/// @file
/// What differs between the finished graphs of two databases.

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class KEP_COMPARED_GRAPH;
struct KEP_GRAPH_DIFFERENCES; // what a comparison found; belongs to KEP_GRAPH_DIFF

/// How many nodes and edges differ on one side: gone where it is that of the first graph, new on the other.
struct KEP_GRAPH_DIFF_COUNTS {
  std::uint64_t m_num_nodes = 0;     ///< nodes
  std::uint64_t m_num_real = 0;      ///< real edges
  std::uint64_t m_num_redundant = 0; ///< redundant edges

  /// Edges of both classes.
  std::uint64_t get_num_edges() const { return m_num_real + m_num_redundant; }
  /// Nothing differs.
  bool empty() const { return m_num_nodes == 0 && get_num_edges() == 0; }
  /// Adds those, `times` times.
  void add(const KEP_GRAPH_DIFF_COUNTS& other, std::uint64_t times = 1) {
    m_num_nodes += other.m_num_nodes * times;
    m_num_real += other.m_num_real * times;
    m_num_redundant += other.m_num_redundant * times;
  }
};

/// Differences of one kind at all places of a module. Index 0 of a pair is the first graph, 1 the second one.
/// Pointers belong to the databases that were compared.
struct KEP_GRAPH_DIFF_GROUP {
  /// What the group is about. Each node and each edge that differs is in one group.
  enum class ABOUT : unsigned char {
    INSTANCES, ///< whole instances that one side alone has: all that is below them, and edges into them
    NODES,     ///< nodes at an inst port or at a port of the top, and the edges from and to them
    MUX_INPUT, ///< edges through a mux input, between nodes that both sides have
    MASTER,    ///< such edges through several muxes of one master, which has no such input on one side
    DRIVER,    ///< such edges without a mux, by the inst port where they begin
  };
  /// What stands behind it in the model or in the description, if one look tells.
  enum class CAUSE : unsigned char {
    UNKNOWN,  ///< nothing in the module itself
    INSTANCE, ///< one side has no instance of that name in the module
    MASTER,   ///< the instance has another master, by name
    PORT,     ///< one side's master has no port of that name
    ARC,      ///< one side has no arc from the mux input
    NET,      ///< the inst port is connected on one side alone
  };

  ABOUT m_about = ABOUT::DRIVER;  ///< what it is about
  CAUSE m_cause = CAUSE::UNKNOWN; ///< what stands behind
  /// The module on each side that holds the instance; null where that side has none of it, and for the ports
  /// of the top. For INSTANCES the module around them, on both sides.
  const KEP_MODULE* m_modules[2] = {};
  /// The master of INSTANCES, on the side that has them; else that of the instance, null without one.
  const KEP_MODULE* m_masters[2] = {};
  /// The first of INSTANCES, on the side that has them; null where it is the whole top, with no module
  /// around.
  const KEP_INSTANCE* m_instances[2] = {};
  /// The inst port of the other groups, of MASTER that of the first mux; null where that side has none of
  /// that name.
  const KEP_INST_PORT* m_inst_ports[2] = {};
  /// The port of the top in place of it, for boundary nodes.
  const KEP_PORT* m_ports[2] = {};
  /// How many INSTANCES there are in the module, and how many muxes in all of them.
  std::uint64_t m_num_instances = 0;
  /// At how many places INSTANCES are.
  std::uint64_t m_num_places = 0;
  /// What is gone, and what is new.
  KEP_GRAPH_DIFF_COUNTS m_counts[2];
};

/// The difference of the finished graphs of two databases, as if all nodes and edges were written as text and
/// the lines compared, each as often as it comes: a node by its full name and kind, an edge by both its ends,
/// its class and its mux input by name. Numbers, the order in which a model lists things, and how a graph is
/// folded play no part.
///
/// Nothing is written as text for that. What is folded alike, and leads to places that are called alike, is
/// compared once, so time and memory go with the places of the modules and with what is distinct at them, and
/// not with the edges; differences are kept folded, too. It runs on all threads of the caller's arena and
/// gives the same for any number of them.
///
///     const KEP_GRAPH_DIFF diff(before, after);
///     if (!diff.empty())
///       diff.visit_edges(0, [](const KEP_ROUTING::NODE& from, const KEP_ROUTING::FWD_EDGE& edge, bool)
///       {...});
///
/// Sides are 0 and 1, the first and the second database. Both must outlive the object, and their graphs must
/// not be built anew meanwhile; one without a graph has no nodes. Any number of threads may read.
class KEP_EXPORT KEP_GRAPH_DIFF {
public:
  /// Takes a node; false ends the visit.
  using VISIT_NODE = std::function<bool(const KEP_ROUTING::NODE&)>;
  /// Takes the node that an edge comes from, the edge, and whether it is redundant; false ends the visit.
  using VISIT_EDGE =
      std::function<bool(const KEP_ROUTING::NODE&, const KEP_ROUTING::FWD_EDGE&, bool is_redundant)>;

  /// Compares. KEP_CANCELLED when the task group of the caller is cancelled.
  KEP_GRAPH_DIFF(const KEP_DB& first, const KEP_DB& second);
  ~KEP_GRAPH_DIFF();
  KEP_GRAPH_DIFF(const KEP_GRAPH_DIFF&) = delete;
  KEP_GRAPH_DIFF& operator=(const KEP_GRAPH_DIFF&) = delete;

  /// Nothing differs.
  bool empty() const { return m_counts[0].empty() && m_counts[1].empty(); }
  /// What is gone (side 0), and what is new (side 1).
  const KEP_GRAPH_DIFF_COUNTS& get_counts(unsigned side) const { return m_counts[side]; }
  /// All differences in groups, the largest first.
  const std::vector<KEP_GRAPH_DIFF_GROUP>& get_groups() const { return m_groups; }

  ///@{
  /// Calls `visit` for each node, or edge, of that side that differs, in the order of its graph. Takes no
  /// memory. Where several nodes or edges have the same text and some of them differ, it is any of them.
  void visit_nodes(unsigned side, const VISIT_NODE& visit) const;
  void visit_edges(unsigned side, const VISIT_EDGE& visit) const;
  ///@}

private:
  std::unique_ptr<const KEP_COMPARED_GRAPH> m_graphs[2];
  std::unique_ptr<const KEP_GRAPH_DIFFERENCES> m_differences;
  KEP_GRAPH_DIFF_COUNTS m_counts[2];
  std::vector<KEP_GRAPH_DIFF_GROUP> m_groups;
};
