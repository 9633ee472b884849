// Nodes that are made by plans of modules, beside those of a build that walks every place.

#include "tests/kep_rg/proof/rooted_device.h"
#include "tests/support/build_case.h"
#include "tests/support/fabric_case.h"
#include "tests/support/failure_text.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace node_plans_test {

using testing::ElementsAre;
using testing::HasSubstr;
using ACCESS = KEP_RG_TEST_ACCESS;
using WITHOUT_NODE = KEP_RG_OUTPUTS_WITHOUT_NODE;

/// All that can be seen of nodes that were made: the nodes in their order, what was counted, and what IP
/// roots know.
std::vector<std::string> describe(BUILD_CASE& c) {
  std::vector<std::string> text = c.built_nodes();
  const KEP_RG_NODE_CREATION_STATS& stats = c.builder().get_node_stats();
  for (const std::uint32_t counter :
       {stats.m_eliminated_num_nodes, stats.m_created_num_nodes, stats.m_created_num_nodes_blc,
        stats.m_created_num_nodes_inserted, stats.m_created_num_nodes_hipi, stats.m_repeated_num_nodes,
        stats.m_created_num_nodes_boundary})
    text.push_back(std::to_string(counter));
  for (const WITHOUT_NODE::COUNT& count : c.builder().get_outputs_without_node().m_counts)
    text.push_back(std::to_string(count.m_number) + " " + count.m_example);
  std::vector<std::string> known;
  for (const auto& [root, modules] : ACCESS::module_has_nodes(c.builder()))
    for (const auto& [module, has_nodes] : modules)
      known.push_back(std::string(root->get_key()) + " " + (module ? module->get_key() : "") + " " +
                      std::to_string(has_nodes));
  std::sort(known.begin(), known.end());
  text.insert(text.end(), known.begin(), known.end());
  return text;
}

/// Gives false for a device that the build refuses.
bool build_nodes(BUILD_CASE& c) {
  try {
    c.build_nodes();
  } catch (const KEP_RUNTIME_ERROR&) {
    return false;
  }
  return true;
}

/// Makes the nodes of a device both ways; false where it is refused.
bool expect_same_nodes(BUILD_CASE& planned, BUILD_CASE& walked) {
  ACCESS::walk_all_places(walked.builder());
  const bool is_built = build_nodes(walked);
  EXPECT_EQ(build_nodes(planned), is_built);
  if (is_built) {
    EXPECT_EQ(describe(planned), describe(walked));
  }
  return is_built;
}

// Two tiles a row and two rows: the second tile and the second row go by plans.
const std::string ROWS = R"(
  module MUX
    ports >a <o
  module BLK
    ports >i <o
    inst m MUX header
    net n m.o o m.a
  module TILE
    ports >in <out
    inst m1 MUX header
    inst b BLK
    inst m2 MUX header
    net n in m1.a
    net p m1.o b.i m2.a
    net q m2.o out
  module ROW
    inst t0 TILE
    inst t1 TILE
    net n t0.out t1.in
)";
const std::string TWO_ROWS = ROWS + R"(
  module TOP top
    inst r0 ROW
    inst r1 ROW
)";

TEST(NodePlans, GiveTheNodesInTheOrderOfTheWalk) {
  BUILD_CASE c(TWO_ROWS);
  c.arcs("MUX", {"a"}, "o");
  c.build_nodes();
  std::vector<std::string> nodes;
  for (const std::string tile : {"r0/t0/", "r0/t1/", "r1/t0/", "r1/t1/"})
    for (const std::string mux : {"m1:o", "b/m:o", "m2:o"})
      nodes.push_back(tile + mux);
  EXPECT_EQ(c.built_nodes(), nodes);
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes, 12U);
}

TEST(NodePlans, LetTheNodesBeFoundBeforeTheyAreSorted) {
  BUILD_CASE c(TWO_ROWS);
  c.arcs("MUX", {"a"}, "o");
  c.build_nodes();
  for (const char* name : {"r0/t0/m1:o", "r1/t1/b/m:o"}) {
    const KEP_ROUTING_BUILDER_NODE* node =
        c.builder().get_node_cache().find_routing_node(c.model().uip(name));
    ASSERT_NE(node, nullptr) << name;
    EXPECT_EQ(node->get_name({}), name);
    EXPECT_EQ(c.builder().get_builder_graph()->get_node(node->get_index()), node);
  }
  EXPECT_EQ(c.builder().get_node_cache().find_routing_node(c.model().uip("r1/t1/m1:a")), nullptr);
  EXPECT_FALSE(ACCESS::create_node(c.builder(), c.model().uip("r1/t1/m2:o"), ACCESS::CREATE_TYPE_PORT))
      << "a node stands there";
}

TEST(NodePlans, AreNotFollowedWhereAWireTypeHangsOnThePlace) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TILE
      inst m MUX
      net n m.o m.a
    module TOP top
      inst t0 TILE
      inst t1 TILE
      inst t2 TILE
  )");
  c.arcs("MUX", {"a"}, "o");
  const auto type = [&](const std::vector<KEP_INSTANCE*>& chain) {
    c.store()->add_wire_type(KEP_RELATIVE_PATH::create(chain, c.model().port("MUX:o")), "w", 0);
  };
  type({c.model().instance("TOP/t1"), c.model().instance("TILE/m")});
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("t1/m:o"));
  EXPECT_EQ(c.builder().get_outputs_without_node().get(WITHOUT_NODE::REASON::NO_HEADER).m_number, 2U);
}

