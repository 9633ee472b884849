#include "kep/kep_routing_builder.h"
#include "kep_report/kep_report_assert.h"
#include "kep_report/kep_report_capture.h"
#include "tests/support/graph_fixture.h"
#include "tests/support/naive_hierarchy.h"
#include "tests/support/random_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <atomic>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace routing_builder_test {

using test_model::BUILDER_NODE;
using test_model::FANOUTS;
using test_model::GRAPH_BUILD;
using test_model::make_db;
using test_model::module;
using test_model::name_of;
using test_model::port;
using test_model::uip;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const KEP_NAME_STYLE STYLE{};

const char* const DEVICE = R"(
  module MUX
    ports >a >b <z
  module TILE
    ports >in <out
    inst m MUX
    inst k MUX
  module TOP top
    ports >p <q
    inst t TILE
    inst u TILE
)";

using EDGES = KEP_ROUTING_BUILDER_EDGE_BUILDER;

class RoutingBuilder : public testing::Test {
protected:
  std::uint32_t occurrence_of(const char* name) const {
    return static_cast<std::uint32_t>(uip(*db, name).m_position);
  }

  const std::unique_ptr<KEP_DB> db = make_db(DEVICE);
  KEP_PORT* const p = port(*db, "TOP", "p");
  KEP_PORT* const q = port(*db, "TOP", "q");
};

std::string describe(const BUILDER_NODE* node) {
  return node ? node->get_name(STYLE) + (node->is_hipi() ? "^" : "") : "null";
}

std::vector<std::string> nodes(KEP_ROUTING_BUILDER_GRAPH* graph) {
  std::vector<std::string> found;
  for (const BUILDER_NODE* node : graph->iter_nodes(1))
    found.push_back(describe(node));
  return found;
}

TEST_F(RoutingBuilder, ANewGraphIsEmpty) {
  for (const std::size_t init_size : {0U, 1U, 64U}) {
    KEP_ROUTING_BUILDER_GRAPH* graph = KEP_ROUTING_BUILDER_GRAPH::create(db.get(), init_size);
    EXPECT_EQ(graph->get_node_count(), 0U);
    EXPECT_EQ(graph->get_db(), db.get());
    const auto range = graph->iter_nodes(1);
    EXPECT_TRUE(range.empty());
    EXPECT_FALSE(range.is_divisible());
    EXPECT_EQ(range.begin(), range.end());
    KEP_ROUTING_BUILDER_GRAPH::destroy(graph);
  }
}

TEST_F(RoutingBuilder, ANodeKnowsAtWhatItStands) {
  GRAPH_BUILD build(*db);
  const BUILDER_NODE* boundary = build.add(p);
  const BUILDER_NODE* plain = build.add("t/m:z");
  const BUILDER_NODE* hipi = build.add_hipi(uip(*db, "t/m:z"));
  EXPECT_EQ(build.graph()->get_node_count(), 3U);
  EXPECT_TRUE(boundary->is_boundary());
  EXPECT_FALSE(boundary->is_hipi());
  EXPECT_EQ(boundary->get_port(), p);
  EXPECT_EQ(boundary->get_unfolded_inst_port(), KEP_UNFOLDED_INST_PORT());
  EXPECT_EQ(boundary->get_name(STYLE), ":p");
  EXPECT_FALSE(plain->is_boundary());
  EXPECT_FALSE(plain->is_hipi());
  EXPECT_EQ(plain->get_port(), nullptr);
  EXPECT_EQ(plain->get_unfolded_inst_port(), uip(*db, "t/m:z"));
  EXPECT_EQ(plain->get_name(STYLE), "t/m:z");
  EXPECT_TRUE(hipi->is_hipi());
  EXPECT_EQ(hipi->get_unfolded_inst_port(), plain->get_unfolded_inst_port());
  EXPECT_NE(plain->get_key(), hipi->get_key());
  EXPECT_EQ(plain->get_occurrence(), hipi->get_occurrence());
  EXPECT_NE(plain->get_occurrence(), boundary->get_occurrence());
  EXPECT_EQ(build.graph()->get_node(plain->get_index()), plain);
}

