#pragma once

#include "tests/support/build_case.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

namespace fanout_cache_build {

/// Modules that the tests share; the lines of TILE and TOP are theirs.
inline std::string device(const std::string& tile, const std::string& top, int type = 2) {
  return R"(
    module MUX
      ports >a <o
    module TWO
      ports >a >b <o
    module JUMP
      ports >i <j
    module TILE
      ports =p
  )" + tile +
         "\nmodule TOP top type=" + std::to_string(type) + "\n" + top;
}

// In each tile m1 drives m2, and what m2 drives lies within the tile, too.
inline const char* const TILE = R"(
      inst m1 MUX header
      inst m2 MUX header
      net n m1.o m2.a
      net q m2.o
)";
inline const char* const TWO_TILES = "inst t TILE\n inst u TILE\n";

class FanoutCacheBuild : public testing::Test {
protected:
  void describe(BUILD_CASE& c) {
    c.arcs("MUX", {"a"}, "o");
    c.arcs("TWO", {"a", "b"}, "o");
  }
  /// The counters of the build: hits, then misses.
  static std::pair<std::uint64_t, std::uint64_t> counters(BUILD_CASE& c) {
    const KEP_RG_EDGE_CREATION_STATS& stats = c.builder().get_edge_stats();
    EXPECT_EQ(stats.n_get_leaf_calls, 2 * stats.n_cdrn_cache_misses + stats.n_cdrn_cache_hits);
    return {stats.n_cdrn_cache_hits, stats.n_cdrn_cache_misses};
  }
  /// Builds once more without the cache and expects the graph that stands there.
  static void build_again_without(BUILD_CASE& c) {
    c.drop_builder();
    const std::string graph = test_model::whole_graph(*c.db());
    KEP_RG_TEST_ACCESS::disable_fanout_cache(c.builder());
    c.build();
    EXPECT_EQ(c.builder().get_edge_stats().n_cdrn_cache_hits, 0U);
    EXPECT_EQ(test_model::whole_graph(*c.db()), graph);
  }
  /// Builds once more, where every connection is searched, and expects the graph and the counters that stand
  /// there.
  static void build_again_searching_all(BUILD_CASE& c) {
    const std::string graph = test_model::whole_graph(*c.db());
    const KEP_RG_EDGE_CREATION_STATS walked = c.builder().get_edge_stats();
    c.drop_builder();
    KEP_RG_TEST_ACCESS::search_all(c.builder());
    c.build();
    const KEP_RG_EDGE_CREATION_STATS& searched = c.builder().get_edge_stats();
    EXPECT_EQ(walked.n_cdrn_cache_hits, searched.n_cdrn_cache_hits);
    EXPECT_EQ(walked.n_cdrn_cache_misses, searched.n_cdrn_cache_misses);
    EXPECT_EQ(walked.n_get_leaf_calls, searched.n_get_leaf_calls);
    EXPECT_EQ(walked.n_get_leaf_fanouts, searched.n_get_leaf_fanouts);
    EXPECT_EQ(walked.n_skip_port, searched.n_skip_port);
    EXPECT_EQ(test_model::whole_graph(*c.db()), graph);
  }
  /// Builds with the cache and expects so many hits and misses; then without it, and expects the same graph.
  static void build(BUILD_CASE& c, std::uint64_t hits, std::uint64_t misses) {
    c.build();
    EXPECT_EQ(counters(c), std::pair(hits, misses));
    const KEP_RG_EDGE_CREATION_STATS with = c.builder().get_edge_stats();
    build_again_searching_all(c);
    build_again_without(c);
    EXPECT_EQ(counters(c), std::pair(std::uint64_t{0}, hits + misses));
    const KEP_RG_EDGE_CREATION_STATS& without = c.builder().get_edge_stats();
    EXPECT_EQ(with.n_get_leaf_fanouts, without.n_get_leaf_fanouts + hits)
        << "an answer holds the driver once more";
    EXPECT_EQ(with.n_skip_port, without.n_skip_port);
  }
};

} // namespace fanout_cache_build
