#include "kep/graph_building/kep_routing_graph_folder.h"
#include "tests/support/graph_text.h"
#include "tests/support/random_graph.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace random_routing_graph_test {

/// Finished graphs beside the plain lists of edges from which they were built.

using test_model::GRAPH_BUILD;
using test_model::key;
using test_model::NAIVE_EDGE;
using test_model::NAIVE_NODE;
using test_model::NODE_KEY;
using test_model::RANDOM_GRAPH;

struct COUNTS {
  std::size_t m_nodes = 0, m_hipi = 0, m_boundary = 0, m_real = 0, m_redundant = 0, m_mux_inputs = 0,
              m_no_mux_inputs = 0, m_far_mux_inputs = 0, m_hipi_fanins = 0, m_double_edges = 0,
              m_templates = 0;
};

class CHECK {
public:
  CHECK(const KEP_DB& db, const RANDOM_GRAPH& expected, COUNTS& counts)
      : m_graph(*db.get_routing_template_graph()), m_expected(expected), m_counts(counts) {}

  void run() {
    for (const KEP_ROUTING::NODE& node : m_graph.iter_nodes())
      ASSERT_TRUE(m_order.emplace(key(node), m_order.size()).second);
    ASSERT_EQ(m_order.size(), m_expected.nodes().size());
    for (const NAIVE_NODE& node : m_expected.nodes()) {
      ASSERT_EQ(m_order.count(node.m_key), 1U);
      for (const std::vector<NAIVE_EDGE>* edges : {&node.m_real, &node.m_redundant})
        for (const NAIVE_EDGE& edge : *edges)
          m_fanins[edge.m_to].push_back(node.m_key);
    }
    std::size_t real = 0, redundant = 0;
    for (const KEP_ROUTING::NODE& node : m_graph.iter_nodes()) {
      check_node(node);
      real += node.get_num_real_edges();
      redundant += static_cast<std::size_t>(node.get_num_edges() - node.get_num_real_edges());
    }
    EXPECT_EQ(m_graph.get_num_nodes(), m_order.size());
    EXPECT_EQ(m_graph.get_num_real_edges(), real);
    EXPECT_EQ(m_graph.get_num_redundant_edges(), redundant);
    m_counts.m_templates += m_graph.get_num_templates();
  }

private:
  void check_node(const KEP_ROUTING::NODE& node) {
    const NAIVE_NODE& expected = *m_expected.node(key(node));
    ++m_counts.m_nodes;
    m_counts.m_hipi += node.is_hipi();
    m_counts.m_boundary += node.is_boundary();
    EXPECT_EQ(node.is_boundary(), expected.m_port != nullptr);
    const KEP_ROUTING::NODE found = expected.m_port
                                        ? KEP_ROUTING::NODE(expected.m_port)
                                        : KEP_ROUTING::NODE(expected.m_uip, expected.m_key.m_hipi);
    EXPECT_TRUE(found == node);
    check_fanouts(node.iter_real_fanout(), expected.m_real);
    check_fanouts(node.iter_redundant_fanout(), expected.m_redundant);
    std::vector<NAIVE_EDGE> all = expected.m_real;
    all.insert(all.end(), expected.m_redundant.begin(), expected.m_redundant.end());
    check_fanouts(node.iter_all_fanout(), all);
    EXPECT_EQ(node.get_num_edges(), all.size());
    EXPECT_EQ(node.get_num_real_edges(), expected.m_real.size());
    m_counts.m_real += expected.m_real.size();
    m_counts.m_redundant += expected.m_redundant.size();
    check_fanins(node);
  }

  void check_fanouts(const boost::iterator_range<KEP_ROUTING::EDGE_ITER<KEP_ROUTING::FWD_EDGE>>& range,
                     const std::vector<NAIVE_EDGE>& expected) {
    std::size_t i = 0;
    for (const KEP_ROUTING::FWD_EDGE& edge : range) {
      ASSERT_LT(i, expected.size());
      EXPECT_TRUE(edge.get_fanout());
      EXPECT_EQ(key(edge.get_fanout()), expected[i].m_to);
      EXPECT_EQ(edge.get_fanout().m_graph, &m_graph);
      EXPECT_EQ(edge.get_mux_input(), expected[i].m_mux_input);
      ++(edge.get_mux_input() ? m_counts.m_mux_inputs : m_counts.m_no_mux_inputs);
      m_counts.m_far_mux_inputs +=
          edge.get_mux_input() && edge.get_mux_input().m_position != expected[i].m_to.m_position;
      ++i;
    }
    EXPECT_EQ(i, expected.size());
  }

