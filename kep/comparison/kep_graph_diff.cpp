#include "kep/kep_graph_diff.h"

#include "kep/common/kep_parts.h"
#include "kep/comparison/kep_class_comparer.h"
#include "kep/comparison/kep_compared_graph.h"
#include "kep/comparison/kep_path_classes.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <utility>

/// Which places differ, in the order of the graphs, and how.
struct KEP_GRAPH_DIFFERENCES {
  std::vector<KEP_PLACE_DIFFERENCE> m_places[2];
  std::vector<KEP_DIFF_PATTERN> m_patterns;

  void take(KEP_CLASS_COMPARER& part);
};

namespace {

constexpr std::size_t CLASSES_OF_A_PART = 256;

} // namespace

void KEP_GRAPH_DIFFERENCES::take(KEP_CLASS_COMPARER& part) {
  const auto num_before = static_cast<std::uint32_t>(m_patterns.size());
  std::move(part.m_patterns.begin(), part.m_patterns.end(), std::back_inserter(m_patterns));
  for (const unsigned side : {0U, 1U})
    for (KEP_PLACE_DIFFERENCE difference : part.m_places[side]) {
      if (difference.m_pattern != KEP_PLACE_DIFFERENCE::ALL) difference.m_pattern += num_before;
      m_places[side].push_back(difference);
    }
}

KEP_GRAPH_DIFF::KEP_GRAPH_DIFF(const KEP_DB& first, const KEP_DB& second) {
  KEP_NAME_NUMBERS names;
  m_graphs[0] = std::make_unique<KEP_COMPARED_GRAPH>(first, names);
  m_graphs[1] = std::make_unique<KEP_COMPARED_GRAPH>(second, names);
  const KEP_COMPARED_GRAPH* const graphs[] = {m_graphs[0].get(), m_graphs[1].get()};
  const KEP_PATH_CLASSES classes(*graphs[0], *graphs[1]);
  auto differences = std::make_unique<KEP_GRAPH_DIFFERENCES>();
  KEP_DIFF_GROUPS groups;
  std::mutex mutex;
  kep_for_parts(classes.get_num_classes(), CLASSES_OF_A_PART, [&](std::size_t begin, std::size_t end) {
    KEP_CLASS_COMPARER part(classes, graphs);
    for (std::size_t i = begin; i != end; ++i) {
      if (i % CLASSES_OF_A_PART == 0) kep_throw_if_cancelled();
      part.compare(static_cast<std::uint32_t>(i));
    }
    const std::lock_guard lock(mutex);
    for (KEP_DIFF_PATTERN& pattern : part.m_patterns) {
      for (const auto& [key, counts] : pattern.m_groups)
        groups[key].add(counts, pattern.m_num_classes);
      pattern.m_groups.clear();
    }
    for (const auto& [key, counts] : part.m_groups)
      groups[key].add(counts);
    differences->take(part);
  });
  for (const unsigned side : {0U, 1U}) {
    std::vector<KEP_PLACE_DIFFERENCE>& places = differences->m_places[side];
    std::sort(places.begin(), places.end(),
              [](const auto& left, const auto& right) { return left.m_place < right.m_place; });
    for (const auto& [key, counts] : groups)
      m_counts[side].add(counts.m_sides[side]);
  }
  m_groups = kep_describe_groups(groups, classes, graphs, names);
  m_differences = std::move(differences);
}

KEP_GRAPH_DIFF::~KEP_GRAPH_DIFF() = default;

namespace {

using KEP_ROUTING::NODE;

NODE get_node_at(const KEP_COMPARED_GRAPH& graph, std::uint32_t place, std::uint32_t rank) {
  return graph.get_graph().get_node(graph.get_tables().m_places.find_number(place, rank));
}

/// Calls `visit` for each node of a place; false when that gave false.
template <class VISIT>
bool visit_place(const KEP_COMPARED_GRAPH& graph, std::uint32_t place, const VISIT& visit) {
  const std::uint32_t* numbers = graph.get_tables().m_places.m_first_nodes + place;
  for (std::uint32_t number = numbers[0]; number != numbers[1]; ++number)
    if (!visit(graph.get_graph().get_node(number))) return false;
  return true;
}

bool visit_fanouts(const NODE& node, const KEP_GRAPH_DIFF::VISIT_EDGE& visit) {
  std::uint32_t index = 0;
  for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout())
    if (!visit(node, edge, index++ >= node.get_num_real_edges())) return false;
  return true;
}

/// The entries of a member, sorted.
template <class ENTRY>
auto get_entries(const std::vector<ENTRY>& entries, std::uint32_t member) {
  struct LESS {
    bool operator()(const ENTRY& entry, std::uint32_t wanted) const { return entry.m_member < wanted; }
    bool operator()(std::uint32_t wanted, const ENTRY& entry) const { return wanted < entry.m_member; }
  };
  const auto [begin, end] = std::equal_range(entries.begin(), entries.end(), member, LESS());
  return boost::make_iterator_range(begin, end);
}

} // namespace

void KEP_GRAPH_DIFF::visit_nodes(unsigned side, const VISIT_NODE& visit) const {
  const KEP_COMPARED_GRAPH& graph = *m_graphs[side];
  for (const KEP_PLACE_DIFFERENCE& at : m_differences->m_places[side]) {
    if (at.m_pattern == KEP_PLACE_DIFFERENCE::ALL) {
      if (!visit_place(graph, at.m_place, visit)) return;
      continue;
    }
    const KEP_DIFF_PATTERN& pattern = m_differences->m_patterns[at.m_pattern];
    for (const KEP_DIFF_PATTERN::NODE& node : get_entries(pattern.m_nodes[side], at.m_member))
      if (!visit(get_node_at(graph, at.m_place, node.m_rank))) return;
  }
}

void KEP_GRAPH_DIFF::visit_edges(unsigned side, const VISIT_EDGE& visit) const {
  const KEP_COMPARED_GRAPH& graph = *m_graphs[side];
  for (const KEP_PLACE_DIFFERENCE& at : m_differences->m_places[side]) {
    if (at.m_pattern == KEP_PLACE_DIFFERENCE::ALL) {
      if (!visit_place(graph, at.m_place, [&](const NODE& node) { return visit_fanouts(node, visit); }))
        return;
      continue;
    }
    const KEP_DIFF_PATTERN& pattern = m_differences->m_patterns[at.m_pattern];
    NODE from;
    KEP_ROUTING::EDGE_ITER<KEP_ROUTING::FWD_EDGE> edge;
    std::uint32_t rank = ~std::uint32_t{0};
    std::uint32_t index = 0;
    for (const KEP_DIFF_PATTERN::EDGE& entry : get_entries(pattern.m_edges[side], at.m_member)) {
      if (entry.m_rank != rank) {
        rank = entry.m_rank;
        index = 0;
        from = get_node_at(graph, at.m_place, rank);
        edge = from.iter_all_fanout().begin();
      }
      for (; index != entry.m_index; ++index)
        ++edge;
      if (!visit(from, *edge, entry.m_index >= from.get_num_real_edges())) return;
    }
  }
}
