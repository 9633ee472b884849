#include "support/build_case.h"
#include "support/check_report.h"
#include "support/damaged_graph.h"
#include "support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using test_model::CHECK_REPORT;
using test_model::EDITED_GRAPH;
using testing::ElementsAre;
using testing::IsEmpty;

/// A device whose graph is given edge by edge, or built. The tables of its description are made at the first
/// trace.
class TRACED : public BUILD_CASE {
public:
  using BUILD_CASE::BUILD_CASE;

  void publish(const std::vector<std::string>& lines) { EDITED_GRAPH(*db(), lines).publish(); }
  KEP_RG_TRACE_EDGE& tracer() {
    if (!m_tracer) m_tracer.emplace(db(), *parse().find_routing_primitive_cache());
    return *m_tracer;
  }
  KEP_ROUTING::NODE node(const char* name) const { return test_model::node_named(*db(), name); }

  /// The trace from node to node; "(none)" where there is none. What is said is in report().
  std::vector<std::string> trace(const char* from, const char* to) {
    std::vector<KEP_UNFOLDED_INST_PORT> uips;
    m_report = test_model::report_of([&] { return tracer().trace_edge(node(from), node(to), uips); });
    if (!m_report.m_result) return {"(none)"};
    EXPECT_TRUE(m_report.is_silent());
    std::vector<std::string> names;
    for (const KEP_UNFOLDED_INST_PORT& each : uips)
      names.push_back(test_model::name_of(each));
    return names;
  }
  const CHECK_REPORT& report() const { return m_report; }
  /// Whether all edges trace and verify, and what is said of the first that does not.
  std::vector<std::string> verify_all() {
    m_report = test_model::report_of([&] { return tracer().verify_all_edge_traces(); });
    EXPECT_THAT(m_report.m_infos, IsEmpty());
    EXPECT_EQ(m_report.m_rest, "");
    EXPECT_EQ(m_report.m_result, m_report.m_errors.empty());
    return m_report.m_errors;
  }

private:
  std::optional<KEP_RG_TRACE_EDGE> m_tracer;
  CHECK_REPORT m_report;
};

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

TEST(TraceEdgeTest, EndsInTheMuxInputAndTheTargetBehindIt) {
  FLAT c;
  c.build();
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("k:a", "k:o"));
  EXPECT_THAT(c.trace("s:o", "j:o"), ElementsAre("j:a", "j:o")) << "dead ends before it are forgotten";
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceEdgeTest, TakesTheMuxInputOfTheFirstOfSeveralEdges) {
  FLAT c;
  c.publish({"s:o -> k:o via k:b", "s:o ~> k:o via k:a"});
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("k:b", "k:o"));
  c.publish({"s:o -> k:o via k:a", "s:o ~> k:o via k:b"});
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("k:a", "k:o"));
  c.publish({"s:o ~> k:o via k:b", "s:o -> k:o via k:a"});
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("k:a", "k:o")) << "real edges come first";
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceEdgeTest, LeavesTheTraceAloneWhenANodeIsNull) {
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

TEST(TraceEdgeTest, TellsOfAnEdgeThatDoesNotExist) {
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

TEST(TraceEdgeTest, DoesNotTakeATwinForItsPlainNode) {
  FLAT c;
  c.publish({"s:o -> k:o* via k:a", "k:o* -> k:o"});
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("(none)"));
  EXPECT_THAT(c.report().m_errors, ElementsAre("Node k:o is not in the fanout of node s:o"));
  EXPECT_THAT(c.trace("s:o", "k:o*"), ElementsAre("k:a", "k:o"));
}

TEST(TraceEdgeTest, IsSilentWhenTheTargetIsNotMet) {
  FLAT c;
  c.publish({"s:o -> k:o via far:a"});
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("(none)"));
  EXPECT_TRUE(c.report().is_silent());
  EXPECT_THAT(c.verify_all(), ElementsAre("Issue determining trace from s:o to k:o"));
}

