#include "tests/support/build_case.h"
#include "tests/support/check_report.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace trace_verify_test {

using test_model::CHECK_REPORT;
using test_model::EDITED_GRAPH;
using testing::ElementsAre;
using testing::IsEmpty;

/// Traces made by hand, followed along the model. Nodes stand at t/s:o, at t/k:a, at t:io and at the ports of
/// the top.
class TraceVerify : public testing::Test {
protected:
  TraceVerify() {
    m_case.arcs("MUX", {"a"}, "o");
    EDITED_GRAPH(*m_case.db(), {"t/s:o", "t/k:a", "t:io", "u/j:o", ":in", ":bare"}).publish();
  }

  /// The lines that are said of the trace; none when it is right.
  std::vector<std::string> follow(const char* from, const std::vector<const char*>& names) {
    std::vector<KEP_UNFOLDED_INST_PORT> trace;
    for (const char* name : names)
      trace.push_back(m_case.model().uip(name));
    const KEP_ROUTING::NODE node = test_model::node_named(*m_case.db(), from);
    EXPECT_TRUE(node) << from;
    KEP_RG_TRACE_EDGE tracer(m_case.db(), *m_case.parse().find_routing_primitive_cache());
    const CHECK_REPORT report =
        test_model::report_of([&] { return KEP_RG_TEST_ACCESS::verify_trace_edge(tracer, node, trace); });
    EXPECT_THAT(report.m_infos, IsEmpty());
    EXPECT_EQ(report.m_rest, "");
    EXPECT_EQ(report.m_result, report.m_errors.empty());
    return report.m_errors;
  }

  BUILD_CASE m_case{R"(
    module MUX
      ports >a >b <o <p
    module TILE
      ports =io =io_2
      inst s MUX
      inst k MUX
      inst x MUX
      net n s.o k.a io
      net q k.o x.a
      net r k.b io_2
    module ROW
      ports >in
      inst j MUX
      inst i TILE
      net n in j.a i.io
      net m j.o
    module TOP top
      ports >in =bare
      inst t TILE
      inst u ROW
      inst v ROW
      inst loose MUX
      net n t.io u.in
      net other t.io_2 v.in
      net enter in loose.b
  )"};
};

TEST_F(TraceVerify, PassesAnEmptyTrace) {
  for (const char* from : {"t/s:o", "t:io", ":in", ":bare"})
    EXPECT_THAT(follow(from, {}), IsEmpty());
}

TEST_F(TraceVerify, FollowsNetsUpAndDown) {
  EXPECT_THAT(follow("t/s:o", {"t:io", "u:in", "u/j:a", "u/j:o"}), IsEmpty());
  EXPECT_THAT(follow("t/s:o", {"t:io", "u:in", "u/i:io", "u/i/k:a", "u/i/k:o"}), IsEmpty());
  EXPECT_THAT(follow("t/s:o", {"t/k:a", "t/k:o", "t/x:a"}), IsEmpty());
}

TEST_F(TraceVerify, SetsOutOnTheNetInsideTheSourceToo) {
  EXPECT_THAT(follow("t:io", {"t/k:a", "t/k:o"}), IsEmpty());
  EXPECT_THAT(follow("t:io", {"u:in", "u/j:a", "u/j:o"}), IsEmpty());
}

TEST_F(TraceVerify, FindsAFirstHopOnAnotherNet) {
  EXPECT_THAT(follow("t/s:o", {"u:in"}),
              ElementsAre("UIP u:in: Mismatching uip/port nets n / u/n. Should have been t/n or "));
  EXPECT_THAT(follow("t:io", {"v:in"}),
              ElementsAre("UIP v:in: Mismatching uip/port nets other / v/n. Should have been n or t/n"));
  EXPECT_THAT(follow("t:io", {"t/x:a"}),
              ElementsAre("UIP t/x:a: Mismatching uip/port nets t/q / . Should have been n or t/n"));
}

TEST_F(TraceVerify, FindsALaterHopOnAnotherNet) {
  EXPECT_THAT(follow("t/s:o", {"t:io", "v:in", "v/j:a"}),
              ElementsAre("UIP v:in: Mismatching net other. Should have been n"));
  EXPECT_THAT(follow("t/s:o", {"t:io", "u:in", "v/j:a"}),
              ElementsAre("UIP v/j:a: Mismatching net v/n. Should have been u/n"))
      << "the same net of another instance";
  EXPECT_THAT(follow("t/s:o", {"t:io", "u/j:a"}),
              ElementsAre("UIP u/j:a: Mismatching net u/n. Should have been n"));
}

