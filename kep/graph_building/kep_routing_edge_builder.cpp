#include "kep/graph/kep_node_word.h"
#include "kep/graph_building/kep_routing_builder_state.h"
#include "kep/kep_db.h"
#include "kep/kep_routing_builder.h"
#include "kep_report/kep_report_assert.h"

#include <fmt/format.h>

#include <cstddef>
#include <limits>

namespace {

constexpr std::size_t MAX_EDGES = std::numeric_limits<unsigned short>::max();

/// How the ends of edges look from the place of one node.
class SIGHT {
public:
  /// An occurrence at which ends of edges stand.
  struct PLACE {
    std::uint32_t m_occurrence;
    std::uint32_t m_first_node;
    const std::uint32_t* m_ranks; // of its nodes; null where they have all ranks
    std::uint64_t m_begin;        // its words as they are seen begin behind this

    KEP_SEEN_WORD see_node(std::uint32_t node) const {
      const std::uint32_t at = node - m_first_node;
      return {m_begin + (m_ranks ? m_ranks[at] : at) + 1};
    }
  };

  SIGHT(const KEP_NODE_PLACES& places, const KEP_PLACE_LAYOUT& layout, std::uint32_t num_top_occurrences,
        std::uint32_t occurrence)
      : m_places(places), m_layout(layout), m_num_top_occurrences(num_top_occurrences),
        m_own(layout.get_first_place(occurrence)) {}

  PLACE get_place(std::uint32_t occurrence) const {
    const std::uint32_t place = m_layout.get_first_place(occurrence);
    return {occurrence, m_places.get_first_nodes()[place], m_places.find_ranks(place),
            see_place(occurrence, place)};
  }
  /// What stands in the top is seen from everywhere, and by a difference from nowhere else.
  std::uint64_t see_place(std::uint32_t occurrence, std::uint32_t place) const {
    const std::uint64_t word = std::uint64_t{place} << 32;
    return occurrence > m_num_top_occurrences ? KEP_SEEN_WORD::see(word, m_own).m_bits
                                              : word | KEP_SEEN_WORD::ABSOLUTE;
  }

  using BUILDER = KEP_ROUTING_BUILDER_EDGE_BUILDER;
  KEP_SEEN_WORD see_own(std::uint32_t occurrence, std::uint32_t node) const {
    return {see_place(occurrence, m_own) + m_places.get_rank(m_own, node) + 1};
  }
  /// Writes the entries of the fanouts of the run and gives the end of them. Leaves out `own`, the node as it
  /// is seen from itself, and targets that do not stand at the place, which are counted.
  KEP_FANOUT_ENTRY* write_run(const BUILDER::FOLDED_RUN& run, std::uint32_t place, KEP_SEEN_WORD own,
                              KEP_FANOUT_ENTRY* entry, std::size_t& num_missing) const {
    if (run.m_num_fanouts == 0) return entry; // where no nodes stand at all, that is no place
    const std::uint64_t begin = see_place(m_places.get_occurrence_places().get_occurrence(place), place);
    const BUILDER::FOLDED_FANOUT* fanout = run.m_fanouts;
    const BUILDER::FOLDED_FANOUT* end = fanout + run.m_num_fanouts;
    const bool has_all = m_places.has_all_ranks(place);
    if (has_all && place != m_own) {
      for (; fanout != end; ++fanout)
        *entry++ = see(*fanout, begin);
      return entry;
    }
    for (; fanout != end; ++fanout) {
      const KEP_FANOUT_ENTRY each = see(*fanout, begin);
      if (each.get_node().m_bits == own.m_bits) continue;
      if (!has_all && m_places.find_node(place, fanout->m_target - 1) == KEP_NODE_PLACES::NONE)
        ++num_missing;
      else
        *entry++ = each;
    }
    return entry;
  }
  KEP_FANOUT_ENTRY* write_runs(const std::vector<BUILDER::FANOUT_RUNS>& list, KEP_SEEN_WORD own,
                               KEP_FANOUT_ENTRY* entry, std::size_t& num_missing) const {
    for (const BUILDER::FANOUT_RUNS& runs : list)
      for (std::uint32_t i = 0; i != runs.m_num_runs; ++i)
        entry = write_run(runs.m_runs[i], runs.m_place + runs.m_runs[i].m_behind, own, entry, num_missing);
    return entry;
  }

private:
  static KEP_FANOUT_ENTRY see(const BUILDER::FOLDED_FANOUT& fanout, std::uint64_t begin) {
    return {{begin + fanout.m_target}, fanout.m_mux_input};
  }

