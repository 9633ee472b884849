#include "kep/kep_paths.h"
#include "tests/support/boost_graph_answers.h"
#include "tests/support/cancelled_call.h"
#include "tests/support/random_graph.h"
#include "tests/support/seeds.h"
#include "tests/support/two_tiles.h"

#include <boost/graph/filtered_graph.hpp>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace paths_test {

using KEP_ROUTING::find_shortest_paths;
using KEP_ROUTING::NUMBERED_GRAPH;
using KEP_ROUTING::PATH_DIRECTION;
using KEP_ROUTING::PATH_RULES;
using KEP_ROUTING::REACH;
using KEP_ROUTING::SHORTEST_PATHS;
using test_model::FAR;
using test_model::FLAT_COPY;
using NODES = std::vector<std::uint32_t>;

/// The fanouts that a path takes, one behind the other.
NODES get_nodes(const SHORTEST_PATHS& paths) {
  NODES nodes;
  if (paths) nodes.push_back(paths.m_start);
  for (const auto& edge : paths.m_edges)
    nodes.push_back(edge.get_fanout());
  return nodes;
}

/// The answers of Boost.Graph on a flat copy.
class FLAT_PATHS {
public:
  FLAT_PATHS(const KEP_ROUTING::GRAPH& graph, const PATH_RULES& rules)
      : m_flat(test_model::make_flat_copy(graph)), m_rules(rules) {}

  /// By node; FAR where none leads.
  NODES find_steps(const NODES& from, PATH_DIRECTION direction) const {
    const auto is_wanted = [this](std::size_t node) { return !is_avoided(node); };
    const auto is_allowed = [this](const FLAT_COPY::edge_descriptor& edge) {
      return !m_rules.m_only_real || !m_flat[edge].m_is_redundant;
    };
    const boost::filtered_graph graph(m_flat, std::function<bool(FLAT_COPY::edge_descriptor)>(is_allowed),
                                      std::function<bool(std::size_t)>(is_wanted));
    return direction == PATH_DIRECTION::TO_FANOUTS ? search(graph, from)
                                                   : search(boost::make_reverse_graph(graph), from);
  }

  /// Each path of its own, in the order of edges: how many there are, and the first one.
  std::uint64_t count_each(const NODES& from, const NODES& to_goal, NODES& first) const {
    std::uint32_t least = FAR;
    for (const std::uint32_t node : from)
      least = std::min(least, to_goal[node]);
    std::uint64_t count = 0;
    NODES path;
    NODES starts = from;
    std::sort(starts.begin(), starts.end());
    starts.erase(std::unique(starts.begin(), starts.end()), starts.end());
    for (const std::uint32_t node : starts)
      if (least != FAR && to_goal[node] == least) walk(node, to_goal, path, first, count);
    return count;
  }

private:
  bool is_avoided(std::size_t node) const {
    return std::find(m_rules.m_avoid.begin(), m_rules.m_avoid.end(), node) != m_rules.m_avoid.end();
  }
  template <class MAP>
  NODES search(const MAP& graph, const NODES& from) const {
    NODES steps(num_vertices(m_flat), FAR);
    NODES starts;
    for (const std::uint32_t node : from)
      if (!is_avoided(node)) {
        steps[node] = 0;
        starts.push_back(node);
      }
    boost::queue<std::size_t> queue;
    std::vector<boost::default_color_type> colors(steps.size());
    const auto numbers = get(boost::vertex_index, m_flat);
    breadth_first_search(
        graph, starts.begin(), starts.end(), queue,
        boost::make_bfs_visitor(boost::record_distances(
            boost::make_iterator_property_map(steps.begin(), numbers), boost::on_tree_edge())),
        boost::make_iterator_property_map(colors.begin(), numbers));
    return steps;
  }
  void walk(std::uint32_t node, const NODES& to_goal, NODES& path, NODES& first, std::uint64_t& count) const {
    path.push_back(node);
    if (to_goal[node] == 0 && ++count == 1) first = path;
    for (auto [edge, end] = out_edges(node, m_flat); to_goal[node] != 0 && edge != end; ++edge) {
      const auto next = static_cast<std::uint32_t>(target(*edge, m_flat));
      if (m_rules.m_only_real && m_flat[*edge].m_is_redundant) continue;
      if (to_goal[next] == to_goal[node] - 1) walk(next, to_goal, path, first, count);
    }
    path.pop_back();
  }

