#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_parse.h"
#include "tests/kep_rg/redundancy/parse_redundancy_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace redundancy_fixup_test {

using parse_redundancy::quiet_parser;
using parse_redundancy::RANK;
using testing::ElementsAre;
using testing::IsEmpty;

/// OUTER and MUX have arcs. OUTER's p is wired to y and, through WRAP, to x/m; its q to x/m.
const char* const DEVICE = R"(
  module MUX
    ports >a >b <z
  module WRAP
    ports >w <v
    inst m MUX
    net in w m.a
    net out v m.z
  module OUTER
    ports >p >r <q
    inst x WRAP
    inst y MUX
    net n p x.w y.b
    net k q x.v
  module TOP top
    inst t OUTER
    inst u OUTER
)";

class RedundancyFixup : public testing::Test {
protected:
  explicit RedundancyFixup(std::string_view text = DEVICE) : m_model(text) {}

  void arcs(const std::string& module, const std::vector<std::string>& inputs, const std::string& output,
            bool skip = false) {
    KEP_RG_PARSE parse(m_model.db());
    for (const std::string& input : inputs)
      parse.add_port_edge(m_model.port(module + ":" + input), m_model.port(module + ":" + output), skip);
  }
  void usual_arcs() {
    arcs("MUX", {"a", "b"}, "z");
    arcs("OUTER", {"p", "r"}, "q");
  }
  /// What becomes of the ports of those texts below the module, and behind them how many rewrites it took.
  std::vector<std::string> fixed(const std::vector<std::string>& texts, const char* top = "TOP") {
    KEP_RG_MODULE_RELATIVE_PORTS in;
    for (const std::string& text : texts) {
      KEP_RG_RELATIVE_PORT port;
      EXPECT_TRUE(port.parse(m_model.module(top), text, RANK, nullptr)) << text;
      in.add(&port);
    }
    KEP_RG_MODULE_RELATIVE_PORTS out;
    const std::size_t count = m_parser.fixup(&out, &in);
    std::vector<std::string> names = parse_redundancy::names(out);
    names.push_back(std::to_string(count));
    return names;
  }
  void build_tables() {
    const KEP_RG_MODULE_RELATIVE_PORTS none{};
    KEP_RG_MODULE_RELATIVE_PORTS out;
    EXPECT_EQ(m_parser.fixup(&out, &none), 0U);
    EXPECT_EQ(out.size(), 0U);
  }
  /// The rules of a table in order of arrival, "KEY>VALUE".
  static std::vector<std::string> rules(const KEP_RG_RELATIVE_PORT_TO_PORT* table) {
    std::vector<std::string> result;
    for (const KEP_RG_RELATIVE_PORT* key : table->iter_relative_ports())
      result.push_back(key->get_name() + ">" + table->find(key)->get_plain_name());
    return result;
  }
  std::vector<std::string> inner_to_outer() {
    build_tables();
    return rules(m_parser.get_inner_to_outer());
  }
  std::vector<std::string> output_to_input() {
    build_tables();
    return rules(m_parser.get_output_to_input());
  }

  const NAMED_MODEL m_model;
  KEP_RG_PARSE_REDUNDANCY m_parser = quiet_parser(m_model.db());
};

// --- when the tables are built ----------------------------------------------------------------------------

TEST_F(RedundancyFixup, HasNoTablesBeforeItsFirstCall) {
  usual_arcs();
  EXPECT_EQ(m_parser.get_inner_to_outer(), nullptr);
  EXPECT_EQ(m_parser.get_output_to_input(), nullptr);
  KEP_RG_MODULE_RELATIVE_PORTS out;
  {
    KEP_REPORT_CAPTURE capture;
    m_parser.parse(&out, "module_name: TOP 0 t:p");
  }
  EXPECT_EQ(m_parser.get_inner_to_outer(), nullptr) << "reading does not need them";
}

TEST_F(RedundancyFixup, BuildsTheTablesForAnEmptyGroupToo) {
  usual_arcs();
  build_tables();
  ASSERT_NE(m_parser.get_inner_to_outer(), nullptr);
  ASSERT_NE(m_parser.get_output_to_input(), nullptr);
  EXPECT_FALSE(m_parser.get_inner_to_outer()->iter_relative_ports().empty());
}

