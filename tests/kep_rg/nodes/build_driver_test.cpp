#include "kep_report/kep_report_profiler.h"
#include "tests/support/build_case.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <regex>

namespace build_driver_test {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using ACCESS = KEP_RG_TEST_ACCESS;

const char* const MODEL = R"(
  module MUX
    ports >a >b <o
  module TOP top type=1
    ports >in <out
    inst m1 MUX header
    inst m2 MUX header
    net n in m1.a
    net p m1.o m2.a
    net q m2.o out
)";

void describe(BUILD_CASE& c) {
  c.arcs("MUX", {"a"}, "o", false, KEP_ROUTING_PRIMITIVE_HIPI::M);
  c.arcs("MUX", {"b"}, "o");
}

/// Times and the number of templates are no matter of this test.
std::vector<std::string> masked(std::vector<std::string> lines) {
  for (std::string& line : lines) {
    line = std::regex_replace(line, std::regex("[0-9]+h:[0-9]+m:[0-9]+s"), "TIME");
    line = std::regex_replace(line, std::regex("num templates = [1-9][0-9]*"), "num templates = N");
  }
  return lines;
}

const std::vector<std::string> NODE_LINES = {
    "Counting...",
    "Counted n_nodes = 4",
    "Add nodes...",
    "Add hipi...",
    "node_count=6 m_created_num_nodes=2 m_created_num_nodes_hipi=2 m_created_num_nodes_boundary=2",
    "   Created Total nodes = 2",
    "     Created BLC nodes = 0",
    "Created Inserted nodes = 0",
    "   Created Hipi nodes  = 2",
    "   Created Boundary nodes  = 2",
    "        Repeated nodes = 0",
    "      Redundant inputs = 0",
    "Eliminated Total nodes = 0",
};
const std::vector<std::string> EDGE_LINES = {
    "About to sort the nodes for templating...",
    "Calling m_node_cache.initialize_routing_builder_graph...",
    "m_redundant_inputs.size() = 0",
    "Add edges...",
    "Starting to add edges to the routing graph with 1 threads",
    "n_skip_port = 0",
    "          n_edges = 5",
    "n_redundant_edges = 0",
    "|_ avg fanout size per node = 0",
    "n_get_leaf_calls = 6",
    "|_ n_get_leaf_fanouts = 4",
    "|_ avg fanout size per call = 0",
    "n_cdrn_cache_hits = 0",
    "n_cdrn_cache_misses = 3",
    "cpu time = TIME",
    "wall_clock time = TIME",
    "num templates = N",
    "Adding reverse edges...",
};

TEST(BuildDriver, ReportsEachPhaseOfABuildInOrder) {
  BUILD_CASE c(MODEL);
  describe(c);
  std::vector<std::string> expected = NODE_LINES;
  expected.insert(expected.end(), EDGE_LINES.begin(), EDGE_LINES.end());
  EXPECT_THAT(masked(c.build()), ElementsAreArray(expected));
  EXPECT_THAT(c.debug_lines(), IsEmpty());
  EXPECT_THAT(c.edges(),
              testing::UnorderedElementsAre(":in -> m1:o* via m1:a", "m1:o* -> m1:o",
                                            "m1:o -> m2:o* via m2:a", "m2:o* -> m2:o", "m2:o -> :out"));
}

TEST(BuildDriver, LetsTheCallerRunNodesAndEdgesOneAfterTheOther) {
  BUILD_CASE whole(MODEL);
  describe(whole);
  whole.build();
  BUILD_CASE parts(MODEL);
  describe(parts);
  EXPECT_THAT(masked(parts.build_nodes()), ElementsAreArray(NODE_LINES));
  EXPECT_THAT(parts.nodes(), IsEmpty()) << "nothing is published before the last step";
  EXPECT_THAT(masked(parts.report([&] { parts.builder().build_edges(); })), ElementsAreArray(EDGE_LINES));
  EXPECT_EQ(test_model::whole_graph(*parts.db()), test_model::whole_graph(*whole.db()));
}

TEST(BuildDriver, CreatesTheEdgeBuilderInTheEdgePhase) {
  BUILD_CASE c(MODEL);
  describe(c);
  c.build_nodes();
  EXPECT_FALSE(ACCESS::has_edge_builder(c.builder()));
  c.report([&] { c.builder().build_edges(); });
  EXPECT_TRUE(ACCESS::has_edge_builder(c.builder()));
}

