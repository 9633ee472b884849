// Which ports a search passes over, by its direction.

#include "tests/support/leaf_search_case.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace leaf_search_directions_test {

using testing::ElementsAre;
using SEARCH = test_model::LEAF_SEARCH_CASE;

const char* const ALL_ON_ONE_NET = R"(
  module LEAF
    ports >i <o =z
  module TOP top
    ports >p <q =r
    inst a LEAF
    inst b LEAF
    net n a.i a.o a.z b.i b.o b.z p q r
)";

TEST(LeafSearch, InDirection0PassesOutputsOfInstancesAndInputsOfModules) {
  SEARCH search(ALL_ON_ONE_NET);
  search.m_script.m_leaf = {"a:i", "a:o", "a:z", "b:i", "b:o", "b:z"};
  search.m_script.m_terminating = {"b:o"};
  search.from("a:o"); // the start point is not terminating here
  EXPECT_THAT(search.found(), ElementsAre("a:i", "a:z", "b:i", "b:z")) << "not even a terminating output";
  EXPECT_THAT(search.top_ports(), ElementsAre(":q", ":r"));
  EXPECT_THAT(search.log(),
              ElementsAre("12 a:o", "net n", "11 a:i", "11 a:z", "11 b:i", "10 b:o", "11 b:z", "11 port :p",
                          "13 port :q", "11 port :q", "13 port :r", "11 port :r"));
}

TEST(LeafSearch, InDirection1PassesInputsOfInstancesAndOutputsOfModules) {
  SEARCH search(ALL_ON_ONE_NET);
  search.m_params.m_direction = KEP_LEAF_DIRECTION::LOAD_TO_DRIVERS;
  search.m_script.m_leaf = {"a:i", "a:o", "a:z", "b:i", "b:o", "b:z"};
  search.from("a:i");
  EXPECT_THAT(search.found(), ElementsAre("a:o", "a:z", "b:o", "b:z"));
  EXPECT_THAT(search.top_ports(), ElementsAre(":p", ":r"));
  EXPECT_THAT(search.log(),
              ElementsAre("12 a:i", "net n", "11 a:o", "11 a:z", "11 b:i", "11 b:o", "11 b:z", "13 port :p",
                          "11 port :p", "11 port :q", "13 port :r", "11 port :r"));
}

TEST(LeafSearch, InDirection2PassesNothing) {
  SEARCH search(ALL_ON_ONE_NET);
  search.m_params.m_direction = KEP_LEAF_DIRECTION::BOTH;
  search.m_script.m_leaf = {"a:i", "a:o", "a:z", "b:i", "b:o", "b:z"};
  search.from("a:i");
  EXPECT_THAT(search.found(), ElementsAre("a:o", "a:z", "b:i", "b:o", "b:z"));
  EXPECT_THAT(search.top_ports(), ElementsAre(":p", ":q", ":r"));
  EXPECT_EQ(static_cast<int>(KEP_LEAF_DIRECTION::DRIVER_TO_LOADS), 0);
  EXPECT_EQ(static_cast<int>(KEP_LEAF_DIRECTION::LOAD_TO_DRIVERS), 1);
  EXPECT_EQ(static_cast<int>(KEP_LEAF_DIRECTION::BOTH), 2);
}

} // namespace leaf_search_directions_test
