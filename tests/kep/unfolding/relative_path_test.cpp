#include "kep/kep_unfolded.h"
#include "tests/support/model_fixture.h"

#include <boost/container_hash/hash.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <vector>

namespace relative_path_test {

using test_model::instance;
using test_model::make_db;
using test_model::module;
using test_model::port;
using test_model::unfolded_instance;
using testing::ElementsAre;
using testing::IsEmpty;

using enum KEP_VIEW_TYPE;

const char* const DEVICE = R"(
  module MUX group=mux
    ports >a >b <z
  module MUX_BLC view=BLC group=mux
    ports >a >b <z
    inst x ATOM
  module ATOM
    ports >i
  module TILE
    ports >in
    inst m MUX
    inst k MUX
  module FAR foreign
    ports >f
    inst a ATOM
  module TOP top
    ports >p
    inst t TILE
    inst u TILE
    inst f FAR
)";

class RelativePath : public testing::Test {
protected:
  const std::unique_ptr<KEP_DB> m_db = make_db(DEVICE);
  const KEP_UNFOLDED_MODULE m_top = m_db->get_top_unfolded_module(DEFAULT_VIEW);
  KEP_INSTANCE* const m_t = instance(*m_db, "TOP", "t");
  KEP_INSTANCE* const m_u = instance(*m_db, "TOP", "u");
  KEP_INSTANCE* const m_m = instance(*m_db, "TILE", "m");
  KEP_INSTANCE* const m_k = instance(*m_db, "TILE", "k");
  KEP_INSTANCE* const m_x = instance(*m_db, "MUX_BLC", "x");
  KEP_PORT* const m_mux_b = port(*m_db, "MUX", "b");
};

TEST(RelativePathValue, IsFourWordsAndInvalidByDefault) {
  static_assert(sizeof(KEP_RELATIVE_PATH) == 4 * sizeof(std::uint32_t));
  static_assert(std::is_trivially_copyable_v<KEP_RELATIVE_PATH>);
  const KEP_RELATIVE_PATH path{};
  EXPECT_FALSE(path);
  EXPECT_EQ(path, KEP_RELATIVE_PATH());
  EXPECT_THAT(path.get_words(), ElementsAre(0U, 0U, 0U, 0U));
  const auto db = make_db(DEVICE);
  EXPECT_EQ(path.get_port(db.get()), nullptr);
  EXPECT_EQ(path.get_module(db.get()), nullptr);
  EXPECT_THAT(path.get_instances(db.get()), IsEmpty());
  EXPECT_EQ(db->get_top_unfolded_module(DEFAULT_VIEW) + path, KEP_UNFOLDED_MODULE());
}

TEST_F(RelativePath, OfAnEmptyChainNamesAPortOfTheModuleItself) {
  for (const KEP_MODULE* each : m_db->iter_modules(true))
    for (const KEP_PORT* own : each->iter_ports()) {
      const KEP_RELATIVE_PATH path = KEP_RELATIVE_PATH::create({}, own);
      ASSERT_TRUE(path);
      EXPECT_EQ(path.get_port(m_db.get()), own);
      EXPECT_EQ(path.get_module(m_db.get()), each);
      EXPECT_THAT(path.get_instances(m_db.get()), IsEmpty());
    }
  const KEP_UNFOLDED_MODULE tile = unfolded_instance(*m_db, "u").get_module(DEFAULT_VIEW);
  EXPECT_EQ(tile + KEP_RELATIVE_PATH::create({}, port(*m_db, "TILE", "in")), tile);
  EXPECT_EQ(m_top + KEP_RELATIVE_PATH::create({}, port(*m_db, "TOP", "p")), m_top);
}

TEST_F(RelativePath, LeadsFromAModuleDownItsChain) {
  const KEP_RELATIVE_PATH path = KEP_RELATIVE_PATH::create({m_t, m_k}, m_mux_b);
  ASSERT_TRUE(path);
  EXPECT_EQ(path.get_port(m_db.get()), m_mux_b);
  EXPECT_EQ(path.get_module(m_db.get()), module(*m_db, "TOP"));
  EXPECT_THAT(path.get_instances(m_db.get()), ElementsAre(m_t, m_k));
  EXPECT_EQ(m_top + path, unfolded_instance(*m_db, "t/k").get_module(DEFAULT_VIEW));
}

TEST_F(RelativePath, GoesThroughTheViewThatHoldsTheNextInstance) {
  const KEP_RELATIVE_PATH path = KEP_RELATIVE_PATH::create({m_t, m_m, m_x}, port(*m_db, "ATOM", "i"));
  ASSERT_TRUE(path);
  EXPECT_EQ(m_top + path, unfolded_instance(*m_db, "t/m@BLC/x").get_module(DEFAULT_VIEW));
  EXPECT_THAT(path.get_instances(m_db.get()), ElementsAre(m_t, m_m, m_x));
}