TEST_F(RedundancyFixup, KeepsTheTablesThoughTheDescriptionGoesOn) {
  arcs("MUX", {"a"}, "z");
  build_tables();
  const auto* table = m_parser.get_output_to_input();
  arcs("OUTER", {"p"}, "q");
  EXPECT_THAT(fixed({"q"}, "OUTER"), ElementsAre(":q", "0"));
  {
    KEP_REPORT_CAPTURE capture;
    KEP_RG_MODULE_RELATIVE_PORTS out;
    m_parser.parse(&out, "module_name: OUTER 0 q");
  }
  EXPECT_EQ(m_parser.get_output_to_input(), table);
  EXPECT_THAT(rules(table), ElementsAre(":z>a"));
}

TEST_F(RedundancyFixup, GathersInAGroupThatIsNotCleared) {
  usual_arcs();
  KEP_RG_RELATIVE_PORT port;
  ASSERT_TRUE(port.parse(m_model.module("TOP"), "t/y:z", RANK, nullptr));
  KEP_RG_MODULE_RELATIVE_PORTS in;
  in.add(&port);
  KEP_RG_MODULE_RELATIVE_PORTS out;
  EXPECT_EQ(m_parser.fixup(&out, &in), 1U);
  EXPECT_EQ(m_parser.fixup(&out, &in), 1U);
  EXPECT_EQ(out.size(), 2U);
  EXPECT_EQ(in.size(), 1U);
}

// --- rules ------------------------------------------------------------------------------------------------

TEST_F(RedundancyFixup, LeadsFromANestedModuleWithArcsToTheEnclosingOneThroughLevelsWithout) {
  usual_arcs();
  EXPECT_THAT(inner_to_outer(), ElementsAre("x/m:a>p", "y:b>p", "x/m:z>q"));
}

TEST_F(RedundancyFixup, StepsBackFromAnOutputToItsFirstInput) {
  arcs("MUX", {"b", "a"}, "z");
  arcs("OUTER", {"r", "p"}, "q");
  EXPECT_THAT(output_to_input(), ElementsAre(":z>b", ":z>b", ":q>r", ":q>r"));
}

TEST_F(RedundancyFixup, HasNoRulesWithoutArcs) {
  EXPECT_THAT(inner_to_outer(), IsEmpty());
  EXPECT_THAT(output_to_input(), IsEmpty());
  EXPECT_THAT(fixed({"t/x/m:z", "t:q", "u/y:a"}), ElementsAre("t/x/m:z", "t:q", "u/y:a", "0"));
}

TEST_F(RedundancyFixup, DoesNotEndAtAModuleWhoseArcsAreSkipPathsNorBeginAtIt) {
  arcs("MUX", {"a", "b"}, "z", true);
  arcs("OUTER", {"p", "r"}, "q");
  EXPECT_THAT(inner_to_outer(), IsEmpty());
  EXPECT_THAT(output_to_input(), ElementsAre(":z>a", ":z>a", ":q>p", ":q>p")) << "skip paths too";
}

TEST_F(RedundancyFixup, TakesNoNoticeOfAMuxWithExceptionInstances) {
  usual_arcs();
  KEP_RG_PARSE(m_model.db()).set_skip_paths(m_model.instance("WRAP/m"), true);
  EXPECT_THAT(inner_to_outer(), IsEmpty());
  EXPECT_THAT(output_to_input(), ElementsAre(":z>a", ":z>a", ":q>p", ":q>p"));
}

TEST_F(RedundancyFixup, TakesNoNoticeOfASkipMuxWithExceptionInstances) {
  arcs("MUX", {"a", "b"}, "z", true);
  arcs("OUTER", {"p", "r"}, "q");
  KEP_RG_PARSE(m_model.db()).set_skip_paths(m_model.instance("WRAP/m"), false);
  EXPECT_THAT(inner_to_outer(), IsEmpty());
}

TEST_F(RedundancyFixup, TakesNoNoticeOfAnArcWithoutAMux) {
  KEP_ROUTING_ARC::allocate(m_model.db(), m_model.port("MUX:a"), m_model.port("MUX:z"), nullptr);
  arcs("OUTER", {"p"}, "q");
  EXPECT_THAT(inner_to_outer(), IsEmpty());
  EXPECT_THAT(output_to_input(), ElementsAre(":q>p"));
}

