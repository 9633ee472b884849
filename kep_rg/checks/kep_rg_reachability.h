#pragma once

#include "kep/kep_routing_graph.h"
#include "kep_report/kep_report_progress.h"
#include "kep_rg/checks/kep_rg_pending_places.h"

#include <cstdint>
#include <vector>

/// Which nodes of a graph are reached from its input nodes over real edges. An input node has no fanin and
/// some real fanout.
///
/// Nodes go by their place in the graph, which the graph itself knows, so all that is kept is two bits for
/// each node.
class KEP_RG_REACHABILITY {
public:
  /// Between two looks whether the work was cancelled.
  static constexpr std::uint32_t NODES_PER_LOOK = 1 << 16;

  explicit KEP_RG_REACHABILITY(const KEP_ROUTING::GRAPH& graph);

  /// First this; gives the number of input nodes.
  std::uint32_t mark_input_nodes();
  /// Then this marks all that they reach. It adds nodes to the progress, if one is given, and gives their
  /// number.
  std::uint32_t walk(KEP_REPORT_PROGRESS* progress = nullptr);
  /// The node at that place isn't reached and should be: it has edges, and lies in no BLC and in no module
  /// that is also described as one, which are none of the ordinary routing.
  bool is_unreachable(std::uint32_t place) const;

private:
  void reach(std::uint32_t place);

  const KEP_ROUTING::GRAPH& m_graph;
  KEP_RG_PENDING_PLACES m_work_list; // reached, but their fanouts not yet followed
  std::vector<bool> m_reached;
};
