#include "tests/support/build_case.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

namespace build_nodes_test {

using testing::ElementsAre;
using testing::IsEmpty;
using ACCESS = KEP_RG_TEST_ACCESS;

const KEP_RG_NODE_CREATION_STATS& stats(BUILD_CASE& c) {
  return c.builder().get_node_stats();
}

// Tiles of two muxes; every output has a net.
const char* const TILES = R"(
  module MUX
    ports >a >b <o
  module TILE
    ports >in <out
    inst m1 MUX header
    inst m2 MUX header
    net n in m1.a
    net p m1.o m2.a
    net q m2.o out m1.b
  module TOP top
    inst t0 TILE
    inst t1 TILE
    net n t0.out t1.in
    net q t1.out t0.in
)";

TEST(BuildNodes, StandAtTheOutputsOfMuxesInTheOrderOfTheWalk) {
  BUILD_CASE c(TILES);
  c.arcs("MUX", {"a", "b"}, "o");
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("t0/m1:o", "t0/m2:o", "t1/m1:o", "t1/m2:o"));
  EXPECT_EQ(stats(c).m_created_num_nodes, 4U);
  EXPECT_EQ(stats(c).m_created_num_nodes_inserted, 0U);
}

TEST(BuildNodes, NeedAWireTypeWhereTheInstanceHasNoHeader) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o <p
    module TOP top
      inst bare MUX
      inst typed MUX
      inst headed MUX header
      net n bare.o typed.a
      net q typed.o headed.a
      net r headed.o bare.a
      net np bare.p typed.p headed.p
  )");
  c.arcs("MUX", {"a"}, "o");
  c.arcs("MUX", {"a"}, "p");
  c.store()->add_wire_type(
      KEP_RELATIVE_PATH::create({c.model().instance("TOP/typed")}, c.model().port("MUX:o")), "short", 0);
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("typed:o", "headed:o", "headed:p"));
  EXPECT_EQ(stats(c).m_eliminated_num_nodes, 0U);
}

TEST(BuildNodes, AreMadeOnceForAPortThatIsInsertedAndAnOutputOfAMux) {
  BUILD_CASE c(TILES);
  c.arcs("MUX", {"a", "b"}, "o");
  c.insert("MUX:o");
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("t0/m1:o", "t0/m2:o", "t1/m1:o", "t1/m2:o"));
  EXPECT_EQ(stats(c).m_created_num_nodes, 4U);
  EXPECT_EQ(stats(c).m_created_num_nodes_inserted, 4U);
  EXPECT_EQ(stats(c).m_repeated_num_nodes, 4U);
}

TEST(BuildNodes, GiveTrueWhenMadeAndFalseWhenTheyStandThereAlready) {
  BUILD_CASE c(TILES);
  c.arcs("MUX", {"a", "b"}, "o");
  ACCESS::prepare_nodes(c.builder());
  const KEP_UNFOLDED_INST_PORT uip = c.model().uip("t0/m1:o");
  EXPECT_TRUE(ACCESS::create_node(c.builder(), uip, ACCESS::CREATE_TYPE_BLC_TRAIT));
  EXPECT_FALSE(ACCESS::create_node(c.builder(), uip, ACCESS::CREATE_TYPE_INSERTED));
  EXPECT_EQ(c.builder().get_builder_graph()->get_node_count(), 1U);
  EXPECT_EQ(stats(c).m_created_num_nodes, 1U);
  EXPECT_EQ(stats(c).m_created_num_nodes_blc, 1U);
  EXPECT_EQ(stats(c).m_created_num_nodes_inserted, 0U);
  EXPECT_EQ(stats(c).m_repeated_num_nodes, 1U);
}

TEST(BuildNodes, AreEliminatedAtAnUnconnectedPortOnEveryVisit) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top
      inst m MUX header
  )");
  c.arcs("MUX", {"a"}, "o");
  c.insert("MUX:o");
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), IsEmpty());
  EXPECT_EQ(stats(c).m_eliminated_num_nodes, 2U) << "as an inserted port and as an output of the mux";
  EXPECT_EQ(stats(c).m_repeated_num_nodes, 0U);
  EXPECT_TRUE(ACCESS::create_node(c.builder(), c.model().uip("m:o"), ACCESS::CREATE_TYPE_PORT))
      << "an eliminated port counts as a node for the result";
}

TEST(BuildNodes, StandAtAPortWithANetOnTheInsideAlone) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module BLK
      ports <o <p
      inst m MUX header
      net n m.o o m.a
    module TOP top
      inst b BLK
  )");
  c.arcs("MUX", {"a"}, "o");
  c.insert("BLK:o");
  c.insert("BLK:p");
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("b:o", "b/m:o"));
  EXPECT_EQ(stats(c).m_eliminated_num_nodes, 1U);
}

TEST(BuildNodes, AreLeftOutOnTheArcsOfAnInstanceThatIsASkipPath) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >b <o
    module TOP top
      inst m MUX header
      inst skipped MUX header
      net n m.o skipped.a
      net q skipped.o m.a
  )");
  c.arcs("MUX", {"a", "b"}, "o");
  c.parse().set_skip_paths(c.model().instance("TOP/skipped"), true);
  c.insert("MUX:a");
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("m:a", "m:o"));
  EXPECT_EQ(stats(c).m_eliminated_num_nodes, 2U) << "input and output of the skip path";
}

