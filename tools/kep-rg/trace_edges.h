#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_trace_edge.h"

#include <array>
#include <compare>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

/// What became of the edges of a graph that were traced.
struct TRACE_TALLY {
  using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;
  /// An edge by the place of its node and its own place among that node's edges.
  struct EDGE {
    std::uint32_t m_node = std::numeric_limits<std::uint32_t>::max();
    std::uint32_t m_place = 0;
    auto operator<=>(const EDGE&) const = default;
  };

  std::array<std::uint64_t, KEP_RG_TRACE_EDGE::NUM_OUTCOMES> m_num_edges{}; ///< by outcome
  std::array<EDGE, KEP_RG_TRACE_EDGE::NUM_OUTCOMES> m_first{};              ///< in the graph's order
  std::vector<std::pair<EDGE, OUTCOME>> m_findings; ///< all of them in that order, where it was asked for
};

/// Traces and verifies every edge, one by one, by so many threads; the tally is the same for any number. A
/// progress line is told about every so many nodes.
TRACE_TALLY trace_all_edges(const KEP_DB& db, int num_threads, int nodes_per_display, bool list_findings);

/// Tells of the tally: its sum as information, findings as errors. False when there is a finding.
bool report_traces(const TRACE_TALLY& tally, const KEP_ROUTING::GRAPH& graph);

/// An edge that does not verify is a finding, unless it starts or ends at a boundary node, where there never
/// is a trace.
bool is_trace_finding(TRACE_TALLY::OUTCOME outcome);
/// Why an edge does not verify, as the rest of a sentence that begins with the edge.
const char* get_trace_reason(TRACE_TALLY::OUTCOME outcome);

/// The name of a node as the dump has it, with " (hipi)" behind that of a hipi node.
std::string get_node_text(const KEP_ROUTING::NODE& node);
