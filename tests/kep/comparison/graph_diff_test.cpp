// What groups of differences say, on graphs made by hand.

#include "tests/kep/comparison/diff_text.h"
#include "tests/support/graph_fixture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

namespace graph_diff_test {

using test_model::expect_naive_difference;
using test_model::FANOUTS;
using test_model::GRAPH_BUILD;
using test_model::LINES;
using test_model::TEXT_MODEL;
using test_model::uip;

using ABOUT = KEP_GRAPH_DIFF_GROUP::ABOUT;
using CAUSE = KEP_GRAPH_DIFF_GROUP::CAUSE;

/// Two tiles of a mux each: "l/m:o" and "r/m:o". `mux` are the ports of the mux, `tile` more of the tile.
std::unique_ptr<KEP_DB> make_model(const std::string& mux = ">a >b <o", const std::string& tile = "",
                                   const std::string& top = "inst l TILE\ninst r TILE") {
  return TEXT_MODEL("module MUX\nports " + mux + "\nmodule OTHER\nports >a >b <o\nmodule TILE\n" +
                    "inst m MUX header\n" + tile + "\nmodule TOP top\nports >p\n" + top + "\n")
      .freeze();
}

/// The mux of each tile drives that of the other one, through `inputs`.
void build_ring(KEP_DB& db, const LINES& inputs, bool is_redundant = false) {
  GRAPH_BUILD build(db);
  for (const char* name : {"l/m:o", "r/m:o"})
    build.add(name);
  build.sort();
  for (const auto& [from, to] : {std::pair("l/m", "r/m"), std::pair("r/m", "l/m")}) {
    FANOUTS fanouts;
    for (const std::string& input : inputs)
      fanouts.push_back(
          {build.find((std::string(to) + ":o").c_str()), uip(db, (std::string(to) + ":" + input).c_str())});
    build.set(build.find((std::string(from) + ":o").c_str()), is_redundant ? FANOUTS() : fanouts,
              is_redundant ? fanouts : FANOUTS());
  }
  build.publish();
}

TEST(GraphDiff, IsEmptyForOneGraphAndItself) {
  const std::unique_ptr<KEP_DB> db = make_model();
  build_ring(*db, {"a", "b"});
  const KEP_GRAPH_DIFF diff(*db, *db);
  EXPECT_TRUE(diff.empty());
  EXPECT_TRUE(diff.get_groups().empty());
  diff.visit_edges(0, [](const auto&, const auto&, bool) -> bool { throw std::logic_error("an edge"); });
}

TEST(GraphDiff, GathersAMuxInputOfAllPlacesOfAModule) {
  const std::unique_ptr<KEP_DB> first = make_model();
  build_ring(*first, {"a", "b"});
  const std::unique_ptr<KEP_DB> second = make_model();
  build_ring(*second, {"a"});
  EXPECT_EQ(expect_naive_difference(*first, *second), 2U);
  const KEP_GRAPH_DIFF diff(*first, *second);
  EXPECT_EQ(test_model::edges_of(diff, 0), (LINES{"l/m:o -> r/m:o via r/m:b", "r/m:o -> l/m:o via l/m:b"}));
  ASSERT_EQ(diff.get_groups().size(), 1U);
  const KEP_GRAPH_DIFF_GROUP& group = diff.get_groups()[0];
  EXPECT_EQ(group.m_about, ABOUT::MUX_INPUT);
  EXPECT_STREQ(group.m_modules[0]->get_plain_name(), "TILE");
  EXPECT_STREQ(group.m_inst_ports[0]->get_port()->get_plain_name(), "b");
  EXPECT_EQ(group.m_modules[1]->get_db(), second.get());
  EXPECT_EQ(group.m_counts[0].m_num_real, 2U);
  EXPECT_TRUE(group.m_counts[1].empty());
}

TEST(GraphDiff, TellsAnEdgeThatChangedItsClassAsGoneAndNew) {
  const std::unique_ptr<KEP_DB> first = make_model();
  build_ring(*first, {"a"});
  const std::unique_ptr<KEP_DB> second = make_model();
  build_ring(*second, {"a"}, true);
  EXPECT_EQ(expect_naive_difference(*first, *second), 4U);
  const KEP_GRAPH_DIFF diff(*first, *second);
  ASSERT_EQ(diff.get_groups().size(), 1U);
  EXPECT_EQ(diff.get_groups()[0].m_counts[0].m_num_real, 2U);
  EXPECT_EQ(diff.get_groups()[0].m_counts[1].m_num_redundant, 2U);
}

TEST(GraphDiff, TakesPortsAndInstancesByNameAndNotByNumber) {
  const std::unique_ptr<KEP_DB> first = make_model();
  build_ring(*first, {"a", "b"});
  const std::unique_ptr<KEP_DB> second =
      make_model("<o >b =z >a", "inst q OTHER", "inst r TILE\ninst l TILE");
  build_ring(*second, {"b", "a"});
  EXPECT_EQ(expect_naive_difference(*first, *second), 0U);
}

TEST(GraphDiff, TellsWhichPortIsBehindIt) {
  const std::unique_ptr<KEP_DB> first = make_model();
  build_ring(*first, {"a", "b"});
  const std::unique_ptr<KEP_DB> second = make_model(">a <o");
  build_ring(*second, {"a"});
  const KEP_GRAPH_DIFF diff(*first, *second);
  ASSERT_EQ(diff.get_groups().size(), 1U);
  EXPECT_EQ(diff.get_groups()[0].m_cause, CAUSE::PORT);
  EXPECT_EQ(diff.get_groups()[0].m_inst_ports[1], nullptr);
}

TEST(GraphDiff, TellsAllOfAnInstanceThatOneSideAloneHas) {
  const std::unique_ptr<KEP_DB> first = make_model();
  build_ring(*first, {"a"});
  const std::unique_ptr<KEP_DB> second = make_model(">a >b <o", "", "inst l TILE");
  GRAPH_BUILD build(*second);
  build.add("l/m:o");
  build.sort();
  build.publish();
  EXPECT_EQ(expect_naive_difference(*first, *second), 3U);
  const KEP_GRAPH_DIFF diff(*first, *second);
  ASSERT_EQ(diff.get_groups().size(), 1U);
  const KEP_GRAPH_DIFF_GROUP& group = diff.get_groups()[0];
  EXPECT_EQ(group.m_about, ABOUT::INSTANCES);
  EXPECT_STREQ(group.m_instances[0]->get_plain_name(), "r");
  EXPECT_STREQ(group.m_masters[0]->get_plain_name(), "TILE");
  EXPECT_EQ(group.m_masters[1], nullptr);
  EXPECT_EQ(group.m_num_instances, 1U);
  EXPECT_EQ(group.m_num_places, 1U);
  EXPECT_EQ(group.m_counts[0].m_num_nodes, 1U);
  EXPECT_EQ(group.m_counts[0].m_num_real, 2U); // the edge into it, too
}

TEST(GraphDiff, TellsANodeWithItsEdges) {
  const std::unique_ptr<KEP_DB> first = make_model(">a >b <o", "inst x OTHER");
  const std::unique_ptr<KEP_DB> second = make_model();
  for (KEP_DB* db : {first.get(), second.get()}) {
    GRAPH_BUILD build(*db);
    build.add("l/m:o");
    if (db == first.get()) build.add("l/x:o");
    build.sort();
    if (db == first.get()) {
      build.set(build.find("l/x:o"), {{build.find("l/m:o"), uip(*db, "l/m:a")}});
      build.set(build.find("l/m:o"), {{build.find("l/x:o"), {}}});
    }
    build.publish();
  }
  EXPECT_EQ(expect_naive_difference(*first, *second), 3U);
  const KEP_GRAPH_DIFF diff(*first, *second);
  ASSERT_EQ(diff.get_groups().size(), 1U);
  EXPECT_EQ(diff.get_groups()[0].m_about, ABOUT::NODES);
  EXPECT_EQ(diff.get_groups()[0].m_cause, CAUSE::INSTANCE);
  EXPECT_EQ(diff.get_groups()[0].m_counts[0].m_num_nodes, 1U);
  EXPECT_EQ(diff.get_groups()[0].m_counts[0].m_num_real, 2U);
}

TEST(GraphDiff, TellsBoundaryNodesByThePortOfTheTop) {
  const std::unique_ptr<KEP_DB> first = make_model();
  const std::unique_ptr<KEP_DB> second = make_model();
  for (KEP_DB* db : {first.get(), second.get()}) {
    GRAPH_BUILD build(*db);
    build.add("l/m:o");
    if (db == first.get()) build.add(db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW)->find_port("p"));
    build.sort();
    build.publish();
  }
  EXPECT_EQ(expect_naive_difference(*first, *second), 1U);
  const KEP_GRAPH_DIFF diff(*first, *second);
  EXPECT_EQ(test_model::nodes_of(diff, 0), LINES{":p"});
  ASSERT_EQ(diff.get_groups().size(), 1U);
  EXPECT_STREQ(diff.get_groups()[0].m_ports[0]->get_plain_name(), "p");
}

TEST(GraphDiff, EndsAVisitThatHasSeenEnough) {
  const std::unique_ptr<KEP_DB> first = make_model();
  build_ring(*first, {"a", "b"});
  const std::unique_ptr<KEP_DB> second = make_model();
  const KEP_GRAPH_DIFF diff(*first, *second);
  unsigned num_visits = 0;
  diff.visit_edges(0, [&](const auto&, const auto&, bool) { return ++num_visits != 3; });
  EXPECT_EQ(num_visits, 3U);
  diff.visit_nodes(0, [&](const auto&) { return ++num_visits == 0; });
  EXPECT_EQ(num_visits, 4U);
}

} // namespace graph_diff_test
