#include "kep/kep_db_cache.h"
#include "tests/support/naive_hierarchy.h"
#include "tests/support/random_model.h"

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
using test_model::NAIVE_HIERARCHY;
using test_model::NAIVE_OCCURRENCE;
using test_model::port;
using test_model::uip;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr KEP_VIEW_TYPE DEFAULT = KEP_VIEW_TYPE::DEFAULT_VIEW;

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
  const std::unique_ptr<KEP_DB> db = make_db(DEVICE);
  const KEP_UNFOLDED_MODULE top = db->get_top_unfolded_module(DEFAULT);
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
  EXPECT_THAT(marked(*db, top), IsEmpty());
  db->find_or_create_relative_paths("other")
      .find_or_create_paths_for_module(module(*db, "TILE"))
      .add_path({instance(*db, "TILE", "m")}, port(*db, "MUX", "a"));
  EXPECT_THAT(marked(*db, top), IsEmpty()) << "another table does not count";
  db->find_or_create_relative_paths("redundancy");
  EXPECT_THAT(marked(*db, top), IsEmpty());
}

TEST_F(Redundancy, MarksAUipAtEveryOccurrenceOfTheModule) {
  mark(*db, "TILE", {instance(*db, "TILE", "m")}, port(*db, "MUX", "a"));
  EXPECT_THAT(marked(*db, top), UnorderedElementsAre("t/m:a", "g/t/m:a", "g/t/m:a"))
      << "the two views of g are two places of one name";
}

TEST_F(Redundancy, MarksTheOutsideOfAModulesOwnPort) {
  mark(*db, "MUX", {}, port(*db, "MUX", "b"));
  EXPECT_EQ(marked(*db, top).count("t/m:b"), 2U) << "in both views of t";
  EXPECT_EQ(marked(*db, top).count("g/t/m:b"), 4U);
  EXPECT_EQ(marked(*db, top).size(), 6U);
}

TEST_F(Redundancy, MarksOneUipOnceThoughTwoPathsLeadToIt) {
  mark(*db, "TILE", {instance(*db, "TILE", "m")}, port(*db, "MUX", "a"));
  mark(*db, "TILE", {instance(*db, "TILE", "m")}, port(*db, "MUX_BLC", "a"));
  EXPECT_THAT(marked(*db, top), UnorderedElementsAre("t/m:a", "g/t/m:a", "g/t/m:a"));
}

TEST_F(Redundancy, MarksNothingOutsideAPortOfTheTop) {
  mark(*db, "TOP", {}, port(*db, "TOP", "p"));
  EXPECT_THAT(marked(*db, top), IsEmpty());
}

TEST_F(Redundancy, OfNoModuleIsNothing) {
  mark(*db, "TILE", {}, port(*db, "TILE", "in"));
  EXPECT_THAT(marked(*db, KEP_UNFOLDED_MODULE()), IsEmpty());
}

TEST(RandomRedundancy, IsWhatASearchOfTheWholeHierarchyFinds) {
  using UIP = std::pair<std::uint64_t, const KEP_INST_PORT*>;
  std::size_t marks = 0, outside = 0, repeated = 0;
  for (std::uint64_t seed = 0; seed != 1500; ++seed) {
    const auto db = test_model::make_random_db(seed);
    test_model::RANDOM_SOURCE random(seed + 1000000);
    const NAIVE_HIERARCHY naive(*db);
    KEP_INDEXED_RELATIVE_PATHS table = db->find_or_create_relative_paths("redundancy");
    struct MARK {
      KEP_MODULE* m_module;
      std::vector<KEP_INSTANCE*> m_chain;
      const KEP_PORT* m_port;
    };
    std::vector<MARK> all;
    for (unsigned i = random.below(8); i; --i) { // a random port, seen from a random module above it
      const NAIVE_OCCURRENCE* at = random.pick(naive.all());
      if (at->m_module->get_num_ports() == 0) continue;
      MARK made{
          at->m_module, {}, at->m_module->get_port_by_index(random.below(at->m_module->get_num_ports()))};
      for (; at->m_parent && random.percent(60); at = at->m_parent) {
        made.m_chain.insert(made.m_chain.begin(), at->m_instance);
        made.m_module = at->m_parent->m_module;
      }
      EXPECT_NE(table.find_or_create_paths_for_module(made.m_module).add_path(made.m_chain, made.m_port),
                nullptr);
      all.push_back(made);
    }
    const NAIVE_OCCURRENCE* top = random.pick(naive.tops()).get();

    std::set<UIP> expected;
    for (const NAIVE_OCCURRENCE* at : naive.all())
      for (const MARK& each : all) {
        if (at->m_module != each.m_module) continue;
        const NAIVE_OCCURRENCE* end = at;
        for (std::size_t i = 0; i != each.m_chain.size(); ++i)
          end = end->child(each.m_chain[i], i + 1 == each.m_chain.size() ? each.m_port->get_parent()
                                                                         : each.m_chain[i + 1]->get_parent());
        ++marks;
        const NAIVE_OCCURRENCE* above = end->m_parent; // the uip stands in the module that holds the instance
        while (above && above != top)
          above = above->m_parent;
        if (!above) {
          ++outside;
          continue;
        }
        const KEP_UNFOLDED_INST_PORT found =
            end->m_parent->unfolded(end->m_instance->get_inst_port_by_index(each.m_port->get_index()));
        if (!expected.insert({found.m_position, found.m_object}).second) ++repeated;
      }

    KEP_DB_PARENTS_CACHE parents;
    parents.initialize(db.get());
    KEP_DB_REDUNDANCY_CACHE cache(true);
    cache.initialize(db.get(), &parents);
    KEP_UNFOLDED_INST_PORT_USET uips;
    EXPECT_EQ(cache.add_redundant_ports(&uips, top->m_value), expected.size());
    std::set<UIP> found;
    for (const KEP_UNFOLDED_INST_PORT& each : uips.iter())
      found.insert({each.m_position, each.m_object});
    EXPECT_EQ(found, expected);
    ASSERT_FALSE(HasFailure()) << "seed " << seed << "\n" << test_model::describe(*db);
  }
  EXPECT_GT(marks, 10000U);
  EXPECT_GT(outside, 1000U);
  EXPECT_GT(repeated, 100U);
}

TEST_F(Redundancy, StaysBelowTheGivenModule) {
  mark(*db, "TILE", {instance(*db, "TILE", "m")}, port(*db, "MUX", "a"));
  mark(*db, "TILE", {}, port(*db, "TILE", "in"));
  EXPECT_THAT(marked(*db, test_model::unfolded_instance(*db, "g").get_module(DEFAULT)),
              UnorderedElementsAre("g/t/m:a", "g/t:in"));
  EXPECT_THAT(marked(*db, test_model::unfolded_instance(*db, "t").get_module(DEFAULT)),
              UnorderedElementsAre("t/m:a"))
      << "the module's own uips lie outside of it";
  EXPECT_THAT(marked(*db, test_model::unfolded_instance(*db, "t").get_module(KEP_VIEW_TYPE::BLC)), IsEmpty());
  EXPECT_THAT(marked(*db, KEP_UNFOLDED_MODULE()), IsEmpty());
}

TEST_F(Redundancy, BelowAModuleCountsMarksThatBeginAboveIt) {
  mark(*db, "TOP", {instance(*db, "TOP", "t"), instance(*db, "TILE", "m")}, port(*db, "MUX", "a"));
  EXPECT_THAT(marked(*db, test_model::unfolded_instance(*db, "t").get_module(DEFAULT)),
              UnorderedElementsAre("t/m:a"));
}

} // namespace db_cache_test