TEST(TraceEdgeTest, AssertsThatTheSourceIsNoBoundaryNode) {
  FLAT c;
  c.publish({":out -> k:o via k:a"});
  std::vector<KEP_UNFOLDED_INST_PORT> trace;
  const auto expected = testing::StartsWith("Assertion failed: 0 in kep_rg/");
  EXPECT_THAT(assertion_text([&] { c.tracer().trace_edge(c.node(":out"), c.node("k:o"), trace); }), expected);
  EXPECT_THAT(assertion_text([&] { c.tracer().verify_all_edge_traces(); }), expected);
}

TEST(TraceEdgeTest, NeverMeetsABoundaryNode) {
  FLAT c;
  c.publish({"s:o -> :out"});
  EXPECT_THAT(c.trace("s:o", ":out"), ElementsAre("(none)"));
  EXPECT_TRUE(c.report().is_silent());
  EXPECT_THAT(c.verify_all(), ElementsAre("Issue determining trace from s:o to :out"));
}

TEST(TraceEdgeTest, VerifiesUpToTheFirstBadEdge) {
  FLAT c;
  c.publish({"s:o -> k:o via k:a", "s:o -> j:o via j:idle", "s:o -> :out", "j:o -> k:o"});
  EXPECT_THAT(c.verify_all(), ElementsAre("UIP j:o: Arc output, but no arc to previous uip j:idle",
                                          "Issue validating trace from s:o to j:o"));
  c.publish({"s:o -> k:o via k:a", "j:o -> k:o", "s:o -> j:o via far:a"});
  EXPECT_THAT(c.verify_all(), ElementsAre("Issue determining trace from s:o to j:o"));
}

TEST(TraceEdgeTest, VerifiesAGraphWithoutEdges) {
  FLAT c;
  EXPECT_THAT(c.verify_all(), IsEmpty()) << "never built";
  c.publish({"s:o", ":out"});
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceEdgeTest, VerifiesRedundantEdges) {
  FLAT c;
  c.publish({"s:o -> k:o via k:a", "s:o ~> j:o via j:idle"});
  EXPECT_THAT(c.verify_all(), ElementsAre("UIP j:o: Arc output, but no arc to previous uip j:idle",
                                          "Issue validating trace from s:o to j:o"));
}

TEST(TraceEdgeTest, EndsInAnInsertedPortItself) {
  FLAT c;
  c.insert("MUX:a");
  c.build();
  EXPECT_THAT(c.trace("s:o", "k:a"), ElementsAre("k:a"));
  EXPECT_THAT(c.trace("s:o", "j:a"), ElementsAre("j:a"));
  EXPECT_THAT(c.trace("k:a", "k:o"), ElementsAre("k:a", "k:o")) << "the source is the mux input";
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceEdgeTest, IsEmptyForATargetAtWhichTheWalkEnds) {
  FLAT c;
  c.publish({"s:o -> j:a*"});
  EXPECT_THAT(c.trace("s:o", "j:a*"), IsEmpty()) << "no plain node stands there, so the walk just ends";
  EXPECT_TRUE(c.report().m_result);
  c.publish({"s:o -> j:a* via j:a"});
  EXPECT_THAT(c.trace("s:o", "j:a*"), ElementsAre("j:a", "j:a")) << "it is its own mux input";
}

TEST(TraceEdgeTest, IsEmptyFromATwinToItsPlainNode) {
  FLAT c;
  c.publish({"k:o* -> k:o"});
  EXPECT_THAT(c.trace("k:o*", "k:o"), IsEmpty());
}

// From s in one tile to muxes in others: up, along and down.
struct TILES : TRACED {
  TILES()
      : TRACED(R"(
    module MUX
      ports >a >b <o
    module SOURCE
      ports <out
      inst m MUX header
      net n m.o out
    module LEAF
      ports >in >in_2
      inst x MUX header
      inst y MUX header
      net n in x.a y.a
      net p x.o
      net q y.o
    module LOOSE
      ports >in >in_2
      inst x MUX header
      net n in in_2
    module TOP top
      inst s SOURCE
      inst u LEAF
      inst l LOOSE
      inst v LEAF
      net n s.out u.in l.in v.in
  )") {
    arcs("MUX", {"a", "b"}, "o");
  }
};

