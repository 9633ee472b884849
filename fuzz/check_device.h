#pragma once

#include "fuzz/device.h"
#include "fuzz/fuzz.h"
#include "fuzz/walk.h"
#include "kep_rg/kep_rg_exception.h"
#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_trace_edge.h"

#include <cstddef>
#include <vector>

namespace FUZZ {

/// Of a small database all that asks about every node, and a further build. What the checks find is known
/// only of one that nobody damaged; what is built is sound.
inline void check_device(KEP_DB& db, bool is_whole) {
  const KEP_ROUTING::GRAPH& graph = *db.get_routing_template_graph();
  if (db.get_unfolding().size() > WALK::MAX_PLACES || graph.get_num_nodes() > WALK::MAX_PLACES) return;
  const bool is_sound = KEP_RG_PROOF(&db).run(1).is_sound();
  require(is_sound || !is_whole, "a whole database is proven");
  constexpr std::size_t MAX_KEPT = 10;
  for (const KEP_RG_FINDINGS& findings :
       {kep_rg_find_hipi_order(graph, MAX_KEPT), kep_rg_find_doubled_edges(graph, MAX_KEPT),
        kep_rg_find_few_redundant_edges(graph), kep_rg_find_no_node(graph),
        kep_rg_find_unreachable_nodes(graph, MAX_KEPT)})
    for (const KEP_RG_FINDINGS::PLACE& place : findings.m_first)
      require(!kep_rg_get_finding(graph, findings.m_kind, place).m_text.empty(), "a finding has a text");
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  KEP_RG_TRACE_EDGE tracer(&db, cache);
  std::vector<KEP_RG_TRACE_EDGE::OUTCOME> outcomes;
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes())
    tracer.check_edges(node, outcomes);
  db.get_routing_template_graph()
      ->get_routing_primitive()
      ->initialize(); // as whoever opens one and builds has to
  try {
    build_and_prove(db, 1);
  } catch (const KEP_EXCEPTION&) { // of a description that nobody could have stated
    require(!is_whole, "a whole database is built again");
  }
}

} // namespace FUZZ