  const KEP_NODE_PLACES& m_places;
  const KEP_PLACE_LAYOUT& m_layout;
  std::uint32_t m_num_top_occurrences;
  std::uint32_t m_own;
};

[[noreturn]] void refuse(const KEP_ROUTING_BUILDER_NODE& node, std::size_t count, const char* kind) {
  throw KEP_DB_ERROR(fmt::format("node {} has {} {}, more than the {} that a node can have",
                                 node.get_name({}), count, kind, MAX_EDGES));
}

/// The number of the mux input through which a fanout is reached.
std::uint32_t number_mux_input(const KEP_ROUTING_BUILDER_EDGE_BUILDER::FANOUT& fanout,
                               KEP_MUX_INPUT_NUMBERS& numbers) {
  const KEP_UNFOLDED_INST_PORT& mux_input = fanout.m_mux_input;
  if (!mux_input) return KEP_MUX_INPUT_NUMBERS::NONE;
  const auto occurrence = static_cast<std::uint32_t>(mux_input.m_position);
  if (occurrence == fanout.m_node->get_occurrence())
    if (const std::ptrdiff_t difference = mux_input.m_object - fanout.m_node->get_inst_port();
        KEP_MUX_INPUT_NUMBERS::has_own_number(difference))
      return static_cast<std::uint32_t>(difference);
  return numbers.number_far(KEP_MUX_INPUT_WORD::make_far(occurrence, mux_input.m_object->get_number()));
}

/// What a thread works with; the lists keep their capacity from node to node.
struct WORK {
  std::vector<KEP_FANOUT_ENTRY> m_entries;
  KEP_TEMPLATE_TABLE<KEP_FANOUT_ENTRY>::RECENT m_recent;
};

WORK& get_work() {
  thread_local WORK work;
  return work;
}

void check_counts(const KEP_ROUTING_BUILDER_NODE& node, std::size_t num_real, std::size_t num_redundant) {
  if (num_real > MAX_EDGES) refuse(node, num_real, "real fanouts");
  if (num_redundant > MAX_EDGES) refuse(node, num_redundant, "redundant fanouts");
  if (num_real + num_redundant > MAX_EDGES) refuse(node, num_real + num_redundant, "fanouts");
}

} // namespace

KEP_ROUTING_BUILDER_EDGE_BUILDER::KEP_ROUTING_BUILDER_EDGE_BUILDER(KEP_ROUTING_BUILDER_GRAPH* graph, int)
    : m_graph(graph) {
  graph->m_state->m_fanouts_of_nodes.assign(graph->get_node_count(), KEP_TEMPLATE_LISTS::NONE);
}

void KEP_ROUTING_BUILDER_EDGE_BUILDER::sort_nodes_for_templating(KEP_LEGACY_API*) const {
  m_graph->sort_nodes();
}

/// A second call for a node would leave a template that nobody uses; there is none in a build.
void KEP_ROUTING_BUILDER_EDGE_BUILDER::set_fanout(KEP_ROUTING_BUILDER_NODE* node,
                                                  const std::vector<FANOUT>& fanouts,
                                                  const std::vector<FANOUT>& redundant_fanouts, tbb::mutex&,
                                                  bool) {
  check_counts(*node, fanouts.size(), redundant_fanouts.size());
  const std::size_t count = fanouts.size() + redundant_fanouts.size();
  if (count == 0) return;

  KEP_ROUTING_BUILDER_GRAPH::STATE& state = *m_graph->m_state;
  KEP_ASSERT_EXPLAIN(state.m_places, "Nodes must be sorted before they get fanouts");
  const SIGHT sight(*state.m_places, *state.m_layout, state.m_num_top_occurrences, node->get_occurrence());
  SIGHT::PLACE near = sight.get_place(node->get_occurrence()); // many ends of one node's edges stand together
  WORK& work = get_work();
  work.m_entries.resize(count);
  KEP_FANOUT_ENTRY* entry = work.m_entries.data();
  for (const std::vector<FANOUT>* list : {&fanouts, &redundant_fanouts})
    for (const FANOUT& fanout : *list) {
      const KEP_ROUTING_BUILDER_NODE& target = *fanout.m_node;
      if (target.get_occurrence() != near.m_occurrence) near = sight.get_place(target.get_occurrence());
      *entry++ = {near.see_node(target.get_index()), number_mux_input(fanout, state.m_mux_inputs)};
    }
  state.m_fanouts_of_nodes[node->get_index()] = state.m_fanouts.add(
      {work.m_entries.data(), static_cast<std::uint16_t>(fanouts.size()), static_cast<std::uint16_t>(count)},
      work.m_recent);
}

