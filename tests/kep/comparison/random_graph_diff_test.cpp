// The difference of two graphs against the difference of their texts, on random graphs.

#include "tests/kep/comparison/diff_text.h"
#include "tests/support/random_graph.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

namespace random_graph_diff_test {

using test_model::expect_naive_difference;
using test_model::GRAPH_BUILD;
using test_model::NAIVE_EDGE;
using test_model::NAIVE_NODE;
using test_model::RANDOM_GRAPH;
using test_model::RANDOM_MODEL;
using test_model::RANDOM_SOURCE;
using test_model::SEEDS;
using test_model::vary_graph_limits;
using test_model::vary_model_limits;

std::unique_ptr<KEP_DB> make_db(std::uint64_t seed) {
  return RANDOM_MODEL(seed, vary_model_limits(seed)).freeze();
}

/// The model of the seed with its modules in another order.
std::unique_ptr<KEP_DB> make_reordered_db(std::uint64_t seed) {
  RANDOM_MODEL model(seed, vary_model_limits(seed));
  model.freeze();
  return model.freeze();
}

void publish(KEP_DB& db, std::uint64_t seed, std::uint64_t order_seed) {
  RANDOM_GRAPH(db, seed, vary_graph_limits(seed)).publish(db, order_seed);
}

/// Some edges less, some twice, some of the other class, some in another order.
void publish_changed(KEP_DB& db, std::uint64_t seed) {
  RANDOM_SOURCE random(seed + 77);
  const RANDOM_GRAPH graph(db, seed, vary_graph_limits(seed));
  GRAPH_BUILD build(db, graph.nodes().size());
  graph.allocate(build, seed + 1);
  for (const NAIVE_NODE& node : graph.nodes()) {
    NAIVE_NODE changed = node;
    if (!changed.m_real.empty() && !node.m_key.m_hipi && random.percent(8)) {
      const NAIVE_EDGE edge = random.pick(changed.m_real);
      switch (random.below(4)) {
      case 0:
        changed.m_real.pop_back();
        break;
      case 1:
        changed.m_real.push_back(edge);
        break;
      case 2:
        changed.m_redundant.push_back(changed.m_real.back());
        changed.m_real.pop_back();
        break;
      default:
        random.shuffle(changed.m_real);
      }
    }
    graph.set_fanout(build, changed);
  }
  build.publish();
}

TEST(RandomGraphDiff, IsThatOfTheTextsOfBothGraphs) {
  std::size_t num_alike = 0;
  std::size_t num_differ = 0;
  const auto compare = [&](const KEP_DB& first, const KEP_DB& second) {
    ++(expect_naive_difference(first, second) == 0 ? num_alike : num_differ);
  };
  for (const std::uint64_t seed : SEEDS(1, 120)) {
    const std::unique_ptr<KEP_DB> first = make_db(seed);
    publish(*first, seed, seed);
    const std::unique_ptr<KEP_DB> second = make_db(seed);
    publish_changed(*second, seed);
    compare(*first, *second);
    publish(*second, seed, seed + 1);
    EXPECT_EQ(expect_naive_difference(*first, *second), 0U);
    publish(*second, seed + 1, seed);
    compare(*first, *second);
    const std::unique_ptr<KEP_DB> reordered = make_reordered_db(seed);
    publish(*reordered, seed, seed);
    compare(*first, *reordered);
    const std::unique_ptr<KEP_DB> other = make_db(seed + 1);
    publish(*other, seed, seed);
    compare(*first, *other);
    compare(*other, *first);
  }
  EXPECT_GE(num_alike, 20U);
  EXPECT_GE(num_differ, 300U);
}

TEST(RandomGraphDiff, TakesAGraphThatWasNotBuiltForOneWithoutNodes) {
  for (const std::uint64_t seed : SEEDS(1, 10)) {
    const std::unique_ptr<KEP_DB> built = make_db(seed);
    publish(*built, seed, seed);
    const std::unique_ptr<KEP_DB> empty = make_db(seed + 1);
    EXPECT_EQ(expect_naive_difference(*built, *empty),
              test_model::nodes_of(*built).size() + test_model::edges_of(*built).size());
    expect_naive_difference(*empty, *built);
    EXPECT_EQ(expect_naive_difference(*empty, *empty), 0U);
  }
}

} // namespace random_graph_diff_test
