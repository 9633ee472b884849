// What the checks of a finished graph cost for each edge, beside a plain pass over all edges, on fabrics with
// hipi nodes and redundant edges.

#include "bench/generated_fabric.h"
#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_post_checks.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <memory>

namespace {

KEP_DB* get_fabric(const benchmark::State& state) {
  static std::map<std::int64_t, std::unique_ptr<KEP_DB>> fabrics;
  std::unique_ptr<KEP_DB>& fabric = fabrics[state.range(0)];
  if (!fabric) {
    GENERATE_OPTIONS options;
    options.m_nodes = static_cast<std::uint64_t>(state.range(0));
    options.m_redundant = options.m_hipi = 10;
    fabric = build_fabric(options);
  }
  return fabric.get();
}

void count_redundant_edges(benchmark::State& state, const KEP_DB& db) {
  count_edges(state, db);
  state.counters["redundant"] =
      static_cast<double>(db.get_routing_template_graph()->get_num_redundant_edges());
}

/// The baseline: every edge of the graph, read and forgotten.
void plain_pass(benchmark::State& state) {
  const KEP_DB* db = get_fabric(state);
  for (auto _ : state)
    for (const KEP_ROUTING::NODE& node : db->get_routing_template_graph()->iter_nodes())
      for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout()) {
        KEP_ROUTING::NODE fanout = edge.get_fanout();
        benchmark::DoNotOptimize(fanout);
      }
  count_redundant_edges(state, *db);
}

template <bool (KEP_RG_POST_CHECKS::*CHECK)()>
void check(benchmark::State& state) {
  KEP_DB* db = get_fabric(state);
  const KEP_REPORT_CAPTURE capture;
  KEP_RG_POST_CHECKS checks(db, false);
  for (auto _ : state)
    if (!(checks.*CHECK)()) {
      state.SkipWithError("the graph is not sound");
      return;
    }
  count_redundant_edges(state, *db);
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"nodes"})->Unit(benchmark::kMillisecond)->UseRealTime();
  for (const std::int64_t nodes : {10000, 1000000})
    benchmark->Args({nodes});
}

BENCHMARK(plain_pass)->Apply(sizes);
BENCHMARK(check<&KEP_RG_POST_CHECKS::test_redundant_edges>)->Name("test_redundant_edges")->Apply(sizes);
BENCHMARK(check<&KEP_RG_POST_CHECKS::test_redundant_edge_count>)
    ->Name("test_redundant_edge_count")
    ->Apply(sizes);
BENCHMARK(check<&KEP_RG_POST_CHECKS::test_hipi_api>)->Name("test_hipi_api")->Apply(sizes);
BENCHMARK(check<&KEP_RG_POST_CHECKS::test_graph_connectivity>)->Name("test_graph_connectivity")->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
