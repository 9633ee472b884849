#include "kep_rg/kep_rg_creation_stats.h"

#include "kep_rg/common/kep_rg_report.h"
#include "kep_rg/kep_rg_build.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <iomanip>
#include <limits>

using KEP_RG_REPORT::info;

namespace {

std::int32_t get_cpu_milliseconds() {
  return static_cast<std::int32_t>(static_cast<double>(std::clock()) * 1000.0 / CLOCKS_PER_SEC);
}

std::int64_t get_wall_ticks() {
  using TICKS = std::chrono::duration<std::int64_t, std::ratio<1, 10000000>>;
  return std::chrono::duration_cast<TICKS>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

int to_seconds(double seconds) {
  return static_cast<int>(std::clamp(seconds, 0.0, static_cast<double>(std::numeric_limits<int>::max())));
}

} // namespace

KEP_RG_EDGE_CREATION_STATS::KEP_RG_EDGE_CREATION_STATS(unsigned node_count, const std::int32_t& display)
    : n_nodes(node_count), nodes_per_display(static_cast<std::uint64_t>(static_cast<std::int64_t>(display))),
      cpu_start(get_cpu_milliseconds()), wall_start(get_wall_ticks()) {}

void KEP_RG_EDGE_CREATION_STATS::add(const KEP_RG_EDGE_CREATION_STATS& other) {
  n_skip_port += other.n_skip_port;
  n_nodes_done += other.n_nodes_done;
  n_get_leaf_calls += other.n_get_leaf_calls;
  n_get_leaf_fanouts += other.n_get_leaf_fanouts;
  n_edges += other.n_edges;
  n_redundant_edges += other.n_redundant_edges;
  n_cdrn_cache_hits += other.n_cdrn_cache_hits;
  n_cdrn_cache_misses += other.n_cdrn_cache_misses;
}

double KEP_RG_EDGE_CREATION_STATS::get_cpu_seconds() const {
  return (get_cpu_milliseconds() - cpu_start) / 1000.0;
}

std::int64_t KEP_RG_EDGE_CREATION_STATS::get_wall_seconds() const {
  return (get_wall_ticks() - wall_start) / 10000000;
}

std::string KEP_RG::format_time(int seconds) {
  const int minutes = seconds / 60;
  const int hours = minutes / 60;
  return fmt::format("{}h:{}m:{}s", hours, minutes - hours * 60, seconds - minutes * 60);
}

void KEP_RG_BUILD::print_node_stats() const {
  // The lines stay as they are, blanks included: whoever reads a report looks for them whole.
  info() << "   Created Total nodes = " << m_node_stats.m_created_num_nodes << std::endl;
  info() << "     Created BLC nodes = " << m_node_stats.m_created_num_nodes_blc << std::endl;
  info() << "Created Inserted nodes = " << m_node_stats.m_created_num_nodes_inserted << std::endl;
  info() << "   Created Hipi nodes  = " << m_node_stats.m_created_num_nodes_hipi << std::endl;
  info() << "   Created Boundary nodes  = " << m_node_stats.m_created_num_nodes_boundary << std::endl;
  info() << "        Repeated nodes = " << m_node_stats.m_repeated_num_nodes << std::endl;
  info() << "      Redundant inputs = " << m_redundant_inputs.size() << std::endl;
  info() << "Eliminated Total nodes = " << m_node_stats.m_eliminated_num_nodes << std::endl;
}

void KEP_RG::print_stats(const KEP_RG_EDGE_CREATION_STATS& total) {
  info() << "n_skip_port = " << total.n_skip_port << std::endl;
  info() << "          n_edges = " << total.n_edges << std::endl;
  info() << "n_redundant_edges = " << total.n_redundant_edges << std::endl;
  // The averages are whole numbers, rounded down, and a miss counts twice in the calls: these lines mean the
  // same from version to version, so that reports can be compared.
  if (total.n_get_leaf_calls != 0)
    info() << std::fixed << std::setprecision(2) << "|_ avg fanout size per node = "
           << (total.n_edges + total.n_redundant_edges) / total.n_get_leaf_calls << std::endl;
  info() << "n_get_leaf_calls = " << total.n_get_leaf_calls << std::endl;
  info() << "|_ n_get_leaf_fanouts = " << total.n_get_leaf_fanouts << std::endl;
  if (total.n_get_leaf_calls != 0)
    info() << std::fixed << std::setprecision(2) << "|_ avg fanout size per call = "
           << total.n_get_leaf_fanouts / (total.n_cdrn_cache_hits + total.n_get_leaf_calls) << std::endl;
  info() << "n_cdrn_cache_hits = " << total.n_cdrn_cache_hits << std::endl;
  info() << "n_cdrn_cache_misses = " << total.n_cdrn_cache_misses << std::endl;
  info() << "cpu time = " << format_time(to_seconds(total.get_cpu_seconds())) << std::endl;
  info() << "wall_clock time = " << format_time(to_seconds(static_cast<double>(total.get_wall_seconds())))
         << std::endl;
}

std::string KEP_RG::format_progress(const KEP_RG_EDGE_CREATION_STATS& total, std::uint64_t count,
                                    double cpu_seconds, std::int64_t wall_seconds) {
  const std::uint64_t before = total.n_nodes_done;
  const std::uint64_t after = before + count;
  const std::uint64_t step = total.nodes_per_display;
  if (before / step == after / step) return {};
  if (after == 0 || total.n_nodes == 0 || !(cpu_seconds > 1.0 || step == 1)) return {};
  const auto done = static_cast<double>(after);
  const auto all = static_cast<double>(total.n_nodes);
  const double left = (all - done) / done * static_cast<double>(wall_seconds);
  const std::uint64_t average =
      total.n_get_leaf_calls == 0
          ? 0
          : total.n_get_leaf_fanouts / (total.n_cdrn_cache_hits + total.n_get_leaf_calls);
  return fmt::format(
      "({:.0f}% done) {:.0f} nodes/s ... {} time left [{} of {} nodes in {} cpu, {} wallclock] "
      "... get_leaf: {:.0f} calls/s, {} calls, {} avg fanouts\n",
      done / all * 100.0, done / cpu_seconds, format_time(to_seconds(left)),
      static_cast<std::uint32_t>(after), static_cast<std::uint32_t>(total.n_nodes),
      format_time(to_seconds(cpu_seconds)), format_time(to_seconds(static_cast<double>(wall_seconds))),
      static_cast<double>(total.n_get_leaf_calls) / cpu_seconds,
      static_cast<std::uint32_t>(total.n_get_leaf_calls), static_cast<std::uint32_t>(average));
}
