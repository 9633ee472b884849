#include "tests/support/build_case.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace build_count_test {

using testing::Contains;
using testing::UnorderedElementsAre;
using ACCESS = KEP_RG_TEST_ACCESS;

struct COUNTED {
  std::size_t m_n;
  std::size_t m_boundary;
};

COUNTED counted(BUILD_CASE& c) {
  std::size_t boundary = 0;
  const std::size_t n = ACCESS::count(c.builder(), boundary);
  return {n, boundary};
}

TEST(BuildCount, FindsNothingInATopWithoutInstances) {
  for (const int type : {0, 2}) {
    BUILD_CASE c("module TOP top type=" + std::to_string(type) + "\n ports >a <b =c");
    c.store()->initialize();
    EXPECT_EQ(counted(c).m_n, 0U);
    EXPECT_EQ(counted(c).m_boundary, 0U) << type;
  }
}

TEST(BuildCount, CountsThePortsOfTheTopOnlyWhereTheyAreRouted) {
  BUILD_CASE c("module TOP top type=1\n ports >a <b =c");
  c.store()->initialize();
  EXPECT_EQ(counted(c).m_n, 0U);
  EXPECT_EQ(counted(c).m_boundary, 3U);
  EXPECT_THAT(c.build_nodes(), Contains("Counted n_nodes = 3"));
  EXPECT_EQ(c.builder().get_counted_n(), 0U);
  EXPECT_EQ(c.builder().get_counted_boundary(), 3U);
}

TEST(BuildCount, AddsOneForEachPortOfAMuxThatIsNoArcInput) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >b <o <p <alone
    module TOP top
      inst m MUX
  )");
  c.arcs("MUX", {"a", "b"}, "o");
  c.arcs("MUX", {"a"}, "p");
  EXPECT_EQ(counted(c).m_n, 2U) << "a port without an arc takes no part";
  EXPECT_EQ(ACCESS::count_mux(c.builder(), c.model().module("MUX"), false), 2U);
  EXPECT_EQ(ACCESS::count_mux(c.builder(), c.model().module("MUX"), true), 0U);
}

TEST(BuildCount, WalksAMasterOnceAndCountsItForEachInstance) {
  std::string text = "module MUX\n ports >a <o\n"
                     "module TILE\n inst m MUX\n inst k MUX\n"
                     "module TOP top\n";
  for (int i = 0; i != 1000; ++i)
    text += " inst t" + std::to_string(i) + " TILE\n";
  BUILD_CASE c(text);
  c.arcs("MUX", {"a"}, "o");
  EXPECT_EQ(counted(c).m_n, 2000U);
  EXPECT_THAT(ACCESS::module_counts(c.builder()),
              UnorderedElementsAre(std::pair(c.model().module("TILE"), 2U),
                                   std::pair(c.model().module("TOP"), 2000U)));
}

TEST(BuildCount, TakesTheCountOfAMasterThatIsKnown) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TILE
      inst m MUX
    module TOP top
      inst t TILE
      inst u TILE
  )");
  c.arcs("MUX", {"a"}, "o");
  ACCESS::module_counts(c.builder())[c.model().module("TILE")] = 40;
  EXPECT_EQ(counted(c).m_n, 80U);
}

TEST(BuildCount, GivesTheSameNumbersASecondTime) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top type=1
      ports >in <out
      inst m MUX
  )");
  c.arcs("MUX", {"a"}, "o");
  for (int i = 0; i != 3; ++i) {
    const COUNTED found = counted(c);
    EXPECT_EQ(found.m_n, 1U);
    EXPECT_EQ(found.m_boundary, 2U);
  }
}

TEST(BuildCount, AddsOnlyTheInsertedNodesOfAnIpRootThatIsNotRouted) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module IP ip_root
      ports >i <o <p
      inst m MUX
    module TOP top
      inst ip IP header
      inst m MUX
  )");
  c.arcs("MUX", {"a"}, "o");
  c.insert("IP:o");
  c.insert("IP:p");
  EXPECT_EQ(counted(c).m_n, 3U);
}

TEST(BuildCount, AddsInsertedPortsToWhateverElseAnInstanceGives) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module BLK
      ports >i
      inst m MUX
    module TOP top
      inst m MUX
      inst b BLK
  )");
  c.arcs("MUX", {"a"}, "o");
  c.insert("MUX:o"); // counted twice: as inserted and as an output of the mux
  c.insert("BLK:i");
  EXPECT_EQ(counted(c).m_n, 5U);
}

TEST(BuildCount, CountsOutputsOfSkipMuxesNot) {
  BUILD_CASE c(R"(
    module SB
      ports >i <o
    module TOP top
      inst s SB header
  )");
  c.arcs("SB", {"i"}, "o", true);
  EXPECT_EQ(counted(c).m_n, 0U);
}

TEST(BuildCount, GoesIntoARoutedIpRoot) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module ROOT ip_root
      inst m MUX
      inst k MUX
    module TOP top
      inst r ROOT
      inst s ROOT
  )");
  c.arcs("MUX", {"a"}, "o");
  c.parse().add_routing_root(c.model().module("ROOT"), 0);
  EXPECT_EQ(counted(c).m_n, 4U);
}

TEST(BuildCount, CountsAllPortsInsideABlcAndThoseOfItsOwnThatTakePart) {
  BUILD_CASE c(R"(
    module PIN
      ports >x <y
    module CELL
      ports >in >en <out
      inst p PIN
    module BLK group=blk ip_root
      ports >i <o
    module BLK_BLC group=blk view=BLC ip_root
      ports >i <o
      inst c1 CELL atom
      inst c2 CELL
    module TOP top
      inst b BLK header
  )");
  c.parse().add_routing_root(c.model().module("BLK"), 2);
  c.insert("BLK:o"); // kept on the BLC module: one of its ports that take part, and an inserted port
  EXPECT_EQ(counted(c).m_n, 2U * (3U + 2U) + 1U + 1U);
}

TEST(BuildCount, LooksAtTheDesignatedTopWhereNodesAreMadeBelowTheFirstOfTheRank) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top group=top
      inst m MUX header
      inst k MUX header
      net n m.o k.a
      net q k.o m.a
    module TOP_BLC group=top view=BLC
      inst m MUX header
      net n m.o m.a
  )");
  c.arcs("MUX", {"a"}, "o");
  EXPECT_EQ(counted(c).m_n, 2U);
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), testing::ElementsAre("m:o"));
}

} // namespace build_count_test
