#include "tests/support/build_case.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace build_blc_test {

using testing::ElementsAre;
using testing::IsEmpty;
using ACCESS = KEP_RG_TEST_ACCESS;

// A block with an atom, an instance with the trait and a plain one; `en` takes no part in routing.
const char* const BLOCK = R"(
  module PIN
    ports >x <y
  module CELL
    ports >in >en <out
    inst p PIN
    net n in p.x
    net q p.y out
  module BLK group=blk ip_root
    ports >i <o
  module BLK_BLC group=blk view=BLC ip_root
    ports >i <o
    inst c1 CELL atom
    inst c2 CELL trait_0
    inst c3 PIN
    net n1 i c1.in c1.en c2.in c3.x
    net n2 c1.out
    net n3 c2.out
    net n4 c3.y o
  module TOP top
    inst b BLK header
    net n b.i
    net q b.o
)";

std::unique_ptr<KEP_DB> block() {
  test_model::TEXT_MODEL text(BLOCK);
  text.builder().set_port_blc(text.id("BLK_BLC"), 0, 5, ""); // its port i
  return text.freeze();
}

void describe(BUILD_CASE& c) {
  c.parse().add_routing_root(c.model().module("BLK"), 2);
  c.store()->add_remove_node(c.model().port("CELL:en"));
  c.insert("BLK:o"); // kept on the BLC module
}

TEST(BuildBlc, MakesTheInsideBeforeThePortsOfTheBlockItself) {
  BUILD_CASE c(block());
  describe(c);
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(),
              ElementsAre("b/c1:in", "b/c1:out", "b/c1/p:x", "b/c1/p:y", "b/c2:in", "b/c2:out", "b/c2/p:x",
                          "b/c2/p:y", "b/c3:x", "b/c3:y", "b:i", "b:o"));
  const KEP_RG_NODE_CREATION_STATS& stats = c.builder().get_node_stats();
  EXPECT_EQ(stats.m_created_num_nodes, 12U);
  EXPECT_EQ(stats.m_created_num_nodes_blc, 12U);
  EXPECT_EQ(stats.m_created_num_nodes_inserted, 0U) << "an inserted port of a BLC is one of its ports";
  EXPECT_EQ(stats.m_eliminated_num_nodes, 0U) << "a removed port is not even looked at";
}

TEST(BuildBlc, TellsAtomsFromInstancesWithTheTraitAndPlainOnes) {
  BUILD_CASE c(block());
  describe(c);
  ACCESS::prepare_nodes(c.builder());
  c.report([&] { ACCESS::add_nodes(c.builder(), true); });
  std::vector<std::string> kinds;
  for (std::size_t i = 2; i < c.debug_lines().size(); ++i) {
    const std::string& line = c.debug_lines()[i];
    if (line.rfind("create_type: ", 0) != 0) continue;
    kinds.push_back(line);
    EXPECT_EQ(c.debug_lines()[i - 1].rfind(" u_instance: ", 0), 0U) << c.debug_lines()[i - 1];
    EXPECT_EQ(c.debug_lines()[i - 2], "-------------------------------------------");
  }
  EXPECT_THAT(kinds, ElementsAre("create_type: 4", "create_type: 3", "create_type: 5", "create_type: 3",
                                 "create_type: 3"));
}

TEST(BuildBlc, KeepsTheSelectionForDebuggingWithinTheBlock) {
  BUILD_CASE c(block());
  describe(c);
  ACCESS::prepare_nodes(c.builder());
  KEP_UNFOLDED_INSTANCE inside;
  for (const KEP_UNFOLDED_INSTANCE& each :
       test_model::unfolded_instance(*c.db(), "b@BLC/c2").get_parent().iter_instances())
    if (std::string(each.m_object->get_plain_name()) == "c2") inside = each;
  ACCESS::debug_instance(c.builder(), inside);
  c.report([&] {
    ACCESS::add_nodes_module(c.builder(), c.db()->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW),
                             false);
  });
  std::vector<std::string> kinds;
  for (const std::string& line : c.debug_lines())
    if (line.rfind("create_type: ", 0) == 0) kinds.push_back(line);
  EXPECT_THAT(kinds, ElementsAre("create_type: 5", "create_type: 3", "create_type: 3"))
      << "c2, what is inside it, and its later sibling";
}

