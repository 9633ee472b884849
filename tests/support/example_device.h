#pragma once

#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "tests/support/build_case.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

/// The devices of tests/data/examples, whose graphs were worked out by hand.
namespace test_model {

inline std::string folder_of_example(const std::string& name) {
  return KEP_TEST_DATA_DIR "/examples/" + name + "/";
}

/// The device as its model and its routing facts have it, not yet built.
inline std::unique_ptr<BUILD_CASE> read_example(const std::string& name) {
  const std::string folder = folder_of_example(name);
  auto c = std::make_unique<BUILD_CASE>(kep_read_model(folder + "model.json"));
  kep_read_routing(c->db(), c->parse(), folder + "routing.jsonl");
  return c;
}

inline std::vector<std::string> sorted_lines_of_file(const std::string& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);)
    lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

inline std::string cells_of(const KEP_ROUTING::NODE& node) {
  return node.get_name(KEP_NAME_STYLE()) + (node.is_boundary() ? "\tboundary"
                                            : node.is_hipi()   ? "\thipi"
                                                               : "\tuip");
}

/// The graph of a database as expected/nodes.tsv and expected/edges.tsv of an example have it, sorted.
inline std::vector<std::string> node_table(const KEP_DB& db) {
  std::vector<std::string> lines{"node\tkind"};
  for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes())
    lines.push_back(cells_of(node));
  std::sort(lines.begin(), lines.end());
  return lines;
}

inline std::vector<std::string> edge_table(const KEP_DB& db) {
  std::vector<std::string> lines{"from\tfrom_kind\tto\tto_kind\tclass\tmux_input"};
  for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes()) {
    const auto add = [&](const auto& edges, const char* name) {
      for (const KEP_ROUTING::FWD_EDGE& edge : edges)
        lines.push_back(cells_of(node) + "\t" + cells_of(edge.get_fanout()) + "\t" + name + "\t" +
                        edge.get_mux_input().get_name(KEP_NAME_STYLE()));
    };
    add(node.iter_real_fanout(), "real");
    add(node.iter_redundant_fanout(), "redundant");
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

} // namespace test_model
