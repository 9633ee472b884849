#pragma once

#include "kep_rg/kep_rg_proof.h"
#include "tests/support/graph_text.h"

#include <string>
#include <vector>

/// What a proof found, as lines of text: "missing a/m:o*" for a node, "surplus a:o -> b:i via c:a" for an
/// edge.
namespace proof {

inline std::vector<std::string> texts_of(const KEP_RG_PROOF::RESULT& result) {
  std::vector<std::string> texts;
  for (const KEP_RG_PROOF::NODE_FINDING& finding : result.m_node_findings)
    texts.push_back(std::string(finding.m_is_missing ? "missing " : "surplus ") +
                    finding.get_name(KEP_NAME_STYLE()) + (finding.m_is_hipi ? "*" : ""));
  for (const KEP_RG_PROOF::EDGE_FINDING& finding : result.m_edge_findings)
    texts.push_back(std::string(finding.m_is_missing ? "missing " : "surplus ") +
                    test_model::text_of(finding.m_from) + (finding.m_is_redundant ? " ~> " : " -> ") +
                    test_model::text_of(finding.m_to) +
                    (finding.m_mux_input ? " via " + finding.m_mux_input.get_name(KEP_NAME_STYLE()) : ""));
  return texts;
}

inline KEP_RG_PROOF::RESULT prove(const KEP_DB& db, int num_threads = 1, std::size_t max_findings = 100) {
  return KEP_RG_PROOF(&db).run(num_threads, max_findings);
}

inline std::vector<std::string> findings_of(const KEP_DB& db) {
  return texts_of(prove(db));
}

} // namespace proof
