#include "kep/kep_routing_graph.h"
#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/kep_io_error.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/device/database_origin.h"
#include "tools/kep-rg/device/summary.h"
#include "tools/kep-rg/view/facts.h"
#include "tools/kep-rg/view/page.h"

#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

/// What `kep-rg view` was asked for.
struct VIEW_OPTIONS {
  DEVICE_OPTIONS m_device;
  std::string m_page;
  bool m_skips_checks = false;
};

/// The page appears when it is complete.
void write_view(const KEP_DB& db, const VIEW_OPTIONS& options, const FACTS& facts,
                std::vector<KEP_DATABASE_INPUT> inputs, BUILD_STATS& stats) {
  const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "page");
  const std::string device =
      std::filesystem::path(kep_get_file_name(options.m_device.m_model)).filename().string();
  const KEP_DATABASE_ORIGIN origin = get_origin(stats, std::move(inputs), false);
  KEP_ATOMIC_FILE file(options.m_page);
  write_page(file.out(), format_facts(facts, device),
             [&](std::ostream& out) { kep_write_database(db, origin, out); });
  kep_commit_together({&file});
}

/// Each file with its size.
std::vector<std::string> get_files(const VIEW_OPTIONS& options) {
  std::vector<std::string> files{options.m_page};
  if (options.m_page != KEP_ATOMIC_FILE::STANDARD_OUTPUT)
    files.front() += fmt::format(" ({})", format_bytes(std::filesystem::file_size(options.m_page)));
  if (!options.m_device.m_stats.empty()) files.push_back(options.m_device.m_stats);
  return files;
}

void view(const VIEW_OPTIONS& options) {
  const DEVICE_OPTIONS& device = options.m_device;
  check_outputs(device, {options.m_page});
  BUILD_STATS stats;
  const std::unique_ptr<KEP_DB> db = read_device(device, stats);
  std::vector<KEP_DATABASE_INPUT> inputs;
  if (!stats.m_origin) inputs = describe_inputs(device);
  build_graph(db.get(), device, stats);
  if (db->get_routing_template_graph()->get_num_nodes() == 0)
    throw std::runtime_error(fmt::format("{}: the graph has no nodes: there is nothing to view",
                                         kep_get_file_name(device.m_model)));
  const FACTS facts = options.m_skips_checks ? FACTS() : find_facts(*db, device, stats);
  write_view(*db, options, facts, std::move(inputs), stats);
  write_stats(*db, device, stats);
  print_summary(*db, device, stats, get_files(options));
}

} // namespace

COMMAND add_view_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "view", "Write a page that shows a device in a browser: the floor plan, nodes, edges and findings");
  const auto options = std::make_shared<VIEW_OPTIONS>();
  add_device_files(*command, options->m_device);
  add_device_options(*command, options->m_device);
  add_text(*command, "-o", options->m_page, "PAGE.html",
           "Write the page, one file that opens without a network; - for standard output")
      ->required();
  command->add_flag("--skip-checks", options->m_skips_checks,
                    "Leave out the checks, whose findings the page shows, and the traces of all edges, whose "
                    "hops it counts");
  command->footer("Exit status: 0 the page is written, whatever the checks found; 2 bad input or bad use, a "
                  "device without nodes among it; 3 an internal failure.");
  return {command, [options] {
            return run_on_device(options->m_device, [&] {
              view(*options);
              return true;
            });
          }};
}
