#include "tools/kep-rg/checks/findings_report.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/device/summary.h"
#include "tools/kep-rg/output/atomic_file.h"
#include "tools/kep-rg/output/dump.h"
#include "tools/kep-rg/output/quiet.h"
#include "tools/kep-rg/output/wire_paths.h"

#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// What `kep-rg build` was asked for.
struct BUILD_OPTIONS {
  DEVICE_OPTIONS m_device;
  std::string m_wire_paths; ///< file for the paths of wires; empty: none
  std::string m_dump;       ///< folder for the dump; empty: none
  VERIFICATION m_verification;
};

/// The files of a build, but for its statistics.
std::vector<std::string> get_outputs(const BUILD_OPTIONS& options) {
  std::vector<std::string> outputs;
  if (!options.m_wire_paths.empty()) outputs.push_back(options.m_wire_paths);
  if (options.m_dump.empty()) return outputs;
  for (const std::string& path : get_dump_files(options.m_dump))
    outputs.push_back(path);
  return outputs;
}

/// Builds the graph of a device, checks it and writes what was asked for. False when a check made a finding;
/// the files are written all the same.
bool build(const BUILD_OPTIONS& options) {
  const DEVICE_OPTIONS& device = options.m_device;
  const VERIFICATION& asked = options.m_verification;
  const bool is_verified = asked.m_check || asked.m_trace;
  get_waived_kinds(asked.m_waive); // a wrong id is told before anything is read
  if (!is_verified && !asked.m_waive.empty())
    throw std::runtime_error("build: --waive needs --check or --trace");
  if (is_verified) keep_stats_off_standard_output(device);
  if (options.m_dump == ATOMIC_FILE::STANDARD_OUTPUT)
    throw std::runtime_error("standard output: can't be written: a dump is two files in a folder");
  std::vector<std::string> files = get_outputs(options);
  check_outputs(device, files, options.m_dump);

  BUILD_STATS stats;
  const std::unique_ptr<KEP_DB> db = read_device(device, stats);
  build_graph(db.get(), device, stats);
  const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
  if (!options.m_dump.empty()) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "dump");
    write_dump(graph, options.m_dump);
  }
  if (!options.m_wire_paths.empty()) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "wire_paths");
    const LIBRARY_REPORT report(device.shows_report());
    write_wire_paths(db.get(), options.m_wire_paths);
  }
  if (!is_verified) write_stats(*db, device, stats);
  if (!device.m_stats.empty()) files.push_back(device.m_stats); // after the checks, which it has, too
  print_summary(*db, device, stats, files);
  if (!is_verified) return true;

  const bool clean = verify_graph(db.get(), device, asked, stats, std::cout);
  write_stats(*db, device, stats);
  return clean;
}

} // namespace

COMMAND add_build_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand("build", "Build the routing graph of a device");
  const auto options = std::make_shared<BUILD_OPTIONS>();
  add_device_files(*command, options->m_device);
  add_device_options(*command, options->m_device);
  add_text(*command, "--wire-paths", options->m_wire_paths, "FILE",
           "Write the paths of the wires below routing roots");
  command->add_flag("--check", options->m_verification.m_check,
                    "Hold every node and edge against the model, and run the post checks of the graph");
  add_verification(*command, options->m_verification);
  add_text(*command, "--dump", options->m_dump, "DIR", "Write nodes.tsv and edges.tsv into this folder");
  command->footer(EXIT_STATUS_TEXT);
  return {command, [options] { return run_on_device(options->m_device, [&] { return build(*options); }); }};
}
