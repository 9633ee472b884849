#include "tools/kep-rg/trace_edges.h"

#include "kep/kep_routing_primitive_cache.h"
#include "kep_report/kep_report.h"
#include "kep_rg/kep_rg_creation_stats.h"

#include <fmt/format.h>
#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <iterator>
#include <mutex>

namespace {

using OUTCOME = TRACE_TALLY::OUTCOME;

/// Tells how far the work is whenever a multiple of the step is crossed, as the edge phase does.
class PROGRESS {
public:
  PROGRESS(std::uint32_t num_nodes, int nodes_per_display)
      : m_clock(num_nodes, nodes_per_display), m_num_nodes(num_nodes), m_step(nodes_per_display) {}

  void add(std::uint32_t nodes, std::uint64_t edges) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::uint64_t before = m_nodes_done / m_step;
    m_nodes_done += nodes;
    m_edges_done += edges;
    const double cpu = m_clock.get_cpu_seconds();
    if (before == m_nodes_done / m_step || !(cpu > 1.0 || m_step == 1)) return;
    const auto wall = static_cast<double>(m_clock.get_wall_seconds());
    const auto done = static_cast<double>(m_nodes_done);
    const double left = (m_num_nodes - done) / done * wall;
    KEP_REPORT::print_info(
        fmt::format("({:.0f}% done) {:.0f} nodes/s ... {} time left [{} of {} nodes in {} cpu, {} wallclock] "
                    "... trace: {:.0f} edges/s, {} edges",
                    done / m_num_nodes * 100.0, done / std::max(cpu, 0.001),
                    format_time(static_cast<int>(left)), m_nodes_done, m_num_nodes,
                    format_time(static_cast<int>(cpu)), format_time(static_cast<int>(wall)),
                    static_cast<double>(m_edges_done) / std::max(cpu, 0.001), m_edges_done)
            .c_str());
  }

private:
  std::mutex m_mutex;
  KEP_RG_EDGE_CREATION_STATS m_clock;
  std::uint32_t m_num_nodes;
  std::uint64_t m_step;
  std::uint64_t m_nodes_done = 0;
  std::uint64_t m_edges_done = 0;
};

/// A thread's tracer and what it has seen.
struct WORKER {
  explicit WORKER(const KEP_RG_TRACE_EDGE& tracer) : m_tracer(tracer) {}

  std::uint64_t trace(const KEP_ROUTING::NODE& node, std::uint32_t index, bool list_findings) {
    m_tracer.check_edges(node, m_outcomes);
    for (std::uint32_t place = 0; place != m_outcomes.size(); ++place) {
      const OUTCOME outcome = m_outcomes[place];
      const auto i = static_cast<std::size_t>(outcome);
      const TRACE_TALLY::EDGE edge{index, place};
      ++m_tally.m_num_edges[i];
      m_tally.m_first[i] = std::min(m_tally.m_first[i], edge);
      if (list_findings && is_trace_finding(outcome)) m_tally.m_findings.emplace_back(edge, outcome);
    }
    return m_outcomes.size();
  }

  KEP_RG_TRACE_EDGE m_tracer;
  std::vector<OUTCOME> m_outcomes;
  TRACE_TALLY m_tally;
};

void add(TRACE_TALLY& sum, const TRACE_TALLY& other) {
  for (std::size_t i = 0; i != sum.m_num_edges.size(); ++i) {
    sum.m_num_edges[i] += other.m_num_edges[i];
    sum.m_first[i] = std::min(sum.m_first[i], other.m_first[i]);
  }
  sum.m_findings.insert(sum.m_findings.end(), other.m_findings.begin(), other.m_findings.end());
}

std::string get_edge_text(const KEP_ROUTING::GRAPH& graph, const TRACE_TALLY::EDGE& place) {
  const KEP_ROUTING::NODE from = graph.get_node(place.m_node);
  const KEP_ROUTING::NODE to = (*std::next(from.iter_all_fanout().begin(), place.m_place)).get_fanout();
  return get_node_text(from) + " -> " + get_node_text(to);
}

} // namespace