std::uint32_t KEP_ROUTING_BUILDER_EDGE_BUILDER::find_target(const KEP_INST_PORT& inst_port) const {
  const std::uint32_t rank = m_graph->m_state->m_places->find_rank(
      *inst_port.get_inst()->get_parent(), KEP_NODE_WORD::make_key(inst_port.get_number(), false));
  return rank == KEP_NODE_PLACES::NONE ? NO_TARGET : rank + 1;
}

bool KEP_ROUTING_BUILDER_EDGE_BUILDER::has_all_nodes(std::uint32_t occurrence) const {
  const KEP_NODE_PLACES& places = *m_graph->m_state->m_places;
  const std::uint32_t place = places.get_occurrence_places().get_place(occurrence);
  return place == KEP_OCCURRENCE_PLACES::NONE || places.get_num_nodes(place) == places.get_num_ranks(place);
}

std::uint32_t KEP_ROUTING_BUILDER_EDGE_BUILDER::get_num_targets(std::uint32_t occurrence) const {
  const KEP_NODE_PLACES& places = *m_graph->m_state->m_places;
  const std::uint32_t place = places.get_occurrence_places().get_place(occurrence);
  return place == KEP_OCCURRENCE_PLACES::NONE ? 0 : places.get_num_ranks(place);
}

std::uint32_t KEP_ROUTING_BUILDER_EDGE_BUILDER::get_inst_port(std::uint32_t occurrence,
                                                              std::uint32_t target) const {
  const KEP_NODE_PLACES& places = *m_graph->m_state->m_places;
  return KEP_NODE_WORD::inst_port(
      places.get_key(places.get_occurrence_places().get_place(occurrence), target - 1));
}

std::uint32_t KEP_ROUTING_BUILDER_EDGE_BUILDER::get_place(std::uint32_t occurrence) const {
  return m_graph->m_state->m_layout->get_first_place(occurrence);
}

KEP_ROUTING_BUILDER_EDGE_BUILDER::SEAT
KEP_ROUTING_BUILDER_EDGE_BUILDER::get_seat(const KEP_ROUTING_BUILDER_NODE& node) const {
  const KEP_NODE_PLACES& places = *m_graph->m_state->m_places;
  const std::uint32_t place = m_graph->m_state->m_layout->get_first_place(node.get_occurrence());
  return {place, places.get_rank(place, node.get_index()) + 1};
}

KEP_ROUTING_BUILDER_EDGE_BUILDER::FANOUT_COUNTS
KEP_ROUTING_BUILDER_EDGE_BUILDER::set_fanout(KEP_ROUTING_BUILDER_NODE* node,
                                             const std::vector<FANOUT_RUNS>& fanouts,
                                             const std::vector<FANOUT_RUNS>& redundant_fanouts) {
  KEP_ROUTING_BUILDER_GRAPH::STATE& state = *m_graph->m_state;
  KEP_ASSERT_EXPLAIN(state.m_places, "Nodes must be sorted before they get fanouts");
  const SIGHT sight(*state.m_places, *state.m_layout, state.m_num_top_occurrences, node->get_occurrence());
  const KEP_SEEN_WORD own = sight.see_own(node->get_occurrence(), node->get_index());
  std::size_t most = 0;
  for (const std::vector<FANOUT_RUNS>* list : {&fanouts, &redundant_fanouts})
    for (const FANOUT_RUNS& runs : *list)
      for (std::uint32_t i = 0; i != runs.m_num_runs; ++i)
        most += runs.m_runs[i].m_num_fanouts;
  WORK& work = get_work();
  if (work.m_entries.size() < most) work.m_entries.resize(most);
  KEP_FANOUT_ENTRY* const first = work.m_entries.data();
  FANOUT_COUNTS counts{};
  const KEP_FANOUT_ENTRY* behind_real = sight.write_runs(fanouts, own, first, counts.m_num_missing);
  const KEP_FANOUT_ENTRY* end =
      sight.write_runs(redundant_fanouts, own, first + (behind_real - first), counts.m_num_missing);
  counts.m_num_real = static_cast<std::size_t>(behind_real - first);
  const auto count = static_cast<std::size_t>(end - first);
  counts.m_num_redundant = count - counts.m_num_real;
  check_counts(*node, counts.m_num_real, counts.m_num_redundant);
  if (count != 0)
    state.m_fanouts_of_nodes[node->get_index()] = state.m_fanouts.add(
        {first, static_cast<std::uint16_t>(counts.m_num_real), static_cast<std::uint16_t>(count)},
        work.m_recent);
  return counts;
}

int KEP_ROUTING_BUILDER_EDGE_BUILDER::get_num_templates() const {
  const KEP_ROUTING_BUILDER_GRAPH::STATE& state = *m_graph->m_state;
  return static_cast<int>(state.m_num_templates + state.m_fanouts.size());
}
