#include "tests/support/check_report.h"
#include "tests/support/damaged_graph.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace connectivity_check_test {

using test_model::CHECK_REPORT;
using test_model::EDITED_GRAPH;
using test_model::rule_line;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

const char* const MODEL = R"(
  module MUX
    ports >a >b <o
  module BLC view=BLC
    ports >a <o
    inst m MUX
  module ROOT group=root ip_root
    ports >a <o
    inst m MUX
  module ROOT_BLC group=root view=BLC ip_root
    ports >a <o
    inst n MUX
  module TILE
    inst m MUX
  module TOP top
    ports >in <out
    inst a MUX
    inst b MUX
    inst c MUX
    inst d MUX
    inst e MUX
    inst blc BLC
    inst root ROOT
    inst t TILE
)";

const char* const UNREACHABLE = "RG-UNREACHABLE-ROUTING-NODES";
const char* const HEADER =
    "The following unfolded inst ports are not connected to the input nodes. They are associated with "
    "routing nodes in the URG and are connected to other nodes.";

std::string statistic(const std::string& inputs, const std::string& percentage, const std::string& total) {
  return "Found a total of " + inputs + " input nodes, representing a " + percentage +
         " % of the total nodes ('" + total + "') in the graph.";
}

class ConnectivityCheck : public testing::Test {
protected:
  void publish(const std::vector<std::string>& lines) { EDITED_GRAPH(*m_db, lines).publish(); }
  CHECK_REPORT check(bool verbose) {
    return test_model::run_check(*m_db, &KEP_RG_POST_CHECKS::test_graph_connectivity, verbose);
  }
  /// The names of the unreachable nodes, as a verbose check lists them below its header; the other lines and
  /// those of a quiet check must go with them.
  std::vector<std::string> unreachable() {
    const CHECK_REPORT verbose = check(true);
    const CHECK_REPORT quiet = check(false);
    EXPECT_EQ(verbose.m_rest + quiet.m_rest, "");
    EXPECT_THAT(quiet.m_infos, IsEmpty());
    EXPECT_EQ(quiet.m_result, verbose.m_result);
    EXPECT_GE(verbose.m_infos.size(), 2U);
    EXPECT_THAT(verbose.m_infos[0], MatchesRegex("Cache initialization took [0-9]+\\.[0-9]{6} seconds\\."));
    EXPECT_THAT(verbose.m_infos[1], MatchesRegex("Traversal and marking took [0-9]+\\.[0-9]{6} seconds\\."));
    EXPECT_FALSE(verbose.m_errors.empty());
    EXPECT_THAT(verbose.m_errors[0], MatchesRegex("Found a total of [0-9]+ input nodes, .*"));
    if (verbose.m_result) {
      EXPECT_THAT(verbose.m_infos, SizeIs(2));
      EXPECT_THAT(verbose.m_errors, SizeIs(1));
      EXPECT_THAT(quiet.m_errors, IsEmpty());
      return {};
    }
    EXPECT_GE(verbose.m_infos.size(), 4U);
    EXPECT_EQ(verbose.m_infos[2], HEADER);
    const std::vector<std::string> names(verbose.m_infos.begin() + 3, verbose.m_infos.end());
    EXPECT_THAT(verbose.m_errors,
                ElementsAre(verbose.m_errors[0], rule_line(UNREACHABLE, {std::to_string(names.size())})));
    EXPECT_THAT(quiet.m_errors, ElementsAre(rule_line(UNREACHABLE, {"1"}))) << "it stops at the first";
    return names;
  }
  std::string statistic_line() { return check(true).m_errors.at(0); }

  const std::unique_ptr<KEP_DB> m_db = test_model::make_db(MODEL);
};

TEST_F(ConnectivityCheck, PassesAGraphWithoutNodes) {
  EXPECT_THAT(unreachable(), IsEmpty()) << "never built";
  publish({});
  EXPECT_THAT(unreachable(), IsEmpty());
  EXPECT_THAT(statistic_line(), MatchesRegex("Found a total of 0 input nodes, representing a -?nan % of the "
                                             "total nodes \\('0'\\) in the graph\\."));
}

