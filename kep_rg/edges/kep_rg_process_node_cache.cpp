// What the edge phase asks of the fanout cache, what it gives to it, and how it counts without asking.

#include "kep_rg/edges/kep_rg_process_node.h"

#include <algorithm>

bool KEP_PROCESS_NODE_FOR_ADD_EDGES::find_cached_fanout(const START& start, WORK& work) const {
  if (!start.m_uip || !m_ftd->m_like_places.is_used()) return false;
  KEP_LEAF_RESULTS& results = work.m_results;
  const KEP_UNFOLDED_MODULE module = work.m_cache->find(start.m_uip, results.m_uips);
  if (!module) return false;
  // Nobody asks for the nets of an answer, and none of its leaves is a port of the top.
  results.note_module(module);
  return true;
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::store_cached_fanout(const START& start, WORK& work) const {
  if (!start.m_uip || !m_ftd->m_like_places.is_used()) return;
  const KEP_LEAF_RESULTS& results = work.m_results;
  if (may_come_again(start, work) && !depends_on_place(start, work) &&
      std::any_of(results.m_uips.begin(), results.m_uips.end(),
                  [](const KEP_UNFOLDED_INST_PORT& uip) { return uip.m_object->get_net() != nullptr; }))
    work.m_cache->store(start.m_uip, results.m_top_module, results.m_uips);
}

/// What is below an occurrence stands side by side in the order of the nodes, and so the next like place
/// comes at least the extent of the enclosing module later. An answer that would die with its range unused is
/// not worth its memory.
bool KEP_PROCESS_NODE_FOR_ADD_EDGES::may_come_again(const START& start, const WORK& work) const {
  if (m_ftd->m_edge_phase.m_keeps_all_answers) return true;
  const auto occurrence = static_cast<std::uint32_t>(start.m_uip.m_position);
  const KEP_MODULE* top = work.m_results.m_top_module.m_object;
  const KEP_PLACE_LAYOUT& layout = m_ftd->m_like_places.get_layout();
  return layout.get_first_place(occurrence) + (top ? layout.get_extent(*top) : 0) <= work.m_last_place;
}

/// A search asks two questions that like places may answer differently: where nodes stand, and whether an
/// instance lies in a spare row. All else follows from the folded model.
bool KEP_PROCESS_NODE_FOR_ADD_EDGES::depends_on_place(const START& start, const WORK& work) const {
  const KEP_RG_LIKE_PLACES& places = m_ftd->m_like_places;
  if (work.m_asked_for_nodes) return true;
  if (!places.has_attributes()) return false;
  const auto has_flyover_net = [&places](const KEP_LEAF_RESULTS& results) {
    const std::vector<KEP_UNFOLDED_NET>& nets = results.m_visited_nets.get_nets();
    return std::any_of(nets.begin(), nets.end(), [&places](const KEP_UNFOLDED_NET& net) {
      return places.is_flyover_net(*net.m_object);
    });
  };
  return places.asks_at_start(*start.m_uip.m_object) || has_flyover_net(work.m_results) ||
         has_flyover_net(work.m_tunnel_results);
}

/// The cache of the range, were it asked, would hold an answer: that for the node at a like place of the
/// range. So a plain connection is counted as if it were searched. To ask would take longer than the walk.
bool KEP_PROCESS_NODE_FOR_ADD_EDGES::was_answered_before(const KEP_ROUTING_BUILDER_NODE* node,
                                                         const WORK& work) const {
  const KEP_RG_LIKE_PLACES& places = m_ftd->m_like_places;
  KEP_RG_LIKE_PLACES::PLACE place{node->get_occurrence(), work.m_plain_walk.get_top()};
  if (!places.is_used() || !work.m_plain_walk.is_kept()) return false;
  for (;;) {
    place = places.find_previous(place);
    if (place.m_top == KEP_UNFOLDING::ABOVE_TOP) return false;
    if (const auto* like = m_ftd->m_node_cache.find_like_node(*node, place.m_occurrence))
      return like->get_index() >= work.m_first_node;
    if (places.get_layout().get_first_place(place.m_occurrence) < work.m_first_place) return false;
  }
}
