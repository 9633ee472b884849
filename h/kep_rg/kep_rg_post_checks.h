#pragma once

/// @file
/// Rules that readers of a graph rely on, told line by line.

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_export.h"

#include <string>

/// Tells whether the graph of a database keeps the rules that its readers rely on. docs/verification.md says
/// what each finding means.
///
/// Construct one after a build and call the checks in any order and any number of times. A check gives true
/// for a clean graph; a finding is a line of the report under its rule code, and false. No check changes the
/// graph or throws because of what it finds. The database must outlive the object; several objects may check
/// one graph at a time.
class KEP_RG_EXPORT KEP_RG_POST_CHECKS {
public:
  /// Asserts that there is a database. A verbose check tells of its success and progress, too.
  KEP_RG_POST_CHECKS(KEP_DB* db, bool verbose);
  ///@{
  /// A copy checks the same graph.
  KEP_RG_POST_CHECKS(const KEP_RG_POST_CHECKS& other);
  KEP_RG_POST_CHECKS(KEP_RG_POST_CHECKS&& other) noexcept;
  KEP_RG_POST_CHECKS& operator=(const KEP_RG_POST_CHECKS& other);
  KEP_RG_POST_CHECKS& operator=(KEP_RG_POST_CHECKS&& other) noexcept;
  ///@}
  ~KEP_RG_POST_CHECKS();

  /// No node with redundant edges reaches one fanout by two real edges. Stops at the first node that does.
  bool test_redundant_edges();
  /// More than a twentieth of all edges are redundant: what the check of redundant edges needs to mean
  /// something. Silent when it holds.
  bool test_redundant_edge_count();
  /// A hipi node stands first among the fanins of the node that it feeds, and get_hipi_node() names it. Goes
  /// on after a finding, on all cores.
  bool test_hipi_api();
  /// Every node of the ordinary routing is reached from the input nodes over real edges; nodes in a BLC, in a
  /// module with a BLC equivalent and without any edge are exempt. A verbose check lists all others, a quiet
  /// one stops at the first.
  bool test_graph_connectivity();

  /// Always empty: the result and the report tell what there is to tell.
  std::string get_last_err() { return m_last_err; }

private:
  bool re_check_this_node(const KEP_ROUTING::NODE& node);
  bool redundant_edges_have_one_real_on_same_path(const KEP_ROUTING::NODE& node);

  KEP_DB* m_db;
  KEP_ROUTING::GRAPH* m_graph;
  bool m_verbose;
  std::string m_last_err;
};
