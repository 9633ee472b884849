// What an edge costs to trace and verify, beside a plain pass over all edges: all edges of a node in one
// walk, and edge by edge. On a generated fabric of the number of nodes that the benchmark names.

#include "bench/generated_fabric.h"
#include "kep/kep_db.h"
#include "kep_rg/kep_rg_trace_edge.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;

KEP_DB& get_fabric(const benchmark::State& state) {
  static std::unique_ptr<KEP_DB> db;
  static std::int64_t num_nodes = 0;
  if (num_nodes != state.range(0)) {
    num_nodes = state.range(0);
    GENERATE_OPTIONS options;
    options.m_nodes = static_cast<std::uint64_t>(num_nodes);
    options.m_skip = 20;
    db = build_fabric(options);
  }
  return *db;
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
