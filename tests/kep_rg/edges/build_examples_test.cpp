#include "kep_rg/kep_rg_proof.h"
#include "tests/support/example_device.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace build_examples_test {

using test_model::edge_table;
using test_model::folder_of_example;
using test_model::sorted_lines_of_file;

/// The counters of a build that do not hang on time.
std::vector<std::uint64_t> counters_of(const KEP_RG_EDGE_CREATION_STATS& stats) {
  return {stats.n_skip_port,        stats.n_nodes, stats.n_nodes_done,      stats.n_get_leaf_calls,
          stats.n_get_leaf_fanouts, stats.n_edges, stats.n_redundant_edges, stats.n_cdrn_cache_hits,
          stats.n_cdrn_cache_misses};
}

class BuildExamples : public testing::TestWithParam<const char*> {};

TEST_P(BuildExamples, GivesTheGraphWorkedOutByHand) {
  const std::string folder = folder_of_example(GetParam());
  const std::unique_ptr<BUILD_CASE> example = test_model::read_example(GetParam());
  BUILD_CASE& c = *example;
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
  EXPECT_EQ(test_model::node_table(*c.db()), sorted_lines_of_file(folder + "expected/nodes.tsv"));
  EXPECT_EQ(edge_table(*c.db()), sorted_lines_of_file(folder + "expected/edges.tsv"));
  EXPECT_TRUE(KEP_RG_PROOF(c.db()).run(1).is_sound());

  const std::vector<std::uint64_t> walked = counters_of(c.builder().get_edge_stats());
  c.drop_builder();
  KEP_RG_TEST_ACCESS::search_all(c.builder());
  c.build();
  EXPECT_EQ(edge_table(*c.db()), sorted_lines_of_file(folder + "expected/edges.tsv"))
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
