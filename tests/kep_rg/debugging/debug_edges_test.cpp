#include "kep_report/kep_report_profiler.h"
#include "kep_rg/kep_rg_debug.h"
#include "tests/support/build_case.h"
#include "tests/support/debugged_fanouts.h"
#include "tests/support/failure_text.h"
#include "tests/support/recorded_walk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace debug_edges_test {

using test_model::lines_of;
using test_model::RECORDED_WALK;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using ACCESS = KEP_RG_TEST_ACCESS;

/// Tiles with a mux and a skip mux, joined to a ring. One input of the mux is redundant.
class DebugEdges : public testing::Test {
protected:
  void SetUp() override {
    m_case.arcs("MUX", {"a", "b"}, "o");
    m_case.arcs("SKIP", {"i"}, "z", true);
    m_case.mark_redundant("TILE/m:b");
    m_case.build();
    m_graph = test_model::whole_graph(*m_case.db());
    m_log = (std::filesystem::temp_directory_path() /
             ("kep-rg-debug-" + std::to_string(getpid()) + "-" +
              testing::UnitTest::GetInstance()->current_test_info()->name()))
                .string();
  }
  void TearDown() override {
    EXPECT_EQ(test_model::whole_graph(*m_case.db()), m_graph) << "the graph stays";
    std::filesystem::remove(m_log);
  }

  /// The fanouts of the node at the uip; what went to the streams is kept.
  std::vector<std::string> debug(const char* name, auto* watch, bool node_flag = false) {
    const KEP_UNFOLDED_INST_PORT uip = m_case.model().uip(name);
    KEP_RG_DBG_FANOUTS fanouts;
    KEP_REPORT_CAPTURE capture;
    m_case.builder().debug_edges(&fanouts, uip, node_flag, watch);
    m_debug = capture.text(KEP_REPORT::STREAM::DEBUG);
    m_warnings = capture.text(KEP_REPORT::STREAM::WARN);
    EXPECT_EQ(capture.text(KEP_REPORT::STREAM::INFO), "") << "counts are not printed";
    return lines_of(uip, fanouts);
  }
  std::string read_log() const {
    std::ostringstream text;
    text << std::ifstream(m_log).rdbuf();
    return text.str();
  }

  BUILD_CASE m_case{R"(
    module MUX
      ports >a >b <o
    module SKIP
      ports >i <z
    module TILE
      ports >in <out
      inst m MUX header
      inst k SKIP
      net n in m.a k.i
      net z k.z m.b
      net o m.o out
    module TOP top type=2
      inst l TILE
      inst r TILE
      inst lone MUX header
      net x l.out r.in
      net y r.out l.in
      net z lone.o
  )"};
  KEP_UNFOLD_OBSERVER* const m_no_observer = nullptr;
  const char* const m_no_file = nullptr;
  std::string m_graph;
  std::string m_log;
  std::string m_debug;
  std::string m_warnings;
};

const char* const LOG = "inst_port l/m:o logical -type start\n"
                        "port l/m:o logical -type cross\n"
                        "inst_port l/m:o logical -type search\n"
                        "port l:out logical -type cross\n"
                        "inst_port l:out logical -type search\n"
                        "inst_port r:in logical -type cross\n"
                        "port r:in logical -type search\n"
                        "inst_port r/m:a logical -type end\n"
                        "inst_port r/k:i logical -type skip\n"
                        "inst_port r/k:z logical -type search\n"
                        "inst_port r/m:b logical -type end\n"
                        "inst_port r/m:a logical -type mux_input\n"
                        "inst_port r/m:o logical -type mux_output\n"
                        "inst_port r/m:o logical -type target\n"
                        "inst_port r/m:b logical -type mux_input\n"
                        "inst_port r/m:o logical -type mux_output\n"
                        "inst_port r/m:o logical -type target\n";

TEST_F(DebugEdges, GivesRealFanoutsFirstAndRedundantOnesAfter) {
  EXPECT_THAT(debug("l/m:o", m_no_observer),
              ElementsAre("l/m:o -> r/m:o via r/m:a", "l/m:o ~> r/m:o via r/m:b"));
  EXPECT_EQ(m_warnings, "");
}

