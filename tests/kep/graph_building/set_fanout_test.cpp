// Fanouts of nodes under construction, told by nodes or by runs.

#include "tests/support/graph_text.h"
#include "tests/support/two_tiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace set_fanout_test {

using RoutingBuilder = test_model::TwoTiles;
using test_model::BUILDER_NODE;
using test_model::FANOUTS;
using test_model::GRAPH_BUILD;
using test_model::uip;
using testing::HasSubstr;

using EDGES = KEP_ROUTING_BUILDER_EDGE_BUILDER;

/// How folded fanouts tell a mux input.
std::uint32_t difference(const KEP_DB& db, const char* mux_input, const char* target) {
  return uip(db, mux_input).m_object->get_number() - uip(db, target).m_object->get_number();
}

TEST_F(RoutingBuilder, RefusesMoreThan65535EdgesOfOneKindByName) {
  GRAPH_BUILD build(*m_db);
  build.add("t/m:z");
  build.add("u/m:z");
  build.sort();
  BUILDER_NODE* node = build.find("t/m:z");
  const FANOUTS too_many(65536, {build.find("u/m:z"), {}});
  const auto refusal = [&](const FANOUTS& real, const FANOUTS& redundant) -> std::string {
    try {
      build.set(node, real, redundant);
    } catch (const KEP_DB_ERROR& error) {
      return error.what();
    }
    return "taken";
  };
  EXPECT_EQ(refusal(too_many, {}),
            "node t/m:z has 65536 real fanouts, more than the 65535 that a node can have");
  EXPECT_EQ(refusal({}, too_many),
            "node t/m:z has 65536 redundant fanouts, more than the 65535 that a node can have");
  const FANOUTS half(40000, {build.find("u/m:z"), {}});
  EXPECT_THAT(refusal(half, half), HasSubstr("t/m:z has 80000 fanouts,"))
      << "the count of all edges must not wrap around";
}

TEST_F(RoutingBuilder, Takes65535Edges) {
  GRAPH_BUILD build(*m_db);
  build.add("t/m:z");
  build.add("u/m:z");
  build.sort();
  const FANOUTS most(65535, {build.find("u/m:z"), {}});
  build.set(build.find("t/m:z"), most);
  build.publish();
  const KEP_ROUTING::NODE node(uip(*m_db, "t/m:z"), false);
  EXPECT_EQ(node.get_num_edges(), 65535U);
  EXPECT_EQ(node.get_num_real_edges(), 65535U);
  EXPECT_EQ(KEP_ROUTING::NODE(uip(*m_db, "u/m:z"), false).get_num_fanin(), 65535U);
  EXPECT_EQ(std::distance(node.iter_real_fanout().begin(), node.iter_real_fanout().end()), 65535);
}

TEST_F(RoutingBuilder, TwoEmptyListsOfFanoutsChangeNothing) {
  GRAPH_BUILD build(*m_db);
  build.add("t/m:z");
  build.add("u/m:z");
  build.sort();
  build.set(build.find("t/m:z"), {});
  build.set(build.find("u/m:z"), {{build.find("t/m:z"), {}}});
  build.set(build.find("u/m:z"), {});
  build.publish();
  EXPECT_EQ(m_db->get_routing_template_graph()->get_num_real_edges(), 1U);
  EXPECT_EQ(m_db->get_routing_template_graph()->get_num_templates(), 1U);
}

TEST_F(RoutingBuilder, TakesFanoutsAsRunsOfWhatThePlacesOfAModuleHave) {
  GRAPH_BUILD build(*m_db);
  for (const char* name : {"t/m:z", "t/k:z", "u/k:z"})
    build.add(name);
  build.sort();
  EDGES& edges = build.edges();
  const auto target = [&](const char* name) { return edges.find_target(*uip(*m_db, name).m_object); };
  EXPECT_EQ(target("t/m:a"), EDGES::NO_TARGET);
  EXPECT_EQ(target("u/m:z"), target("t/m:z")) << "a node somewhere is enough";
  EXPECT_TRUE(edges.has_all_nodes(occurrence_of("t/m:z")));
  EXPECT_FALSE(edges.has_all_nodes(occurrence_of("u/m:z")));

  const EDGES::FOLDED_FANOUT fanouts[] = {{target("t/m:z"), EDGES::NO_MUX_INPUT},
                                          {target("t/k:z"), difference(*m_db, "t/k:a", "t/k:z")}};
  const std::uint32_t to_u =
      edges.get_place(occurrence_of("u/m:z")) - edges.get_place(occurrence_of("t/m:z"));
  const EDGES::FOLDED_RUN runs[] = {{fanouts, 2, 0}, {fanouts, 2, to_u}};
  const EDGES::FANOUT_RUNS in_both{runs, 2, edges.get_place(occurrence_of("t/m:z"))};
  const EDGES::FANOUT_RUNS in_u{runs, 1, edges.get_place(occurrence_of("u/m:z"))};
  const EDGES::FANOUT_COUNTS counts = edges.set_fanout(build.find("t/m:z"), {in_both}, {in_u});
  EXPECT_EQ(counts.m_num_real, 2U) << "without the node itself";
  EXPECT_EQ(counts.m_num_redundant, 1U);
  EXPECT_EQ(counts.m_num_missing, 2U) << "u/m:z in either list";
  build.publish();
  EXPECT_EQ(test_model::whole_graph(*m_db), "t/m:z 2 of 3\n"
                                            "t/m:z -> t/k:z via t/k:a\n"
                                            "t/m:z -> u/k:z via u/k:a\n"
                                            "t/m:z ~> u/k:z via u/k:a\n"
                                            "t/k:z 0 of 0\n"
                                            "  from t/m:z\n"
                                            "u/k:z 0 of 0\n"
                                            "  from t/m:z\n"
                                            "  from t/m:z\n");
}

