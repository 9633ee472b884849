#include "tests/support/build_case.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace build_threads_test {

using testing::HasSubstr;

// Muxes, a mux with twins and a skip mux; a row of twelve muxes with a block to go through.
std::string row() {
  std::string text = R"(
    module MUX
      ports >a >b >c <o
    module HIPI
      ports >a >b <o
    module SKIP
      ports >i <o
    module BLK
      ports >i <o
      inst s SKIP
      net n i s.i
      net q s.o o
    module ROW
      ports >in <out <side
  )";
  for (int i = 0; i != 12; ++i)
    text += fmt::format(" inst m{} {} header\n", i, i % 4 == 3 ? "HIPI" : "MUX");
  text += " inst b BLK\n net n in m0.a m1.c b.i\n net side b.o m2.c m4.c side\n net out m11.o out m5.c\n";
  for (int i = 0; i != 11; ++i)
    text += fmt::format(" net n{} m{}.o m{}.a m{}.b\n", i, i, i + 1, (i + 5) % 12);
  return text;
}

// A ring of tiles of two kinds, the second with its rows one level further down.
std::string ring(unsigned tiles) {
  std::string text = row() + R"(
    module TILE
      ports >in >in_2 <out <out_2
      inst r1 ROW
      inst r2 ROW
      net n in r1.in
      net q r1.out r2.in
      net r r2.out out
      net s r1.side r2.side out_2
    module DEEP
      ports >in >in_2 <out <out_2
      inst t TILE
      inst m MUX header
      net n in t.in m.a
      net o t.out out m.b
      net p in_2 t.in_2 m.c
      net q t.out_2 m.o out_2
    module TOP top type=1
      ports >enter <leave
  )";
  for (unsigned i = 0; i != tiles; ++i)
    text += fmt::format(" inst t{} {}\n", i, i % 3 == 0 ? "DEEP" : "TILE");
  for (unsigned i = 0; i != tiles; ++i) {
    const unsigned next = (i + 1) % tiles;
    text += fmt::format(" net a{0} t{0}.out t{1}.in{2}\n", i, next, i == 0 ? " enter leave" : "");
    text += fmt::format(" net b{0} t{0}.out_2 t{1}.in_2\n", i, next);
  }
  return text;
}

void describe(BUILD_CASE& c) {
  c.arcs("MUX", {"a", "b", "c"}, "o");
  c.arcs("HIPI", {"a"}, "o", false, KEP_ROUTING_PRIMITIVE_HIPI::M);
  c.arcs("HIPI", {"b"}, "o");
  c.arcs("SKIP", {"i"}, "o", true);
  c.insert("ROW:in");
  c.mark_redundant("ROW/m1:b");
  c.mark_redundant("ROW/m7:a");
}

struct BUILT {
  std::string m_graph;
  std::string m_tables; // of the finished graph, as they lie in memory
  std::string m_counters;
  std::size_t m_ranges;
  KEP_RG_EDGE_CREATION_STATS m_stats;
};

std::string counters(const KEP_RG_BUILD& build) {
  const KEP_RG_NODE_CREATION_STATS& nodes = build.get_node_stats();
  const KEP_RG_EDGE_CREATION_STATS& edges = build.get_edge_stats();
  std::string text;
  for (const std::uint64_t value :
       {std::uint64_t{nodes.m_eliminated_num_nodes}, std::uint64_t{nodes.m_created_num_nodes},
        std::uint64_t{nodes.m_created_num_nodes_inserted}, std::uint64_t{nodes.m_created_num_nodes_hipi},
        std::uint64_t{nodes.m_repeated_num_nodes}, std::uint64_t{nodes.m_created_num_nodes_boundary},
        build.get_counted_n(), build.get_counted_boundary(), edges.n_skip_port, edges.n_nodes,
        edges.n_nodes_done, edges.n_edges, edges.n_redundant_edges,
        edges.n_cdrn_cache_hits + edges.n_cdrn_cache_misses})
    text += fmt::format("{} ", value);
  return text;
}

BUILT build(BUILD_CASE& c, int threads) {
  c.drop_builder();
  const std::vector<std::string> lines =
      c.build(KEP_RG_BUILD_PARAMS().set_num_threads(threads).set_nodes_per_display(1));
  const auto ranges = std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
    return line.find("% done)") != std::string::npos;
  });
  BUILT built{"", "", counters(c.builder()), static_cast<std::size_t>(ranges), c.builder().get_edge_stats()};
  c.drop_builder(); // the graph stays
  built.m_graph = test_model::whole_graph(*c.db());
  built.m_tables = KEP_RG_TEST_ACCESS::text_of_tables(*c.db()->get_routing_template_graph());
  return built;
}

