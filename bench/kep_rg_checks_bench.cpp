// What the checks of a finished graph cost for each edge, beside a plain pass over all edges, on fabrics with
// hipi nodes and redundant edges.

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_redundancy_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "kep_rg/kep_rg_post_checks.h"
#include "tools/kep-rg/generate/generate.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

namespace {

/// A generated fabric of about so many nodes, with its graph.
std::unique_ptr<KEP_DB> make_fabric(std::uint64_t nodes) {
  const KEP_REPORT_CAPTURE capture;
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("kep_rg_checks_bench." + std::to_string(nodes));
  std::filesystem::create_directory(folder);
  GENERATE_OPTIONS options;
  options.model = (folder / "model.kdl").string();
  options.routing = (folder / "routing.kdl").string();
  options.redundancy = (folder / "redundancy.txt").string();
  options.nodes = nodes;
  options.redundant = 10;
  options.hipi = 10;
  generate(options, options.model, options.routing);
  std::unique_ptr<KEP_DB> db = kep_read_model(options.model);
  KEP_RG_PARSE parse(db.get());
  kep_read_routing(db.get(), parse, options.routing);
  KEP_RG_PARSE_REDUNDANCY redundancy(db.get(), static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                     KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, 1);
  kep_read_redundancy(db.get(), redundancy, options.redundancy);
  std::filesystem::remove_all(folder);
  KEP_RG_BUILD build(db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(2));
  build.build();
  return db;
}

KEP_DB* get_fabric(const benchmark::State& state) {
  static std::map<std::int64_t, std::unique_ptr<KEP_DB>> fabrics;
  std::unique_ptr<KEP_DB>& fabric = fabrics[state.range(0)];
  if (!fabric) fabric = make_fabric(static_cast<std::uint64_t>(state.range(0)));
  return fabric.get();
}

/// Reports the time for each edge, and how many edges there are.
void count_edges(benchmark::State& state, const KEP_DB& db) {
  const KEP_ROUTING::GRAPH& graph = *db.get_routing_template_graph();
  const auto edges = static_cast<double>(graph.get_num_real_edges() + graph.get_num_redundant_edges());
  state.counters["edges"] = edges;
  state.counters["redundant"] = static_cast<double>(graph.get_num_redundant_edges());
  state.counters["per_edge"] = benchmark::Counter(static_cast<double>(state.iterations()) * edges,
                                                  benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
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
  count_edges(state, *db);
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
  count_edges(state, *db);
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
