#include "kep/kep_db.h"
#include "kep/kep_node_word.h"
#include "kep/kep_routing_builder.h"
#include "kep/kep_routing_builder_state.h"
#include "kep/kep_routing_graph_storage.h"
#include "kep_report/kep_report_assert.h"

#include <limits>
#include <string>

namespace {

constexpr std::size_t MAX_EDGES = std::numeric_limits<unsigned short>::max();

[[noreturn]] void refuse(const KEP_ROUTING_BUILDER_NODE& node, std::size_t count, const char* kind) {
  throw KEP_DB_ERROR("node " + node.get_name(KEP_NAME_STYLE()) + " has " + std::to_string(count) + " " +
                     kind + ", more than the " + std::to_string(MAX_EDGES) + " that a node can have");
}

} // namespace

KEP_ROUTING_BUILDER_EDGE_BUILDER::KEP_ROUTING_BUILDER_EDGE_BUILDER(KEP_ROUTING_BUILDER_GRAPH* graph, int)
    : m_graph(graph) {
  graph->m_state->m_fanouts_of_nodes.assign(graph->get_node_count(),
                                            KEP_ROUTING_BUILDER_GRAPH::STATE::NO_FANOUT);
}

void KEP_ROUTING_BUILDER_EDGE_BUILDER::sort_nodes_for_templating(KEP_LEGACY_API*) const {
  m_graph->sort_nodes();
}

/// A second call for a node would leave a template that nobody uses; there is none in a build.
void KEP_ROUTING_BUILDER_EDGE_BUILDER::set_fanout(KEP_ROUTING_BUILDER_NODE* node,
                                                  const std::vector<FANOUT>& fanouts,
                                                  const std::vector<FANOUT>& redundant_fanouts, tbb::mutex&,
                                                  bool) {
  if (fanouts.size() > MAX_EDGES) refuse(*node, fanouts.size(), "real fanouts");
  if (redundant_fanouts.size() > MAX_EDGES) refuse(*node, redundant_fanouts.size(), "redundant fanouts");
  const std::size_t count = fanouts.size() + redundant_fanouts.size();
  if (count > MAX_EDGES) refuse(*node, count, "fanouts");

  KEP_ROUTING_BUILDER_GRAPH::STATE& state = *m_graph->m_state;
  KEP_ASSERT_EXPLAIN(state.m_places, "Nodes must be sorted before they get fanouts");
  const KEP_NODE_PLACES& places = *state.m_places;
  const KEP_OCCURRENCE_ORDER& order = places.get_order();
  const std::uint32_t own = order.get_place(node->get_occurrence());
  // What stands in the top is seen from everywhere, and by a difference from nowhere else.
  const auto see = [&](std::uint32_t occurrence, std::uint32_t low) -> KEP_SEEN_WORD {
    const std::uint64_t word = std::uint64_t{order.get_place(occurrence)} << 32 | low;
    if (occurrence > state.m_num_top_occurrences) return KEP_SEEN_WORD::see(word, own);
    return {word | KEP_SEEN_WORD::ABSOLUTE};
  };
  thread_local std::vector<KEP_FANOUT_ENTRY> entries;
  entries.clear();
  const auto add = [&](const FANOUT& fanout) {
    const KEP_ROUTING_BUILDER_NODE& target = *fanout.m_node;
    const std::uint32_t rank = places.get_rank(order.get_place(target.get_occurrence()), target.get_index());
    const KEP_UNFOLDED_INST_PORT& mux_input = fanout.m_mux_input;
    entries.push_back({see(target.get_occurrence(), rank + 1),
                       mux_input ? see(static_cast<std::uint32_t>(mux_input.m_position),
                                       mux_input.m_object->get_number() + 1)
                                 : KEP_SEEN_WORD{}});
  };
  for (const FANOUT& fanout : fanouts)
    add(fanout);
  for (const FANOUT& fanout : redundant_fanouts)
    add(fanout);
  state.m_fanouts_of_nodes[node->get_index()] =
      state.m_fanouts.add({entries.data(), static_cast<std::uint16_t>(fanouts.size()),
                           static_cast<std::uint16_t>(entries.size())});
}

int KEP_ROUTING_BUILDER_EDGE_BUILDER::get_num_templates() const {
  return static_cast<int>(m_graph->m_state->m_fanouts.size());
}

void KEP_ROUTING_REVERSE_EDGE_BUILDER::add_reverse_edges(KEP_ROUTING_BUILDER_GRAPH* graph, bool) {
  graph->sort_nodes_if_needed();
  graph->get_db()->get_routing_template_graph()->publish(
      std::make_unique<const KEP_ROUTING_GRAPH_STORAGE>(*graph));
}
