#include "tools/kep-rg/commands/device_command.h"

#include "kep_rg/kep_rg_findings.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/output/progress_line.h"

#include <tbb/global_control.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int MAX_THREADS = 256; // as many as the thread library is sure to start

} // namespace

void add_device_files(CLI::App& command, DEVICE_OPTIONS& options) {
  command
      .add_option("DEVICE", options.m_model,
                  "The device model, a hierarchical netlist in JSON; - for standard input. Or a device "
                  "database, DEVICE.kdb, behind which no other input is allowed")
      ->required();
  command.add_option("ROUTING", options.m_routing,
                     "Routing descriptions, one statement a line, read in this order");
}

void add_device_options(CLI::App& command, DEVICE_OPTIONS& options) {
  add_text(command, "--redundancy", options.m_redundancy, "FILE",
           "Redundancy data; may be given more than once")
      ->allow_extra_args(false);
  command.add_flag("--skip-checksums", options.m_skips_checksums,
                   "Leave the checksums of a device database to check, which always tests them");
  options.m_num_threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  command.add_option("-j", options.m_num_threads, "Threads; what comes out is the same for any number")
      ->type_name("N")
      ->check(CLI::Range(1, 4096))
      ->capture_default_str();
  command
      .add_option("--nodes-per-display", options.m_nodes_per_display,
                  "Step of the report's progress line, in nodes")
      ->type_name("N")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()))
      ->capture_default_str();
  add_text(command, "--stats", options.m_stats, "FILE.json",
           "Write counters, times and sizes as JSON; - for standard output, where nothing else goes there");
  command.add_flag("--report", options.m_report, "Print the report lines of the library");
  command.add_flag("--verbose", options.m_verbose,
                   "Print these, a line for each target that has no node, and all findings of checks");
  command.add_flag("-q", options.m_quiet, "No summary and no progress");
  add_version(command);
}

void add_verification(CLI::App& command, VERIFICATION& asked) {
  command.add_flag("--trace", asked.m_trace,
                   "Trace every edge through the model, too, and verify the trace. Traces of sound edges may "
                   "fail (docs/verification.md says where); edges at boundary nodes have none");
  add_waive(command, asked.m_waive);
}

void add_waive(CLI::App& command, std::vector<std::string>& ids) {
  std::string kinds;
  for (unsigned i = 0; i != KEP_RG_NUM_FINDING_KINDS; ++i)
    kinds += std::string(i == 0 ? "" : ", ") + kep_rg_get_id(static_cast<KEP_RG_FINDING_KIND>(i));
  command
      .add_option("--waive", ids,
                  "Show findings of this kind, but let them not decide the exit status; may be given more "
                  "than once. Kinds: " +
                      kinds)
      ->type_name("ID")
      ->allow_extra_args(false);
}

bool run_on_device(DEVICE_OPTIONS& options, const std::function<bool()>& run) {
  options.m_num_threads = std::min(options.m_num_threads, MAX_THREADS);
  // Otherwise the thread library warns of threads that it will not start.
  const tbb::global_control threads(tbb::global_control::max_allowed_parallelism,
                                    static_cast<std::size_t>(options.m_num_threads));
  std::optional<PROGRESS_LINE> progress;
  if (!options.shows_report() && !options.m_quiet) progress.emplace(STDERR_FILENO);
  return run();
}

bool answer_on_device(DEVICE_OPTIONS& options, const std::function<bool(const KEP_DB&)>& answer) {
  return run_on_device(options, [&] {
    keep_stats_off_standard_output(options);
    check_outputs(options);
    BUILD_STATS stats;
    const std::unique_ptr<KEP_DB> db = read_device(options, stats);
    build_graph(db.get(), options, stats);
    const bool is_clean = answer(*db);
    write_stats(*db, options, stats);
    return is_clean;
  });
}