TEST_F(RoutingBuilder, TheCacheFindsPlainAndHipiAndBoundaryNodes) {
  GRAPH_BUILD build(*db);
  const auto expect_found = [&](const char* when) {
    SCOPED_TRACE(when);
    const auto at = uip(*db, "t/m:z");
    EXPECT_EQ(describe(build.find(at)), "t/m:z") << "the plain node";
    const auto both = build.cache().find_both_routing_nodes(at);
    EXPECT_EQ(both.first, build.find(at));
    EXPECT_EQ(describe(both.second), "t/m:z^");
    EXPECT_EQ(both.second->get_unfolded_inst_port(), both.first->get_unfolded_inst_port());
    EXPECT_EQ(describe(build.cache().find_both_routing_nodes(uip(*db, "u/m:z")).first), "u/m:z");
    EXPECT_EQ(build.cache().find_both_routing_nodes(uip(*db, "u/m:z")).second, nullptr);
    const auto none = build.cache().find_both_routing_nodes(uip(*db, "u/m:a"));
    EXPECT_EQ(none.first, nullptr);
    EXPECT_EQ(none.second, nullptr);
    EXPECT_EQ(build.find("u/m:a"), nullptr);
    EXPECT_EQ(build.find(KEP_UNFOLDED_INST_PORT()), nullptr);
    EXPECT_EQ(describe(build.find(p)), ":p");
    EXPECT_EQ(build.find(q), nullptr);
    EXPECT_EQ(build.find(static_cast<const KEP_PORT*>(nullptr)), nullptr);
  };
  build.add("u/m:z");
  build.add("t/m:z");
  build.add_hipi(uip(*db, "t/m:z"));
  build.add(p);
  expect_found("before the sort");
  build.sort();
  expect_found("after the sort");
}

TEST_F(RoutingBuilder, TheCacheKeepsTheFirstOfTwoNodesAtOnePlace) {
  GRAPH_BUILD build(*db);
  BUILDER_NODE* first = BUILDER_NODE::allocate(build.graph(), uip(*db, "t/m:z"));
  BUILDER_NODE* second = BUILDER_NODE::allocate(build.graph(), uip(*db, "t/m:z"));
  EXPECT_TRUE(build.cache().add_routing_node(first));
  EXPECT_FALSE(build.cache().add_routing_node(second));
  EXPECT_EQ(build.find("t/m:z"), first);
  BUILDER_NODE* boundary = BUILDER_NODE::allocate(build.graph(), p);
  EXPECT_TRUE(build.cache().add_routing_node(boundary));
  EXPECT_FALSE(build.cache().add_routing_node(BUILDER_NODE::allocate(build.graph(), p)));
  EXPECT_EQ(build.find(p), boundary);
}

TEST_F(RoutingBuilder, NodesAllocatedDuringAWalkAreNotVisited) {
  GRAPH_BUILD build(*db);
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
  GRAPH_BUILD build(*db);
  build.add("u/k:z");
  build.add_hipi(uip(*db, "u/k:z"));
  build.add(q);
  build.add("t/m:z");
  build.add("u/k:a");
  build.add(p);
  build.add("t/m:b");
  build.add("u:out");
  build.add_hipi(uip(*db, "t/m:b"));
  build.sort();
  EXPECT_THAT(nodes(build.graph()),
              ElementsAre(":p", ":q", "u:out", "t/m:b", "t/m:b^", "t/m:z", "u/k:a", "u/k:z", "u/k:z^"));
  unsigned index = 0;
  for (const BUILDER_NODE* node : build.graph()->iter_nodes(1)) {
    EXPECT_EQ(node->get_index(), index);
    EXPECT_EQ(build.graph()->get_node(index++), node);
  }
}

