#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_creation_stats.h"

#include <gtest/gtest.h>

#include <chrono>
#include <regex>
#include <string>
#include <thread>

namespace build_stats_test {

KEP_RG_EDGE_CREATION_STATS stats(unsigned nodes, int step) {
  return KEP_RG_EDGE_CREATION_STATS(nodes, step);
}

std::string printed(const KEP_RG_EDGE_CREATION_STATS& total) {
  KEP_REPORT_CAPTURE capture;
  KEP_RG::print_stats(total);
  return std::regex_replace(capture.text(KEP_REPORT::STREAM::INFO), std::regex("[0-9]+h:[0-9]+m:[0-9]+s"),
                            "TIME");
}

TEST(BuildStats, ReadTimesWithoutLeadingZeros) {
  EXPECT_EQ(KEP_RG::format_time(0), "0h:0m:0s");
  EXPECT_EQ(KEP_RG::format_time(59), "0h:0m:59s");
  EXPECT_EQ(KEP_RG::format_time(60), "0h:1m:0s");
  EXPECT_EQ(KEP_RG::format_time(3599), "0h:59m:59s");
  EXPECT_EQ(KEP_RG::format_time(3600), "1h:0m:0s");
  EXPECT_EQ(KEP_RG::format_time(3725), "1h:2m:5s");
  EXPECT_EQ(KEP_RG::format_time(360000), "100h:0m:0s");
  EXPECT_EQ(KEP_RG::format_time(-61), "0h:-1m:-1s") << "signed division, toward zero";
}

TEST(BuildStats, BeginWithTheNodesToDoAndTheStepWidenedWithItsSign) {
  const KEP_RG_NODE_CREATION_STATS nodes{};
  EXPECT_EQ(nodes.m_eliminated_num_nodes + nodes.m_created_num_nodes + nodes.m_created_num_nodes_blc +
                nodes.m_created_num_nodes_inserted + nodes.m_created_num_nodes_hipi +
                nodes.m_repeated_num_nodes + nodes.m_created_num_nodes_boundary,
            0U);
  const KEP_RG_EDGE_CREATION_STATS edges = stats(12, -1);
  EXPECT_EQ(edges.n_nodes, 12U);
  EXPECT_EQ(edges.nodes_per_display, ~std::uint64_t{0});
  EXPECT_EQ(edges.n_skip_port + edges.n_nodes_done + edges.n_get_leaf_calls + edges.n_get_leaf_fanouts +
                edges.n_edges + edges.n_redundant_edges + edges.n_cdrn_cache_hits + edges.n_cdrn_cache_misses,
            0U);
}

TEST(BuildStats, AddUpWhatWasDoneAndKeepTheRestOfTheFirst) {
  KEP_RG_EDGE_CREATION_STATS a = stats(100, 10);
  KEP_RG_EDGE_CREATION_STATS b = stats(200, 20);
  std::uint64_t value = 1;
  for (KEP_RG_EDGE_CREATION_STATS* each : {&a, &b}) {
    for (auto member :
         {&KEP_RG_EDGE_CREATION_STATS::n_skip_port, &KEP_RG_EDGE_CREATION_STATS::n_nodes_done,
          &KEP_RG_EDGE_CREATION_STATS::n_get_leaf_calls, &KEP_RG_EDGE_CREATION_STATS::n_get_leaf_fanouts,
          &KEP_RG_EDGE_CREATION_STATS::n_edges, &KEP_RG_EDGE_CREATION_STATS::n_redundant_edges,
          &KEP_RG_EDGE_CREATION_STATS::n_cdrn_cache_hits, &KEP_RG_EDGE_CREATION_STATS::n_cdrn_cache_misses})
      each->*member = value++;
  }
  a.cpu_start = 5;
  a.wall_start = 6;
  b.cpu_start = 50;
  b.wall_start = 60;
  const KEP_RG_EDGE_CREATION_STATS sum = a + b;
  EXPECT_EQ(sum.n_skip_port, 1U + 9U);
  EXPECT_EQ(sum.n_nodes_done, 2U + 10U);
  EXPECT_EQ(sum.n_get_leaf_calls, 3U + 11U);
  EXPECT_EQ(sum.n_get_leaf_fanouts, 4U + 12U);
  EXPECT_EQ(sum.n_edges, 5U + 13U);
  EXPECT_EQ(sum.n_redundant_edges, 6U + 14U);
  EXPECT_EQ(sum.n_cdrn_cache_hits, 7U + 15U);
  EXPECT_EQ(sum.n_cdrn_cache_misses, 8U + 16U);
  EXPECT_EQ(sum.n_nodes, 100U);
  EXPECT_EQ(sum.nodes_per_display, 10U);
  EXPECT_EQ(sum.cpu_start, 5);
  EXPECT_EQ(sum.wall_start, 6);
  EXPECT_EQ(a.n_skip_port, 1U) << "the records themselves stay";
}

TEST(BuildStats, StartTheirClocksWhenMade) {
  KEP_RG_EDGE_CREATION_STATS record = stats(1, 1);
  EXPECT_LT(record.get_cpu_seconds(), 60.0);
  EXPECT_GE(record.get_cpu_seconds(), 0.0);
  EXPECT_GE(record.get_wall_seconds(), 0);
  EXPECT_LT(record.get_wall_seconds(), 60);
  record.wall_start -= 3 * std::int64_t{10000000};
  record.cpu_start -= 2500;
  EXPECT_GE(record.get_wall_seconds(), 3) << "ticks of 100 nanoseconds";
  EXPECT_LT(record.get_wall_seconds(), 60);
  EXPECT_GE(record.get_cpu_seconds(), 2.5) << "milliseconds";
  EXPECT_LT(record.get_cpu_seconds(), 60.0);
}

TEST(BuildStats, PrintTheClosingBlockWithAveragesRoundedDown) {
  KEP_RG_EDGE_CREATION_STATS total = stats(10, 1);
  total.n_skip_port = 3;
  total.n_edges = 100;
  total.n_redundant_edges = 19;
  total.n_get_leaf_calls = 20;
  total.n_get_leaf_fanouts = 149;
  total.n_cdrn_cache_hits = 10;
  total.n_cdrn_cache_misses = 5;
  EXPECT_EQ(printed(total), "n_skip_port = 3\n"
                            "          n_edges = 100\n"
                            "n_redundant_edges = 19\n"
                            "|_ avg fanout size per node = 5\n"
                            "n_get_leaf_calls = 20\n"
                            "|_ n_get_leaf_fanouts = 149\n"
                            "|_ avg fanout size per call = 4\n"
                            "n_cdrn_cache_hits = 10\n"
                            "n_cdrn_cache_misses = 5\n"
                            "cpu time = TIME\n"
                            "wall_clock time = TIME\n");
}

TEST(BuildStats, PrintNoAveragesWithoutASearch) {
  EXPECT_EQ(printed(stats(0, 1)), "n_skip_port = 0\n"
                                  "          n_edges = 0\n"
                                  "n_redundant_edges = 0\n"
                                  "n_get_leaf_calls = 0\n"
                                  "|_ n_get_leaf_fanouts = 0\n"
                                  "n_cdrn_cache_hits = 0\n"
                                  "n_cdrn_cache_misses = 0\n"
                                  "cpu time = TIME\n"
                                  "wall_clock time = TIME\n");
}

TEST(BuildStats, PrintHowLongTheEdgesTook) {
  KEP_RG_EDGE_CREATION_STATS total = stats(0, 1);
  total.wall_start -= 7325 * std::int64_t{10000000};
  KEP_REPORT_CAPTURE capture;
  KEP_RG::print_stats(total);
  EXPECT_NE(capture.text(KEP_REPORT::STREAM::INFO).find("\nwall_clock time = 2h:2m:"), std::string::npos);
}

KEP_RG_EDGE_CREATION_STATS halfway() {
  KEP_RG_EDGE_CREATION_STATS total = stats(1000, 100);
  total.n_nodes_done = 400;
  total.n_get_leaf_calls = 1200;
  total.n_get_leaf_fanouts = 5300;
  total.n_cdrn_cache_hits = 100;
  return total;
}

TEST(BuildProgress, TellsWhatIsDoneAndWhatIsLeft) {
  EXPECT_EQ(KEP_RG::format_progress(halfway(), 100, 2.0, 10),
            "(50% done) 250 nodes/s ... 0h:0m:10s time left [500 of 1000 nodes in 0h:0m:2s cpu, 0h:0m:10s "
            "wallclock] ... get_leaf: 600 calls/s, 1200 calls, 4 avg fanouts\n");
}

TEST(BuildProgress, CutsTimesOffAndRoundsRates) {
  KEP_RG_EDGE_CREATION_STATS total = halfway();
  total.n_nodes_done = 0;
  EXPECT_EQ(KEP_RG::format_progress(total, 300, 7.9, 4000),
            "(30% done) 38 nodes/s ... 2h:35m:33s time left [300 of 1000 nodes in 0h:0m:7s cpu, 1h:6m:40s "
            "wallclock] ... get_leaf: 152 calls/s, 1200 calls, 4 avg fanouts\n");
}

TEST(BuildProgress, GivesNoAverageWithoutASearch) {
  KEP_RG_EDGE_CREATION_STATS total = stats(200, 100);
  EXPECT_EQ(KEP_RG::format_progress(total, 200, 2.0, 1),
            "(100% done) 100 nodes/s ... 0h:0m:0s time left [200 of 200 nodes in 0h:0m:2s cpu, 0h:0m:1s "
            "wallclock] ... get_leaf: 0 calls/s, 0 calls, 0 avg fanouts\n");
}

TEST(BuildProgress, IsDueOnlyWhenAMultipleOfTheStepIsCrossed) {
  KEP_RG_EDGE_CREATION_STATS total = halfway();
  EXPECT_EQ(KEP_RG::format_progress(total, 99, 2.0, 10), "");
  EXPECT_NE(KEP_RG::format_progress(total, 100, 2.0, 10), "");
  total.n_nodes_done = 399;
  EXPECT_NE(KEP_RG::format_progress(total, 1, 2.0, 10), "");
  EXPECT_EQ(KEP_RG::format_progress(total, 0, 2.0, 10), "");
}

TEST(BuildProgress, IsOneLineForARangeThatCrossesTwoMultiples) {
  const std::string line = KEP_RG::format_progress(halfway(), 250, 2.0, 10);
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
  EXPECT_NE(line.find("[650 of 1000 nodes"), std::string::npos);
}

TEST(BuildProgress, StaysSilentUpToOneSecondAndLosesTheCrossing) {
  KEP_RG_EDGE_CREATION_STATS total = halfway();
  EXPECT_EQ(KEP_RG::format_progress(total, 500, 0.5, 0), "");
  EXPECT_EQ(KEP_RG::format_progress(total, 500, 1.0, 0), "");
  EXPECT_NE(KEP_RG::format_progress(total, 500, 1.001, 0), "");
  total.n_nodes_done = 900;
  EXPECT_EQ(KEP_RG::format_progress(total, 50, 5.0, 5), "") << "the next line comes at the next crossing";
}

TEST(BuildProgress, NeedsNoSecondWhenTheStepIsOne) {
  KEP_RG_EDGE_CREATION_STATS total = halfway();
  total.nodes_per_display = 1;
  EXPECT_NE(KEP_RG::format_progress(total, 1, 0.25, 0), "");
  EXPECT_EQ(KEP_RG::format_progress(total, 0, 0.25, 0), "");
}

TEST(BuildProgress, IsNothingForAGraphWithoutNodes) {
  EXPECT_EQ(KEP_RG::format_progress(stats(0, 1), 5, 2.0, 2), "");
}

TEST(BuildProgress, NeverComesWithANegativeStep) {
  KEP_RG_EDGE_CREATION_STATS total = stats(1000, -5);
  total.n_nodes_done = 400;
  EXPECT_EQ(KEP_RG::format_progress(total, 600, 5.0, 5), "");
}

} // namespace build_stats_test
