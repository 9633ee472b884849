#include "tests/support/build_case.h"
#include "tests/support/tunnel_modules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace build_edges_test {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using ACCESS = KEP_RG_TEST_ACCESS;

const KEP_RG_EDGE_CREATION_STATS& stats(BUILD_CASE& c) {
  return c.builder().get_edge_stats();
}

std::vector<std::string> edges_from(const BUILD_CASE& c, const std::string& node) {
  std::vector<std::string> found;
  for (const std::string& edge : c.edges())
    if (edge.rfind(node + " ", 0) == 0) found.push_back(edge);
  return found;
}

TEST(BuildEdges, LeaveOutALoopFromAMuxToItself) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >b <o
    module TOP top
      inst m MUX header
      inst k MUX header
      net n m.o m.a k.a
      net q k.o k.b
  )");
  c.arcs("MUX", {"a", "b"}, "o");
  c.build();
  EXPECT_THAT(c.edges(), ElementsAre("m:o -> k:o via k:a"));
  EXPECT_EQ(stats(c).n_edges, 1U);
  EXPECT_EQ(stats(c).n_skip_port, 0U) << "a loop is dropped, not missed";
  EXPECT_EQ(stats(c).n_get_leaf_calls, 4U);
  EXPECT_EQ(stats(c).n_get_leaf_fanouts, 5U) << "each node itself, and m:a, k:a, k:b";
}

TEST(BuildEdges, AreNoneForANodeWhoseConnectionEndsNowhere) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top
      inst m MUX header
      net n m.o
  )");
  c.arcs("MUX", {"a"}, "o");
  c.build();
  ASSERT_THAT(c.nodes(), ElementsAre("m:o"));
  const KEP_ROUTING::NODE node(c.model().uip("m:o"), false);
  EXPECT_EQ(node.get_num_edges(), 0U);
  EXPECT_TRUE(node.iter_all_fanout().empty());
  EXPECT_EQ(stats(c).n_edges, 0U);
}

TEST(BuildEdges, GoToEveryOutputOfTheMuxBehindAnInput) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >b <o <p
    module TOP top
      inst m MUX header
      inst k MUX header
      net n m.o k.b k.a
      net q k.o
      net r k.p
  )");
  c.arcs("MUX", {"a", "b"}, "p");
  c.arcs("MUX", {"a"}, "o");
  c.build();
  EXPECT_THAT(edges_from(c, "m:o"),
              ElementsAre("m:o -> k:p via k:a", "m:o -> k:o via k:a", "m:o -> k:p via k:b"))
      << "leaves in the order of the net, outputs in the order of the arcs";
}

TEST(BuildEdges, EndOnAnInsertedPortEvenIfItIsAnArcInput) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >b <o
    module BLK
      ports >i
    module TOP top
      inst m MUX header
      inst k MUX header
      inst b BLK
      net n m.o k.a b.i k.b
      net q k.o
  )");
  c.arcs("MUX", {"a", "b"}, "o");
  c.insert("MUX:a");
  c.insert("BLK:i");
  c.build();
  EXPECT_THAT(c.edges(),
              UnorderedElementsAre("m:o -> k:a", "m:o -> k:o via k:b", "m:o -> b:i", "k:a -> k:o via k:a"));
}

TEST(BuildEdges, RunThroughItsMuxFromABidirectionalPortWithoutANet) {
  BUILD_CASE c(R"(
    module LEAF
      ports >i
    module MUX
      ports =a <o
      inst l LEAF
      net n a l.i
    module TOP top
      inst m MUX header
      net n m.o
  )");
  c.arcs("MUX", {"a"}, "o");
  c.insert("MUX:a");
  c.build();
  EXPECT_THAT(c.edges(), ElementsAre("m:a -> m:o via m:a"));
}

TEST(BuildEdges, CountTargetsWithoutANodeWhetherUipOrPort) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TILE
      ports <out
      inst m MUX header
      net n m.o out
    module TOP top type=1
      ports <z
      inst t TILE
      inst bare MUX
      net n t.out bare.a z
  )");
  c.arcs("MUX", {"a"}, "o");
  c.builder(KEP_RG_BUILD_PARAMS().set_verbose(true));
  ACCESS::debug_instance(c.builder(), c.model().unfolded_instance("t")); // no boundary nodes then
  c.build_nodes();
  ASSERT_THAT(c.built_nodes(), ElementsAre("t/m:o"));
  c.report([&] { c.builder().build_edges(); });
  EXPECT_THAT(c.edges(), IsEmpty());
  EXPECT_EQ(stats(c).n_skip_port, 2U);
  EXPECT_EQ(stats(c).n_edges, 0U);
  EXPECT_THAT(c.debug_lines(),
              ElementsAre("Performed get_mux_outputs() mapping", "  Before: bare:a", "  After:  bare:o",
                          "Target routing node is missing: bare:o", "Target routing node is missing: :z"));
}

