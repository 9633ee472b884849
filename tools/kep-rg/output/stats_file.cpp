#include "tools/kep-rg/output/stats_file.h"

#include "tools/kep-rg/output/atomic_file.h"

#include <fmt/format.h>

#include <initializer_list>
#include <string>
#include <sys/resource.h>
#include <utility>

namespace {

std::uint64_t get_peak_rss_bytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

using COUNTER = std::pair<const char*, std::uint64_t>;
/// The start of the clocks of a record: processor time in milliseconds, wall time in ticks of 100
/// nanoseconds.
std::string format_clocks(const KEP_RG_EDGE_CREATION_STATS& edges) {
  return fmt::format(",\n    \"cpu_start\": {},\n    \"wall_start\": {}", edges.cpu_start, edges.wall_start);
}

std::string format_counters(std::initializer_list<COUNTER> counters) {
  std::string text;
  for (const auto& [name, value] : counters)
    text += fmt::format("{}\n    \"{}\": {}", text.empty() ? "" : ",", name, value);
  return text;
}

std::string format_without_node(const KEP_RG_OUTPUTS_WITHOUT_NODE& outputs) {
  using REASON = KEP_RG_OUTPUTS_WITHOUT_NODE::REASON;
  std::string text;
  for (std::size_t i = 0; i != outputs.m_counts.size(); ++i)
    text += fmt::format(",\n    \"{}\": {}",
                        KEP_RG_OUTPUTS_WITHOUT_NODE::get_counter_name(static_cast<REASON>(i)),
                        outputs.m_counts[i].m_number);
  return text;
}

std::string format_build_counters(const BUILD_STATS& stats) {
  const KEP_RG_NODE_CREATION_STATS& nodes = stats.m_nodes;
  const KEP_RG_EDGE_CREATION_STATS& edges = stats.m_edges;
  return format_counters({
             {"m_eliminated_num_nodes", nodes.m_eliminated_num_nodes},
             {"m_created_num_nodes", nodes.m_created_num_nodes},
             {"m_created_num_nodes_blc", nodes.m_created_num_nodes_blc},
             {"m_created_num_nodes_inserted", nodes.m_created_num_nodes_inserted},
             {"m_created_num_nodes_hipi", nodes.m_created_num_nodes_hipi},
             {"m_repeated_num_nodes", nodes.m_repeated_num_nodes},
             {"m_created_num_nodes_boundary", nodes.m_created_num_nodes_boundary},
             {"n_skip_port", edges.n_skip_port},
             {"n_nodes", edges.n_nodes},
             {"nodes_per_display", edges.nodes_per_display},
             {"n_nodes_done", edges.n_nodes_done},
             {"n_get_leaf_calls", edges.n_get_leaf_calls},
             {"n_get_leaf_fanouts", edges.n_get_leaf_fanouts},
             {"n_edges", edges.n_edges},
             {"n_redundant_edges", edges.n_redundant_edges},
             {"n_cdrn_cache_hits", edges.n_cdrn_cache_hits},
             {"n_cdrn_cache_misses", edges.n_cdrn_cache_misses},
             {"counted_n", stats.m_counted_n},
             {"counted_boundary", stats.m_counted_boundary},
         }) +
         format_clocks(edges) + format_without_node(stats.m_without_node);
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

void write_stats(const BUILD_STATS& stats, const KEP_ROUTING::GRAPH& graph, const std::string& path) {
  std::string phases;
  for (const auto& [name, seconds] : stats.m_phases)
    phases += fmt::format("{}\n    \"{}\": {:.6f}", phases.empty() ? "" : ",", name, seconds);
  ATOMIC_FILE file(path);
  file.out() << "{\n  \"counters\": {" << format_build_counters(stats) << "\n  },\n  \"phases\": {" << phases
             << "\n  },\n  \"graph\": {" << format_graph(graph)
             << "\n  },\n  \"threads\": " << stats.m_num_threads
             << ",\n  \"peak_rss_bytes\": " << get_peak_rss_bytes() << "\n}\n";
  commit_together({&file});
}
