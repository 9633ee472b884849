#include "kep_rg/kep_rg_findings.h"

#include "kep_report/kep_report_assert.h"
#include "kep_rg/checks/kep_rg_rules.h"
#include "kep_rg/common/kep_rg_report.h"

#include <fmt/format.h>

#include <array>
#include <iterator>

using KEP_RG_REPORT::NAME_STYLE;
using KEP_ROUTING::FWD_EDGE;
using KEP_ROUTING::NODE;
using KIND = KEP_RG_FINDING_KIND;
using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;
using SUBJECT = KEP_RG_FINDING_SUBJECT;

namespace {

struct KIND_FACTS {
  const char* m_id;
  SUBJECT m_subject;
};

// By kind.
constexpr std::array<KIND_FACTS, KEP_RG_NUM_FINDING_KINDS> KINDS{{
    {"missing-node", SUBJECT::GRAPH},
    {"surplus-node", SUBJECT::GRAPH},
    {"missing-edge", SUBJECT::GRAPH},
    {"surplus-edge", SUBJECT::GRAPH},
    {"hipi-order", SUBJECT::GRAPH},
    {"doubled-edge", SUBJECT::DEVICE},
    {"few-redundant-edges", SUBJECT::DEVICE},
    {"unreachable-node", SUBJECT::DEVICE},
    {"no-node", SUBJECT::DEVICE},
    {"trace-null-node", SUBJECT::TRACE},
    {"trace-not-found", SUBJECT::TRACE},
    {"trace-unconnected-port", SUBJECT::TRACE},
    {"trace-no-input", SUBJECT::TRACE},
    {"trace-no-arc", SUBJECT::TRACE},
    {"trace-first-net", SUBJECT::TRACE},
    {"trace-later-net", SUBJECT::TRACE},
}};

const KIND_FACTS& get_facts(KIND kind) {
  return KINDS[static_cast<std::size_t>(kind)];
}

struct OUTCOME_FACTS {
  std::optional<KIND> m_kind;
  const char* m_reason;
};

// By outcome.
constexpr std::array<OUTCOME_FACTS, KEP_RG_TRACE_EDGE::NUM_OUTCOMES> OUTCOMES{{
    {std::nullopt, "verified"},
    {KIND::TRACE_NULL_NODE, "a node of the edge is null"},
    {std::nullopt, "the edge starts at a boundary node, which no trace does"},
    {std::nullopt, "the edge ends at a boundary node, which no trace does"},
    {KIND::TRACE_NOT_FOUND, "the search does not meet the target"},
    {KIND::TRACE_UNCONNECTED_PORT, "the trace comes to an instance port without a net"},
    {KIND::TRACE_NO_INPUT, "the trace begins with a mux output and has no input for it"},
    {KIND::TRACE_NO_ARC, "the trace comes to a mux output from a port that has no arc to it"},
    {KIND::TRACE_FIRST_NET, "the trace begins on neither net of the source"},
    {KIND::TRACE_LATER_NET, "the trace leaves the net on which it stands"},
}};

const char* get_reason(KIND kind) {
  for (const OUTCOME_FACTS& outcome : OUTCOMES)
    if (outcome.m_kind == kind) return outcome.m_reason;
  return "";
}

std::string get_share_text(const KEP_ROUTING::GRAPH& graph) {
  const std::uint64_t num_redundant = graph.get_num_redundant_edges();
  return fmt::format("{} of {} edges are redundant, no more than a twentieth", num_redundant,
                     graph.get_num_real_edges() + num_redundant);
}

std::string get_hipi_text(const NODE& node, const std::string& name) {
  switch (KEP_RG_RULES::check_hipi(node)) {
  case KEP_RG_RULES::HIPI::NOT_FIRST:
    return "A hipi node drives " + name + " and is not the first of its fanins";
  case KEP_RG_RULES::HIPI::NOT_NAMED:
    return "A hipi node that stands elsewhere drives " + name;
  case KEP_RG_RULES::HIPI::NOT_FED:
    return "The hipi node of " + name + " does not drive it";
  case KEP_RG_RULES::HIPI::HOLDS:
    break;
  }
  return name;
}

} // namespace

