// Nodes of a graph under construction: made, found, walked and sorted.

#include "kep/kep_routing_builder.h"
#include "kep_report/kep_report_assert.h"
#include "kep_report/kep_report_capture.h"
#include "tests/support/graph_text.h"
#include "tests/support/two_tiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace routing_builder_test {

using RoutingBuilder = test_model::TwoTiles;
using test_model::BUILDER_NODE;
using test_model::GRAPH_BUILD;
using test_model::nodes_of;
using test_model::text_of;
using test_model::uip;
using testing::ElementsAre;

const KEP_NAME_STYLE STYLE{};

TEST_F(RoutingBuilder, ANewGraphIsEmpty) {
  for (const std::size_t init_size : {0U, 1U, 64U}) {
    KEP_ROUTING_BUILDER_GRAPH* graph = KEP_ROUTING_BUILDER_GRAPH::create(m_db.get(), init_size);
    EXPECT_EQ(graph->get_node_count(), 0U);
    EXPECT_EQ(graph->get_db(), m_db.get());
    const auto range = graph->iter_nodes(1);
    EXPECT_TRUE(range.empty());
    EXPECT_FALSE(range.is_divisible());
    EXPECT_EQ(range.begin(), range.end());
    KEP_ROUTING_BUILDER_GRAPH::destroy(graph);
  }
}

TEST_F(RoutingBuilder, ANodeKnowsAtWhatItStands) {
  GRAPH_BUILD build(*m_db);
  const BUILDER_NODE* boundary = build.add(m_p);
  const BUILDER_NODE* plain = build.add("t/m:z");
  const BUILDER_NODE* hipi = build.add_hipi(uip(*m_db, "t/m:z"));
  EXPECT_EQ(build.graph()->get_node_count(), 3U);
  EXPECT_TRUE(boundary->is_boundary());
  EXPECT_FALSE(boundary->is_hipi());
  EXPECT_EQ(boundary->get_port(), m_p);
  EXPECT_EQ(boundary->get_unfolded_inst_port(), KEP_UNFOLDED_INST_PORT());
  EXPECT_EQ(boundary->get_name(STYLE), ":p");
  EXPECT_FALSE(plain->is_boundary());
  EXPECT_FALSE(plain->is_hipi());
  EXPECT_EQ(plain->get_port(), nullptr);
  EXPECT_EQ(plain->get_unfolded_inst_port(), uip(*m_db, "t/m:z"));
  EXPECT_EQ(plain->get_name(STYLE), "t/m:z");
  EXPECT_TRUE(hipi->is_hipi());
  EXPECT_EQ(hipi->get_unfolded_inst_port(), plain->get_unfolded_inst_port());
  EXPECT_NE(plain->get_key(), hipi->get_key());
  EXPECT_EQ(plain->get_occurrence(), hipi->get_occurrence());
  EXPECT_NE(plain->get_occurrence(), boundary->get_occurrence());
  EXPECT_EQ(build.graph()->get_node(plain->get_index()), plain);
}

TEST_F(RoutingBuilder, TheCacheFindsPlainAndHipiAndBoundaryNodes) {
  GRAPH_BUILD build(*m_db);
  const auto expect_found = [&](const char* when) {
    SCOPED_TRACE(when);
    const auto at = uip(*m_db, "t/m:z");
    EXPECT_EQ(text_of(build.find(at)), "t/m:z") << "the plain node";
    const auto both = build.cache().find_both_routing_nodes(at);
    EXPECT_EQ(both.first, build.find(at));
    EXPECT_EQ(text_of(both.second), "t/m:z*");
    EXPECT_EQ(both.second->get_unfolded_inst_port(), both.first->get_unfolded_inst_port());
    EXPECT_EQ(text_of(build.cache().find_both_routing_nodes(uip(*m_db, "u/m:z")).first), "u/m:z");
    EXPECT_EQ(build.cache().find_both_routing_nodes(uip(*m_db, "u/m:z")).second, nullptr);
    const auto none = build.cache().find_both_routing_nodes(uip(*m_db, "u/m:a"));
    EXPECT_EQ(none.first, nullptr);
    EXPECT_EQ(none.second, nullptr);
    EXPECT_EQ(build.find("u/m:a"), nullptr);
    EXPECT_EQ(build.find(KEP_UNFOLDED_INST_PORT()), nullptr);
    EXPECT_EQ(text_of(build.find(m_p)), ":p");
    EXPECT_EQ(build.find(m_q), nullptr);
    EXPECT_EQ(build.find(static_cast<const KEP_PORT*>(nullptr)), nullptr);
  };
  build.add("u/m:z");
  build.add("t/m:z");
  build.add_hipi(uip(*m_db, "t/m:z"));
  build.add(m_p);
  expect_found("before the sort");
  build.sort();
  expect_found("after the sort");
}