TEST_F(RelativePath, EndsInTheViewThatOwnsThePort) {
  const KEP_PORT* blc_b = port(*m_db, "MUX_BLC", "b");
  const KEP_RELATIVE_PATH path = KEP_RELATIVE_PATH::create({m_t, m_m}, blc_b);
  EXPECT_EQ(path.get_port(m_db.get()), blc_b);
  EXPECT_EQ(m_top + path, unfolded_instance(*m_db, "t/m").get_module(BLC));
  EXPECT_FALSE(path == KEP_RELATIVE_PATH::create({m_t, m_m}, m_mux_b));
}

TEST_F(RelativePath, IsInvalidForAChainThatDoesNotHangTogether) {
  EXPECT_FALSE(KEP_RELATIVE_PATH::create({m_m, m_t}, m_mux_b)) << "out of order";
  EXPECT_FALSE(KEP_RELATIVE_PATH::create({m_t, m_t}, m_mux_b)) << "not held by the master before";
  EXPECT_FALSE(KEP_RELATIVE_PATH::create({m_t, m_x}, port(*m_db, "ATOM", "i"))) << "a level left out";
  EXPECT_FALSE(KEP_RELATIVE_PATH::create({m_t}, m_mux_b)) << "the port is of another module";
  EXPECT_FALSE(KEP_RELATIVE_PATH::create({m_t, m_m}, port(*m_db, "TILE", "in")));
  EXPECT_FALSE(KEP_RELATIVE_PATH::create({m_t}, nullptr));
  EXPECT_FALSE(KEP_RELATIVE_PATH::create({}, nullptr));
}

TEST_F(RelativePath, IsTheDifferenceOfAPortAndAModuleAbove) {
  const KEP_UNFOLDED_PORT deep =
      unfolded_instance(*m_db, "u/k").get_module(DEFAULT_VIEW).get_unfolded_port_by_index(1);
  const KEP_UNFOLDED_MODULE tile = unfolded_instance(*m_db, "u").get_module(DEFAULT_VIEW);
  EXPECT_EQ(deep - m_top, KEP_RELATIVE_PATH::create({m_u, m_k}, m_mux_b));
  EXPECT_EQ(deep - tile, KEP_RELATIVE_PATH::create({m_k}, m_mux_b));
  EXPECT_EQ(deep - deep.get_parent(), KEP_RELATIVE_PATH::create({}, m_mux_b));
  EXPECT_EQ(m_top + (deep - m_top), deep.get_parent());
}

TEST_F(RelativePath, IsEqualAtEveryOccurrenceOfTheModule) {
  const auto difference = [&](const char* tile, const char* mux) {
    return unfolded_instance(*m_db, std::string(tile) + "/" + mux)
               .get_module(DEFAULT_VIEW)
               .get_unfolded_port_by_index(0) -
           unfolded_instance(*m_db, tile).get_module(DEFAULT_VIEW);
  };
  EXPECT_EQ(difference("t", "m"), difference("u", "m"));
  EXPECT_EQ(difference("t", "m").get_words(), difference("u", "m").get_words());
  EXPECT_FALSE(difference("t", "m") == difference("t", "k"));
}

TEST_F(RelativePath, FromAModuleThatIsNotAboveThePortIsInvalid) {
  const KEP_UNFOLDED_PORT deep =
      unfolded_instance(*m_db, "u/k").get_module(DEFAULT_VIEW).get_unfolded_port_by_index(1);
  EXPECT_FALSE(deep - unfolded_instance(*m_db, "t").get_module(DEFAULT_VIEW)) << "beside";
  EXPECT_FALSE(deep - unfolded_instance(*m_db, "u/m").get_module(DEFAULT_VIEW));
  EXPECT_FALSE(deep - unfolded_instance(*m_db, "u/k").get_module(BLC)) << "the same instance in another view";
  EXPECT_FALSE(deep - KEP_UNFOLDED_MODULE());
  const KEP_UNFOLDED_PORT own = m_top.get_unfolded_port_by_index(0);
  EXPECT_FALSE(own - unfolded_instance(*m_db, "u").get_module(DEFAULT_VIEW)) << "below the port";
}

TEST_F(RelativePath, BelowAModuleInWhichItDoesNotStartLeadsNowhere) {
  const KEP_RELATIVE_PATH path = KEP_RELATIVE_PATH::create({m_k}, m_mux_b);
  EXPECT_EQ(m_top + path, KEP_UNFOLDED_MODULE());
  EXPECT_EQ(unfolded_instance(*m_db, "u/k").get_module(DEFAULT_VIEW) + path, KEP_UNFOLDED_MODULE());
}

