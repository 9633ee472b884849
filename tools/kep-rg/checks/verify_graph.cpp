#include "tools/kep-rg/checks/verify_graph.h"

#include "kep/kep_routing_graph.h"
#include "kep_io/kep_io_error.h"
#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_proof.h"
#include "kep_rg/kep_rg_trace_tally.h"
#include "tools/kep-rg/checks/findings_file.h"
#include "tools/kep-rg/checks/findings_report.h"
#include "tools/kep-rg/checks/trace_numbers.h"

#include <tbb/task_arena.h>

#include <vector>

namespace {

using KIND = KEP_RG_FINDING_KIND;

/// The findings of one kind among those of nodes, or of edges, of the proof.
template <class FOUND>
void show_proved(FINDINGS_REPORT& report, KIND kind, std::uint64_t num, const std::vector<FOUND>& findings) {
  std::vector<const FOUND*> kept;
  for (const FOUND& each : findings)
    if (kep_rg_get_kind(each) == kind) kept.push_back(&each);
  report.add(kind, num, kept.size(), [&kept](std::size_t i) { return kep_rg_get_finding(*kept[i]).m_text; });
}

/// Holds what the steps of a run share.
class VERIFIER {
public:
  VERIFIER(KEP_DB* db, const DEVICE_OPTIONS& device, const VERIFICATION& asked, BUILD_STATS& stats,
           FINDINGS_REPORT& report, std::ostream& out)
      : m_db(db), m_graph(*db->get_routing_template_graph()), m_device(device), m_part(asked.m_part),
        m_stats(stats), m_report(report), m_out(out) {}

  void prove() {
    const KEP_RG_PHASE_CLOCK timer(m_stats.m_phases, "prove");
    const KEP_RG_PROOF::RESULT result =
        KEP_RG_PROOF(m_db).run(m_device.m_num_threads, m_report.get_max_shown(), m_part);
    show_proved(m_report, KIND::MISSING_NODE, result.m_num_missing_nodes, result.m_node_findings);
    show_proved(m_report, KIND::SURPLUS_NODE, result.m_num_surplus_nodes, result.m_node_findings);
    show_proved(m_report, KIND::MISSING_EDGE, result.m_num_missing_edges, result.m_edge_findings);
    show_proved(m_report, KIND::SURPLUS_EDGE, result.m_num_surplus_edges, result.m_edge_findings);
  }

  void run_post_checks() {
    const KEP_RG_PHASE_CLOCK timer(m_stats.m_phases, "check");
    const bool is_judged = is_redundancy_judged();
    std::vector<KEP_RG_FINDINGS> all;
    tbb::task_arena(m_device.m_num_threads, 1).execute([&] {
      all = kep_rg_find_all(m_graph, is_judged, m_report.get_max_shown(), m_part);
    });
    bool is_told = is_judged || !m_part.is_first() || !(m_device.m_report || m_device.m_verbose);
    for (const KEP_RG_FINDINGS& findings : all) {
      if (!is_told && findings.m_kind > KIND::FEW_REDUNDANT_EDGES) { // in its place
        m_out << REDUNDANCY_NOT_JUDGED_TEXT;
        is_told = true;
      }
      m_report.add(m_graph, findings);
    }
  }

  TRACE_NUMBERS trace() {
    const KEP_RG_PHASE_CLOCK timer(m_stats.m_phases, "trace");
    const KEP_RG_TRACE_TALLY tally =
        kep_rg_trace_all_edges(*m_db, m_device.m_num_threads, m_report.get_max_shown(), m_part);
    const TRACE_NUMBERS numbers = get_numbers(tally);
    if (!m_device.m_quiet) m_out << get_text(numbers);
    for (const KEP_RG_FINDINGS& findings : tally.m_findings)
      m_report.add(m_graph, findings);
    return numbers;
  }

  bool is_redundancy_judged() const { return ::is_redundancy_judged(*m_db, m_device, m_stats); }

private:
  KEP_DB* m_db;
  const KEP_ROUTING::GRAPH& m_graph;
  const DEVICE_OPTIONS& m_device;
  KEP_RG_PART m_part;
  BUILD_STATS& m_stats;
  FINDINGS_REPORT& m_report;
  std::ostream& m_out;
};

} // namespace

bool verify_graph(KEP_DB* db, const DEVICE_OPTIONS& device, const VERIFICATION& asked, BUILD_STATS& stats,
                  std::ostream& out) {
  const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
  FINDINGS_REPORT report(out, get_waived_kinds(asked.m_waive), get_max_shown(device.m_verbose));
  FINDINGS_PART found;
  if (!asked.m_findings.empty()) report.keep_in(found.m_found);
  VERIFIER verifier(db, device, asked, stats, report, out);
  if (asked.m_check) {
    verifier.prove();
    verifier.run_post_checks();
  }
  if (asked.m_trace) found.m_traces = verifier.trace();
  const VERDICT_SCOPE scope{asked.m_check, asked.m_trace, graph.get_num_nodes(),
                            graph.get_num_real_edges() + graph.get_num_redundant_edges()};
  if (report.has_any() || !device.m_quiet)
    out << (asked.m_part.is_whole() ? get_verdict(report, scope) : get_part_text(report, scope, asked.m_part))
        << '\n';
  out.flush();
  if (!asked.m_findings.empty()) {
    found.m_device = kep_get_file_name(device.m_model);
    found.m_checksum = stats.m_database_checksum;
    found.m_part = asked.m_part;
    found.m_is_verbose = device.m_verbose;
    found.m_waived = get_waived_kinds(asked.m_waive);
    found.m_is_redundancy_judged = verifier.is_redundancy_judged();
    found.m_scope = scope;
    write_findings(found, asked.m_findings);
  }
  return report.is_clean();
}
