// What a search asks of its place, and whether its answer is kept then.

#include "tests/kep_rg/edges/fanout_cache_build_fixture.h"
#include "tests/support/tunnel_modules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace fanout_cache_place_test {

using namespace fanout_cache_build;
using testing::Contains;
using testing::IsSupersetOf;
using testing::Not;

// The jump hangs between m1 and m2; what m2 drives never comes by.
const char* const JUMP_TILE = R"(
      inst m1 MUX header
      inst j JUMP header
      inst m2 MUX header
      inst m3 MUX header
      net n m1.o j.i
      net q j.j m2.a
      net r m2.o m3.a
      net s m3.o
)";

TEST_F(FanoutCacheBuild, KeepsNothingThatTookOrRefusedAFlyover) {
  for (const bool spare_first : {false, true}) {
    BUILD_CASE c(device(JUMP_TILE, "inst t TILE\n inst u TILE\n inst v TILE\n"));
    describe(c);
    c.parse().add_routing_flyover(c.model().port("JUMP:i"), c.model().port("JUMP:j"));
    const std::string spare = spare_first ? "t" : "v";
    c.db()->get_legacy_api()->set_spare_row(c.model().unfolded_instance(spare + "/j"), true);
    build(c, 4, 2 + 3); // m2 and m3 profit everywhere, m1 nowhere
    EXPECT_THAT(c.edges(), Contains(spare + "/m1:o -> " + spare + "/m2:o via " + spare + "/m2:a"));
    EXPECT_THAT(c.edges(), Not(Contains("u/m1:o -> u/m2:o via u/m2:a")));
  }
}

TEST_F(FanoutCacheBuild, TakesFlyoversForNothingWhereNoInstanceHasAttributes) {
  BUILD_CASE c(device(JUMP_TILE, TWO_TILES));
  describe(c);
  c.parse().add_routing_flyover(c.model().port("JUMP:i"), c.model().port("JUMP:j"));
  build(c, 3, 3);
}

TEST_F(FanoutCacheBuild, KeepsWhatPassesASkipPathWhereAFlyoverWouldBegin) {
  BUILD_CASE c(device(JUMP_TILE, TWO_TILES));
  describe(c);
  c.arcs("JUMP", {"i"}, "j", true);
  c.parse().add_routing_flyover(c.model().port("JUMP:i"), c.model().port("JUMP:j"));
  c.db()->get_legacy_api()->set_spare_row(c.model().unfolded_instance("u/j"), true);
  build(c, 3, 3); // the skip path comes first, so nobody asks for the attributes
  EXPECT_THAT(c.edges(), IsSupersetOf({"t/m1:o -> t/m2:o via t/m2:a", "u/m1:o -> u/m2:o via u/m2:a"}));
}

TEST_F(FanoutCacheBuild, KeepsNothingThatFoundAnExceptionBeforeAFlyover) {
  BUILD_CASE c(device(JUMP_TILE, TWO_TILES));
  describe(c);
  c.arcs("JUMP", {"i"}, "j", true);
  c.parse().set_skip_paths(c.model().instance("TILE/j"), false);
  c.parse().add_routing_flyover(c.model().port("JUMP:i"), c.model().port("JUMP:j"));
  c.db()->get_legacy_api()->set_spare_row(c.model().unfolded_instance("u/j"), true);
  build(c, 2, 2 + 2);
}

// s drives the tunnel x; behind its way through a jump leads to d.
const std::string TUNNEL = test_model::TUNNEL_MODULES + R"(
    module MUX
      ports >a <o
    module JUMP
      ports >i <j
    module TILE
      inst s SOURCE header
      inst x THROUGH header
      inst j JUMP header
      inst d TARGET header
      inst m MUX header
      net n s.o x.i m.a
      net q x.o j.i
      net p j.j d.i
      net r d.o
      net t m.o
    module TOP top
      inst t TILE
      inst u TILE
)";

void describe_tunnel(BUILD_CASE& c) {
  c.arcs("MUX", {"a"}, "o");
  test_model::describe_tunnel(c);
}

TEST_F(FanoutCacheBuild, ServesTheSearchThroughATunnel) {
  BUILD_CASE c(TUNNEL);
  describe_tunnel(c);
  c.arcs("JUMP", {"i"}, "j", true);
  build(c, 4, 4);
  EXPECT_THAT(c.edges(), IsSupersetOf({"u/s:o -> u/x:o via u/x:i", "u/s:o -> u/m:o via u/m:a",
                                       "u/s:o -> u/d:o via u/d:i"}));
}

