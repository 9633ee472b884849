#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_rg/checks/kep_rg_reachability.h"
#include "kep_rg/kep_rg_export.h"

/// One run of the connectivity check of KEP_RG_POST_CHECKS: a walk from the input nodes over real edges marks
/// what it reaches, and a sweep tells what stayed unmarked. An object is made for one run.
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
  bool report_unreachable();

  KEP_DB* m_db;
  bool m_verbose;
  KEP_ROUTING::GRAPH* m_graph;
  KEP_RG_REACHABILITY m_reachability;
};
