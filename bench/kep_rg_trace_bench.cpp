// What an edge costs to trace and verify, beside a plain pass over all edges: all edges of a node in one
// walk, and edge by edge. On a generated fabric of the number of nodes that the benchmark names.

#include "kep/kep_db.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_trace_edge.h"
#include "tools/kep-rg/generate/generate.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;

std::unique_ptr<KEP_DB> build_fabric(std::uint64_t num_nodes) {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("kep-rg-trace-bench-" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  const std::string model = (folder / "model.json").string();
  const std::string routing = (folder / "routing.jsonl").string();
  const KEP_REPORT_CAPTURE quiet;
  GENERATE_OPTIONS options{.model = model, .routing = routing};
  options.nodes = num_nodes;
  options.skip = 20;
  generate(options, model, routing);
  std::unique_ptr<KEP_DB> db = kep_read_model(model);
  KEP_RG_PARSE parse(db.get());
  kep_read_routing(db.get(), parse, routing);
  std::filesystem::remove_all(folder);
  KEP_RG_BUILD(db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(2)).build();
  return db;
}

KEP_DB& get_fabric(const benchmark::State& state) {
  static std::unique_ptr<KEP_DB> db;
  static std::int64_t num_nodes = 0;
  if (num_nodes != state.range(0)) db = build_fabric(static_cast<std::uint64_t>(state.range(0)));
  num_nodes = state.range(0);
  return *db;
}

void count_edges(benchmark::State& state, const KEP_DB& db) {
  const KEP_ROUTING::GRAPH& graph = *db.get_routing_template_graph();
  const auto edges = static_cast<double>(graph.get_num_real_edges() + graph.get_num_redundant_edges());
  state.counters["edges"] = edges;
  state.counters["per_edge"] = benchmark::Counter(edges * static_cast<double>(state.iterations()),
                                                  benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// The baseline: every edge with its fanout and its mux input.
void pass_over_edges(benchmark::State& state) {
  KEP_DB& db = get_fabric(state);
  for (auto _ : state)
    for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes())
      for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout()) {
        benchmark::DoNotOptimize(edge.get_fanout());
        benchmark::DoNotOptimize(edge.get_mux_input());
      }
  count_edges(state, db);
}
BENCHMARK(pass_over_edges)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void check_all_edges(benchmark::State& state) {
  KEP_DB& db = get_fabric(state);
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  KEP_RG_TRACE_EDGE tracer(&db, cache);
  std::vector<OUTCOME> outcomes;
  for (auto _ : state)
    for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes()) {
      tracer.check_edges(node, outcomes);
      for (const OUTCOME outcome : outcomes)
        if (outcome != OUTCOME::VERIFIED) throw std::logic_error("an edge of the fabric does not verify");
    }
  count_edges(state, db);
}
BENCHMARK(check_all_edges)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void verify_all_edge_traces(benchmark::State& state) {
  KEP_DB& db = get_fabric(state);
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  KEP_RG_TRACE_EDGE tracer(&db, cache);
  for (auto _ : state)
    if (!tracer.verify_all_edge_traces()) throw std::logic_error("an edge of the fabric does not verify");
  count_edges(state, db);
}
BENCHMARK(verify_all_edge_traces)->Arg(100'000)->Unit(benchmark::kMillisecond);

void trace_edge_by_edge(benchmark::State& state) {
  KEP_DB& db = get_fabric(state);
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  KEP_RG_TRACE_EDGE tracer(&db, cache);
  std::vector<KEP_UNFOLDED_INST_PORT> trace;
  std::vector<KEP_RG_TRACE_EDGE::HOP> hops;
  for (auto _ : state)
    for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes())
      for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout())
        if (!tracer.trace_edge(node, edge.get_fanout(), trace) ||
            tracer.check_trace(node, trace, hops) != OUTCOME::VERIFIED)
          throw std::logic_error("an edge of the fabric does not verify");
  count_edges(state, db);
}
BENCHMARK(trace_edge_by_edge)->Arg(100'000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
