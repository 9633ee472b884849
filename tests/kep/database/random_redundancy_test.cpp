#include "kep/kep_db_cache.h"
#include "tests/support/naive_hierarchy.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>
#include <vector>

namespace random_redundancy_test {

/// What redundancy marks beside a search of the whole hierarchy for each mark.

using test_model::NAIVE_HIERARCHY;
using test_model::NAIVE_OCCURRENCE;

struct MARK {
  KEP_MODULE* m_module;
  std::vector<KEP_INSTANCE*> m_chain;
  const KEP_PORT* m_port;
};

/// Marks random ports, seen from random modules above them.
std::vector<MARK> add_marks(KEP_DB& db, const NAIVE_HIERARCHY& naive, test_model::RANDOM_SOURCE& random) {
  KEP_INDEXED_RELATIVE_PATHS table = db.find_or_create_relative_paths("redundancy");
  std::vector<MARK> marks;
  for (unsigned i = random.below(8); i; --i) {
    const NAIVE_OCCURRENCE* at = random.pick(naive.all());
    if (at->m_module->get_num_ports() == 0) continue;
    MARK made{at->m_module, {}, at->m_module->get_port_by_index(random.below(at->m_module->get_num_ports()))};
    for (; at->m_parent && random.percent(60); at = at->m_parent) {
      made.m_chain.insert(made.m_chain.begin(), at->m_instance);
      made.m_module = at->m_parent->m_module;
    }
    EXPECT_NE(table.find_or_create_paths_for_module(made.m_module).add_path(made.m_chain, made.m_port),
              nullptr);
    marks.push_back(made);
  }
  return marks;
}

using UIPS = std::set<std::pair<std::uint64_t, const KEP_INST_PORT*>>;

struct COUNTS {
  std::size_t m_marks = 0, m_outside = 0, m_repeated = 0;
};

/// The module of the mark's port, below that occurrence.
const NAIVE_OCCURRENCE* go_down(const NAIVE_OCCURRENCE* at, const MARK& mark) {
  for (std::size_t i = 0; i != mark.m_chain.size(); ++i)
    at = at->child(mark.m_chain[i], i + 1 == mark.m_chain.size() ? mark.m_port->get_parent()
                                                                 : mark.m_chain[i + 1]->get_parent());
  return at;
}

UIPS find_marked(const NAIVE_HIERARCHY& naive, const std::vector<MARK>& marks, const NAIVE_OCCURRENCE* top,
                 COUNTS& counts) {
  UIPS uips;
  for (const NAIVE_OCCURRENCE* at : naive.all())
    for (const MARK& mark : marks) {
      if (at->m_module != mark.m_module) continue;
      const NAIVE_OCCURRENCE* end = go_down(at, mark);
      ++counts.m_marks;
      const NAIVE_OCCURRENCE* above = end->m_parent; // the uip stands in the module that holds the instance
      while (above && above != top)
        above = above->m_parent;
      if (!above) {
        ++counts.m_outside;
        continue;
      }
      const KEP_UNFOLDED_INST_PORT found =
          end->m_parent->unfolded(end->m_instance->get_inst_port_by_index(mark.m_port->get_index()));
      if (!uips.insert({found.m_position, found.m_object}).second) ++counts.m_repeated;
    }
  return uips;
}

TEST(RandomRedundancy, IsWhatASearchOfTheWholeHierarchyFinds) {
  COUNTS counts;
  for (const std::uint64_t seed : test_model::SEEDS(0, 1500)) {
    const auto db = test_model::make_random_db(seed);
    test_model::RANDOM_SOURCE random(seed + 1000000);
    const NAIVE_HIERARCHY naive(*db);
    const std::vector<MARK> marks = add_marks(*db, naive, random);
    const NAIVE_OCCURRENCE* top = random.pick(naive.tops()).get();
    const UIPS expected = find_marked(naive, marks, top, counts);

    KEP_DB_PARENTS_CACHE parents;
    parents.initialize(db.get());
    KEP_DB_REDUNDANCY_CACHE cache(true);
    cache.initialize(db.get(), &parents);
    KEP_UNFOLDED_INST_PORT_USET uips;
    EXPECT_EQ(cache.add_redundant_ports(&uips, top->m_value), expected.size());
    UIPS found;
    for (const KEP_UNFOLDED_INST_PORT& each : uips.iter())
      found.insert({each.m_position, each.m_object});
    EXPECT_EQ(found, expected);
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(counts.m_marks, 10000U);
  EXPECT_GT(counts.m_outside, 1000U);
  EXPECT_GT(counts.m_repeated, 100U);
}

} // namespace random_redundancy_test
