// Findings as data: their ids and texts, how many are kept, and graphs with edges to nowhere.

#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_post_checks.h"
#include "tests/support/build_case.h"
#include "tests/support/check_report.h"
#include "tests/support/damaged_graph.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace findings_test {

using KEP_ROUTING::NODE;
using test_model::EDITED_GRAPH;
using test_model::STORAGE_DAMAGE;
using testing::ElementsAre;
using testing::MatchesRegex;
using KIND = KEP_RG_FINDING_KIND;
using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;

const char* const MODEL = R"(
  module MUX
    ports >a >b <o
  module TOP top
    ports >in <out
    inst a MUX
    inst b MUX
    inst c MUX
    inst d MUX
)";

class Findings : public testing::Test {
protected:
  void publish(const std::vector<std::string>& lines) { EDITED_GRAPH(*m_db, lines).publish(); }
  const KEP_ROUTING::GRAPH& graph() const { return *m_db->get_routing_template_graph(); }
  NODE node(const char* name) const { return test_model::node_named(*m_db, name); }
  std::vector<std::string> texts(const KEP_RG_FINDINGS& findings) const {
    std::vector<std::string> lines;
    for (const KEP_RG_FINDINGS::PLACE& place : findings.m_first)
      lines.push_back(kep_rg_get_finding(graph(), findings.m_kind, place).m_text);
    return lines;
  }

  const std::unique_ptr<KEP_DB> m_db = test_model::make_db(MODEL);
};

TEST_F(Findings, HaveIdsInLowerCaseWithHyphensEachOfItsOwn) {
  std::set<std::string> ids;
  for (unsigned i = 0; i != KEP_RG_NUM_FINDING_KINDS; ++i) {
    EXPECT_THAT(kep_rg_get_id(static_cast<KIND>(i)), MatchesRegex("[a-z]+(-[a-z]+)+"));
    ids.insert(kep_rg_get_id(static_cast<KIND>(i)));
  }
  EXPECT_EQ(ids.size(), KEP_RG_NUM_FINDING_KINDS);
  EXPECT_STREQ(kep_rg_get_id(KIND::MISSING_NODE), "missing-node");
  EXPECT_STREQ(kep_rg_get_id(KIND::TRACE_LATER_NET), "trace-later-net");
}

TEST_F(Findings, HaveAKindForEachOutcomeOfATraceThatIsOne) {
  std::set<KIND> kinds;
  for (unsigned i = 0; i != KEP_RG_TRACE_EDGE::NUM_OUTCOMES; ++i) {
    const auto outcome = static_cast<OUTCOME>(i);
    EXPECT_STRNE(kep_rg_get_reason(outcome), "");
    const std::optional<KIND> kind = kep_rg_find_kind(outcome);
    const bool is_none = outcome == OUTCOME::VERIFIED || outcome == OUTCOME::STARTS_AT_BOUNDARY ||
                         outcome == OUTCOME::ENDS_AT_BOUNDARY;
    ASSERT_EQ(!kind, is_none);
    if (is_none) continue;
    EXPECT_EQ(kep_rg_get_subject(*kind), KEP_RG_FINDING_SUBJECT::TRACE);
    kinds.insert(*kind);
  }
  EXPECT_EQ(kinds.size(), KEP_RG_TRACE_EDGE::NUM_OUTCOMES - 3);
}

TEST_F(Findings, CountEachNodeAndFanoutOfDoubledEdges) {
  publish({"a:o -> b:o", "a:o -> c:o", "a:o -> c:o", "a:o -> b:o", "a:o -> b:o", "a:o ~> c:o", "b:o -> c:o",
           "b:o -> c:o", "c:o -> d:o*", "c:o -> d:o*", "c:o ~> b:o", "d:o -> a:o", "d:o ~> a:o"});
  const KEP_RG_FINDINGS found = kep_rg_find_doubled_edges(graph(), 10);
  EXPECT_EQ(found.m_num, 3U);
  EXPECT_THAT(texts(found), ElementsAre("3 real edges from a:o to b:o, beside redundant ones",
                                        "2 real edges from a:o to c:o, beside redundant ones",
                                        "2 real edges from c:o to d:o (hipi), beside redundant ones"));
  const KEP_RG_FINDING second = kep_rg_get_finding(graph(), found.m_kind, found.m_first[1]);
  EXPECT_EQ(second.m_kind, KIND::DOUBLED_EDGE);
  EXPECT_EQ(second.m_node, node("a:o"));
  EXPECT_EQ(second.m_to, node("c:o"));
}

