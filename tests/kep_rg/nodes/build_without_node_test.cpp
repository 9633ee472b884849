// Outputs of muxes that become no node: each is counted once, under its reason.

#include "tests/support/build_case.h"
#include "tests/support/fabric_case.h"
#include "tests/support/failure_text.h"
#include "tests/support/random_device.h"
#include "tests/support/seeds.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

namespace build_without_node_test {

using REASON = KEP_RG_OUTPUTS_WITHOUT_NODE::REASON;
using test_model::FABRIC_CASE;
using test_model::RANDOM_DEVICE;
using test_model::SEEDS;

const KEP_RG_OUTPUTS_WITHOUT_NODE& built(BUILD_CASE& c) {
  c.build_nodes();
  return c.builder().get_outputs_without_node();
}

/// The reasons and their numbers, with the first port or instance of each.
std::string text_of(const KEP_RG_OUTPUTS_WITHOUT_NODE& outputs) {
  std::string text;
  for (std::size_t i = 0; i != outputs.m_counts.size(); ++i)
    if (outputs.m_counts[i].m_number != 0)
      text += fmt::format("{} {} ({})\n", outputs.m_counts[i].m_number,
                          KEP_RG_OUTPUTS_WITHOUT_NODE::get_text(static_cast<REASON>(i)),
                          outputs.m_counts[i].m_example);
  return text;
}

TEST(BuildWithoutNode, TellsPortsWithoutHeaderAndUnconnectedOnes) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o <p
    module TILE
      inst bare MUX
      inst m MUX header
      net n bare.o m.a
    module TOP top
      inst t0 TILE
      inst t1 TILE
  )");
  c.arcs("MUX", {"a"}, "o");
  c.arcs("MUX", {"a"}, "p");
  EXPECT_EQ(text_of(built(c)), "4 no inst header and no wire type (t0/bare:o)\n4 unconnected (t0/m:o)\n");
  EXPECT_EQ(KEP_RG::format_outputs_without_node(c.builder().get_outputs_without_node()),
            "4 no inst header and no wire type; 4 unconnected");
  EXPECT_EQ(c.builder().get_node_stats().m_eliminated_num_nodes, 4U) << "this counter counts as ever";
}

TEST(BuildWithoutNode, CountsNothingWhereEveryOutputIsANode) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top
      inst m MUX header
      inst n MUX header
      net n m.o n.a
      net q n.o m.a
  )");
  c.arcs("MUX", {"a"}, "o");
  EXPECT_EQ(text_of(built(c)), "");
  EXPECT_EQ(KEP_RG::format_outputs_without_node(c.builder().get_outputs_without_node()), "");
}

TEST(BuildWithoutNode, AnInsertedPortThatHasItsNodeIsNotCounted) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top
      inst bare MUX
      inst m MUX header
      net n bare.o m.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.insert("MUX:o");
  EXPECT_EQ(text_of(built(c)), "1 unconnected (m:o)\n");
}

TEST(BuildWithoutNode, TellsSkipPathsOfAModuleAndOfAnInstance) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module SKIP
      ports >a <o
    module TOP top
      inst s SKIP header
      inst m MUX header
      inst k MUX header
      net n s.o m.a
      net o m.o k.a
      net p k.o s.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.arcs("SKIP", {"a"}, "o", true);
  c.parse().set_skip_paths(c.model().instance("TOP/k"), true);
  EXPECT_EQ(text_of(built(c)), "2 behind a skip path (s:o)\n");
}

TEST(BuildWithoutNode, TellsInstancesThatAreNamedLikeNonTemplateMuxes) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TOP top
      inst my_skip_mux MUX header
      inst m MUX header
      net n my_skip_mux.o m.a
      net o m.o my_skip_mux.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.parse().set_non_template_mux_skip_path_inst_name_pattern("skip");
  EXPECT_EQ(text_of(built(c)), "1 named like a non-template mux (my_skip_mux:o)\n");
}

TEST(BuildWithoutNode, TellsOutputsAtWhichAnArcBeginsToo) {
  BUILD_CASE c(R"(
    module MUX
      ports >a =b <o
    module TOP top
      inst m MUX header
      net n m.o m.a m.b
  )");
  c.arcs("MUX", {"a"}, "b");
  c.arcs("MUX", {"b"}, "o");
  EXPECT_EQ(text_of(built(c)), "1 where an arc begins, too (m:b)\n");
}

TEST(BuildWithoutNode, TellsMuxesInsideMuxesAndBelowRootsThatAreNotRouted) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module BOX
      inst x MUX header
      inst y MUX header
    module OUTER
      ports >a <o
      inst b BOX
      inst c BOX
    module ROOT ip_root
      inst b BOX
    module TOP top
      inst m OUTER header
      inst r ROOT
      net n m.o m.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.arcs("OUTER", {"a"}, "o");
  EXPECT_EQ(text_of(built(c)), "4 inside another mux (m)\n2 in an IP root that is no routing root (r)\n");
}

TEST(BuildWithoutNode, TellsRemovedPortsAndTraitsInsideBlcs) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o <p
    module MUX_BLC view=BLC trait_0
      ports =a =b
    module ROOT group=r ip_root
      ports >i
    module ROOT_BLC group=r ip_root view=BLC
      ports >i
      inst m MUX
      inst k MUX_BLC
      inst l MUX_BLC buffer
      net n i m.a m.o m.p k.a k.b l.a l.b
    module TOP top
      inst r ROOT
      inst s ROOT
      net n r.i s.i
  )");
  c.arcs("MUX", {"a"}, "o");
  c.arcs("MUX", {"a"}, "p");
  c.arcs("MUX_BLC", {"a"}, "b");
  c.parse().add_routing_root(c.model().module("ROOT"), 2);
  c.store()->add_remove_node(c.model().port("MUX:p"));
  EXPECT_EQ(text_of(built(c)), "2 removed (r/m:p)\n2 left out by a BLC trait (r/l:b)\n");
}

