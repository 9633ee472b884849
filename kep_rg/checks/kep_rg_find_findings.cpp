#include "kep/common/kep_loop.h"
#include "kep/common/kep_tsan.h"
#include "kep/kep_cancelled.h"
#include "kep_rg/checks/kep_rg_reachability.h"
#include "kep_rg/checks/kep_rg_rules.h"
#include "kep_rg/kep_rg_findings.h"

#include <tbb/parallel_for.h>
#include <tbb/parallel_invoke.h>

#include <algorithm>
#include <mutex>
#include <set>
#include <utility>

using KEP_ROUTING::FWD_EDGE;
using KEP_ROUTING::GRAPH;
using KEP_ROUTING::NODE;
using KEP_ROUTING::NODE_ITER_RANGE;
using KIND = KEP_RG_FINDING_KIND;

namespace {

/// Calls `look(node, place, findings)` for each node of a part, on any thread, and puts together what was
/// found range by range: the same for any number of threads.
template <class LOOK>
KEP_RG_FINDINGS look_at_nodes(const GRAPH& graph, const KEP_RG_PART& part, KIND kind, std::size_t max_kept,
                              KEP_REPORT_PROGRESS* progress, const LOOK& look) {
  constexpr unsigned GRAIN = 10000;
  std::mutex mutex;
  std::vector<std::pair<std::uint32_t, KEP_RG_FINDINGS>> pieces; // those with findings, by their first node
  const auto [first_node, end] = part.get_range(graph.get_num_nodes());
  const NODE_ITER_RANGE nodes = graph.iter_nodes_with_grain(GRAIN, static_cast<std::uint32_t>(first_node),
                                                            static_cast<std::uint32_t>(end));
  const auto look_at_range = [&](const NODE_ITER_RANGE& range) {
    KEP_TSAN::begin_body();
    const std::uint32_t first = graph.get_index(*range.begin());
    std::uint32_t place = first;
    KEP_RG_FINDINGS piece{kind, 0, {}};
    for (const NODE& node : range)
      look(node, place++, piece);
    if (progress) progress->add(place - first);
    if (piece.m_num != 0) {
      const std::lock_guard<std::mutex> lock(mutex);
      pieces.emplace_back(first, std::move(piece));
    }
    KEP_TSAN::end_body();
  };
  if (!nodes.empty())
    kep_run_loop([&](tbb::task_group_context& context) { tbb::parallel_for(nodes, look_at_range, context); });

  std::sort(pieces.begin(), pieces.end(),
            [](const auto& left, const auto& right) { return left.first < right.first; });
  KEP_RG_FINDINGS all{kind, 0, {}};
  for (const auto& [first, piece] : pieces) {
    all.m_num += piece.m_num;
    const std::size_t room = std::min(max_kept - all.m_first.size(), piece.m_first.size());
    all.m_first.insert(all.m_first.end(), piece.m_first.begin(),
                       piece.m_first.begin() + static_cast<std::ptrdiff_t>(room));
  }
  return all;
}

void find_doubled_edges(const NODE& node, std::uint32_t place, std::size_t max_kept, KEP_RG_FINDINGS& found) {
  if (!KEP_RG_RULES::has_redundant_edge_beside_others(node)) return;
  const KEP_RG_RULES::REAL_FANOUTS fanouts(node);
  if (!fanouts.has_doubled()) return;
  std::set<std::uint32_t> doubled;
  std::uint32_t edge_place = 0; // the real edges come first
  for (const FWD_EDGE& edge : node.iter_real_fanout()) {
    if (fanouts.count(edge) > 1 && doubled.insert(KEP_RG_RULES::REAL_FANOUTS::get_place(edge)).second)
      found.add({place, edge_place}, max_kept);
    ++edge_place;
  }
}

} // namespace

KEP_RG_FINDINGS kep_rg_find_hipi_order(const GRAPH& graph, std::size_t max_kept,
                                       KEP_REPORT_PROGRESS* progress, const KEP_RG_PART& part) {
  return look_at_nodes(graph, part, KIND::HIPI_ORDER, max_kept, progress,
                       [max_kept](const NODE& node, std::uint32_t place, KEP_RG_FINDINGS& found) {
                         if (KEP_RG_RULES::check_hipi(node) != KEP_RG_RULES::HIPI::HOLDS)
                           found.add({place, 0}, max_kept);
                       });
}