TEST_F(Findings, KeepTheFirstOnesAndCountAll) {
  publish({"a:o -> b:o", "b:o -> a:o", "c:o -> d:o", "d:o -> c:o"});
  const KEP_RG_FINDINGS found = kep_rg_find_unreachable_nodes(graph(), 3);
  EXPECT_EQ(found.m_num, 4U);
  EXPECT_THAT(texts(found),
              ElementsAre("Unreachable node a:o", "Unreachable node b:o", "Unreachable node c:o"));
  EXPECT_EQ(kep_rg_find_unreachable_nodes(graph(), 0).m_num, 4U);
  EXPECT_EQ(kep_rg_find_hipi_order(graph(), 0).m_num, 0U);
}

TEST_F(Findings, TellHowAHipiNodeBreaksItsRule) {
  publish({"a:o* -> b:o", "c:o* -> c:o", "d:o* -> c:o", "d:o"});
  EXPECT_THAT(texts(kep_rg_find_hipi_order(graph(), 10)),
              ElementsAre("A hipi node that stands elsewhere drives b:o",
                          "A hipi node drives c:o and is not the first of its fanins",
                          "The hipi node of d:o does not drive it"));
}

TEST_F(Findings, CountTheShareOfRedundantEdges) {
  std::vector<std::string> lines{"a:o ~> b:o"};
  for (int i = 0; i != 19; ++i)
    lines.push_back("a:o -> c:o");
  publish(lines);
  EXPECT_THAT(texts(kep_rg_find_few_redundant_edges(graph())),
              ElementsAre("1 of 20 edges are redundant, no more than a twentieth"));
  lines.pop_back();
  publish(lines);
  EXPECT_EQ(kep_rg_find_few_redundant_edges(graph()).m_num, 0U);
  publish({});
  EXPECT_THAT(texts(kep_rg_find_few_redundant_edges(graph())),
              ElementsAre("0 of 0 edges are redundant, no more than a twentieth"));
}

TEST_F(Findings, OfAllChecksComeInTheOrderOfKindsAndThoseOfTheWholeWithTheFirstPart) {
  publish({"a:o* -> b:o", "c:o -> d:o", "c:o -> d:o", "c:o ~> d:o", "d:o -> c:o"});
  const auto get_numbers = [this](bool is_judged, const KEP_RG_PART& part) {
    std::vector<std::pair<std::string, std::uint64_t>> numbers;
    for (const KEP_RG_FINDINGS& findings : kep_rg_find_all(graph(), is_judged, 1, part)) {
      EXPECT_EQ(findings.m_first.size(), std::min<std::uint64_t>(findings.m_num, 1));
      numbers.emplace_back(kep_rg_get_id(findings.m_kind), findings.m_num);
    }
    return numbers;
  };
  using NUMBERS = std::vector<std::pair<std::string, std::uint64_t>>;
  EXPECT_EQ(get_numbers(true, {}), (NUMBERS{{"hipi-order", 1},
                                            {"doubled-edge", 1},
                                            {"few-redundant-edges", 0},
                                            {"unreachable-node", 2},
                                            {"no-node", 0}}));
  EXPECT_EQ(get_numbers(false, {0, 2}),
            (NUMBERS{{"hipi-order", 1}, {"doubled-edge", 0}, {"unreachable-node", 2}, {"no-node", 0}}));
  EXPECT_EQ(get_numbers(true, {1, 2}), (NUMBERS{{"hipi-order", 0}, {"doubled-edge", 1}}));
}

TEST_F(Findings, AreNoneInAGraphThatWasNeverBuilt) {
  EXPECT_EQ(kep_rg_find_hipi_order(graph(), 1).m_num, 0U);
  EXPECT_EQ(kep_rg_find_doubled_edges(graph(), 1).m_num, 0U);
  EXPECT_EQ(kep_rg_find_unreachable_nodes(graph(), 1).m_num, 0U);
}