TEST_F(DebugEdges, AppendsToTheListAndLeavesWhatIsThere) {
  KEP_RG_DBG_FANOUTS fanouts;
  m_case.report([&] {
    for (const char* name : {"l/m:o", "r/m:o", "lone:o"})
      m_case.builder().debug_edges(&fanouts, m_case.model().uip(name), false, m_no_observer);
  });
  EXPECT_EQ(fanouts.size(), 4U);
}

TEST_F(DebugEdges, ShowsTheWalkToTheObserverAndClosesIt) {
  RECORDED_WALK walk;
  EXPECT_THAT(debug("l/m:o", &walk), testing::SizeIs(2));
  EXPECT_THAT(walk.calls(),
              ElementsAre("start_uip l/m:o", "l/m:o start", "[l/m:o] cross", "l/m:o search", "start_net l/o",
                          "[l:out] cross", "l:out search", "start_net x", "r:in cross", "[r:in] search",
                          "start_net r/n", "r/m:a end", "r/k:i skip", "r/k:z search", "start_net r/z",
                          "r/m:b end", "r/m:a mux_input", "r/m:o mux_output", "r/m:o target",
                          "r/m:b mux_input", "r/m:o mux_output", "r/m:o target", "finish_uip", "close"));
}

TEST_F(DebugEdges, DoesNotShowTheNextWalkToTheObserver) {
  RECORDED_WALK walk;
  debug("l/m:o", &walk);
  const std::size_t calls = walk.calls().size();
  debug("r/m:o", m_no_observer);
  EXPECT_EQ(walk.calls().size(), calls);
}

TEST_F(DebugEdges, WalksWithoutAListToFill) {
  RECORDED_WALK walk;
  m_case.report([&] { m_case.builder().debug_edges(nullptr, m_case.model().uip("l/m:o"), false, &walk); });
  EXPECT_THAT(walk.calls(), testing::SizeIs(24));
  m_case.report(
      [&] { m_case.builder().debug_edges(nullptr, m_case.model().uip("l/m:o"), false, m_no_observer); });
}

TEST_F(DebugEdges, WritesTheLog) {
  EXPECT_THAT(debug("l/m:o", m_log.c_str()),
              ElementsAre("l/m:o -> r/m:o via r/m:a", "l/m:o ~> r/m:o via r/m:b"));
  EXPECT_EQ(read_log(), LOG);
}

TEST_F(DebugEdges, WritesNoLogWithoutAFileName) {
  EXPECT_THAT(debug("l/m:o", m_no_file), testing::SizeIs(2));
  EXPECT_FALSE(std::filesystem::exists(m_log));
}

TEST_F(DebugEdges, GivesTheFanoutsWhenTheLogCannotBeWritten) {
  EXPECT_THAT(debug("l/m:o", (m_log + "/none/walk.log").c_str()), testing::SizeIs(2));
  EXPECT_EQ(m_warnings, "");
}

TEST_F(DebugEdges, ReplacesTheLogOfTheLastCall) {
  debug("r/m:o", m_log.c_str());
  EXPECT_NE(read_log(), LOG);
  debug("l/m:o", m_log.c_str());
  EXPECT_EQ(read_log(), LOG);
  debug("lone:o", m_log.c_str());
  EXPECT_EQ(read_log(), "inst_port lone:o logical -type start\n"
                        "port lone:o logical -type cross\n"
                        "inst_port lone:o logical -type search\n");
}

TEST_F(DebugEdges, WarnsOfAUipWithoutANode) {
  RECORDED_WALK walk;
  EXPECT_THAT(debug("l/m:a", &walk), IsEmpty());
  EXPECT_EQ(m_warnings, "SKIPPING: l/m:a is not a routing node...\n");
  EXPECT_THAT(walk.calls(), ElementsAre("close"));
  EXPECT_THAT(debug("l/m:a", m_log.c_str()), IsEmpty());
  EXPECT_EQ(m_warnings, "SKIPPING: l/m:a is not a routing node...\n");
  EXPECT_TRUE(std::filesystem::exists(m_log));
  EXPECT_EQ(read_log(), "");
}

TEST_F(DebugEdges, WarnsOfAUipWithoutANodeUnderTheFlag) {
  RECORDED_WALK walk;
  EXPECT_THAT(debug("l/m:o", &walk, true), IsEmpty()) << "there is no twin";
  EXPECT_EQ(m_warnings, "SKIPPING: l/m:o is not a routing node...\n");
  EXPECT_THAT(walk.calls(), ElementsAre("close"));
}

