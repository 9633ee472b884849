// What `check` says of damaged graphs: each kind of finding by name, the verdict, and what -q and --waive
// make of it.

#include "kep_report/kep_report_progress.h"
#include "tests/support/build_case.h"
#include "tests/support/damaged_graph.h"
#include "tools/kep-rg/checks/verify_graph.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace verify_graph_test {

using test_model::EDITED_GRAPH;
using test_model::STORAGE_DAMAGE;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr unsigned NUM_TARGETS = 30;

/// One mux "s" that drives thirty, "t0" to "t29".
class VerifyGraph : public testing::Test {
protected:
  void SetUp() override {
    m_case.arcs("MUX", {"a", "b"}, "o");
    m_case.build();
  }
  static std::string model() {
    std::string text = "module MUX\n ports >a >b <o\nmodule TOP top\n inst s MUX header\n";
    std::string net = " net n s.o";
    for (unsigned i = 0; i != NUM_TARGETS; ++i) {
      text += " inst t" + std::to_string(i) + " MUX header\n";
      text += " net o" + std::to_string(i) + " t" + std::to_string(i) + ".o\n";
      net += " t" + std::to_string(i) + ".a";
    }
    return text + net + "\n";
  }
  static std::string edge_to(const std::string& target) {
    return "s:o -> " + target + ":o via " + target + ":a";
  }
  static std::string missing(const std::string& target) {
    return "  Missing real edge from s:o to " + target + ":o through " + target + ":a\n";
  }

  /// All that is said.
  std::string verify() {
    std::ostringstream out;
    BUILD_STATS stats;
    KEP_REPORT_CAPTURE capture;
    m_is_clean = verify_graph(m_case.db(), m_device, m_asked, stats, out);
    EXPECT_EQ(capture.text(KEP_REPORT::STREAM::ERR), "");
    return out.str();
  }

  BUILD_CASE m_case{model()};
  EDITED_GRAPH graph() { return EDITED_GRAPH::read(*m_case.db()); }
  DEVICE_OPTIONS m_device;
  VERIFICATION m_asked{true, false, {}};
  bool m_is_clean = false;
};

TEST_F(VerifyGraph, TellsHowFarTheProofAndTheTracesAre) {
  std::vector<std::string> ends;
  KEP_REPORT::set_progress_watcher(
      [&ends](const KEP_REPORT_PROGRESS& phase, KEP_REPORT::PROGRESS_EVENT event) {
        if (event == KEP_REPORT::PROGRESS_EVENT::ENDS)
          ends.push_back(phase.get_name() + (" " + std::to_string(phase.get_done())) + " of " +
                         std::to_string(phase.get_total()));
      });
  m_asked.m_check = m_asked.m_trace = true;
  verify();
  KEP_REPORT::set_progress_watcher({});
  EXPECT_THAT(ends, testing::ElementsAre("proof 31 of 31", "checks 93 of 93", "traces 31 of 31"));
}

TEST_F(VerifyGraph, SaysOfASoundGraphThatItAgreesWithTheModel) {
  EXPECT_EQ(verify(),
            "The graph agrees with the model: 31 nodes, 30 edges; nothing is odd about the device.\n");
  EXPECT_TRUE(m_is_clean);
  m_device.m_quiet = true;
  EXPECT_EQ(verify(), "");
  EXPECT_TRUE(m_is_clean);
}

TEST_F(VerifyGraph, NamesMissingAndSurplusEdges) {
  EDITED_GRAPH edited = graph();
  edited.drop(edge_to("t3"));
  edited.add("t0:o -> t1:o via t1:b");
  edited.add("t0:o ~> t2:o");
  edited.publish();
  EXPECT_EQ(verify(), "missing-edge: 1\n" + missing("t3") +
                          "surplus-edge: 2\n"
                          "  Surplus real edge from t0:o to t1:o through t1:b\n"
                          "  Surplus redundant edge from t0:o to t2:o\n"
                          "few-redundant-edges: 1\n"
                          "  1 of 31 edges are redundant, no more than a twentieth\n"
                          "The graph is wrong: 1 missing-edge, 2 surplus-edge; beside that: 1 "
                          "few-redundant-edges.\n");
  EXPECT_FALSE(m_is_clean);
}

TEST_F(VerifyGraph, ShowsTheFirstTwentyOfAKindAndAllWhenVerbose) {
  EDITED_GRAPH edited = graph();
  for (unsigned i = 0; i != 25; ++i)
    edited.drop(edge_to("t" + std::to_string(i)));
  edited.publish();
  const std::string some = verify();
  EXPECT_THAT(some, StartsWith("missing-edge: 25\n"));
  EXPECT_THAT(some, HasSubstr(missing("t19") + "  and 5 more\nThe graph is wrong: 25 missing-edge.\n"));
  EXPECT_THAT(some, Not(HasSubstr("t20")));
  m_device.m_verbose = true;
  const std::string all = verify();
  EXPECT_THAT(all, HasSubstr(missing("t20")));
  EXPECT_THAT(all, HasSubstr(missing("t24")));
  EXPECT_THAT(all, Not(HasSubstr("more")));
}

