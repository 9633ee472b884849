#include "kep_rg/trace/kep_rg_target_observer.h"
#include "tests/kep_rg/trace/trace_fixture.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace trace_edge_test {

using test_model::CHECK_REPORT;
using testing::ElementsAre;
using testing::IsEmpty;

/// One net from s to the muxes j and k.
struct FLAT : TRACED {
  FLAT()
      : TRACED(R"(
    module MUX
      ports >a >b >idle <o
    module TOP top
      ports <out
      inst s MUX header
      inst k MUX header
      inst j MUX header
      inst far MUX
      net n s.o k.a k.b j.a j.idle out
      net p k.o
      net q j.o
  )") {
    arcs("MUX", {"a", "b"}, "o");
  }
};

TEST(TraceEdge, EndsInTheMuxInputAndTheTargetBehindIt) {
  FLAT c;
  c.build();
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("k:a", "k:o"));
  EXPECT_THAT(c.trace("s:o", "j:o"), ElementsAre("j:a", "j:o")) << "dead ends before it are forgotten";
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceEdge, TakesTheMuxInputOfTheFirstOfSeveralEdges) {
  FLAT c;
  c.publish({"s:o -> k:o via k:b", "s:o ~> k:o via k:a"});
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("k:b", "k:o"));
  c.publish({"s:o -> k:o via k:a", "s:o ~> k:o via k:b"});
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("k:a", "k:o"));
  c.publish({"s:o ~> k:o via k:b", "s:o -> k:o via k:a"});
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("k:a", "k:o")) << "real edges come first";
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceEdge, LeavesTheTraceAloneWhenANodeIsNull) {
  FLAT c;
  c.build();
  const std::vector<KEP_UNFOLDED_INST_PORT> before{c.model().uip("far:a")};
  const auto try_trace = [&](const KEP_ROUTING::NODE& from, const KEP_ROUTING::NODE& to) {
    std::vector<KEP_UNFOLDED_INST_PORT> trace = before;
    const CHECK_REPORT report = test_model::report_of([&] { return c.tracer().trace_edge(from, to, trace); });
    EXPECT_FALSE(report.m_result);
    EXPECT_TRUE(report.is_silent());
    EXPECT_EQ(trace, before);
  };
  try_trace({}, c.node("k:o"));
  try_trace(c.node("s:o"), {});
  try_trace({}, {});
}

TEST(TraceEdge, TellsOfAnEdgeThatDoesNotExist) {
  FLAT c;
  c.publish({"s:o -> k:o via k:a", "j:o", ":out"});
  std::vector<KEP_UNFOLDED_INST_PORT> trace{c.model().uip("far:a")};
  const CHECK_REPORT report =
      test_model::report_of([&] { return c.tracer().trace_edge(c.node("s:o"), c.node("j:o"), trace); });
  EXPECT_FALSE(report.m_result);
  EXPECT_THAT(report.m_errors, ElementsAre("Node j:o is not in the fanout of node s:o"));
  EXPECT_THAT(trace, IsEmpty());
  EXPECT_THAT(c.trace("k:o", "s:o"), ElementsAre("(none)")) << "an edge has a direction";
  EXPECT_THAT(c.report().m_errors, ElementsAre("Node s:o is not in the fanout of node k:o"));
  EXPECT_THAT(c.trace("s:o", "s:o"), ElementsAre("(none)"));
  EXPECT_THAT(c.report().m_errors, ElementsAre("Node s:o is not in the fanout of node s:o"));
  EXPECT_THAT(c.trace(":out", "j:o"), ElementsAre("(none)")) << "told before the boundary node is";
  EXPECT_THAT(c.report().m_errors, ElementsAre("Node j:o is not in the fanout of node :out"));
}

TEST(TraceEdge, DoesNotTakeATwinForItsPlainNode) {
  FLAT c;
  c.publish({"s:o -> k:o* via k:a", "k:o* -> k:o"});
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("(none)"));
  EXPECT_THAT(c.report().m_errors, ElementsAre("Node k:o is not in the fanout of node s:o"));
  EXPECT_THAT(c.trace("s:o", "k:o*"), ElementsAre("k:a", "k:o"));
}

TEST(TraceEdge, IsSilentWhenTheTargetIsNotMet) {
  FLAT c;
  c.publish({"s:o -> k:o via far:a"});
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("(none)"));
  EXPECT_TRUE(c.report().is_silent());
  EXPECT_THAT(c.verify_all(), ElementsAre("Issue determining trace from s:o to k:o"));
}

TEST(TraceEdge, AssertsThatTheSourceIsNoBoundaryNode) {
  FLAT c;
  c.publish({":out -> k:o via k:a"});
  std::vector<KEP_UNFOLDED_INST_PORT> trace;
  const std::string expected = "Assertion failed: 0 in kep_rg/kep_rg_trace.cpp@LINE";
  EXPECT_EQ(assertion_text([&] { c.tracer().trace_edge(c.node(":out"), c.node("k:o"), trace); }), expected);
  EXPECT_EQ(assertion_text([&] { c.tracer().verify_all_edge_traces(); }), expected);
}

