#include "tests/support/build_case.h"
#include "tests/support/representative_rows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace fanout_cache_build_test {

using testing::Contains;
using testing::IsSupersetOf;
using testing::Not;
using testing::UnorderedElementsAre;
using ACCESS = KEP_RG_TEST_ACCESS;

/// Modules that the tests share; the lines of TILE and TOP are theirs.
std::string device(const std::string& tile, const std::string& top, int type = 2) {
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
const char* const TILE = R"(
      inst m1 MUX header
      inst m2 MUX header
      net n m1.o m2.a
      net q m2.o
)";
const char* const TWO_TILES = "inst t TILE\n inst u TILE\n";

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
    ACCESS::disable_fanout_cache(c.builder());
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
    ACCESS::search_all(c.builder());
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

TEST_F(FanoutCacheBuild, AnswersForTheLikeNodesOfALaterTile) {
  BUILD_CASE c(device(TILE, TWO_TILES));
  describe(c);
  build(c, 2, 2);
  EXPECT_THAT(c.edges(), UnorderedElementsAre("t/m1:o -> t/m2:o via t/m2:a", "u/m1:o -> u/m2:o via u/m2:a"));
}

TEST_F(FanoutCacheBuild, ServesADeviceWhoseTopPortsAreRouted) {
  BUILD_CASE c(device(TILE, std::string("ports >x <y\n") + TWO_TILES + "net n x t.p\n", 1));
  describe(c);
  build(c, 2, 3); // the boundary input is searched
}

TEST_F(FanoutCacheBuild, IsIdleWithoutRedundancy) {
  BUILD_CASE c(device(TILE, TWO_TILES, 0));
  describe(c);
  build(c, 0, 4);
}

TEST_F(FanoutCacheBuild, KeepsNothingThatLeftForTheTopOfTheDevice) {
  BUILD_CASE c(
      device("inst m MUX header\n net n m.o m.a p\n", TWO_TILES + std::string("net n t.p\n net q u.p\n")));
  describe(c);
  build(c, 0, 2);
}

// The ways through b stand alone: none of their ends has a net outside.
TEST_F(FanoutCacheBuild, KeepsNoAnswerOfWhichNoUipHasANet) {
  BUILD_CASE c(R"(
    module THROUGH
      ports >i <o
      net n i o
    module TILE
      inst b THROUGH
    module TOP top
      inst t TILE
      inst u TILE
  )");
  c.insert("THROUGH:i");
  c.insert("THROUGH:o");
  build(c, 0, 4);
  EXPECT_THAT(c.edges(), UnorderedElementsAre("t/b:i -> t/b:o", "u/b:i -> u/b:o"));
}

// The first tile in the order of the nodes lies in the row, the first in that of the occurrences beside it.
TEST_F(FanoutCacheBuild, NotesTheModuleOfAnAnswer) {
  std::string model = device(TILE, "inst r ROW\n inst u TILE\n");
  model.insert(model.find("module TOP"), "module ROW\n inst t TILE\n");
  BUILD_CASE c(model);
  describe(c);
  c.build();
  EXPECT_EQ(counters(c), std::pair(std::uint64_t{2}, std::uint64_t{2}));
  const std::vector<std::string> rows = test_model::representative_rows(c.builder());
  EXPECT_EQ(rows, std::vector<std::string>{"u/m1:o below u"});
  c.drop_builder();
  ACCESS::disable_fanout_cache(c.builder());
  c.build();
  EXPECT_EQ(test_model::representative_rows(c.builder()), rows);
}

TEST_F(FanoutCacheBuild, IsOfNoUseAtAPlaceThatIsTheOnlyOne) {
  BUILD_CASE c(device(TILE, "inst t TILE\n"));
  describe(c);
  build(c, 0, 2);
}

