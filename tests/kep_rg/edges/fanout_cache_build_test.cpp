#include "tests/kep_rg/edges/fanout_cache_build_fixture.h"
#include "tests/support/representative_rows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace fanout_cache_build_test {

using namespace fanout_cache_build;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;
using ACCESS = KEP_RG_TEST_ACCESS;

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

TEST_F(FanoutCacheBuild, KeepsTheOutputsOfAnInsertedMuxInput) {
  BUILD_CASE c(device(TILE, TWO_TILES));
  describe(c);
  c.insert("MUX:a");
  build(c, 3, 3);
  EXPECT_THAT(c.edges(), IsSupersetOf({"t/m2:a -> t/m2:o via t/m2:a", "u/m2:a -> u/m2:o via u/m2:a"}));
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

} // namespace fanout_cache_build_test