TEST(TraceEdge, AssertsThatAWalkIsAtAPort) {
  KEP_TARGET_OBSERVER_TG observer;
  EXPECT_EQ(
      assertion_text([&] { observer.visit(KEP_UNFOLDED_PORT(), KEP_UNFOLD_OBSERVER::VISIT_TYPE::END); }),
      "Assertion failed: up in kep_rg/kep_rg_trace.cpp@LINE");
}

TEST(TraceEdge, NeverMeetsABoundaryNode) {
  FLAT c;
  c.publish({"s:o -> :out"});
  EXPECT_THAT(c.trace("s:o", ":out"), ElementsAre("(none)"));
  EXPECT_TRUE(c.report().is_silent());
  EXPECT_THAT(c.verify_all(), ElementsAre("Issue determining trace from s:o to :out"));
}

TEST(TraceEdge, VerifiesUpToTheFirstBadEdge) {
  FLAT c;
  c.publish({"s:o -> k:o via k:a", "s:o -> j:o via j:idle", "s:o -> :out", "j:o -> k:o"});
  EXPECT_THAT(c.verify_all(), ElementsAre("UIP j:o: Arc output, but no arc to previous uip j:idle",
                                          "Issue validating trace from s:o to j:o"));
  c.publish({"s:o -> k:o via k:a", "j:o -> k:o", "s:o -> j:o via far:a"});
  EXPECT_THAT(c.verify_all(), ElementsAre("Issue determining trace from s:o to j:o"));
}

TEST(TraceEdge, VerifiesAGraphWithoutEdges) {
  FLAT c;
  EXPECT_THAT(c.verify_all(), IsEmpty()) << "never built";
  c.publish({"s:o", ":out"});
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceEdge, VerifiesRedundantEdges) {
  FLAT c;
  c.publish({"s:o -> k:o via k:a", "s:o ~> j:o via j:idle"});
  EXPECT_THAT(c.verify_all(), ElementsAre("UIP j:o: Arc output, but no arc to previous uip j:idle",
                                          "Issue validating trace from s:o to j:o"));
}

TEST(TraceEdge, EndsInAnInsertedPortItself) {
  FLAT c;
  c.insert("MUX:a");
  c.build();
  EXPECT_THAT(c.trace("s:o", "k:a"), ElementsAre("k:a"));
  EXPECT_THAT(c.trace("s:o", "j:a"), ElementsAre("j:a"));
  EXPECT_THAT(c.trace("k:a", "k:o"), ElementsAre("k:a", "k:o")) << "the source is the mux input";
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceEdge, IsEmptyForATargetAtWhichTheWalkEnds) {
  FLAT c;
  c.publish({"s:o -> j:a*"});
  EXPECT_THAT(c.trace("s:o", "j:a*"), IsEmpty()) << "no plain node stands there, so the walk just ends";
  EXPECT_TRUE(c.report().m_result);
  c.publish({"s:o -> j:a* via j:a"});
  EXPECT_THAT(c.trace("s:o", "j:a*"), ElementsAre("j:a", "j:a")) << "it is its own mux input";
}

TEST(TraceEdge, IsEmptyFromATwinToItsPlainNode) {
  FLAT c;
  c.publish({"k:o* -> k:o"});
  EXPECT_THAT(c.trace("k:o*", "k:o"), IsEmpty());
}

TEST(TraceEdge, IsTheSameByEachConstructorAndCopy) {
  static_assert(std::is_copy_constructible_v<KEP_RG_TRACE_EDGE>);
  static_assert(std::is_nothrow_move_constructible_v<KEP_RG_TRACE_EDGE>);
  static_assert(!std::is_polymorphic_v<KEP_RG_TRACE_EDGE>);
  FLAT c;
  c.build();
  const KEP_DB_CACHE unused(KEP_VIEW_TYPE::LOGICAL, false);
  KEP_RG_TRACE_EDGE first(c.db(), unused, *c.parse().find_routing_primitive_cache());
  KEP_RG_TRACE_EDGE copy(first);
  KEP_RG_TRACE_EDGE moved(KEP_RG_TRACE_EDGE(c.db(), *c.parse().find_routing_primitive_cache()));
  for (KEP_RG_TRACE_EDGE* tracer : {&first, &copy, &moved}) {
    std::vector<KEP_UNFOLDED_INST_PORT> trace;
    EXPECT_TRUE(tracer->trace_edge(c.node("s:o"), c.node("j:o"), trace));
    EXPECT_EQ(trace.size(), 2U);
    EXPECT_TRUE(tracer->verify_all_edge_traces());
  }
}

TEST(TraceEdge, ReplacesTheTraceAtEveryCall) {
  FLAT c;
  c.build();
  std::vector<KEP_UNFOLDED_INST_PORT> trace(5, c.model().uip("far:a"));
  for (int i = 0; i != 2; ++i) {
    EXPECT_TRUE(c.tracer().trace_edge(c.node("s:o"), c.node("k:o"), trace));
    EXPECT_EQ(trace.size(), 2U);
  }
}

} // namespace trace_edge_test
