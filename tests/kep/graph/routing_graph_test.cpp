#include "kep/kep_routing_graph.h"
#include "tests/support/graph_text.h"
#include "tests/support/two_tiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tbb/parallel_for.h>

#include <atomic>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <vector>

namespace routing_graph_test {

using test_model::FANOUTS;
using test_model::GRAPH_BUILD;
using test_model::make_db;
using test_model::name_of;
using test_model::port;
using test_model::text_of;
using test_model::uip;
using testing::ElementsAre;

const KEP_NAME_STYLE STYLE{};

class RoutingGraph : public test_model::TwoTiles {
protected:
  const KEP_ROUTING::GRAPH& m_graph = *m_db->get_routing_template_graph();

  KEP_ROUTING::NODE node(const char* name, bool hipi = false) const { return {uip(*m_db, name), hipi}; }

  /// p drives t/m:z by both inputs; that drives t/k:z, its twin and q; redundantly u/m:z.
  void build() {
    GRAPH_BUILD made(*m_db);
    for (const char* name : {"t/m:z", "t/k:z", "u/m:z", "u/k:z"})
      made.add(name);
    made.add_hipi(uip(*m_db, "t/k:z"));
    made.add(m_p);
    made.add(m_q);
    made.sort();
    made.set(made.find(m_p),
             {{made.find("t/m:z"), uip(*m_db, "t/m:b")}, {made.find("t/m:z"), uip(*m_db, "t/m:a")}});
    made.set(made.find("t/m:z"),
             {{made.find_hipi(uip(*m_db, "t/k:z")), uip(*m_db, "t/k:a")},
              {made.find("t/k:z"), uip(*m_db, "t/k:b")},
              {made.find(m_q), {}}},
             {{made.find("u/m:z"), uip(*m_db, "u/m:a")}});
    made.set(made.find_hipi(uip(*m_db, "t/k:z")), {{made.find("t/k:z"), {}}});
    made.set(made.find("u/m:z"), {}, {{made.find("t/k:z"), uip(*m_db, "t/k:a")}});
    made.publish();
  }
};

template <class RANGE>
std::vector<std::string> fanouts(const RANGE& range) {
  std::vector<std::string> found;
  for (const KEP_ROUTING::FWD_EDGE& edge : range)
    found.push_back(text_of(edge.get_fanout()) + " " + name_of(edge.get_mux_input()));
  return found;
}

std::vector<std::string> fanins(const KEP_ROUTING::NODE& node) {
  std::vector<std::string> found;
  for (const KEP_ROUTING::REV_EDGE& edge : node.iter_all_fanin())
    found.push_back(text_of(edge.get_fanin()));
  return found;
}

TEST_F(RoutingGraph, ValuesAreSmallAndCopiedAsPlainMemory) {
  static_assert(sizeof(KEP_ROUTING::BASE_NODE) == 8 && sizeof(KEP_ROUTING::NODE) == 16);
  static_assert(std::is_base_of_v<KEP_ROUTING::BASE_NODE, KEP_ROUTING::NODE>);
  static_assert(std::is_trivially_copyable_v<KEP_ROUTING::NODE>);
  static_assert(std::is_trivially_copyable_v<KEP_ROUTING::FWD_EDGE>);
  static_assert(std::is_trivially_copyable_v<KEP_ROUTING::REV_EDGE>);
  static_assert(
      std::is_base_of_v<boost::iterator_range<KEP_ROUTING::NODE_ITER>, KEP_ROUTING::NODE_ITER_RANGE>);
  static_assert(std::is_same_v<decltype(KEP_ROUTING::NODE().get_num_edges()), unsigned short>);
}

TEST_F(RoutingGraph, WithoutNodesIsAnEmptyRange) {
  EXPECT_TRUE(m_graph.iter_nodes().begin() == m_graph.iter_nodes().end());
  EXPECT_TRUE(m_graph.iter_nodes_with_grain(10000).empty());
  EXPECT_FALSE(m_graph.iter_nodes_with_grain(10000).is_divisible());
  EXPECT_EQ(m_graph.get_num_nodes(), 0U);
  EXPECT_EQ(m_graph.get_num_real_edges(), 0U);
  EXPECT_EQ(m_graph.get_num_redundant_edges(), 0U);
  EXPECT_FALSE(node("t/m:z"));
  EXPECT_FALSE(KEP_ROUTING::NODE(m_p));
}

TEST_F(RoutingGraph, TheNullNodeIsFalseAndEqualsItself) {
  const KEP_ROUTING::NODE null;
  EXPECT_FALSE(null);
  EXPECT_EQ(null.m_graph, nullptr);
  EXPECT_TRUE(null == KEP_ROUTING::NODE());
  EXPECT_FALSE(null != KEP_ROUTING::NODE());
  EXPECT_TRUE(static_cast<const KEP_ROUTING::BASE_NODE&>(null) == KEP_ROUTING::NODE(nullptr));
  EXPECT_FALSE(KEP_ROUTING::NODE(nullptr));
  EXPECT_FALSE(KEP_ROUTING::NODE(static_cast<const KEP_PORT*>(nullptr)));
  EXPECT_FALSE(KEP_ROUTING::NODE(KEP_UNFOLDED_INST_PORT(), false));
  EXPECT_FALSE(KEP_ROUTING::NODE(KEP_UNFOLDED_INST_PORT(), true));
  EXPECT_EQ(null.hash(), KEP_ROUTING::NODE(nullptr).hash());
}

TEST_F(RoutingGraph, NodesAreFoundWhereTheyStand) {
  build();
  EXPECT_TRUE(node("t/m:z"));
  EXPECT_EQ(node("t/m:z").m_graph, &m_graph);
  EXPECT_EQ(node("t/m:z").get_unfolded_inst_port(), uip(*m_db, "t/m:z"));
  EXPECT_FALSE(node("t/m:z").is_boundary());
  EXPECT_FALSE(node("t/m:z").is_hipi());
  EXPECT_EQ(node("t/m:z").get_port(), nullptr);
  EXPECT_FALSE(node("t/m:a"));
  EXPECT_FALSE(node("t/m:z", true)) << "no twin stands there";
  EXPECT_TRUE(node("t/k:z", true).is_hipi());
  EXPECT_FALSE(node("t/k:z", false).is_hipi());
  EXPECT_EQ(node("t/k:z", true).get_unfolded_inst_port(), uip(*m_db, "t/k:z"));
  EXPECT_TRUE(node("t/k:z", true) != node("t/k:z", false));
  const KEP_ROUTING::NODE boundary(m_p);
  EXPECT_TRUE(boundary.is_boundary());
  EXPECT_FALSE(boundary.is_hipi());
  EXPECT_EQ(boundary.get_port(), m_p);
  EXPECT_EQ(boundary.get_unfolded_inst_port(), KEP_UNFOLDED_INST_PORT());
  EXPECT_EQ(boundary.get_name(STYLE), ":p");
  EXPECT_EQ(node("t/k:z", true).get_name(STYLE), "t/k:z");
  EXPECT_FALSE(KEP_ROUTING::NODE(port(*m_db, "TILE", "in"))) << "no port of a top";
}

TEST_F(RoutingGraph, EdgesStandInTheOrderInWhichTheyWereSet) {
  build();
  EXPECT_THAT(fanouts(KEP_ROUTING::NODE(m_p).iter_real_fanout()), ElementsAre("t/m:z t/m:b", "t/m:z t/m:a"));
  const KEP_ROUTING::NODE z = node("t/m:z");
  EXPECT_THAT(fanouts(z.iter_real_fanout()), ElementsAre("t/k:z* t/k:a", "t/k:z t/k:b", ":q "));
  EXPECT_THAT(fanouts(z.iter_redundant_fanout()), ElementsAre("u/m:z u/m:a"));
  EXPECT_THAT(fanouts(z.iter_all_fanout()), ElementsAre("t/k:z* t/k:a", "t/k:z t/k:b", ":q ", "u/m:z u/m:a"));
  EXPECT_EQ(z.get_num_edges(), 4U);
  EXPECT_EQ(z.get_num_real_edges(), 3U);
  EXPECT_EQ(z.get_num_fanin(), 2U);
  EXPECT_EQ(node("u/m:z").get_num_edges(), 1U);
  EXPECT_EQ(node("u/m:z").get_num_real_edges(), 0U);
  EXPECT_EQ(m_graph.get_num_nodes(), 7U);
  EXPECT_EQ(m_graph.get_num_real_edges(), 6U);
  EXPECT_EQ(m_graph.get_num_redundant_edges(), 2U);
  EXPECT_GT(m_graph.get_memory_bytes(), 0U);
}

TEST_F(RoutingGraph, AHipiFaninStandsFirst) {
  build();
  EXPECT_THAT(fanins(node("t/k:z")), ElementsAre("t/k:z*", "t/m:z", "u/m:z"));
  EXPECT_EQ(node("t/k:z").get_hipi_node(), node("t/k:z", true));
  EXPECT_EQ((*node("t/k:z").iter_all_fanin().begin()).get_fanin(), node("t/k:z").get_hipi_node());
  EXPECT_FALSE(node("t/m:z").get_hipi_node());
  EXPECT_FALSE(node("t/k:z", true).get_hipi_node()) << "a twin has no twin";
  EXPECT_FALSE(KEP_ROUTING::NODE(m_p).get_hipi_node());
  EXPECT_THAT(fanins(node("t/k:z", true)), ElementsAre("t/m:z"));
  EXPECT_THAT(fanins(node("t/m:z")), ElementsAre(":p", ":p")) << "one for each edge";
  EXPECT_THAT(fanins(KEP_ROUTING::NODE(m_q)), ElementsAre("t/m:z"));
}

TEST_F(RoutingGraph, ANodeWithoutEdgesGivesEmptyRanges) {
  build();
  const KEP_ROUTING::NODE alone = node("u/k:z");
  EXPECT_TRUE(alone.iter_real_fanout().empty());
  EXPECT_TRUE(alone.iter_redundant_fanout().empty());
  EXPECT_TRUE(alone.iter_all_fanout().empty());
  EXPECT_TRUE(alone.iter_all_fanin().empty());
  EXPECT_TRUE(alone.iter_all_fanout().begin() == alone.iter_all_fanout().end());
  EXPECT_EQ(alone.get_num_edges(), 0U);
  EXPECT_EQ(alone.get_num_fanin(), 0U);
}

TEST_F(RoutingGraph, SaysWhereAllNodesOfAModuleStand) {
  EXPECT_FALSE(m_graph.has_all_nodes_at(occurrence_of("t/m:z"))) << "there are none yet";
  build();
  EXPECT_TRUE(m_graph.has_all_nodes_at(occurrence_of("t/m:z")));
  EXPECT_FALSE(m_graph.has_all_nodes_at(occurrence_of("u/m:z"))) << "it lacks the twin";
}

TEST_F(RoutingGraph, EveryNodeComesOnceAndAlwaysInTheSameOrder) {
  build();
  const auto names = [&](const KEP_ROUTING::NODE_ITER_RANGE& range) {
    std::vector<std::string> found;
    for (const KEP_ROUTING::NODE& each : range)
      found.push_back(text_of(each));
    return found;
  };
  EXPECT_THAT(names(m_graph.iter_nodes()),
              ElementsAre(":p", ":q", "t/m:z", "t/k:z", "t/k:z*", "u/m:z", "u/k:z"));
  EXPECT_EQ(names(m_graph.iter_nodes()), names(m_graph.iter_nodes_with_grain(3)));
  EXPECT_THAT(names(m_graph.iter_nodes_with_grain(1, 1, 5)), ElementsAre(":q", "t/m:z", "t/k:z", "t/k:z*"));
  EXPECT_THAT(names(m_graph.iter_nodes_with_grain(1, 6, 7)), ElementsAre("u/k:z"));
  EXPECT_TRUE(m_graph.iter_nodes_with_grain(1, 7, 7).empty());
  std::unordered_set<KEP_ROUTING::NODE> set;
  for (const KEP_ROUTING::NODE& each : m_graph.iter_nodes())
    EXPECT_TRUE(set.insert(each).second);
  EXPECT_EQ(set.size(), 7U);
  EXPECT_EQ(set.count(node("t/k:z", true)), 1U);
  EXPECT_EQ(set.count(KEP_ROUTING::NODE()), 0U);
}

TEST_F(RoutingGraph, RangesOfNodesDivideDownToTheirGrain) {
  build();
  using RANGE = KEP_ROUTING::NODE_ITER_RANGE;
  EXPECT_TRUE(m_graph.iter_nodes_with_grain(6).is_divisible());
  EXPECT_FALSE(m_graph.iter_nodes_with_grain(7).is_divisible()) << "the grain or fewer";
  EXPECT_FALSE(m_graph.iter_nodes_with_grain(10000).is_divisible());
  RANGE left = m_graph.iter_nodes_with_grain(1);
  RANGE right(left, tbb::split());
  const RANGE copy(right);
  EXPECT_EQ(std::distance(left.begin(), left.end()) + std::distance(copy.begin(), copy.end()), 7);
  EXPECT_TRUE(left.end() == right.begin());
  EXPECT_FALSE(left.empty() || right.empty());
  std::atomic<int> nodes = 0;
  tbb::parallel_for(m_graph.iter_nodes(), [&](const RANGE& piece) {
    for (const KEP_ROUTING::NODE& each : piece)
      nodes += each ? 1 : 0;
  });
  EXPECT_EQ(nodes, 7);
}

TEST_F(RoutingGraph, NamesFollowTheStyle) {
  build();
  KEP_NAME_STYLE style;
  style.m_hierarchy_separator = '.';
  style.m_port_separator = '#';
  EXPECT_EQ(node("t/m:z").get_name(style), "t.m#z");
  EXPECT_EQ(KEP_ROUTING::NODE(m_q).get_name(style), "#q");
}

TEST(RoutingGraphs, OfTwoDatabasesHaveDifferentNodes) {
  const auto one = make_db(test_model::TWO_TILES_TEXT);
  const auto two = make_db(test_model::TWO_TILES_TEXT);
  for (KEP_DB* db : {one.get(), two.get()}) {
    GRAPH_BUILD build(*db);
    build.add("t/m:z");
    build.sort();
    build.publish();
  }
  const KEP_ROUTING::NODE first(uip(*one, "t/m:z"), false);
  const KEP_ROUTING::NODE second(uip(*two, "t/m:z"), false);
  EXPECT_TRUE(first && second);
  EXPECT_TRUE(first != second);
}

TEST(RoutingGraphs, KeepTheBoundaryNodesOfPortsOfEveryTop) {
  const auto db = make_db(R"(
    module T top group=t
      ports >p <q
    module T_BLC group=t view=BLC
      ports >p <q
  )");
  GRAPH_BUILD build(*db);
  build.add(port(*db, "T_BLC", "q"));
  build.add(port(*db, "T", "p"));
  build.sort();
  build.set(build.find(port(*db, "T", "p")), {{build.find(port(*db, "T_BLC", "q")), {}}});
  build.publish();
  EXPECT_TRUE(KEP_ROUTING::NODE(port(*db, "T_BLC", "q")).is_boundary());
  EXPECT_FALSE(KEP_ROUTING::NODE(port(*db, "T", "q")));
  EXPECT_EQ(test_model::whole_graph(*db), ":p 1 of 1\n:p -> :q\n:q 0 of 0\n  from :p\n");
}

} // namespace routing_graph_test