class RedundancyFixupNested : public RedundancyFixup {
protected:
  RedundancyFixupNested()
      : RedundancyFixup(R"(
    module OUTER
      ports >p >s =q
      inst g MIDDLE
      net n p s g.i g.j
    module MIDDLE
      ports >i >j <o
      inst e MUX
      inst f MUX
      net n i e.a f.z
      net k j e.a f.b
    module MUX
      ports >a >b <z
    module TOP top
      inst t OUTER
  )") {}
};

TEST_F(RedundancyFixupNested, StopsAtTheFirstModuleWithArcs) {
  arcs("MUX", {"a"}, "z");
  arcs("OUTER", {"p"}, "q");
  arcs("MIDDLE", {"i"}, "o");
  // OUTER's only as far as g, though g is wired on; the connection of e.a is that of the net named last.
  EXPECT_THAT(inner_to_outer(), ElementsAre("g:i>p", "g:j>p", "g:i>p", "g:j>p", "f:z>i", "e:a>j", "f:b>j"));
}

TEST_F(RedundancyFixupNested, KeepsTheFirstOfSeveralPortsOnOneNetAndFollowsAnyDirection) {
  arcs("MUX", {"a"}, "z");
  arcs("OUTER", {"s"}, "q");
  EXPECT_THAT(inner_to_outer(),
              ElementsAre("g/f:z>p", "g/e:a>p", "g/f:b>p", "g/f:z>p", "g/e:a>p", "g/f:b>p"));
}

TEST_F(RedundancyFixupNested, WalksModulesInTheOrderOfTheDesign) {
  arcs("MUX", {"a"}, "z"); // described from the bottom up, which counts for nothing
  arcs("MIDDLE", {"i"}, "o");
  arcs("OUTER", {"p"}, "q");
  const std::vector<std::string> found = inner_to_outer();
  ASSERT_FALSE(found.empty());
  EXPECT_EQ(found.front(), "g:i>p");
  EXPECT_EQ(found.back(), "f:b>j");
}

// --- what becomes of a group ------------------------------------------------------------------------------

TEST_F(RedundancyFixup, MovesAPortOfANestedMuxToTheEnclosingOne) {
  usual_arcs();
  EXPECT_THAT(fixed({"t/x/m:a", "u/y:b"}), ElementsAre("t:p", "u:p", "2"));
}

TEST_F(RedundancyFixup, StepsBackOverAMuxOnTheSameLevelUnlessTheChainHasOneInstance) {
  usual_arcs();
  EXPECT_THAT(fixed({"t/y:z"}), ElementsAre("t/y:a", "1"));
  EXPECT_THAT(fixed({"t:q"}), ElementsAre("t:q", "0"));
  EXPECT_THAT(fixed({"q"}, "OUTER"), ElementsAre(":p", "1"));
  EXPECT_THAT(fixed({"y:z"}, "OUTER"), ElementsAre("y:z", "0"));
}

TEST_F(RedundancyFixup, CountsAnEntryTwiceThatBothTablesRewrite) {
  usual_arcs();
  EXPECT_THAT(fixed({"x/m:z"}, "OUTER"), ElementsAre(":p", "2")) << "x/m:z, then :q, then :p";
  EXPECT_THAT(fixed({"t/x/m:z"}), ElementsAre("t:q", "1")) << "a chain of one is left";
}

TEST_F(RedundancyFixup, CarriesOverWhatNoRuleFitsAndKeepsTheOrder) {
  usual_arcs();
  EXPECT_THAT(fixed({"t/x/m:b", "t/y:z", "t:r", "t/x:w", "u/x/m:a", "t:r"}),
              ElementsAre("t/x/m:b", "t/y:a", "t:r", "t/x:w", "u:p", "t:r", "2"));
}

TEST_F(RedundancyFixup, SharesItsTablesWithACopy) {
  usual_arcs();
  build_tables();
  // A copy made now may not be destroyed beside its source, so it lies in storage that just
  // ends. It holds no failures, hence no memory of its own.
  alignas(KEP_RG_PARSE_REDUNDANCY) std::byte place[sizeof(KEP_RG_PARSE_REDUNDANCY)];
  const auto* const copy = new (place) KEP_RG_PARSE_REDUNDANCY(m_parser);
  EXPECT_EQ(copy->get_inner_to_outer(), m_parser.get_inner_to_outer());
  EXPECT_EQ(copy->get_output_to_input(), m_parser.get_output_to_input());
}

} // namespace redundancy_fixup_test