TEST_F(RoutingBuilder, TheCacheKeepsTheFirstOfTwoNodesAtOnePlace) {
  GRAPH_BUILD build(*m_db);
  BUILDER_NODE* first = BUILDER_NODE::allocate(build.graph(), uip(*m_db, "t/m:z"));
  BUILDER_NODE* second = BUILDER_NODE::allocate(build.graph(), uip(*m_db, "t/m:z"));
  EXPECT_TRUE(build.cache().add_routing_node(first));
  EXPECT_FALSE(build.cache().add_routing_node(second));
  EXPECT_EQ(build.find("t/m:z"), first);
  BUILDER_NODE* boundary = BUILDER_NODE::allocate(build.graph(), m_p);
  EXPECT_TRUE(build.cache().add_routing_node(boundary));
  EXPECT_FALSE(build.cache().add_routing_node(BUILDER_NODE::allocate(build.graph(), m_p)));
  EXPECT_EQ(build.find(m_p), boundary);
}

TEST_F(RoutingBuilder, NodesAllocatedDuringAWalkAreNotVisited) {
  GRAPH_BUILD build(*m_db);
  build.add("t/m:z");
  build.add("t/k:z");
  unsigned visited = 0;
  for (BUILDER_NODE* node : build.graph()->iter_nodes(1)) {
    build.add_hipi(node->get_unfolded_inst_port());
    ++visited;
  }
  EXPECT_EQ(visited, 2U);
  EXPECT_EQ(build.graph()->get_node_count(), 4U);
}

TEST_F(RoutingBuilder, TheSortPutsBoundaryNodesFirstAndTwinsBehindTheirPlainNodes) {
  GRAPH_BUILD build(*m_db);
  build.add("u/k:z");
  build.add_hipi(uip(*m_db, "u/k:z"));
  build.add(m_q);
  build.add("t/m:z");
  build.add("u/k:a");
  build.add(m_p);
  build.add("t/m:b");
  build.add("u:out");
  build.add_hipi(uip(*m_db, "t/m:b"));
  build.sort();
  EXPECT_THAT(nodes_of(*build.graph()),
              ElementsAre(":p", ":q", "u:out", "t/m:b", "t/m:b*", "t/m:z", "u/k:a", "u/k:z", "u/k:z*"));
  unsigned index = 0;
  for (const BUILDER_NODE* node : build.graph()->iter_nodes(1)) {
    EXPECT_EQ(node->get_index(), index);
    EXPECT_EQ(build.graph()->get_node(index++), node);
  }
}

TEST_F(RoutingBuilder, MakesNoNodesBehindTheSort) {
  const KEP_REPORT_CAPTURE capture;
  GRAPH_BUILD build(*m_db);
  build.add("t/m:z");
  build.sort();
  EXPECT_THROW(build.add("u/m:z"), KEP_REPORT_ASSERTION_FAILURE);
}

/// So many muxes side by side.
std::unique_ptr<KEP_DB> make_row(unsigned count) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID mux = builder.add_module("MUX", {});
  builder.add_port(mux, "z", KEP_PORT_DIRECTION::OUTPUT);
  const KEP_MODULE_ID top = builder.add_module("TOP", {});
  for (unsigned i = 0; i != count; ++i)
    builder.add_instance(top, "i" + std::to_string(i), mux, {});
  return KEP_DB_BUILDER::freeze(std::move(builder));
}

