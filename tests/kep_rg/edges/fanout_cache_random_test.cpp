#include "kep_rg/kep_rg_exception.h"
#include "tests/support/build_case.h"
#include "tests/support/random_device.h"
#include "tests/support/random_fabric.h"
#include "tests/support/representative_rows.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

namespace fanout_cache_random_test {

using test_model::RANDOM_DEVICE;
using test_model::RANDOM_FABRIC;
using ACCESS = KEP_RG_TEST_ACCESS;

/// Any class but the base class is taken for one that looks.
class KEP_UNFOLD_OBSERVER_THAT_SEES : public KEP_UNFOLD_OBSERVER {};

struct SEEN {
  std::uint64_t m_edges = 0, m_hits = 0, m_misses = 0, m_with_hits = 0, m_refused = 0, m_rows = 0;
};

/// The rows are the same but for a search that notes no module. Its answer is kept under the master of the
/// driver's instance, which a hit then notes.
void compare_rows(const std::vector<std::string>& without, const std::vector<std::string>& with) {
  EXPECT_TRUE(std::includes(with.begin(), with.end(), without.begin(), without.end()));
  std::vector<std::string> surplus;
  std::set_difference(with.begin(), with.end(), without.begin(), without.end(), std::back_inserter(surplus));
  for (const std::string& row : surplus)
    EXPECT_EQ(row.substr(row.find(" below ") + 7), row.substr(0, row.find(':')));
}

/// In ranges of a few nodes, where plain connections are walked and where all are searched: nothing shows it.
void compare_ranges(BUILD_CASE& c, int threads, const std::string& graph) {
  std::vector<KEP_RG_EDGE_CREATION_STATS> stats;
  for (const bool searches_all : {false, true}) {
    c.drop_builder();
    ACCESS::set_min_grain(c.builder(), 3);
    if (searches_all) ACCESS::search_all(c.builder());
    c.build();
    ASSERT_EQ(test_model::whole_graph(*c.db()), graph)
        << "ranges of a few nodes, all searched: " << searches_all;
    stats.push_back(c.builder().get_edge_stats());
  }
  EXPECT_EQ(stats[0].n_cdrn_cache_hits, stats[1].n_cdrn_cache_hits);
  EXPECT_EQ(stats[0].n_cdrn_cache_misses, stats[1].n_cdrn_cache_misses);
  EXPECT_EQ(stats[0].n_get_leaf_calls, stats[1].n_get_leaf_calls);
  EXPECT_EQ(stats[0].n_get_leaf_fanouts, stats[1].n_get_leaf_fanouts);
  EXPECT_EQ(stats[0].n_skip_port, stats[1].n_skip_port);
  c.drop_builder();
  ACCESS::set_min_grain(c.builder(), 3);
  ACCESS::keep_all_answers(c.builder());
  c.build();
  EXPECT_EQ(stats[0].n_cdrn_cache_hits, c.builder().get_edge_stats().n_cdrn_cache_hits)
      << "an answer was not kept that came again in a range of a few nodes";
  c.drop_builder();
  ACCESS::set_min_grain(c.builder(), 3);
  c.build(KEP_RG_BUILD_PARAMS().set_num_threads(threads));
  ASSERT_EQ(test_model::whole_graph(*c.db()), graph) << threads << " threads, ranges of a few nodes";
}

/// Builds with every answer kept, no hit was lost.
void compare_with_all_kept(BUILD_CASE& c, const KEP_RG_EDGE_CREATION_STATS& one, const std::string& graph) {
  c.drop_builder();
  ACCESS::keep_all_answers(c.builder());
  c.build();
  ASSERT_EQ(test_model::whole_graph(*c.db()), graph) << "with every answer kept";
  ASSERT_EQ(c.builder().get_edge_stats().n_cdrn_cache_hits, one.n_cdrn_cache_hits)
      << "an answer was not kept that came again";
}

/// Builds without the cache: the same counters but for what a hit saves and adds.
void compare_without(BUILD_CASE& c, const KEP_RG_EDGE_CREATION_STATS& one, const std::string& graph,
                     const std::vector<std::string>& rows) {
  c.drop_builder();
  ACCESS::disable_fanout_cache(c.builder());
  c.build();
  ASSERT_EQ(test_model::whole_graph(*c.db()), graph) << "without the cache";
  compare_rows(test_model::representative_rows(c.builder()), rows);
  const KEP_RG_EDGE_CREATION_STATS& none = c.builder().get_edge_stats();
  EXPECT_EQ(none.n_cdrn_cache_hits, 0U);
  EXPECT_EQ(one.n_cdrn_cache_hits + one.n_cdrn_cache_misses, none.n_cdrn_cache_misses);
  EXPECT_EQ(one.n_get_leaf_calls, 2 * one.n_cdrn_cache_misses + one.n_cdrn_cache_hits);
  EXPECT_EQ(one.n_get_leaf_fanouts, none.n_get_leaf_fanouts + one.n_cdrn_cache_hits);
  EXPECT_EQ(one.n_edges, none.n_edges);
  EXPECT_EQ(one.n_redundant_edges, none.n_redundant_edges);
  EXPECT_EQ(one.n_skip_port, none.n_skip_port);
}

/// Builds with the cache, with one thread or more, and once without: the same graph, and the same counters
/// but for what a hit saves and adds.
void compare(BUILD_CASE& c, int threads, SEEN& seen) {
  c.build();
  const KEP_RG_EDGE_CREATION_STATS one = c.builder().get_edge_stats();
  const std::string graph = test_model::whole_graph(*c.db());
  const std::vector<std::string> rows = test_model::representative_rows(c.builder());
  compare_with_all_kept(c, one, graph);
  c.drop_builder();
  c.build(KEP_RG_BUILD_PARAMS().set_num_threads(threads));
  ASSERT_EQ(test_model::whole_graph(*c.db()), graph) << threads << " threads";
  compare_without(c, one, graph, rows);
  seen.m_rows += rows.size();
  c.drop_builder();
  ACCESS::search_all(c.builder());
  c.build();
  EXPECT_EQ(test_model::representative_rows(c.builder()), rows) << "plain connections searched, too";
  ASSERT_EQ(test_model::whole_graph(*c.db()), graph) << "plain connections searched, too";
  ASSERT_EQ(c.builder().get_edge_stats().n_cdrn_cache_hits, one.n_cdrn_cache_hits)
      << "plain connections searched, too";
  c.drop_builder();
  KEP_UNFOLD_OBSERVER_THAT_SEES observer;
  ACCESS::observe(c.builder(), &observer);
  c.build();
  ASSERT_EQ(test_model::whole_graph(*c.db()), graph) << "every question asked anew";
  const KEP_RG_EDGE_CREATION_STATS& asked = c.builder().get_edge_stats();
  EXPECT_EQ(one.n_cdrn_cache_hits, asked.n_cdrn_cache_hits);
  EXPECT_EQ(one.n_get_leaf_calls, asked.n_get_leaf_calls);
  EXPECT_EQ(one.n_get_leaf_fanouts, asked.n_get_leaf_fanouts);
  EXPECT_EQ(one.n_skip_port, asked.n_skip_port);
  compare_ranges(c, threads, graph);
  seen.m_edges += one.n_edges + one.n_redundant_edges;
  seen.m_hits += one.n_cdrn_cache_hits;
  seen.m_misses += one.n_cdrn_cache_misses;
  seen.m_with_hits += one.n_cdrn_cache_hits != 0;
}

TEST(FanoutCacheRandomBuild, LeavesTheGraphOfAFabricAsItIs) {
  SEEN seen;
  for (const std::uint64_t seed : test_model::SEEDS(1, 299)) {
    const RANDOM_FABRIC fabric(seed);
    BUILD_CASE c(fabric.freeze());
    fabric.describe(*c.db(), c.parse());
    compare(c, 2 + static_cast<int>(seed % 3), seen);
    if (HasFailure()) FAIL() << "seed " << seed << "\n" << fabric.facts();
  }
  EXPECT_GT(seen.m_edges, 3000U);
  EXPECT_GT(seen.m_hits, 500U);
  EXPECT_GT(seen.m_misses, 500U);
}

TEST(FanoutCacheRandomBuild, LeavesTheGraphAsItIsWhateverASearchMeets) {
  SEEN seen;
  for (const std::uint64_t seed : test_model::SEEDS(1, 599)) {
    RANDOM_DEVICE device(seed);
    BUILD_CASE c(device.text());
    try {
      device.describe(c);
      compare(c, 2 + static_cast<int>(seed % 3), seen);
    } catch (const KEP_EXCEPTION&) {
      ++seen.m_refused;
    }
    if (HasFailure()) FAIL() << "seed " << seed << "\n" << device.text();
  }
  EXPECT_GT(seen.m_edges, 20000U);
  EXPECT_GT(seen.m_hits, 3000U);
  EXPECT_GT(seen.m_misses, 3000U);
  EXPECT_GT(seen.m_with_hits, 300U);
  EXPECT_GT(seen.m_rows, 1000U);
  EXPECT_LT(seen.m_refused, 150U);
}

} // namespace fanout_cache_random_test
