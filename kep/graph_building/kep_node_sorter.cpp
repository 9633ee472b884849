#include "kep/graph_building/kep_node_sorter.h"

#include "kep/common/kep_loop.h"
#include "kep/common/kep_tsan.h"
#include "kep/graph/kep_node_word.h"
#include "kep/kep_cancelled.h"
#include "kep/kep_db.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

namespace {

constexpr std::uint32_t PLACES_AT_A_TIME = 1024;

} // namespace

KEP_NODE_SORTER::KEP_NODE_SORTER(KEP_ROUTING_BUILDER_GRAPH& graph)
    : m_graph(graph), m_census(graph.get_db()->get_unfolding()) {
  for (auto nodes = graph.get_nodes_from(0); !nodes.empty();
       nodes = graph.get_nodes_from(nodes.back().get_index() + 1)) {
    kep_throw_if_cancelled();
    add_nodes({nodes.begin(), nodes.end()});
  }
  if (!m_census.find_lacking()) return;
  for (const KEP_ROUTING_BUILDER_NODE* node : graph.iter_nodes(1))
    if (m_census.lacks_some(node->get_occurrence()))
      m_census.add_lacking(node->get_occurrence(), node->get_key());
  m_census.sort_lacking();
}

void KEP_NODE_SORTER::add_nodes(std::span<const KEP_ROUTING_BUILDER_NODE> nodes) {
  while (!nodes.empty()) {
    const std::uint32_t occurrence = nodes.front().get_occurrence();
    std::size_t count = 1;
    while (count != nodes.size() && nodes[count].get_occurrence() == occurrence)
      ++count;
    m_census.add(occurrence, nodes.first(count));
    nodes = nodes.subspan(count);
  }
}

void KEP_NODE_SORTER::write(const KEP_NODE_PLACES& places) {
  using RANGE = tbb::blocked_range<std::uint32_t>;
  const auto write_places = [&](const RANGE& range) {
    KEP_TSAN::begin_body();
    for (std::uint32_t place = range.begin(); place != range.end(); ++place)
      if (places.get_num_nodes(place) != 0) write_place(places, place);
    KEP_TSAN::end_body();
  };
  kep_run_loop([&](tbb::task_group_context& context) {
    tbb::parallel_for(RANGE(0, places.get_num_places(), PLACES_AT_A_TIME), write_places, context);
  });
}

void KEP_NODE_SORTER::write_place(const KEP_NODE_PLACES& places, std::uint32_t place) {
  const std::uint32_t occurrence = places.get_occurrence_places().get_occurrence(place);
  const std::uint32_t first = places.get_first_nodes()[place];
  const std::uint32_t* ranks = places.find_ranks(place);
  const std::uint32_t* keys = places.get_keys(place);
  for (std::uint32_t at = 0; at != places.get_num_nodes(place); ++at) {
    const std::uint32_t key = keys[ranks ? ranks[at] : at];
    m_graph.get_node(first + at)->set(occurrence, KEP_NODE_WORD::inst_port(key), KEP_NODE_WORD::is_hipi(key));
  }
}
