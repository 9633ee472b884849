#pragma once

#include "kep/kep_routing_graph.h"
#include "kep_report/kep_report_progress.h"
#include "kep_rg/kep_rg_export.h"
#include "kep_rg/kep_rg_part.h"
#include "kep_rg/kep_rg_proof.h"
#include "kep_rg/kep_rg_trace_edge.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// @file
/// What proof, post checks and traces find, as data: of each kind how many there are and the first ones, and
/// of each of these a text and the node or edge that it is about.

/// The kinds. Each has an id, a stable name in lower case with hyphens: "missing-node".
enum class KEP_RG_FINDING_KIND : unsigned char {
  MISSING_NODE,        ///< the model has it, the graph has not
  SURPLUS_NODE,        ///< the other way round
  MISSING_EDGE,        ///< likewise of an edge between nodes that both have
  SURPLUS_EDGE,        ///< likewise
  HIPI_ORDER,          ///< a hipi node isn't the first fanin of its plain node, or isn't named by it
  DOUBLED_EDGE,        ///< two real edges from a node with redundant ones to one fanout
  FEW_REDUNDANT_EDGES, ///< no more than a twentieth of all edges
  UNREACHABLE_NODE,    ///< of the ordinary routing, yet no input node reaches it
  NO_NODE,             ///< the graph has none at all
  TRACE_NULL_NODE,     ///< from here on as the outcomes of a trace
  TRACE_NOT_FOUND,
  TRACE_UNCONNECTED_PORT,
  TRACE_NO_INPUT,
  TRACE_NO_ARC,
  TRACE_FIRST_NET,
  TRACE_LATER_NET,
};
/// Of KEP_RG_FINDING_KIND.
inline constexpr unsigned KEP_RG_NUM_FINDING_KINDS = 16;

/// What a kind says something about.
enum class KEP_RG_FINDING_SUBJECT : unsigned char {
  GRAPH,  ///< the graph is wrong
  DEVICE, ///< the graph may well be right, and the device or its description is odd
  TRACE,  ///< a trace fails, as those of sound edges may
};

///@{
/// The id of a kind, and what it says something about.
KEP_RG_EXPORT const char* kep_rg_get_id(KEP_RG_FINDING_KIND kind);
KEP_RG_EXPORT KEP_RG_FINDING_SUBJECT kep_rg_get_subject(KEP_RG_FINDING_KIND kind);
///@}
/// None for an edge that verifies and for edges at boundary nodes, where there never is a trace.
KEP_RG_EXPORT std::optional<KEP_RG_FINDING_KIND> kep_rg_find_kind(KEP_RG_TRACE_EDGE::OUTCOME outcome);
/// Why an edge does not verify, as the rest of a sentence that begins with the edge.
KEP_RG_EXPORT const char* kep_rg_get_reason(KEP_RG_TRACE_EDGE::OUTCOME outcome);

/// One finding. The library and the tool print the text alone; node and edge are for programs that go on from
/// them.
struct KEP_RG_FINDING {
  KEP_RG_FINDING_KIND m_kind;         ///< which rule was broken
  std::string m_text;                 ///< one line
  KEP_ROUTING::NODE m_node;           ///< the node, or where the edge comes from; null for a missing node
  KEP_ROUTING::NODE m_to;             ///< where the edge goes to; null without an edge
  KEP_UNFOLDED_INST_PORT m_mux_input; ///< of the edge, empty without one
};

/// The findings of one kind in a graph.
struct KEP_RG_FINDINGS {
  /// A node by its place in the graph, and one of its edges by its place in iter_all_fanout().
  struct PLACE {
    std::uint32_t m_node = 0; ///< its number
    std::uint32_t m_edge = 0; ///< from 0; without meaning where a finding is about the node
    ///@{
    /// By node, then by edge.
    bool operator==(const PLACE& other) const { return m_node == other.m_node && m_edge == other.m_edge; }
    bool operator!=(const PLACE& other) const { return !(*this == other); }
    bool operator<(const PLACE& other) const {
      return m_node != other.m_node ? m_node < other.m_node : m_edge < other.m_edge;
    }
    ///@}
  };