TEST_F(RelativePath, CarriesAFactToALikePlace) {
  // The way of a redundant port: path, module below another occurrence, instance, inst port, uip.
  const KEP_UNFOLDED_PORT known =
      unfolded_instance(*m_db, "t/m").get_module(DEFAULT_VIEW).get_unfolded_port_by_index(1);
  const KEP_RELATIVE_PATH path = known - unfolded_instance(*m_db, "t").get_module(DEFAULT_VIEW);
  const KEP_UNFOLDED_INSTANCE like =
      (unfolded_instance(*m_db, "u").get_module(DEFAULT_VIEW) + path).get_unfolded_instance();
  KEP_INST_PORT* inst_port = like.m_object->get_inst_port_for_port(path.get_port(m_db.get()));
  EXPECT_EQ(like.get_unfolding_of_inst_port(inst_port), test_model::uip(*m_db, "u/m:b"));
}

TEST_F(RelativePath, IntoAForeignModuleIsDecodedByEitherDatabase) {
  KEP_PORT* i = port(*m_db, "ATOM", "i");
  const KEP_RELATIVE_PATH path =
      KEP_RELATIVE_PATH::create({instance(*m_db, "TOP", "f"), instance(*m_db, "FAR", "a")}, i);
  ASSERT_TRUE(path);
  EXPECT_EQ(path.get_port(m_db.get()), i);
  EXPECT_EQ(path.get_port(module(*m_db, "FAR")->get_db()), i);
  EXPECT_EQ(m_top + path, unfolded_instance(*m_db, "f/a").get_module(DEFAULT_VIEW));
}

TEST_F(RelativePath, HashesItsFourWordsInOrder) {
  const KEP_RELATIVE_PATH path = KEP_RELATIVE_PATH::create({m_t, m_k}, m_mux_b);
  std::size_t expected = 0;
  for (const std::uint32_t word : path.get_words())
    boost::hash_combine(expected, word);
  EXPECT_EQ(hash_value(path), expected);
  EXPECT_EQ(boost::hash<KEP_RELATIVE_PATH>()(path), expected);
  EXPECT_EQ(std::hash<KEP_RELATIVE_PATH>()(path), expected);
  const std::unordered_set<KEP_RELATIVE_PATH> set{path, KEP_RELATIVE_PATH::create({m_t, m_k}, m_mux_b),
                                                  KEP_RELATIVE_PATH::create({m_t, m_m}, m_mux_b)};
  EXPECT_EQ(set.size(), 2U);
}

TEST_F(RelativePath, TablesAreCreatedOnlyWhenAskedTo) {
  EXPECT_FALSE(m_db->get_relative_paths("wanted").valid());
  EXPECT_FALSE(m_db->get_relative_paths("wanted").valid()) << "asking created nothing";
  EXPECT_TRUE(m_db->find_or_create_relative_paths("wanted").valid());
  EXPECT_TRUE(m_db->get_relative_paths("wanted").valid());
  EXPECT_FALSE(m_db->get_relative_paths("other").valid());
  EXPECT_THAT(m_db->get_relative_paths("wanted").get_modules(), IsEmpty());
}

TEST_F(RelativePath, MapsOfAModuleAreCreatedOnlyWhenAskedTo) {
  KEP_INDEXED_RELATIVE_PATHS table = m_db->find_or_create_relative_paths("table");
  const KEP_MODULE* tile = module(*m_db, "TILE");
  EXPECT_FALSE(table.find_path_mappings_for_module(tile).exists());
  EXPECT_FALSE(table.find_path_mappings_for_module(tile).exists());
  EXPECT_TRUE(table.find_or_create_paths_for_module(tile).exists());
  EXPECT_TRUE(table.find_path_mappings_for_module(tile).exists());
  EXPECT_FALSE(table.find_path_mappings_for_module(module(*m_db, "TOP")).exists());
  EXPECT_FALSE(table.find_or_create_paths_for_module(nullptr).exists());
  EXPECT_FALSE(table.find_path_mappings_for_module(nullptr).exists());
  EXPECT_THAT(table.get_modules(), ElementsAre(tile));
}