TEST_F(Findings, TellNodesAndEdgesOfTheProofByName) {
  publish({"a:o -> b:o*", ":in -> a:o"});
  const KEP_UNFOLDED_INST_PORT c = test_model::uip(*m_db, "c:o");
  const KEP_UNFOLDED_INST_PORT b = test_model::uip(*m_db, "b:o");
  const KEP_PORT* port = node(":in").get_port();
  const auto text = [](const auto& found) { return kep_rg_get_finding(found).m_text; };
  using FOUND = KEP_RG_PROOF::NODE_FINDING;
  EXPECT_EQ(text(FOUND{true, false, c, nullptr}), "Missing node c:o");
  EXPECT_EQ(text(FOUND{true, true, c, nullptr}), "Missing hipi node c:o");
  EXPECT_EQ(text(FOUND{false, true, b, nullptr}), "Surplus hipi node b:o");
  EXPECT_EQ(text(FOUND{false, false, {}, port}), "Surplus node :in");
  EXPECT_EQ(text(FOUND{true, false, {}, port}), "Missing node :in");

  const KEP_RG_FINDING missing = kep_rg_get_finding(FOUND{true, true, c, nullptr});
  EXPECT_EQ(missing.m_kind, KIND::MISSING_NODE);
  EXPECT_FALSE(missing.m_node);
  const KEP_RG_FINDING surplus = kep_rg_get_finding(FOUND{false, true, b, nullptr});
  EXPECT_EQ(surplus.m_kind, KIND::SURPLUS_NODE);
  EXPECT_EQ(surplus.m_node, node("b:o*"));

  using EDGE = KEP_RG_PROOF::EDGE_FINDING;
  const KEP_UNFOLDED_INST_PORT input = test_model::uip(*m_db, "b:a");
  EXPECT_EQ(text(EDGE{true, false, node("a:o"), node("b:o*"), input}),
            "Missing real edge from a:o to b:o (hipi) through b:a");
  EXPECT_EQ(text(EDGE{false, true, node(":in"), node("a:o"), {}}), "Surplus redundant edge from :in to a:o");
  EXPECT_EQ(text(EDGE{false, false, node("a:o"), {}, {}}), "Surplus real edge from a:o to nowhere");
  EXPECT_EQ(kep_rg_get_finding(EDGE{true, false, node("a:o"), {}, {}}).m_kind, KIND::MISSING_EDGE);
  EXPECT_EQ(kep_rg_get_finding(EDGE{false, false, node("a:o"), {}, {}}).m_kind, KIND::SURPLUS_EDGE);
}

TEST_F(Findings, AreMadeOfGraphsWithEdgesToNowhere) {
  publish({":in -> a:o", "a:o -> d:o", "a:o -> d:o", "a:o ~> b:o", "b:o ~> d:o", "b:o -> c:o", "c:o -> b:o",
           "d:o -> b:o"});
  STORAGE_DAMAGE(*m_db).empty_last_node();
  ASSERT_FALSE((*node("a:o").iter_real_fanout().begin()).get_fanout());
  EXPECT_THAT(texts(kep_rg_find_doubled_edges(graph(), 10)),
              ElementsAre("2 real edges from a:o to nowhere, beside redundant ones"));
  EXPECT_THAT(texts(kep_rg_find_unreachable_nodes(graph(), 10)),
              ElementsAre("Unreachable node b:o", "Unreachable node c:o", "Unreachable node d:o"));
  EXPECT_EQ(kep_rg_find_hipi_order(graph(), 10).m_num, 0U);
  EXPECT_EQ(kep_rg_find_few_redundant_edges(graph()).m_num, 0U);
}

TEST_F(Findings, AreNoneForTheClassesEitherThatAnEdgeToNowhereWouldStop) {
  publish({":in -> a:o", "a:o -> d:o", "a:o -> d:o", "a:o ~> b:o", "b:o -> c:o", "c:o* -> c:o"});
  STORAGE_DAMAGE(*m_db).empty_last_node();
  const auto check = [this](test_model::POST_CHECK each) { return test_model::run_check(*m_db, each, true); };
  EXPECT_THAT(check(&KEP_RG_POST_CHECKS::test_redundant_edges).m_errors,
              ElementsAre(test_model::rule_line("RG-ONE-REAL-EDGE-PER-NODE", {"2", ""}),
                          test_model::rule_line("RG-NO-REAL-EDGE-FOR-REDUNDANT-EDGE")));
  EXPECT_TRUE(check(&KEP_RG_POST_CHECKS::test_hipi_api).m_result);
  EXPECT_FALSE(check(&KEP_RG_POST_CHECKS::test_graph_connectivity).m_result) << "b:o";
}

} // namespace findings_test
