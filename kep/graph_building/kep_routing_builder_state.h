#pragma once

#include "kep/detail/kep_place_layout.h"
#include "kep/graph/kep_node_places.h"
#include "kep/graph_building/kep_node_index.h"
#include "kep/graph_building/kep_template_lists.h"
#include "kep/kep_routing_builder.h"

#include <cstdint>
#include <memory>
#include <vector>

/// What a graph under construction holds beside its nodes: where they stand, and the fanouts as templates. A
/// list of fanouts that many nodes have stands there once.
struct KEP_ROUTING_BUILDER_GRAPH::STATE {
  std::unique_ptr<KEP_NODE_INDEX> m_index;          // until the nodes are sorted
  std::unique_ptr<const KEP_PLACE_LAYOUT> m_layout; // likewise from then on
  std::shared_ptr<const KEP_NODE_PLACES>
      m_places; // once the nodes are sorted; shared with the finished graph
  KEP_TEMPLATE_TABLE<KEP_FANOUT_ENTRY> m_fanouts;
  KEP_MUX_INPUT_NUMBERS m_mux_inputs;
  std::uint32_t m_num_templates = 0;             // once the finished graph has taken them
  std::vector<std::uint32_t> m_fanouts_of_nodes; // by node; sized when the edge builder is made
  std::uint32_t m_num_top_occurrences = 0;       // occurrences up to this stand above or at the top
};
