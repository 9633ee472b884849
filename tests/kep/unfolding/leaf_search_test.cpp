#include "kep_report/kep_report_capture.h"
#include "tests/support/leaf_search_case.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace leaf_search_test {

/// The leaf search with predicates that are written for each test: what is reported, in which order, and what
/// is found.

using test_model::name_of;
using test_model::SCRIPTED_PREDICATE;
using test_model::uip;
using test_model::unfolded_instance;
using testing::ElementsAre;
using testing::IsEmpty;
using SEARCH = test_model::LEAF_SEARCH_CASE;

using enum KEP_VIEW_TYPE;

// A driver and three loads on one net: a leaf, a block to go down into, and one with nothing behind its port.
const char* const FLAT = R"(
  module LEAF
    ports >i <o
  module BLOCK
    ports >i
    inst x LEAF
    inst y LEAF
    net in i x.i y.i
  module OPEN
    ports >i
  module TOP top
    ports >p <q
    inst d LEAF
    inst l LEAF
    inst b BLOCK
    inst e OPEN
    net n d.o l.i b.i e.i q
)";

TEST(LeafSearch, FromNowhereReturnsAtOnce) {
  SEARCH search(FLAT);
  search.run({}, {}, {}, {});
  EXPECT_THAT(search.found(), IsEmpty());
  EXPECT_THAT(search.top_ports(), IsEmpty());
  EXPECT_EQ(search.m_results.m_visited_nets.size(), 0U);
  EXPECT_EQ(search.m_results.m_top_module, KEP_UNFOLDED_MODULE());
  EXPECT_THAT(search.log(), IsEmpty());
}

TEST(LeafSearch, FromAUipAndAPortAtOnceIsAnAssertion) {
  SEARCH search(FLAT);
  KEP_REPORT_CAPTURE capture;
  try {
    search.run(uip(*search.m_db, "d:o"), search.port("", "p"), {}, {});
    FAIL() << "no assertion";
  } catch (const KEP_REPORT_ASSERTION_FAILURE& failure) {
    EXPECT_EQ(failure.get_assertion().get_expression(), "!cur_unfolded_port");
    EXPECT_THAT(failure.get_assertion().get_file(), testing::StrEq("h/kep/kep_flat_utils.h"));
  }
  EXPECT_THAT(search.log(), IsEmpty());
}

TEST(LeafSearch, GoesFromADriverToItsLoads) {
  SEARCH search(FLAT);
  search.m_script.m_leaf = {"l:i", "b/x:i", "b/y:i"};
  search.from("d:o");
  EXPECT_THAT(search.found(), ElementsAre("l:i", "b/x:i", "b/y:i"));
  EXPECT_THAT(search.top_ports(), ElementsAre(":q"));
  EXPECT_THAT(search.log(),
              ElementsAre("12 d:o", "net n", //
                          "11 l:i",          // a leaf; d:o is where the search stands
                          "13 b:i", "12 port b:i", "net b/in", "11 b/x:i", "11 b/y:i", "11 e:i", //
                          "13 port :q", "11 port :q"));
  EXPECT_EQ(search.m_results.m_visited_nets.size(), 2U);
  EXPECT_EQ(search.m_results.m_top_module, search.m_db->get_top_unfolded_module(DEFAULT_VIEW));
}

TEST(LeafSearch, FromANetWalkedBeforeReturnsAfterItsOwnVisit) {
  SEARCH search(FLAT);
  search.m_script.m_leaf = {"l:i"};
  search.from("l:i");
  const std::size_t nets = search.m_results.m_visited_nets.size();
  const auto found = search.found();
  search.m_observer.clear();
  search.from("d:o");
  EXPECT_THAT(search.log(), ElementsAre("12 d:o"));
  EXPECT_EQ(search.found(), found);
  EXPECT_EQ(search.m_results.m_visited_nets.size(), nets);
}

