#include "kep/kep_db.h"
#include "kep/kep_routing_builder.h"

#include <limits>
#include <unordered_map>

using REPRESENTATIVES = KEP_ROUTING_BUILDER_GRAPH_REPRESENTATIVE_NODES_BUILDER;

struct REPRESENTATIVES::STATE {
  std::vector<std::uint64_t> m_first_positions; // by module number: where its first occurrence stands
  std::unordered_map<KEP_RELATIVE_PATH, KEP_ROUTING_BUILDER_NODE*> m_nodes[2]; // by orientation
};

REPRESENTATIVES::KEP_ROUTING_BUILDER_GRAPH_REPRESENTATIVE_NODES_BUILDER(KEP_DB* db, KEP_VIEW_TYPE_RANK)
    : m_state(std::make_unique<STATE>()) {
  const KEP_UNFOLDING& unfolding = db->get_unfolding();
  constexpr std::uint64_t NONE = std::numeric_limits<std::uint64_t>::max();
  m_state->m_first_positions.assign(unfolding.get_modules().size(), NONE);
  for (std::uint32_t i = 1; i != unfolding.size(); ++i) {
    const KEP_OCCURRENCE& occurrence = unfolding.get(i);
    std::uint64_t& first = m_state->m_first_positions[occurrence.m_module];
    if (first == NONE) first = KEP_SLOT_POSITION::pack(occurrence.m_parent, occurrence.m_slot);
  }
}

REPRESENTATIVES::~KEP_ROUTING_BUILDER_GRAPH_REPRESENTATIVE_NODES_BUILDER() = default;

REPRESENTATIVES::RELPATH_AND_ORIENTATION
REPRESENTATIVES::get_relative_path(KEP_ROUTING_BUILDER_NODE* node, const std::vector<FANOUT>& fanouts,
                                   const std::vector<FANOUT>& redundant_fanouts,
                                   KEP_UNFOLDED_MODULE top) const {
  if (!node || (fanouts.empty() && redundant_fanouts.empty())) return {};
  return get_relative_path(node, top);
}

REPRESENTATIVES::RELPATH_AND_ORIENTATION REPRESENTATIVES::get_relative_path(KEP_ROUTING_BUILDER_NODE* node,
                                                                            KEP_UNFOLDED_MODULE top) const {
  // What reaches the top of the device stands there once and represents nothing.
  if (node->is_boundary() || !top || top.m_object->is_top_module_or_equiv()) return {};
  if (m_state->m_first_positions[top.m_object->get_number()] != top.m_position) return {};
  const KEP_UNFOLDED_PORT port =
      node->get_unfolded_inst_port().get_unfolded_port(KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::DEFAULT_VIEW));
  return {port - top, node->is_hipi() ? 1 : 0};
}

void REPRESENTATIVES::store_relative_path_and_repnode(RELPATH_AND_ORIENTATION path, KEP_UNFOLDED_MODULE,
                                                      KEP_ROUTING_BUILDER_NODE* node) {
  m_state->m_nodes[path.m_orientation].emplace(path.m_path, node);
}

KEP_ROUTING_BUILDER_NODE* REPRESENTATIVES::find_representative(const RELPATH_AND_ORIENTATION& path) const {
  const auto& nodes = m_state->m_nodes[path.m_orientation];
  const auto found = nodes.find(path.m_path);
  return found == nodes.end() ? nullptr : found->second;
}