  /// A hipi fanin first, then in the order of the nodes; one for each edge.
  void check_fanins(const KEP_ROUTING::NODE& node) {
    std::vector<NODE_KEY> expected = m_fanins[key(node)];
    std::sort(expected.begin(), expected.end(), [&](const NODE_KEY& left, const NODE_KEY& right) {
      if (left.m_hipi != right.m_hipi) return left.m_hipi;
      return m_order.at(left) < m_order.at(right);
    });
    std::vector<NODE_KEY> found;
    for (const KEP_ROUTING::REV_EDGE& edge : node.iter_all_fanin())
      found.push_back(key(edge.get_fanin()));
    EXPECT_EQ(found, expected);
    EXPECT_EQ(node.get_num_fanin(), expected.size());
    m_counts.m_double_edges += std::adjacent_find(found.begin(), found.end()) != found.end();
    const bool hipi = !found.empty() && found.front().m_hipi;
    m_counts.m_hipi_fanins += hipi;
    EXPECT_EQ(static_cast<bool>(node.get_hipi_node()), hipi);
    if (hipi) {
      EXPECT_EQ(key(node.get_hipi_node()), found.front());
    }
  }

  const KEP_ROUTING::GRAPH& m_graph;
  const RANDOM_GRAPH& m_expected;
  COUNTS& m_counts;
  std::map<NODE_KEY, std::size_t> m_order;
  std::map<NODE_KEY, std::vector<NODE_KEY>> m_fanins;
};

using EDGES = std::vector<std::pair<NODE_KEY, NODE_KEY>>;

/// By visit_edges(), and by the iterators.
EDGES visit(const KEP_ROUTING::GRAPH& graph, const KEP_ROUTING::NODE_ITER_RANGE& range) {
  EDGES edges;
  graph.visit_edges(range, [&](const KEP_ROUTING::NODE& from, const KEP_ROUTING::NODE& to) {
    edges.emplace_back(key(from), key(to));
  });
  return edges;
}
EDGES iterate(const KEP_ROUTING::NODE_ITER_RANGE& range) {
  EDGES edges;
  for (const KEP_ROUTING::NODE& node : range)
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout())
      edges.emplace_back(key(node), key(edge.get_fanout()));
  return edges;
}