TEST_F(VerifyGraph, CountsEveryUnreachableNodeAndDoubledEdge) {
  // Below a graph with a ring and doubled edges the model has neither, so the graph is wrong, too.
  EDITED_GRAPH edited = graph();
  for (const char* line : {"t0:o -> t1:o", "t1:o -> t0:o", "t2:o -> t3:o", "t2:o -> t3:o", "t2:o ~> t4:o",
                           "t2:o -> t5:o", "t2:o -> t5:o", "t2:o ~> t6:o"})
    edited.add(line);
  for (const char* target : {"t0", "t1"})
    edited.drop(edge_to(target));
  edited.publish();
  const std::string text = verify();
  EXPECT_THAT(text, HasSubstr("doubled-edge: 2\n"
                              "  2 real edges from t2:o to t3:o, beside redundant ones\n"
                              "  2 real edges from t2:o to t5:o, beside redundant ones\n"
                              "unreachable-node: 2\n"
                              "  Unreachable node t0:o\n"
                              "  Unreachable node t1:o\n"));
  EXPECT_THAT(text, HasSubstr("; beside that: 2 doubled-edge, 2 unreachable-node.\n"));
}

TEST_F(VerifyGraph, TakesAWrongOrderOfHipiNodesForAFaultOfTheGraph) {
  EDITED_GRAPH edited = graph();
  edited.add("t0:o* -> t1:o");
  edited.publish();
  EXPECT_THAT(verify(), HasSubstr("hipi-order: 2\n"
                                  "  The hipi node of t0:o does not drive it\n"
                                  "  A hipi node that stands elsewhere drives t1:o\n"));
  EXPECT_FALSE(m_is_clean);
}

TEST_F(VerifyGraph, ShowsWhatIsWaivedAndDoesNotCountIt) {
  EDITED_GRAPH edited = graph();
  edited.drop(edge_to("t3"));
  edited.publish();
  m_asked.m_waive = {"surplus-edge"};
  verify();
  EXPECT_FALSE(m_is_clean);
  m_asked.m_waive = {"surplus-edge", "missing-edge"};
  const std::string waived =
      "missing-edge (waived): 1\n" + missing("t3") + "The graph is wrong: 1 missing-edge (waived).\n";
  EXPECT_EQ(verify(), waived);
  EXPECT_TRUE(m_is_clean);
  m_device.m_quiet = true;
  EXPECT_EQ(verify(), waived);
}

TEST_F(VerifyGraph, TracesEdges) {
  m_asked = {false, true, {}};
  EXPECT_THAT(verify(), StartsWith("Traced 30 edges: 30 verified, 0 at boundary nodes, 0 failed\n"
                                   "Traces of sound edges may fail"));
  EXPECT_TRUE(m_is_clean);
  EDITED_GRAPH edited = graph();
  edited.add("t0:o -> t1:o via t1:b");
  edited.publish();
  EXPECT_THAT(verify(), HasSubstr("\ntrace-not-found: 1\n"
                                  "  t0:o -> t1:o: the search does not meet the target\n"
                                  "Traces that fail: 1 trace-not-found.\n"));
  EXPECT_FALSE(m_is_clean);
  m_device.m_quiet = true;
  EXPECT_THAT(verify(), StartsWith("trace-not-found: 1\n"));
}

TEST_F(VerifyGraph, NamesEdgesToNowhere) {
  STORAGE_DAMAGE(*m_case.db()).empty_last_node();
  m_asked.m_trace = true;
  const std::string text = verify();
  EXPECT_THAT(text, HasSubstr(missing("t29")));
  EXPECT_THAT(text, HasSubstr("  Surplus real edge from s:o to nowhere\n"));
  EXPECT_THAT(text, HasSubstr("trace-null-node: 1\n  s:o -> nowhere: a node of the edge is null\n"));
  EXPECT_THAT(text, HasSubstr("The graph is wrong: 1 missing-edge, 1 surplus-edge; beside that: 1 "
                              "unreachable-node; traces that fail: 1 trace-null-node.\n"));
}

TEST_F(VerifyGraph, DoesNotCallAGraphWithoutNodesSound) {
  EDITED_GRAPH(*m_case.db()).publish();
  m_asked.m_trace = true;
  EXPECT_THAT(verify(), HasSubstr("no nodes at all"));
  m_asked.m_check = false;
  EXPECT_THAT(verify(), HasSubstr("The graph has no nodes at all: there is nothing to check.\n"));
}

} // namespace verify_graph_test