TEST(BuildWithoutNode, TellsSpareRowsAndPartsThatGaveNothingAtFirst) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module EMPTY
      inst x MUX
    module ROOT ip_root
      inst e EMPTY
      inst m MUX header
      net n m.o m.a
    module TOP top
      inst r0 ROOT
      inst r1 ROOT
      inst r2 ROOT
  )");
  c.arcs("MUX", {"a"}, "o");
  c.parse().add_routing_root(c.model().module("ROOT"), 0);
  c.db()->get_legacy_api()->set_spare_row(c.db()->find_unfolded_instances("r1").front(), true);
  EXPECT_EQ(text_of(built(c)), "1 no inst header and no wire type (r0/e/x:o)\n"
                               "1 in a spare row (r1/m:o)\n"
                               "2 in a part of an IP root whose first occurrence gave no node (r1/e)\n");
}

TEST(BuildWithoutNode, GroupsTheDigitsOfLargeNumbers) {
  KEP_RG_OUTPUTS_WITHOUT_NODE outputs;
  outputs.m_counts[static_cast<std::size_t>(REASON::UNCONNECTED)].m_number = 120000;
  outputs.m_counts[static_cast<std::size_t>(REASON::REMOVED)].m_number = 999;
  outputs.m_counts[static_cast<std::size_t>(REASON::SKIP)].m_number = 1234567890;
  EXPECT_EQ(KEP_RG::format_outputs_without_node(outputs), "120,000 unconnected; "
                                                          "999 removed; 1,234,567,890 behind a skip path");
  EXPECT_EQ(outputs.get_total(), 1234688889U);
  EXPECT_EQ(outputs.get(REASON::REMOVED).m_number, 999U);
}

/// Every output of a mux that routing sees, place by place, and which of them have nodes.
struct NAIVE_COUNT {
  BUILD_CASE& m_case;
  std::uint64_t m_outputs = 0;
  std::uint64_t m_nodes = 0;

  void visit(const KEP_UNFOLDED_MODULE& module) {
    const KEP_VIEW_TYPE_RANK& rank = KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank;
    const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache = *m_case.builder().find_routing_primitive_cache();
    for (const KEP_UNFOLDED_INSTANCE& instance : module.iter_instances()) {
      const KEP_UNFOLDED_MODULE master = instance.get_module(rank);
      if (!master) continue;
      for (const KEP_PORT* port : master.m_object->iter_ports()) {
        if (!cache.is_arc_output(port)) continue;
        ++m_outputs;
        const KEP_UNFOLDED_INST_PORT uip = instance.get_unfolded_inst_port_by_index(port->get_index());
        if (m_case.builder().get_node_cache().find_routing_node(uip)) ++m_nodes;
      }
      visit(master);
    }
  }
};

struct SEEN {
  std::uint64_t m_nodes = 0;
  std::array<std::uint64_t, KEP_RG_OUTPUTS_WITHOUT_NODE::NUM_REASONS> m_reasons{};
};

void compare(BUILD_CASE& c, SEEN& seen) {
  const KEP_RG_OUTPUTS_WITHOUT_NODE& outputs = built(c);
  NAIVE_COUNT naive{c};
  KEP_UNFOLDED_MODULE top;
  for (const KEP_VIEW_TYPE view : {KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL, KEP_VIEW_TYPE::DEFAULT_VIEW})
    if (!top) top = c.db()->get_top_unfolded_module(view);
  naive.visit(top);
  EXPECT_EQ(naive.m_nodes + outputs.get_total(), naive.m_outputs) << text_of(outputs);
  seen.m_nodes += naive.m_nodes;
  for (std::size_t i = 0; i != seen.m_reasons.size(); ++i) {
    seen.m_reasons[i] += outputs.m_counts[i].m_number;
    EXPECT_EQ(outputs.m_counts[i].m_example.empty(), outputs.m_counts[i].m_number == 0);
  }
}

TEST(BuildWithoutNode, WithTheNodesMakesUpAllOutputsOfMuxesOnRandomDevices) {
  SEEN seen;
  for (const std::uint64_t seed : SEEDS(1, 1500)) {
    RANDOM_DEVICE device(seed);
    BUILD_CASE c(device.text());
    device.describe(c);
    if (seed % 3 == 0) c.arcs("MUX", {"o"}, "b");
    if (seed % 5 == 0) c.parse().set_non_template_mux_skip_path_inst_name_pattern("3");
    if (seed % 7 == 0) c.store()->add_remove_node(c.model().port("MUX:o"));
    if (c.builder().find_refusal().empty())
      compare(c, seen);
    else
      EXPECT_THAT(failure_text([&] { c.build_nodes(); }), testing::HasSubstr("No port list found"));
    FABRIC_CASE fabric(seed);
    compare(fabric, seen);
  }
  EXPECT_GT(seen.m_nodes, 1000U);
  for (const REASON reason : {REASON::NO_HEADER, REASON::UNCONNECTED, REASON::REMOVED, REASON::SKIP,
                              REASON::NAME_PATTERN, REASON::ARC_INPUT, REASON::ROOT_NOT_ROUTED})
    EXPECT_GT(seen.m_reasons[static_cast<std::size_t>(reason)], 5U)
        << KEP_RG_OUTPUTS_WITHOUT_NODE::get_text(reason);
}

} // namespace build_without_node_test