TEST(BuildEdges, AreToldByTheirMuxesWhenVerbose) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >b <o
    module TOP top
      inst m MUX header
      net n m.o m.b
  )");
  c.arcs("MUX", {"a", "b"}, "o");
  c.build(KEP_RG_BUILD_PARAMS().set_verbose(true));
  EXPECT_THAT(c.debug_lines(),
              ElementsAre("Performed get_mux_outputs() mapping", "  Before: m:b", "  After:  m:o"))
      << "the loop is dropped, but the mapping is told";
  BUILD_CASE quiet(R"(
    module MUX
      ports >a <o
    module TOP top
      inst m MUX header
      inst bare MUX
      net n m.o bare.a
  )");
  quiet.arcs("MUX", {"a"}, "o");
  quiet.build();
  EXPECT_THAT(quiet.debug_lines(), IsEmpty());
  EXPECT_EQ(stats(quiet).n_skip_port, 1U);
}

TEST(BuildEdges, PutPortsOfTheTopBehindAllUipsAndLeaveOutTheirOwn) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TILE
      ports =io
      inst m MUX header
      net n io m.a
      net q m.o
    module TOP top type=1
      ports >in <out =io =io_2
      inst t TILE
      inst k MUX header
      net n in out io io_2 t.io
      net q k.o
  )");
  c.arcs("MUX", {"a"}, "o");
  c.build();
  EXPECT_THAT(edges_from(c, ":in"),
              ElementsAre(":in -> t/m:o via t/m:a", ":in -> :out", ":in -> :io", ":in -> :io_2"));
  EXPECT_THAT(edges_from(c, ":io"), ElementsAre(":io -> t/m:o via t/m:a", ":io -> :out", ":io -> :io_2"));
  EXPECT_THAT(edges_from(c, ":out"), IsEmpty()) << "an output of the top drives nothing inside";
}

TEST(BuildEdges, LeadFromATwinToItsPlainNodeAlone) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >b <o
    module TOP top
      inst m MUX header
      inst k MUX header
      net n m.o k.a m.b
      net q k.o
  )");
  c.arcs("MUX", {"a"}, "o", false, KEP_ROUTING_PRIMITIVE_HIPI::T);
  c.arcs("MUX", {"b"}, "o");
  c.build();
  EXPECT_THAT(c.edges(), UnorderedElementsAre("m:o* -> m:o", "k:o* -> k:o", "m:o -> k:o* via k:a"));
  EXPECT_EQ(stats(c).n_edges, 3U);
  EXPECT_EQ(stats(c).n_get_leaf_calls, 4U) << "a twin is not searched";
}

TEST(BuildEdges, GoToAnInsertedPortsPlainNodeNeverToItsTwin) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top
      inst m MUX header
      inst k MUX header
      net n m.o k.a
      net q k.o
  )");
  c.arcs("MUX", {"a"}, "o", false, KEP_ROUTING_PRIMITIVE_HIPI::M);
  c.insert("MUX:a");
  c.insert("MUX:o");
  c.build();
  EXPECT_THAT(c.edges(), UnorderedElementsAre("m:o* -> m:o", "k:a* -> k:a", "k:o* -> k:o", "m:o -> k:a",
                                              "k:a -> k:o via k:a"));
}

// s drives the tunnel x, behind whose way through stand d and m; m hangs on both sides.
const std::string TUNNEL = test_model::TUNNEL_MODULES + R"(
  module MUX
    ports >a >b <o
  module TOP top
    inst s SOURCE header
    inst x THROUGH header
    inst d TARGET header
    inst m MUX header
    net n s.o x.i m.a
    net q x.o d.i m.b
    net r d.o
    net t m.o
)";

void describe_tunnel(BUILD_CASE& c, int source, int through, int target) {
  c.arcs("MUX", {"a", "b"}, "o");
  test_model::describe_tunnel(c, source, through, target);
}

