#include "tools/kep-rg/build_command.h"

#include "kep/kep_routing_graph.h"
#include "kep_io/kep_io_error.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_redundancy_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_report/kep_report.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "tools/kep-rg/atomic_file.h"
#include "tools/kep-rg/dump.h"
#include "tools/kep-rg/stats_file.h"
#include "tools/kep-rg/wire_paths.h"

#include <filesystem>
#include <memory>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// Every file into one table; a port that names nothing is told, and the rest is used.
void read_redundancy(KEP_DB* db, const BUILD_OPTIONS& options) {
  KEP_RG_PARSE_REDUNDANCY parser(db, static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                 KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, options.m_num_threads);
  for (const std::string& path : options.m_redundancy)
    for (const KEP_REDUNDANCY_FAULT& fault : kep_read_redundancy(db, parser, path))
      KEP_REPORT::warn(KEP_REPORT::PREFIX_VIEW::STANDARD)
          << KEP_IO_ERROR(path + ":" + std::to_string(fault.m_line) + ": cannot read \"" + fault.m_text +
                          "\"")
                 .what()
          << std::endl;
}

/// No output may replace an input or another output.
void check_files(const BUILD_OPTIONS& options) {
  namespace fs = std::filesystem;
  std::vector<std::string> inputs{options.m_model};
  inputs.insert(inputs.end(), options.m_routing.begin(), options.m_routing.end());
  inputs.insert(inputs.end(), options.m_redundancy.begin(), options.m_redundancy.end());
  std::vector<std::string> outputs;
  if (!options.m_dump.empty())
    for (const char* name : {"nodes.tsv", "edges.tsv"})
      outputs.push_back((fs::path(options.m_dump) / name).string());
  for (const std::string& path : {options.m_stats, options.m_wire_paths})
    if (!path.empty()) outputs.push_back(path);
  std::set<fs::path> taken;
  for (const std::string& path : inputs)
    taken.insert(get_canonical_path(path));
  for (const std::string& path : outputs)
    if (!taken.insert(get_canonical_path(path)).second)
      throw std::runtime_error(path + ": is an input or another output of this run");
}

} // namespace

void build_command(const BUILD_OPTIONS& options) {
  check_files(options);
  BUILD_STATS stats;
  stats.m_num_threads = options.m_num_threads;

  const std::unique_ptr<KEP_DB> db = [&] {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "load");
    return kep_read_model(options.m_model);
  }();
  {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "describe");
    KEP_RG_PARSE parse(db.get());
    kep_describe_no_routing(db.get()); // unless a file says more
    for (const std::string& path : options.m_routing)
      kep_read_routing(db.get(), parse, path);
  }
  if (!options.m_redundancy.empty()) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "redundancy");
    read_redundancy(db.get(), options);
  }
  if (!options.m_wire_paths.empty()) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "wire_paths");
    write_wire_paths(db.get(), options.m_wire_paths);
  }
  {
    KEP_RG_BUILD build(db.get(), KEP_RG_BUILD_PARAMS()
                                     .set_num_threads(options.m_num_threads)
                                     .set_nodes_per_display(options.m_nodes_per_display)
                                     .set_verbose(options.m_verbose));
    build.build();
    stats.m_nodes = build.get_node_stats();
    stats.m_edges = build.get_edge_stats();
    stats.m_counted_n = build.get_counted_n();
    stats.m_counted_boundary = build.get_counted_boundary();
    const auto& phases = build.get_phase_seconds();
    stats.m_phases.insert(stats.m_phases.end(), phases.begin(), phases.end());
  }
  const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
  if (!options.m_dump.empty()) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "dump");
    write_dump(graph, options.m_dump);
  }
  if (!options.m_stats.empty()) write_stats(stats, graph, options.m_stats);
}
