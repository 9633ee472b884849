#include "kep/kep_db_cache.h"
#include "tests/support/model_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace db_cache_test {

using test_model::instance;
using test_model::make_db;
using test_model::module;
using test_model::port;
using test_model::uip;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using enum KEP_VIEW_TYPE;

const char* const DEVICE = R"(
  module MUX group=mux
    ports >a >b <z
  module MUX_BLC view=BLC group=mux
    ports >a >b <z
    inst x ATOM
  module ATOM
    ports >i
  module TILE group=tile
    ports >in
    inst m MUX
  module TILE_BLC view=BLC group=tile
    ports >in
    inst m MUX
  module GROUP group=group
    inst t TILE
  module GROUP_BLC group=group view=BLC
    inst t TILE
  module TOP top
    ports >p
    inst t TILE
    inst g GROUP
)";

/// The sorted names of all marked uips below `top`, one for each uip.
std::multiset<std::string> marked(KEP_DB& db, const KEP_UNFOLDED_MODULE& top) {
  KEP_DB_PARENTS_CACHE parents;
  parents.initialize(&db);
  KEP_DB_REDUNDANCY_CACHE cache(true);
  cache.initialize(&db, &parents);
  KEP_UNFOLDED_INST_PORT_USET uips;
  const std::size_t added = cache.add_redundant_ports(&uips, top);
  EXPECT_EQ(added, uips.size());
  EXPECT_EQ(cache.add_redundant_ports(&uips, top), 0U) << "nothing is new the second time";
  std::multiset<std::string> names;
  for (const KEP_UNFOLDED_INST_PORT& each : uips.iter())
    names.insert(each.get_name(KEP_NAME_STYLE()));
  return names;
}

void mark(KEP_DB& db, const char* key, const std::vector<KEP_INSTANCE*>& chain, const KEP_PORT* port) {
  EXPECT_NE(db.find_or_create_relative_paths("redundancy")
                .find_or_create_paths_for_module(module(db, key))
                .add_path(chain, port),
            nullptr);
}

class Redundancy : public testing::Test {
protected:
  const std::unique_ptr<KEP_DB> m_db = make_db(DEVICE);
  const KEP_UNFOLDED_MODULE m_top = m_db->get_top_unfolded_module(DEFAULT_VIEW);
};

TEST(DbCache, FindsWhatTheModuleFinds) {
  static_assert(std::has_virtual_destructor_v<KEP_DB_CACHE>);
  const auto db = make_db(DEVICE);
  KEP_DB_CACHE cache(KEP_VIEW_TYPE::LOGICAL, false);
  cache.initialize_unfolding(db.get(), std::string(), false);
  const KEP_MODULE* blc = module(*db, "MUX_BLC");
  EXPECT_EQ(cache.find_instance(blc, "x"), instance(*db, "MUX_BLC", "x"));
  EXPECT_EQ(cache.find_instance(module(*db, "TOP"), "nothing"), nullptr);
  EXPECT_EQ(cache.find_port(blc, "z"), port(*db, "MUX_BLC", "z"));
  EXPECT_EQ(cache.find_port(blc, "x"), nullptr);
}

TEST(UipSet, HoldsEachUipOnce) {
  const auto db = make_db(DEVICE);
  KEP_UNFOLDED_INST_PORT_USET set;
  EXPECT_EQ(set.size(), 0U);
  EXPECT_EQ(set.iter().begin(), set.iter().end());
  set.reserve(100);
  EXPECT_EQ(set.size(), 0U);
  EXPECT_TRUE(set.insert(uip(*db, "t/m:a")));
  EXPECT_FALSE(set.insert(uip(*db, "t/m:a")));
  EXPECT_TRUE(set.insert(uip(*db, "t@BLC/m:a")));
  EXPECT_TRUE(set.insert(uip(*db, "g/t/m:a")));
  EXPECT_EQ(set.size(), 3U);
  EXPECT_THAT(std::vector<KEP_UNFOLDED_INST_PORT>(set.iter().begin(), set.iter().end()),
              UnorderedElementsAre(uip(*db, "t/m:a"), uip(*db, "t@BLC/m:a"), uip(*db, "g/t/m:a")));
}