TEST(LeafSearch, NotesTheModuleEvenWhereTheNetWasWalkedBefore) {
  SEARCH search(FLAT);
  search.from(search.port("b", "i"));
  EXPECT_EQ(search.m_results.m_top_module, unfolded_instance(*search.m_db, "b").get_module(DEFAULT_VIEW));
  search.m_results.m_top_module = {};
  search.m_observer.clear();
  search.from(search.port("b", "i"));
  EXPECT_EQ(search.m_results.m_top_module, unfolded_instance(*search.m_db, "b").get_module(DEFAULT_VIEW));
  EXPECT_THAT(search.log(), ElementsAre("12 port b:i"));
}

TEST(LeafSearch, OfAPointWithoutANetEndsAfterItsVisit) {
  SEARCH search("module A \n ports >i <o \n module T top \n ports >p \n inst a A");
  search.from("a:o");
  search.from(search.port("", "p"));
  EXPECT_THAT(search.log(), ElementsAre("12 a:o", "12 port :p"));
  EXPECT_EQ(search.m_results.m_visited_nets.size(), 0U);
}

TEST(LeafSearch, StartsAtATerminatingPointAndEndsThere) {
  SEARCH search(FLAT);
  search.m_script.m_terminating = {"d:o", "l:i"};
  search.from("d:o");
  EXPECT_THAT(search.found(), ElementsAre("d:o"));
  EXPECT_THAT(search.log(), ElementsAre("10 d:o"));
  EXPECT_EQ(search.m_results.m_visited_nets.size(), 0U);
  EXPECT_EQ(search.m_results.m_top_module, search.m_db->get_top_unfolded_module(DEFAULT_VIEW));
}

TEST(LeafSearch, ATerminatingStartThatIsExcludedIsNone) {
  SEARCH search(FLAT);
  search.m_script.m_terminating = {"d:o", "l:i"};
  search.from(uip(*search.m_db, "d:o"), uip(*search.m_db, "d:o"));
  EXPECT_THAT(search.found(), ElementsAre("l:i"));
  EXPECT_THAT(search.log(), testing::Contains("12 d:o"));
  EXPECT_THAT(search.log(), testing::Not(testing::Contains("10 d:o")));
}

TEST(LeafSearch, StopsAtATerminatingPointBeforeItAsksForAWayThrough) {
  SEARCH search(FLAT);
  search.m_script.m_terminating = {"l:i"};
  search.m_script.m_through["l:i"] = {"l:o"};
  search.from("d:o");
  EXPECT_THAT(search.found(), ElementsAre("l:i"));
  EXPECT_THAT(search.log(), testing::Contains("10 l:i"));
  EXPECT_THAT(search.m_script.m_asked_through, testing::Not(testing::Contains("l:i")));
}

TEST(LeafSearch, PassesAnExcludedUipInSilence) {
  SEARCH search(FLAT);
  search.m_script.m_leaf = {"l:i"};
  search.m_script.m_terminating = {"l:i"};
  search.from(uip(*search.m_db, "d:o"), uip(*search.m_db, "l:i"));
  EXPECT_THAT(search.found(), IsEmpty());
  for (const std::string& line : search.log())
    EXPECT_THAT(line, testing::Not(testing::HasSubstr("l:i")));
}

TEST(LeafSearch, TellsAnIgnoredPointAsAnEndAndDoesNotFindIt) {
  SEARCH search(FLAT);
  search.m_script.m_ignored = {"l:i", "b:i", "e:i"};
  search.m_script.m_leaf = {"l:i"};
  search.m_script.m_terminating = {"e:i"};
  search.m_script.m_through["l:i"] = {"l:o"};
  search.from("d:o");
  EXPECT_THAT(search.found(), IsEmpty());
  EXPECT_THAT(search.log(),
              ElementsAre("12 d:o", "net n", "11 l:i", "11 b:i", "10 e:i", "13 port :q", "11 port :q"));
  EXPECT_THAT(search.m_script.m_asked_through, IsEmpty());
}