TEST(RandomGraphs, AreReadBackEdgeByEdge) {
  COUNTS counts;
  for (const std::uint64_t seed : test_model::SEEDS(0, 1200)) {
    const auto db = test_model::make_random_db(seed, test_model::vary_model_limits(seed));
    const RANDOM_GRAPH graph(*db, seed, test_model::vary_graph_limits(seed));
    graph.publish(*db, seed);
    CHECK(*db, graph, counts).run();
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(counts.m_nodes, 10000U);
  EXPECT_GT(counts.m_hipi, 1000U);
  EXPECT_GT(counts.m_boundary, 500U);
  EXPECT_GT(counts.m_real, 10000U);
  EXPECT_GT(counts.m_redundant, 3000U);
  EXPECT_GT(counts.m_mux_inputs, 10000U);
  EXPECT_GT(counts.m_no_mux_inputs, 10000U);
  EXPECT_GT(counts.m_far_mux_inputs, 3000U);
  EXPECT_GT(counts.m_hipi_fanins, 1000U);
  EXPECT_GT(counts.m_double_edges, 300U);
  EXPECT_GT(counts.m_templates, 1000U);
}

TEST(RandomGraphs, ShowVisitorsOfAnyRangeTheEdgesThatIteratorsGive) {
  std::size_t edges = 0, splits = 0;
  std::uint64_t templates = 0;
  for (const std::uint64_t seed : test_model::SEEDS(0, 203)) {
    test_model::RANDOM_MODEL_LIMITS limits;
    if (seed >= 200) limits.m_max_size = 4000; // so many shapes that their numbers take two bytes
    const auto db = test_model::make_random_db(seed, limits);
    const RANDOM_GRAPH graph(*db, seed, {});
    graph.publish(*db, seed);
    const KEP_ROUTING::GRAPH& finished = *db->get_routing_template_graph();
    templates = std::max(templates, finished.get_num_templates());
    std::vector<KEP_ROUTING::NODE_ITER_RANGE> ranges{finished.iter_nodes()};
    while (!ranges.empty()) {
      KEP_ROUTING::NODE_ITER_RANGE range = ranges.back();
      ranges.pop_back();
      const EDGES expected = iterate(range);
      EXPECT_EQ(visit(finished, range), expected);
      edges += expected.size();
      if (!range.is_divisible()) continue;
      ranges.emplace_back(range, tbb::split());
      ranges.push_back(range);
      ++splits;
    }
  }
  EXPECT_GT(edges, 10000U);
  EXPECT_GT(splits, 1000U);
  EXPECT_GT(templates, 300U);
}

TEST(RandomGraphs, AreTheSameHoweverManyFaninsAreGatheredAtATime) {
  std::size_t lines = 0;
  for (const std::uint64_t seed : test_model::SEEDS(0, 104)) {
    test_model::RANDOM_MODEL_LIMITS limits;
    const bool is_large = seed >= 100; // so many places that blocks of them are passed over
    if (is_large) limits.m_max_size = 4000;
    const auto db = test_model::make_random_db(seed, limits);
    const RANDOM_GRAPH graph(*db, seed, {});
    std::string expected;
    for (const std::uint32_t fanins_at_a_time : {0, is_large ? 5 : 1, 3, 20}) {
      GRAPH_BUILD build(*db);
      graph.fill(build, seed);
      KEP_TEST_ACCESS::publish(*db->get_routing_template_graph(),
                               KEP_ROUTING_GRAPH_FOLDER(*build.graph()).fold(fanins_at_a_time));
      if (fanins_at_a_time == 0)
        expected = test_model::whole_graph(*db);
      else
        EXPECT_EQ(test_model::whole_graph(*db), expected) << fanins_at_a_time;
    }
    lines += static_cast<std::size_t>(std::count(expected.begin(), expected.end(), '\n'));
  }
  EXPECT_GT(lines, 2000U);
}

TEST(RandomGraphs, DoNotShowTheOrderOfAllocationTheNumberOfThreadsOrTheDatabase) {
  std::size_t lines = 0;
  for (const std::uint64_t seed : test_model::SEEDS(0, 60)) {
    test_model::RANDOM_MODEL_LIMITS limits;
    limits.m_max_size = 400;
    test_model::RANDOM_GRAPH_LIMITS graph_limits;
    const auto db = test_model::make_random_db(seed, limits);
    const RANDOM_GRAPH graph(*db, seed, graph_limits);
    graph.publish(*db, seed);
    const std::string expected = test_model::whole_graph(*db);
    const std::uint64_t templates = db->get_routing_template_graph()->get_num_templates();
    lines += static_cast<std::size_t>(std::count(expected.begin(), expected.end(), '\n'));
    graph.publish(*db, seed + 77);
    EXPECT_EQ(test_model::whole_graph(*db), expected);
    EXPECT_EQ(db->get_routing_template_graph()->get_num_templates(), templates);
    for (const int threads : {2, 8}) {
      const tbb::global_control more(tbb::global_control::max_allowed_parallelism,
                                     static_cast<std::size_t>(threads));
      const auto same = test_model::make_random_db(seed, limits); // other addresses
      const RANDOM_GRAPH again(*same, seed, graph_limits);
      GRAPH_BUILD build(*same);
      again.allocate(build, seed + static_cast<std::uint64_t>(threads));
      tbb::task_arena arena(threads);
      arena.execute([&] {
        tbb::parallel_for(std::size_t{0}, again.nodes().size(),
                          [&](std::size_t i) { again.set_fanout(build, again.nodes()[i]); });
      });
      EXPECT_EQ(static_cast<std::uint64_t>(build.edges().get_num_templates()), templates);
      build.publish();
      EXPECT_EQ(test_model::whole_graph(*same), expected);
      EXPECT_EQ(same->get_routing_template_graph()->get_num_templates(), templates);
    }
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(lines, 10000U);
}

} // namespace random_routing_graph_test