TEST_F(FanoutCacheBuild, ServesEveryPlaceOfTheModuleThatEnclosesTheSearch) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module SUB
      ports =p
      inst m1 MUX header
      inst m2 MUX header
      net n m1.o m2.a
      net q m2.o p
    module TILE
      inst s1 SUB
      inst s2 SUB
      inst m MUX header
      net n s1.p m.a
      net q s2.p m.o
    module TOP top
      inst t TILE
      inst u TILE
      inst v SUB
  )");
  c.arcs("MUX", {"a"}, "o");
  // m1 stays in SUB: five places, one search. m2 leaves SUB, which has a place for each of its two instances
  // in TILE and one in the top; m likewise stays in TILE.
  build(c, 4 + 2 + 1, 1 + 3 + 1);
  EXPECT_THAT(c.edges(), IsSupersetOf({"t/s1/m2:o -> t/m:o via t/m:a", "u/s1/m2:o -> u/m:o via u/m:a"}));
}

TEST_F(FanoutCacheBuild, LeavesItToThePlaceWhichInputsAreRedundant) {
  BUILD_CASE c(device("inst m MUX header\n inst k TWO header\n net n m.o k.a k.b\n net q k.o\n", TWO_TILES));
  describe(c);
  c.db()
      ->find_or_create_relative_paths("redundancy")
      .find_or_create_paths_for_module(c.model().module("TOP"))
      .add_path({c.model().instance("TOP/u"), c.model().instance("TILE/k")}, c.model().port("TWO:a"));
  build(c, 2, 2);
  EXPECT_THAT(c.edges(), UnorderedElementsAre("t/m:o -> t/k:o via t/k:a", "t/m:o -> t/k:o via t/k:b",
                                              "u/m:o -> u/k:o via u/k:b", "u/m:o ~> u/k:o via u/k:a"));
}

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

TEST_F(FanoutCacheBuild, KeepsTheOutputsOfAnInsertedMuxInput) {
  BUILD_CASE c(device(TILE, TWO_TILES));
  describe(c);
  c.insert("MUX:a");
  build(c, 3, 3);
  EXPECT_THAT(c.edges(), IsSupersetOf({"t/m2:a -> t/m2:o via t/m2:a", "u/m2:a -> u/m2:o via u/m2:a"}));
}

// s drives the tunnel x; behind its way through a jump leads to d.
const char* const TUNNEL = R"(
    module MUX
      ports >a <o
    module JUMP
      ports >i <j
    module SOURCE
      ports >i <o
    module THROUGH
      ports >i <o
      net way i o
    module TARGET
      ports >i <o
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
  int type = 0;
  c.arcs("MUX", {"a"}, "o");
  for (const char* key : {"SOURCE", "THROUGH", "TARGET"}) {
    c.arcs(key, {"i"}, "o");
    c.parse().add_tunnel_type(c.model().module(key), static_cast<KEP_ROUTING_PRIMITIVE_TUNNEL>(++type));
  }
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
  BUILD_CASE c(R"(
    module SOURCE
      ports >i <o
    module THROUGH
      ports >i <o
      net way i o
    module TARGET
      ports >i <o
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
  int type = 0;
  for (const char* key : {"SOURCE", "THROUGH", "TARGET"}) {
    c.arcs(key, {"i"}, "o");
    c.parse().add_tunnel_type(c.model().module(key), static_cast<KEP_ROUTING_PRIMITIVE_TUNNEL>(++type));
  }
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

// A range is cut in two while it holds more than ten thousand nodes. Each one that begins anew searches what
// it meets first.
TEST_F(FanoutCacheBuild, ForgetsWhatARangeLearned) {
  std::string top;
  for (int i = 0; i != 30000; ++i)
    top += "inst t" + std::to_string(i) + " TILE\n";
  BUILD_CASE c(device(TILE, top));
  describe(c);
  const std::vector<std::string> lines = c.build(KEP_RG_BUILD_PARAMS().set_nodes_per_display(1));
  const auto ranges =
      static_cast<std::uint64_t>(std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find("% done)") != std::string::npos;
      }));
  ASSERT_GE(ranges, 2U);
  EXPECT_EQ(counters(c), std::pair(60000 - 2 * ranges, 2 * ranges));
}

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
  ACCESS::keep_all_answers(c.builder());
  c.build();
  EXPECT_EQ(counters(c), std::pair(hits, misses));
  build_again_without(c);
}

} // namespace fanout_cache_build_test