  FLAT_COPY m_flat;
  PATH_RULES m_rules;
};

struct COUNTS {
  std::size_t m_long = 0, m_many = 0, m_none = 0, m_too_far = 0, m_avoided = 0, m_far_reached = 0;
};

/// All nodes of all distances, as one list of steps.
NODES get_all_steps(const NUMBERED_GRAPH& graph, const NODES& from, PATH_DIRECTION direction,
                    const PATH_RULES& rules) {
  NODES steps(graph.get_num_nodes(), FAR);
  REACH reach(graph, from, direction, rules);
  std::size_t num_reached = 0;
  do {
    EXPECT_TRUE(std::is_sorted(reach.get_nodes().begin(), reach.get_nodes().end()));
    for (const std::uint32_t node : reach.get_nodes()) {
      EXPECT_EQ(steps[node], FAR);
      EXPECT_TRUE(reach.has_reached(node));
      steps[node] = reach.get_steps();
    }
    num_reached += reach.get_nodes().size();
    EXPECT_EQ(reach.get_num_reached(), num_reached);
  } while (reach.step());
  EXPECT_FALSE(reach.step());
  return steps;
}

void check(const NUMBERED_GRAPH& graph, std::uint64_t seed, COUNTS& counts) {
  test_model::RANDOM_SOURCE random(seed + 9000);
  const auto pick = [&](unsigned most) {
    NODES nodes;
    for (unsigned i = random.below(most) + 1; i != 0; --i)
      nodes.push_back(random.below(graph.get_num_nodes()));
    return nodes;
  };
  const NODES from = pick(2);
  const NODES to = pick(3);
  const PATH_RULES rules{seed % 3 == 0 ? pick(8) : NODES(), seed % 4 == 1};
  const FLAT_PATHS flat(graph.get_graph(), rules);
  const NODES steps = flat.find_steps(from, PATH_DIRECTION::TO_FANOUTS);
  const NODES to_goal = flat.find_steps(to, PATH_DIRECTION::TO_FANINS);
  EXPECT_EQ(get_all_steps(graph, from, PATH_DIRECTION::TO_FANOUTS, rules), steps);
  EXPECT_EQ(get_all_steps(graph, to, PATH_DIRECTION::TO_FANINS, rules), to_goal);

  NODES first;
  const std::uint64_t count = flat.count_each(from, to_goal, first);
  const SHORTEST_PATHS paths = find_shortest_paths(graph, from, to, rules);
  EXPECT_EQ(paths.m_num_paths, count);
  EXPECT_EQ(get_nodes(paths), first);
  for (const auto& edge : paths.m_edges)
    EXPECT_FALSE(rules.m_only_real && edge.is_redundant());
  if (first.size() > 1) {
    const auto length = static_cast<std::uint32_t>(first.size() - 1);
    EXPECT_EQ(find_shortest_paths(graph, from, to, rules, length).m_num_paths, count);
    EXPECT_FALSE(find_shortest_paths(graph, from, to, rules, length - 1));
    ++counts.m_too_far;
  }
  counts.m_long += first.size() > 3;
  counts.m_many += count > 2;
  counts.m_none += count == 0;
  counts.m_avoided += !rules.m_avoid.empty() && count != 0;
  counts.m_far_reached += *std::max_element(steps.begin(), steps.end(), [](auto left, auto right) {
    return left + 1 < right + 1; // FAR is the least
  }) > 3;
}

