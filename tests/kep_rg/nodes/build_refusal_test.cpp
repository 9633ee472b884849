// Devices on which the walk over nodes would assert or throw, found out beforehand; and why no node was made.

#include "tests/support/build_case.h"
#include "tests/support/failure_text.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace build_refusal_test {

using testing::HasSubstr;

const char* const NESTED_ROOTS = R"(
  module MUX
    ports >a <o
  module IN ip_root
    inst m MUX header
  module MID
    inst i IN
  module OUT ip_root
    inst mid MID
  module TOP top
    inst first MID
    inst o OUT
)";

TEST(BuildRefusal, NamesAnIpRootUnderAnotherByThePlacesOfBoth) {
  BUILD_CASE c(NESTED_ROOTS);
  c.parse().add_routing_root(c.model().module("IN"), 0);
  c.parse().add_routing_root(c.model().module("OUT"), 0);
  c.store()->initialize();
  EXPECT_EQ(
      c.builder().find_refusal(),
      "IP root \"o/mid/i\" (module \"IN\" in view logical) lies under another, \"o\" (module \"OUT\" in "
      "view logical): where nodes are made one IP root may not lie under another");
  EXPECT_THAT(assertion_text([&] { c.build_nodes(); }), HasSubstr("!has_nodes"))
      << "the walk itself still asserts";
}

TEST(BuildRefusal, TakesAnIpRootUnderOneThatIsNotRouted) {
  BUILD_CASE c(NESTED_ROOTS);
  c.parse().add_routing_root(c.model().module("IN"), 0);
  c.store()->initialize();
  EXPECT_EQ(c.builder().find_refusal(), "");
  c.build();
}

TEST(BuildRefusal, NamesTheTopWhenItIsAnIpRootItself) {
  BUILD_CASE c(R"(
    module IN ip_root
    module TOP top ip_root
      inst i IN
  )");
  c.parse().add_routing_root(c.model().module("IN"), 0);
  c.store()->initialize();
  EXPECT_THAT(
      c.builder().find_refusal(),
      HasSubstr("IP root \"i\" (module \"IN\" in view logical) lies under another, the top (module \"TOP\""));
}

TEST(BuildRefusal, TakesWhateverLiesInsideABlc) {
  BUILD_CASE c(R"(
    module IN ip_root
    module ROOT group=r ip_root
    module ROOT_BLC group=r ip_root view=BLC
      inst i IN
    module TOP top
      inst r ROOT
  )");
  c.parse().add_routing_root(c.model().module("ROOT"), 2);
  c.parse().add_routing_root(c.model().module("IN"), 0);
  c.store()->initialize();
  EXPECT_EQ(c.builder().find_refusal(), "");
  c.build();
}

TEST(BuildRefusal, NamesACellWithAnInstHeaderOfAnIpRootWithoutArcs) {
  BUILD_CASE c(R"(
    module ROOT ip_root
      ports >p
    module TILE
      inst bare ROOT
      inst r ROOT header
    module TOP top
      inst t TILE
  )");
  c.store()->initialize();
  EXPECT_EQ(
      c.builder().find_refusal(),
      "cell \"t/r\" has an inst header, but module \"ROOT\" in view logical is an IP root that is neither a "
      "routing root nor has arcs: there is nothing to make nodes of");
  EXPECT_THAT(failure_text([&] { c.build_nodes(); }), HasSubstr("No port list found"));
}

TEST(BuildRefusal, GoesThroughAModuleOnceHoweverOftenItStands) {
  std::string text = "module L0\nmodule ROOT ip_root\n inst i L0\n";
  for (int level = 1; level != 24; ++level) {
    text += fmt::format("module L{0}\n inst i L{1}\n inst j L{1}\n", level, level - 1);
  }
  BUILD_CASE c(text + "module TOP top\n inst a L23\n inst r ROOT\n");
  c.store()->initialize();
  EXPECT_EQ(c.builder().find_refusal(), ""); // 2^23 places take no time
}

const char* const TWO_MUXES = R"(
  module MUX
    ports >a <o
  module UNUSED
    inst x LONE header
  module LONE
    ports >a <o
  module TOP top
    inst m MUX
    inst n MUX header
    net n m.o n.a
)";

TEST(ExplainNoNodes, SaysNothingWhereANodeStands) {
  BUILD_CASE c(TWO_MUXES);
  c.arcs("MUX", {"a"}, "o");
  c.insert("MUX:a");
  c.build_nodes();
  EXPECT_EQ(c.builder().explain_no_nodes(), "");
}

TEST(ExplainNoNodes, NamesWhatIsMissing) {
  {
    BUILD_CASE c(TWO_MUXES);
    c.store()->initialize();
    c.build_nodes();
    EXPECT_EQ(c.builder().explain_no_nodes(), "the description has no arc (add_port_edge)");
  }
  {
    BUILD_CASE c(TWO_MUXES);
    c.arcs("LONE", {"a"}, "o");
    c.build_nodes();
    EXPECT_EQ(
        c.builder().explain_no_nodes(),
        "no cell below the top is of a module with arcs; module \"LONE\" in view logical, for one, has arcs");
  }
  {
    BUILD_CASE c(TWO_MUXES);
    c.arcs("MUX", {"a"}, "o");
    c.build_nodes();
    EXPECT_EQ(c.builder().explain_no_nodes(),
              "of 2 outputs of muxes: 1 no inst header and no wire type (\"m:o\" "
              "for one); 1 unconnected (\"n:o\" for one)");
  }
}

TEST(ExplainNoNodes, NamesTheViewThatRoutingGoesThrough) {
  BUILD_CASE c(R"(
    module MUX group=m
      ports >a <o
    module MUX_BLC group=m view=BLC name=MUX
      ports >a <o
    module TOP top
      inst m MUX header
      net n m.o m.a
  )");
  c.arcs("MUX", {"a"}, "o");
  c.build_nodes();
  EXPECT_EQ(c.builder().explain_no_nodes(), "no cell below the top is of a module with arcs; module \"MUX\" "
                                            "in view logical, for one, has arcs, but "
                                            "routing goes through its view blc");
}

} // namespace build_refusal_test
