#include "tools/kep-rg/checks/findings_report.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/device/summary.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

/// What `kep-rg check` was asked for.
struct CHECK_OPTIONS {
  DEVICE_OPTIONS m_device;
  VERIFICATION m_verification{.m_check = true};
};

/// Builds a graph and verifies it: the proof and the post checks, the traces if they are asked for. False
/// when there is a finding that is not waived.
bool check(const CHECK_OPTIONS& options) {
  const DEVICE_OPTIONS& device = options.m_device;
  keep_stats_off_standard_output(device);
  check_outputs(device);
  get_waived_kinds(options.m_verification.m_waive); // a wrong id is told before anything is read
  BUILD_STATS stats;
  const std::unique_ptr<KEP_DB> db = read_device(device, stats);
  DEVICE_OPTIONS build_options = device;
  build_options.m_report = device.shows_report();
  build_options.m_verbose = false; // what is to be listed are findings
  build_graph(db.get(), build_options, stats);
  std::vector<std::string> files;
  if (!device.m_stats.empty()) files.push_back(device.m_stats); // with what the checks take
  print_summary(*db, device, stats, files);
  const bool clean = verify_graph(db.get(), device, options.m_verification, stats, std::cout);
  write_stats(*db, device, stats);
  return clean;
}

} // namespace

COMMAND add_check_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "check", "Build the routing graph of a device, hold every node and edge against the model, "
               "and run the post checks");
  const auto options = std::make_shared<CHECK_OPTIONS>();
  add_device_files(*command, options->m_device);
  add_device_options(*command, options->m_device);
  add_verification(*command, options->m_verification);
  command->footer(EXIT_STATUS_TEXT);
  return {command, [options] { return run_on_device(options->m_device, [&] { return check(*options); }); }};
}
