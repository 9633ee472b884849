#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_builder.h"
#include "kep/kep_routing_graph.h"

#include <string>
#include <vector>

/// Graphs as lines of text. A node is its name, "*" behind that of a hipi twin: "a/m:o", "a/m:o*", ":p". An
/// edge is "FROM -> TO", "FROM ~> TO" when it is redundant, and " via INPUT" behind it where it runs through
/// a mux.
namespace test_model {

inline std::string text_of(const KEP_ROUTING::NODE& node) {
  return node.get_name(KEP_NAME_STYLE()) + (node.is_hipi() ? "*" : "");
}

inline std::vector<std::string> nodes_of(const KEP_DB& db) {
  std::vector<std::string> lines;
  for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes())
    lines.push_back(text_of(node));
  return lines;
}

inline std::string text_of(const KEP_ROUTING::NODE& from, const KEP_ROUTING::FWD_EDGE& edge, bool redundant) {
  std::string line = text_of(from) + (redundant ? " ~> " : " -> ") + text_of(edge.get_fanout());
  if (edge.get_mux_input()) line += " via " + edge.get_mux_input().get_name(KEP_NAME_STYLE());
  return line;
}

inline void append_edges(const KEP_ROUTING::NODE& node, bool redundant, std::vector<std::string>& lines) {
  for (const KEP_ROUTING::FWD_EDGE& edge : redundant ? node.iter_redundant_fanout() : node.iter_real_fanout())
    lines.push_back(text_of(node, edge, redundant));
}

/// In the order of the graph: node by node, real edges before redundant ones.
inline std::vector<std::string> edges_of(const KEP_DB& db) {
  std::vector<std::string> lines;
  for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes()) {
    append_edges(node, false, lines);
    append_edges(node, true, lines);
  }
  return lines;
}

/// Nodes, their edges and their fanins, in the order of the graph: equal texts, equal graphs.
inline std::string whole_graph(const KEP_DB& db) {
  std::string text;
  for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes()) {
    text += text_of(node) + " " + std::to_string(node.get_num_real_edges()) + " of " +
            std::to_string(node.get_num_edges()) + "\n";
    std::vector<std::string> edges;
    append_edges(node, false, edges);
    append_edges(node, true, edges);
    for (const std::string& edge : edges)
      text += edge + "\n";
    for (const KEP_ROUTING::REV_EDGE& edge : node.iter_all_fanin())
      text += "  from " + text_of(edge.get_fanin()) + "\n";
  }
  return text;
}

/// A node under construction, in the same way; "null" for none.
inline std::string text_of(const KEP_ROUTING_BUILDER_NODE* node) {
  return node ? node->get_name(KEP_NAME_STYLE()) + (node->is_hipi() ? "*" : "") : "null";
}

/// The nodes of a graph under construction, in the order in which they were made until it is sorted.
inline std::vector<std::string> nodes_of(KEP_ROUTING_BUILDER_GRAPH& graph) {
  std::vector<std::string> lines;
  for (const KEP_ROUTING_BUILDER_NODE* node : graph.iter_nodes(1))
    lines.push_back(text_of(node));
  return lines;
}

} // namespace test_model
