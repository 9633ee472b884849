#include "tests/support/leaf_search_case.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace leaf_search_ways_through_test {

/// Leaf searches that skip paths lead on.

using test_model::name_of;
using test_model::uip;
using testing::ElementsAre;
using testing::IsEmpty;
using SEARCH = test_model::LEAF_SEARCH_CASE;

// A chain of muxes through which skip paths lead.
const char* const SKIPS = R"(
  module MUX
    ports >i <o =z >far
  module SINK
    ports >i
  module TOP top
    ports >p
    inst a MUX
    inst b MUX
    inst s SINK
    inst t SINK
    inst u SINK
    net n p a.i u.i
    net m a.o b.i s.i
    net z a.z t.i
)";

TEST(LeafSearch, GoesAcrossSkipPathsInTheOrderOfTheirOutputs) {
  SEARCH search(SKIPS);
  search.m_script.m_leaf = {"s:i", "t:i", "u:i", "b:i"};
  search.m_script.m_through["a:i"] = {"a:z", "a:o"};
  search.from(search.port("", "p"));
  EXPECT_THAT(search.found(), ElementsAre("t:i", "b:i", "s:i", "u:i"));
  EXPECT_THAT(search.log(), ElementsAre("12 port :p", "net n", "8 a:i", "12 a:z", "net z", "11 t:i", //
                                        "12 a:o", "net m", "11 b:i", "11 s:i", "11 u:i"));
}

TEST(LeafSearch, TakesAnInputBehindASkipPathAsAResult) {
  SEARCH search(SKIPS);
  search.m_script.m_leaf = {"u:i"};
  search.m_script.m_through["a:i"] = {"a:far", "a:o"};
  search.m_script.m_terminating = {"a:o"};
  search.from(search.port("", "p"));
  EXPECT_THAT(search.found(), ElementsAre("a:far", "a:o", "u:i"));
  EXPECT_THAT(search.log(), ElementsAre("12 port :p", "net n", "8 a:i", "10 a:far", "10 a:o", "11 u:i"));
}

TEST(LeafSearch, FindsAnOutputOfTwoSkipPathsTwice) {
  SEARCH search(SKIPS);
  search.m_script.m_through["a:i"] = {"a:far"};
  search.m_script.m_through["u:i"] = {"a:far"};
  search.from(search.port("", "p"));
  EXPECT_THAT(search.found(), ElementsAre("a:far", "a:far")) << "results are not made unique";
}

TEST(LeafSearch, PrefersTheWayThroughToALeaf) {
  SEARCH search(SKIPS);
  search.m_script.m_leaf = {"a:i", "s:i"};
  search.m_script.m_through["a:i"] = {"a:o"};
  search.from(search.port("", "p"));
  EXPECT_THAT(search.found(), ElementsAre("s:i"));
}

TEST(LeafSearch, WalksThroughThePointOnWhichItStands) {
  SEARCH search(SKIPS);
  search.m_script.m_leaf = {"s:i", "u:i"};
  search.m_script.m_through["a:i"] = {"a:o"};
  search.from("a:i");
  EXPECT_THAT(search.log(), ElementsAre("12 a:i", "net n", "8 a:i", "12 a:o", "net m", "11 b:i", "11 s:i",
                                        "11 u:i", "11 port :p"));
}

TEST(LeafSearch, WalksACycleOnce) {
  SEARCH search(R"(
    module MUX
      ports >i <o
    module TOP top
      inst a MUX
      inst b MUX
      net m a.o b.i
      net n b.o a.i
  )");
  search.m_script.m_through["a:i"] = {"a:o"};
  search.m_script.m_through["b:i"] = {"b:o"};
  search.from("a:o");
  EXPECT_THAT(search.found(), IsEmpty());
  EXPECT_THAT(search.log(), ElementsAre("12 a:o", "net m", "8 b:i", "12 b:o", "net n", "8 a:i", "12 a:o"));
  EXPECT_EQ(search.m_results.m_visited_nets.size(), 2U);
}

TEST(LeafSearch, SharesVisitedNetsBetweenSearchesOfOneRecord) {
  SEARCH search(SKIPS);
  search.m_script.m_leaf = {"s:i", "t:i", "u:i", "b:i"};
  search.from("a:o");
  EXPECT_THAT(search.found(), ElementsAre("b:i", "s:i"));
  search.m_script.m_through["a:i"] = {"a:z", "a:o"};
  search.from(search.port("", "p"));
  EXPECT_THAT(search.found(), ElementsAre("b:i", "s:i", "t:i", "u:i"));
  search.m_results.clear();
  EXPECT_THAT(search.found(), IsEmpty());
  EXPECT_EQ(search.m_results.m_visited_nets.size(), 0U);
  EXPECT_EQ(search.m_results.m_top_module, KEP_UNFOLDED_MODULE());
  search.from(search.port("", "p"));
  EXPECT_THAT(search.found(), ElementsAre("t:i", "b:i", "s:i", "u:i"));
}