TEST(LeafSearch, HandsTheExcludesAndThePointAtHandToTheIgnoreTest) {
  SEARCH search(FLAT);
  search.m_script.m_leaf = {"l:i"};
  search.from(uip(*search.m_db, "d:o"), uip(*search.m_db, "e:i"), search.port("", "p"));
  EXPECT_THAT(search.m_script.m_asked_ignore,
              ElementsAre("d:o e:i :p d:o ", "l:i e:i :p d:o ", "b:i e:i :p d:o ", "b/x:i    b:i",
                          "b/y:i    b:i", "e:i e:i :p d:o "))
      << "below the start the excludes are empty";
}

TEST(LeafSearch, ALeafOnWhichItStandsIsPassedOver) {
  SEARCH search(FLAT);
  search.m_script.m_leaf = {"l:i", "d:o"};
  search.m_params.m_direction = KEP_LEAF_DIRECTION::BOTH;
  search.from("l:i");
  EXPECT_THAT(search.found(), ElementsAre("d:o"));
  EXPECT_THAT(search.log(), testing::Contains("12 l:i"));
  EXPECT_THAT(search.log(), testing::Not(testing::Contains("11 l:i")));
}

TEST(LeafSearch, GoesDownInTheFirstViewOfTheRankThatTheMasterHas) {
  const char* const model = R"(
    module LEAF
      ports >i
    module BLOCK group=b
      ports >i
      inst x LEAF
      net in i x.i
    module BLOCK_BLC group=b view=BLC
      ports >i
      inst y LEAF
      net in i y.i
    module TOP top
      ports >p
      inst b BLOCK
      net n p b.i
  )";
  const auto found = [&](const KEP_VIEW_TYPE_RANK& rank) {
    SEARCH search(model);
    search.m_params.m_view_type_rank = rank;
    search.m_script.m_leaf = {"b/x:i", "b/y:i"};
    search.from(search.port("", "p"));
    return search.found();
  };
  using V = KEP_VIEW_TYPE;
  EXPECT_THAT(found(KEP_VIEW_TYPE_RANK(V::LOGICAL)), ElementsAre("b/x:i"));
  EXPECT_THAT(found(KEP_VIEW_TYPE_RANK(V::BLC, V::LOGICAL)), ElementsAre("b/y:i"));
  EXPECT_THAT(found(KEP_VIEW_TYPE_RANK(V::VIEW_1, V::BLC)), ElementsAre("b/y:i"));
  EXPECT_THAT(found(KEP_VIEW_TYPE_RANK(V::DEFAULT_VIEW)), ElementsAre("b/x:i"));
  SEARCH silent(model);
  silent.m_params.m_view_type_rank = KEP_VIEW_TYPE_RANK(V::VIEW_1);
  silent.from(silent.port("", "p"));
  EXPECT_THAT(silent.log(), ElementsAre("12 port :p", "net n")) << "without a view the uip ends in silence";
}

TEST(LeafSearch, ClimbsOutOfModulesAndDownAgainDepthFirst) {
  SEARCH search(R"(
    module LEAF
      ports >i <o
    module DEEP
      ports <o
      inst d LEAF
      net n d.o o
    module MID
      ports <o >i
      inst deep DEEP
      inst here LEAF
      inst sink LEAF
      net n deep.o here.i o
      net m i sink.i
    module TOP top
      ports <q
      inst a MID
      inst b MID
      net n a.o b.i q
  )");
  search.m_script.m_leaf = {"a/here:i", "b/sink:i"};
  search.from("a/deep/d:o");
  EXPECT_THAT(search.found(), ElementsAre("a/here:i", "b/sink:i"));
  EXPECT_THAT(search.top_ports(), ElementsAre(":q"));
  EXPECT_THAT(search.log(),
              ElementsAre("12 a/deep/d:o", "net a/deep/n", "13 port a/deep:o",                  //
                          "12 a/deep:o", "net a/n", "11 a/here:i", "13 port a:o",               //
                          "12 a:o", "net n", "13 b:i", "12 port b:i", "net b/m", "11 b/sink:i", //
                          "13 port :q", "11 port :q"));
  EXPECT_EQ(search.m_results.m_top_module, search.m_db->get_top_unfolded_module(DEFAULT_VIEW));
}

