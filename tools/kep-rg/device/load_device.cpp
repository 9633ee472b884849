#include "tools/kep-rg/device/load_device.h"

#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/kep_database_file.h"
#include "kep_io/kep_io_error.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_redundancy_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "tools/kep-rg/output/check_files.h"
#include "tools/kep-rg/output/plain_output.h"
#include "tools/kep-rg/output/quiet.h"

#include <fmt/format.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace {

/// Every file into one table; a port that names nothing is told, and the rest is used.
void read_redundancy(KEP_DB* db, const DEVICE_OPTIONS& options) {
  KEP_RG_PARSE_REDUNDANCY parser(db, static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                 KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, options.m_num_threads);
  for (const std::string& path : options.m_redundancy)
    for (const KEP_REDUNDANCY_FAULT& fault : kep_read_redundancy(db, parser, path))
      warn(fmt::format("{}:{}: can't be read: \"{}\"", kep_get_file_name(path), fault.m_line, fault.m_text));
}

/// std::runtime_error, with the place in the device, for a device on which no graph can be built; one on
/// which no node stands is a warning that says what is missing.
void run_build(KEP_RG_BUILD& build, const DEVICE_OPTIONS& options) {
  const std::string file = kep_get_file_name(options.m_model);
  try {
    build.build();
  } catch (const KEP_DB_ERROR& error) { // more than a graph can hold
    throw std::runtime_error(fmt::format("{}: {}", file, error.what()));
  }
  const std::string missing = build.explain_no_nodes();
  if (!missing.empty())
    warn(fmt::format("{}: no port of a cell became a node: {} (docs/model.md says what makes a node)", file,
                     options.m_routing.empty() ? "no routing description is given" : missing));
}

std::unique_ptr<KEP_DB> open_device(const DEVICE_OPTIONS& options, BUILD_STATS& stats) {
  std::error_code ignored;
  for (const auto* more : {&options.m_routing, &options.m_redundancy})
    if (!more->empty() && std::filesystem::exists(options.m_model, ignored)) // else that is what is told
      throw std::runtime_error(fmt::format("{}: {} is a device database, to which nothing is added",
                                           kep_get_file_name(more->front()), options.m_model));
  const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "load");
  const auto checksums =
      options.m_skips_checksums ? KEP_DATABASE_CHECKSUMS::SKIP : KEP_DATABASE_CHECKSUMS::TEST;
  KEP_DATABASE_INFO info;
  std::unique_ptr<KEP_DB> db = kep_open_database(options.m_model, checksums, &info);
  kep_describe_no_routing(db.get()); // unless the file says more
  set_origin(stats, std::move(info.m_origin));
  stats.m_database_checksum = info.m_checksum;
  return db;
}

} // namespace

bool is_database(const std::string& path) {
  return path.ends_with(".kdb") || kep_is_database_file(path);
}

std::unique_ptr<KEP_DB> read_device(const DEVICE_OPTIONS& options, BUILD_STATS& stats) {
  const LIBRARY_REPORT report(options.shows_report());
  stats.m_num_threads = options.m_num_threads;
  if (is_database(options.m_model)) return open_device(options, stats);
  std::unique_ptr<KEP_DB> db = [&] {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "load");
    std::vector<std::string> warnings;
    tbb::task_arena arena(options.m_num_threads);
    std::unique_ptr<KEP_DB> model = arena.execute([&] { return kep_read_model(options.m_model, &warnings); });
    for (const std::string& line : warnings)
      warn(line);
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

void build_graph(KEP_DB* db, const DEVICE_OPTIONS& options, BUILD_STATS& stats) {
  if (!stats.m_origin) build_and_keep(db, options, stats);
}

std::unique_ptr<KEP_RG_BUILD> build_and_keep(KEP_DB* db, const DEVICE_OPTIONS& options, BUILD_STATS& stats) {
  const LIBRARY_REPORT report(options.shows_report());
  auto build = std::make_unique<KEP_RG_BUILD>(db, KEP_RG_BUILD_PARAMS()
                                                      .set_num_threads(options.m_num_threads)
                                                      .set_nodes_per_display(options.m_nodes_per_display)
                                                      .set_verbose(options.m_verbose));
  const std::string refusal = build->find_refusal();
  if (!refusal.empty())
    throw std::runtime_error(fmt::format("{}: {}", kep_get_file_name(options.m_model), refusal));
  if (stats.m_origin) {
    build->build_nodes();
    if (db->get_db_type() != KEP_DB_TYPE::NO_REDUNDANCY) build->build_redundant_inputs();
    return build;
  }
  run_build(*build, options);
  stats.m_nodes = build->get_node_stats();
  stats.m_without_node = build->get_outputs_without_node();
  stats.m_edges = build->get_edge_stats();
  stats.m_counted_n = build->get_counted_n();
  stats.m_counted_boundary = build->get_counted_boundary();
  const auto& phases = build->get_phase_seconds();
  stats.m_phases.insert(stats.m_phases.end(), phases.begin(), phases.end());
  return build;
}

bool has_redundancy_data(const DEVICE_OPTIONS& options, const BUILD_STATS& stats) {
  if (!stats.m_origin) return !options.m_redundancy.empty();
  const auto& inputs = stats.m_origin->m_inputs;
  return std::any_of(inputs.begin(), inputs.end(),
                     [](const KEP_DATABASE_INPUT& input) { return input.m_role == REDUNDANCY_ROLE; });
}

bool is_redundancy_judged(const KEP_DB& db, const DEVICE_OPTIONS& options, const BUILD_STATS& stats) {
  return has_redundancy_data(options, stats) ||
         db.get_routing_template_graph()->get_num_redundant_edges() != 0;
}

void check_outputs(const DEVICE_OPTIONS& options, std::vector<std::string> outputs,
                   const std::string& made_folder) {
  std::vector<std::string> inputs{options.m_model};
  inputs.insert(inputs.end(), options.m_routing.begin(), options.m_routing.end());
  inputs.insert(inputs.end(), options.m_redundancy.begin(), options.m_redundancy.end());
  outputs.push_back(options.m_stats);
  check_files(inputs, outputs, made_folder);
}

void keep_stats_off_standard_output(const DEVICE_OPTIONS& options) {
  if (options.m_stats == KEP_ATOMIC_FILE::STANDARD_OUTPUT)
    throw std::runtime_error(
        "standard output: can't be written: it takes the answer of the command, and no statistics");
}

void write_stats(const KEP_DB& db, const DEVICE_OPTIONS& options, const BUILD_STATS& stats) {
  if (!options.m_stats.empty()) write_stats(stats, *db.get_routing_template_graph(), options.m_stats);
}