TEST(BuildNodes, AreTriedAtAnIgnoredPortOnlyWhereItIsInsertedOnTheInstance) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >b <o <p
    module TOP top
      inst m MUX header
      inst exception MUX header
      net n m.o exception.o m.b exception.b
      net p m.p exception.p m.a exception.a
  )");
  // b leads to o and p through a plain mux, a to o through two skip muxes, one of which has an exception.
  const auto arc = [&](KEP_ROUTING_MUX* mux, const char* input, const char* output) {
    KEP_ROUTING_ARC::allocate(c.db(), c.model().port(std::string("MUX:") + input),
                              c.model().port(std::string("MUX:") + output), mux);
  };
  KEP_MODULE* module = c.model().module("MUX");
  KEP_ROUTING_MUX* plain = KEP_ROUTING_MUX::allocate(c.db(), module, false);
  KEP_ROUTING_MUX* skip = KEP_ROUTING_MUX::allocate(c.db(), module, true);
  KEP_ROUTING_MUX* skip_but_one = KEP_ROUTING_MUX::allocate(c.db(), module, true);
  arc(plain, "b", "p");
  arc(skip, "a", "o");
  arc(skip_but_one, "a", "o");
  skip_but_one->add_skip_exception_instance(c.model().instance("TOP/exception"));
  arc(plain, "b", "o");
  c.build_nodes();
  // o is ignored; on the exception it is listed as inserted, but the arc of the other skip mux eliminates it.
  EXPECT_THAT(c.built_nodes(), ElementsAre("m:p", "exception:p"));
  EXPECT_EQ(stats(c).m_eliminated_num_nodes, 1U);
}

TEST(BuildNodes, AreNotMadeForMuxesWhoseNameHoldsThePatternButForTheirInsertedPorts) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >b <o
    module TOP top
      inst m MUX header
      inst my_skip_1 MUX header
      net n m.o my_skip_1.a
      net q my_skip_1.o m.a
      net r m.b my_skip_1.b
  )");
  c.arcs("MUX", {"a", "b"}, "o");
  c.insert("MUX:b");
  c.parse().set_non_template_mux_skip_path_inst_name_pattern("skip");
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("m:b", "m:o", "my_skip_1:b"));
}

TEST(BuildNodes, StandAtTheTopsPortsOnlyWhereThoseAreRouted) {
  for (const int type : {0, 1, 2}) {
    BUILD_CASE c("module TOP top type=" + std::to_string(type) + "\n ports >a <b =c");
    c.store()->initialize();
    c.build_nodes();
    if (type == 1)
      EXPECT_THAT(c.built_nodes(), ElementsAre(":a", ":b", ":c"));
    else
      EXPECT_THAT(c.built_nodes(), IsEmpty()) << type;
    EXPECT_EQ(stats(c).m_created_num_nodes_boundary, type == 1 ? 3U : 0U);
    EXPECT_EQ(stats(c).m_created_num_nodes, 0U);
  }
}

TEST(BuildNodes, AreMadeOnceForAPortOfTheTop) {
  BUILD_CASE c("module TOP top type=1\n ports >a");
  c.store()->initialize();
  c.build_nodes();
  ACCESS::create_node(c.builder(), c.model().port("TOP:a"));
  EXPECT_THAT(c.built_nodes(), ElementsAre(":a"));
  EXPECT_EQ(stats(c).m_repeated_num_nodes, 1U);
  EXPECT_EQ(stats(c).m_created_num_nodes_boundary, 1U);
}

TEST(BuildNodes, AreSoughtBelowTheFirstTopOfTheRankElseBelowTheDesignatedOne) {
  const char* const text = R"(
    module TOP top group=top view=LOGICAL type=1
      ports >logical
    module TOP_BLC group=top view=BLC
      ports >logical
  )";
  BUILD_CASE first(text);
  first.store()->initialize();
  first.build_nodes();
  ASSERT_EQ(first.builder().get_builder_graph()->get_node_count(), 1U);
  EXPECT_EQ(first.builder().get_builder_graph()->get_node(0)->get_port()->get_parent(),
            first.model().module("TOP_BLC"));

  BUILD_CASE empty_rank(text);
  empty_rank.store()->initialize();
  ACCESS::set_view_type_rank(empty_rank.builder(), KEP_VIEW_TYPE_RANK());
  empty_rank.build_nodes();
  ASSERT_EQ(empty_rank.builder().get_builder_graph()->get_node_count(), 1U);
  EXPECT_EQ(empty_rank.builder().get_builder_graph()->get_node(0)->get_port()->get_parent(),
            empty_rank.model().module("TOP"));

  BUILD_CASE other_view("module TOP top view=VIEW_1 type=1\n ports >a");
  other_view.store()->initialize();
  other_view.build_nodes();
  EXPECT_THAT(other_view.built_nodes(), ElementsAre(":a"));
}

} // namespace build_nodes_test