  /// Keeps the place unless that many are kept.
  void add(const PLACE& place, std::size_t max_kept) {
    if (m_num++ < max_kept) m_first.push_back(place);
  }

  KEP_RG_FINDING_KIND m_kind{}; ///< of all of them
  std::uint64_t m_num = 0;      ///< how many there are, kept or not
  std::vector<PLACE> m_first;   ///< the first ones, in the order of the graph
};

/// The rules of KEP_RG_POST_CHECKS, and that of a graph without nodes, but every finding is counted, nothing
/// is printed or asserted, and a graph with edges to nowhere does no harm. Each takes time that goes with
/// nodes and edges and, but for the walk from the input nodes, runs on all threads of the arena; two of them
/// may run at a time. No more than so many findings are kept. Those that look at all nodes add their number
/// to the progress, if one is given. What goes node by node can be divided, as the proof can (KEP_RG_PART);
/// the others stand for the whole graph and take little of the time.
KEP_RG_EXPORT KEP_RG_FINDINGS kep_rg_find_hipi_order(const KEP_ROUTING::GRAPH& graph, std::size_t max_kept,
                                                     KEP_REPORT_PROGRESS* progress = nullptr,
                                                     const KEP_RG_PART& part = {});
/// One finding for each node and fanout.
KEP_RG_EXPORT KEP_RG_FINDINGS kep_rg_find_doubled_edges(const KEP_ROUTING::GRAPH& graph, std::size_t max_kept,
                                                        KEP_REPORT_PROGRESS* progress = nullptr,
                                                        const KEP_RG_PART& part = {});
/// At most one, about the graph as a whole.
KEP_RG_EXPORT KEP_RG_FINDINGS kep_rg_find_few_redundant_edges(const KEP_ROUTING::GRAPH& graph);
/// One in a graph without nodes, in which there is nothing to check.
KEP_RG_EXPORT KEP_RG_FINDINGS kep_rg_find_no_node(const KEP_ROUTING::GRAPH& graph);
/// Nodes of the ordinary routing that no input node reaches over real edges.
KEP_RG_EXPORT KEP_RG_FINDINGS kep_rg_find_unreachable_nodes(const KEP_ROUTING::GRAPH& graph,
                                                            std::size_t max_kept,
                                                            KEP_REPORT_PROGRESS* progress = nullptr);

/// What all of these find, an entry a check, in the order in which findings are told. A part makes those that
/// can be divided, the first part the others, too. Whether redundant edges are many enough is left out where
/// it is not judged. Runs on all threads of the arena, as the phase "checks"; KEP_CANCELLED when the task
/// group of the caller is cancelled.
KEP_RG_EXPORT std::vector<KEP_RG_FINDINGS> kep_rg_find_all(const KEP_ROUTING::GRAPH& graph,
                                                           bool is_redundancy_judged, std::size_t max_kept,
                                                           const KEP_RG_PART& part = {});

/// A finding of a post check or of a trace, from one of the places that were kept.
KEP_RG_EXPORT KEP_RG_FINDING kep_rg_get_finding(const KEP_ROUTING::GRAPH& graph, KEP_RG_FINDING_KIND kind,
                                                const KEP_RG_FINDINGS::PLACE& place);
///@{
/// A finding of the proof, and its kind.
KEP_RG_EXPORT KEP_RG_FINDING_KIND kep_rg_get_kind(const KEP_RG_PROOF::NODE_FINDING& found);
KEP_RG_EXPORT KEP_RG_FINDING_KIND kep_rg_get_kind(const KEP_RG_PROOF::EDGE_FINDING& found);
KEP_RG_EXPORT KEP_RG_FINDING kep_rg_get_finding(const KEP_RG_PROOF::NODE_FINDING& found);
KEP_RG_EXPORT KEP_RG_FINDING kep_rg_get_finding(const KEP_RG_PROOF::EDGE_FINDING& found);
///@}

/// The name of a node as the dump has it, with " (hipi)" behind that of a hipi node; "nowhere" for the null
/// node.
KEP_RG_EXPORT std::string kep_rg_get_node_text(const KEP_ROUTING::NODE& node);