TEST(BuildEdges, ReachTargetsThroughATunnelBehindAllOthers) {
  BUILD_CASE c(TUNNEL);
  describe_tunnel(c, 1, 2, 3);
  c.build();
  EXPECT_THAT(edges_from(c, "s:o"),
              ElementsAre("s:o -> x:o via x:i", "s:o -> m:o via m:a", "s:o -> d:o via d:i"))
      << "of what lies behind the tunnel only targets of the third type are added";
  EXPECT_THAT(edges_from(c, "x:o"), ElementsAre("x:o -> m:o via m:b"))
      << "the tunnel itself does not drive them";
  EXPECT_EQ(stats(c).n_get_leaf_fanouts, 4U + 3U + 1U + 1U);
}

TEST(BuildEdges, StopAtATunnelForASourceOfAnotherType) {
  BUILD_CASE c(TUNNEL);
  describe_tunnel(c, 0, 2, 3);
  c.build();
  EXPECT_THAT(edges_from(c, "s:o"), ElementsAre("s:o -> x:o via x:i", "s:o -> m:o via m:a"));
}

TEST(BuildEdges, AddNothingFromTheSecondSearchWithoutATargetOfTheThirdType) {
  BUILD_CASE c(TUNNEL);
  describe_tunnel(c, 1, 2, 0);
  c.build();
  EXPECT_THAT(edges_from(c, "s:o"), ElementsAre("s:o -> x:o via x:i", "s:o -> m:o via m:a"));
  EXPECT_THAT(edges_from(c, "x:o"), ElementsAre("x:o -> d:o via d:i", "x:o -> m:o via m:b"));
}

TEST(BuildEdges, AreCountedAsTheGraphHoldsThem) {
  BUILD_CASE c(TUNNEL);
  describe_tunnel(c, 1, 2, 3);
  c.mark_redundant("TOP/m:a");
  c.build();
  const KEP_ROUTING::GRAPH* graph = c.db()->get_routing_template_graph();
  EXPECT_EQ(stats(c).n_edges, 3U);
  EXPECT_EQ(graph->get_num_real_edges(), 3U);
  EXPECT_EQ(stats(c).n_redundant_edges, 1U);
  EXPECT_EQ(graph->get_num_redundant_edges(), 1U);
}

TEST(BuildMux, KnowsTheOutputsBehindAnInputAndNoneBehindAnOutput) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >idle <o <p
    module TOP top
      inst m MUX
  )");
  c.arcs("MUX", {"a"}, "p");
  c.arcs("MUX", {"a"}, "o");
  const auto outputs = [&](const char* port) {
    std::vector<KEP_UNFOLDED_INST_PORT> found;
    const bool known = ACCESS::get_mux_outputs(c.builder(), found, c.model().unfolded_instance("m"),
                                               c.model().port(std::string("MUX:") + port));
    std::string text = known ? "yes" : "no";
    for (const KEP_UNFOLDED_INST_PORT& each : found)
      text += " " + test_model::name_of(each);
    return text;
  };
  EXPECT_EQ(outputs("a"), "yes m:p m:o");
  EXPECT_EQ(outputs("idle"), "no");
  EXPECT_EQ(outputs("o"), "no");
}

TEST(BuildMux, KnowsWhichOutputAnInputLeadsTo) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >idle <o <p
    module TOP top
      inst m MUX
  )");
  c.arcs("MUX", {"a"}, "o");
  const auto leads = [&](const char* input, const char* output) {
    return ACCESS::is_mux_output(c.builder(), c.model().port(std::string("MUX:") + input),
                                 c.model().port(std::string("MUX:") + output));
  };
  EXPECT_TRUE(leads("a", "o"));
  EXPECT_FALSE(leads("a", "p"));
  EXPECT_FALSE(leads("idle", "o"));
  EXPECT_FALSE(leads("o", "o"));
  EXPECT_FALSE(leads("a", "a"));
}

TEST(BuildMux, AnswersTwoQuestionsAlwaysAlike) {
  BUILD_CASE c("module MUX\n ports >a <o\nmodule TOP top\n inst m MUX");
  c.arcs("MUX", {"a"}, "o");
  EXPECT_FALSE(ACCESS::is_muxtype_edge_driver(c.builder(), c.model().uip("m:a")));
  EXPECT_FALSE(ACCESS::is_muxtype_edge_driver(c.builder(), {}));
  EXPECT_TRUE(ACCESS::is_sometimes_mux_instance(c.builder(), nullptr));
}

} // namespace build_edges_test
