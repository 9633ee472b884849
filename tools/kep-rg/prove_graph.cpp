#include "tools/kep-rg/prove_graph.h"

#include "kep_report/kep_report.h"
#include "kep_rg/kep_rg_proof.h"

#include <fmt/format.h>

#include <limits>
#include <string>

namespace {

constexpr std::size_t MAX_FINDINGS = 20; // of a run that is not verbose

std::string name_of(const KEP_ROUTING::NODE& node) {
  if (!node) return "nowhere";
  return node.get_name(KEP_NAME_STYLE()) + (node.is_hipi() ? " (hipi)" : "");
}

std::string text_of(const KEP_RG_PROOF::EDGE_FINDING& finding) {
  std::string text = fmt::format("{} {} edge from {} to {}", finding.m_is_missing ? "Missing" : "Surplus",
                                 finding.m_is_redundant ? "redundant" : "real", name_of(finding.m_from),
                                 name_of(finding.m_to));
  if (finding.m_mux_input) text += " through " + finding.m_mux_input.get_name(KEP_NAME_STYLE());
  return text;
}

} // namespace

bool prove_graph(KEP_DB* db, const DEVICE_OPTIONS& options, BUILD_STATS& stats) {
  const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "prove");
  const KEP_RG_PROOF::RESULT result = KEP_RG_PROOF(db).run(
      options.m_num_threads, options.m_verbose ? std::numeric_limits<std::size_t>::max() : MAX_FINDINGS);
  for (const KEP_RG_PROOF::EDGE_FINDING& finding : result.m_edge_findings)
    KEP_REPORT::print_error(text_of(finding).c_str());
  if (result.m_edge_findings.size() < result.m_num_missing_edges + result.m_num_surplus_edges)
    KEP_REPORT::print_error(
        fmt::format("and {} more",
                    result.m_num_missing_edges + result.m_num_surplus_edges - result.m_edge_findings.size())
            .c_str());
  KEP_REPORT::print_info(fmt::format("Held {} edges of {} nodes against the model: {} missing, {} surplus",
                                     result.m_num_edges, result.m_num_nodes, result.m_num_missing_edges,
                                     result.m_num_surplus_edges)
                             .c_str());
  return result.is_sound();
}
