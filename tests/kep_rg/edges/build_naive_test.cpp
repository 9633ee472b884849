#include "tests/kep_rg/edges/naive_routing.h"
#include "tests/support/fabric_case.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace build_naive_test {

using test_model::FABRIC_CASE;
using test_model::NAIVE_ROUTING;
using test_model::SEEDS;

std::vector<std::string> sorted(std::vector<std::string> lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

/// The lines that stand more often in one of the two.
std::string differences(const std::vector<std::string>& found, const std::vector<std::string>& expected) {
  std::vector<std::string> only;
  std::string text;
  std::set_difference(found.begin(), found.end(), expected.begin(), expected.end(), std::back_inserter(only));
  for (const std::string& line : only)
    text += "  too much: " + line + "\n";
  only.clear();
  std::set_difference(expected.begin(), expected.end(), found.begin(), found.end(), std::back_inserter(only));
  for (const std::string& line : only)
    text += "  missing: " + line + "\n";
  return text;
}

/// Both ends of all edges, sorted, as the drivers tell it and as the targets do.
using ENDS = std::vector<std::pair<std::uint32_t, std::uint32_t>>;
ENDS ends_by_driver(const KEP_ROUTING::GRAPH& graph) {
  ENDS ends;
  for (std::uint32_t i = 0; i != graph.get_num_nodes(); ++i)
    for (const KEP_ROUTING::FWD_EDGE& edge : graph.get_node(i).iter_all_fanout())
      ends.emplace_back(i, graph.get_index(edge.get_fanout()));
  std::sort(ends.begin(), ends.end());
  return ends;
}
ENDS ends_by_target(const KEP_ROUTING::GRAPH& graph) {
  ENDS ends;
  for (std::uint32_t i = 0; i != graph.get_num_nodes(); ++i)
    for (const KEP_ROUTING::REV_EDGE& edge : graph.get_node(i).iter_all_fanin())
      ends.emplace_back(graph.get_index(edge.get_fanin()), i);
  std::sort(ends.begin(), ends.end());
  return ends;
}

struct SEEN {
  std::uint64_t m_edges = 0, m_down = 0, m_up = 0, m_skipped = 0, m_redundant = 0, m_to_twin = 0,
                m_to_top = 0;
  std::uint64_t m_through_own = 0, m_missing = 0, m_repeated = 0, m_eliminated = 0;

  void add(const NAIVE_ROUTING& naive) {
    m_edges += naive.edges().size();
    m_down += naive.m_down;
    m_up += naive.m_up;
    m_skipped += naive.m_skipped;
    m_redundant += naive.m_redundant;
    m_to_twin += naive.m_to_twin;
    m_to_top += naive.m_to_top;
    m_through_own += naive.m_through_own;
    m_missing += naive.m_missing;
    m_repeated += naive.m_repeated;
    m_eliminated += naive.m_eliminated;
  }
};

void compare(std::uint64_t seed, SEEN& seen) {
  FABRIC_CASE c(seed);
  const NAIVE_ROUTING naive(c.fabric());
  c.build(KEP_RG_BUILD_PARAMS().set_num_threads(1 + static_cast<int>(seed % 2)));

  const KEP_RG_NODE_CREATION_STATS& nodes = c.builder().get_node_stats();
  const KEP_RG_EDGE_CREATION_STATS& edges = c.builder().get_edge_stats();
  EXPECT_EQ(differences(sorted(c.nodes()), sorted(naive.nodes())), "");
  EXPECT_EQ(differences(sorted(c.edges()), sorted(naive.edges())), "");
  const KEP_ROUTING::GRAPH& graph = *c.db()->get_routing_template_graph();
  EXPECT_EQ(ends_by_driver(graph), ends_by_target(graph)) << test_model::whole_graph(*c.db());
  EXPECT_EQ(nodes.m_created_num_nodes, naive.m_created);
  EXPECT_EQ(nodes.m_created_num_nodes_inserted, naive.m_inserted);
  EXPECT_EQ(nodes.m_created_num_nodes_hipi, naive.m_twins);
  EXPECT_EQ(nodes.m_repeated_num_nodes, naive.m_repeated);
  EXPECT_EQ(edges.n_skip_port, naive.m_missing);
  EXPECT_EQ(edges.n_edges + edges.n_redundant_edges, naive.edges().size());
  EXPECT_EQ(edges.n_redundant_edges, naive.m_redundant);
  EXPECT_EQ(nodes.m_eliminated_num_nodes, naive.m_eliminated);
  seen.add(naive);
  if (testing::Test::HasFailure()) FAIL() << c.text();
}

TEST(BuildBesideANaiveModel, GivesTheSameNodesAndEdgesForRandomDevices) {
  SEEN seen;
  const std::uint64_t seeds = 4000;
  for (const std::uint64_t seed : SEEDS(1, seeds))
    compare(seed, seen);
  // The devices are worth the name only if all of this occurs, and often.
  EXPECT_GT(seen.m_edges, 10 * seeds);
  EXPECT_GT(seen.m_down, 10 * seeds);
  EXPECT_GT(seen.m_up, 10 * seeds);
  EXPECT_GT(seen.m_skipped, seeds);
  EXPECT_GT(seen.m_redundant, seeds / 4);
  EXPECT_GT(seen.m_to_twin, seeds / 4);
  EXPECT_GT(seen.m_to_top, seeds / 4);
  EXPECT_GT(seen.m_through_own, seeds / 10);
  EXPECT_GT(seen.m_missing, seeds / 4);
  EXPECT_GT(seen.m_repeated, seeds / 10);
  EXPECT_GT(seen.m_eliminated, seeds / 4);
}

} // namespace build_naive_test
