#include "tests/support/check_report.h"
#include "tests/support/damaged_graph.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace hipi_check_test {

using test_model::CHECK_REPORT;
using test_model::EDITED_GRAPH;
using test_model::STORAGE_DAMAGE;
using testing::ElementsAre;
using testing::IsEmpty;

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

const char* const PROGRESS = "Making sure hipi API will work.";

const std::string RULE = "RG-HIPI-CHECK-FAILED: condition that does not hold: ";
const std::string NOT_FIRST = RULE + "!(is_hipi && fanin_iter != fanin_range.begin())";
const std::string NOT_NAMED = RULE + "!(is_hipi && node.get_hipi_node() != from_node)";
const std::string NO_FANIN = RULE + "!has_hipi_fanin || node.get_hipi_node()";

class HipiCheck : public testing::Test {
protected:
  void publish(const std::vector<std::string>& lines) { EDITED_GRAPH(*m_db, lines).publish(); }
  CHECK_REPORT check(bool verbose = false) {
    return test_model::run_check(*m_db, &KEP_RG_POST_CHECKS::test_hipi_api, verbose);
  }
  /// The findings of a quiet check, which must say nothing else; a verbose one has the same.
  std::vector<std::string> findings() {
    const CHECK_REPORT quiet = check();
    const CHECK_REPORT verbose = check(true);
    EXPECT_EQ(quiet.m_result, quiet.m_errors.empty());
    EXPECT_EQ(verbose.m_result, quiet.m_result);
    EXPECT_THAT(quiet.m_infos, IsEmpty());
    EXPECT_THAT(verbose.m_infos, ElementsAre(PROGRESS));
    EXPECT_EQ(verbose.m_errors, quiet.m_errors);
    EXPECT_EQ(quiet.m_rest + verbose.m_rest, "");
    return quiet.m_errors;
  }

  const std::unique_ptr<KEP_DB> m_db = test_model::make_db(MODEL);
};

TEST_F(HipiCheck, PassesAGraphWithoutNodes) {
  EXPECT_THAT(findings(), IsEmpty()) << "never built";
  publish({});
  EXPECT_THAT(findings(), IsEmpty());
}

TEST_F(HipiCheck, PassesATwinInFrontOfOtherFanins) {
  publish({"a:o* -> a:o", "b:o -> a:o", "d:o -> a:o", "b:o -> a:o*", "c:o", "c:o -> :out"});
  EXPECT_THAT(findings(), IsEmpty()) << "a fanin behind it is no finding either";
  const KEP_ROUTING::NODE node = test_model::node_named(*m_db, "a:o");
  ASSERT_EQ(node.get_num_fanin(), 3U);
}

TEST_F(HipiCheck, PassesNodesWithoutFaninsAndTwins) {
  publish({"a:o", "b:o ~> c:o", ":in"});
  EXPECT_THAT(findings(), IsEmpty());
}

TEST_F(HipiCheck, PassesATwinThatStandsAlone) {
  publish({"b:o -> a:o*"});
  EXPECT_THAT(findings(), IsEmpty());
}

TEST_F(HipiCheck, FindsATwinThatDoesNotFeedANodeWithoutFanins) {
  publish({"a:o", "a:o*"});
  EXPECT_THAT(findings(), ElementsAre(NO_FANIN));
}

TEST_F(HipiCheck, FindsATwinThatDoesNotFeedANodeWithFanins) {
  publish({"b:o -> a:o", "c:o ~> a:o", "b:o -> a:o*"});
  EXPECT_THAT(findings(), ElementsAre(NO_FANIN));
}

TEST_F(HipiCheck, FindsATwinInSecondPlaceOnce) {
  publish({"a:o* -> a:o", "b:o* -> a:o", "c:o* -> a:o", "d:o -> a:o"});
  EXPECT_THAT(findings(), ElementsAre(NOT_FIRST)) << "at the second, and nothing more for the node";
}

TEST_F(HipiCheck, FindsATwinInSecondPlaceOnly) {
  publish({"a:o* -> a:o", "b:o -> a:o"});
  EXPECT_THAT(findings(), IsEmpty());
  STORAGE_DAMAGE(*m_db).turn_fanins_round(test_model::node_named(*m_db, "a:o"));
  const KEP_ROUTING::NODE node = test_model::node_named(*m_db, "a:o");
  ASSERT_EQ(test_model::text_of((*node.iter_all_fanin().begin()).get_fanin()), "b:o");
  EXPECT_THAT(findings(), ElementsAre(NOT_FIRST));
}

TEST_F(HipiCheck, FindsATwinThatFeedsItsNodeTwice) {
  publish({"a:o* -> a:o", "a:o* -> a:o"});
  EXPECT_THAT(findings(), ElementsAre(NOT_FIRST));
  publish({"a:o* -> a:o", "a:o* ~> a:o"});
  EXPECT_THAT(findings(), ElementsAre(NOT_FIRST)) << "fanins are real and redundant ones";
}

TEST_F(HipiCheck, FindsTheTwinOfAnotherNode) {
  publish({"b:o* -> a:o", "a:o*", "c:o -> a:o"});
  EXPECT_THAT(findings(), ElementsAre(NOT_NAMED));
  publish({"b:o* -> a:o", "c:o* -> a:o"});
  EXPECT_THAT(findings(), ElementsAre(NOT_NAMED)) << "the second one is not looked at any more";
}

TEST_F(HipiCheck, FindsATwinAtANodeThatHasNone) {
  publish({"b:o* -> a:o"});
  EXPECT_THAT(findings(), ElementsAre(NOT_NAMED));
  publish({"b:o* -> :out"});
  EXPECT_THAT(findings(), ElementsAre(NOT_NAMED));
  publish({"b:o* -> a:o*"});
  EXPECT_THAT(findings(), ElementsAre(NOT_NAMED)) << "no twin has a twin";
}

TEST_F(HipiCheck, GoesOnBehindATwinAtAWrongPlace) {
  publish({"b:o* -> a:o", "a:o* -> a:o", "c:o* -> b:o", "d:o* -> :out"});
  EXPECT_THAT(findings(), ElementsAre(NOT_NAMED, NOT_FIRST, NOT_NAMED)) << ":out, a:o and b:o";
}

TEST_F(HipiCheck, EndsARangeBehindATwinThatFeedsNothing) {
  publish({"a:o", "a:o*", "c:o* -> b:o", "d:o*", "d:o"});
  EXPECT_THAT(findings(), ElementsAre(NO_FANIN)) << "all nodes are in one range";
  publish({"b:o* -> a:o", "c:o", "c:o*", "b:o* -> d:o"});
  EXPECT_THAT(findings(), ElementsAre(NOT_NAMED, NO_FANIN));
}

} // namespace hipi_check_test
