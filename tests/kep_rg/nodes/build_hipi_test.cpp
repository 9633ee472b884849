#include "kep_report/kep_report_profiler.h"
#include "tests/support/build_case.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace build_hipi_test {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using ACCESS = KEP_RG_TEST_ACCESS;
using HIPI = KEP_ROUTING_PRIMITIVE_HIPI;

const char* const MODEL = R"(
  module NONE
    ports >a >b <o
  module M
    ports >a >b <o
  module T
    ports >a <o
  module P
    ports >a <o
  module TOP top type=1
    ports >in
    inst n NONE header
    inst m M header
    inst t T header
    inst p P header
    net w1 in n.a
    net w2 n.o m.a m.b
    net w3 m.o t.a
    net w4 t.o p.a
    net w5 p.o n.b
)";

void describe(BUILD_CASE& c) {
  c.arcs("NONE", {"a", "b"}, "o");
  c.arcs("M", {"a"}, "o", false, HIPI::M);
  c.arcs("M", {"b"}, "o");
  c.arcs("T", {"a"}, "o", false, HIPI::T);
  c.arcs("P", {"a"}, "o", false, HIPI::P);
}

TEST(BuildHipi, MakesTwinsAtPortsOfTypesMAndTBehindAllPlainNodes) {
  BUILD_CASE c(MODEL);
  describe(c);
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("n:o", "m:o", "t:o", "p:o", ":in", "m:o*", "t:o*"));
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes, 4U);
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes_hipi, 2U);
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes_boundary, 1U);
}

TEST(BuildHipi, RegistersTheTwinBesideThePlainNode) {
  BUILD_CASE c(MODEL);
  describe(c);
  c.build_nodes();
  const KEP_UNFOLDED_INST_PORT uip = c.model().uip("m:o");
  const auto [plain, twin] = c.builder().get_node_cache().find_both_routing_nodes(uip);
  ASSERT_TRUE(plain && twin);
  EXPECT_FALSE(plain->is_hipi());
  EXPECT_TRUE(twin->is_hipi());
  EXPECT_EQ(twin->get_unfolded_inst_port(), uip);
  EXPECT_EQ(c.builder().get_node_cache().find_routing_node(uip), plain);
}

TEST(BuildHipi, NeverLooksAtABoundaryNode) {
  BUILD_CASE c(MODEL);
  describe(c);
  c.store()->add_hipi(c.model().port("TOP:in"), HIPI::M);
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), Contains(":in").Times(1));
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes_hipi, 2U);
}

TEST(BuildHipi, DoesNothingWhenItIsSwitchedOff) {
  BUILD_CASE c(MODEL);
  describe(c);
  ACCESS::disable_hipi(c.builder());
  KEP_REPORT::reset_profile();
  EXPECT_THAT(c.build(), Contains("Add hipi..."));
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes_hipi, 0U);
  EXPECT_THAT(c.edges(),
              UnorderedElementsAre(":in -> n:o via n:a", "n:o -> m:o via m:a", "n:o -> m:o via m:b",
                                   "m:o -> t:o via t:a", "t:o -> p:o via p:a", "p:o -> n:o via n:b"));
  const std::vector<KEP_REPORT::PROFILE_SECTION> profile = KEP_REPORT::get_profile();
  ASSERT_FALSE(profile.empty());
  for (const KEP_REPORT::PROFILE_SECTION& section : profile[0].m_children)
    EXPECT_NE(section.m_name, "KEP_RG_BUILD::add_nodes_hipi");
}

TEST(BuildHipi, RedirectsTheEdgesThroughInputsOfTypesMAndTToTheTwin) {
  BUILD_CASE c(MODEL);
  describe(c);
  c.build();
  EXPECT_THAT(c.edges(), UnorderedElementsAre(":in -> n:o via n:a", "n:o -> m:o* via m:a",
                                              "n:o -> m:o via m:b", "m:o* -> m:o", "m:o -> t:o* via t:a",
                                              "t:o* -> t:o", "t:o -> p:o via p:a", "p:o -> n:o via n:b"));
}

TEST(BuildHipi, FailsForAUipWithoutAPlainNode) {
  BUILD_CASE c(MODEL);
  describe(c);
  ACCESS::prepare_nodes(c.builder());
  const std::string text =
      failure_text([&] { ACCESS::create_node_hipi(c.builder(), c.model().uip("m:o"), false); });
  EXPECT_EQ(text, "Must have existing routing node for uip = m:o from function "
                  "KEP_RG_BUILD::create_node_hipi in kep_rg/kep_rg_build.cpp@LINE");
  EXPECT_THAT(c.built_nodes(), IsEmpty());
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes_hipi, 0U);
}

TEST(BuildHipi, MakesATwinAloneForACallerThatNeedsNoPlainNode) {
  BUILD_CASE c(MODEL);
  describe(c);
  ACCESS::prepare_nodes(c.builder());
  EXPECT_TRUE(ACCESS::create_node_hipi(c.builder(), c.model().uip("m:o"), true));
  EXPECT_THAT(c.built_nodes(), ElementsAre("m:o*"));
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes_hipi, 1U);
}

TEST(BuildHipi, EliminatesAPortThatIsExcludedBeforeItAsksForThePlainNode) {
  BUILD_CASE c(R"(
    module M
      ports >a <o
    module TOP top
      inst m M header
  )");
  c.arcs("M", {"a"}, "o", false, HIPI::M);
  ACCESS::prepare_nodes(c.builder());
  EXPECT_TRUE(ACCESS::create_node_hipi(c.builder(), c.model().uip("m:o"), false));
  EXPECT_THAT(c.built_nodes(), IsEmpty());
  EXPECT_EQ(c.builder().get_node_stats().m_eliminated_num_nodes, 1U);
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes_hipi, 0U);
}

TEST(BuildHipi, GathersUipsForDebuggingInsteadOfNodesWhenAllocationIsOff) {
  BUILD_CASE c(MODEL);
  describe(c);
  ACCESS::disable_node_allocation(c.builder());
  EXPECT_TRUE(ACCESS::create_node_hipi(c.builder(), c.model().uip("m:o"), false, false));
  EXPECT_THAT(ACCESS::debug_uips(c.builder()), IsEmpty());
  EXPECT_TRUE(ACCESS::create_node_hipi(c.builder(), c.model().uip("t:o"), false, true));
  EXPECT_THAT(ACCESS::debug_uips(c.builder()), ElementsAre(c.model().uip("t:o")));
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes_hipi, 2U);
  EXPECT_THAT(c.built_nodes(), IsEmpty());
}

} // namespace build_hipi_test
