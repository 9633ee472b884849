#include "tests/support/build_case.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace build_nodes_debug_test {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using ACCESS = KEP_RG_TEST_ACCESS;

const char* const LINE = "-------------------------------------------";

const char* const MODEL = R"(
  module MUX
    ports >a <o
  module TILE
    ports <out
    inst m1 MUX header
    inst m2 MUX header
    net n m1.o m2.a
    net p m2.o out m1.a
  module TOP top type=1
    ports <z
    inst a MUX header
    inst b MUX header
    inst c TILE
    net n a.o b.a
    net p b.o a.a
    net q c.out z
)";

KEP_UNFOLDED_MODULE top(const BUILD_CASE& c) {
  return c.db()->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
}

TEST(BuildNodesDebug, TellsOfTheSelectedInstanceAndOfAllItsLaterSiblings) {
  BUILD_CASE c(MODEL);
  c.arcs("MUX", {"a"}, "o");
  ACCESS::prepare_nodes(c.builder());
  ACCESS::debug_instance(c.builder(), c.model().unfolded_instance("b"));
  c.report([&] { ACCESS::add_nodes_module(c.builder(), top(c), false); });
  ASSERT_GE(c.debug_lines().size(), 9U);
  EXPECT_THAT(std::vector<std::string>(c.debug_lines().begin(), c.debug_lines().begin() + 9),
              ElementsAre(LINE, "u_instance: b", " master: MUX", " get_module_type: 0", "add_mux: b:o", LINE,
                          "u_instance: c", " master: TILE", " get_module_type: 5"));
  EXPECT_THAT(c.debug_lines(), Contains("add_mux: c/m2:o")) << "what is below a sibling is told too";
  EXPECT_THAT(c.debug_lines(), Not(Contains("add_mux: a:o")));
  EXPECT_THAT(c.built_nodes(), ElementsAre("a:o", "b:o", "c/m1:o", "c/m2:o"));
}

TEST(BuildNodesDebug, StaysQuietWithoutASelection) {
  BUILD_CASE c(MODEL);
  c.arcs("MUX", {"a"}, "o");
  c.build_nodes();
  EXPECT_THAT(c.debug_lines(), IsEmpty());
}

TEST(BuildNodesDebug, WalksOnlyTheMasterOfTheSelectedInstance) {
  BUILD_CASE c(MODEL);
  c.arcs("MUX", {"a"}, "o");
  ACCESS::debug_instance(c.builder(), c.model().unfolded_instance("c"));
  EXPECT_THAT(c.build_nodes(), Contains("node_count=2 m_created_num_nodes=2 m_created_num_nodes_hipi=0 "
                                        "m_created_num_nodes_boundary=0"));
  EXPECT_THAT(c.built_nodes(), ElementsAre("c/m1:o", "c/m2:o")) << "no boundary nodes either";
  EXPECT_THAT(c.debug_lines(), Contains("add_mux: c/m1:o"));
  EXPECT_THAT(c.debug_lines(), Not(Contains(" master: TILE")));
}

TEST(BuildNodesDebug, GathersWhatItWouldMakeWhenAllocationIsOff) {
  BUILD_CASE c(MODEL);
  c.arcs("MUX", {"a"}, "o");
  ACCESS::disable_node_allocation(c.builder());
  ACCESS::debug_instance(c.builder(), c.model().unfolded_instance("c"));
  const std::vector<std::string> lines = c.build_nodes();
  EXPECT_THAT(lines, Not(Contains(HasSubstr("node_count="))));
  EXPECT_THAT(lines, Contains("   Created Total nodes = 2"));
  EXPECT_THAT(c.built_nodes(), IsEmpty());
  EXPECT_THAT(ACCESS::debug_uips(c.builder()), ElementsAre(c.model().uip("c/m1:o"), c.model().uip("c/m2:o")));
  EXPECT_THAT(ACCESS::debug_ports(c.builder()), IsEmpty());
}

TEST(BuildNodesDebug, GathersPortsOfTheTopWhenAllocationIsOff) {
  BUILD_CASE c(MODEL);
  c.arcs("MUX", {"a"}, "o");
  ACCESS::disable_node_allocation(c.builder());
  c.report([&] { ACCESS::add_nodes(c.builder(), true); });
  EXPECT_THAT(ACCESS::debug_uips(c.builder()), testing::SizeIs(4));
  EXPECT_THAT(ACCESS::debug_ports(c.builder()), ElementsAre(c.model().port("TOP:z")));
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes_boundary, 1U);
  EXPECT_EQ(c.builder().get_builder_graph()->get_node_count(), 0U);
}

TEST(BuildNodesDebug, GathersNothingWithoutDebugging) {
  BUILD_CASE c(MODEL);
  c.arcs("MUX", {"a"}, "o");
  ACCESS::disable_node_allocation(c.builder());
  c.build_nodes();
  EXPECT_THAT(ACCESS::debug_uips(c.builder()), IsEmpty());
  EXPECT_THAT(ACCESS::debug_ports(c.builder()), IsEmpty());
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes, 4U);
  EXPECT_EQ(c.builder().get_node_stats().m_repeated_num_nodes, 0U);
}

} // namespace build_nodes_debug_test