TEST(LeafSearch, EndsAtATerminatingPointOnTheOutsideOfAPort) {
  SEARCH search(R"(
    module LEAF
      ports <o
    module MID
      ports <o
      inst d LEAF
      net n d.o o
    module TOP top
      inst a MID
      net n a.o
  )");
  search.m_script.m_terminating = {"a:o"};
  search.from("a/d:o");
  EXPECT_THAT(search.found(), ElementsAre("a:o")) << "only the start of a call escapes the direction";
  EXPECT_THAT(search.log(), ElementsAre("12 a/d:o", "net a/n", "13 port a:o", "10 a:o"));
  EXPECT_EQ(search.m_results.m_visited_nets.size(), 1U);
}

TEST(LeafSearch, DoesNotClimbOutWhereItCameIn) {
  SEARCH search(R"(
    module LEAF
      ports =z
    module MID
      ports =io =other
      inst l LEAF
      net n io other l.z
    module TOP top
      ports =p
      inst a MID
      net n p a.io
      net m a.other
  )");
  search.m_script.m_leaf = {"a/l:z"};
  search.from(search.port("a", "io"));
  EXPECT_THAT(search.found(), ElementsAre("a/l:z"));
  EXPECT_THAT(search.log(),
              ElementsAre("12 port a:io", "net a/n", "11 a/l:z", "13 port a:other", "12 a:other", "net m"))
      << "no visit for the port on which it stands";
}

TEST(LeafSearch, PassesAnExcludedPortInSilence) {
  SEARCH search("module L \n ports <o \n module T top \n ports <q <r \n inst d L \n net n d.o q r");
  search.from(uip(*search.m_db, "d:o"), {}, search.port("", "q"));
  EXPECT_THAT(search.top_ports(), ElementsAre(":r"));
  EXPECT_THAT(search.log(), ElementsAre("12 d:o", "net n", "13 port :r", "11 port :r"));
}

TEST(LeafSearch, TellsAnIgnoredPortAsAnEnd) {
  SEARCH search("module L \n ports <o \n module T top \n ports <q <r \n inst d L \n net n d.o q r");
  search.m_script.m_ignored_ports = {":q"};
  search.from("d:o");
  EXPECT_THAT(search.top_ports(), ElementsAre(":r"));
  EXPECT_THAT(search.log(), ElementsAre("12 d:o", "net n", "11 port :q", "13 port :r", "11 port :r"));
}

TEST(LeafSearch, FindsTheTopPortFromWhichItStartsWithoutAVisit) {
  SEARCH search("module L \n ports >i \n module T top \n ports =q =r \n inst d L \n net n d.i q r");
  search.m_script.m_leaf = {"d:i"};
  search.from(search.port("", "q"));
  EXPECT_THAT(search.found(), ElementsAre("d:i"));
  EXPECT_THAT(search.top_ports(), ElementsAre(":q", ":r"));
  EXPECT_THAT(search.log(), ElementsAre("12 port :q", "net n", "11 d:i", "13 port :r", "11 port :r"));
}

TEST(LeafSearch, AnInputOfTheModuleOnWhichItStandsGetsNoVisit) {
  SEARCH search(FLAT);
  search.m_script.m_leaf = {"b/x:i", "b/y:i"};
  search.from(search.port("b", "i"));
  EXPECT_THAT(search.log(), ElementsAre("12 port b:i", "net b/in", "11 b/x:i", "11 b/y:i"));
}

TEST(LeafSearch, LeavesEquivalentsOfTheTopAtTheirPorts) {
  SEARCH search(R"(
    module L
      ports <o
    module T top group=t
      ports <q
    module T_BLC group=t view=BLC
      ports <q
      inst d L
      net n d.o q
  )");
  search.from(uip(*search.m_db, "d:o", BLC));
  ASSERT_EQ(search.m_results.m_top_ports.size(), 1U);
  EXPECT_EQ(search.m_results.m_top_ports[0].get_parent(), search.m_db->get_top_unfolded_module(BLC));
}

} // namespace leaf_search_test
