// The last step of a build: the graph that the database shows before it and behind it.

#include "tests/support/graph_text.h"
#include "tests/support/two_tiles.h"

#include <gtest/gtest.h>

#include <string>

namespace publish_test {

using RoutingBuilder = test_model::TwoTiles;
using test_model::FANOUTS;
using test_model::GRAPH_BUILD;
using test_model::module;
using test_model::uip;
using test_model::whole_graph;

TEST_F(RoutingBuilder, TheOldGraphShowsUntilTheReverseEdgesAreAdded) {
  {
    GRAPH_BUILD build(*m_db);
    EXPECT_EQ(whole_graph(*m_db), "") << "before the first build there is no node";
    build.add("t/m:z");
    build.add("t/k:z");
    build.sort();
    build.set(build.find("t/m:z"), {{build.find("t/k:z"), {}}});
    EXPECT_EQ(whole_graph(*m_db), "");
    build.publish();
  }
  const std::string first = "t/m:z 1 of 1\nt/m:z -> t/k:z\nt/k:z 0 of 0\n  from t/m:z\n";
  EXPECT_EQ(whole_graph(*m_db), first) << "the graph outlives its builder";
  KEP_ROUTING::GRAPH* const graph = m_db->get_routing_template_graph();
  {
    GRAPH_BUILD given_up(*m_db);
    given_up.add("u/m:z");
    given_up.sort();
    EXPECT_EQ(whole_graph(*m_db), first);
  }
  EXPECT_EQ(whole_graph(*m_db), first) << "a build that is given up leaves it";
  GRAPH_BUILD second(*m_db);
  second.add("u/m:z");
  second.sort();
  EXPECT_EQ(whole_graph(*m_db), first);
  second.publish();
  EXPECT_EQ(whole_graph(*m_db), "u/m:z 0 of 0\n");
  EXPECT_EQ(m_db->get_routing_template_graph(), graph) << "the object stays the same";
}

TEST_F(RoutingBuilder, PublishesTheNodesOfAGraphThatWasNeverSortedInTheirOrder) {
  const auto publish = [this](bool sorts) {
    GRAPH_BUILD build(*m_db);
    for (const char* name : {"u/k:z", "t/k:z", "u/m:z", "t/m:z"})
      build.add(name);
    build.add_hipi(uip(*m_db, "t/k:z"));
    if (sorts) build.sort();
    build.publish();
    return whole_graph(*m_db);
  };
  const std::string unsorted = publish(false);
  EXPECT_EQ(unsorted, "t/m:z 0 of 0\nt/k:z 0 of 0\nt/k:z* 0 of 0\nu/m:z 0 of 0\nu/k:z 0 of 0\n");
  EXPECT_EQ(unsorted, publish(true));
}

TEST_F(RoutingBuilder, AnEmptyBuildPublishesAnEmptyGraph) {
  GRAPH_BUILD build(*m_db);
  build.sort();
  build.publish();
  EXPECT_EQ(whole_graph(*m_db), "");
  EXPECT_TRUE(m_db->get_routing_template_graph()->iter_nodes_with_grain(10000).empty());
}

TEST_F(RoutingBuilder, RefusesMoreThan65535FaninsByNameAndKeepsTheOldGraph) {
  {
    GRAPH_BUILD build(*m_db);
    build.add("t/k:z");
    build.sort();
    build.publish();
  }
  GRAPH_BUILD build(*m_db);
  build.add("t/m:z");
  build.add("t/k:z");
  build.add("u/m:z");
  build.sort();
  build.set(build.find("t/m:z"), FANOUTS(40000, {build.find("u/m:z"), {}}));
  build.set(build.find("t/k:z"), {}, FANOUTS(40000, {build.find("u/m:z"), {}}));
  try {
    build.publish();
    FAIL() << "80000 fanins were taken";
  } catch (const KEP_DB_ERROR& error) {
    EXPECT_STREQ(error.what(), "node u/m:z has 80000 fanins, more than the 65535 that a node can have");
  }
  EXPECT_EQ(whole_graph(*m_db), "t/k:z 0 of 0\n");
}

TEST_F(RoutingBuilder, TheDescriptionStaysWhileGraphsComeAndGo) {
  KEP_ROUTING_PRIMITIVE* store = m_db->get_routing_template_graph()->get_routing_primitive();
  store->add_routing_root(module(*m_db, "TILE"));
  GRAPH_BUILD build(*m_db);
  build.add("t/m:z");
  build.sort();
  build.publish();
  EXPECT_EQ(m_db->get_routing_template_graph()->get_routing_primitive(), store);
  EXPECT_FALSE(store->iter_routing_roots(false).empty());
}

} // namespace publish_test
