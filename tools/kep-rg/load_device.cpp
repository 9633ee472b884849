#include "tools/kep-rg/load_device.h"

#include "kep_io/kep_io_error.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_redundancy_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_report/kep_report.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "tools/kep-rg/atomic_file.h"

#include <filesystem>
#include <ostream>
#include <set>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void warn(const std::string& text) {
  KEP_REPORT::warn(KEP_REPORT::PREFIX_VIEW::STANDARD) << KEP_IO_ERROR(text).what() << std::endl;
}

/// Every file into one table; a port that names nothing is told, and the rest is used.
void read_redundancy(KEP_DB* db, const DEVICE_OPTIONS& options) {
  KEP_RG_PARSE_REDUNDANCY parser(db, static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                 KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, options.m_num_threads);
  for (const std::string& path : options.m_redundancy)
    for (const KEP_REDUNDANCY_FAULT& fault : kep_read_redundancy(db, parser, path))
      warn(path + ":" + std::to_string(fault.m_line) + ": cannot read \"" + fault.m_text + "\"");
}

/// The file is the one that standard output goes to; what was printed would be lost with the old one.
bool is_standard_output(const std::string& path) {
  struct stat file {};
  struct stat output {};
  return ::stat(path.c_str(), &file) == 0 && ::fstat(STDOUT_FILENO, &output) == 0 &&
         file.st_dev == output.st_dev && file.st_ino == output.st_ino;
}

} // namespace

std::unique_ptr<KEP_DB> read_device(const DEVICE_OPTIONS& options, BUILD_STATS& stats) {
  stats.m_num_threads = options.m_num_threads;
  std::unique_ptr<KEP_DB> db = [&] {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "load");
    std::vector<std::string> warnings;
    std::unique_ptr<KEP_DB> model = kep_read_model(options.m_model, &warnings);
    for (const std::string& line : warnings)
      KEP_REPORT::warn(KEP_REPORT::PREFIX_VIEW::STANDARD) << line << std::endl;
    return model;
  }();
  {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "describe");
    KEP_RG_PARSE parse(db.get());
    kep_describe_no_routing(db.get()); // unless a file says more
    for (const std::string& path : options.m_routing)
      for (const std::string& warning : kep_read_routing(db.get(), parse, path))
        warn(warning);
  }
  if (!options.m_redundancy.empty()) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "redundancy");
    read_redundancy(db.get(), options);
  }
  return db;
}

void run_build(KEP_RG_BUILD& build, const DEVICE_OPTIONS& options) {
  const std::string refusal = build.find_refusal();
  if (!refusal.empty()) throw std::runtime_error(options.m_model + ": " + refusal);
  build.build();
  const std::string missing = build.explain_no_nodes();
  if (!missing.empty())
    warn(options.m_model + ": no port of a cell became a node: " +
         (options.m_routing.empty() ? "no routing description is given" : missing) +
         " (docs/model.md says what makes a node)");
}

void build_graph(KEP_DB* db, const DEVICE_OPTIONS& options, BUILD_STATS& stats) {
  KEP_RG_BUILD build(db, KEP_RG_BUILD_PARAMS()
                             .set_num_threads(options.m_num_threads)
                             .set_nodes_per_display(options.m_nodes_per_display)
                             .set_verbose(options.m_verbose));
  run_build(build, options);
  stats.m_nodes = build.get_node_stats();
  stats.m_without_node = build.get_outputs_without_node();
  stats.m_edges = build.get_edge_stats();
  stats.m_counted_n = build.get_counted_n();
  stats.m_counted_boundary = build.get_counted_boundary();
  const auto& phases = build.get_phase_seconds();
  stats.m_phases.insert(stats.m_phases.end(), phases.begin(), phases.end());
}

void check_outputs(const DEVICE_OPTIONS& options, const std::vector<std::string>& outputs) {
  std::set<std::filesystem::path> taken{get_canonical_path(options.m_model)};
  for (const std::vector<std::string>& inputs : {options.m_routing, options.m_redundancy})
    for (const std::string& path : inputs)
      taken.insert(get_canonical_path(path));
  for (const std::string& path : outputs) {
    if (path.empty()) continue;
    if (is_standard_output(path)) throw std::runtime_error(path + ": is where standard output goes");
    if (!taken.insert(get_canonical_path(path)).second)
      throw std::runtime_error(path + ": is an input or another output of this run");
  }
}
