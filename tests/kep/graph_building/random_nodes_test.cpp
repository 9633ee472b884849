#include "tests/support/graph_fixture.h"
#include "tests/support/naive_hierarchy.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace random_nodes_test {

/// Nodes under construction beside a map of where they stand.

using test_model::BUILDER_NODE;
using test_model::GRAPH_BUILD;
using test_model::NAIVE_HIERARCHY;

struct COUNTS {
  std::size_t m_plain_nodes = 0, m_twins = 0, m_boundaries = 0, m_misses = 0;
};

class CASE {
public:
  CASE(KEP_DB& db, std::uint64_t seed, COUNTS& counts)
      : m_db(db), m_naive(db), m_random(seed + 4000000), m_counts(counts), m_uips(m_naive.uips()) {}

  void run() {
    const unsigned density = m_random.below(101);
    std::vector<KEP_UNFOLDED_INST_PORT> order = m_uips;
    m_random.shuffle(order);
    GRAPH_BUILD build(m_db, m_random.below(3) * m_uips.size() / 2); // the estimate may be wrong either way
    add_some(build, order, density);
    check(build, "before the sort");
    build.sort();
    check(build, "after the sort");
    check_order(build);
  }

private:
  struct EXPECTED {
    bool m_plain = false, m_hipi = false;
  };
  EXPECTED find(const KEP_UNFOLDED_INST_PORT& uip) const {
    const auto found = m_expected.find({uip.m_position, uip.m_object});
    return found == m_expected.end() ? EXPECTED() : found->second;
  }

  void add_some(GRAPH_BUILD& build, const std::vector<KEP_UNFOLDED_INST_PORT>& order, unsigned density) {
    for (const KEP_UNFOLDED_INST_PORT& each : order) {
      if (!m_random.percent(density)) continue;
      EXPECTED& here = m_expected[{each.m_position, each.m_object}];
      here.m_plain = true;
      build.add(each);
      ++m_counts.m_plain_nodes;
      if (!m_random.percent(20)) continue;
      here.m_hipi = true;
      build.add_hipi(each);
      ++m_counts.m_twins;
    }
    for (const KEP_PORT* each : m_naive.tops()[0]->m_module->iter_ports())
      if (m_random.percent(50)) {
        m_ports.insert(each);
        build.add(each);
        ++m_counts.m_boundaries;
      }
  }

  void check(GRAPH_BUILD& build, const char* when) {
    SCOPED_TRACE(when);
    for (const KEP_UNFOLDED_INST_PORT& each : m_uips) {
      const EXPECTED wanted = find(each);
      const auto [plain, hipi] = build.cache().find_both_routing_nodes(each);
      ASSERT_EQ(plain != nullptr, wanted.m_plain);
      ASSERT_EQ(hipi != nullptr, wanted.m_hipi);
      ASSERT_EQ(build.find(each), plain);
      if (plain) {
        ASSERT_EQ(plain->get_unfolded_inst_port(), each);
        ASSERT_FALSE(plain->is_hipi() || plain->is_boundary());
      } else {
        ++m_counts.m_misses;
      }
      if (hipi) {
        ASSERT_EQ(hipi->get_unfolded_inst_port(), each);
        ASSERT_TRUE(hipi->is_hipi());
      }
    }
    for (const auto& top : m_naive.tops())
      for (const KEP_PORT* each : top->m_module->iter_ports()) {
        const BUILDER_NODE* node = build.find(each);
        ASSERT_EQ(node != nullptr, m_ports.count(each) != 0);
        if (node) {
          ASSERT_EQ(node->get_port(), each);
          ASSERT_TRUE(node->is_boundary());
        }
      }
  }

  using ORDER = std::vector<std::tuple<std::uint64_t, const void*, bool>>;
  static ORDER get_order(GRAPH_BUILD& build) {
    ORDER order;
    for (const BUILDER_NODE* node : build.graph()->iter_nodes(1))
      order.emplace_back(node->get_unfolded_inst_port().m_position, node->get_unfolded_inst_port().m_object,
                         node->is_hipi());
    return order;
  }

  /// Boundary nodes by port, then uips, each twin behind its plain node; allocation does not show.
  void check_order(GRAPH_BUILD& build) {
    GRAPH_BUILD again(m_db);
    for (const KEP_UNFOLDED_INST_PORT& each : m_uips) {
      const EXPECTED wanted = find(each);
      if (wanted.m_hipi) again.add_hipi(each);
      if (wanted.m_plain) again.add(each);
    }
    for (const KEP_PORT* each : m_naive.tops()[0]->m_module->iter_ports())
      if (m_ports.count(each)) again.add(each);
    again.sort();
    const ORDER order = get_order(build);
    EXPECT_EQ(order, get_order(again));
    for (std::size_t i = 1; i < order.size(); ++i)
      EXPECT_LE(!std::get<1>(order[i]), !std::get<1>(order[i - 1])) << "boundary nodes first";
    for (std::size_t i = 0; i != order.size(); ++i)
      if (std::get<2>(order[i])) {
        ASSERT_NE(i, 0U);
        EXPECT_EQ(std::get<1>(order[i - 1]), std::get<1>(order[i]));
        EXPECT_EQ(std::get<0>(order[i - 1]), std::get<0>(order[i]));
      }
  }

  KEP_DB& m_db;
  const NAIVE_HIERARCHY m_naive;
  test_model::RANDOM_SOURCE m_random;
  COUNTS& m_counts;
  const std::vector<KEP_UNFOLDED_INST_PORT> m_uips;
  std::map<std::pair<std::uint64_t, const void*>, EXPECTED> m_expected;
  std::set<const KEP_PORT*> m_ports;
};

TEST(RandomNodes, AreFoundAsInAMapBeforeAndAfterTheSort) {
  COUNTS counts;
  for (const std::uint64_t seed : test_model::SEEDS(0, 800)) {
    const auto db = test_model::make_random_db(seed);
    CASE(*db, seed, counts).run();
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(counts.m_plain_nodes, 5000U);
  EXPECT_GT(counts.m_twins, 1000U);
  EXPECT_GT(counts.m_boundaries, 300U);
  EXPECT_GT(counts.m_misses, 5000U);
}

} // namespace random_nodes_test