TEST(Paths, AreThoseOfBoostGraphOnAFlatCopyAndAsManyAsCanBeWalked) {
  COUNTS counts;
  for (const std::uint64_t seed : test_model::SEEDS(0, 600)) {
    const auto db = test_model::make_random_db(seed, test_model::vary_model_limits(seed));
    test_model::RANDOM_GRAPH(*db, seed, test_model::vary_graph_limits(seed)).publish(*db, seed);
    const NUMBERED_GRAPH graph(*db->get_routing_template_graph());
    if (graph.get_num_nodes() == 0) continue;
    check(graph, seed, counts);
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(counts.m_long, 25U);
  EXPECT_GT(counts.m_many, 30U);
  EXPECT_GT(counts.m_none, 50U);
  EXPECT_GT(counts.m_too_far, 50U);
  EXPECT_GT(counts.m_avoided, 30U);
  EXPECT_GT(counts.m_far_reached, 50U);
}

/// A chain of muxes, each with two edges to the next one, of which the second may be redundant.
class CHAIN {
public:
  explicit CHAIN(unsigned length, bool has_redundant = false) : m_db(test_model::make_db(get_text(length))) {
    test_model::GRAPH_BUILD build(*m_db);
    for (unsigned i = 0; i != length; ++i)
      build.add(fmt::format("m{}:z", i).c_str());
    build.sort();
    const auto find = [&](unsigned i) { return build.find(fmt::format("m{}:z", i).c_str()); };
    for (unsigned i = 0; i + 1 != length; ++i) {
      const auto a = test_model::uip(*m_db, fmt::format("m{}:a", i + 1).c_str());
      const auto b = test_model::uip(*m_db, fmt::format("m{}:b", i + 1).c_str());
      if (has_redundant)
        build.set(find(i), {{find(i + 1), a}}, {{find(i + 1), b}});
      else
        build.set(find(i), {{find(i + 1), a}, {find(i + 1), b}}, {});
    }
    build.publish();
  }
  NUMBERED_GRAPH get_graph() const { return NUMBERED_GRAPH(*m_db->get_routing_template_graph()); }
  SHORTEST_PATHS find(std::uint32_t from, std::uint32_t to, const PATH_RULES& rules = {}) const {
    return find_shortest_paths(get_graph(), {from}, {to}, rules);
  }

private:
  static std::string get_text(unsigned length) {
    std::string text = "module MUX\n ports >a >b <z\nmodule TOP top type=1\n";
    for (unsigned i = 0; i != length; ++i)
      text += fmt::format(" inst m{} MUX\n", i);
    return text;
  }
  std::unique_ptr<KEP_DB> m_db;
};

TEST(Paths, AreCountedUpToTheGreatestNumber) {
  const CHAIN chain(70);
  EXPECT_EQ(chain.find(0, 63).m_num_paths, std::uint64_t{1} << 63);
  EXPECT_EQ(chain.find(0, 64).m_num_paths, SHORTEST_PATHS::MANY);
  EXPECT_EQ(chain.find(0, 69).m_num_paths, SHORTEST_PATHS::MANY);
  EXPECT_EQ(chain.find(0, 69).m_edges.size(), 69U);
}

TEST(Paths, OfSeveralStartsAreAllCounted) {
  const CHAIN chain(4);
  const SHORTEST_PATHS both = find_shortest_paths(chain.get_graph(), {2, 0, 2}, {3, 1});
  EXPECT_EQ(both.m_num_paths, 4U);
  EXPECT_EQ(both.m_start, 0U);
}

TEST(Paths, GoByRealEdgesAloneIfThatIsAsked) {
  const CHAIN chain(3, true);
  EXPECT_EQ(chain.find(0, 2).m_num_paths, 4U);
  EXPECT_EQ(chain.find(0, 2, {{}, true}).m_num_paths, 1U);
}

TEST(Paths, FromANodeToItselfHaveNoStep) {
  const SHORTEST_PATHS paths = CHAIN(2).find(0, 0);
  EXPECT_EQ(paths.m_num_paths, 1U);
  EXPECT_EQ(paths.m_start, 0U);
  EXPECT_TRUE(paths.m_edges.empty());
}

TEST(Paths, DontBeginAtANodeToAvoidNorWhereThereIsNone) {
  const CHAIN chain(3);
  EXPECT_FALSE(chain.find(0, 2, {{0}, false}));
  EXPECT_FALSE(chain.find(0, 2, {{2}, false}));
  EXPECT_FALSE(find_shortest_paths(chain.get_graph(), {}, {2}));
  EXPECT_FALSE(find_shortest_paths(chain.get_graph(), {0}, {}));
  EXPECT_EQ(chain.find(2, 0).m_start, NUMBERED_GRAPH::NONE);
}

TEST(Paths, EndWhenTheWorkIsCancelled) {
  const CHAIN chain(5);
  EXPECT_TRUE(test_model::is_cancelled([&] { chain.find(0, 4); }));
  REACH reach(chain.get_graph(), {0}, PATH_DIRECTION::TO_FANOUTS);
  EXPECT_TRUE(test_model::is_cancelled([&] { reach.step(); }));
}

} // namespace paths_test
