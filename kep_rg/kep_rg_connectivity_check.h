#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_export.h"
#include "kep_rg/kep_rg_pending_places.h"

#include <cstdint>
#include <vector>

/// One run of the connectivity check of KEP_RG_POST_CHECKS: a walk from the input nodes over real edges marks
/// what it reaches, and a sweep tells what stayed unmarked. An object is made for one run.
///
/// Nodes go by their place in the graph, which the graph itself knows, so all that is kept is two bits for
/// each node.
class KEP_RG_EXPORT KEP_RG_CONNECTIVITY_CHECK {
public:
  /// Asserts that there is a database. A verbose check tells times and the share of input nodes, and lists
  /// every unreachable node; a quiet one stops at the first.
  KEP_RG_CONNECTIVITY_CHECK(KEP_DB* db, bool verbose);

  /// False when a node that is not exempt is unreachable.
  bool run();

private:
  /// That of the database, which must be there.
  KEP_ROUTING::GRAPH* get_graph() const;
  void mark_input_nodes();
  void walk();
  bool report_unreachable();

  void reach(std::uint32_t index);

  KEP_DB* m_db;
  bool m_verbose;
  KEP_ROUTING::GRAPH* m_graph;
  std::uint32_t m_num_nodes;
  KEP_RG_PENDING_PLACES m_work_list; // reached, but their fanouts not yet followed
  std::vector<bool> m_reached;       // by the place of the node
};
