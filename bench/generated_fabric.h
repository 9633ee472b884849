#pragma once

#include "kep/kep_db.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_redundancy_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "tools/kep-rg/generate/generate.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>

/// A generated fabric with its graph. Its files are gone again.
inline std::unique_ptr<KEP_DB> build_fabric(GENERATE_OPTIONS options) {
  const KEP_REPORT_CAPTURE quiet;
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("kep-rg-bench." + std::to_string(::getpid()));
  std::filesystem::create_directory(folder);
  options.m_model = folder / "model.json";
  options.m_routing = folder / "routing.jsonl";
  if (options.m_redundant != 0) options.m_redundancy = folder / "redundancy.txt";
  generate(options);
  std::unique_ptr<KEP_DB> db = kep_read_model(options.m_model);
  KEP_RG_PARSE parse(db.get());
  kep_read_routing(db.get(), parse, options.m_routing);
  if (options.m_redundant != 0) {
    KEP_RG_PARSE_REDUNDANCY redundancy(db.get(), static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                       KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, 1);
    kep_read_redundancy(db.get(), redundancy, options.m_redundancy);
  }
  std::filesystem::remove_all(folder);
  KEP_RG_BUILD(db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(2)).build();
  return db;
}

/// Reports the time for each edge of the graph, and how many edges there are.
inline void count_edges(benchmark::State& state, const KEP_DB& db) {
  const KEP_ROUTING::GRAPH& graph = *db.get_routing_template_graph();
  const auto edges = static_cast<double>(graph.get_num_real_edges() + graph.get_num_redundant_edges());
  state.counters["edges"] = edges;
  state.counters["per_edge"] = benchmark::Counter(edges * static_cast<double>(state.iterations()),
                                                  benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