TEST_F(RoutingBuilder, TellsWhereNodesStandByTheirTargets) {
  GRAPH_BUILD build(*m_db);
  for (const char* name : {"t/m:z", "t/k:z", "u/k:z"})
    build.add(name);
  build.sort();
  const EDGES& edges = build.edges();
  EXPECT_EQ(edges.get_num_targets(occurrence_of("u/k:z")), 2U) << "as many as at any place of the module";
  for (const char* name : {"t/m:z", "t/k:z", "u/k:z"}) {
    const EDGES::SEAT seat = edges.get_seat(*build.find(name));
    EXPECT_EQ(seat.m_place, edges.get_place(occurrence_of(name))) << name;
    EXPECT_EQ(seat.m_target, edges.find_target(*uip(*m_db, name).m_object)) << name;
    EXPECT_EQ(edges.get_inst_port(occurrence_of(name), seat.m_target),
              uip(*m_db, name).m_object->get_number())
        << name;
  }
}

TEST_F(RoutingBuilder, FoldsFanoutsHoweverTheyWereTold) {
  GRAPH_BUILD build(*m_db);
  for (const char* name : {"t/m:z", "t/k:z", "u/m:z", "u/k:z"})
    build.add(name);
  build.sort();
  EDGES& edges = build.edges();
  build.set(build.find("t/m:z"), {{build.find("t/k:z"), uip(*m_db, "t/k:a")}});
  const EDGES::FOLDED_FANOUT fanout{edges.find_target(*uip(*m_db, "u/k:z").m_object),
                                    difference(*m_db, "u/k:a", "u/k:z")};
  const EDGES::FOLDED_RUN run{&fanout, 1, 0};
  edges.set_fanout(build.find("u/m:z"), {{&run, 1, edges.get_place(occurrence_of("u/m:z"))}}, {});
  EXPECT_EQ(edges.get_num_templates(), 1);
  edges.set_fanout(build.find("u/k:z"), {}, {});
  build.publish();
  EXPECT_EQ(edges.get_num_templates(), 1) << "the finished graph has taken it";
  EXPECT_EQ(test_model::whole_graph(*m_db), "t/m:z 1 of 1\n"
                                            "t/m:z -> t/k:z via t/k:a\n"
                                            "t/k:z 0 of 0\n"
                                            "  from t/m:z\n"
                                            "u/m:z 1 of 1\n"
                                            "u/m:z -> u/k:z via u/k:a\n"
                                            "u/k:z 0 of 0\n"
                                            "  from u/m:z\n");
}

TEST_F(RoutingBuilder, RefusesTooManyFanoutsOfRunsByName) {
  GRAPH_BUILD build(*m_db);
  build.add("t/m:z");
  build.add("u/m:z");
  build.sort();
  const std::vector<EDGES::FOLDED_FANOUT> most(
      65535, {build.edges().find_target(*uip(*m_db, "t/m:z").m_object), EDGES::NO_MUX_INPUT});
  const EDGES::FOLDED_RUN folded{most.data(), 65535, 0};
  const EDGES::FANOUT_RUNS run{&folded, 1, build.edges().get_place(occurrence_of("u/m:z"))};
  EXPECT_EQ(build.edges().set_fanout(build.find("t/m:z"), {run}, {}).m_num_real, 65535U);
  for (const bool redundant : {false, true})
    try {
      build.edges().set_fanout(build.find("t/m:z"), {run}, {redundant ? run : EDGES::FANOUT_RUNS{}});
      EXPECT_FALSE(redundant) << "taken";
    } catch (const KEP_DB_ERROR& error) {
      EXPECT_TRUE(redundant);
      EXPECT_THAT(error.what(), HasSubstr("t/m:z"));
    }
}

TEST_F(RoutingBuilder, CountsTheDistinctListsOfFanoutsAsSeenFromTheirNodes) {
  GRAPH_BUILD build(*m_db);
  for (const char* name : {"t/m:a", "t/m:z", "t/k:a", "t/k:z", "u/m:a", "u/m:z", "u/k:a", "u/k:z"})
    build.add(name);
  build.sort();
  for (const std::string tile : {"t", "u"})
    for (const std::string mux : {"m", "k"})
      build.set(build.find((tile + "/" + mux + ":a").c_str()),
                {{build.find((tile + "/" + mux + ":z").c_str()), uip(*m_db, tile + "/" + mux + ":a")}});
  EXPECT_EQ(build.edges().get_num_templates(), 2); // of "m" and of "k", in both tiles
  const int templates = build.edges().get_num_templates();
  build.publish();
  EXPECT_EQ(m_db->get_routing_template_graph()->get_num_templates(), static_cast<std::uint64_t>(templates));
  EXPECT_EQ(test_model::nodes_of(*m_db).size(), 8U);
  EXPECT_EQ(test_model::edges_of(*m_db).size(), 4U);
}

} // namespace set_fanout_test
