#include "kep/kep_graph_diff.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/output/check_files.h"
#include "tools/kep-rg/output/graph_diff_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

/// What `kep-rg diff` was asked for.
struct DIFF_OPTIONS {
  DEVICE_OPTIONS m_devices[2];
  DEVICE_OPTIONS m_common; ///< files of both, threads, checksums
  GRAPH_DIFF_STYLE m_style;
  bool m_lists_all = false;
};

void add_files(CLI::App& command, DEVICE_OPTIONS& device, const std::string& suffix, const char* of) {
  add_text(command, "--routing" + suffix, device.m_routing, "FILE",
           fmt::format("A routing description of {}; may be given more than once", of))
      ->allow_extra_args(false);
  add_text(command, "--redundancy" + suffix, device.m_redundancy, "FILE",
           fmt::format("Redundancy data of {}; may be given more than once", of))
      ->allow_extra_args(false);
}

/// The files of both come before its own. They are for models, unless both are databases, which is refused.
DEVICE_OPTIONS get_device(const DIFF_OPTIONS& options, unsigned side) {
  DEVICE_OPTIONS device = options.m_common;
  const DEVICE_OPTIONS& own = options.m_devices[side];
  device.m_model = own.m_model;
  if (is_database(device.m_model) && !is_database(options.m_devices[1 - side].m_model)) {
    device.m_routing.clear();
    device.m_redundancy.clear();
  }
  device.m_routing.insert(device.m_routing.end(), own.m_routing.begin(), own.m_routing.end());
  device.m_redundancy.insert(device.m_redundancy.end(), own.m_redundancy.begin(), own.m_redundancy.end());
  return device;
}

/// A file of both stands here twice, as it is read.
std::vector<std::string> get_inputs(const DEVICE_OPTIONS (&devices)[2]) {
  std::vector<std::string> inputs;
  for (const DEVICE_OPTIONS& device : devices) {
    inputs.push_back(device.m_model);
    inputs.insert(inputs.end(), device.m_routing.begin(), device.m_routing.end());
    inputs.insert(inputs.end(), device.m_redundancy.begin(), device.m_redundancy.end());
  }
  return inputs;
}

/// True when both are alike.
bool diff(DIFF_OPTIONS& options) {
  const DEVICE_OPTIONS devices[] = {get_device(options, 0), get_device(options, 1)};
  check_files(get_inputs(devices), {});
  BUILD_STATS stats[2];
  std::unique_ptr<KEP_DB> dbs[2];
  for (const unsigned side : {0U, 1U}) // bad input is told before anything is built
    dbs[side] = read_device(devices[side], stats[side]);
  for (const unsigned side : {0U, 1U})
    build_graph(dbs[side].get(), devices[side], stats[side]);
  const KEP_GRAPH_DIFF found(*dbs[0], *dbs[1]);
  for (const unsigned side : {0U, 1U})
    options.m_style.m_names[side] = devices[side].m_model;
  const KEP_ROUTING::GRAPH& graph = *dbs[0]->get_routing_template_graph();
  options.m_style.m_all = {graph.get_num_nodes(), graph.get_num_real_edges(),
                           graph.get_num_redundant_edges()};
  if (options.m_lists_all) options.m_style.m_num_shown = std::numeric_limits<std::uint64_t>::max();
  options.m_style.m_shows_only_names = options.m_common.m_quiet;
  write_graph_diff(found, options.m_style);
  return found.empty();
}

} // namespace

COMMAND add_diff_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "diff", "Say what differs between two devices: nodes and edges that are gone or new");
  const auto options = std::make_shared<DIFF_OPTIONS>();
  add_text(*command, "A", options->m_devices[0].m_model, "",
           "The first device: a device database, or a model")
      ->required();
  add_text(*command, "B", options->m_devices[1].m_model, "", "The second one, likewise")->required();
  add_files(*command, options->m_common, "", "those of A and B that are models");
  add_files(*command, options->m_devices[0], "-a", "A");
  add_files(*command, options->m_devices[1], "-b", "B");
  command->add_option("--max", options->m_style.m_num_shown, "So many lines of each list")
      ->type_name("N")
      ->check(CLI::Range(std::int64_t{0}, std::numeric_limits<std::int64_t>::max()))
      ->capture_default_str();
  command->add_flag("--all", options->m_lists_all, "All lines of each list")->excludes("--max");
  command->add_flag("--json", options->m_style.m_is_json, "Print one JSON object (docs/formats.md)");
  command->add_flag("--skip-checksums", options->m_common.m_skips_checksums,
                    "Leave the checksums of device databases to check, which always tests them");
  options->m_common.m_num_threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  command
      ->add_option("-j", options->m_common.m_num_threads,
                   "Threads; what comes out is the same for any number")
      ->type_name("N")
      ->check(CLI::Range(1, 4096))
      ->capture_default_str();
  command->add_flag("-q", options->m_common.m_quiet,
                    "No counts, no groups and no progress: nodes and edges by name alone");
  add_version(*command);
  command->footer("Exit status: 0 the graphs are alike; 1 they differ; 2 bad input or bad use; 3 an internal "
                  "failure.");
  return {command, [options] { return run_on_device(options->m_common, [&] { return diff(*options); }); }};
}
