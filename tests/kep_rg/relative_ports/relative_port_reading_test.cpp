// What a relative port reads from a text.

#include "tests/kep_rg/relative_ports/relative_port_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace relative_port_reading_test {

using relative_port::RANK;
using relative_port::RelativePort;
using testing::ElementsAre;
using testing::IsEmpty;

// --- text -------------------------------------------------------------------------------------------------

TEST_F(RelativePort, ReadsAChainOfInstancesAndAPort) {
  const KEP_RG_RELATIVE_PORT port = parsed("a/x:q");
  EXPECT_THAT(*port.get_instances(), ElementsAre(m_a, m_x));
  EXPECT_EQ(port.get_port(), m_leaf_q);
  EXPECT_EQ(port.size(), 2U);
  EXPECT_EQ(port.get_name(), "a/x:q");
}

TEST_F(RelativePort, ReadsBothSeparatorsAndAnyRunOfThemAlike) {
  const KEP_RG_RELATIVE_PORT wanted = parsed("a/x:q");
  for (const char* text : {"a/x/q", "a:x/q", "a:x:q", "a//x::q", ":a/x/q/", "/:/:a:/:x/:q:::", "::a:x:q"})
    EXPECT_EQ(parsed(text), wanted) << text;
}

TEST_F(RelativePort, ReadsNothingFromAnEmptyTextOrOneOfSeparatorsAlone) {
  for (const char* text : {"", "/", ":", "//", "::", "/:/::/"}) {
    EXPECT_TRUE(fails(text)) << text;
    EXPECT_TRUE(fails(std::string(text) + std::string(text))) << text;
  }
}

TEST_F(RelativePort, ReadsASingleSegmentAsAPortOfTheTopAndNamesItWithAColonInFront) {
  const KEP_RG_RELATIVE_PORT port = parsed("p");
  EXPECT_THAT(*port.get_instances(), IsEmpty());
  EXPECT_EQ(port.get_port(), m_model.port("TOP:p"));
  EXPECT_EQ(port.get_name(), ":p");
  EXPECT_EQ(parsed(port.get_name()), port);
}

TEST_F(RelativePort, TriesInstancesFirstSoThatAPortOfTheSameNameIsOutOfReach) {
  ASSERT_NE(m_top->find_port("a"), nullptr);
  EXPECT_TRUE(fails("a"));
  ASSERT_NE(m_model.module("MID")->find_port("x"), nullptr);
  EXPECT_TRUE(fails("a/x"));
  EXPECT_TRUE(fails("b:x"));
}

TEST_F(RelativePort, FailsAtASegmentThatNamesNoInstanceAndIsNotTheLast) {
  // p is a port of MID and the name behind it one too; neither makes the text good.
  EXPECT_TRUE(fails("a/p/q"));
  EXPECT_TRUE(fails("a/nothing/q"));
  EXPECT_TRUE(fails("p/q"));
  KEP_RG_RELATIVE_PORT port;
  EXPECT_FALSE(port.parse(m_top, "a/p/q", RANK, nullptr));
  EXPECT_THAT(*port.get_instances(), ElementsAre(m_a)) << "the chain as far as it was built";
  EXPECT_EQ(port.get_port(), nullptr);
}

TEST_F(RelativePort, FailsAtAnUnknownPort) {
  EXPECT_TRUE(fails("nothing"));
  EXPECT_TRUE(fails("a:nothing"));
  EXPECT_TRUE(fails("a/x:nothing"));
}

TEST_F(RelativePort, TakesACarriageReturnAndABlankAndAQuoteForPartsOfASegment) {
  EXPECT_TRUE(fails("a/x:q\r"));
  EXPECT_TRUE(fails("a\r/x:q"));
  EXPECT_TRUE(fails("a/x:q "));
  EXPECT_TRUE(fails(" a/x:q"));
  EXPECT_TRUE(fails("a/x: q"));
  EXPECT_TRUE(fails("\"a/x:q\""));
  EXPECT_EQ(parsed("q\"r").get_port(), m_model.port("TOP:q\"r"));
}

TEST_F(RelativePort, TakesANulForACharacterLikeAnyOther) {
  EXPECT_TRUE(fails(std::string("a/x:q\0", 6)));
  EXPECT_TRUE(fails(std::string("\0a/x:q", 6)));
  EXPECT_TRUE(fails(std::string("a\0/x:q", 6)));
  EXPECT_TRUE(fails(std::string(1, '\0')));
}

TEST_F(RelativePort, ReplacesWhatItHeldWhenItReads) {
  KEP_RG_RELATIVE_PORT port = parsed("a/x:q");
  EXPECT_TRUE(port.parse(m_top, "b:p", RANK, nullptr));
  EXPECT_THAT(*port.get_instances(), ElementsAre(m_b));
  EXPECT_EQ(port.get_port(), m_model.port("MID:p"));
  EXPECT_FALSE(port.parse(m_top, "", RANK, nullptr));
  EXPECT_THAT(*port.get_instances(), IsEmpty());
  EXPECT_EQ(port.get_port(), nullptr);
}