KEP_RG_FINDINGS kep_rg_find_doubled_edges(const GRAPH& graph, std::size_t max_kept,
                                          KEP_REPORT_PROGRESS* progress, const KEP_RG_PART& part) {
  return look_at_nodes(graph, part, KIND::DOUBLED_EDGE, max_kept, progress,
                       [max_kept](const NODE& node, std::uint32_t place, KEP_RG_FINDINGS& found) {
                         find_doubled_edges(node, place, max_kept, found);
                       });
}

KEP_RG_FINDINGS kep_rg_find_few_redundant_edges(const GRAPH& graph) {
  KEP_RG_FINDINGS found{KIND::FEW_REDUNDANT_EDGES, 0, {}};
  if (!KEP_RG_RULES::are_enough_redundant(graph.get_num_real_edges(), graph.get_num_redundant_edges()))
    found.add({}, 1);
  return found;
}

KEP_RG_FINDINGS kep_rg_find_no_node(const GRAPH& graph) {
  KEP_RG_FINDINGS found{KIND::NO_NODE, 0, {}};
  if (graph.get_num_nodes() == 0) found.add({}, 1);
  return found;
}

KEP_RG_FINDINGS kep_rg_find_unreachable_nodes(const GRAPH& graph, std::size_t max_kept,
                                              KEP_REPORT_PROGRESS* progress) {
  KEP_RG_REACHABILITY reachability(graph);
  reachability.mark_input_nodes();
  const std::uint32_t num_told = reachability.walk(progress);
  KEP_RG_FINDINGS found{KIND::UNREACHABLE_NODE, 0, {}};
  const auto num_nodes = static_cast<std::uint32_t>(graph.get_num_nodes());
  for (std::uint32_t place = 0; place != num_nodes; ++place) {
    if (place % KEP_RG_REACHABILITY::NODES_PER_LOOK == 0) kep_throw_if_cancelled();
    if (reachability.is_unreachable(place)) found.add({place, 0}, max_kept);
  }
  if (progress) progress->add(num_nodes - num_told);
  return found;
}

std::vector<KEP_RG_FINDINGS> kep_rg_find_all(const GRAPH& graph, bool is_redundancy_judged,
                                             std::size_t max_kept, const KEP_RG_PART& part) {
  const std::uint64_t num_nodes = graph.get_num_nodes();
  const auto [first, end] = part.get_range(num_nodes);
  KEP_REPORT_PROGRESS progress("checks", 2 * (end - first) + (part.is_first() ? num_nodes : 0));
  KEP_RG_FINDINGS hipi_order;
  KEP_RG_FINDINGS doubled;
  KEP_RG_FINDINGS unreachable;
  const auto make = [](KEP_RG_FINDINGS& found, const auto& find) {
    KEP_TSAN::begin_body();
    found = find();
    KEP_TSAN::end_body();
  };
  const auto find_unreachable = [&] {
    if (!part.is_first()) return;
    make(unreachable, [&] { return kep_rg_find_unreachable_nodes(graph, max_kept, &progress); });
  };
  const auto find_hipi_order = [&] {
    make(hipi_order, [&] { return kep_rg_find_hipi_order(graph, max_kept, &progress, part); });
  };
  const auto find_doubled = [&] {
    make(doubled, [&] { return kep_rg_find_doubled_edges(graph, max_kept, &progress, part); });
  };
  kep_run_loop([&](tbb::task_group_context& context) {
    tbb::parallel_invoke(find_unreachable, find_hipi_order, find_doubled, context);
  });

  std::vector<KEP_RG_FINDINGS> all{std::move(hipi_order), std::move(doubled)};
  if (!part.is_first()) return all;
  if (is_redundancy_judged) all.push_back(kep_rg_find_few_redundant_edges(graph));
  all.push_back(std::move(unreachable));
  all.push_back(kep_rg_find_no_node(graph));
  return all;
}
