#include "kep_rg/kep_rg_trace_tally.h"

#include "kep/common/kep_arena.h"
#include "kep/common/kep_loop.h"
#include "kep/kep_routing_primitive_cache.h"
#include "kep_report/kep_report_progress.h"

#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace {

using KIND = KEP_RG_FINDING_KIND;
using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;
using PLACE = KEP_RG_FINDINGS::PLACE;

/// A thread's tracer and what it has seen.
struct TRACE_WORKER {
  TRACE_WORKER(const KEP_RG_TRACE_EDGE& tracer, std::size_t max_kept)
      : m_tracer(tracer), m_max_kept(max_kept) {}

  /// Of each range the first findings are kept, so the first of all are among them.
  void trace(const KEP_ROUTING::GRAPH& graph, const tbb::blocked_range<std::uint32_t>& range) {
    std::array<std::size_t, KEP_RG_TRACE_EDGE::NUM_OUTCOMES> num_found{};
    for (std::uint32_t node = range.begin(); node != range.end(); ++node) {
      m_tracer.check_edges(graph.get_node(node), m_outcomes, m_hops);
      for (std::uint32_t edge = 0; edge != m_outcomes.size(); ++edge) {
        const OUTCOME outcome = m_outcomes[edge];
        const auto i = static_cast<std::size_t>(outcome);
        ++m_num_edges[i];
        if (outcome == OUTCOME::VERIFIED) count_hops(m_hops[edge]);
        if (kep_rg_find_kind(outcome) && num_found[i]++ < m_max_kept)
          m_findings.emplace_back(PLACE{node, edge}, outcome);
      }
    }
  }

  void count_hops(std::uint32_t num) {
    if (num >= m_num_hops.size()) m_num_hops.resize(num + std::size_t{1});
    ++m_num_hops[num];
  }

  KEP_RG_TRACE_EDGE m_tracer;
  std::size_t m_max_kept;
  std::vector<OUTCOME> m_outcomes;   // of one node
  std::vector<std::uint32_t> m_hops; // likewise
  std::vector<std::uint64_t> m_num_hops;
  std::array<std::uint64_t, KEP_RG_TRACE_EDGE::NUM_OUTCOMES> m_num_edges{};
  std::vector<std::pair<PLACE, OUTCOME>> m_findings;
};

using TRACE_WORKERS = tbb::enumerable_thread_specific<TRACE_WORKER>;

KEP_RG_TRACE_TALLY add_up(const TRACE_WORKERS& workers, std::size_t max_kept) {
  KEP_RG_TRACE_TALLY tally;
  std::vector<std::pair<PLACE, OUTCOME>> found;
  for (const TRACE_WORKER& worker : workers) {
    for (std::size_t i = 0; i != tally.m_num_edges.size(); ++i)
      tally.m_num_edges[i] += worker.m_num_edges[i];
    tally.m_num_hops.resize(std::max(tally.m_num_hops.size(), worker.m_num_hops.size()));
    for (std::size_t i = 0; i != worker.m_num_hops.size(); ++i)
      tally.m_num_hops[i] += worker.m_num_hops[i];
    found.insert(found.end(), worker.m_findings.begin(), worker.m_findings.end());
  }
  std::sort(found.begin(), found.end());
  for (std::size_t i = 0; i != tally.m_num_edges.size(); ++i) {
    const std::optional<KIND> kind = kep_rg_find_kind(static_cast<OUTCOME>(i));
    if (!kind || tally.m_num_edges[i] == 0) continue;
    KEP_RG_FINDINGS findings{*kind, tally.m_num_edges[i], {}};
    for (const auto& [place, outcome] : found)
      if (static_cast<std::size_t>(outcome) == i && findings.m_first.size() != max_kept)
        findings.m_first.push_back(place);
    tally.m_findings.push_back(std::move(findings));
  }
  return tally;
}

} // namespace

KEP_RG_TRACE_TALLY kep_rg_trace_all_edges(const KEP_DB& db, int num_threads, std::size_t max_kept,
                                          const KEP_RG_PART& part) {
  const KEP_ROUTING::GRAPH& graph = *db.get_routing_template_graph();
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  const KEP_RG_TRACE_EDGE tracer(&db, cache);
  const auto [first, end] = part.get_range(graph.get_num_nodes());
  const tbb::blocked_range<std::uint32_t> nodes(
      static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(end),
      std::clamp<std::size_t>(static_cast<std::size_t>(end - first) / 1000, 100, 10000));
  KEP_REPORT_PROGRESS progress("traces", end - first);
  TRACE_WORKERS workers([&] { return TRACE_WORKER(tracer, max_kept); });

  const auto trace = [&](const tbb::blocked_range<std::uint32_t>& range) {
    workers.local().trace(graph, range);
    progress.add(range.end() - range.begin());
  };
  kep_run_in_arena(num_threads, [&] {
    kep_run_loop([&](tbb::task_group_context& context) { tbb::parallel_for(nodes, trace, context); });
  });
  return add_up(workers, max_kept);
}
