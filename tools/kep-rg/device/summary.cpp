#include "tools/kep-rg/device/summary.h"

#include "kep/kep_routing_graph.h"
#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/kep_io_error.h"
#include "kep_report/kep_report.h"
#include "kep_report/kep_report_number.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace {

using ROWS = std::vector<std::pair<std::string, std::string>>;

std::string get_device_text(const KEP_DB& db, const DEVICE_OPTIONS& options) {
  return fmt::format("{}, top \"{}\"", kep_get_file_name(options.m_model),
                     db.get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW)->get_plain_name());
}

std::string get_nodes_text(const KEP_ROUTING::GRAPH& graph, const KEP_RG_NODE_CREATION_STATS& stats) {
  std::vector<std::string> kinds;
  for (const auto& [number, kind] : {std::pair(stats.m_created_num_nodes_hipi, "hipi"),
                                     std::pair(stats.m_created_num_nodes_boundary, "boundary"),
                                     std::pair(stats.m_created_num_nodes_inserted, "inserted")})
    if (number != 0) kinds.push_back(fmt::format("{} {}", KEP_REPORT::group_digits(number), kind));
  const std::string text = KEP_REPORT::group_digits(graph.get_num_nodes());
  return kinds.empty() ? text : fmt::format("{}, of them {}", text, fmt::join(kinds, ", "));
}

std::string get_edges_text(const KEP_ROUTING::GRAPH& graph) {
  return fmt::format("{} real, {} redundant", KEP_REPORT::group_digits(graph.get_num_real_edges()),
                     KEP_REPORT::group_digits(graph.get_num_redundant_edges()));
}

/// Phases of a run under the names that a user knows them by.
std::string get_name(std::string_view phase) {
  constexpr std::array<std::pair<std::string_view, const char*>, 13> NAMES{{
      {"load", "reading"},
      {"describe", "reading"},
      {"redundancy", "reading"},
      {"checksums", "reading"},
      {"count", "nodes"},
      {"add_nodes", "nodes"},
      {"add_hipi", "nodes"},
      {"sort", "edges"},
      {"redundant_inputs", "edges"},
      {"add_edges", "edges"},
      {"reverse_edges", "reverse edges"},
      {"wire_paths", "wire paths"},
      {"write", "database"},
  }};
  const auto* known =
      std::find_if(NAMES.begin(), NAMES.end(), [phase](const auto& name) { return name.first == phase; });
  return known == NAMES.end() ? std::string(phase) : known->second;
}

std::string get_times_text(const KEP_RG_PHASES& phases) {
  std::vector<std::pair<std::string, double>> times; // in the order of the phases
  double total = 0;
  for (const auto& [phase, seconds] : phases) {
    const std::string name = get_name(phase);
    total += seconds;
    if (times.empty() || times.back().first != name)
      times.emplace_back(name, seconds);
    else
      times.back().second += seconds;
  }
  std::vector<std::string> words;
  words.reserve(times.size());
  for (const auto& [name, seconds] : times)
    words.push_back(fmt::format("{} {:.2f}", name, seconds));
  return fmt::format("{:.2f} s: {}", total, fmt::join(words, ", "));
}

} // namespace

std::string format_bytes(std::uint64_t bytes) {
  if (bytes < 1000) return fmt::format("{} bytes", bytes);
  auto value = static_cast<double>(bytes);
  const char* unit = "";
  for (const char* next : {"kB", "MB", "GB", "TB"}) {
    if (value < 999.5) break;
    value /= 1000;
    unit = next;
  }
  return fmt::format("{:.{}f} {}", value, value < 9.995 ? 2 : value < 99.95 ? 1 : 0, unit);
}

void print_summary(const KEP_DB& db, const DEVICE_OPTIONS& options, const BUILD_STATS& stats,
                   const std::vector<std::string>& files) {
  const bool is_output_taken = options.m_stats == KEP_ATOMIC_FILE::STANDARD_OUTPUT ||
                               std::count(files.begin(), files.end(), KEP_ATOMIC_FILE::STANDARD_OUTPUT) != 0;
  if (options.m_quiet || is_output_taken) return;
  const KEP_ROUTING::GRAPH& graph = *db.get_routing_template_graph();
  ROWS rows;
  rows.emplace_back("device", get_device_text(db, options));
  rows.emplace_back("nodes", get_nodes_text(graph, stats.m_nodes));
  if (const std::string reasons = KEP_RG::format_outputs_without_node(stats.m_without_node); !reasons.empty())
    rows.emplace_back("no node", "outputs of muxes: " + reasons);
  rows.emplace_back("edges", get_edges_text(graph));
  rows.emplace_back("memory", format_bytes(graph.get_memory_bytes()) + " for the graph");
  rows.emplace_back("time", get_times_text(stats.m_phases));
  if (!files.empty()) rows.emplace_back("files", fmt::format("{}", fmt::join(files, ", ")));

  std::size_t width = 0;
  for (const auto& [name, text] : rows)
    width = std::max(width, name.size());
  for (const auto& [name, text] : rows) // names come from files, so nothing in them may break the line
    KEP_REPORT::print_info(KEP_IO_ERROR(fmt::format("{:<{}}  {}", name, width, text)).what());
}