TEST(ParentsCache, GivesTheSlotsThatHoldAModule) {
  const auto db = make_db(DEVICE);
  KEP_DB_PARENTS_CACHE parents;
  parents.initialize(db.get());
  const auto holders = [&](const char* key) {
    std::multiset<std::string> found;
    for (const KEP_DB_PARENTS_CACHE::PARENT& each : parents.get_parents(module(*db, key))) {
      if (!each.m_module) {
        found.insert("above the top");
        continue;
      }
      const KEP_SLOT& slot = each.m_module->get_slots()[each.m_slot];
      EXPECT_EQ(slot.m_module, module(*db, key));
      found.insert(std::string(each.m_module->get_key()) + "." +
                   each.m_module->get_instance_by_index(slot.m_instance)->get_plain_name());
    }
    return found;
  };
  EXPECT_THAT(holders("MUX_BLC"), UnorderedElementsAre("TILE.m", "TILE_BLC.m"));
  EXPECT_THAT(holders("TILE_BLC"), UnorderedElementsAre("TOP.t", "GROUP.t", "GROUP_BLC.t"));
  EXPECT_THAT(holders("TOP"), UnorderedElementsAre("above the top"));
}

TEST_F(Redundancy, MarksNothingWithoutItsTable) {
  EXPECT_THAT(marked(*m_db, m_top), IsEmpty());
  m_db->find_or_create_relative_paths("other")
      .find_or_create_paths_for_module(module(*m_db, "TILE"))
      .add_path({instance(*m_db, "TILE", "m")}, port(*m_db, "MUX", "a"));
  EXPECT_THAT(marked(*m_db, m_top), IsEmpty()) << "another table does not count";
  m_db->find_or_create_relative_paths("redundancy");
  EXPECT_THAT(marked(*m_db, m_top), IsEmpty());
}

TEST_F(Redundancy, MarksAUipAtEveryOccurrenceOfTheModule) {
  mark(*m_db, "TILE", {instance(*m_db, "TILE", "m")}, port(*m_db, "MUX", "a"));
  EXPECT_THAT(marked(*m_db, m_top), UnorderedElementsAre("t/m:a", "g/t/m:a", "g/t/m:a"))
      << "the two views of g are two places of one name";
}

TEST_F(Redundancy, MarksTheOutsideOfAModulesOwnPort) {
  mark(*m_db, "MUX", {}, port(*m_db, "MUX", "b"));
  EXPECT_EQ(marked(*m_db, m_top).count("t/m:b"), 2U) << "in both views of t";
  EXPECT_EQ(marked(*m_db, m_top).count("g/t/m:b"), 4U);
  EXPECT_EQ(marked(*m_db, m_top).size(), 6U);
}

TEST_F(Redundancy, MarksOneUipOnceThoughTwoPathsLeadToIt) {
  mark(*m_db, "TILE", {instance(*m_db, "TILE", "m")}, port(*m_db, "MUX", "a"));
  mark(*m_db, "TILE", {instance(*m_db, "TILE", "m")}, port(*m_db, "MUX_BLC", "a"));
  EXPECT_THAT(marked(*m_db, m_top), UnorderedElementsAre("t/m:a", "g/t/m:a", "g/t/m:a"));
}

TEST_F(Redundancy, MarksNothingOutsideAPortOfTheTop) {
  mark(*m_db, "TOP", {}, port(*m_db, "TOP", "p"));
  EXPECT_THAT(marked(*m_db, m_top), IsEmpty());
}

TEST_F(Redundancy, OfNoModuleIsNothing) {
  mark(*m_db, "TILE", {}, port(*m_db, "TILE", "in"));
  EXPECT_THAT(marked(*m_db, KEP_UNFOLDED_MODULE()), IsEmpty());
}

TEST_F(Redundancy, StaysBelowTheGivenModule) {
  mark(*m_db, "TILE", {instance(*m_db, "TILE", "m")}, port(*m_db, "MUX", "a"));
  mark(*m_db, "TILE", {}, port(*m_db, "TILE", "in"));
  EXPECT_THAT(marked(*m_db, test_model::unfolded_instance(*m_db, "g").get_module(DEFAULT_VIEW)),
              UnorderedElementsAre("g/t/m:a", "g/t:in"));
  EXPECT_THAT(marked(*m_db, test_model::unfolded_instance(*m_db, "t").get_module(DEFAULT_VIEW)),
              UnorderedElementsAre("t/m:a"))
      << "the module's own uips lie outside of it";
  EXPECT_THAT(marked(*m_db, test_model::unfolded_instance(*m_db, "t").get_module(BLC)), IsEmpty());
  EXPECT_THAT(marked(*m_db, KEP_UNFOLDED_MODULE()), IsEmpty());
}

TEST_F(Redundancy, BelowAModuleCountsMarksThatBeginAboveIt) {
  mark(*m_db, "TOP", {instance(*m_db, "TOP", "t"), instance(*m_db, "TILE", "m")}, port(*m_db, "MUX", "a"));
  EXPECT_THAT(marked(*m_db, test_model::unfolded_instance(*m_db, "t").get_module(DEFAULT_VIEW)),
              UnorderedElementsAre("t/m:a"));
}

} // namespace db_cache_test