TEST(TraceEdgeTest, ClimbsOutOfOneModuleAndDownIntoAnother) {
  TILES c;
  c.build();
  EXPECT_THAT(c.trace("s/m:o", "u/x:o"), ElementsAre("s:out", "u:in", "u/x:a", "u/x:o"));
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceEdgeTest, ForgetsWhatLiesBehindABranchPoint) {
  TILES c;
  c.build();
  EXPECT_THAT(c.trace("s/m:o", "u/y:o"), ElementsAre("s:out", "u:in", "u/y:a", "u/y:o"))
      << "back to the inner branch point";
  EXPECT_THAT(c.trace("s/m:o", "v/x:o"), ElementsAre("s:out", "v:in", "v/x:a", "v/x:o"))
      << "back over two branch points, and from a port where a walk ends";
  EXPECT_THAT(c.trace("s/m:o", "v/y:o"), ElementsAre("s:out", "v:in", "v/y:a", "v/y:o"));
}

TEST(TraceEdgeTest, KeepsADeadEndOnANetOfTwoPoints) {
  TRACED c(R"(
    module MUX
      ports >a >b <o
    module SOURCE
      ports <out
      inst m MUX header
      net n m.o out
    module PASS
      ports =io
      inst x MUX header
      inst y MUX header
      net n io x.a
    module TOP top
      inst s SOURCE
      inst p PASS
      net n s.out p.io
  )");
  c.arcs("MUX", {"a", "b"}, "o");
  c.publish({"s/m:o -> p/y:o via p/y:a", "p/x:o"});
  std::vector<KEP_UNFOLDED_INST_PORT> trace;
  EXPECT_FALSE(c.tracer().trace_edge(c.node("s/m:o"), c.node("p/y:o"), trace));
  ASSERT_EQ(trace.size(), 2U) << "nets of two points are no branch points: nothing is cut";
  EXPECT_EQ(test_model::name_of(trace[1]), "p:io");
}

// k passes a signal straight through to several outputs, at which nodes stand: one way with several ends.
TEST(TraceEdgeTest, AddsToWhatTheLowestBranchPointLeft) {
  TRACED c(R"(
    module MUX
      ports >a <o
    module SKIP
      ports >a <o <p <q
    module LEAF
      ports >in
      inst x MUX header
      net n in x.a
    module SOURCE
      ports <out
      inst m MUX header
      net n m.o out
    module TOP top
      inst s SOURCE
      inst k SKIP
      inst u LEAF
      inst v LEAF
      net n s.out k.a u.in v.in
  )");
  c.arcs("MUX", {"a"}, "o");
  for (const char* output : {"o", "p", "q"})
    c.arcs("SKIP", {"a"}, output, true);
  c.publish({"s/m:o -> u/x:o via u/x:a", "s/m:o -> v/x:o via v/x:a", "k:o", "k:p", "k:q"});
  EXPECT_THAT(c.trace("s/m:o", "u/x:o"), ElementsAre("s:out", "u:in", "u/x:a", "u/x:o"));
  EXPECT_THAT(c.trace("s/m:o", "v/x:o"), ElementsAre("s:out", "u:in", "v:in", "v/x:a", "v/x:o"))
      << "three ends have used up the three ways of the branch point";
  EXPECT_THAT(c.verify_all(), ElementsAre("UIP v:in: Mismatching net n. Should have been u/n",
                                          "Issue validating trace from s/m:o to v/x:o"));
}

