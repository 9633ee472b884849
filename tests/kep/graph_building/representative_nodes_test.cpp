#include "tests/support/two_tiles.h"

#include <gtest/gtest.h>

namespace representative_nodes_test {

using RoutingBuilder = test_model::TwoTiles;
using test_model::FANOUTS;
using test_model::GRAPH_BUILD;
using test_model::module;
using test_model::uip;
using test_model::unfolded_instance;

using REPRESENTATIVES = KEP_ROUTING_BUILDER_GRAPH_REPRESENTATIVE_NODES_BUILDER;
using ENTRY = REPRESENTATIVES::RELPATH_AND_ORIENTATION;

TEST_F(RoutingBuilder, ARepresentativeIsTheNodeAtTheFirstOccurrenceOfAModule) {
  GRAPH_BUILD build(*m_db);
  for (const char* name : {"t/m:z", "u/m:z", "t/k:z", "u/k:z"})
    build.add(name);
  build.add_hipi(uip(*m_db, "t/m:z"));
  build.add(m_p);
  build.sort();
  REPRESENTATIVES representatives(m_db.get(), KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank);
  const auto find = [&](const ENTRY& entry) {
    return KEP_TEST_ACCESS::find_representative(representatives, entry);
  };
  const KEP_UNFOLDED_MODULE top = m_db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  const KEP_UNFOLDED_MODULE t = unfolded_instance(*m_db, "t").get_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  const KEP_UNFOLDED_MODULE u = unfolded_instance(*m_db, "u").get_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  const FANOUTS fanouts{{build.find("t/k:z"), {}}};
  const ENTRY first = representatives.get_relative_path(build.find("t/m:z"), fanouts, {}, t);
  ASSERT_TRUE(first);
  EXPECT_TRUE(first.m_path);
  EXPECT_EQ(first.m_path.get_module(m_db.get()), module(*m_db, "TILE")) << "seen from the given module";
  EXPECT_EQ(first.m_orientation, 0);
  EXPECT_EQ(find(first), nullptr);
  representatives.store_relative_path_and_repnode(first, t, build.find("t/m:z"));
  EXPECT_EQ(find(first), build.find("t/m:z"));
  const ENTRY other = representatives.get_relative_path(build.find("t/k:z"), fanouts, {}, t);
  EXPECT_EQ(find(other), nullptr) << "another path";
  const ENTRY twin = representatives.get_relative_path(build.find_hipi(uip(*m_db, "t/m:z")), fanouts, {}, t);
  EXPECT_EQ(twin.m_orientation, 1) << "a twin has an entry of its own";
  EXPECT_EQ(find(twin), nullptr);
  EXPECT_FALSE(representatives.get_relative_path(build.find("u/m:z"), fanouts, {}, u))
      << "the first occurrence shows what the others look like";
  EXPECT_FALSE(representatives.get_relative_path(build.find("t/m:z"), fanouts, {}, top))
      << "nothing repeats the top";
  EXPECT_FALSE(representatives.get_relative_path(build.find(m_p), fanouts, {}, top));
  EXPECT_EQ(find(ENTRY()), nullptr);
}

} // namespace representative_nodes_test