/// The nodes of all of them at once.
void put_row(GRAPH_BUILD& build, unsigned count) {
  std::vector<std::uint32_t> inst_ports(count);
  std::iota(inst_ports.begin(), inst_ports.end(), 0U);
  constexpr std::uint32_t TOP = 1;
  build.graph()->put_nodes(build.graph()->allocate_nodes(count), TOP,
                           {inst_ports.data(), inst_ports.data() + count});
}

TEST(RoutingBuilderBulk, NodesAreThoseOfTheInstPortsInEachChunk) {
  constexpr unsigned CHUNK = KEP_ROUTING_BUILDER_NODE_CHUNK::NUM_NODES;
  const auto db = make_row(CHUNK + 3);
  GRAPH_BUILD build(*db);
  put_row(build, CHUNK + 3);
  for (const unsigned i : {0U, 1U, CHUNK - 1, CHUNK, CHUNK + 2}) {
    const BUILDER_NODE* node = build.graph()->get_node(i);
    EXPECT_EQ(node->get_index(), i);
    EXPECT_EQ(node->get_name(STYLE), "i" + std::to_string(i) + ":z");
    EXPECT_FALSE(node->is_hipi());
  }
  build.sort();
  for (const unsigned i : {0U, CHUNK - 1, CHUNK, CHUNK + 2})
    EXPECT_EQ(build.graph()->get_node(i)->get_name(STYLE), "i" + std::to_string(i) + ":z");
}

TEST(RoutingBuilderBulk, NodesAreFoundOnceAllAreAdded) {
  const auto db = make_row(3);
  GRAPH_BUILD build(*db);
  const BUILDER_NODE* single = build.add("i1:z");
  EXPECT_EQ(build.graph()->allocate_nodes(2), 1U);
  constexpr std::uint32_t INST_PORTS[] = {2, 0};
  build.graph()->put_nodes(1, single->get_occurrence(), {std::begin(INST_PORTS), std::end(INST_PORTS)});
  EXPECT_EQ(build.find("i2:z"), nullptr) << "it was not added";
  build.cache().add_all_routing_nodes();
  for (const char* name : {"i0:z", "i1:z", "i2:z"})
    EXPECT_EQ(text_of(build.find(name)), name);
  EXPECT_EQ(build.find("i1:z"), single);
  build.sort();
  EXPECT_THAT(nodes_of(*build.graph()), ElementsAre("i0:z", "i1:z", "i2:z"));
}

TEST(RoutingBuilderRanges, SplitIntoPiecesThatHoldEveryNodeOnce) {
  constexpr unsigned COUNT = KEP_ROUTING_BUILDER_NODE_CHUNK::NUM_NODES + 1001;
  const auto db = make_row(COUNT);
  GRAPH_BUILD build(*db, COUNT);
  put_row(build, COUNT);
  ASSERT_EQ(build.graph()->get_node_count(), COUNT);

  using RANGE = KEP_ROUTING_BUILDER_GRAPH::NODE_RANGE;
  for (const unsigned grain : {1U, 10U, COUNT - 1, COUNT, COUNT + 1}) {
    RANGE range = build.graph()->iter_nodes(grain);
    EXPECT_EQ(range.is_divisible(), COUNT > grain);
    EXPECT_FALSE(range.empty());
  }
  RANGE left = build.graph()->iter_nodes(100);
  const RANGE copy(left);
  RANGE right(left, tbb::split());
  EXPECT_EQ(static_cast<unsigned>(std::distance(left.begin(), left.end()) +
                                  std::distance(right.begin(), right.end())),
            COUNT);
  EXPECT_EQ(left.end(), right.begin());
  EXPECT_EQ(copy.begin(), left.begin());
  EXPECT_EQ(copy.end(), right.end());
  EXPECT_FALSE(left.empty());
  EXPECT_FALSE(right.empty());
  EXPECT_TRUE(right.is_divisible());

  std::vector<std::atomic<int>> seen(COUNT);
  tbb::parallel_for(
      build.graph()->iter_nodes(16),
      [&](const RANGE& piece) {
        EXPECT_FALSE(piece.is_divisible());
        for (const BUILDER_NODE* node : piece)
          ++seen[node->get_index()];
      },
      tbb::simple_partitioner());
  for (const std::atomic<int>& each : seen)
    ASSERT_EQ(each, 1);
}

} // namespace routing_builder_test
