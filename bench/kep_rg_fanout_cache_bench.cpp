// The edges of a graph where every connection is searched, without the fanout cache and with it, and where
// plain connections are walked over folded nets, by one thread, in processor time: sorting the nodes, finding
// their fanouts, and the reverse edges. Fabrics of 32 by 32 tiles are cut into more and more like regions,
// and then into more and more levels. Beside the time for each edge stands the share of nodes that the cache
// answers. Devices in files are measured, too:
//
//   kep_rg_fanout_cache_bench [--benchmark_... ] [MODEL.json ROUTING.jsonl]...

#include "kep/kep_db.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "tests/support/build_access.h"
#include "tools/kep-rg/generate/generate.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using SIZES = std::vector<std::uint32_t>;

std::unique_ptr<KEP_DB> read_device(const std::string& model, const std::string& routing) {
  const KEP_REPORT_CAPTURE capture;
  std::unique_ptr<KEP_DB> db = kep_read_model(model);
  KEP_RG_PARSE parse(db.get());
  kep_read_routing(db.get(), parse, routing);
  return db;
}

/// A fabric of that many levels, each with so many columns and rows, lowest first.
std::unique_ptr<KEP_DB> make_fabric(const SIZES& cells, std::uint32_t spare_rows) {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("kep_rg_fanout_cache_bench." + std::to_string(::getpid()));
  std::filesystem::create_directory(folder);
  GENERATE_OPTIONS options;
  options.m_model = (folder / "model.json").string();
  options.m_routing = (folder / "routing.jsonl").string();
  options.m_levels = static_cast<std::uint32_t>(cells.size());
  options.m_columns = options.m_rows = cells;
  options.m_spare_rows = spare_rows;
  {
    const KEP_REPORT_CAPTURE capture;
    generate(options);
  }
  std::unique_ptr<KEP_DB> db = read_device(options.m_model, options.m_routing);
  std::filesystem::remove_all(folder);
  return db;
}

enum class WAY { SEARCH, CACHE, PLAIN };

void add_edges(benchmark::State& state, KEP_DB* db, WAY way) {
  KEP_RG_EDGE_CREATION_STATS stats{0, 1};
  for (auto _ : state) {
    const KEP_REPORT_CAPTURE capture;
    KEP_RG_BUILD build(db, KEP_RG_BUILD_PARAMS());
    if (way == WAY::SEARCH) KEP_RG_TEST_ACCESS::disable_fanout_cache(build);
    if (way != WAY::PLAIN) KEP_RG_TEST_ACCESS::search_all(build);
    build.build_nodes();
    const std::clock_t start = std::clock();
    build.build_edges();
    state.SetIterationTime(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
    stats = build.get_edge_stats();
  }
  const auto edges = static_cast<double>(stats.n_edges + stats.n_redundant_edges);
  const auto nodes = static_cast<double>(stats.n_cdrn_cache_hits + stats.n_cdrn_cache_misses);
  state.counters["edges"] = edges;
  state.counters["hits_%"] = 100 * static_cast<double>(stats.n_cdrn_cache_hits) / nodes;
  state.counters["per_edge"] = benchmark::Counter(static_cast<double>(state.iterations()) * edges,
                                                  benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// The device is made at its first use and stays until the next one is wanted.
template <class MAKE>
void register_device(const std::string& name, const MAKE& make) {
  for (const auto& [way, what] :
       {std::pair(WAY::SEARCH, "/search"), std::pair(WAY::CACHE, "/cache"), std::pair(WAY::PLAIN, "/plain")})
    benchmark::RegisterBenchmark((name + what).c_str(),
                                 [name, make, way = way](benchmark::State& state) {
                                   static std::pair<std::string, std::unique_ptr<KEP_DB>> device;
                                   if (device.first != name) {
                                     device.second.reset();
                                     device = {name, make()};
                                   }
                                   add_edges(state, device.second.get(), way);
                                 })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

void register_fabric(const std::string& kind, const SIZES& cells, std::uint32_t spare_rows = 0) {
  std::string name = kind;
  for (const std::uint32_t each : cells)
    name += "/" + std::to_string(each);
  register_device(name, [cells, spare_rows] { return make_fabric(cells, spare_rows); });
}

} // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (const SIZES& cells : {SIZES{32}, SIZES{16, 2}, SIZES{8, 4}, SIZES{4, 8}, SIZES{2, 16}})
    register_fabric("regions", cells);
  for (const SIZES& cells : {SIZES{4, 4, 2}, SIZES{4, 2, 2, 2}, SIZES{2, 2, 2, 2, 2}})
    register_fabric("levels", cells);
  register_fabric("spare_rows", {4, 8}, 4);
  for (int i = 1; i + 1 < argc; i += 2)
    register_device(std::filesystem::path(argv[i]).stem().string(),
                    [model = std::string(argv[i]), routing = std::string(argv[i + 1])] {
                      return read_device(model, routing);
                    });
  benchmark::RunSpecifiedBenchmarks();
}
