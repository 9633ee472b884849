#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_proof.h"
#include "tests/support/build_case.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace build_examples_test {

std::string folder(const std::string& name) {
  std::string path = KEP_TEST_DATA_DIR "/examples/";
  path += name;
  path += '/';
  return path;
}

std::vector<std::string> sorted_lines(const std::string& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);)
    lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

const char* kind_of(const KEP_ROUTING::NODE& node) {
  return node.is_boundary() ? "boundary" : node.is_hipi() ? "hipi" : "uip";
}

std::string cells_of(const KEP_ROUTING::NODE& node) {
  return node.get_name(KEP_NAME_STYLE()) + "\t" + kind_of(node);
}

std::vector<std::string> node_lines(const KEP_DB& db) {
  std::vector<std::string> lines{"node\tkind"};
  for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes())
    lines.push_back(cells_of(node));
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::vector<std::string> edge_lines(const KEP_DB& db) {
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

/// The counters of a build that do not hang on time.
std::vector<std::uint64_t> counters_of(const KEP_RG_EDGE_CREATION_STATS& stats) {
  return {stats.n_skip_port,        stats.n_nodes, stats.n_nodes_done,      stats.n_get_leaf_calls,
          stats.n_get_leaf_fanouts, stats.n_edges, stats.n_redundant_edges, stats.n_cdrn_cache_hits,
          stats.n_cdrn_cache_misses};
}

class BuildExamples : public testing::TestWithParam<const char*> {};

TEST_P(BuildExamples, GivesTheGraphWorkedOutByHand) {
  const std::string path = folder(GetParam());
  BUILD_CASE c(kep_read_model(path + "model.json"));
  kep_read_routing(c.db(), c.parse(), path + "routing.jsonl");
  if (GetParam() == std::string("redundant_inputs")) { // what the data of this device mark
    KEP_MODULE_RELATIVE_PATH_MAP paths = c.db()
                                             ->find_or_create_relative_paths("redundancy")
                                             .find_or_create_paths_for_module(c.model().module("TILE"));
    paths.add_path({c.model().instance("TILE/m2")}, c.model().port("MUX:a"));
    KEP_INSTANCE* s = c.model().instance("TILE/s");
    KEP_INSTANCE* m3 = s->get_module()->find_instance("m3");
    ASSERT_TRUE(paths.add_path({s, m3}, m3->get_module()->find_port("a")));
  }
  c.build();
  EXPECT_EQ(node_lines(*c.db()), sorted_lines(path + "expected/nodes.tsv"));
  EXPECT_EQ(edge_lines(*c.db()), sorted_lines(path + "expected/edges.tsv"));
  EXPECT_TRUE(KEP_RG_PROOF(c.db()).run(1).is_sound());

  const std::vector<std::uint64_t> walked = counters_of(c.builder().get_edge_stats());
  c.drop_builder();
  KEP_RG_TEST_ACCESS::search_all(c.builder());
  c.build();
  EXPECT_EQ(edge_lines(*c.db()), sorted_lines(path + "expected/edges.tsv"))
      << "plain connections searched, too";
  EXPECT_EQ(counters_of(c.builder().get_edge_stats()), walked);
}

INSTANTIATE_TEST_SUITE_P(Devices, BuildExamples,
                         testing::Values("plain_mux_chain", "skip_mux", "inserted_node", "hipi_twin",
                                         "blc_root", "top_ports_routed", "redundant_inputs",
                                         "edge_to_a_place_that_lacks_nodes", "node_missing_inside_a_blc",
                                         "mux_input_behind_a_blc"),
                         [](const auto& device) { return std::string(device.param); });

} // namespace build_examples_test
