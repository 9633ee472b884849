// Views, names and ranks, the order of ports, and iterators: the small types that all of the model shares.

#include "kep/kep_view_type_rank.h"
#include "tests/support/model_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <set>
#include <type_traits>

namespace small_types_test {

using test_model::make_db;
using test_model::module;
using test_model::port;

using enum KEP_VIEW_TYPE;

const char* const DEVICE = R"(
  module MUX group=mux
    ports >a >b <z
  module MUX_BLC view=BLC group=mux
    ports >a >b <z
  module MUX_TWIN view=LOGICAL_TWIN group=mux
    ports >a >b <z
  module TOP top
    ports >p =q <r
    inst m MUX
)";

TEST(Views, HaveTheNumbersThatFilesAndToolsUse) {
  EXPECT_EQ(static_cast<int>(LOGICAL), 0);
  EXPECT_EQ(static_cast<int>(BLC), 2);
  EXPECT_EQ(static_cast<int>(LOGICAL_TWIN), 3);
  EXPECT_EQ(static_cast<int>(DEFAULT_VIEW), 4);
  EXPECT_EQ(sizeof(KEP_VIEW_TYPE), 1U);
  EXPECT_EQ(static_cast<int>(KEP_DB_TYPE::NO_REDUNDANCY), 0);
  EXPECT_EQ(static_cast<int>(KEP_DB_TYPE::TOP_PORTS_ROUTED), 1);
  EXPECT_EQ(sizeof(KEP_DB_TYPE), 1U);
  EXPECT_EQ(static_cast<int>(KEP_MODULE::TRAIT::TRAIT_0), 0);
  EXPECT_EQ(static_cast<int>(KEP_MODULE::TRAIT::IP_ROOT), 5);
  EXPECT_EQ(static_cast<int>(KEP_INSTANCE::TRAIT::TRAIT_0), 0);
}

TEST(Views, HavePrintableNames) {
  EXPECT_STREQ(kep_get_name_of_view_type(LOGICAL), "logical");
  EXPECT_STREQ(kep_get_name_of_view_type(VIEW_1), "view_1");
  EXPECT_STREQ(kep_get_name_of_view_type(BLC), "blc");
  EXPECT_STREQ(kep_get_name_of_view_type(LOGICAL_TWIN), "logical_twin");
  EXPECT_STREQ(kep_get_name_of_view_type(DEFAULT_VIEW), "default");
}

TEST(NameStyle, IsSevenOptionBytesAndTwoSeparators) {
  EXPECT_EQ(sizeof(KEP_NAME_STYLE), 9U);
  const KEP_NAME_STYLE style{};
  EXPECT_THAT(style.m_options, testing::Each(false));
  EXPECT_EQ(style.m_hierarchy_separator, '/');
  EXPECT_EQ(style.m_port_separator, ':');
}

TEST(ViewTypeRank, IsThreeBytesAndTriesItsViewsInOrder) {
  EXPECT_EQ(sizeof(KEP_VIEW_TYPE_RANK), 3U);
  EXPECT_TRUE(std::is_trivially_copyable_v<KEP_VIEW_TYPE_RANK>);
  const auto db = make_db(DEVICE);
  const KEP_MODULE* mux = module(*db, "MUX");
  const KEP_VIEW_TYPE_RANK one(BLC);
  EXPECT_EQ(one.size(), 1);
  EXPECT_EQ(one.get_view_type(0), BLC);
  EXPECT_EQ(one.find_view(mux, true, nullptr), module(*db, "MUX_BLC"));
  KEP_VIEW_TYPE_RANK two(VIEW_1, LOGICAL_TWIN);
  EXPECT_EQ(two.size(), 2);
  EXPECT_EQ(two.get_view_type(0), VIEW_1);
  EXPECT_EQ(two.get_view_type(1), LOGICAL_TWIN);
  EXPECT_EQ(two.find_view(mux, true, nullptr), module(*db, "MUX_TWIN"));
  two = one;
  EXPECT_EQ(two.size(), 1);
  EXPECT_EQ(KEP_VIEW_TYPE_RANK(LOGICAL, BLC).find_view(mux), mux);
  EXPECT_EQ(KEP_VIEW_TYPE_RANK(DEFAULT_VIEW).find_view(mux), mux);
  EXPECT_EQ(KEP_VIEW_TYPE_RANK(VIEW_1).find_view(mux, true, nullptr), nullptr);
  EXPECT_EQ(KEP_VIEW_TYPE_RANK().size(), 0);
  EXPECT_EQ(KEP_VIEW_TYPE_RANK().find_view(mux), nullptr);
}

TEST(PortIndexCompare, OrdersByIndexAndThenByModule) {
  const auto db = make_db(DEVICE);
  const KEP_PORT_INDEX_COMPARE less{};
  const KEP_PORT* mux_b = port(*db, "MUX", "b");
  const KEP_PORT* blc_a = port(*db, "MUX_BLC", "a");
  const KEP_PORT* mux_a = port(*db, "MUX", "a");
  EXPECT_TRUE(less(mux_a, mux_b));
  EXPECT_TRUE(less(blc_a, mux_b)) << "the index goes before the module";
  EXPECT_TRUE(less(mux_a, blc_a));
  EXPECT_FALSE(less(blc_a, mux_a));
  EXPECT_FALSE(less(mux_a, mux_a));
}

TEST(PortIndexCompare, KeepsEveryPortOfEveryModuleInASet) {
  const auto db = make_db(DEVICE);
  std::set<const KEP_PORT*, KEP_PORT_INDEX_COMPARE> set;
  std::size_t count = 0;
  for (const KEP_MODULE* each : db->iter_modules(true))
    for (const KEP_PORT* member : each->iter_ports()) {
      EXPECT_TRUE(set.insert(member).second);
      EXPECT_FALSE(set.insert(member).second);
      ++count;
    }
  EXPECT_EQ(set.size(), count);
  EXPECT_EQ(count, 12U);
}

TEST(Iterators, AreCopiedComparedAndHeldByTheirBase) {
  const auto db = make_db(DEVICE);
  auto modules = db->iter_modules(true);
  KEP_DB_MODULE_ITER first = modules.begin();
  KEP_DB_MODULE_ITER copy(first);
  EXPECT_TRUE(copy == first);
  ++copy;
  EXPECT_TRUE(copy != first);
  EXPECT_EQ(*first, module(*db, "MUX"));
  const std::unique_ptr<KEP_HIER_TABLE_ITER<KEP_DB_MODULE_ITER, KEP_MODULE>> base =
      std::make_unique<KEP_DB_MODULE_ITER>(first);
  EXPECT_EQ(**base, *first);
  EXPECT_TRUE((std::has_virtual_destructor_v<KEP_DB_MODULE_ITER>));
  using CATEGORY = std::iterator_traits<KEP_MODULE_PORT_ITER>::iterator_category;
  static_assert(std::is_convertible_v<boost::iterator_traversal<KEP_MODULE_PORT_ITER>::type,
                                      boost::forward_traversal_tag>);
  static_assert(std::is_convertible_v<CATEGORY, std::input_iterator_tag>);
}

} // namespace small_types_test
