#include "kep/kep_joined_nets.h"
#include "tests/support/cancelled_call.h"
#include "tests/support/model_fixture.h"
#include "tests/support/naive_hierarchy.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <vector>

namespace joined_nets_test {

using test_model::NAIVE_HIERARCHY;
using test_model::NAIVE_OCCURRENCE;
using NETS = std::vector<KEP_UNFOLDED_NET>;
const KEP_VIEW_TYPE_RANK RANK{KEP_VIEW_TYPE::LOGICAL};

/// A port of the hierarchy between two nets, of which either may be none.
struct JOINT {
  KEP_UNFOLDED_NET m_outer, m_inner;
  bool m_leads_down; ///< the rank leads from the outer one to the inner one
};

std::vector<JOINT> list_joints(const NAIVE_HIERARCHY& naive) {
  std::vector<JOINT> joints;
  for (const NAIVE_OCCURRENCE* at : naive.all())
    for (KEP_PORT* port : at->m_module->iter_ports()) {
      const KEP_UNFOLDED_PORT inside = at->m_value.get_unfolded_port_by_index(port->get_index());
      const KEP_UNFOLDED_INST_PORT outside = inside.get_unfolded_inst_port();
      joints.push_back(
          {outside.get_unfolded_net(), inside.get_unfolded_net(),
           outside && test_model::naive_view(at->m_instance->get_module(), RANK) == at->m_module});
    }
  return joints;
}

/// Goes over all joints until nothing is new.
NETS find_naively(const std::vector<JOINT>& joints, const KEP_UNFOLDED_NET& start) {
  std::set<KEP_UNFOLDED_NET> nets{start};
  for (std::size_t before = 0; before != nets.size();) {
    before = nets.size();
    for (const JOINT& joint : joints) {
      if (!joint.m_outer || !joint.m_inner) continue;
      if (nets.count(joint.m_inner) != 0) nets.insert(joint.m_outer);
      if (nets.count(joint.m_outer) != 0 && joint.m_leads_down) nets.insert(joint.m_inner);
    }
  }
  return {nets.begin(), nets.end()};
}

TEST(JoinedNets, AreThoseThatPortsOfTheHierarchyJoin) {
  std::size_t num_joined = 0, num_alone = 0, num_other_views = 0;
  for (const std::uint64_t seed : test_model::SEEDS(0, 400)) {
    test_model::RANDOM_MODEL_LIMITS limits;
    limits.m_max_size = 60;
    const auto db = test_model::make_random_db(seed, limits);
    const std::vector<JOINT> joints = list_joints(NAIVE_HIERARCHY(*db));
    for (const JOINT& joint : joints) {
      if (!joint.m_inner) continue;
      const NETS joined = kep_find_joined_nets({joint.m_inner}, RANK);
      EXPECT_EQ(joined, find_naively(joints, joint.m_inner));
      num_joined += joined.size() > 2;
      num_alone += joined.size() == 1;
      num_other_views += joint.m_outer && !joint.m_leads_down;
    }
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(num_joined, 200U);
  EXPECT_GT(num_alone, 200U);
  EXPECT_GT(num_other_views, 200U);
}

TEST(JoinedNets, AreTheSameWhicheverIsGiven) {
  const auto db = test_model::make_db(R"(
    module THROUGH
      ports >a <b
      net n a b
    module TOP top
      inst s THROUGH
      inst t THROUGH
      net w s.b t.a
      net v t.b
  )");
  const KEP_UNFOLDED_NET middle = test_model::uip(*db, "s:b").get_unfolded_net();
  const NETS all = kep_find_joined_nets({middle}, RANK);
  EXPECT_EQ(all.size(), 4U);
  for (const KEP_UNFOLDED_NET& net : all)
    EXPECT_EQ(kep_find_joined_nets({net, middle}, RANK), all);
  EXPECT_TRUE(test_model::is_cancelled([&] { kep_find_joined_nets(all, RANK); }));
}

TEST(JoinedNets, OfNoNetAreNone) {
  EXPECT_EQ(kep_find_joined_nets({}, RANK), NETS());
  EXPECT_EQ(kep_find_joined_nets({KEP_UNFOLDED_NET()}, RANK), NETS());
}

} // namespace joined_nets_test
