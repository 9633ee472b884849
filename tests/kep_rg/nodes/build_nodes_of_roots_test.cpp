// Nodes inside IP roots that are routed.

#include "tests/support/build_case.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace build_nodes_of_roots_test {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::UnorderedElementsAre;
using ACCESS = KEP_RG_TEST_ACCESS;

const KEP_RG_NODE_CREATION_STATS& stats(BUILD_CASE& c) {
  return c.builder().get_node_stats();
}

// A routed IP root with a child that gives nodes, one that gives none, and one whose only port was
// eliminated.
const char* const ROOTS = R"(
  module MUX
    ports >a <o
  module FULL
    inst m MUX header
    net n m.o m.a
  module BARREN
    inst e EMPTY
  module EMPTY
    ports >i
  module GONE
    inst m MUX header
  module ROOT ip_root
    inst full FULL
    inst barren BARREN
    inst gone GONE
  module OTHER ip_root
    inst barren BARREN
    inst full FULL
  module TOP top
    inst r1 ROOT
    inst r2 ROOT
    inst s1 OTHER
    inst s2 OTHER
)";

void describe_roots(BUILD_CASE& c) {
  c.arcs("MUX", {"a"}, "o");
  c.parse().add_routing_root(c.model().module("ROOT"), 0);
  c.parse().add_routing_root(c.model().module("OTHER"), 0);
}

TEST(BuildNodesOfRoots, AreMadeInEveryInstance) {
  BUILD_CASE c(ROOTS);
  describe_roots(c);
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("r1/full/m:o", "r2/full/m:o", "s1/full/m:o", "s2/full/m:o"));
  EXPECT_EQ(stats(c).m_eliminated_num_nodes, 2U) << "a child that gave eliminated ports is walked again";
}

TEST(BuildNodesOfRoots, AreRememberedByRootAndChild) {
  BUILD_CASE c(ROOTS);
  describe_roots(c);
  c.build_nodes();
  const auto& known = ACCESS::module_has_nodes(c.builder());
  const auto module = [&](const char* key) { return c.model().module(key); };
  EXPECT_THAT(known,
              UnorderedElementsAre(
                  Pair(module("ROOT"),
                       UnorderedElementsAre(Pair(module("ROOT"), true), Pair(module("FULL"), true),
                                            Pair(module("BARREN"), false), Pair(module("EMPTY"), false),
                                            Pair(module("GONE"), true))),
                  Pair(module("OTHER"),
                       UnorderedElementsAre(Pair(module("OTHER"), true), Pair(module("FULL"), true),
                                            Pair(module("BARREN"), false), Pair(module("EMPTY"), false)))))
      << "muxes are never entered, and never skipped";
}

TEST(BuildNodesOfRoots, AreMadeInEveryBlockOfEveryInstance) {
  BUILD_CASE c(R"(
    module PIN
      ports >x <y
    module BLK group=blk ip_root
      ports >i <o
    module BLK_BLC group=blk view=BLC ip_root
      ports >i <o
      inst p PIN
      net n i p.x
      net q p.y o
    module BARE group=bare ip_root
    module BARE_BLC group=bare view=BLC ip_root
    module HOLDER
      inst b BLK header
      net n b.o b.i
    module BARREN
      inst b BARE header
    module ROOT ip_root
      inst h HOLDER
      inst e BARREN
    module TOP top
      inst r ROOT
      inst s ROOT
  )");
  for (const char* key : {"BLK", "BARE"})
    c.parse().add_routing_root(c.model().module(key), 2);
  c.parse().add_routing_root(c.model().module("ROOT"), 0);
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("r/h/b/p:x", "r/h/b/p:y", "s/h/b/p:x", "s/h/b/p:y"));
  const auto module = [&](const char* key) { return c.model().module(key); };
  EXPECT_THAT(
      ACCESS::module_has_nodes(c.builder()),
      UnorderedElementsAre(
          Pair(module("ROOT"), UnorderedElementsAre(Pair(module("ROOT"), true), Pair(module("HOLDER"), true),
                                                    Pair(module("BARREN"), false)))));
}

TEST(BuildNodesOfRoots, AreNotSoughtAgainInAChildThatGaveNothing) {
  BUILD_CASE c(ROOTS);
  describe_roots(c);
  ACCESS::prepare_nodes(c.builder());
  testing::internal::CaptureStdout();
  c.report([&] { ACCESS::add_nodes(c.builder(), true); });
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(out, " skipped due to no nodes\n skipped due to no nodes\n")
      << "the barren child of the second instance of each root";
  EXPECT_THAT(c.debug_lines(), Not(testing::Contains(testing::HasSubstr("skipped"))));
}

TEST(BuildNodesOfRoots, SkipInSilenceWithoutDebug) {
  BUILD_CASE c(ROOTS);
  describe_roots(c);
  ACCESS::prepare_nodes(c.builder());
  testing::internal::CaptureStdout();
  c.report([&] { ACCESS::add_nodes(c.builder(), false); });
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_THAT(c.debug_lines(), IsEmpty());
}

TEST(BuildNodesOfRoots, AreMissedInAChildWhoseFirstWalkGaveOnlyRepeatedPorts) {
  BUILD_CASE c(ROOTS);
  describe_roots(c);
  ACCESS::prepare_nodes(c.builder());
  ACCESS::create_node(c.builder(), c.model().uip("r1/full/m:o"), ACCESS::CREATE_TYPE_PORT);
  c.report([&] { ACCESS::add_nodes(c.builder(), false); });
  EXPECT_THAT(c.built_nodes(), ElementsAre("r1/full/m:o", "s1/full/m:o", "s2/full/m:o"));
  EXPECT_EQ(stats(c).m_repeated_num_nodes, 1U);
}

TEST(BuildNodesOfRoots, RefuseARootBelowARoot) {
  BUILD_CASE c(R"(
    module INNER ip_root
      ports >i
    module PLAIN
      inst i INNER
    module OUTER ip_root
      inst p PLAIN
    module TOP top
      inst o OUTER
  )");
  c.parse().add_routing_root(c.model().module("INNER"), 0);
  c.parse().add_routing_root(c.model().module("OUTER"), 0);
  const std::string text = assertion_text([&] { c.builder().build_nodes(); });
  EXPECT_EQ(text, "Assertion failed: !has_nodes in kep_rg/kep_rg_build.cpp@LINE");
}

TEST(BuildNodesOfRoots, AreOnlyInsertedOnesOnAnUnroutedRootWithoutAHeader) {
  const char* const text = R"(
    module MUX
      ports >a <o
    module IP view=BLC ip_root
      ports >i <o <p
      inst m MUX header
      net n m.o m.a
    module PLAIN_IP ip_root
      ports >i <q
      inst m MUX header
    module TOP top
      inst bare IP
      inst headed IP header
      inst plain PLAIN_IP
      net n bare.i headed.o bare.p
      net q headed.i bare.o headed.p
      net r plain.q
  )";
  BUILD_CASE c(text);
  c.arcs("MUX", {"a"}, "o");
  // Ports that take part, on a module that stops no walk: arcs of an IP root in another view than LOGICAL.
  c.arcs("IP", {"i"}, "o");
  c.insert("PLAIN_IP:q");
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("headed:i", "headed:o", "plain:q"))
      << "nothing is looked for inside, and an arc input counts too";
  EXPECT_EQ(stats(c).m_created_num_nodes_inserted, 1U);
}

} // namespace build_nodes_of_roots_test
