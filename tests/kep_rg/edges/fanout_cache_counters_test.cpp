// The counters of builds that walk plain connections are those of builds that search all.

#include "tests/kep_rg/edges/fanout_cache_build_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace fanout_cache_counters_test {

using namespace fanout_cache_build;
using testing::Contains;

// Plain connections are walked and never asked of the cache; they are counted as if they were.
TEST_F(FanoutCacheBuild, CountsPlainConnectionsAsIfTheyHadBeenSearched) {
  std::string top;
  for (int i = 0; i != 30000; ++i)
    top += "inst t" + std::to_string(i) + " TILE\n";
  BUILD_CASE c(device(TILE, top));
  describe(c);
  c.build();
  EXPECT_GT(c.builder().get_edge_stats().n_cdrn_cache_hits, 50000U);
  build_again_searching_all(c);
}

// The inserted input ends every search; one that goes through the tunnel is yet never kept.
TEST_F(FanoutCacheBuild, CountsAConnectionToAnInsertedInputThatMayBeFlownOverLikeASearch) {
  for (const bool is_tunnel : {false, true}) {
    const std::string jump = is_tunnel ? "ports >i <j" : "ports =i <j";
    BUILD_CASE c("module MUX\n ports >a <o\nmodule OVER\n " + jump + R"(
      module TILE
        inst m MUX header
        inst j OVER header
        net n m.o j.i
      module TOP top type=2
        inst t TILE
        inst u TILE
    )");
    c.arcs("MUX", {"a"}, "o");
    c.insert("OVER:i");
    c.parse().add_routing_flyover(c.model().port("OVER:i"), c.model().port("OVER:j"));
    if (is_tunnel) c.parse().add_tunnel_type(c.model().module("OVER"), KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH);
    c.db()->get_legacy_api()->set_spare_row(c.model().unfolded_instance("u/j"), true);
    c.build();
    EXPECT_THAT(c.edges(), Contains("u/m:o -> u/j:i"));
    build_again_searching_all(c);
  }
}

// An equivalent of the top may stand below it, and it is what counts whether a search came to one.
TEST_F(FanoutCacheBuild, CountsBelowAnEquivalentOfTheTopLikeASearch) {
  BUILD_CASE inside(R"(
    module PIN
      ports >x
    module A group=g
      ports >q
      inst m PIN header
      net n q m.x
    module TOP top type=2 group=g
      ports >q
      inst a1 A
      inst a2 A
  )");
  inside.insert("PIN:x");
  inside.build();
  build_again_searching_all(inside);

  BUILD_CASE at_it(R"(
    module MUX
      ports >a <o
    module A group=g
      ports >q
    module X
      inst a A header
      inst m MUX header
      net n m.o a.q
    module TOP top type=2 group=g
      ports >q
      inst x1 X
      inst x2 X
  )");
  at_it.arcs("MUX", {"a"}, "o");
  at_it.insert("A:q");
  at_it.build();
  build_again_searching_all(at_it);
}

// Nothing is noted of a search that goes through a mux without walking, so its top is the master.
TEST_F(FanoutCacheBuild, KeepsNothingForAMuxThatIsAnEquivalentOfTheTop) {
  for (const bool is_equivalent : {false, true}) {
    const std::string group = is_equivalent ? " group=g\n" : "\n";
    BUILD_CASE c("module A" + group + "  ports >a <z\n" + R"(
      module X
        inst m A header
        net n m.a
        net q m.z
      module TOP top type=2)" +
                 group + R"(
        ports >a <z
        inst x1 X
        inst x2 X
        inst x3 X
    )");
    c.arcs("A", {"a"}, "z");
    c.insert("A:a");
    c.build();
    EXPECT_THAT(c.edges(), Contains("x2/m:a -> x2/m:z via x2/m:a"));
    EXPECT_EQ(c.builder().get_edge_stats().n_cdrn_cache_hits, is_equivalent ? 2U : 4U);
    build_again_searching_all(c);
  }
}

// Like places stand on several levels, and ranges end anywhere among them.
TEST_F(FanoutCacheBuild, KeepsWhateverComesAgainInItsRange) {
  std::string text = R"(
    module ROW
      ports =x
      inst m MUX header
      inst a TILE
      inst b TILE
      net n a.p m.a
      net q b.p m.o x
    module BLOCK
  )";
  for (int i = 0; i != 900; ++i)
    text += "inst r" + std::to_string(i) + (i % 7 == 0 ? " TILE\n" : " ROW\n");
  std::string top;
  for (int i = 0; i != 12; ++i)
    top += "inst b" + std::to_string(i) + (i % 3 == 0 ? " ROW\n" : " BLOCK\n");
  const std::string tile = "inst m1 MUX header\ninst m2 MUX header\nnet n m1.o m2.a\nnet q m2.o p\n";
  std::string model = device(tile, top);
  model.insert(model.find("module TOP"), text);
  BUILD_CASE c(model);
  describe(c);
  c.build(KEP_RG_BUILD_PARAMS());
  const auto [hits, misses] = counters(c);
  EXPECT_GT(hits, 20000U);
  EXPECT_GT(misses, 20U) << "more than one range";
  c.drop_builder();
  KEP_RG_TEST_ACCESS::keep_all_answers(c.builder());
  c.build();
  EXPECT_EQ(counters(c), std::pair(hits, misses));
  build_again_searching_all(c);
  build_again_without(c);
}

} // namespace fanout_cache_counters_test
