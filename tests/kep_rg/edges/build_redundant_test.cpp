#include "kep_report/kep_report_profiler.h"
#include "tests/support/build_case.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace build_redundant_test {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using ACCESS = KEP_RG_TEST_ACCESS;

// Two tiles; in each m1 drives both inputs of m2, which has two outputs.
const char* const MODEL = R"(
  module MUX
    ports >a >b <o <p
  module TILE
    inst m1 MUX header
    inst m2 MUX header
    net n m1.o m2.a m2.b
    net q m2.o
    net r m2.p
  module TOP top
    inst t TILE
    inst u TILE
)";

void describe(BUILD_CASE& c) {
  c.arcs("MUX", {"a", "b"}, "o");
  c.arcs("MUX", {"a"}, "p");
}

std::vector<std::string> read_redundant_inputs(BUILD_CASE& c) {
  return c.report([&] { c.builder().build_redundant_inputs(); });
}

TEST(BuildRedundantInputs, AreReadOnce) {
  BUILD_CASE c(MODEL);
  describe(c);
  c.mark_redundant("TILE/m2:a");
  EXPECT_THAT(read_redundant_inputs(c), ElementsAre("m_redundant_inputs.size() = 2"));
  EXPECT_THAT(ACCESS::redundant_inputs(c.builder()),
              UnorderedElementsAre(c.model().uip("t/m2:a"), c.model().uip("u/m2:a")));
  KEP_REPORT::reset_profile();
  c.mark_redundant("TILE/m2:b");
  EXPECT_THAT(read_redundant_inputs(c), IsEmpty());
  EXPECT_THAT(KEP_REPORT::get_profile(), IsEmpty()) << "it returns before a section opens";
  EXPECT_EQ(ACCESS::redundant_inputs(c.builder()).size(), 2U);
}

TEST(BuildRedundantInputs, AreLookedForAgainWhileThereAreNone) {
  BUILD_CASE c(MODEL);
  describe(c);
  for (int i = 0; i != 2; ++i)
    EXPECT_THAT(read_redundant_inputs(c), ElementsAre("m_redundant_inputs.size() = 0"));
  c.mark_redundant("TILE/m2:a");
  EXPECT_THAT(read_redundant_inputs(c), ElementsAre("m_redundant_inputs.size() = 2"));
}

TEST(BuildRedundantInputs, AreNotKnownWhenNodesAreMadeUnlessTheCallerReadThem) {
  BUILD_CASE plain(MODEL);
  describe(plain);
  plain.mark_redundant("TILE/m2:a");
  EXPECT_THAT(plain.build(), Contains("      Redundant inputs = 0"));
  EXPECT_EQ(ACCESS::redundant_inputs(plain.builder()).size(), 2U);

  BUILD_CASE early(MODEL);
  describe(early);
  early.mark_redundant("TILE/m2:a");
  read_redundant_inputs(early);
  EXPECT_THAT(early.build_nodes(), Contains("      Redundant inputs = 2"));
}

TEST(BuildRedundantInputs, PutAllOutputsOfTheirMuxIntoTheRedundantList) {
  BUILD_CASE c(MODEL);
  describe(c);
  c.mark_redundant("TILE/m2:a");
  c.build();
  EXPECT_THAT(c.edges(), ElementsAre("t/m1:o -> t/m2:o via t/m2:b", "t/m1:o ~> t/m2:o via t/m2:a",
                                     "t/m1:o ~> t/m2:p via t/m2:a", "u/m1:o -> u/m2:o via u/m2:b",
                                     "u/m1:o ~> u/m2:o via u/m2:a", "u/m1:o ~> u/m2:p via u/m2:a"));
  EXPECT_EQ(c.builder().get_edge_stats().n_edges, 2U);
  EXPECT_EQ(c.builder().get_edge_stats().n_redundant_edges, 4U);
}

TEST(BuildRedundantInputs, AreRedundantAsTargetsOfTheirOwnToo) {
  BUILD_CASE c(MODEL);
  describe(c);
  c.insert("MUX:a");
  c.mark_redundant("TILE/m2:a");
  c.build();
  EXPECT_THAT(c.edges(), UnorderedElementsAre("t/m1:o -> t/m2:o via t/m2:b", "t/m1:o ~> t/m2:a",
                                              "t/m2:a -> t/m2:o via t/m2:a", "t/m2:a -> t/m2:p via t/m2:a",
                                              "u/m1:o -> u/m2:o via u/m2:b", "u/m1:o ~> u/m2:a",
                                              "u/m2:a -> u/m2:o via u/m2:a", "u/m2:a -> u/m2:p via u/m2:a"));
}

TEST(BuildRedundantInputs, LeaveOutputsAlone) {
  BUILD_CASE c(MODEL);
  describe(c);
  c.insert("MUX:o");
  c.mark_redundant("TILE/m2:o");
  c.build();
  EXPECT_EQ(c.builder().get_edge_stats().n_redundant_edges, 0U);
  EXPECT_EQ(c.builder().get_edge_stats().n_edges, 6U);
}

} // namespace build_redundant_test
