#include "kep/kep_numbered_graph.h"
#include "tests/support/random_graph.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <set>

namespace numbers_below_test {

using KEP_ROUTING::GRAPH;
using KEP_ROUTING::NODE;
using test_model::NAIVE_OCCURRENCE;

/// Of the nodes inside of an occurrence and of those below.
void add_numbers(const GRAPH& graph, const NAIVE_OCCURRENCE& at, std::set<std::uint32_t>& numbers) {
  for (const KEP_UNFOLDED_INSTANCE& instance : at.m_value.iter_instances())
    for (const KEP_UNFOLDED_INST_PORT& uip : instance.iter_inst_ports())
      for (const bool is_hipi : {false, true})
        if (const NODE node{uip, is_hipi}) numbers.insert(graph.get_index(node));
  for (const auto& child : at.m_children)
    add_numbers(graph, *child, numbers);
}

TEST(NumbersBelow, AreThoseOfTheNodesInsideOfAModuleAtAnyDepth) {
  std::size_t num_deep = 0, num_empty = 0;
  for (const std::uint64_t seed : test_model::SEEDS(0, 150)) {
    const auto db = test_model::make_random_db(seed, test_model::vary_model_limits(seed));
    const test_model::NAIVE_HIERARCHY naive(*db);
    const GRAPH& graph = *db->get_routing_template_graph();
    EXPECT_EQ(graph.find_numbers_below(naive.tops()[0]->m_value), std::pair(0U, 0U)) << "before a build";
    test_model::RANDOM_GRAPH(*db, seed, test_model::vary_graph_limits(seed)).publish(*db, seed);
    for (const NAIVE_OCCURRENCE* at : naive.all()) {
      std::set<std::uint32_t> expected, found;
      add_numbers(graph, *at, expected);
      const auto [first, end] = graph.find_numbers_below(at->m_value);
      for (std::uint32_t number = first; number != end; ++number)
        found.insert(number);
      EXPECT_EQ(found, expected);
      num_deep += expected.size() > 10 && !at->m_children.empty();
      num_empty += expected.empty() && first == 0 && end == 0;
    }
    EXPECT_EQ(graph.find_numbers_below({}), std::pair(0U, 0U));
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(num_deep, 100U);
  EXPECT_GT(num_empty, 500U);
}

} // namespace numbers_below_test