TEST(BuildThreads, GiveTheSameGraphByteForByteWhateverTheirNumberAndTheRun) {
  BUILD_CASE c(ring(1200));
  describe(c);
  const BUILT one = build(c, 1);
  EXPECT_GE(one.m_ranges, 3U) << "the work must be split for this test to mean anything";
  EXPECT_GT(one.m_stats.n_nodes, 30000U);
  EXPECT_GT(one.m_stats.n_redundant_edges, 1000U);
  EXPECT_THAT(one.m_graph, HasSubstr(":enter -> t1/r1:in\n"));
  EXPECT_THAT(one.m_graph, HasSubstr("t1/r1/m3:o* -> t1/r1/m3:o\n"));
  EXPECT_THAT(one.m_graph, HasSubstr("t1/r1:in -> t1/r1/m2:o via t1/r1/m2:c\n")) << "through the skip mux";
  EXPECT_THAT(one.m_graph, HasSubstr("t1/r1/m8:o ~> t1/r1/m1:o via t1/r1/m1:b\n"));
  for (const int threads : {1, 2, 8, 8, 2, 3}) {
    const BUILT other = build(c, threads);
    EXPECT_TRUE(other.m_graph == one.m_graph) << threads << " threads";
    EXPECT_TRUE(other.m_tables == one.m_tables) << "the tables of " << threads << " threads";
    EXPECT_EQ(other.m_counters, one.m_counters) << threads << " threads";
    EXPECT_GE(other.m_ranges, 3U);
    EXPECT_EQ(other.m_stats.n_get_leaf_calls,
              2 * other.m_stats.n_cdrn_cache_misses + other.m_stats.n_cdrn_cache_hits);
    EXPECT_EQ(other.m_stats.n_get_leaf_fanouts - other.m_stats.n_cdrn_cache_hits,
              one.m_stats.n_get_leaf_fanouts - one.m_stats.n_cdrn_cache_hits)
        << "an answer of the cache holds the driver once more";
  }
}

// The top has more nets than are folded in one part.
TEST(BuildThreads, FindOverFoldedNetsWhatTheSearchFindsInALargeModule) {
  BUILD_CASE c(ring(2400));
  describe(c);
  const BUILT folded = build(c, 2);
  c.drop_builder();
  KEP_RG_TEST_ACCESS::search_all(c.builder());
  c.build();
  EXPECT_EQ(counters(c.builder()), folded.m_counters);
  c.drop_builder();
  EXPECT_TRUE(test_model::whole_graph(*c.db()) == folded.m_graph);
}

TEST(BuildThreads, GiveTheSameGraphForTwoDatabasesOfOneModel) {
  BUILD_CASE c(ring(40));
  describe(c);
  BUILD_CASE d(ring(40));
  describe(d);
  EXPECT_EQ(build(c, 2).m_graph, build(d, 8).m_graph);
}

// The first build knows of two muxes; then `many` sinks become muxes too, all driven by the first.
std::string star(unsigned many) {
  std::string text = R"(
    module MUX
      ports >a <o
    module LEAF
      ports >i
    module SINK
      ports >i <o
      inst l LEAF
      net n o l.i
    module TOP top
      inst hub MUX header
      inst m MUX header
  )";
  std::string net = " net n hub.o m.a";
  for (unsigned i = 0; i != many; ++i) {
    text += fmt::format(" inst s{} SINK header\n", i);
    net += fmt::format(" s{}.i", i);
  }
  return text + net + "\n net q m.o\n";
}

TEST(BuildThreads, LeaveTheOldGraphWholeWhenANodeHasTooManyFanouts) {
  BUILD_CASE c(star(65535)); // and the mux m
  c.arcs("MUX", {"a"}, "o");
  c.build();
  c.drop_builder();
  const std::string old = test_model::whole_graph(*c.db());
  ASSERT_THAT(old, HasSubstr("hub:o -> m:o via m:a\n"));
  c.arcs("SINK", {"i"}, "o");
  for (const int threads : {1, 8}) {
    std::string text;
    try {
      c.build(KEP_RG_BUILD_PARAMS().set_num_threads(threads));
    } catch (const KEP_DB_ERROR& error) {
      text = error.what();
    }
    EXPECT_THAT(text, HasSubstr("hub:o")) << "the node is named";
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 0);
    EXPECT_EQ(test_model::whole_graph(*c.db()), old);
    c.drop_builder();
    EXPECT_EQ(test_model::whole_graph(*c.db()), old);
  }
}

TEST(BuildThreads, TakeAsManyFanoutsAsCanBeCounted) {
  BUILD_CASE c(star(65534));
  c.arcs("MUX", {"a"}, "o");
  c.arcs("SINK", {"i"}, "o");
  c.build(KEP_RG_BUILD_PARAMS().set_num_threads(2));
  const KEP_ROUTING::NODE hub(c.model().uip("hub:o"), false);
  EXPECT_EQ(hub.get_num_real_edges(), 65535U);
  EXPECT_EQ(c.builder().get_edge_stats().n_edges, 65535U);
}

} // namespace build_threads_test