TEST_F(TraceVerify, FindsAnArcThatDoesNotExist) {
  EXPECT_THAT(follow("t/s:o", {"t:io", "u:in", "u/j:o"}),
              ElementsAre("UIP u/j:o: Arc output, but no arc to previous uip u:in"));
  EXPECT_THAT(follow("t/s:o", {"t/k:a", "t/k:o", "t/k:o"}),
              ElementsAre("UIP t/k:o: Arc output, but no arc to previous uip t/k:o"));
}

TEST_F(TraceVerify, LooksForAnArcByPortsAlone) {
  EXPECT_THAT(follow("t/s:o", {"t/k:a", "u/j:o"}), IsEmpty()) << "ports of one module, of two instances";
}

TEST_F(TraceVerify, TakesTheSourceForThePreviousUip) {
  EXPECT_THAT(follow("t/k:a", {"t/k:o"}), IsEmpty());
  EXPECT_THAT(follow("t/s:o", {"t/k:o"}),
              ElementsAre("UIP t/k:o: Arc output, but no arc to previous uip t/s:o"));
}

TEST_F(TraceVerify, KnowsNoPreviousUipBehindABoundaryNode) {
  EXPECT_THAT(follow(":in", {"u/j:o"}), ElementsAre("UIP u/j:o: Arc output, but no previous uip"));
  EXPECT_THAT(follow(":in", {"loose:b", "u/j:o"}),
              ElementsAre("UIP u/j:o: Arc output, but no arc to previous uip loose:b"));
}

TEST_F(TraceVerify, SetsOutOnTheNetOfABoundaryNode) {
  EXPECT_THAT(follow(":in", {"loose:b"}), IsEmpty());
  EXPECT_THAT(follow(":in", {"u:in"}),
              ElementsAre("UIP u:in: Mismatching uip/port nets n / u/n. Should have been  or enter"));
  EXPECT_THAT(follow(":bare", {"u:in"}),
              ElementsAre("UIP u:in: Mismatching uip/port nets n / u/n. Should have been  or "));
}

TEST_F(TraceVerify, ComparesTheFirstNetBehindAnArcWithTheSource) {
  EXPECT_THAT(follow("t/k:a", {"t/k:o", "t/x:a"}),
              ElementsAre("UIP t/x:a: Mismatching uip/port nets t/q / . Should have been t/n or "));
  EXPECT_THAT(follow("t/k:a", {"t/k:o", "t:io", "u:in"}), IsEmpty()) << "though the path stands on t/q";
}

TEST_F(TraceVerify, ClimbsByTheNetInsideAtTheFirstHop) {
  EXPECT_THAT(follow("u/j:o", {"u/j:o"}),
              ElementsAre("UIP u/j:o: Arc output, but no arc to previous uip u/j:o"));
  EXPECT_THAT(follow("t/k:a", {"t:io", "t:io", "t/k:a"}), IsEmpty()) << "up and down again";
}

TEST_F(TraceVerify, TakesANetThatIsNotThereForAnyOther) {
  EXPECT_THAT(follow("t/s:o", {"t/k:a", "t/k:b", "t:io_2", "v:in"}), IsEmpty())
      << "nothing is inside the mux, and nothing equals nothing";
}

TEST_F(TraceVerify, AssertsThatANetHopHasANet) {
  KEP_RG_TRACE_EDGE tracer(m_case.db(), *m_case.parse().find_routing_primitive_cache());
  const KEP_ROUTING::NODE from = test_model::node_named(*m_case.db(), "t/s:o");
  const auto assertion_of = [&](const char* name) {
    return assertion_text(
        [&] { KEP_RG_TEST_ACCESS::verify_trace_edge(tracer, from, {m_case.model().uip(name)}); });
  };
  EXPECT_THAT(assertion_of("loose:a"),
              testing::StrEq("Assertion failed: uip_net in kep_rg/kep_rg_trace.cpp@LINE"));
  EXPECT_EQ(assertion_of("loose:o"), "(no assertion failed)") << "an arc output needs none";
}

} // namespace trace_verify_test
