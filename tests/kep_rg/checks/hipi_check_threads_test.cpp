#include "tests/support/check_report.h"
#include "tests/support/damaged_graph.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace hipi_check_threads_test {

using test_model::CHECK_REPORT;
using test_model::EDITED_GRAPH;
using testing::Contains;
using testing::Each;
using testing::SizeIs;

const std::string RULE = "RG-HIPI-CHECK-FAILED: condition that does not hold: ";
const std::string NOT_NAMED = RULE + "!(is_hipi && node.get_hipi_node() != from_node)";
const std::string NO_FANIN = RULE + "!has_hipi_fanin || node.get_hipi_node()";

constexpr std::size_t NUM_ROWS = 250;
constexpr std::size_t NUM_MUXES = 100; // in a row
constexpr std::size_t NUM_OUTPUTS = NUM_ROWS * NUM_MUXES;

/// More nodes than one range of the check holds.
class HipiCheckThreads : public testing::Test {
protected:
  static std::string model() {
    std::string text = "module MUX\n ports >a >b <o\nmodule ROW\n";
    for (std::size_t i = 0; i != NUM_MUXES; ++i)
      text += fmt::format(" inst m{} MUX\n", i);
    text += "module TOP top\n inst mux MUX\n";
    for (std::size_t i = 0; i != NUM_ROWS; ++i)
      text += fmt::format(" inst r{} ROW\n", i);
    return text;
  }
  /// A node at the output of every mux in a row, in their order; and a twin behind each.
  EDITED_GRAPH outputs(bool with_twins) {
    EDITED_GRAPH graph(*m_db);
    for (const KEP_UNFOLDED_INSTANCE& row :
         m_db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW).iter_instances())
      for (const KEP_UNFOLDED_INSTANCE& mux : row.get_module(KEP_VIEW_TYPE::DEFAULT_VIEW).iter_instances()) {
        graph.nodes().push_back({mux.get_unfolded_inst_port_by_index(2)});
        if (with_twins) graph.nodes().push_back({mux.get_unfolded_inst_port_by_index(2), nullptr, true});
      }
    return graph;
  }
  CHECK_REPORT check() { return test_model::run_check(*m_db, &KEP_RG_POST_CHECKS::test_hipi_api); }

  const std::unique_ptr<KEP_DB> m_db = test_model::make_db(model());
};

TEST_F(HipiCheckThreads, TellsEveryFindingInALineOfItsOwn) {
  EDITED_GRAPH graph = outputs(false);
  ASSERT_EQ(graph.nodes().size(), NUM_OUTPUTS);
  const std::size_t twin = graph.place("mux:a*");
  for (std::size_t i = 0; i != NUM_OUTPUTS; ++i)
    graph.nodes()[twin].m_real.push_back({i, {}});
  graph.publish();
  const CHECK_REPORT report = check();
  EXPECT_FALSE(report.m_result);
  EXPECT_THAT(report.m_errors, SizeIs(NUM_OUTPUTS));
  EXPECT_THAT(report.m_errors, Each(NOT_NAMED));
}

TEST_F(HipiCheckThreads, PassesAllTwinsInFirstPlace) {
  EDITED_GRAPH graph = outputs(true);
  for (std::size_t i = 0; i != graph.nodes().size(); i += 2) {
    graph.nodes()[i + 1].m_real.push_back({i, {}});
    graph.nodes()[i].m_real.push_back({(i + 2) % graph.nodes().size(), {}});
  }
  graph.publish();
  const CHECK_REPORT report = check();
  EXPECT_TRUE(report.m_result);
  EXPECT_TRUE(report.is_silent());
}

TEST_F(HipiCheckThreads, EndsOneRangeAloneBehindATwinThatFeedsNothing) {
  EDITED_GRAPH graph = outputs(false);
  graph.nodes().push_back({graph.nodes().front().m_uip, nullptr, true});
  graph.node("mux:a*").m_real.push_back({NUM_OUTPUTS - 1, {}});
  graph.publish();
  const CHECK_REPORT report = check();
  EXPECT_FALSE(report.m_result);
  EXPECT_THAT(report.m_errors, testing::UnorderedElementsAre(NO_FANIN, NOT_NAMED))
      << "the first and the last node lie in different ranges";
}

TEST_F(HipiCheckThreads, FindsOneTwinThatFeedsNothingInEachRange) {
  outputs(true).publish();
  const CHECK_REPORT report = check();
  EXPECT_FALSE(report.m_result);
  EXPECT_THAT(report.m_errors, Each(NO_FANIN));
  EXPECT_GE(report.m_errors.size(), 2U);
  EXPECT_LE(report.m_errors.size(), 2 * NUM_OUTPUTS / 5000) << "no range is split below half a grain";
}

TEST_F(HipiCheckThreads, RunsBesideTheOtherChecksOnOneGraph) {
  EDITED_GRAPH graph = outputs(true);
  for (std::size_t i = 0; i != graph.nodes().size(); i += 2)
    graph.nodes()[i + 1].m_real.push_back({i, {}});
  graph.nodes()[0].m_real = {{2, {}}, {2, {}}};
  graph.nodes()[0].m_redundant = {{2, {}}};
  graph.nodes()[2].m_real = {{3, {}}};
  graph.publish();
  KEP_REPORT_CAPTURE capture;
  std::array<bool, 4> results{};
  std::vector<std::thread> threads;
  const std::array<test_model::POST_CHECK, 4> checks = {
      &KEP_RG_POST_CHECKS::test_hipi_api, &KEP_RG_POST_CHECKS::test_hipi_api,
      &KEP_RG_POST_CHECKS::test_redundant_edges, &KEP_RG_POST_CHECKS::test_graph_connectivity};
  for (std::size_t i = 0; i != checks.size(); ++i)
    threads.emplace_back([&, i] {
      KEP_RG_POST_CHECKS own(m_db.get(), false);
      results[i] = (own.*checks[i])();
    });
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_THAT(results, testing::ElementsAre(true, true, false, true));
  EXPECT_THAT(test_model::split_lines(capture.text(KEP_REPORT::STREAM::ERR)), SizeIs(2));
}

} // namespace hipi_check_threads_test
