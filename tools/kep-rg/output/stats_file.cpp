#include "tools/kep-rg/output/stats_file.h"

#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/text/kep_json_text.h"

#include <fmt/format.h>

#include <string>
#include <sys/resource.h>
#include <type_traits>
#include <utility>

namespace {

std::uint64_t get_peak_rss_bytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

using COUNTERS = std::vector<std::pair<std::string, std::uint64_t>>;

/// Shows each counter that hangs on the device alone, with its name.
template <class STATS, class VISIT>
void visit_device_counters(STATS& stats, const VISIT& visit) {
  auto& nodes = stats.m_nodes;
  visit("m_eliminated_num_nodes", nodes.m_eliminated_num_nodes);
  visit("m_created_num_nodes", nodes.m_created_num_nodes);
  visit("m_created_num_nodes_blc", nodes.m_created_num_nodes_blc);
  visit("m_created_num_nodes_inserted", nodes.m_created_num_nodes_inserted);
  visit("m_created_num_nodes_hipi", nodes.m_created_num_nodes_hipi);
  visit("m_repeated_num_nodes", nodes.m_repeated_num_nodes);
  visit("m_created_num_nodes_boundary", nodes.m_created_num_nodes_boundary);
  auto& edges = stats.m_edges;
  visit("n_skip_port", edges.n_skip_port);
  visit("n_nodes", edges.n_nodes);
  visit("n_nodes_done", edges.n_nodes_done);
  visit("n_edges", edges.n_edges);
  visit("n_redundant_edges", edges.n_redundant_edges);
  visit("counted_n", stats.m_counted_n);
  visit("counted_boundary", stats.m_counted_boundary);
  using WITHOUT_NODE = KEP_RG_OUTPUTS_WITHOUT_NODE;
  for (std::size_t i = 0; i != WITHOUT_NODE::NUM_REASONS; ++i)
    visit(WITHOUT_NODE::get_counter_name(static_cast<WITHOUT_NODE::REASON>(i)),
          stats.m_without_node.m_counts[i].m_number);
}

/// The others: how the edge phase went, and the start of its clocks (processor time in milliseconds, wall
/// time in ticks of 100 nanoseconds).
COUNTERS get_run_counters(const KEP_RG_EDGE_CREATION_STATS& edges) {
  return {
      {"nodes_per_display", edges.nodes_per_display},
      {"n_get_leaf_calls", edges.n_get_leaf_calls},
      {"n_get_leaf_fanouts", edges.n_get_leaf_fanouts},
      {"n_cdrn_cache_hits", edges.n_cdrn_cache_hits},
      {"n_cdrn_cache_misses", edges.n_cdrn_cache_misses},
      {"cpu_start", static_cast<std::uint64_t>(edges.cpu_start)},
      {"wall_start", static_cast<std::uint64_t>(edges.wall_start)},
  };
}

std::string format_counters(const COUNTERS& counters) {
  std::string text;
  for (const auto& [name, value] : counters) {
    text += text.empty() ? "\n    " : ",\n    ";
    kep_append_json_text(text, name);
    text += fmt::format(": {}", value);
  }
  return text;
}

std::string format_build_counters(const BUILD_STATS& stats) {
  if (stats.m_origin) return format_counters(stats.m_origin->m_counters);
  COUNTERS counters = get_device_counters(stats);
  for (auto& counter : get_run_counters(stats.m_edges))
    counters.push_back(std::move(counter));
  return format_counters(counters);
}

std::string format_graph(const KEP_ROUTING::GRAPH& graph) {
  return format_counters({
      {"nodes", graph.get_num_nodes()},
      {"real_edges", graph.get_num_real_edges()},
      {"redundant_edges", graph.get_num_redundant_edges()},
      {"templates", graph.get_num_templates()},
      {"bytes", graph.get_memory_bytes()},
  });
}

} // namespace

COUNTERS get_device_counters(const BUILD_STATS& stats) {
  COUNTERS counters;
  visit_device_counters(stats,
                        [&counters](const char* name, auto value) { counters.emplace_back(name, value); });
  return counters;
}

void set_origin(BUILD_STATS& stats, KEP_DATABASE_ORIGIN origin) {
  visit_device_counters(stats, [&origin](const char* name, auto& value) {
    for (const auto& [known, number] : origin.m_counters)
      if (known == name) value = static_cast<std::remove_reference_t<decltype(value)>>(number);
  });
  stats.m_origin = std::move(origin);
}

void write_stats(const BUILD_STATS& stats, const KEP_ROUTING::GRAPH& graph, const std::string& path) {
  std::string phases;
  for (const auto& [name, seconds] : stats.m_phases)
    phases += fmt::format("{}\n    \"{}\": {:.6f}", phases.empty() ? "" : ",", name, seconds);
  KEP_ATOMIC_FILE file(path);
  file.out() << "{\n  \"counters\": {" << format_build_counters(stats) << "\n  },\n  \"phases\": {" << phases
             << "\n  },\n  \"graph\": {" << format_graph(graph)
             << "\n  },\n  \"threads\": " << stats.m_num_threads
             << ",\n  \"peak_rss_bytes\": " << get_peak_rss_bytes() << "\n}\n";
  kep_commit_together({&file});
}
