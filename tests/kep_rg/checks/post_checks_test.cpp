#include "kep_rg/checks/kep_rg_connectivity_check.h"
#include "kep_rg/kep_rg_post_checks.h"
#include "tests/support/check_report.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace post_checks_test {

using test_model::CHECK_REPORT;
using test_model::EDITED_GRAPH;
using test_model::rule_line;
using test_model::run_check;
using test_model::STORAGE_DAMAGE;
using testing::ElementsAre;
using testing::IsEmpty;

const char* const MODEL = R"(
  module MUX
    ports >a >b <o
  module TILE
    inst m MUX
    inst k MUX
  module TOP top
    ports >in <out
    inst a MUX
    inst b MUX
    inst c MUX
    inst d MUX
    inst e MUX
    inst t TILE
)";

const char* const ONE_REAL = "RG-ONE-REAL-EDGE-PER-NODE";
const char* const NO_REAL = "RG-NO-REAL-EDGE-FOR-REDUNDANT-EDGE";
const char* const TOO_FEW = "RG-REDUNDANT-EDGE-COUNT-PREREQUISITE";

class PostChecks : public testing::Test {
protected:
  void publish(const std::vector<std::string>& lines) { EDITED_GRAPH(*m_db, lines).publish(); }
  CHECK_REPORT edges(bool verbose = false) {
    return run_check(*m_db, &KEP_RG_POST_CHECKS::test_redundant_edges, verbose);
  }
  CHECK_REPORT count(bool verbose = false) {
    return run_check(*m_db, &KEP_RG_POST_CHECKS::test_redundant_edge_count, verbose);
  }
  /// That the check of redundant edges fails at one node, for so many real edges to one fanout.
  void expect_failure(const std::string& number, const std::string& fanout, bool verbose = false) {
    const CHECK_REPORT report = edges(verbose);
    EXPECT_FALSE(report.m_result);
    EXPECT_THAT(report.m_errors, ElementsAre(rule_line(ONE_REAL, {number, fanout}), rule_line(NO_REAL)));
    EXPECT_THAT(report.m_infos, IsEmpty());
    EXPECT_EQ(report.m_rest, "");
  }
  void expect_success() {
    const CHECK_REPORT quiet = edges();
    EXPECT_TRUE(quiet.m_result);
    EXPECT_TRUE(quiet.is_silent());
    const CHECK_REPORT verbose = edges(true);
    EXPECT_TRUE(verbose.m_result);
    EXPECT_THAT(verbose.m_infos, ElementsAre("All redundant edges have a real edge on the same path"));
    EXPECT_THAT(verbose.m_errors, IsEmpty());
    EXPECT_EQ(verbose.m_rest, "");
  }

  const std::unique_ptr<KEP_DB> m_db = test_model::make_db(MODEL);
};

TEST_F(PostChecks, TellInThisOrderOfTwoRealEdgesToOneFanout) {
  publish({"a:o -> b:o via b:a", "a:o -> b:o via b:b", "a:o ~> b:o via b:a"});
  const CHECK_REPORT report = edges();
  EXPECT_FALSE(report.m_result);
  EXPECT_THAT(report.m_errors,
              ElementsAre("RG-ONE-REAL-EDGE-PER-NODE: 2 real edges lead from one node to the same fanout b:o",
                          "RG-NO-REAL-EDGE-FOR-REDUNDANT-EDGE: a node has redundant edges, but not one real "
                          "edge for each fanout"));
  expect_failure("2", "b:o", true);
}

TEST_F(PostChecks, CountTheRealEdgesToTheFanoutAlone) {
  publish({"a:o -> b:o", "a:o -> c:o", "a:o -> b:o", "a:o -> b:o via b:a", "a:o ~> b:o", "a:o ~> d:o"});
  expect_failure("3", "b:o");
}

TEST_F(PostChecks, FailForRealEdgesToANodeWithoutARedundantEdgeToIt) {
  publish({"a:o -> c:o via c:a", "a:o -> c:o via c:b", "a:o -> b:o", "a:o ~> b:o"});
  expect_failure("2", "c:o");
}

TEST_F(PostChecks, NameTheFanoutByItsWholePath) {
  publish({"t/m:o -> t/k:o via t/k:a", "t/m:o -> t/k:o via t/k:b", "t/m:o ~> b:o"});
  expect_failure("2", "t/k:o");
}

TEST_F(PostChecks, NameABoundaryFanoutByTheUipThatItHasNot) {
  publish({"a:o -> :out", "a:o -> :out", "a:o ~> b:o"});
  expect_failure("2", "");
}

TEST_F(PostChecks, TellATwinAndItsPlainNodeApart) {
  publish({"a:o -> b:o", "a:o -> b:o*", "a:o ~> b:o"});
  expect_success();
  publish({"a:o -> b:o", "a:o -> b:o*", "a:o -> b:o*", "a:o ~> b:o"});
  expect_failure("2", "b:o");
}

