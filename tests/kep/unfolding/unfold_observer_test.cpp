#include "kep/kep_unfold_observer.h"
#include "tests/support/leaf_search_case.h"

#include <gtest/gtest.h>

namespace unfold_observer_test {

using test_model::SCRIPTED_PREDICATE;
using test_model::uip;
using SEARCH = test_model::LEAF_SEARCH_CASE;

TEST(VisitTypes, HaveBindingValuesAndNamesForTheLog) {
  using TYPE = KEP_UNFOLD_OBSERVER::VISIT_TYPE;
  EXPECT_EQ(static_cast<int>(TYPE::SKIP), 8);
  EXPECT_EQ(static_cast<int>(TYPE::TERMINATING), 10);
  EXPECT_EQ(static_cast<int>(TYPE::END), 11);
  EXPECT_EQ(static_cast<int>(TYPE::SEARCH), 12);
  EXPECT_EQ(static_cast<int>(TYPE::CROSS), 13);
  const char* const names[] = {"",           "start", "target", "walk", "found",       "mux_input",
                               "mux_output", "",      "skip",   "",     "terminating", "end",
                               "search",     "cross", "",       ""};
  for (int i = 0; i != 16; ++i)
    EXPECT_STREQ(KEP_UNFOLD_OBSERVER::get_name_of_visit_type(static_cast<TYPE>(i)), names[i]) << i;
  EXPECT_STREQ(KEP_UNFOLD_OBSERVER::get_name_of_visit_type(static_cast<TYPE>(-1)), "");
  EXPECT_STREQ(KEP_UNFOLD_OBSERVER::get_name_of_visit_type(static_cast<TYPE>(1000)), "");
}

TEST(UnfoldObserver, DoesNothingByItself) {
  KEP_UNFOLD_OBSERVER observer;
  observer.start_uip({});
  observer.start_net({});
  observer.visit(KEP_UNFOLDED_PORT(), KEP_UNFOLD_OBSERVER::VISIT_TYPE::END);
  observer.visit(KEP_UNFOLDED_INST_PORT(), KEP_UNFOLD_OBSERVER::VISIT_TYPE::END);
  observer.finish_uip();
  observer.close();
  SEARCH search(R"(
    module LEAF
      ports >i <o
    module BLOCK
      ports >i
      inst x LEAF
      net in i x.i
    module TOP top
      inst d LEAF
      inst b BLOCK
      net n d.o b.i
  )");
  const KEP_LEAF_SEARCH<SCRIPTED_PREDICATE> silent(SCRIPTED_PREDICATE(&search.m_script), &observer);
  silent.find_leaves(uip(*search.m_db, "d:o"), {}, search.m_results, search.m_params, {}, {});
  EXPECT_EQ(search.m_results.m_visited_nets.size(), 2U);
}

} // namespace unfold_observer_test
