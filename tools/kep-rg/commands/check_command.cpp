#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/kep_io_error.h"
#include "tools/kep-rg/checks/findings_report.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/device/summary.h"

#include <fmt/format.h>

#include <charconv>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// What `kep-rg check` was asked for.
struct CHECK_OPTIONS {
  DEVICE_OPTIONS m_device;
  VERIFICATION m_verification{.m_check = true};
  std::string m_shard; ///< the part as it was given
};

/// "2/4" is the second of four parts; none for what is no part.
std::optional<KEP_RG_PART> find_part(const std::string& text) {
  std::uint32_t number = 0;
  std::uint32_t num_parts = 0;
  const char* end = text.data() + text.size();
  const auto [slash, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || slash == end || *slash != '/') return std::nullopt;
  const auto [last, other_error] = std::from_chars(slash + 1, end, num_parts);
  if (other_error != std::errc() || last != end) return std::nullopt;
  if (number == 0 || number > num_parts || num_parts > KEP_RG_PART::MAX_NUM_PARTS) return std::nullopt;
  return KEP_RG_PART{number - 1, num_parts};
}

/// Findings are told by their device, which only a database file knows.
void read_findings_options(CHECK_OPTIONS& options) {
  VERIFICATION& asked = options.m_verification;
  if (!options.m_shard.empty()) asked.m_part = find_part(options.m_shard).value();
  if (asked.m_findings.empty()) {
    if (!options.m_shard.empty()) throw std::runtime_error("check: --shard needs --findings");
    return;
  }
  if (asked.m_findings == KEP_ATOMIC_FILE::STANDARD_OUTPUT)
    throw std::runtime_error("standard output: can't be written: it takes the report, and no findings");
  const std::string& file = options.m_device.m_model;
  if (!is_database(file))
    throw std::runtime_error(fmt::format("{}: no device database, and findings are only written of one "
                                         "(kep-rg build -o DEVICE.kdb makes it)",
                                         kep_get_file_name(file)));
}

/// Builds a graph and verifies it: the proof and the post checks, the traces if they are asked for. False
/// when there is a finding that is not waived.
bool check(CHECK_OPTIONS& options) {
  const DEVICE_OPTIONS& device = options.m_device;
  keep_stats_off_standard_output(device);
  read_findings_options(options);
  check_outputs(device, {options.m_verification.m_findings});
  get_waived_kinds(options.m_verification.m_waive); // a wrong id is told before anything is read
  BUILD_STATS stats;
  const std::unique_ptr<KEP_DB> db = read_device(device, stats);
  const VERIFICATION& asked = options.m_verification;
  DEVICE_OPTIONS build_options = device;
  build_options.m_report = device.shows_report();
  build_options.m_verbose = false; // what is to be listed are findings
  build_graph(db.get(), build_options, stats);
  std::vector<std::string> files;
  if (!asked.m_findings.empty()) files.push_back(asked.m_findings);
  if (!device.m_stats.empty()) files.push_back(device.m_stats); // with what the checks take
  print_summary(*db, device, stats, files);
  const bool clean = verify_graph(db.get(), device, asked, stats, std::cout);
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
  add_text(*command, "--findings", options->m_verification.m_findings, "FILE.json",
           "Write what is found, for kep-rg merge; DEVICE must be a device database");
  add_text(*command, "--shard", options->m_shard, "I/N",
           "Do the I-th of N parts of the work, I from 1 to N; needs --findings")
      ->check(
          [](const std::string& text) {
            return find_part(text) ? "" : "\"" + text + "\" is no part: I/N, with I from 1 to N";
          },
          "");
  command->footer(EXIT_STATUS_TEXT);
  return {command, [options] {
            options->m_device.m_skips_checksums = false;
            return run_on_device(options->m_device, [&] { return check(*options); });
          }};
}