TEST_F(RelativePath, TablesKeepPathsInOrderAndEachOnce) {
  KEP_INDEXED_RELATIVE_PATHS table = m_db->find_or_create_relative_paths("table");
  KEP_MODULE_RELATIVE_PATH_MAP map = table.find_or_create_paths_for_module(module(*m_db, "TILE"));
  map.reserve(10, false);
  EXPECT_EQ(map.size(), 0U);
  const KEP_PERSISTENT_RELATIVE_PATH* first = map.add_path({m_k}, m_mux_b);
  const KEP_PERSISTENT_RELATIVE_PATH* own = map.add_path({}, port(*m_db, "TILE", "in"));
  ASSERT_NE(first, nullptr);
  ASSERT_NE(own, nullptr);
  EXPECT_EQ(map.add_path({m_k}, m_mux_b), first) << "a path that is there is not stored again";
  EXPECT_EQ(map.size(), 2U);
  EXPECT_EQ(map.get_path(0)->get_path(), KEP_RELATIVE_PATH::create({m_k}, m_mux_b));
  EXPECT_EQ(map.get_path(1)->get_path(), KEP_RELATIVE_PATH::create({}, port(*m_db, "TILE", "in")));
}

TEST_F(RelativePath, TablesRefuseAPathThatStartsElsewhereOrDoesNotHangTogether) {
  KEP_MODULE_RELATIVE_PATH_MAP map =
      m_db->find_or_create_relative_paths("table").find_or_create_paths_for_module(module(*m_db, "TILE"));
  EXPECT_EQ(map.add_path({m_t, m_k}, m_mux_b), nullptr);
  EXPECT_EQ(map.add_path({}, port(*m_db, "TOP", "p")), nullptr);
  EXPECT_EQ(map.add_path({m_k}, port(*m_db, "TOP", "p")), nullptr);
  EXPECT_EQ(map.size(), 0U);
}

TEST_F(RelativePath, TablesOutliveTheirHandlesAndAreApartByName) {
  {
    KEP_INDEXED_RELATIVE_PATHS table = m_db->find_or_create_relative_paths("one");
    table.find_or_create_paths_for_module(module(*m_db, "TOP")).add_path({m_u}, port(*m_db, "TILE", "in"));
    table.find_or_create_paths_for_module(module(*m_db, "TILE")).add_path({m_k}, m_mux_b);
  }
  m_db->find_or_create_relative_paths("two").find_or_create_paths_for_module(module(*m_db, "TOP"));
  const KEP_INDEXED_RELATIVE_PATHS again = m_db->get_relative_paths("one");
  EXPECT_EQ(again.find_path_mappings_for_module(module(*m_db, "TOP")).size(), 1U);
  EXPECT_THAT(again.get_modules(), ElementsAre(module(*m_db, "TOP"), module(*m_db, "TILE")));
  EXPECT_EQ(m_db->get_relative_paths("two").find_path_mappings_for_module(module(*m_db, "TOP")).size(), 0U);
  EXPECT_EQ(
      m_db->find_or_create_relative_paths("one").find_path_mappings_for_module(module(*m_db, "TOP")).size(),
      1U);
}

TEST(RelativePathTable, KeepsItsPathsWhereTheyAreWhileOthersAreAdded) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID master = builder.add_module("A", {});
  builder.add_port(master, "p", KEP_PORT_DIRECTION::INPUT);
  const KEP_MODULE_ID top_id = builder.add_module("T", {});
  constexpr unsigned COUNT = 5000;
  for (unsigned i = 0; i != COUNT; ++i)
    builder.add_instance(top_id, "i" + std::to_string(i), master, {});
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
  KEP_MODULE_RELATIVE_PATH_MAP map =
      db->find_or_create_relative_paths("t").find_or_create_paths_for_module(module(*db, "T"));
  std::vector<const KEP_PERSISTENT_RELATIVE_PATH*> stored;
  for (KEP_INSTANCE* each : module(*db, "T")->iter_instances())
    stored.push_back(map.add_path({each}, port(*db, "A", "p")));
  EXPECT_EQ(map.size(), COUNT);
  unsigned i = 0;
  for (KEP_INSTANCE* each : module(*db, "T")->iter_instances()) {
    EXPECT_EQ(map.get_path(i), stored[i]);
    EXPECT_EQ(stored[i]->get_path(), KEP_RELATIVE_PATH::create({each}, port(*db, "A", "p")));
    ++i;
  }
}

TEST(RelativePaths, FromAModuleOfAnotherDatabaseAreInvalid) {
  const auto one = make_db("module A \n ports >p \n module T top \n inst a A");
  const auto two = make_db("module A \n ports >p \n module T top \n inst a A");
  const KEP_UNFOLDED_PORT deep =
      unfolded_instance(*one, "a").get_module(DEFAULT_VIEW).get_unfolded_port_by_index(0);
  EXPECT_TRUE(deep - one->get_top_unfolded_module(DEFAULT_VIEW));
  EXPECT_FALSE(deep - two->get_top_unfolded_module(DEFAULT_VIEW));
  const auto large = make_db(DEVICE);
  EXPECT_FALSE(deep - unfolded_instance(*large, "u/k").get_module(DEFAULT_VIEW));
}

} // namespace relative_path_test
