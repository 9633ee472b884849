#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/kep_find_nodes.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/device/summary.h"
#include "tools/kep-rg/export/csr.h"
#include "tools/kep-rg/export/window_format.h"

#include <fmt/format.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

const std::map<std::string, WINDOW_FORMAT> WINDOW_FORMATS{{"dot", WINDOW_FORMAT::DOT},
                                                          {"graphml", WINDOW_FORMAT::GRAPHML},
                                                          {"json", WINDOW_FORMAT::JSON},
                                                          {"csv", WINDOW_FORMAT::CSV}};
const std::map<std::string, WINDOW_DIRECTION> DIRECTIONS{{"both", WINDOW_DIRECTION::BOTH},
                                                         {"fanouts", WINDOW_DIRECTION::FANOUTS},
                                                         {"fanins", WINDOW_DIRECTION::FANINS}};

/// What `kep-rg export` was asked for.
struct EXPORT_OPTIONS {
  DEVICE_OPTIONS m_device;
  std::string m_format;
  std::string m_output; ///< a file, or a folder for arrays; empty: standard output
  std::vector<std::string> m_around;
  std::string m_direction = "both";
  WINDOW_LIMITS m_limits;

  std::vector<CLI::Option*> m_of_windows; ///< options that say nothing of the whole graph

  bool is_whole() const { return m_format == "csr"; }
};

template <class VALUE>
std::vector<std::string> get_names(const std::map<std::string, VALUE>& values) {
  std::vector<std::string> names;
  names.reserve(values.size());
  for (const auto& [name, value] : values)
    names.push_back(name);
  return names;
}

/// Refuses what can't be done, before anything is read.
void check_options(const EXPORT_OPTIONS& options) {
  if (!options.is_whole()) {
    if (options.m_around.empty())
      throw std::runtime_error("export: a window needs --around NODE (the whole graph: --format csr)");
    if (options.m_output == KEP_ATOMIC_FILE::STANDARD_OUTPUT)
      keep_stats_off_standard_output(options.m_device);
    return check_outputs(options.m_device, {options.m_output});
  }
  for (const CLI::Option* option : options.m_of_windows)
    if (option->count() != 0)
      throw std::runtime_error(
          fmt::format("export: --format csr writes the whole graph, and takes no {}", option->get_name()));
  if (options.m_output == KEP_ATOMIC_FILE::STANDARD_OUTPUT)
    throw std::runtime_error("standard output: can't be written: arrays are four files in a folder (-o DIR)");
  check_outputs(options.m_device, get_csr_files(options.m_output), options.m_output);
}

void export_window(const KEP_DB& db, const EXPORT_OPTIONS& options) {
  const KEP_ROUTING::GRAPH& graph = *db.get_routing_template_graph();
  std::vector<std::uint32_t> middle;
  for (const std::string& name : options.m_around)
    for (const KEP_ROUTING::NODE& node : kep_get_nodes(db, name))
      middle.push_back(graph.get_index(node));
  const std::vector<WINDOW_NODE> nodes =
      find_window(KEP_ROUTING::NUMBERED_GRAPH(graph), middle, options.m_limits);
  KEP_ATOMIC_FILE file(options.m_output);
  write_window(graph, nodes, WINDOW_FORMATS.at(options.m_format), file.out());
  kep_commit_together({&file});
}

bool export_graph(EXPORT_OPTIONS& options) {
  if (options.m_output.empty()) options.m_output = KEP_ATOMIC_FILE::STANDARD_OUTPUT;
  options.m_limits.m_direction = DIRECTIONS.at(options.m_direction);
  check_options(options);
  const DEVICE_OPTIONS& device = options.m_device;
  BUILD_STATS stats;
  const std::unique_ptr<KEP_DB> db = read_device(device, stats);
  build_graph(db.get(), device, stats);
  std::vector<std::string> files{options.m_output};
  {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "export");
    if (options.is_whole()) {
      files = get_csr_files(options.m_output);
      write_csr(*db->get_routing_template_graph(), device.m_model, options.m_output);
    } else {
      export_window(*db, options);
    }
  }
  write_stats(*db, device, stats);
  if (!device.m_stats.empty()) files.push_back(device.m_stats);
  print_summary(*db, device, stats, files);
  return true;
}

void add_window_options(CLI::App& command, EXPORT_OPTIONS& options) {
  options.m_of_windows = {
      add_text(command, "--around", options.m_around, "NODE",
               "A node in the middle of the window; may be given more than once")
          ->allow_extra_args(false),
      command.add_option("--steps", options.m_limits.m_steps, "Edges from there to the rim of the window")
          ->type_name("N")
          ->check(CLI::Range(0, 1000000000), "")
          ->capture_default_str(),
      command
          .add_option(
              "--direction", options.m_direction,
              "fanouts: what these nodes lead to; fanins: what leads to them; both: the one and the other")
          ->type_name(fmt::format("{}", fmt::join(get_names(DIRECTIONS), "|")))
          ->check(CLI::IsMember(get_names(DIRECTIONS)).description(""))
          ->capture_default_str(),
      command.add_option("--max-nodes", options.m_limits.m_max_nodes, "Refuse a window of more nodes")
          ->type_name("N")
          ->check(CLI::Range(1, 2147483647), "")
          ->capture_default_str()};
}

} // namespace

COMMAND add_export_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "export",
      "Write the graph of a device as arrays, or a window of it for programs that draw and compute");
  const auto options = std::make_shared<EXPORT_OPTIONS>();
  add_device_files(*command, options->m_device);
  std::vector<std::string> formats = get_names(WINDOW_FORMATS);
  formats.emplace_back("csr");
  command
      ->add_option("--format", options->m_format,
                   "csr: the whole graph as arrays by number; csv, dot, graphml or json: a window")
      ->type_name(fmt::format("{}", fmt::join(formats, "|")))
      ->required()
      ->check(CLI::IsMember(formats).description(""));
  add_text(*command, "-o", options->m_output, "FILE|DIR",
           "Write the window into this file, without -o to standard output; arrays, four files, into this "
           "folder");
  add_window_options(*command, *options);
  add_device_options(*command, options->m_device);
  command->footer(
      "Exit status: 0 done; 2 bad input or bad use, a name without a node and a window of too many "
      "nodes among it; 3 an internal failure.");
  return {command,
          [options] { return run_on_device(options->m_device, [&] { return export_graph(*options); }); }};
}