TEST(TraceEdgeTest, RewindsNothingAtADeadEndMetAgain) {
  TRACED c(R"(
    module MUX
      ports >a <o
    module SKIP
      ports >a >b <o
    module TOP top
      inst s MUX header
      inst k SKIP
      inst j MUX header
      inst z MUX
      net n s.o k.a k.b j.a
      net q k.o z.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.arcs("SKIP", {"a", "b"}, "o", true);
  c.publish({"s:o -> k:o", "s:o -> j:o via j:a"});
  EXPECT_THAT(c.trace("s:o", "k:o"), ElementsAre("k:a", "k:o"));
  EXPECT_THAT(c.trace("s:o", "j:o"), ElementsAre("k:b", "k:o", "j:a", "j:o"));
  EXPECT_THAT(c.verify_all(), ElementsAre("UIP j:a: Mismatching net n. Should have been q",
                                          "Issue validating trace from s:o to j:o"));
}

TEST(TraceEdgeTest, GoesThroughASkipPath) {
  TRACED c(R"(
    module MUX
      ports >a <o
    module SKIP
      ports >a <o
    module TOP top
      inst s MUX header
      inst k SKIP
      inst j MUX header
      net n s.o k.a
      net q k.o j.a
      net r j.o
  )");
  c.arcs("MUX", {"a"}, "o");
  c.arcs("SKIP", {"a"}, "o", true);
  c.build();
  ASSERT_THAT(c.edges(), ElementsAre("s:o -> j:o via j:a"));
  EXPECT_THAT(c.trace("s:o", "j:o"), ElementsAre("k:a", "k:o", "j:a", "j:o"));
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

// An inserted port of a block that leads on both outside and inside.
struct BLOCK : TRACED {
  explicit BLOCK(const std::string& outside)
      : TRACED(R"(
    module MUX
      ports >a <o
    module BLK
      ports =io
      inst j MUX header
      net n io j.a
      net q j.o
    module OUTSIDE
      ports =io
      inst k MUX header
      net n io k.a
      net q k.o
    module TOP top
      inst b BLK
      inst u OUTSIDE
      net n b.io )" +
               outside + "\n") {
    arcs("MUX", {"a"}, "o");
    insert("BLK:io");
  }
};

TEST(TraceEdgeTest, LooksInsideWhenNothingIsFoundOutside) {
  BLOCK c("");
  c.build();
  EXPECT_THAT(c.trace("b:io", "b/j:o"), ElementsAre("b/j:a", "b/j:o"));
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceEdgeTest, KeepsInFrontWhatAFailedFirstSearchLeft) {
  BLOCK c("u.io");
  c.build();
  EXPECT_THAT(c.trace("b:io", "u/k:o"), ElementsAre("u:io", "u/k:a", "u/k:o"));
  EXPECT_THAT(c.trace("b:io", "b/j:o"), ElementsAre("u:io", "b/j:a", "b/j:o"));
  EXPECT_THAT(c.verify_all(), ElementsAre("UIP b/j:a: Mismatching net b/n. Should have been u/n",
                                          "Issue validating trace from b:io to b/j:o"))
      << "so a sound edge is not verified";
}

TEST(TraceEdgeTest, AssertsThatAMuxInputOnTheWayHasANet) {
  TRACED c(R"(
    module LEAF
      ports >i
    module MUX
      ports =a <o
      inst l LEAF
      net n a l.i
    module TOP top
      inst m MUX header
      net q m.o
  )");
  c.arcs("MUX", {"a"}, "o");
  c.insert("MUX:a");
  c.build();
  ASSERT_THAT(c.edges(), ElementsAre("m:a -> m:o via m:a"));
  EXPECT_THAT(c.trace("m:a", "m:o"), ElementsAre("m:a", "m:o"));
  EXPECT_THAT(assertion_text([&] { c.tracer().verify_all_edge_traces(); }),
              testing::StartsWith("Assertion failed: uip_net in kep_rg/"));
}

// s drives the tunnel x, behind which stand d and m.
struct TUNNEL : TRACED {
  TUNNEL(int source, int through, int target)
      : TRACED(R"(
    module SOURCE
      ports >i <o
    module THROUGH
      ports >i <o
      net way i o
    module TARGET
      ports >a <o
    module TOP top
      ports <out
      inst s SOURCE header
      inst x THROUGH header
      inst d TARGET header
      inst m TARGET header
      net n s.o x.i
      net q x.o d.a m.a
      net r d.o
      net t m.o
  )") {
    arcs("SOURCE", {"i"}, "o");
    arcs("THROUGH", {"i"}, "o");
    arcs("TARGET", {"a"}, "o");
    const auto set = [&](const char* key, int type) {
      parse().add_tunnel_type(model().module(key), static_cast<KEP_ROUTING_PRIMITIVE_TUNNEL>(type));
    };
    set("SOURCE", source);
    set("THROUGH", through);
    set("TARGET", target);
  }
};

