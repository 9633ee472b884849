#include "tools/kep-rg/checks/verify_graph.h"

#include "kep/kep_routing_graph.h"
#include "kep_report/kep_report_progress.h"
#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_proof.h"
#include "tools/kep-rg/checks/findings_report.h"
#include "tools/kep-rg/checks/trace_edges.h"

#include <tbb/parallel_invoke.h>
#include <tbb/task_arena.h>

#include <limits>
#include <vector>

namespace {

using KIND = KEP_RG_FINDING_KIND;

constexpr std::size_t MAX_SHOWN = 20; // of a kind, in a run that is not verbose

/// The findings of one kind among those of nodes, or of edges, of the proof.
template <class FOUND>
void show_proved(FINDINGS_REPORT& report, KIND kind, std::uint64_t num, const std::vector<FOUND>& findings) {
  std::vector<const FOUND*> kept;
  for (const FOUND& each : findings)
    if (kep_rg_get_kind(each) == kind) kept.push_back(&each);
  report.add(kind, num, kept.size(), [&kept](std::size_t i) { return kep_rg_get_finding(*kept[i]).m_text; });
}

void prove(KEP_DB* db, const DEVICE_OPTIONS& device, BUILD_STATS& stats, FINDINGS_REPORT& report) {
  const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "prove");
  const KEP_RG_PROOF::RESULT result = KEP_RG_PROOF(db).run(device.m_num_threads, report.get_max_shown());
  show_proved(report, KIND::MISSING_NODE, result.m_num_missing_nodes, result.m_node_findings);
  show_proved(report, KIND::SURPLUS_NODE, result.m_num_surplus_nodes, result.m_node_findings);
  show_proved(report, KIND::MISSING_EDGE, result.m_num_missing_edges, result.m_edge_findings);
  show_proved(report, KIND::SURPLUS_EDGE, result.m_num_surplus_edges, result.m_edge_findings);
}

void run_post_checks(const KEP_ROUTING::GRAPH& graph, const DEVICE_OPTIONS& device, BUILD_STATS& stats,
                     FINDINGS_REPORT& report, std::ostream& out) {
  const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "check");
  constexpr unsigned NUM_PASSES = 3;
  KEP_REPORT_PROGRESS progress("checks", NUM_PASSES * graph.get_num_nodes());
  const std::size_t max = report.get_max_shown();
  KEP_RG_FINDINGS hipi_order;
  KEP_RG_FINDINGS doubled;
  KEP_RG_FINDINGS unreachable;
  tbb::task_arena(device.m_num_threads, 1).execute([&] {
    tbb::parallel_invoke([&] { unreachable = kep_rg_find_unreachable_nodes(graph, max, &progress); },
                         [&] { hipi_order = kep_rg_find_hipi_order(graph, max, &progress); },
                         [&] { doubled = kep_rg_find_doubled_edges(graph, max, &progress); });
  });
  report.add(graph, hipi_order);
  report.add(graph, doubled);
  if (!device.m_redundancy.empty() || graph.get_num_redundant_edges() != 0)
    report.add(graph, kep_rg_find_few_redundant_edges(graph));
  else if (device.m_report || device.m_verbose)
    out << "The number of redundant edges is not judged: there are none, and no redundancy data\n";
  report.add(graph, unreachable);
  report.add(graph, kep_rg_find_no_node(graph));
}

void trace(const KEP_DB& db, const DEVICE_OPTIONS& device, BUILD_STATS& stats, FINDINGS_REPORT& report,
           std::ostream& out) {
  const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "trace");
  const TRACE_TALLY tally = trace_all_edges(db, device.m_num_threads, report.get_max_shown());
  if (!device.m_quiet)
    out << get_text(tally)
        << "\nTraces of sound edges may fail: a trace knows nets and arcs alone, so it may miss the way over "
           "a "
           "spare row, around a BLC or from an inserted input (docs/verification.md)\n";
  for (const KEP_RG_FINDINGS& findings : tally.m_findings)
    report.add(*db.get_routing_template_graph(), findings);
}

} // namespace

bool verify_graph(KEP_DB* db, const DEVICE_OPTIONS& device, const VERIFICATION& asked, BUILD_STATS& stats,
                  std::ostream& out) {
  const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
  FINDINGS_REPORT report(out, get_waived_kinds(asked.m_waive),
                         device.m_verbose ? std::numeric_limits<std::size_t>::max() : MAX_SHOWN);
  if (asked.m_check) {
    prove(db, device, stats, report);
    run_post_checks(graph, device, stats, report, out);
  }
  if (asked.m_trace) trace(*db, device, stats, report, out);
  const VERDICT_SCOPE scope{asked.m_check, asked.m_trace, graph.get_num_nodes(),
                            graph.get_num_real_edges() + graph.get_num_redundant_edges()};
  if (report.has_any() || !device.m_quiet) out << get_verdict(report, scope) << '\n';
  out.flush();
  return report.is_clean();
}