TEST_F(DebugEdges, WarnsOfTheEmptyUip) {
  KEP_REPORT_CAPTURE capture;
  m_case.builder().debug_edges(nullptr, {}, false, m_no_observer);
  EXPECT_EQ(capture.text(KEP_REPORT::STREAM::WARN), "SKIPPING:  is not a routing node...\n");
}

TEST_F(DebugEdges, LeavesTheBuilderVerboseAndWithoutEdges) {
  for (const char* name : {"l/m:a", "l/m:o"}) { // without a node and with one
    m_case.drop_builder();
    EXPECT_FALSE(m_case.builder().get_verbose());
    EXPECT_FALSE(ACCESS::disables_edges(m_case.builder()));
    debug(name, m_no_observer);
    EXPECT_TRUE(m_case.builder().get_verbose()) << name;
    EXPECT_TRUE(ACCESS::disables_edges(m_case.builder())) << name;
    debug(name, m_no_file);
    EXPECT_TRUE(m_case.builder().get_verbose()) << name;
    EXPECT_TRUE(ACCESS::disables_edges(m_case.builder())) << name;
  }
}

// Edges would be made no more, and a graph without any would take the place of a good one.
TEST_F(DebugEdges, LeavesNoWayToBuildEdgesAgain) {
  const std::string text =
      "Assertion failed: !m_disable_edge_allocation in kep_rg/edges/kep_rg_build_edges.cpp@LINE: "
      "KEP_RG_BUILD::build_edges comes after debug_edges";
  const std::string graph = test_model::whole_graph(*m_case.db());
  debug("l/m:o", m_no_observer);
  EXPECT_EQ(assertion_text([&] { m_case.builder().build_edges(); }), text);
  EXPECT_EQ(test_model::whole_graph(*m_case.db()), graph);

  m_case.drop_builder();
  m_case.build_nodes();
  debug("l/m:o", m_no_observer);
  EXPECT_EQ(assertion_text([&] { m_case.builder().build_edges(); }), text);
  EXPECT_EQ(test_model::whole_graph(*m_case.db()), graph);
}

TEST_F(DebugEdges, TellsOfEachMuxThatItGoesThrough) {
  debug("l/m:o", m_no_observer);
  EXPECT_EQ(m_debug, "Performed get_mux_outputs() mapping\n  Before: r/m:a\n  After:  r/m:o\n"
                     "Performed get_mux_outputs() mapping\n  Before: r/m:b\n  After:  r/m:o\n");
}

TEST_F(DebugEdges, LeavesTheCountsOfTheBuildAlone) {
  const KEP_RG_EDGE_CREATION_STATS before = m_case.builder().get_edge_stats();
  debug("l/m:o", m_no_observer);
  const KEP_RG_EDGE_CREATION_STATS& after = m_case.builder().get_edge_stats();
  EXPECT_EQ(after.n_edges, before.n_edges);
  EXPECT_EQ(after.n_get_leaf_calls, before.n_get_leaf_calls);
  EXPECT_EQ(after.n_cdrn_cache_misses, before.n_cdrn_cache_misses);
}

TEST_F(DebugEdges, IsMeasuredUnderItsLabel) {
  KEP_REPORT::reset_profile();
  debug("l/m:o", m_no_observer);
  debug("l/m:o", m_no_file);
  for (const KEP_REPORT::PROFILE_SECTION& section : KEP_REPORT::get_profile()) {
    if (section.m_name != "KEP_RG_BUILD::debug_edge") continue;
    EXPECT_EQ(section.m_times_entered, 2U);
    ASSERT_EQ(section.m_children.size(), 1U) << "the overload with a file calls the other";
    EXPECT_EQ(section.m_children[0].m_name, "KEP_RG_BUILD::debug_edge");
    return;
  }
  FAIL() << "no such section";
}

/// A mux with a hipi input, so that a twin stands beside its output.
class DebugTwin : public testing::Test {
protected:
  void SetUp() override {
    m_case.arcs("MUX", {"a"}, "o", false, KEP_ROUTING_PRIMITIVE_HIPI::M);
    m_case.build();
  }
  BUILD_CASE m_case{R"(
    module MUX
      ports >a <o
    module TOP top
      inst m MUX header
      inst k MUX header
      net n m.o k.a
      net q k.o
  )"};
};

