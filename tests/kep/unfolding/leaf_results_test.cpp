#include "kep/kep_flat_utils.h"
#include "tests/support/model_fixture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace leaf_results_test {

using test_model::make_db;
using test_model::unfolded_instance;

using enum KEP_VIEW_TYPE;

TEST(LeafResults, NoteTheHighestModule) {
  const auto db = make_db(R"(
    module C
    module B
      inst c C
    module A
      inst b B
      inst d B
    module T top
      inst a A
      inst e B
  )");
  const auto module = [&](const char* path) { return unfolded_instance(*db, path).get_module(DEFAULT_VIEW); };
  KEP_LEAF_RESULTS results;
  results.note_module(module("a/b/c"));
  EXPECT_EQ(results.m_top_module, module("a/b/c"));
  results.note_module(module("a/b/c"));
  EXPECT_EQ(results.m_top_module, module("a/b/c"));
  results.note_module(module("a/b"));
  EXPECT_EQ(results.m_top_module, module("a/b")) << "above";
  results.note_module(module("a/b/c"));
  EXPECT_EQ(results.m_top_module, module("a/b")) << "below changes nothing";
  results.note_module(module("a/d"));
  EXPECT_EQ(results.m_top_module, module("a/d")) << "beside is taken";
  results.note_module(module("e"));
  EXPECT_EQ(results.m_top_module, module("e"));
  results.note_module(db->get_top_unfolded_module(DEFAULT_VIEW));
  results.note_module(module("a/b/c"));
  EXPECT_EQ(results.m_top_module, db->get_top_unfolded_module(DEFAULT_VIEW));
}

TEST(NetSet, HoldsEachNetOnceInOrderAndCanBeEmptied) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID master = builder.add_module("A", {});
  builder.add_port(master, "p", KEP_PORT_DIRECTION::INPUT);
  const KEP_MODULE_ID top = builder.add_module("T", {});
  constexpr unsigned COUNT = 3000;
  for (unsigned i = 0; i != COUNT; ++i) {
    const std::string name = "i" + std::to_string(i);
    builder.connect(top, builder.add_instance(top, name, master, {}), 0, builder.add_net(top, name));
  }
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
  std::vector<KEP_UNFOLDED_NET> nets;
  for (const KEP_UNFOLDED_INSTANCE& each : db->get_top_unfolded_module(DEFAULT_VIEW).iter_instances())
    nets.push_back(each.get_unfolded_inst_port_by_index(0).get_unfolded_net());
  KEP_UNFOLDED_NET_SET set;
  for (const std::size_t count : {3U, 8U, 9U, 100U, 3000U, 5U}) {
    for (std::size_t i = 0; i != count; ++i) {
      ASSERT_FALSE(set.contains(nets[i]));
      ASSERT_TRUE(set.insert(nets[i]));
      ASSERT_FALSE(set.insert(nets[i / 2]));
    }
    EXPECT_EQ(set.size(), count);
    for (std::size_t i = 0; i != COUNT; ++i)
      ASSERT_EQ(set.contains(nets[i]), i < count);
    EXPECT_EQ(set.get_nets(),
              std::vector<KEP_UNFOLDED_NET>(nets.begin(), nets.begin() + static_cast<long>(count)));
    set.clear();
    EXPECT_EQ(set.size(), 0U);
    EXPECT_FALSE(set.contains(nets[0]));
  }
}

} // namespace leaf_results_test