const char* kep_rg_get_id(KIND kind) {
  return get_facts(kind).m_id;
}

SUBJECT kep_rg_get_subject(KIND kind) {
  return get_facts(kind).m_subject;
}

std::optional<KIND> kep_rg_find_kind(OUTCOME outcome) {
  return OUTCOMES[static_cast<std::size_t>(outcome)].m_kind;
}

const char* kep_rg_get_reason(OUTCOME outcome) {
  return OUTCOMES[static_cast<std::size_t>(outcome)].m_reason;
}

std::string kep_rg_get_node_text(const NODE& node) {
  if (!node) return "nowhere";
  return node.get_name(NAME_STYLE) + (node.is_hipi() ? " (hipi)" : "");
}

KEP_RG_FINDING kep_rg_get_finding(const KEP_ROUTING::GRAPH& graph, KIND kind,
                                  const KEP_RG_FINDINGS::PLACE& place) {
  if (kind == KIND::FEW_REDUNDANT_EDGES) return {kind, get_share_text(graph), {}, {}, {}};
  if (kind == KIND::NO_NODE) return {kind, "The graph has no node", {}, {}, {}};
  const NODE node = graph.get_node(place.m_node);
  const std::string name = kep_rg_get_node_text(node);
  if (kind == KIND::HIPI_ORDER) return {kind, get_hipi_text(node, name), node, {}, {}};
  if (kind == KIND::UNREACHABLE_NODE) return {kind, "Unreachable node " + name, node, {}, {}};
  KEP_ASSERT(kind == KIND::DOUBLED_EDGE || kep_rg_get_subject(kind) == SUBJECT::TRACE); // what names an edge
  const FWD_EDGE edge = *std::next(node.iter_all_fanout().begin(), place.m_edge);
  const std::string to = kep_rg_get_node_text(edge.get_fanout());
  const std::string text = kind == KIND::DOUBLED_EDGE
                               ? fmt::format("{} real edges from {} to {}, beside redundant ones",
                                             KEP_RG_RULES::REAL_FANOUTS(node).count(edge), name, to)
                               : fmt::format("{} -> {}: {}", name, to, get_reason(kind));
  return {kind, text, node, edge.get_fanout(), edge.get_mux_input()};
}

KIND kep_rg_get_kind(const KEP_RG_PROOF::NODE_FINDING& found) {
  return found.m_is_missing ? KIND::MISSING_NODE : KIND::SURPLUS_NODE;
}

KIND kep_rg_get_kind(const KEP_RG_PROOF::EDGE_FINDING& found) {
  return found.m_is_missing ? KIND::MISSING_EDGE : KIND::SURPLUS_EDGE;
}

KEP_RG_FINDING kep_rg_get_finding(const KEP_RG_PROOF::NODE_FINDING& found) {
  const std::string text = fmt::format("{} {}node {}", found.m_is_missing ? "Missing" : "Surplus",
                                       found.m_is_hipi ? "hipi " : "", found.get_name(NAME_STYLE));
  const NODE node = found.m_port ? NODE(found.m_port) : NODE(found.m_uip, found.m_is_hipi);
  return {kep_rg_get_kind(found), text, node, {}, {}};
}

KEP_RG_FINDING kep_rg_get_finding(const KEP_RG_PROOF::EDGE_FINDING& found) {
  std::string text = fmt::format("{} {} edge from {} to {}", found.m_is_missing ? "Missing" : "Surplus",
                                 found.m_is_redundant ? "redundant" : "real",
                                 kep_rg_get_node_text(found.m_from), kep_rg_get_node_text(found.m_to));
  if (found.m_mux_input) text += " through " + found.m_mux_input.get_name(NAME_STYLE);
  return {kep_rg_get_kind(found), text, found.m_from, found.m_to, found.m_mux_input};
}
