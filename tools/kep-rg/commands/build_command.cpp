#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/kep_database_file.h"
#include "tools/kep-rg/checks/findings_report.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/device/database_origin.h"
#include "tools/kep-rg/device/summary.h"
#include "tools/kep-rg/output/dump.h"
#include "tools/kep-rg/output/quiet.h"
#include "tools/kep-rg/output/wire_paths.h"

#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

/// What `kep-rg build` was asked for.
struct BUILD_OPTIONS {
  DEVICE_OPTIONS m_device;
  std::string m_database;   ///< file for the device database; empty: none
  std::string m_wire_paths; ///< file for the paths of wires; empty: none
  std::string m_dump;       ///< folder for the dump; empty: none
  VERIFICATION m_verification;

  bool is_verified() const { return m_verification.m_check || m_verification.m_trace; }
};

/// The files of a build, but for its statistics.
std::vector<std::string> get_outputs(const BUILD_OPTIONS& options) {
  std::vector<std::string> outputs;
  if (!options.m_database.empty()) outputs.push_back(options.m_database);
  if (!options.m_wire_paths.empty()) outputs.push_back(options.m_wire_paths);
  if (options.m_dump.empty()) return outputs;
  for (const std::string& path : get_dump_files(options.m_dump))
    outputs.push_back(path);
  return outputs;
}

/// Refuses what can't be done, before anything is read.
void check_options(const BUILD_OPTIONS& options) {
  const VERIFICATION& asked = options.m_verification;
  get_waived_kinds(asked.m_waive); // a wrong id is told
  if (!options.is_verified() && !asked.m_waive.empty())
    throw std::runtime_error("build: --waive needs --check or --trace");
  if (options.is_verified()) keep_stats_off_standard_output(options.m_device);
  if (options.m_dump == KEP_ATOMIC_FILE::STANDARD_OUTPUT)
    throw std::runtime_error("standard output: can't be written: a dump is two files in a folder");
  if (options.m_database == KEP_ATOMIC_FILE::STANDARD_OUTPUT)
    throw std::runtime_error("standard output: can't be written: a device database is opened by mapping, "
                             "which takes a file");
  check_outputs(options.m_device, get_outputs(options), options.m_dump);
}

std::vector<KEP_DATABASE_INPUT> describe_inputs(const BUILD_OPTIONS& options, BUILD_STATS& stats) {
  if (options.m_database.empty() || stats.m_origin) return {};
  const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "checksums");
  return describe_inputs(options.m_device);
}

/// All files but the statistics.
void write_files(KEP_DB* db, const BUILD_OPTIONS& options, std::vector<KEP_DATABASE_INPUT> inputs,
                 BUILD_STATS& stats) {
  if (!options.m_dump.empty()) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "dump");
    write_dump(*db->get_routing_template_graph(), options.m_dump);
  }
  const bool stores_wire_paths = !options.m_wire_paths.empty();
  if (stores_wire_paths) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "wire_paths");
    const LIBRARY_REPORT report(options.m_device.shows_report());
    write_wire_paths(db, options.m_wire_paths);
  }
  if (!options.m_database.empty()) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "write");
    kep_write_database(*db, get_origin(stats, std::move(inputs), stores_wire_paths), options.m_database);
  }
}

/// Builds the graph of a device, checks it and writes what was asked for. False when a check made a finding;
/// the files are written all the same.
bool build(const BUILD_OPTIONS& options) {
  check_options(options);
  const DEVICE_OPTIONS& device = options.m_device;
  BUILD_STATS stats;
  const std::unique_ptr<KEP_DB> db = read_device(device, stats);
  std::vector<KEP_DATABASE_INPUT> inputs = describe_inputs(options, stats);
  build_graph(db.get(), device, stats);
  write_files(db.get(), options, std::move(inputs), stats);
  if (!options.is_verified()) write_stats(*db, device, stats);
  std::vector<std::string> files = get_outputs(options);
  if (!device.m_stats.empty()) files.push_back(device.m_stats); // after the checks, which it has, too
  print_summary(*db, device, stats, files);
  if (!options.is_verified()) return true;

  const bool clean = verify_graph(db.get(), device, options.m_verification, stats, std::cout);
  write_stats(*db, device, stats);
  return clean;
}

} // namespace

COMMAND add_build_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand("build", "Build the routing graph of a device");
  const auto options = std::make_shared<BUILD_OPTIONS>();
  add_device_files(*command, options->m_device);
  add_device_options(*command, options->m_device);
  add_text(*command, "-o", options->m_database, "DEVICE.kdb",
           "Write a device database: model, description, relative paths and the finished graph, which every "
           "command opens at once");
  add_text(*command, "--wire-paths", options->m_wire_paths, "FILE",
           "Write the paths of the wires below routing roots");
  command->add_flag("--check", options->m_verification.m_check,
                    "Hold every node and edge against the model, and run the post checks of the graph");
  add_verification(*command, options->m_verification);
  add_text(*command, "--dump", options->m_dump, "DIR", "Write nodes.tsv and edges.tsv into this folder");
  command->footer(EXIT_STATUS_TEXT);
  return {command, [options] {
            if (options->is_verified()) options->m_device.m_skips_checksums = false;
            return run_on_device(options->m_device, [&] { return build(*options); });
          }};
}
