#include "tools/kep-rg/view/facts.h"

#include "kep/kep_routing_graph.h"
#include "kep_io/text/kep_json_text.h"
#include "kep_rg/kep_rg_proof.h"
#include "kep_rg/kep_rg_trace_tally.h"

#include <fmt/format.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace {

using KEP_ROUTING::FWD_EDGE;
using KEP_ROUTING::GRAPH;
using KIND = KEP_RG_FINDING_KIND;

/// Where a finding of the proof stands in the graph: a missing edge stands nowhere.
FACTS::FOUND place(const GRAPH& graph, const KEP_RG_FINDING& finding) {
  FACTS::FOUND found{-1, -1, finding.m_text};
  if (finding.m_node) found.m_node = graph.get_index(finding.m_node);
  if (finding.m_kind != KIND::SURPLUS_EDGE) return found;
  const auto edges = finding.m_node.iter_all_fanout();
  const auto edge = std::find_if(edges.begin(), edges.end(), [&finding](const FWD_EDGE& other) {
    return other.get_fanout() == finding.m_to && other.get_mux_input() == finding.m_mux_input;
  });
  if (edge != edges.end()) found.m_edge = std::distance(edges.begin(), edge);
  return found;
}

/// Puts the findings of one kind among those of nodes, or of edges, of the proof.
template <class FOUND>
void add_proved(const GRAPH& graph, KIND kind, std::uint64_t num, const std::vector<FOUND>& findings,
                FACTS& facts) {
  if (num == 0) return;
  FACTS::FOUND_KIND& kept = facts.m_findings.emplace_back();
  kept.m_kind = kind;
  kept.m_num = num;
  for (const FOUND& each : findings)
    if (kep_rg_get_kind(each) == kind) kept.m_first.push_back(place(graph, kep_rg_get_finding(each)));
}

void add(const GRAPH& graph, const KEP_RG_FINDINGS& findings, FACTS& facts) {
  if (findings.m_num == 0) return;
  const bool has_edge = findings.m_kind == KIND::DOUBLED_EDGE ||
                        kep_rg_get_subject(findings.m_kind) == KEP_RG_FINDING_SUBJECT::TRACE;
  FACTS::FOUND_KIND& kept = facts.m_findings.emplace_back();
  kept.m_kind = findings.m_kind;
  kept.m_num = findings.m_num;
  kept.m_first.reserve(findings.m_first.size());
  for (const KEP_RG_FINDINGS::PLACE& place : findings.m_first) {
    const KEP_RG_FINDING finding = kep_rg_get_finding(graph, findings.m_kind, place);
    kept.m_first.push_back({finding.m_node ? std::int64_t{place.m_node} : -1,
                            has_edge ? std::int64_t{place.m_edge} : -1, finding.m_text});
  }
}

void prove(const KEP_DB& db, int num_threads, FACTS& facts) {
  const GRAPH& graph = *db.get_routing_template_graph();
  const KEP_RG_PROOF::RESULT result = KEP_RG_PROOF(&db).run(num_threads, FACTS::MAX_KEPT);
  add_proved(graph, KIND::MISSING_NODE, result.m_num_missing_nodes, result.m_node_findings, facts);
  add_proved(graph, KIND::SURPLUS_NODE, result.m_num_surplus_nodes, result.m_node_findings, facts);
  add_proved(graph, KIND::MISSING_EDGE, result.m_num_missing_edges, result.m_edge_findings, facts);
  add_proved(graph, KIND::SURPLUS_EDGE, result.m_num_surplus_edges, result.m_edge_findings, facts);
}

void trace(const KEP_DB& db, int num_threads, FACTS& facts) {
  const GRAPH& graph = *db.get_routing_template_graph();
  const KEP_RG_TRACE_TALLY tally = kep_rg_trace_all_edges(db, num_threads, FACTS::MAX_KEPT);
  for (const KEP_RG_FINDINGS& findings : tally.m_findings)
    add(graph, findings, facts);
  facts.m_hops = tally.m_num_hops;
  facts.m_num_untraced = graph.get_num_real_edges() + graph.get_num_redundant_edges() -
                         std::accumulate(facts.m_hops.begin(), facts.m_hops.end(), std::uint64_t{0});
}

const char* get_name(KEP_RG_FINDING_SUBJECT subject) {
  switch (subject) {
  case KEP_RG_FINDING_SUBJECT::GRAPH:
    return "graph";
  case KEP_RG_FINDING_SUBJECT::DEVICE:
    return "device";
  case KEP_RG_FINDING_SUBJECT::TRACE:
    break;
  }
  return "trace";
}

void append_findings(const FACTS& facts, std::string& text) {
  bool is_complete = true;
  text += ",\n\"findings\": [";
  for (const FACTS::FOUND_KIND& kind : facts.m_findings) {
    is_complete &= kind.m_first.size() == kind.m_num;
    text += fmt::format("{}\n{{\"kind\": \"{}\", \"subject\": \"{}\", \"count\": {}, \"first\": [",
                        &kind == facts.m_findings.data() ? "" : ",", kep_rg_get_id(kind.m_kind),
                        get_name(kep_rg_get_subject(kind.m_kind)), kind.m_num);
    for (const FACTS::FOUND& found : kind.m_first)
      text += fmt::format("{}\n[{}, {}, {}]", &found == kind.m_first.data() ? "" : ",", found.m_node,
                          found.m_edge, kep_get_json_text(found.m_text));
    text += "]}";
  }
  text += fmt::format("],\n\"findings_by_node_complete\": {}", is_complete);
}

} // namespace

FACTS find_facts(const KEP_DB& db, const DEVICE_OPTIONS& device, BUILD_STATS& stats) {
  const GRAPH& graph = *db.get_routing_template_graph();
  FACTS facts;
  facts.m_is_checked = true;
  {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "prove");
    prove(db, device.m_num_threads, facts);
  }
  {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "check");
    std::vector<KEP_RG_FINDINGS> all;
    tbb::task_arena(device.m_num_threads, 1).execute([&] {
      all = kep_rg_find_all(graph, is_redundancy_judged(db, device, stats), FACTS::MAX_KEPT);
    });
    for (const KEP_RG_FINDINGS& findings : all)
      add(graph, findings, facts);
  }
  const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "trace");
  trace(db, device.m_num_threads, facts);
  return facts;
}

std::string format_facts(const FACTS& facts, const std::string& device) {
  std::string text =
      fmt::format("{{\"name\": {},\n\"made_by\": \"kep-rg " KEP_RG_VERSION "\",\n\"checked\": {}",
                  kep_get_json_text(device), facts.m_is_checked);
  if (facts.m_is_checked) {
    append_findings(facts, text);
    text += fmt::format(",\n\"hops\": [{}],\n\"untraced\": {}", fmt::join(facts.m_hops, ", "),
                        facts.m_num_untraced);
  }
  return text + "}\n";
}