TEST(BuildDriver, NeverReadsRedundantInputsOfADatabaseWithoutRedundancy) {
  BUILD_CASE c(R"(
    module MUX
      ports >a >b <o
    module TOP top type=0
      inst m1 MUX header
      inst m2 MUX header
      net n m1.o m2.a
      net q m2.o
  )");
  c.arcs("MUX", {"a", "b"}, "o");
  c.mark_redundant("TOP/m2:a");
  const std::vector<std::string> lines = c.build();
  EXPECT_THAT(lines, Not(Contains(HasSubstr("m_redundant_inputs.size()"))));
  EXPECT_THAT(lines, Contains("n_redundant_edges = 0"));
  EXPECT_THAT(ACCESS::redundant_inputs(c.builder()), IsEmpty());
  EXPECT_THAT(c.edges(), ElementsAre("m1:o -> m2:o via m2:a"));
}

TEST(BuildDriver, PassesZeroThreadsOnAsTheyStand) {
  BUILD_CASE c(MODEL);
  describe(c);
  EXPECT_THAT(c.build(KEP_RG_BUILD_PARAMS().set_num_threads(0)),
              Contains("Starting to add edges to the routing graph with 0 threads"));
  EXPECT_EQ(c.builder().get_num_threads(), 0U);
  EXPECT_EQ(c.edges().size(), 5U);
}

TEST(BuildDriver, MeasuresItsPhasesAsNestedSections) {
  BUILD_CASE c(MODEL);
  describe(c);
  c.builder();
  KEP_REPORT::reset_profile();
  c.build();
  const std::vector<KEP_REPORT::PROFILE_SECTION> profile = KEP_REPORT::get_profile();
  const auto names = [](const std::vector<KEP_REPORT::PROFILE_SECTION>& sections) {
    std::vector<std::string> result;
    for (const KEP_REPORT::PROFILE_SECTION& section : sections)
      result.push_back(section.m_name + " " + std::to_string(section.m_times_entered));
    return result;
  };
  ASSERT_THAT(names(profile), ElementsAre("KEP_RG_BUILD::build_nodes 1", "KEP_RG_BUILD::build_edges 1"));
  EXPECT_THAT(names(profile[0].m_children),
              ElementsAre("KEP_RG_BUILD::add_nodes 1", "KEP_RG_BUILD::add_nodes_hipi 1"));
  EXPECT_THAT(names(profile[1].m_children),
              ElementsAre("KEP_RG_BUILD::build_redundant_inputs 1", "KEP_RG_BUILD::add_edges 1"));
}

TEST(BuildDriver, RefusesADatabaseWithoutADescription) {
  const NAMED_MODEL model(MODEL);
  EXPECT_EQ(assertion_text([&] { KEP_RG_BUILD build(model.db(), {}); }),
            "Assertion failed: m_db->get_routing_template_graph()->get_routing_primitive()->is_initialized() "
            "in kep_rg/kep_rg_build.cpp@LINE");
}

TEST(BuildDriver, AssertsThatEveryNodeOfTheGraphWasCounted) {
  BUILD_CASE c(MODEL);
  describe(c);
  ACCESS::node_stats(c.builder()).m_created_num_nodes_boundary = 1;
  EXPECT_EQ(assertion_text([&] { c.builder().build_nodes(); }),
            "Assertion failed: m_builder_graph->get_node_count() == (m_node_stats.m_created_num_nodes + "
            "m_node_stats.m_created_num_nodes_hipi + m_node_stats.m_created_num_nodes_boundary) in "
            "kep_rg/kep_rg_build.cpp@LINE");
}

TEST(BuildDriver, WorksWithTheCacheItIsGivenAndLeavesItToTheCaller) {
  BUILD_CASE c(MODEL);
  describe(c);
  const auto cache = std::make_unique<KEP_DB_ROUTING_PRIMITIVE_CACHE>(c.db());
  c.build(KEP_RG_BUILD_PARAMS().set_routing_primitive_cache(cache.get()));
  EXPECT_EQ(c.builder().find_routing_primitive_cache(), cache.get());
  c.drop_builder();
  EXPECT_TRUE(cache->is_arc_input(c.model().port("MUX:a")));
}

TEST(BuildDriver, MakesACacheOfItsOwnWhenItIsGivenNone) {
  BUILD_CASE c(MODEL);
  describe(c);
  ASSERT_NE(c.builder().find_routing_primitive_cache(), nullptr);
  EXPECT_NE(c.builder().find_routing_primitive_cache(), c.parse().find_routing_primitive_cache());
  EXPECT_TRUE(c.builder().find_routing_primitive_cache()->is_arc_input(c.model().port("MUX:a")));
}

