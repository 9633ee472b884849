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

/// How the ends of edges look from the place of one node.
class SIGHT {
public:
  /// An occurrence at which ends of edges stand.
  struct PLACE {
    std::uint32_t m_occurrence;
    std::uint32_t m_first_node;
    const std::uint32_t* m_ranks;           // of its nodes; null where they have all ranks
    const KEP_INST_PORT* m_first_inst_port; // null above the tops
    std::uint64_t m_begin;                  // its words as they are seen begin behind this

    KEP_SEEN_WORD see_node(std::uint32_t node) const {
      const std::uint32_t at = node - m_first_node;
      return {m_begin + (m_ranks ? m_ranks[at] : at) + 1};
    }
    KEP_SEEN_WORD see_inst_port(const KEP_INST_PORT* inst_port) const {
      return {m_begin + static_cast<std::uint64_t>(inst_port - m_first_inst_port) + 1};
    }
  };

  SIGHT(const KEP_NODE_PLACES& places, const KEP_UNFOLDING& unfolding, std::uint32_t num_top_occurrences,
        std::uint32_t occurrence)
      : m_places(places), m_unfolding(unfolding), m_num_top_occurrences(num_top_occurrences),
        m_own(places.get_order().get_place(occurrence)) {}

  PLACE get_place(std::uint32_t occurrence) const {
    const std::uint32_t place = m_places.get_order().get_place(occurrence);
    const KEP_MODULE* module = m_unfolding.get(occurrence).m_module;
    PLACE seen{occurrence, m_places.get_first_nodes()[place], m_places.find_ranks(place),
               module ? module->get_inst_port_by_number(0) : nullptr, 0};
    // What stands in the top is seen from everywhere, and by a difference from nowhere else.
    const std::uint64_t word = std::uint64_t{place} << 32;
    seen.m_begin = occurrence > m_num_top_occurrences ? KEP_SEEN_WORD::see(word, m_own).m_bits
                                                      : word | KEP_SEEN_WORD::ABSOLUTE;
    return seen;
  }

private:
  const KEP_NODE_PLACES& m_places;
  const KEP_UNFOLDING& m_unfolding;
  std::uint32_t m_num_top_occurrences;
  std::uint32_t m_own;
};

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
  if (count == 0) return;

  KEP_ROUTING_BUILDER_GRAPH::STATE& state = *m_graph->m_state;
  KEP_ASSERT_EXPLAIN(state.m_places, "Nodes must be sorted before they get fanouts");
  const SIGHT sight(*state.m_places, m_graph->get_db()->get_unfolding(), state.m_num_top_occurrences,
                    node->get_occurrence());
  SIGHT::PLACE near = sight.get_place(node->get_occurrence()); // many ends of one node's edges stand together
  thread_local std::vector<KEP_FANOUT_ENTRY> entries;
  thread_local KEP_TEMPLATE_TABLE<KEP_FANOUT_ENTRY>::RECENT recent;
  entries.resize(count);
  KEP_FANOUT_ENTRY* entry = entries.data();
  for (const std::vector<FANOUT>* list : {&fanouts, &redundant_fanouts})
    for (const FANOUT& fanout : *list) {
      const KEP_ROUTING_BUILDER_NODE& target = *fanout.m_node;
      if (target.get_occurrence() != near.m_occurrence) near = sight.get_place(target.get_occurrence());
      entry->m_node = near.see_node(target.get_index());
      entry->m_mux = {};
      if (const KEP_UNFOLDED_INST_PORT& mux_input = fanout.m_mux_input) {
        const auto occurrence = static_cast<std::uint32_t>(mux_input.m_position);
        if (occurrence != near.m_occurrence) near = sight.get_place(occurrence);
        entry->m_mux = near.see_inst_port(mux_input.m_object);
      }
      ++entry;
    }
  state.m_fanouts_of_nodes[node->get_index()] =
      state.m_fanouts.add({entries.data(), static_cast<std::uint16_t>(fanouts.size()),
                           static_cast<std::uint16_t>(entries.size())},
                          recent);
}

int KEP_ROUTING_BUILDER_EDGE_BUILDER::get_num_templates() const {
  return static_cast<int>(m_graph->m_state->m_fanouts.size());
}

void KEP_ROUTING_REVERSE_EDGE_BUILDER::add_reverse_edges(KEP_ROUTING_BUILDER_GRAPH* graph, bool) {
  graph->sort_nodes_if_needed();
  graph->get_db()->get_routing_template_graph()->publish(
      std::make_unique<const KEP_ROUTING_GRAPH_STORAGE>(*graph));
}
