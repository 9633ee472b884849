#include "tools/kep-rg/build_command.h"

#include "kep_report/kep_report.h"
#include "tools/kep-rg/dump.h"
#include "tools/kep-rg/findings_report.h"
#include "tools/kep-rg/wire_paths.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

bool build_command(const BUILD_OPTIONS& options) {
  std::vector<std::string> outputs{options.m_stats, options.m_wire_paths};
  if (!options.m_dump.empty())
    for (const char* name : {"nodes.tsv", "edges.tsv"})
      outputs.push_back((std::filesystem::path(options.m_dump) / name).string());
  check_outputs(options.m_device, outputs);
  const VERIFICATION& asked = options.m_verification;
  const bool is_verified = asked.m_check || asked.m_trace;
  get_waived_kinds(asked.m_waive); // a wrong id is told before anything is read
  if (!is_verified && !asked.m_waive.empty())
    throw std::runtime_error("build: --waive needs --check or --trace");

  BUILD_STATS stats;
  const std::unique_ptr<KEP_DB> db = read_device(options.m_device, stats);
  if (!options.m_wire_paths.empty()) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "wire_paths");
    write_wire_paths(db.get(), options.m_wire_paths);
  }
  build_graph(db.get(), options.m_device, stats);
  const std::string without_node = format_outputs_without_node(stats.m_without_node);
  if (!without_node.empty() && !options.m_device.m_quiet) KEP_REPORT::print_info(without_node.c_str());
  const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
  if (!options.m_dump.empty()) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "dump");
    write_dump(graph, options.m_dump);
  }
  const bool clean = !is_verified || verify_graph(db.get(), options.m_device, asked, stats, std::cout);
  if (!options.m_stats.empty()) write_stats(stats, graph, options.m_stats);
  return clean;
}