TEST_F(DebugTwin, LeadsToTheTwinAsTheGraphDoes) {
  RECORDED_WALK walk;
  KEP_RG_DBG_FANOUTS fanouts;
  const KEP_UNFOLDED_INST_PORT uip = m_case.model().uip("m:o");
  m_case.report([&] { m_case.builder().debug_edges(&fanouts, uip, false, &walk); });
  EXPECT_THAT(lines_of(uip, fanouts), ElementsAre("m:o -> k:o* via k:a"));
  EXPECT_THAT(m_case.edges(), Contains("m:o -> k:o* via k:a"));
}

TEST_F(DebugTwin, RefusesATwinAndForgetsTheObserver) {
  KEP_RG_DBG_FANOUTS fanouts;
  const KEP_UNFOLDED_INST_PORT uip = m_case.model().uip("m:o");
  {
    RECORDED_WALK walk;
    EXPECT_THAT(
        assertion_text([&] { m_case.builder().debug_edges(&fanouts, uip, true, &walk); }),
        testing::StrEq("Assertion failed: !dbg_start_node->is_hipi() in kep_rg/kep_rg_build.cpp@LINE"));
    EXPECT_THAT(walk.calls(), IsEmpty());
  }
  EXPECT_EQ(fanouts.size(), 0U);
  m_case.report([&] {
    m_case.builder().debug_edges(&fanouts, uip, false, static_cast<KEP_UNFOLD_OBSERVER*>(nullptr));
  });
  EXPECT_EQ(fanouts.size(), 1U);
}

TEST(DebugEdgesOfABlc, WritesTheViewsThroughWhichItGoes) {
  BUILD_CASE c(R"(
    module PIN
      ports >x <y
    module BLK group=blk ip_root
      ports >i <o
    module BLK_BLC group=blk view=BLC ip_root
      ports >i <o
      inst c PIN
      net n i c.x
      net m c.y o
    module TOP top
      inst b BLK header
      net n b.i
      net q b.o
  )");
  c.parse().add_routing_root(c.model().module("BLK"), 2);
  c.build();
  const std::string log =
      (std::filesystem::temp_directory_path() / ("kep-rg-debug-blc-" + std::to_string(getpid()))).string();
  c.report([&] { c.builder().debug_edges(nullptr, c.model().uip("b@BLC/c:y"), false, log.c_str()); });
  std::ostringstream text;
  text << std::ifstream(log).rdbuf();
  std::filesystem::remove(log);
  EXPECT_EQ(text.str(), "inst_port b/c:y logical -type start\n"
                        "port b/c:y logical -type cross\n"
                        "inst_port b/c:y logical -type search\n"
                        "port b:o blc -type cross\n"
                        "inst_port b:o blc -type search\n");
}

// Two like tiles: a build finds what m1 of the second one drives in its cache.
TEST(DebugEdgesOfLikePlaces, WalksAtEachPlaceAnew) {
  BUILD_CASE c(R"(
    module MUX
      ports >a <o
    module TILE
      ports =p
      inst m1 MUX header
      inst m2 MUX header
      net n m1.o m2.a
      net q m2.o
    module TOP top
      inst t TILE
      inst u TILE
  )");
  c.arcs("MUX", {"a"}, "o");
  c.build();
  ASSERT_EQ(c.builder().get_edge_stats().n_cdrn_cache_hits, 2U);
  for (const std::string tile : {"t", "u", "t"}) {
    RECORDED_WALK walk;
    c.report([&] { c.builder().debug_edges(nullptr, c.model().uip(tile + "/m1:o"), false, &walk); });
    EXPECT_THAT(walk.calls(),
                ElementsAre("start_uip " + tile + "/m1:o", tile + "/m1:o start", "[" + tile + "/m1:o] cross",
                            tile + "/m1:o search", "start_net " + tile + "/n", tile + "/m2:a end",
                            tile + "/m2:a mux_input", tile + "/m2:o mux_output", tile + "/m2:o target",
                            "finish_uip", "close"));
  }
}

} // namespace debug_edges_test
