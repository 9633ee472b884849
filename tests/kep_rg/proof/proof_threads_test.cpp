// KEP_RG_PROOF by several threads: what a build makes agrees with the model, and what does not is named.

#include "tests/kep_rg/proof/proof_text.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/fabric_case.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace proof_threads_test {

using namespace proof;
using test_model::EDITED_GRAPH;
using test_model::FABRIC_CASE;
using test_model::SEEDS;
using testing::ElementsAre;

TEST(ProofThreads, FindsNothingInTheGraphsOfRandomDevices) {
  std::uint64_t num_edges = 0;
  for (const std::uint64_t seed : SEEDS(5001, 1000)) {
    FABRIC_CASE c(seed);
    c.build();
    const KEP_RG_PROOF::RESULT result = prove(*c.db(), 1 + static_cast<int>(seed % 2));
    ASSERT_THAT(texts_of(result), ElementsAre());
    EXPECT_EQ(result.m_num_edges, c.db()->get_routing_template_graph()->get_num_real_edges() +
                                      c.db()->get_routing_template_graph()->get_num_redundant_edges());
    num_edges += result.m_num_edges;
  }
  EXPECT_GT(num_edges, 10000U);
}

/// A graph in which the first edge of every node is gone and its last edge stands twice.
TEST(ProofThreads, NamesTheSameMissingAndSurplusEdgesForAnyNumberOfThreads) {
  FABRIC_CASE c(7);
  c.build();
  EDITED_GRAPH graph = EDITED_GRAPH::read(*c.db());
  std::size_t num_changed = 0;
  for (EDITED_GRAPH::NODE& node : graph.nodes()) {
    if (node.m_real.size() < 2) continue;
    const EDITED_GRAPH::EDGE first = node.m_real.front();
    const EDITED_GRAPH::EDGE last = node.m_real.back();
    if (first.m_to == last.m_to) continue;
    node.m_real.erase(node.m_real.begin());
    node.m_real.push_back(last);
    ++num_changed;
  }
  ASSERT_GT(num_changed, 3U);
  graph.publish();
  const KEP_RG_PROOF::RESULT result = prove(*c.db(), 1, 1000);
  EXPECT_FALSE(result.is_sound());
  EXPECT_EQ(result.m_num_missing_edges, num_changed);
  EXPECT_EQ(result.m_num_surplus_edges, num_changed);
  EXPECT_EQ(result.m_edge_findings.size(), 2 * num_changed);
  for (const int num_threads : {2, 7})
    EXPECT_EQ(texts_of(prove(*c.db(), num_threads, 1000)), texts_of(result));
  std::vector<std::string> first_ones;
  std::map<std::string, int> num_kept; // by kind, the first word
  for (const std::string& text : texts_of(result))
    if (num_kept[text.substr(0, text.find(' '))]++ < 3) first_ones.push_back(text);
  EXPECT_EQ(first_ones.size(), 6U);
  EXPECT_EQ(texts_of(prove(*c.db(), 2, 3)), first_ones) << "the first of each kind are kept, and all counted";
  EXPECT_EQ(prove(*c.db(), 2, 3).m_num_missing_edges, num_changed);
}

} // namespace proof_threads_test