TEST(TraceEdgeTest, GoesThroughATunnelFromTheFirstTypeToTheThird) {
  TUNNEL c(1, 2, 3);
  c.build();
  EXPECT_THAT(c.trace("s:o", "d:o"), ElementsAre("x:i", "x:o", "d:a", "d:o"));
  EXPECT_THAT(c.trace("s:o", "m:o"), ElementsAre("x:i", "x:o", "m:a", "m:o"));
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceEdgeTest, GoesToTheTunnelItself) {
  TUNNEL c(1, 2, 3);
  c.build();
  EXPECT_THAT(c.trace("s:o", "x:o"), ElementsAre("x:i", "x:o"));
}

TEST(TraceEdgeTest, StopsAtATunnelForAnyOtherPairOfTypes) {
  for (const auto& [source, target] : {std::pair(0, 3), {2, 3}, {3, 3}, {1, 0}, {1, 1}, {1, 2}}) {
    TUNNEL c(source, 2, target);
    c.publish({"s:o -> d:o via d:a", "x:o"});
    EXPECT_THAT(c.trace("s:o", "d:o"), ElementsAre("(none)")) << source << " to " << target;
    EXPECT_THAT(c.verify_all(), ElementsAre("Issue determining trace from s:o to d:o"));
  }
}

TEST(TraceEdgeTest, DoesNotHonourATunnelForABoundaryTarget) {
  TUNNEL c(1, 2, 3);
  c.publish({"s:o -> :out"});
  EXPECT_THAT(c.trace("s:o", ":out"), ElementsAre("(none)"));
}

TEST(TraceEdgeTest, IsTheSameByEachConstructorAndCopy) {
  static_assert(std::is_copy_constructible_v<KEP_RG_TRACE_EDGE>);
  static_assert(std::is_nothrow_move_constructible_v<KEP_RG_TRACE_EDGE>);
  static_assert(!std::is_polymorphic_v<KEP_RG_TRACE_EDGE>);
  TILES c;
  c.build();
  const KEP_DB_CACHE unused(KEP_VIEW_TYPE::LOGICAL, false);
  KEP_RG_TRACE_EDGE first(c.db(), unused, *c.parse().find_routing_primitive_cache());
  KEP_RG_TRACE_EDGE copy(first);
  KEP_RG_TRACE_EDGE moved(KEP_RG_TRACE_EDGE(c.db(), *c.parse().find_routing_primitive_cache()));
  for (KEP_RG_TRACE_EDGE* tracer : {&first, &copy, &moved}) {
    std::vector<KEP_UNFOLDED_INST_PORT> trace;
    EXPECT_TRUE(tracer->trace_edge(c.node("s/m:o"), c.node("v/y:o"), trace));
    EXPECT_EQ(trace.size(), 4U);
    EXPECT_TRUE(tracer->verify_all_edge_traces());
  }
}

TEST(TraceEdgeTest, ReplacesTheTraceAtEveryCall) {
  FLAT c;
  c.build();
  std::vector<KEP_UNFOLDED_INST_PORT> trace(5, c.model().uip("far:a"));
  for (int i = 0; i != 2; ++i) {
    EXPECT_TRUE(c.tracer().trace_edge(c.node("s:o"), c.node("k:o"), trace));
    EXPECT_EQ(trace.size(), 2U);
  }
}

} // namespace