TEST_F(ConnectivityCheck, PassesWhatTheInputNodesReachOverRealEdges) {
  publish({"a:o -> b:o", "b:o -> c:o", "c:o -> b:o", "b:o -> d:o", "c:o -> d:o", ":in -> e:o", "e:o -> t/m:o",
           "t/m:o -> :out", "c:o* -> c:o"});
  EXPECT_THAT(unreachable(), IsEmpty());
  EXPECT_EQ(statistic_line(), statistic("3", "33.333", "9")) << "a:o, :in and the twin of c:o";
}

TEST_F(ConnectivityCheck, SaysTheRuleAsAnErrorWithTheCount) {
  publish({"a:o -> b:o", "c:o -> d:o", "d:o -> c:o"});
  const CHECK_REPORT report = check(true);
  EXPECT_FALSE(report.m_result);
  EXPECT_THAT(
      report.m_errors,
      ElementsAre(
          "Found a total of 1 input nodes, representing a 25.000 % of the total nodes ('4') in the graph.",
          "RG-UNREACHABLE-ROUTING-NODES: routing nodes that the input nodes do not reach: 2"));
}

TEST_F(ConnectivityCheck, ReportsEveryNodeOfACycleWithoutAWayIn) {
  publish({"a:o -> b:o", "e:o -> c:o", "c:o -> t/m:o", "t/m:o -> e:o"});
  EXPECT_THAT(unreachable(), ElementsAre("c:o", "e:o", "t/m:o")) << "in the order of the graph";
  EXPECT_EQ(statistic_line(), statistic("1", "20.000", "5"));
  publish({"a:o -> a:o"});
  EXPECT_THAT(unreachable(), ElementsAre("a:o"));
  EXPECT_EQ(statistic_line(), statistic("0", "0.000", "1"));
}

TEST_F(ConnectivityCheck, ReportsWhatACycleWithoutAWayInLeadsTo) {
  publish({"a:o -> b:o", "c:o -> d:o", "d:o -> c:o", "d:o -> e:o", "d:o -> b:o"});
  EXPECT_THAT(unreachable(), ElementsAre("c:o", "d:o", "e:o"));
}

TEST_F(ConnectivityCheck, DoesNotStartAtANodeWithRedundantFanoutAlone) {
  publish({"a:o ~> b:o", "c:o -> b:o"});
  EXPECT_THAT(unreachable(), ElementsAre("a:o"));
  EXPECT_EQ(statistic_line(), statistic("1", "33.333", "3"));
}

TEST_F(ConnectivityCheck, DoesNotFollowRedundantEdges) {
  publish({"a:o -> b:o", "a:o ~> c:o", "b:o ~> d:o", "d:o -> e:o"});
  EXPECT_THAT(unreachable(), ElementsAre("c:o", "d:o", "e:o"));
}

TEST_F(ConnectivityCheck, StartsAtANodeWithRedundantFanoutBesideARealOne) {
  publish({"a:o -> b:o", "a:o ~> b:o"});
  EXPECT_THAT(unreachable(), IsEmpty());
  EXPECT_EQ(statistic_line(), statistic("1", "50.000", "2"));
}

TEST_F(ConnectivityCheck, NeverReportsANodeWithoutEdges) {
  publish({"a:o", "b:o*", ":in", "t/m:o"});
  EXPECT_THAT(unreachable(), IsEmpty());
  EXPECT_EQ(statistic_line(), statistic("0", "0.000", "4"));
}

TEST_F(ConnectivityCheck, ExemptsPortsOfABlc) {
  publish({"blc:o -> blc:a", "blc:a -> blc:o"});
  EXPECT_THAT(unreachable(), IsEmpty());
  publish({"blc:o -> blc:a", "blc:a -> blc:o", "blc:o -> b:o", "blc:o -> blc/m:o"});
  EXPECT_THAT(unreachable(), ElementsAre("b:o", "blc/m:o")) << "a plain instance inside is none";
}

