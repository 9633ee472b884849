// KEP_RG_PROOF: which nodes should stand.

#include "tests/kep_rg/proof/proof_text.h"
#include "tests/kep_rg/proof/rooted_device.h"
#include "tests/support/build_case.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace proof_test {

using namespace proof;
using test_model::EDITED_GRAPH;
using test_model::SEEDS;
using testing::ElementsAre;
using testing::IsEmpty;

// Two muxes that drive each other.
const char* const RING = R"(
  module MUX
    ports >a <o
  module TOP top
    inst m MUX header
    inst n MUX header
    net w m.o n.a
    net v n.o m.a
)";

TEST(Proof, FindsNothingInTheGraphsOfRandomDevicesWithIpRoots) {
  std::size_t num_nodes = 0;
  std::size_t num_lacking = 0; // devices where a use of an IP root lacks what another one has
  for (const std::uint64_t seed : SEEDS(1, 1500)) {
    ROOTED_DEVICE device(seed);
    BUILD_CASE& c = device.get_case();
    if (!device.build()) continue;
    ASSERT_THAT(findings_of(*c.db()), IsEmpty()) << test_model::describe(*c.db());
    num_nodes += c.db()->get_routing_template_graph()->get_num_nodes();
    for (const auto& [root, modules] : KEP_RG_TEST_ACCESS::module_has_nodes(c.builder()))
      for (const auto& [module, has_nodes] : modules)
        num_lacking += !has_nodes;
  }
  EXPECT_GT(num_nodes, 20000U);
  EXPECT_GT(num_lacking, 300U) << "so that the later uses are passed over";
}

TEST(Proof, NamesEveryNodeOfADeviceWhoseGraphWasNeverBuilt) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top type=1
      ports <q
      inst m MUX header
      inst n MUX header
      net w m.o n.a
      net v n.o q
  )");
  c.arcs("MUX", {"a"}, "o", false, KEP_ROUTING_PRIMITIVE_HIPI::M);
  const KEP_RG_PROOF::RESULT result = prove(*c.db(), 1);
  EXPECT_FALSE(result.is_sound());
  EXPECT_EQ(result.m_num_missing_nodes, 5U);
  EXPECT_THAT(texts_of(result),
              ElementsAre("missing :q", "missing m:o", "missing m:o*", "missing n:o", "missing n:o*"))
      << "edges stand and fall with their nodes";
  EXPECT_THAT(texts_of(prove(*c.db(), 1, 2)), ElementsAre("missing :q", "missing m:o"));
  EXPECT_EQ(prove(*c.db(), 2, 2).m_num_missing_nodes, 5U) << "the first are kept, and all counted";
}

TEST(Proof, TellsMissingNodesBeforeSurplusOnesAndCountsBoth) {
  BUILD_CASE c(RING);
  c.arcs("MUX", {"a"}, "o");
  c.build();
  ASSERT_THAT(findings_of(*c.db()), IsEmpty());
  EDITED_GRAPH graph(*c.db(), {"m:o -> n:a via n:a", "n:a"});
  graph.publish();
  const KEP_RG_PROOF::RESULT result = prove(*c.db(), 1);
  EXPECT_THAT(texts_of(result), ElementsAre("missing n:o", "surplus n:a"));
  EXPECT_EQ(result.m_num_missing_nodes, 1U);
  EXPECT_EQ(result.m_num_surplus_nodes, 1U);
  EXPECT_EQ(result.m_num_missing_edges + result.m_num_surplus_edges, 0U)
      << "those at a missing or a surplus node are not told apart";
}

/// A later use of an IP root lacks what is inserted on a module that has no nodes inside; its graph is sound,
/// and one that has these nodes is not.
TEST(Proof, KnowsThatAFurtherUseOfAnIpRootPassesOverModulesWithoutNodes) {
  BUILD_CASE c(R"(
    module PAD
      ports >x <y
    module ROOT ip_root
      ports >i <o
      inst p PAD
      net n i p.x
      net m p.y o
    module TOP top
      inst r0 ROOT
      inst r1 ROOT
      net a r0.o r1.i
      net b r1.o r0.i
  )");
  c.insert("PAD:y");
  c.parse().add_routing_root(c.model().module("ROOT"), 0);
  c.build();
  ASSERT_THAT(c.nodes(), ElementsAre("r0/p:y"));
  EXPECT_THAT(findings_of(*c.db()), IsEmpty());
  EDITED_GRAPH graph = EDITED_GRAPH::read(*c.db());
  graph.add("r1/p:y");
  graph.publish();
  EXPECT_THAT(findings_of(*c.db()), ElementsAre("surplus r1/p:y"));
}

/// The inserted port `s:x` ends connections, but not the one that begins there.
TEST(Proof, FollowsASkipPathThatBeginsAtTheNodeItself) {
  BUILD_CASE c(R"(
    module BOTH
      ports =x =y
    module MUX
      ports >a <o
    module TOP top
      inst s BOTH header
      inst m MUX header
      net n m.o s.x
      net w s.y m.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.arcs("BOTH", {"x"}, "y");
  c.insert("BOTH:x");
  c.parse().set_non_template_mux_skip_path_inst_name_pattern("s");
  c.build();
  EXPECT_THAT(c.edges(), testing::UnorderedElementsAre("m:o -> s:x", "s:x -> m:o via m:a"));
  EXPECT_THAT(findings_of(*c.db()), IsEmpty());
}

TEST(Proof, TellsAnEdgeToNowhereAsSurplus) {
  BUILD_CASE c(RING);
  c.arcs("MUX", {"a"}, "o");
  c.build();
  ASSERT_THAT(c.edges(), testing::SizeIs(2));
  test_model::STORAGE_DAMAGE(*c.db()).empty_last_node();
  const KEP_RG_PROOF::RESULT result = prove(*c.db(), 1);
  EXPECT_EQ(result.m_num_missing_edges, 1U);
  EXPECT_EQ(result.m_num_surplus_edges, 1U);
}

} // namespace proof_test