TEST_F(PostChecks, StopAtTheFirstNodeThatFails) {
  publish({"a:o -> b:o", "a:o ~> b:o", "b:o -> c:o", "b:o -> c:o", "b:o ~> c:o", "c:o -> d:o", "c:o -> d:o",
           "c:o ~> d:o"});
  expect_failure("2", "c:o");
}

TEST_F(PostChecks, TellOfOneFanoutOfANodeAloneThatOfARedundantEdgeFirst) {
  publish({"a:o -> b:o", "a:o -> b:o", "a:o -> c:o", "a:o -> c:o", "a:o -> c:o", "a:o -> d:o", "a:o -> d:o",
           "a:o ~> d:o"});
  expect_failure("2", "d:o");
  publish({"a:o -> c:o", "a:o -> b:o", "a:o -> b:o", "a:o -> c:o", "a:o -> c:o", "a:o ~> d:o"});
  expect_failure("3", "c:o");
}

TEST_F(PostChecks, PassOneRealEdgeForEachFanout) {
  publish({"a:o -> b:o", "a:o -> c:o", "a:o ~> b:o", "a:o ~> c:o", "b:o -> c:o", "b:o ~> c:o"});
  expect_success();
}

TEST_F(PostChecks, PassASingleRedundantEdgeUnexamined) {
  publish({"a:o ~> b:o"});
  expect_success();
}

TEST_F(PostChecks, PassANodeWithRealEdgesAlone) {
  publish({"a:o -> b:o", "a:o -> b:o", "a:o -> b:o", "c:o -> d:o", "c:o ~> d:o"});
  expect_success();
}

TEST_F(PostChecks, PassRedundantEdgesWithoutAnyRealEdge) {
  publish({"a:o ~> b:o via b:a", "a:o ~> b:o via b:b"});
  expect_success();
}

TEST_F(PostChecks, PassARedundantEdgeWhoseFanoutHasNoRealEdge) {
  publish({"a:o ~> b:o", "a:o -> c:o"});
  expect_success();
}

TEST_F(PostChecks, PassAGraphWithoutNodes) {
  expect_success(); // never built
  publish({});
  expect_success();
}

/// A star of so many real and redundant edges from one node.
std::vector<std::string> star(unsigned real, unsigned redundant) {
  std::vector<std::string> lines;
  for (unsigned i = 0; i != real; ++i)
    lines.push_back("a:o -> b:o");
  for (unsigned i = 0; i != redundant; ++i)
    lines.push_back("a:o ~> c:o");
  return lines;
}

TEST_F(PostChecks, FindTooFewRedundantEdgesAtATwentiethExactly) {
  publish(star(19, 1));
  for (const bool verbose : {false, true}) {
    const CHECK_REPORT report = count(verbose);
    EXPECT_FALSE(report.m_result);
    EXPECT_THAT(report.m_errors, ElementsAre(rule_line(TOO_FEW)));
    EXPECT_THAT(report.m_infos, IsEmpty());
    EXPECT_EQ(report.m_rest, "");
  }
  publish(star(190, 10));
  EXPECT_FALSE(count().m_result);
}

TEST_F(PostChecks, AreSilentAboutEnoughRedundantEdges) {
  for (const auto& lines : {star(18, 1), star(189, 10), star(0, 1)}) {
    publish(lines);
    for (const bool verbose : {false, true}) {
      const CHECK_REPORT report = count(verbose);
      EXPECT_TRUE(report.m_result);
      EXPECT_TRUE(report.is_silent());
    }
  }
}

TEST_F(PostChecks, FindTooFewRedundantEdgesAmongNoEdgesAtAll) {
  const auto expect_too_few = [&] {
    const CHECK_REPORT report = count();
    EXPECT_FALSE(report.m_result);
    EXPECT_THAT(report.m_errors, ElementsAre(rule_line(TOO_FEW)));
  };
  expect_too_few(); // never built
  publish({"a:o", "b:o"});
  expect_too_few();
  expect_success();
}

TEST_F(PostChecks, CountTheEdgesOfAllNodes) {
  std::vector<std::string> lines = star(10, 0);
  for (int i = 0; i != 9; ++i)
    lines.push_back("e:o -> d:o");
  lines.push_back(":in ~> b:o");
  publish(lines);
  EXPECT_FALSE(count().m_result) << "1 of 20";
  lines.push_back("t/m:o ~> t/k:o");
  publish(lines);
  EXPECT_TRUE(count().m_result) << "2 of 21";
}

TEST_F(PostChecks, AssertThatARedundantEdgeHasAFanout) {
  publish({"a:o -> b:o", "a:o ~> t/k:o", "t/k:o"});
  STORAGE_DAMAGE(*m_db).empty_last_node();
  KEP_RG_POST_CHECKS checks(m_db.get(), false);
  EXPECT_EQ(assertion_text([&] { checks.test_redundant_edge_count(); }),
            "Assertion failed: edge.get_fanout() in kep_rg/kep_rg_post_checks.cpp@LINE");
}