TEST_F(ConnectivityCheck, ExemptsPortsOfAModuleWithABlcEquivalent) {
  publish({"root:o -> root:a", "root:a -> root:o"});
  EXPECT_THAT(unreachable(), IsEmpty());
  publish({"root:a ~> root:o", "root:o -> b:o", "root:o -> root/m:o"});
  EXPECT_THAT(unreachable(), ElementsAre("b:o", "root/m:o"));
}

TEST_F(ConnectivityCheck, ReachesThroughExemptNodes) {
  publish({"a:o -> blc:a", "blc:a -> root:o", "root:o -> b:o"});
  EXPECT_THAT(unreachable(), IsEmpty());
}

TEST_F(ConnectivityCheck, NamesABoundaryNodeByTheUipThatItHasNot) {
  publish({"a:o ~> :out", "b:o -> c:o"});
  EXPECT_THAT(unreachable(), ElementsAre("", "a:o"));
}

TEST_F(ConnectivityCheck, NamesATwinByItsUip) {
  publish({"a:o* ~> a:o"});
  EXPECT_THAT(unreachable(), ElementsAre("a:o", "a:o"));
}

TEST_F(ConnectivityCheck, NamesNodesInAStyleOfItsOwn) {
  publish({"t/m:o ~> a:o", "b:o -> c:o"});
  EXPECT_THAT(unreachable(), ElementsAre("a:o", "t/m:o"));
}

TEST_F(ConnectivityCheck, ExemptsBoundaryNodesOfATopWithABlcEquivalent) {
  const auto db = test_model::make_db(R"(
    module MUX
      ports >a <o
    module TOP group=top top
      ports >in <out
      inst a MUX
    module TOP_BLC group=top view=BLC
      ports >in <out
  )");
  EDITED_GRAPH(*db, {":in ~> :out", ":out -> a:o"}).publish();
  const CHECK_REPORT report = test_model::run_check(*db, &KEP_RG_POST_CHECKS::test_graph_connectivity, true);
  EXPECT_FALSE(report.m_result);
  ASSERT_THAT(report.m_infos, SizeIs(4));
  EXPECT_EQ(report.m_infos[3], "a:o");
}

TEST_F(ConnectivityCheck, FollowsAPathAsLongAsTheGraph) {
  constexpr int LENGTH = 30000;
  std::string text = "module MUX\n ports >a <o\nmodule TOP top\n";
  for (int i = 0; i != LENGTH; ++i)
    text += " inst m" + std::to_string(i) + " MUX\n";
  const auto db = test_model::make_db(text);
  EDITED_GRAPH graph(*db);
  for (const KEP_UNFOLDED_INSTANCE& each :
       db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW).iter_instances())
    graph.nodes().push_back({each.get_unfolded_inst_port_by_index(1)});
  for (std::size_t i = 0; i + 1 != graph.nodes().size(); ++i)
    graph.nodes()[i].m_real.push_back({i + 1, {}});
  graph.publish();
  const auto is_connected = [&] {
    return test_model::run_check(*db, &KEP_RG_POST_CHECKS::test_graph_connectivity).m_result;
  };
  EXPECT_TRUE(is_connected());
  std::swap(graph.nodes()[LENGTH / 2].m_real, graph.nodes()[LENGTH / 2].m_redundant);
  graph.publish();
  EXPECT_FALSE(is_connected());
}

TEST_F(ConnectivityCheck, CarriesNothingFromOneCallToTheNext) {
  publish({"a:o -> b:o", "c:o -> d:o", "d:o -> c:o"});
  KEP_RG_POST_CHECKS checks(m_db.get(), false);
  const auto run = [&] { return test_model::report_of([&] { return checks.test_graph_connectivity(); }); };
  for (int i = 0; i != 2; ++i) {
    const CHECK_REPORT report = run();
    EXPECT_FALSE(report.m_result);
    EXPECT_THAT(report.m_errors, ElementsAre(rule_line(UNREACHABLE, {"1"})));
  }
  publish({"a:o -> b:o"});
  EXPECT_TRUE(run().m_result);
}

} // namespace connectivity_check_test