TEST(LeafSearch, LetsAFailureOfThePredicateThroughAndCanBeUsedAgain) {
  SEARCH search(SKIPS);
  search.m_script.m_leaf = {"s:i", "t:i", "u:i", "b:i"};
  search.m_script.m_through["a:i"] = {"a:z", "a:o"};
  search.m_script.m_throws = {"b:i"};
  EXPECT_THROW(search.from(search.port("", "p")), std::runtime_error);
  search.m_script.m_throws.clear();
  search.m_results.clear();
  search.m_observer.clear();
  search.from(search.port("", "p"));
  EXPECT_THAT(search.found(), ElementsAre("t:i", "b:i", "s:i", "u:i"));
  EXPECT_EQ(search.log().back(), "11 u:i");
}

TEST(LeafSearch, TakesAStartThatStandsInItsOwnResults) {
  SEARCH search(SKIPS);
  search.m_script.m_terminating = {"a:o"};
  search.m_results.m_uips.push_back(uip(*search.m_db, "a:o"));
  search.m_results.m_uips.shrink_to_fit();
  search.from(search.m_results.m_uips[0]);
  EXPECT_THAT(search.found(), ElementsAre("a:o", "a:o"));
}

/// Goes through every instance, from its first port to its second.
struct THROUGH_ALL {
  bool is_terminating_uip(const KEP_UNFOLDED_INST_PORT&, const KEP_GET_LEAF_PARAMS&) const { return false; }
  bool is_leaf(const KEP_UNFOLDED_INST_PORT&, const KEP_GET_LEAF_PARAMS&) const { return true; }
  bool is_ignore_uip(const KEP_UNFOLDED_INST_PORT&, const KEP_UNFOLDED_INST_PORT&, const KEP_UNFOLDED_PORT&,
                     const KEP_UNFOLDED_INST_PORT&, const KEP_UNFOLDED_PORT&) const {
    return false;
  }
  bool is_ignore_port(const KEP_UNFOLDED_PORT&) const { return false; }
  void get_trace_thru_outputs(const KEP_UNFOLDED_INST_PORT& uip,
                              std::vector<KEP_UNFOLDED_INST_PORT>& outputs) const {
    const KEP_UNFOLDED_INST_PORT output = uip.get_unfolded_instance().get_unfolded_inst_port_by_index(1);
    if (output.get_unfolded_net()) outputs.push_back(output);
  }
  bool should_trace_thru_fanout(const KEP_UNFOLDED_INST_PORT& output) const {
    return output.m_object->is_output();
  }
};

/// So many muxes in a row, each driving the next, and one more.
std::unique_ptr<KEP_DB> make_row(unsigned count) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID mux = builder.add_module("MUX", {});
  builder.add_port(mux, "i", KEP_PORT_DIRECTION::INPUT);
  builder.add_port(mux, "o", KEP_PORT_DIRECTION::OUTPUT);
  const KEP_MODULE_ID top = builder.add_module("T", {});
  KEP_NET_ID net = builder.add_net(top, "first");
  for (unsigned i = 0; i != count; ++i) {
    const KEP_INSTANCE_ID m = builder.add_instance(top, "m" + std::to_string(i), mux, {});
    builder.connect(top, m, 0, net);
    net = builder.add_net(top, "n" + std::to_string(i));
    builder.connect(top, m, 1, net);
  }
  const KEP_INSTANCE_ID last = builder.add_instance(top, "last", mux, {});
  builder.connect(top, last, 0, net);
  return KEP_DB_BUILDER::freeze(std::move(builder));
}

TEST(LeafSearch, Follows200000SkipPathsWithoutADeepStack) {
  constexpr unsigned HOPS = 200000;
  const auto db = make_row(HOPS);
  KEP_UNFOLD_OBSERVER silent;
  const KEP_LEAF_SEARCH<THROUGH_ALL> search(THROUGH_ALL(), &silent);
  KEP_LEAF_RESULTS results;
  KEP_GET_LEAF_PARAMS params;
  params.m_view_type_rank = KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::LOGICAL);
  search.find_leaves(uip(*db, "m0:o"), {}, results, params, {}, {});
  ASSERT_EQ(results.m_uips.size(), 1U);
  EXPECT_EQ(name_of(results.m_uips[0]), "last:i");
  EXPECT_EQ(results.m_visited_nets.size(), HOPS);
}

TEST(LeafSearch, GivesEveryQuestionForAWayThroughAnEmptyList) {
  SEARCH search(SKIPS);
  search.m_script.m_leaf = {"s:i", "t:i", "u:i"};
  search.m_script.m_through["a:i"] = {"a:z", "a:o"};
  search.m_script.m_through["b:i"] = {"b:o", "b:z"};
  search.from(search.port("", "p"));
  EXPECT_THAT(search.m_script.m_asked_through, testing::Contains("b:i"));
  EXPECT_EQ(search.m_script.m_lists_not_empty, 0U);
}

TEST(LeafSearch, TakesTheListOfAPredicateThatReplacesIt) {
  SEARCH search(SKIPS);
  search.m_script.m_replaces_list = true;
  search.m_script.m_leaf = {"s:i", "t:i", "u:i"};
  search.m_script.m_through["a:i"] = {"a:o", "a:z"};
  search.m_script.m_through["b:i"] = {"b:far"};
  search.from(search.port("", "p"));
  EXPECT_THAT(search.found(), ElementsAre("b:far", "s:i", "t:i", "u:i"));
}

} // namespace leaf_search_ways_through_test