TEST(BuildBlc, WalksATopThatIsABlockFromInside) {
  BUILD_CASE c(R"(
    module CELL
      ports >in <out
    module TOP top group=top ip_root
      ports >i
      inst unseen CELL header
    module TOP_BLC group=top view=BLC ip_root
      ports >i
      inst c1 CELL
      net n i c1.in
      net q c1.out
  )");
  c.parse().add_routing_root(c.model().module("TOP"), 2);
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(), ElementsAre("c1:in", "c1:out"));
  EXPECT_EQ(c.builder().get_node_stats().m_created_num_nodes_blc, 2U);
}

TEST(BuildBlc, ExcludesInputsAndInsertedBuffersOfABlockWithTheTrait) {
  const auto make = [](const char* flag) {
    return std::string(R"(
      module BLK group=blk ip_root
        ports >i <o =io
      module BLK_BLC group=blk view=BLC ip_root )") +
           flag + R"(
        ports >i <o =io
      module TOP top
        inst b BLK header
        inst buf BLK header buffer
        net n1 b.i
        net n2 b.o
        net n3 b.io
        net n4 buf.i
        net n5 buf.o
        net n6 buf.io
    )";
  };
  BUILD_CASE with(make("trait_0"));
  with.parse().add_routing_root(with.model().module("BLK"), 2);
  const auto excluded = [](BUILD_CASE& c, const char* name) {
    return ACCESS::do_exclude_node(c.builder(), c.model().uip(name));
  };
  EXPECT_TRUE(excluded(with, "b:i"));
  EXPECT_FALSE(excluded(with, "b:o"));
  EXPECT_FALSE(excluded(with, "b:io"));
  EXPECT_TRUE(excluded(with, "buf:i"));
  EXPECT_TRUE(excluded(with, "buf:o"));
  EXPECT_TRUE(excluded(with, "buf:io"));

  BUILD_CASE without(make(""));
  without.parse().add_routing_root(without.model().module("BLK"), 2);
  for (const char* name : {"b:i", "b:o", "b:io", "buf:i", "buf:o", "buf:io"})
    EXPECT_FALSE(excluded(without, name)) << name;
}

TEST(BuildSpareRow, KeepsOnlyPortsWhoseWireTypeAllowsIt) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module ROW ip_root
      inst plain MUX header
      inst allowed MUX header
      inst other MUX header
      net n plain.o allowed.a
      net q allowed.o other.a
      net r other.o plain.a
    module TOP top
      inst spare ROW
      inst used ROW
      inst unknown ROW
      inst m MUX header
      net n m.o m.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.parse().add_routing_root(c.model().module("ROW"), 0);
  const auto type = [&](const char* instance, unsigned char flags) {
    c.store()->add_wire_type(
        KEP_RELATIVE_PATH::create({c.model().instance(instance)}, c.model().port("MUX:o")), "w", flags);
  };
  type("ROW/allowed", 2);
  type("ROW/other", 0xfd);
  c.db()->get_legacy_api()->set_spare_row(c.model().unfolded_instance("spare"), true);
  c.db()->get_legacy_api()->set_spare_row(c.model().unfolded_instance("used"), false);
  c.build_nodes();
  EXPECT_THAT(c.built_nodes(),
              ElementsAre("spare/allowed:o", "used/plain:o", "used/allowed:o", "used/other:o",
                          "unknown/plain:o", "unknown/allowed:o", "unknown/other:o", "m:o"));
  EXPECT_EQ(c.builder().get_node_stats().m_eliminated_num_nodes, 2U);
}

} // namespace build_blc_test