// Without the tunnel the search stays in the tile; through it, each tile of a pair leads to another target.
TEST_F(FanoutCacheBuild, KeepsWhatLiesBehindATunnelWhereItComesAgain) {
  BUILD_CASE c(test_model::TUNNEL_MODULES + R"(
    module TILE
      ports <p
      inst s SOURCE header
      inst x THROUGH header
      net n s.o x.i
      net q x.o p
    module PAIR
      inst t TILE
      inst u TILE
      inst d TARGET header
      inst e TARGET header
      net n t.p d.i
      net q u.p e.i
      net r d.o
      net v e.o
    module TOP top
      inst a PAIR
      inst b PAIR
  )");
  test_model::describe_tunnel(c);
  build(c, 6, 6);
  for (const char* pair : {"a", "b"})
    for (const auto& [tile, target] : {std::pair("t", "d"), std::pair("u", "e")}) {
      const std::string to = std::string(pair) + "/" + target;
      EXPECT_THAT(c.edges(),
                  Contains(std::string(pair) + "/" + tile + "/s:o -> " + to + ":o via " + to + ":i"));
    }
}

TEST_F(FanoutCacheBuild, KeepsNothingThatRefusedAFlyoverBehindATunnel) {
  BUILD_CASE c(TUNNEL);
  describe_tunnel(c);
  c.parse().add_routing_flyover(c.model().port("JUMP:i"), c.model().port("JUMP:j"));
  c.db()->get_legacy_api()->set_spare_row(c.model().unfolded_instance("u/j"), true);
  build(c, 2, 2 + 4); // s and x meet the jump
  EXPECT_THAT(c.edges(), Contains("u/s:o -> u/d:o via u/d:i"));
  EXPECT_THAT(c.edges(), Not(Contains("t/s:o -> t/d:o via t/d:i")));
}

TEST_F(FanoutCacheBuild, KeepsNothingThatEndedWhereNodesStand) {
  BUILD_CASE c(R"(
    module PIN
      ports >x <y
    module MUX
      ports >a <o
    module BLK group=blk ip_root
      ports >i <o
    module BLK_BLC group=blk view=BLC ip_root
      ports >i <o
      inst c1 PIN
      inst c2 PIN
      net n1 i c1.x
      net n2 c1.y c2.x
      net n3 c2.y o
    module TILE
      inst m MUX header
      inst b BLK header
      net n m.o b.i
      net q b.o m.a
    module TOP top
      inst t TILE
      inst u TILE
  )");
  c.arcs("MUX", {"a"}, "o");
  c.parse().add_routing_root(c.model().module("BLK"), 2);
  c.build();
  const auto [hits, misses] = counters(c);
  EXPECT_GT(hits, 0U) << "m and the output of the block are searched without a question for nodes";
  EXPECT_GT(misses, hits) << "what lies inside the block is searched at each place";
  EXPECT_THAT(c.edges(), Contains("u/b/c1:y -> u/b/c2:x"));
  build_again_without(c);
}

// A search ends at the inserted port, but goes on from it by the flyover of a spare row.
TEST_F(FanoutCacheBuild, KeepsWhatEndsAtATwoWayFlyoverInputThatIsInsertedButNothingFromThere) {
  for (const bool has_attributes : {false, true}) {
    BUILD_CASE c(R"(
      module MUX
        ports >a <o
      module OVER
        ports =i <j
      module TILE
        inst m MUX header
        inst s OVER header
        inst k MUX header
        net n m.o s.i
        net q s.j k.a
        net r k.o
      module TOP top type=2
        inst t TILE
        inst u TILE
        inst v TILE
    )");
    c.arcs("MUX", {"a"}, "o");
    c.insert("OVER:i");
    c.parse().add_routing_flyover(c.model().port("OVER:i"), c.model().port("OVER:j"));
    if (has_attributes) c.db()->get_legacy_api()->set_spare_row(c.model().unfolded_instance("u/s"), true);
    // m:o, s:i and k:o, in three tiles.
    if (has_attributes)
      build(c, 4, 5);
    else
      build(c, 6, 3);
    EXPECT_THAT(c.edges(), Contains("t/m:o -> t/s:i"));
    EXPECT_THAT(c.edges(), Not(Contains("t/s:i -> t/k:o via t/k:a")));
    EXPECT_EQ(testing::Value(c.edges(), Contains("u/s:i -> u/k:o via u/k:a")), has_attributes);
    EXPECT_THAT(c.edges(), Not(Contains("v/s:i -> v/k:o via v/k:a")));
  }
}

} // namespace fanout_cache_place_test
