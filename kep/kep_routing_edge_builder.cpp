#include "kep/kep_db.h"
#include "kep/kep_node_word.h"
#include "kep/kep_routing_builder.h"
#include "kep/kep_routing_builder_state.h"
#include "kep/kep_routing_graph_storage.h"

#include <algorithm>
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
  graph->m_state->m_fanouts.assign(graph->get_node_count(), {});
}

void KEP_ROUTING_BUILDER_EDGE_BUILDER::sort_nodes_for_templating(KEP_LEGACY_API*) const {
  m_graph->sort_nodes();
}

void KEP_ROUTING_BUILDER_EDGE_BUILDER::set_fanout(KEP_ROUTING_BUILDER_NODE* node,
                                                  const std::vector<FANOUT>& fanouts,
                                                  const std::vector<FANOUT>& redundant_fanouts,
                                                  tbb::mutex& mutex, bool) {
  if (fanouts.size() > MAX_EDGES) refuse(*node, fanouts.size(), "real fanouts");
  if (redundant_fanouts.size() > MAX_EDGES) refuse(*node, redundant_fanouts.size(), "redundant fanouts");
  const std::size_t count = fanouts.size() + redundant_fanouts.size();
  if (count > MAX_EDGES) refuse(*node, count, "fanouts");

  KEP_ROUTING_BUILDER_GRAPH::STATE& state = *m_graph->m_state;
  const KEP_UNFOLDED_INST_PORT source = node->get_unfolded_inst_port();
  const auto code_mux = [&](const FANOUT& fanout) -> std::uint32_t {
    const KEP_UNFOLDED_INST_PORT& mux = fanout.m_mux_input;
    if (!mux) return KEP_EDGE::NO_MUX;
    if (mux == source) return KEP_EDGE::SOURCE_IS_MUX;
    const std::uint32_t number = mux.m_object->get_number();
    const KEP_UNFOLDED_INST_PORT target = fanout.m_node->get_unfolded_inst_port();
    if (target && mux.m_position == target.m_position &&
        number < KEP_EDGE::ELSEWHERE - KEP_EDGE::BESIDE_TARGET)
      return KEP_EDGE::BESIDE_TARGET + number;
    const tbb::mutex::scoped_lock lock(mutex);
    if (state.m_mux_words.size() == KEP_EDGE::ELSEWHERE)
      throw KEP_DB_ERROR("the routing graph has more than 2^31 mux inputs apart from their targets");
    state.m_mux_words.push_back(
        KEP_NODE_WORD::make(static_cast<std::uint32_t>(mux.m_position), number, false));
    return KEP_EDGE::ELSEWHERE | static_cast<std::uint32_t>(state.m_mux_words.size() - 1);
  };
  KEP_EDGE* edges = state.m_arenas.local().allocate(count);
  KEP_EDGE* next = edges;
  for (const FANOUT& fanout : fanouts)
    *next++ = {fanout.m_node->get_index(), code_mux(fanout)};
  for (const FANOUT& fanout : redundant_fanouts)
    *next++ = {fanout.m_node->get_index(), code_mux(fanout)};
  state.m_fanouts[node->get_index()] = {edges, static_cast<std::uint16_t>(fanouts.size()),
                                        static_cast<std::uint16_t>(redundant_fanouts.size())};
}

int KEP_ROUTING_BUILDER_EDGE_BUILDER::get_num_templates() const {
  const auto& fanouts = m_graph->m_state->m_fanouts;
  return static_cast<int>(
      std::count_if(fanouts.begin(), fanouts.end(), [](const auto& list) { return list.size(); }));
}

void KEP_ROUTING_REVERSE_EDGE_BUILDER::add_reverse_edges(KEP_ROUTING_BUILDER_GRAPH* graph, bool) {
  graph->get_db()->get_routing_template_graph()->publish(
      std::make_unique<const KEP_ROUTING_GRAPH_STORAGE>(*graph));
}
