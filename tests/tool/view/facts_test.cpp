// What the page tells of a device beside the device, on graphs that were damaged: each finding by its node
// and edge.

#include "tests/support/build_case.h"
#include "tests/support/damaged_graph.h"
#include "tools/kep-rg/view/facts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace facts_test {

using test_model::EDITED_GRAPH;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// Three muxes in a ring; the graph has the nodes x:o, y:o and z:o in this order.
class Facts : public testing::Test {
protected:
  void SetUp() override {
    m_case.arcs("MUX", {"a"}, "o");
    m_case.build();
  }
  FACTS find() {
    BUILD_STATS stats;
    KEP_REPORT_CAPTURE capture;
    return find_facts(*m_case.db(), m_device, stats);
  }
  /// "KIND NUMBER: (NODE, EDGE TEXT) ..."
  static std::vector<std::string> get_texts(const FACTS& facts) {
    std::vector<std::string> texts;
    for (const FACTS::FOUND_KIND& kind : facts.m_findings) {
      texts.push_back(std::string(kep_rg_get_id(kind.m_kind)) + " " + std::to_string(kind.m_num) + ":");
      for (const FACTS::FOUND& found : kind.m_first)
        texts.back() += " (" + std::to_string(found.m_node) + ", " + std::to_string(found.m_edge) + " " +
                        found.m_text + ")";
    }
    return texts;
  }

  BUILD_CASE m_case{R"(
    module MUX
      ports >a <o
    module TOP top
      inst x MUX header
      inst y MUX header
      inst z MUX header
      net i z.o x.a
      net n x.o y.a
      net m y.o z.a
  )"};
  DEVICE_OPTIONS m_device;
};

const char* const UNREACHABLE =
    "unreachable-node 3: (0, -1 Unreachable node x:o) (1, -1 Unreachable node y:o) "
    "(2, -1 Unreachable node z:o)";

TEST_F(Facts, AreFindingsAndHops) {
  const FACTS facts = find();
  EXPECT_TRUE(facts.m_is_checked);
  EXPECT_THAT(get_texts(facts), ElementsAre(UNREACHABLE)); // no input leads into a ring
  EXPECT_THAT(facts.m_hops, ElementsAre(0, 0, 3));         // to the mux input, through the mux
  EXPECT_EQ(facts.m_num_untraced, 0U);
}

TEST_F(Facts, NameTheNodeAndTheEdgeOfWhatIsWrong) {
  EDITED_GRAPH graph = EDITED_GRAPH::read(*m_case.db());
  graph.nodes()[0].m_real.push_back({2, {}}); // from x to z, and none from y
  graph.nodes()[1].m_real.clear();
  graph.publish();
  const FACTS facts = find();
  EXPECT_THAT(get_texts(facts),
              ElementsAre("missing-edge 1: (1, -1 Missing real edge from y:o to z:o through z:a)",
                          "surplus-edge 1: (0, 1 Surplus real edge from x:o to z:o)", UNREACHABLE,
                          "trace-not-found 1: (0, 1 x:o -> z:o: the search does not meet the target)"));
  EXPECT_THAT(facts.m_hops, ElementsAre(0, 0, 2));
  EXPECT_EQ(facts.m_num_untraced, 1U);
}

TEST_F(Facts, ArePlainJsonWhateverNamesHold) {
  FACTS facts;
  const std::string unchecked = format_facts(facts, "a \"b\"\n.kdb");
  EXPECT_THAT(unchecked, HasSubstr(R"("name": "a \"b\"\u000a.kdb")"));
  EXPECT_THAT(unchecked, HasSubstr("\"checked\": false"));
  for (const char* member : {"findings", "hops", "untraced"})
    EXPECT_THAT(unchecked, Not(HasSubstr(member)));

  facts.m_is_checked = true;
  facts.m_findings.push_back({KEP_RG_FINDING_KIND::UNREACHABLE_NODE, 2, {{7, -1, "Unreachable \"x\""}}});
  const std::string text = format_facts(facts, "d.kdb");
  EXPECT_THAT(text, HasSubstr("{\"kind\": \"unreachable-node\", \"subject\": \"device\", \"count\": 2, "
                              "\"first\": [\n[7, -1, \"Unreachable \\\"x\\\"\"]]}"));
  EXPECT_THAT(text, HasSubstr("\"findings_by_node_complete\": false"));
  facts.m_findings[0].m_num = 1;
  EXPECT_THAT(format_facts(facts, "d.kdb"), HasSubstr("\"findings_by_node_complete\": true"));
}

} // namespace facts_test