TEST(BuildDriver, LeavesAGraphBehindThatOutlivesIt) {
  BUILD_CASE c(MODEL);
  describe(c);
  c.build();
  const std::string graph = test_model::whole_graph(*c.db());
  c.drop_builder();
  EXPECT_EQ(test_model::whole_graph(*c.db()), graph);
  EXPECT_THAT(graph, HasSubstr("m1:o -> m2:o* via m2:a"));
}

TEST(BuildDriver, BuildsAnEmptyGraphOfAnEmptyDescription) {
  BUILD_CASE c(MODEL);
  c.store()->initialize();
  const std::vector<std::string> lines = masked(c.build());
  EXPECT_THAT(lines, IsSupersetOf({"Counted n_nodes = 2", "n_skip_port = 0", "          n_edges = 0",
                                   "n_redundant_edges = 0", "n_cdrn_cache_hits = 0"}));
  EXPECT_THAT(c.nodes(), ElementsAre(":in", ":out"));
  EXPECT_THAT(c.edges(), ElementsAre()) << "the nets of the top end at no other port of the top";
}

TEST(BuildDriver, PrintsNoAveragesForAGraphWithoutNodes) {
  BUILD_CASE c("module TOP top");
  c.store()->initialize();
  const std::vector<std::string> lines = masked(c.build(KEP_RG_BUILD_PARAMS().set_nodes_per_display(1)));
  const auto start = std::find(lines.begin(), lines.end(), "Add edges...");
  ASSERT_NE(start, lines.end());
  EXPECT_THAT(std::vector<std::string>(start, lines.end()),
              ElementsAre("Add edges...", "Starting to add edges to the routing graph with 1 threads",
                          "n_skip_port = 0", "          n_edges = 0", "n_redundant_edges = 0",
                          "n_get_leaf_calls = 0", "|_ n_get_leaf_fanouts = 0", "n_cdrn_cache_hits = 0",
                          "n_cdrn_cache_misses = 0", "cpu time = TIME", "wall_clock time = TIME",
                          "num templates = 0", "Adding reverse edges..."));
}

TEST(BuildDriver, PrintsAProgressLineForEveryRangeWhenTheStepIsOne) {
  BUILD_CASE c(MODEL);
  describe(c);
  const std::vector<std::string> lines = c.build(KEP_RG_BUILD_PARAMS().set_nodes_per_display(1));
  const auto progress = [](const std::string& line) { return line.find("% done)") != std::string::npos; };
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(), progress), 1);
  EXPECT_THAT(*std::find_if(lines.begin(), lines.end(), progress),
              testing::AllOf(HasSubstr("(100% done)"), HasSubstr("[6 of 6 nodes in 0h:0m:"),
                             HasSubstr(" wallclock] ... get_leaf: "), HasSubstr(" calls/s, 6 calls, ")));
}

TEST(BuildDriver, CountsRangesOfOneNodeInItsProgressLines) {
  const auto progress = [](BUILD_CASE& c) {
    c.arcs("MUX", {"a"}, "o");
    ACCESS::set_min_grain(c.builder(KEP_RG_BUILD_PARAMS().set_nodes_per_display(1)), 1);
    std::vector<std::string> counts;
    std::smatch match;
    for (const std::string& line : c.build())
      if (std::regex_search(line, match, std::regex("^\\((.*%) done\\).*\\[(.*) nodes in")))
        counts.push_back(match.str(1) + ": " + match.str(2));
    return counts;
  };
  BUILD_CASE one(R"(
    module MUX
      ports >a <o
    module TOP top
      inst m MUX header
      net n m.o m.a
  )");
  EXPECT_THAT(progress(one), ElementsAre("100%: 1 of 1"));
  BUILD_CASE two(R"(
    module MUX
      ports >a <o
    module TOP top
      inst m MUX header
      inst k MUX header
      net n m.o k.a
      net q k.o m.a
  )");
  EXPECT_THAT(progress(two), ElementsAre("50%: 1 of 2", "100%: 2 of 2"));
}

TEST(BuildDriver, StaysSilentInTheFirstSecondWhenTheStepIsLarger) {
  BUILD_CASE c(MODEL);
  describe(c);
  EXPECT_THAT(c.build(KEP_RG_BUILD_PARAMS().set_nodes_per_display(2)), Not(Contains(HasSubstr("% done)"))));
}

} // namespace build_driver_test