TEST(RoutingBuilderRanges, SplitIntoPiecesThatHoldEveryNodeOnce) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID mux = builder.add_module("MUX", {});
  builder.add_port(mux, "z", KEP_PORT_DIRECTION::OUTPUT);
  const KEP_MODULE_ID top = builder.add_module("TOP", {});
  constexpr unsigned COUNT = 70001; // more than a chunk of nodes
  for (unsigned i = 0; i != COUNT; ++i)
    builder.add_instance(top, "i" + std::to_string(i), mux, {});
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
  GRAPH_BUILD build(*db, COUNT);
  for (const KEP_UNFOLDED_INSTANCE& each :
       db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW).iter_instances())
    build.add(each.get_unfolded_inst_port_by_index(0));
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

TEST_F(RoutingBuilder, RefusesMoreThan65535EdgesOfOneKindByName) {
  GRAPH_BUILD build(*db);
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

TEST_F(RoutingBuilder, TakesFanoutsAsRunsOfWhatThePlacesOfAModuleHave) {
  GRAPH_BUILD build(*db);
  for (const char* name : {"t/m:z", "t/k:z", "u/k:z"})
    build.add(name);
  build.sort();
  EDGES& edges = build.edges();
  const auto target = [&](const char* name) { return edges.find_target(*uip(*db, name).m_object); };
  EXPECT_EQ(target("t/m:a"), EDGES::NO_TARGET);
  EXPECT_EQ(target("u/m:z"), target("t/m:z")) << "a node somewhere is enough";
  EXPECT_TRUE(edges.has_all_nodes(occurrence_of("t/m:z")));
  EXPECT_FALSE(edges.has_all_nodes(occurrence_of("u/m:z")));

  const EDGES::FOLDED_FANOUT fanouts[] = {{target("t/m:z"), 0},
                                          {target("t/k:z"), uip(*db, "t/k:a").m_object->get_number() + 1}};
  const EDGES::FANOUT_RUN in_t{fanouts, 2, occurrence_of("t/m:z")};
  const EDGES::FANOUT_RUN in_u{fanouts, 2, occurrence_of("u/m:z")};
  const EDGES::FANOUT_COUNTS counts = edges.set_fanout(build.find("t/m:z"), {in_t, in_u}, {in_u});
  EXPECT_EQ(counts.m_num_real, 2U) << "without the node itself";
  EXPECT_EQ(counts.m_num_redundant, 1U);
  EXPECT_EQ(counts.m_num_missing, 2U) << "u/m:z in either list";
  build.publish();
  EXPECT_THAT(test_model::dump(*db),
              ElementsAre("t/m:z", "  > t/k:z t/k:a", "  > u/k:z u/k:a", "  ~ u/k:z u/k:a", "t/k:z",
                          "  < t/m:z", "u/k:z", "  < t/m:z", "  < t/m:z"));
}

TEST_F(RoutingBuilder, PublishesTheNodesOfAGraphThatWasNeverSortedInTheirOrder) {
  const auto publish = [this](bool sorts) {
    GRAPH_BUILD build(*db);
    for (const char* name : {"u/k:z", "t/k:z", "u/m:z", "t/m:z"})
      build.add(name);
    build.add_hipi(uip(*db, "t/k:z"));
    if (sorts) build.sort();
    build.publish();
    return test_model::dump(*db);
  };
  const std::vector<std::string> unsorted = publish(false);
  EXPECT_THAT(unsorted, ElementsAre("t/m:z", "t/k:z", "t/k:z^", "u/m:z", "u/k:z"));
  EXPECT_EQ(unsorted, publish(true));
}

TEST_F(RoutingBuilder, FoldsFanoutsHoweverTheyWereTold) {
  GRAPH_BUILD build(*db);
  for (const char* name : {"t/m:z", "t/k:z", "u/m:z", "u/k:z"})
    build.add(name);
  build.sort();
  EDGES& edges = build.edges();
  build.set(build.find("t/m:z"), {{build.find("t/k:z"), uip(*db, "t/k:a")}});
  const EDGES::FOLDED_FANOUT fanout{edges.find_target(*uip(*db, "u/k:z").m_object),
                                    uip(*db, "u/k:a").m_object->get_number() + 1};
  edges.set_fanout(build.find("u/m:z"), {{&fanout, 1, occurrence_of("u/m:z")}}, {});
  EXPECT_EQ(edges.get_num_templates(), 1);
  edges.set_fanout(build.find("u/k:z"), {}, {});
  build.publish();
  EXPECT_EQ(edges.get_num_templates(), 1) << "the finished graph has taken it";
  EXPECT_THAT(test_model::dump(*db), ElementsAre("t/m:z", "  > t/k:z t/k:a", "t/k:z", "  < t/m:z", "u/m:z",
                                                 "  > u/k:z u/k:a", "u/k:z", "  < u/m:z"));
}

TEST_F(RoutingBuilder, RefusesTooManyFanoutsOfRunsByName) {
  GRAPH_BUILD build(*db);
  build.add("t/m:z");
  build.add("u/m:z");
  build.sort();
  const std::vector<EDGES::FOLDED_FANOUT> most(65535,
                                               {build.edges().find_target(*uip(*db, "t/m:z").m_object), 0});
  const EDGES::FANOUT_RUN run{most.data(), 65535, occurrence_of("u/m:z")};
  EXPECT_EQ(build.edges().set_fanout(build.find("t/m:z"), {run}, {}).m_num_real, 65535U);
  for (const bool redundant : {false, true})
    try {
      build.edges().set_fanout(build.find("t/m:z"), {run}, {redundant ? run : EDGES::FANOUT_RUN{}});
      EXPECT_FALSE(redundant) << "taken";
    } catch (const KEP_DB_ERROR& error) {
      EXPECT_TRUE(redundant);
      EXPECT_THAT(error.what(), HasSubstr("t/m:z"));
    }
}

TEST_F(RoutingBuilder, MakesNoNodesBehindTheSort) {
  const KEP_REPORT_CAPTURE capture;
  GRAPH_BUILD build(*db);
  build.add("t/m:z");
  build.sort();
  EXPECT_THROW(build.add("u/m:z"), KEP_REPORT_ASSERTION_FAILURE);
}

TEST_F(RoutingBuilder, TwoEmptyListsOfFanoutsChangeNothing) {
  GRAPH_BUILD build(*db);
  build.add("t/m:z");
  build.add("u/m:z");
  build.sort();
  build.set(build.find("t/m:z"), {});
  build.set(build.find("u/m:z"), {{build.find("t/m:z"), {}}});
  build.set(build.find("u/m:z"), {});
  build.publish();
  EXPECT_EQ(db->get_routing_template_graph()->get_num_real_edges(), 1U);
  EXPECT_EQ(db->get_routing_template_graph()->get_num_templates(), 1U);
}

TEST_F(RoutingBuilder, Takes65535Edges) {
  GRAPH_BUILD build(*db);
  build.add("t/m:z");
  build.add("u/m:z");
  build.sort();
  const FANOUTS most(65535, {build.find("u/m:z"), {}});
  build.set(build.find("t/m:z"), most);
  build.publish();
  const KEP_ROUTING::NODE node(uip(*db, "t/m:z"), false);
  EXPECT_EQ(node.get_num_edges(), 65535U);
  EXPECT_EQ(node.get_num_real_edges(), 65535U);
  EXPECT_EQ(KEP_ROUTING::NODE(uip(*db, "u/m:z"), false).get_num_fanin(), 65535U);
  EXPECT_EQ(std::distance(node.iter_real_fanout().begin(), node.iter_real_fanout().end()), 65535);
}

TEST_F(RoutingBuilder, RefusesMoreThan65535FaninsByNameAndKeepsTheOldGraph) {
  {
    GRAPH_BUILD build(*db);
    build.add("t/k:z");
    build.sort();
    build.publish();
  }
  GRAPH_BUILD build(*db);
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
  EXPECT_THAT(test_model::dump(*db), ElementsAre("t/k:z"));
}

TEST_F(RoutingBuilder, TheOldGraphShowsUntilTheReverseEdgesAreAdded) {
  {
    GRAPH_BUILD build(*db);
    EXPECT_THAT(test_model::dump(*db), IsEmpty()) << "before the first build there is no node";
    build.add("t/m:z");
    build.add("t/k:z");
    build.sort();
    build.set(build.find("t/m:z"), {{build.find("t/k:z"), {}}});
    EXPECT_THAT(test_model::dump(*db), IsEmpty());
    build.publish();
  }
  const std::vector<std::string> first{"t/m:z", "  > t/k:z ", "t/k:z", "  < t/m:z"};
  EXPECT_EQ(test_model::dump(*db), first) << "the graph outlives its builder";
  KEP_ROUTING::GRAPH* const graph = db->get_routing_template_graph();
  {
    GRAPH_BUILD given_up(*db);
    given_up.add("u/m:z");
    given_up.sort();
    EXPECT_EQ(test_model::dump(*db), first);
  }
  EXPECT_EQ(test_model::dump(*db), first) << "a build that is given up leaves it";
  GRAPH_BUILD second(*db);
  second.add("u/m:z");
  second.sort();
  EXPECT_EQ(test_model::dump(*db), first);
  second.publish();
  EXPECT_THAT(test_model::dump(*db), ElementsAre("u/m:z"));
  EXPECT_EQ(db->get_routing_template_graph(), graph) << "the object stays the same";
}

TEST_F(RoutingBuilder, TheDescriptionStaysWhileGraphsComeAndGo) {
  KEP_ROUTING_PRIMITIVE* store = db->get_routing_template_graph()->get_routing_primitive();
  store->add_routing_root(module(*db, "TILE"));
  GRAPH_BUILD build(*db);
  build.add("t/m:z");
  build.sort();
  build.publish();
  EXPECT_EQ(db->get_routing_template_graph()->get_routing_primitive(), store);
  EXPECT_FALSE(store->iter_routing_roots(false).empty());
}

TEST_F(RoutingBuilder, AnEmptyBuildPublishesAnEmptyGraph) {
  GRAPH_BUILD build(*db);
  build.sort();
  build.publish();
  EXPECT_THAT(test_model::dump(*db), IsEmpty());
  EXPECT_TRUE(db->get_routing_template_graph()->iter_nodes_with_grain(10000).empty());
}

TEST_F(RoutingBuilder, CountsTheDistinctListsOfFanoutsAsSeenFromTheirNodes) {
  GRAPH_BUILD build(*db);
  for (const char* name : {"t/m:a", "t/m:z", "t/k:a", "t/k:z", "u/m:a", "u/m:z", "u/k:a", "u/k:z"})
    build.add(name);
  build.sort();
  for (const std::string tile : {"t", "u"})
    for (const std::string mux : {"m", "k"})
      build.set(build.find((tile + "/" + mux + ":a").c_str()),
                {{build.find((tile + "/" + mux + ":z").c_str()), uip(*db, tile + "/" + mux + ":a")}});
  EXPECT_EQ(build.edges().get_num_templates(), 2); // of "m" and of "k", in both tiles
  const int templates = build.edges().get_num_templates();
  build.publish();
  EXPECT_EQ(db->get_routing_template_graph()->get_num_templates(), static_cast<std::uint64_t>(templates));
  EXPECT_EQ(test_model::dump(*db).size(), 8U + 4U + 4U);
}

TEST_F(RoutingBuilder, ARepresentativeIsTheNodeAtTheFirstOccurrenceOfAModule) {
  GRAPH_BUILD build(*db);
  for (const char* name : {"t/m:z", "u/m:z", "t/k:z", "u/k:z"})
    build.add(name);
  build.add_hipi(uip(*db, "t/m:z"));
  build.add(p);
  build.sort();
  using REPRESENTATIVES = KEP_ROUTING_BUILDER_GRAPH_REPRESENTATIVE_NODES_BUILDER;
  using ENTRY = REPRESENTATIVES::RELPATH_AND_ORIENTATION;
  REPRESENTATIVES representatives(db.get(), KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank);
  const KEP_UNFOLDED_MODULE top = db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  const KEP_UNFOLDED_MODULE t =
      test_model::unfolded_instance(*db, "t").get_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  const KEP_UNFOLDED_MODULE u =
      test_model::unfolded_instance(*db, "u").get_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  const FANOUTS fanouts{{build.find("t/k:z"), {}}};
  const ENTRY first = representatives.get_relative_path(build.find("t/m:z"), fanouts, {}, t);
  ASSERT_TRUE(first);
  EXPECT_TRUE(first.m_path);
  EXPECT_EQ(first.m_path.get_module(db.get()), module(*db, "TILE")) << "seen from the given module";
  EXPECT_EQ(first.m_orientation, 0);
  EXPECT_EQ(KEP_RG_TEST_ACCESS::find_representative(representatives, first), nullptr);
  representatives.store_relative_path_and_repnode(first, t, build.find("t/m:z"));
  EXPECT_EQ(KEP_RG_TEST_ACCESS::find_representative(representatives, first), build.find("t/m:z"));
  const ENTRY other = representatives.get_relative_path(build.find("t/k:z"), fanouts, {}, t);
  EXPECT_EQ(KEP_RG_TEST_ACCESS::find_representative(representatives, other), nullptr) << "another path";
  const ENTRY twin = representatives.get_relative_path(build.find_hipi(uip(*db, "t/m:z")), fanouts, {}, t);
  EXPECT_EQ(twin.m_orientation, 1) << "a twin has an entry of its own";
  EXPECT_EQ(KEP_RG_TEST_ACCESS::find_representative(representatives, twin), nullptr);
  EXPECT_FALSE(representatives.get_relative_path(build.find("u/m:z"), fanouts, {}, u))
      << "the first occurrence shows what the others look like";
  EXPECT_FALSE(representatives.get_relative_path(build.find("t/m:z"), fanouts, {}, top))
      << "nothing repeats the top";
  EXPECT_FALSE(representatives.get_relative_path(build.find(p), fanouts, {}, top));
  EXPECT_EQ(KEP_RG_TEST_ACCESS::find_representative(representatives, ENTRY()), nullptr);
}

TEST(RandomNodes, AreFoundAsInAMapBeforeAndAfterTheSort) {
  std::size_t plain_nodes = 0, twins = 0, boundaries = 0, misses = 0;
  for (std::uint64_t seed = 0; seed != 800; ++seed) {
    const auto db = test_model::make_random_db(seed);
    test_model::RANDOM_SOURCE random(seed + 4000000);
    const test_model::NAIVE_HIERARCHY naive(*db);
    std::vector<KEP_UNFOLDED_INST_PORT> uips;
    for (const test_model::NAIVE_OCCURRENCE* at : naive.all())
      for (const KEP_UNFOLDED_INSTANCE& instance : at->m_value.iter_instances())
        for (const KEP_UNFOLDED_INST_PORT& each : instance.iter_inst_ports())
          uips.push_back(each);
    const unsigned density = random.below(101);
    std::vector<KEP_UNFOLDED_INST_PORT> order = uips;
    random.shuffle(order);

    struct EXPECTED {
      bool m_plain = false, m_hipi = false;
    };
    std::map<std::pair<std::uint64_t, const void*>, EXPECTED> expected;
    std::set<const KEP_PORT*> ports;
    GRAPH_BUILD build(*db, random.below(3) * uips.size() / 2); // the estimate may be wrong either way
    for (const KEP_UNFOLDED_INST_PORT& each : order) {
      if (!random.percent(density)) continue;
      EXPECTED& here = expected[{each.m_position, each.m_object}];
      here.m_plain = true;
      build.add(each);
      ++plain_nodes;
      if (!random.percent(20)) continue;
      here.m_hipi = true;
      build.add_hipi(each);
      ++twins;
    }
    for (const KEP_PORT* each : naive.tops()[0]->m_module->iter_ports())
      if (random.percent(50)) {
        ports.insert(each);
        build.add(each);
        ++boundaries;
      }

    const auto check = [&](const char* when) {
      SCOPED_TRACE(when);
      for (const KEP_UNFOLDED_INST_PORT& each : uips) {
        const auto found = expected.find({each.m_position, each.m_object});
        const EXPECTED wanted = found == expected.end() ? EXPECTED() : found->second;
        const auto [plain, hipi] = build.cache().find_both_routing_nodes(each);
        ASSERT_EQ(plain != nullptr, wanted.m_plain);
        ASSERT_EQ(hipi != nullptr, wanted.m_hipi);
        ASSERT_EQ(build.find(each), plain);
        if (plain) {
          ASSERT_EQ(plain->get_unfolded_inst_port(), each);
          ASSERT_FALSE(plain->is_hipi() || plain->is_boundary());
        } else {
          ++misses;
        }
        if (hipi) {
          ASSERT_EQ(hipi->get_unfolded_inst_port(), each);
          ASSERT_TRUE(hipi->is_hipi());
        }
      }
      for (const auto& top : naive.tops())
        for (const KEP_PORT* each : top->m_module->iter_ports()) {
          const BUILDER_NODE* node = build.find(each);
          ASSERT_EQ(node != nullptr, ports.count(each) != 0);
          if (node) {
            ASSERT_EQ(node->get_port(), each);
            ASSERT_TRUE(node->is_boundary());
          }
        }
    };
    check("before the sort");
    build.sort();
    check("after the sort");

    // The order: boundary nodes by port, then uips, each twin behind its plain node; allocation does not
    // show.
    GRAPH_BUILD again(*db);
    for (const KEP_UNFOLDED_INST_PORT& each : uips) {
      const auto found = expected.find({each.m_position, each.m_object});
      if (found == expected.end()) continue;
      if (found->second.m_hipi) again.add_hipi(each);
      again.add(each);
    }
    for (const KEP_PORT* each : naive.tops()[0]->m_module->iter_ports())
      if (ports.count(each)) again.add(each);
    again.sort();
    std::vector<std::tuple<std::uint64_t, const void*, bool>> one, two;
    for (const BUILDER_NODE* node : build.graph()->iter_nodes(1))
      one.emplace_back(node->get_unfolded_inst_port().m_position, node->get_unfolded_inst_port().m_object,
                       node->is_hipi());
    for (const BUILDER_NODE* node : again.graph()->iter_nodes(1))
      two.emplace_back(node->get_unfolded_inst_port().m_position, node->get_unfolded_inst_port().m_object,
                       node->is_hipi());
    EXPECT_EQ(one, two);
    for (std::size_t i = 1; i < one.size(); ++i)
      EXPECT_LE(!std::get<1>(one[i]), !std::get<1>(one[i - 1])) << "boundary nodes first";
    for (std::size_t i = 0; i != one.size(); ++i)
      if (std::get<2>(one[i])) {
        ASSERT_NE(i, 0U);
        EXPECT_EQ(std::get<1>(one[i - 1]), std::get<1>(one[i]));
        EXPECT_EQ(std::get<0>(one[i - 1]), std::get<0>(one[i]));
      }
    ASSERT_FALSE(HasFailure()) << "seed " << seed << "\n" << test_model::describe(*db);
  }
  EXPECT_GT(plain_nodes, 5000U);
  EXPECT_GT(twins, 1000U);
  EXPECT_GT(boundaries, 300U);
  EXPECT_GT(misses, 5000U);
}

} // namespace routing_builder_test
