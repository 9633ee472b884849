#include "tests/kep_rg/trace/trace_fixture.h"
#include "tests/support/failure_text.h"
#include "tests/support/tunnel_modules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace trace_walk_test {

using testing::ElementsAre;
using testing::IsEmpty;

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

TEST(TraceWalk, ClimbsOutOfOneModuleAndDownIntoAnother) {
  TILES c;
  c.build();
  EXPECT_THAT(c.trace("s/m:o", "u/x:o"), ElementsAre("s:out", "u:in", "u/x:a", "u/x:o"));
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceWalk, ForgetsWhatLiesBehindABranchPoint) {
  TILES c;
  c.build();
  EXPECT_THAT(c.trace("s/m:o", "u/y:o"), ElementsAre("s:out", "u:in", "u/y:a", "u/y:o"))
      << "back to the inner branch point";
  EXPECT_THAT(c.trace("s/m:o", "v/x:o"), ElementsAre("s:out", "v:in", "v/x:a", "v/x:o"))
      << "back over two branch points, and from a port where a walk ends";
  EXPECT_THAT(c.trace("s/m:o", "v/y:o"), ElementsAre("s:out", "v:in", "v/y:a", "v/y:o"));
}

TEST(TraceWalk, KeepsADeadEndOnANetOfTwoPoints) {
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
TEST(TraceWalk, AddsToWhatTheLowestBranchPointLeft) {
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

TEST(TraceWalk, RewindsNothingAtADeadEndMetAgain) {
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

TEST(TraceWalk, GoesThroughASkipPath) {
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

TEST(TraceWalk, LooksInsideWhenNothingIsFoundOutside) {
  BLOCK c("");
  c.build();
  EXPECT_THAT(c.trace("b:io", "b/j:o"), ElementsAre("b/j:a", "b/j:o"));
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceWalk, KeepsInFrontWhatAFailedFirstSearchLeft) {
  BLOCK c("u.io");
  c.build();
  EXPECT_THAT(c.trace("b:io", "u/k:o"), ElementsAre("u:io", "u/k:a", "u/k:o"));
  EXPECT_THAT(c.trace("b:io", "b/j:o"), ElementsAre("u:io", "b/j:a", "b/j:o"));
  EXPECT_THAT(c.verify_all(), ElementsAre("UIP b/j:a: Mismatching net b/n. Should have been u/n",
                                          "Issue validating trace from b:io to b/j:o"))
      << "so a sound edge is not verified";
}

TEST(TraceWalk, AssertsThatAMuxInputOnTheWayHasANet) {
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
              testing::StrEq("Assertion failed: uip_net in kep_rg/kep_rg_trace.cpp@LINE"));
}

// s drives the tunnel x, behind which stand d and m.
struct TUNNEL : TRACED {
  TUNNEL(int source, int through, int target)
      : TRACED(test_model::TUNNEL_MODULES + R"(
    module TOP top
      ports <out
      inst s SOURCE header
      inst x THROUGH header
      inst d TARGET header
      inst m TARGET header
      net n s.o x.i
      net q x.o d.i m.i
      net r d.o
      net t m.o
  )") {
    test_model::describe_tunnel(*this, source, through, target);
  }
};

TEST(TraceWalk, GoesThroughATunnelFromTheFirstTypeToTheThird) {
  TUNNEL c(1, 2, 3);
  c.build();
  EXPECT_THAT(c.trace("s:o", "d:o"), ElementsAre("x:i", "x:o", "d:i", "d:o"));
  EXPECT_THAT(c.trace("s:o", "m:o"), ElementsAre("x:i", "x:o", "m:i", "m:o"));
  EXPECT_THAT(c.verify_all(), IsEmpty());
}

TEST(TraceWalk, GoesToTheTunnelItself) {
  TUNNEL c(1, 2, 3);
  c.build();
  EXPECT_THAT(c.trace("s:o", "x:o"), ElementsAre("x:i", "x:o"));
}

TEST(TraceWalk, StopsAtATunnelForAnyOtherPairOfTypes) {
  for (const auto& [source, target] : {std::pair(0, 3), {2, 3}, {3, 3}, {1, 0}, {1, 1}, {1, 2}}) {
    TUNNEL c(source, 2, target);
    c.publish({"s:o -> d:o via d:i", "x:o"});
    EXPECT_THAT(c.trace("s:o", "d:o"), ElementsAre("(none)")) << source << " to " << target;
    EXPECT_THAT(c.verify_all(), ElementsAre("Issue determining trace from s:o to d:o"));
  }
}

TEST(TraceWalk, DoesNotHonourATunnelForABoundaryTarget) {
  TUNNEL c(1, 2, 3);
  c.publish({"s:o -> :out"});
  EXPECT_THAT(c.trace("s:o", ":out"), ElementsAre("(none)"));
}

} // namespace trace_walk_test