TEST(NodePlans, AreFollowedBesideSpareRows) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TILE ip_root
      inst m MUX header
      inst n MUX header
      net n m.o m.a n.o n.a
    module ROW
      inst t0 TILE
      inst t1 TILE
    module TOP top
      inst r0 ROW
      inst r1 ROW
      inst r2 ROW
  )");
  c.arcs("MUX", {"a"}, "o");
  c.parse().add_routing_root(c.model().module("TILE"), 0);
  const KEP_UNFOLDED_MODULE tile = c.model().uip("r1/t1/m:o").get_unfolded_instance().get_parent();
  c.db()->get_legacy_api()->set_spare_row(tile.get_unfolded_instance(), true);
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("r0/t0/m:o", "r0/t0/n:o", "r0/t1/m:o", "r0/t1/n:o", "r1/t0/m:o",
                                           "r1/t0/n:o", "r2/t0/m:o", "r2/t0/n:o", "r2/t1/m:o", "r2/t1/n:o"));
  EXPECT_EQ(c.builder().get_outputs_without_node().get(WITHOUT_NODE::REASON::SPARE_ROW).m_number, 2U);
  EXPECT_EQ(c.builder().get_node_stats().m_eliminated_num_nodes, 2U);
}

TEST(NodePlans, OfLaterUsesOfAnIpRootPassOverWhatGaveNoNode) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module BARREN
      ports <o
      inst m MUX
      net n m.o o m.a
    module ROOT ip_root
      inst b BARREN
      inst m MUX header
      net n m.o b.o m.a
    module HOLDER
      inst r ROOT
    module TOP top
      inst h0 HOLDER
      inst h1 HOLDER
      inst h2 HOLDER
  )");
  c.arcs("MUX", {"a"}, "o");
  c.insert("BARREN:o");
  c.parse().add_routing_root(c.model().module("ROOT"), 0);
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("h0/r/b:o", "h0/r/m:o", "h1/r/m:o", "h2/r/m:o"));
  const auto& without = c.builder().get_outputs_without_node();
  EXPECT_EQ(without.get(WITHOUT_NODE::REASON::NO_HEADER).m_number, 1U);
  EXPECT_EQ(without.get(WITHOUT_NODE::REASON::SKIPPED_PART).m_number, 2U);
  EXPECT_EQ(without.get(WITHOUT_NODE::REASON::SKIPPED_PART).m_example, "h1/r/b");
}

TEST(NodePlans, OfAModuleThatHoldsAnIpRootAreRefusedUnderAnother) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module INNER ip_root
      inst m MUX header
      net n m.o m.a
    module HOLDER
      inst r INNER
    module OUTER ip_root
      inst h HOLDER
    module TOP top
      inst h0 HOLDER
      inst h1 HOLDER
      inst h2 HOLDER
      inst o OUTER
  )");
  c.arcs("MUX", {"a"}, "o");
  for (const char* key : {"INNER", "OUTER"})
    c.parse().add_routing_root(c.model().module(key), 0);
  EXPECT_THAT(assertion_text([&] { c.build_nodes(); }), HasSubstr("!has_nodes"));
}

TEST(NodePlans, GiveWhatAWalkOfEachPlaceGives) {
  std::size_t num_built = 0;
  std::size_t num_skipped_parts = 0;
  std::size_t num_without_header = 0;
  std::size_t num_in_blcs = 0;
  for (const std::uint64_t seed : test_model::SEEDS(1, 300)) {
    proof::ROOTED_DEVICE planned(seed);
    proof::ROOTED_DEVICE walked(seed);
    if (!expect_same_nodes(planned.get_case(), walked.get_case())) continue;
    const auto& counts = planned.get_case().builder().get_outputs_without_node();
    ++num_built;
    num_skipped_parts += counts.get(WITHOUT_NODE::REASON::SKIPPED_PART).m_number != 0;
    num_without_header += counts.get(WITHOUT_NODE::REASON::NO_HEADER).m_number != 0;
    num_in_blcs += planned.get_case().builder().get_node_stats().m_created_num_nodes_blc != 0;
  }
  EXPECT_GT(num_built, 100U);
  EXPECT_GT(num_skipped_parts, 3U);
  EXPECT_GT(num_without_header, 50U);
  EXPECT_GT(num_in_blcs, 50U);
}

TEST(NodePlans, GiveTheNodesOfFabricsByAnyNumberOfThreads) {
  for (const std::uint64_t seed : test_model::SEEDS(1, 100)) {
    test_model::FABRIC_CASE walked(seed);
    for (const int num_threads : {1, 2}) {
      test_model::FABRIC_CASE planned(seed);
      planned.builder(KEP_RG_BUILD_PARAMS().set_num_threads(num_threads));
      if (num_threads == 1) {
        expect_same_nodes(planned, walked);
      } else {
        planned.build_nodes();
        EXPECT_EQ(describe(planned), describe(walked));
      }
    }
    if (HasFailure()) FAIL() << walked.text();
  }
}

} // namespace node_plans_test