TEST_F(RelativePort, ReadsTheSameWithACacheOfNames) {
  KEP_DB_CACHE cache(KEP_VIEW_TYPE::LOGICAL, true);
  cache.initialize_unfolding(m_model.db(), "", true);
  for (const char* text : {"a/x:q", "p", "a", "", "a/p/q", "i/u:p", "i/plain:p", "i:q", "i/m/y/q", "b/y:"}) {
    KEP_RG_RELATIVE_PORT with;
    KEP_RG_RELATIVE_PORT without;
    EXPECT_EQ(with.parse(m_top, text, RANK, &cache), without.parse(m_top, text, RANK, nullptr)) << text;
    EXPECT_EQ(with, without) << text;
  }
}

TEST_F(RelativePort, NamesWhatItHoldsSoFar) {
  KEP_RG_RELATIVE_PORT port;
  EXPECT_EQ(port.get_name(), "");
  port.add(m_a, RANK);
  EXPECT_EQ(port.get_name(), "a");
  port.add(m_x, RANK);
  EXPECT_EQ(port.get_name(), "a/x");
  port.add(m_leaf_p);
  EXPECT_EQ(port.get_name(), "a/x:p");
}

// --- IP roots ---------------------------------------------------------------------------------------------

TEST_F(RelativePort, FindsTheInstancesBelowAnIpRootInItsViewAndItsPortInThePlainMaster) {
  EXPECT_THAT(*parsed("i/u:p").get_instances(),
              ElementsAre(m_model.instance("TOP/i"), m_model.instance("IP_BLC/u")));
  EXPECT_TRUE(fails("i/plain:p"));
  EXPECT_EQ(parsed("i:p").get_port(), m_model.port("IP:p"));
  EXPECT_EQ(parsed("i/m/y:q").get_name(), "i/m/y:q");
}

TEST_F(RelativePort, FollowsTheRankAndNotTheOrderOfTheModel) {
  const KEP_VIEW_TYPE_RANK logical(KEP_VIEW_TYPE::LOGICAL);
  KEP_RG_RELATIVE_PORT port;
  EXPECT_TRUE(port.parse(m_top, "i/plain:p", logical, nullptr));
  EXPECT_FALSE(port.parse(m_top, "i/u:p", logical, nullptr));
  EXPECT_TRUE(port.parse(m_top, "i:p", logical, nullptr));
  EXPECT_EQ(port.get_port(), m_model.port("IP:p"));
}

TEST_F(RelativePort, FindsThePortOfATopThatIsAnIpRootInItsView) {
  KEP_RG_RELATIVE_PORT port;
  EXPECT_TRUE(port.parse(m_model.module("IP"), "p", RANK, nullptr));
  EXPECT_EQ(port.get_port(), m_model.port("IP_BLC:p"));
  EXPECT_EQ(port.get_top(), m_model.module("IP_BLC"));
  EXPECT_TRUE(port.parse(m_model.module("IP"), "u:p", RANK, nullptr));
  EXPECT_EQ(port.get_top(), m_model.module("IP_BLC"));
}

TEST_F(RelativePort, LeavesAModuleThatIsNoIpRootInItsOwnView) {
  const NAMED_MODEL views(R"(
    module LEAF
      ports >p
    module M group=m
      ports >p
      inst plain LEAF
    module M_BLC view=BLC group=m
      ports >p
      inst u LEAF
    module TOP top
      inst m M
  )");
  KEP_RG_RELATIVE_PORT port;
  EXPECT_TRUE(port.parse(views.module("TOP"), "m/plain:p", RANK, nullptr));
  EXPECT_FALSE(port.parse(views.module("TOP"), "m/u:p", RANK, nullptr));
}

TEST_F(RelativePort, ReadsOnlyThePortsOfThePlainMasterOfAnIpRootForWhichTheRankHasNoView) {
  const KEP_VIEW_TYPE_RANK none(KEP_VIEW_TYPE::VIEW_1);
  KEP_RG_RELATIVE_PORT port;
  EXPECT_FALSE(port.parse(m_model.module("IP"), "p", none, nullptr));
  EXPECT_FALSE(port.parse(m_model.module("IP"), "u:p", none, nullptr));
  EXPECT_FALSE(port.parse(m_top, "i/u:p", none, nullptr));
  EXPECT_TRUE(port.parse(m_top, "i:p", none, nullptr));
  EXPECT_TRUE(port.parse(m_top, "a/x:p", none, nullptr)) << "no IP root on the way";
}

} // namespace relative_port_reading_test