TRACE_TALLY trace_all_edges(const KEP_DB& db, int num_threads, int nodes_per_display, bool list_findings) {
  const KEP_ROUTING::GRAPH& graph = *db.get_routing_template_graph();
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  const KEP_RG_TRACE_EDGE tracer(&db, cache);
  const auto num_nodes = static_cast<std::uint32_t>(graph.get_num_nodes());
  PROGRESS progress(num_nodes, nodes_per_display);
  tbb::enumerable_thread_specific<WORKER> workers([&tracer] { return WORKER(tracer); });

  tbb::task_arena arena(num_threads, 1);
  const std::uint32_t grain = std::clamp<std::uint32_t>(num_nodes / 1000, 100, 10000);
  arena.execute([&] {
    tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, num_nodes, grain), [&](const auto& range) {
      WORKER& worker = workers.local();
      std::uint64_t num_edges = 0;
      for (std::uint32_t node = range.begin(); node != range.end(); ++node)
        num_edges += worker.trace(graph.get_node(node), node, list_findings);
      progress.add(range.end() - range.begin(), num_edges);
    });
  });

  TRACE_TALLY tally;
  for (const WORKER& worker : workers)
    add(tally, worker.m_tally);
  std::sort(tally.m_findings.begin(), tally.m_findings.end());
  return tally;
}

bool report_traces(const TRACE_TALLY& tally, const KEP_ROUTING::GRAPH& graph) {
  std::uint64_t num_edges = 0;
  std::uint64_t num_findings = 0;
  for (std::size_t i = 0; i != tally.m_num_edges.size(); ++i) {
    num_edges += tally.m_num_edges[i];
    if (is_trace_finding(static_cast<OUTCOME>(i))) num_findings += tally.m_num_edges[i];
  }
  for (const auto& [edge, outcome] : tally.m_findings)
    KEP_REPORT::print_error((get_edge_text(graph, edge) + ": " + get_trace_reason(outcome)).c_str());
  const std::uint64_t num_verified = tally.m_num_edges[static_cast<std::size_t>(OUTCOME::VERIFIED)];
  KEP_REPORT::print_info(fmt::format("Traced {} edges: {} verified, {} at boundary nodes, {} with findings",
                                     num_edges, num_verified, num_edges - num_verified - num_findings,
                                     num_findings)
                             .c_str());
  for (std::size_t i = 0; i != tally.m_num_edges.size(); ++i) {
    const auto outcome = static_cast<OUTCOME>(i);
    if (tally.m_num_edges[i] == 0 || outcome == OUTCOME::VERIFIED) continue;
    const std::string line = fmt::format("  {}: {}; first: {}", tally.m_num_edges[i],
                                         get_trace_reason(outcome), get_edge_text(graph, tally.m_first[i]));
    if (is_trace_finding(outcome))
      KEP_REPORT::print_error(line.c_str());
    else
      KEP_REPORT::print_info(line.c_str());
  }
  return num_findings == 0;
}

bool is_trace_finding(OUTCOME outcome) {
  return outcome != OUTCOME::VERIFIED && outcome != OUTCOME::STARTS_AT_BOUNDARY &&
         outcome != OUTCOME::ENDS_AT_BOUNDARY;
}

const char* get_trace_reason(OUTCOME outcome) {
  switch (outcome) {
  case OUTCOME::VERIFIED:
    return "verified";
  case OUTCOME::NULL_NODE:
    return "a node of the edge is null";
  case OUTCOME::STARTS_AT_BOUNDARY:
    return "the edge starts at a boundary node, which no trace does";
  case OUTCOME::ENDS_AT_BOUNDARY:
    return "the edge ends at a boundary node, which no trace does";
  case OUTCOME::NOT_FOUND:
    return "the search does not meet the target";
  case OUTCOME::UNCONNECTED_PORT:
    return "the trace comes to an instance port without a net";
  case OUTCOME::NO_PREVIOUS_UIP:
    return "the trace begins with a mux output and has no input for it";
  case OUTCOME::NO_ARC:
    return "the trace comes to a mux output from a port that has no arc to it";
  case OUTCOME::NET_OF_FIRST_HOP:
    return "the trace begins on neither net of the source";
  case OUTCOME::NET_OF_LATER_HOP:
    return "the trace leaves the net on which it stands";
  }
  return "";
}

std::string get_node_text(const KEP_ROUTING::NODE& node) {
  return node.get_name(KEP_NAME_STYLE()) + (node.is_hipi() ? " (hipi)" : "");
}