TEST_F(PostChecks, AssertThatThereIsADatabase) {
  for (const bool verbose : {false, true})
    EXPECT_EQ(assertion_text([&] { KEP_RG_POST_CHECKS(nullptr, verbose); }),
              "Assertion failed: m_db in kep_rg/kep_rg_post_checks.cpp@LINE: Null db pointer, cannot proceed "
              "with rg post checking.");
}

TEST_F(PostChecks, AssertThatTheConnectivityCheckHasADatabase) {
  for (const bool verbose : {false, true})
    EXPECT_EQ(assertion_text([&] { KEP_RG_CONNECTIVITY_CHECK(nullptr, verbose); }),
              "Assertion failed: m_db in kep_rg/kep_rg_post_checks.cpp@LINE: Null db pointer, cannot proceed "
              "with connectivity check.");
}

TEST_F(PostChecks, GiveTheSameResultsAndLinesAtEveryCall) {
  publish({"a:o -> b:o", "a:o -> b:o", "a:o ~> b:o"});
  KEP_RG_POST_CHECKS checks(m_db.get(), true);
  const std::string graph = test_model::whole_graph(*m_db);
  const auto all = [&] {
    return test_model::report_of([&] {
      EXPECT_FALSE(checks.test_redundant_edges());
      EXPECT_TRUE(checks.test_redundant_edge_count());
      EXPECT_TRUE(checks.test_hipi_api());
      return !checks.test_redundant_edges();
    });
  };
  const CHECK_REPORT first = all();
  const CHECK_REPORT second = all();
  EXPECT_EQ(first.m_errors.size(), 4U);
  EXPECT_EQ(first.m_errors, second.m_errors);
  EXPECT_EQ(first.m_infos, second.m_infos);
  EXPECT_EQ(test_model::whole_graph(*m_db), graph) << "checks only read";
}

TEST_F(PostChecks, LeaveTheTextOfTheLastErrorEmpty) {
  publish({"a:o -> b:o", "a:o -> b:o", "a:o ~> b:o"});
  KEP_RG_POST_CHECKS checks(m_db.get(), false);
  EXPECT_EQ(checks.get_last_err(), "");
  test_model::report_of([&] { return checks.test_redundant_edges(); });
  EXPECT_EQ(checks.get_last_err(), "");
  publish({"a:o ~> b:o"});
  test_model::report_of([&] { return checks.test_graph_connectivity(); });
  EXPECT_EQ(checks.get_last_err(), "");
  publish({"a:o*", "a:o"});
  test_model::report_of([&] { return checks.test_hipi_api(); });
  EXPECT_EQ(checks.get_last_err(), "");
  publish({});
  test_model::report_of([&] { return checks.test_redundant_edge_count(); });
  EXPECT_EQ(checks.get_last_err(), "");
}

TEST_F(PostChecks, SeeAGraphThatIsPublishedAfterThem) {
  KEP_RG_POST_CHECKS checks(m_db.get(), false);
  EXPECT_TRUE(checks.test_redundant_edges());
  publish({"a:o -> b:o", "a:o -> b:o", "a:o ~> b:o"});
  EXPECT_FALSE(test_model::report_of([&] { return checks.test_redundant_edges(); }).m_result);
}

TEST_F(PostChecks, AreCopiedAndMovedWithWhatTheyTest) {
  static_assert(std::is_copy_constructible_v<KEP_RG_POST_CHECKS>);
  static_assert(std::is_nothrow_move_constructible_v<KEP_RG_POST_CHECKS>);
  static_assert(std::is_copy_assignable_v<KEP_RG_POST_CHECKS>);
  static_assert(std::is_nothrow_move_assignable_v<KEP_RG_POST_CHECKS>);
  static_assert(!std::is_polymorphic_v<KEP_RG_POST_CHECKS>);
  publish({"a:o -> b:o", "a:o -> b:o", "a:o ~> b:o"});
  const auto clean_db = test_model::make_db(MODEL);
  const auto is_failing = [](KEP_RG_POST_CHECKS& checks) {
    return !test_model::report_of([&] { return checks.test_redundant_edges(); }).m_result;
  };
  const auto is_verbose = [](KEP_RG_POST_CHECKS& checks) {
    return !test_model::report_of([&] { return checks.test_hipi_api(); }).m_infos.empty();
  };
  KEP_RG_POST_CHECKS failing(m_db.get(), true);
  KEP_RG_POST_CHECKS clean(clean_db.get(), false);
  EXPECT_FALSE(is_failing(clean));
  EXPECT_FALSE(is_verbose(clean));

  KEP_RG_POST_CHECKS copy(failing);
  EXPECT_TRUE(is_failing(copy));
  EXPECT_TRUE(is_verbose(copy));
  clean = copy;
  EXPECT_TRUE(is_failing(clean));
  EXPECT_TRUE(is_verbose(clean));
  KEP_RG_POST_CHECKS moved(std::move(copy));
  EXPECT_TRUE(is_failing(moved));
  KEP_RG_POST_CHECKS other(clean_db.get(), false);
  other = std::move(moved);
  EXPECT_TRUE(is_failing(other));
  EXPECT_TRUE(is_verbose(other));
}

} // namespace post_checks_test
