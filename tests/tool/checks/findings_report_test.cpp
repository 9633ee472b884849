// Findings kind by kind, and the verdict behind them.

#include "kep_report/kep_report_number.h"
#include "tools/kep-rg/checks/findings_report.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

namespace findings_report_test {

using KIND = KEP_RG_FINDING_KIND;

class FindingsReport : public testing::Test {
protected:
  void add(KIND kind, std::uint64_t num, std::size_t num_kept) {
    m_report.add(kind, num, num_kept, [](std::size_t i) { return "text " + std::to_string(i); });
  }
  /// What was shown since the last call.
  std::string take() {
    const std::string text = m_out.str();
    m_out.str("");
    return text;
  }

  std::ostringstream m_out;
  FINDINGS_REPORT m_report{m_out, {KIND::DOUBLED_EDGE}, 2};
  VERDICT_SCOPE m_scope{true, false, 332224, 5521582};
};

TEST_F(FindingsReport, ShowsEachKindWithItsFirstFindings) {
  add(KIND::MISSING_NODE, 0, 0);
  EXPECT_EQ(take(), "");
  add(KIND::MISSING_NODE, 2, 2);
  EXPECT_EQ(take(), "missing-node: 2\n  text 0\n  text 1\n");
  add(KIND::SURPLUS_NODE, 4711, 2);
  EXPECT_EQ(take(), "surplus-node: 4,711\n  text 0\n  text 1\n  and 4,709 more\n");
  add(KIND::SURPLUS_EDGE, 7, 1);
  EXPECT_EQ(take(), "surplus-edge: 7\n  text 0\n  and 6 more\n") << "the others were not kept";
  add(KIND::DOUBLED_EDGE, 1, 1);
  EXPECT_EQ(take(), "doubled-edge (waived): 1\n  text 0\n");
}

TEST_F(FindingsReport, IsCleanWhileAllFindingsAreWaived) {
  EXPECT_FALSE(m_report.has_any());
  EXPECT_TRUE(m_report.is_clean());
  add(KIND::DOUBLED_EDGE, 1, 1);
  EXPECT_TRUE(m_report.has_any());
  EXPECT_TRUE(m_report.is_clean());
  add(KIND::UNREACHABLE_NODE, 1, 1);
  EXPECT_FALSE(m_report.is_clean());
}

TEST_F(FindingsReport, EndsInAVerdict) {
  EXPECT_EQ(get_verdict(m_report, m_scope),
            "The graph agrees with the model: 332,224 nodes, 5,521,582 edges; "
            "nothing is odd about the device.");
  m_scope.m_is_traced = true;
  EXPECT_EQ(get_verdict(m_report, m_scope),
            "The graph agrees with the model: 332,224 nodes, 5,521,582 edges; "
            "nothing is odd about the device; no trace fails.");
  m_scope.m_is_proved = false;
  EXPECT_EQ(get_verdict(m_report, m_scope), "No trace fails.");
  m_scope = {true, false, 2, 1};
  add(KIND::UNREACHABLE_NODE, 4, 4);
  add(KIND::DOUBLED_EDGE, 2, 2);
  EXPECT_EQ(get_verdict(m_report, m_scope), "The graph agrees with the model: 2 nodes, 1 edge; odd about the "
                                            "device: 2 doubled-edge (waived), 4 unreachable-node.");
  add(KIND::TRACE_LATER_NET, 60640, 20);
  m_scope.m_is_traced = true;
  EXPECT_EQ(
      get_verdict(m_report, m_scope),
      "The graph agrees with the model: 2 nodes, 1 edge; odd about the device: 2 doubled-edge (waived), "
      "4 unreachable-node; traces that fail: 60,640 trace-later-net.");
  add(KIND::MISSING_NODE, 1, 1);
  EXPECT_EQ(get_verdict(m_report, m_scope),
            "The graph is wrong: 1 missing-node; beside that: 2 doubled-edge (waived), 4 unreachable-node; "
            "traces that fail: 60,640 trace-later-net.");
}

TEST_F(FindingsReport, DoesNotSayThatAllIsWellWhereThereAreNoNodes) {
  m_scope = {true, true, 0, 0};
  EXPECT_EQ(get_verdict(m_report, m_scope), "The graph has no nodes at all: there is nothing to check.");
  add(KIND::FEW_REDUNDANT_EDGES, 1, 1);
  EXPECT_EQ(get_verdict(m_report, m_scope),
            "The graph has no nodes at all: there is nothing to check; beside that: 1 few-redundant-edges.");
  add(KIND::MISSING_NODE, 3, 3);
  EXPECT_EQ(get_verdict(m_report, m_scope),
            "The graph is wrong: 3 missing-node; it has no nodes at all; beside "
            "that: 1 few-redundant-edges.");
}

TEST(GroupDigits, PutsACommaBeforeEachThreeDigits) {
  EXPECT_EQ(KEP_REPORT::group_digits(0), "0");
  EXPECT_EQ(KEP_REPORT::group_digits(999), "999");
  EXPECT_EQ(KEP_REPORT::group_digits(1000), "1,000");
  EXPECT_EQ(KEP_REPORT::group_digits(123456), "123,456");
  EXPECT_EQ(KEP_REPORT::group_digits(18446744073709551615U), "18,446,744,073,709,551,615");
}

TEST(WaivedKinds, AreKnownByTheirIds) {
  EXPECT_EQ(get_waived_kinds({}), WAIVED_KINDS());
  EXPECT_EQ(get_waived_kinds({"trace-no-arc", "missing-node", "trace-no-arc"}),
            (WAIVED_KINDS{KIND::MISSING_NODE, KIND::TRACE_NO_ARC}));
  const auto refusal = [](const std::string& id) {
    try {
      get_waived_kinds({"missing-node", id});
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_EQ(refusal("mising-node"), "--waive: no finding has the id \"mising-node\"; closest: missing-node");
  EXPECT_EQ(refusal("unreachable"),
            "--waive: no finding has the id \"unreachable\"; closest: unreachable-node");
  EXPECT_NE(refusal("MISSING-NODE"), "");
}

} // namespace findings_report_test
