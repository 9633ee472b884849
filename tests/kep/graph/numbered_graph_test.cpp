#include "kep/kep_numbered_graph.h"
#include "tests/support/random_graph.h"
#include "tests/support/seeds.h"
#include "tests/support/two_tiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

namespace numbered_graph_test {

using KEP_ROUTING::GRAPH;
using KEP_ROUTING::NODE;
using KEP_ROUTING::NUMBERED_FWD_EDGE;
using KEP_ROUTING::NUMBERED_GRAPH;
using KEP_ROUTING::NUMBERED_REV_EDGE;
using test_model::GRAPH_BUILD;
using test_model::RANDOM_GRAPH;
using testing::ElementsAre;

/// An edge out of a node, whoever tells of it.
struct FANOUT {
  std::uint32_t m_fanout;
  bool m_is_redundant;
  KEP_UNFOLDED_INST_PORT m_mux_input;
  bool operator==(const FANOUT&) const = default;
};
using FANOUTS = std::vector<FANOUT>;

FANOUT read(const NUMBERED_FWD_EDGE& edge) {
  return {edge.get_fanout(), edge.is_redundant(), edge.get_mux_input()};
}
template <class RANGE>
FANOUTS read(const RANGE& range) {
  FANOUTS found;
  for (const NUMBERED_FWD_EDGE& edge : range)
    found.push_back(read(edge));
  return found;
}
std::vector<std::uint32_t> read_fanins(const NUMBERED_GRAPH& graph, std::uint32_t node) {
  std::vector<std::uint32_t> found;
  for (const NUMBERED_REV_EDGE& edge : graph.iter_all_fanin(node))
    found.push_back(edge.get_fanin());
  return found;
}

/// What the nodes of a graph tell, by numbers.
struct EXPECTED {
  FANOUTS m_real, m_redundant, m_all;
  std::vector<std::uint32_t> m_fanins;

  explicit EXPECTED(const NODE& node) {
    const GRAPH& graph = *node.m_graph;
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_real_fanout())
      m_real.push_back({graph.get_index(edge.get_fanout()), false, edge.get_mux_input()});
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_redundant_fanout())
      m_redundant.push_back({graph.get_index(edge.get_fanout()), true, edge.get_mux_input()});
    m_all = m_real;
    m_all.insert(m_all.end(), m_redundant.begin(), m_redundant.end());
    for (const KEP_ROUTING::REV_EDGE& edge : node.iter_all_fanin())
      m_fanins.push_back(graph.get_index(edge.get_fanin()));
  }
};

struct COUNTS {
  std::size_t m_nodes = 0, m_edges = 0, m_redundant = 0, m_mux_inputs = 0, m_doubled = 0;
};

class NUMBERED_CHECK {
public:
  NUMBERED_CHECK(const GRAPH& graph, COUNTS& counts) : m_graph(graph), m_numbers(graph), m_counts(counts) {}

  void run() {
    std::uint32_t number = 0;
    for (const NODE& node : m_graph.iter_nodes()) {
      EXPECT_EQ(m_graph.get_index(node), number);
      EXPECT_EQ(m_graph.get_node(number), node);
      check_ranges(number, EXPECTED(node));
      check_fanins(number, EXPECTED(node));
      ++number;
    }
    EXPECT_EQ(m_numbers.get_num_nodes(), number);
    m_counts.m_nodes += number;
    check_visit(0, number);
    check_visit(number / 3, number - number / 4);
    check_visit(number / 2, number / 2);
  }

private:
  void check_ranges(std::uint32_t node, const EXPECTED& expected) {
    EXPECT_EQ(read(m_numbers.iter_real_fanout(node)), expected.m_real);
    EXPECT_EQ(read(m_numbers.iter_redundant_fanout(node)), expected.m_redundant);
    EXPECT_EQ(read(m_numbers.iter_all_fanout(node)), expected.m_all);
    EXPECT_EQ(read_fanins(m_numbers, node), expected.m_fanins);
    EXPECT_EQ(m_numbers.get_num_real_edges(node), expected.m_real.size());
    EXPECT_EQ(m_numbers.get_num_edges(node), expected.m_all.size());
    EXPECT_EQ(m_numbers.get_num_fanin(node), expected.m_fanins.size());
    m_counts.m_edges += expected.m_all.size();
    m_counts.m_redundant += expected.m_redundant.size();
    for (const FANOUT& each : expected.m_all)
      m_counts.m_mux_inputs += static_cast<bool>(each.m_mux_input);
  }

  /// All nodes of a range, and all edges out of them, as each node tells them.
  void check_visit(std::uint32_t first, std::uint32_t end) {
    std::uint32_t next = first;
    m_numbers.visit_nodes(first, end, [&](std::uint32_t node, unsigned num_real, unsigned num_edges) {
      EXPECT_EQ(node, next++);
      EXPECT_EQ(num_real, m_numbers.get_num_real_edges(node));
      EXPECT_EQ(num_edges, m_numbers.get_num_edges(node));
    });
    EXPECT_EQ(next, end);
    std::vector<FANOUTS> found(m_numbers.get_num_nodes());
    std::uint32_t last = first;
    m_numbers.visit_edges(first, end, [&](std::uint32_t from, const NUMBERED_FWD_EDGE& edge) {
      EXPECT_LE(last, from);
      last = from;
      found[from].push_back(read(edge));
    });
    for (std::uint32_t node = 0; node != m_numbers.get_num_nodes(); ++node)
      EXPECT_EQ(found[node], node >= first && node < end ? read(m_numbers.iter_all_fanout(node)) : FANOUTS());
  }

  /// The k-th edge from a node is the k-th of that node's that lead here.
  void check_fanins(std::uint32_t node, const EXPECTED& expected) {
    std::size_t at = 0, k = 0;
    for (const NUMBERED_REV_EDGE& edge : m_numbers.iter_all_fanin(node)) {
      k = at != 0 && expected.m_fanins[at - 1] == edge.get_fanin() ? k + 1 : 0;
      m_counts.m_doubled += k != 0;
      FANOUTS here;
      for (const FANOUT& each : EXPECTED(m_graph.get_node(edge.get_fanin())).m_all)
        if (each.m_fanout == node) here.push_back(each);
      ASSERT_LT(k, here.size());
      EXPECT_EQ(read(edge.find_fwd_edge()), here[k]);
      ++at;
    }
  }

  const GRAPH& m_graph;
  NUMBERED_GRAPH m_numbers;
  COUNTS& m_counts;
};

TEST(NumberedGraphs, TellByNumbersWhatNodesTell) {
  COUNTS counts;
  for (const std::uint64_t seed : test_model::SEEDS(0, 150)) {
    const auto db = test_model::make_random_db(seed, test_model::vary_model_limits(seed));
    RANDOM_GRAPH(*db, seed, test_model::vary_graph_limits(seed)).publish(*db, seed);
    NUMBERED_CHECK(*db->get_routing_template_graph(), counts).run();
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(counts.m_nodes, 2000U);
  EXPECT_GT(counts.m_edges, 2000U);
  EXPECT_GT(counts.m_redundant, 300U);
  EXPECT_GT(counts.m_mux_inputs, 1000U);
  EXPECT_GT(counts.m_doubled, 30U);
}

/// Rows of tiles, of which some have no node, some lack one or more, and some have all.
TEST(NumberedGraphs, FindNodesOfPlacesThatHaveAllOrSomeOrNone) {
  const auto db = test_model::make_db(R"(
    module MUX
      ports >a >b <z
    module TILE
      inst m0 MUX
      inst m1 MUX
      inst m2 MUX
    module ROW
      inst l TILE
      inst r TILE
    module TOP top
  )" + [] {
    std::string rows;
    for (int i = 0; i != 300; ++i)
      rows += "inst t" + std::to_string(i) + " ROW\n";
    return rows;
  }());
  GRAPH_BUILD made(*db);
  test_model::RANDOM_SOURCE random(1);
  std::vector<KEP_UNFOLDED_INST_PORT> expected;
  for (int i = 0; i != 300; ++i)
    for (const char* tile : {"/l", "/r"})
      for (const char* mux : {"/m0:z", "/m1:z", "/m2:z"}) {
        // Long stretches without nodes, some with few of them and some with all.
        if (!random.percent(std::vector<unsigned>{0, 10, 60, 100}[static_cast<std::size_t>(i / 60 % 4)]))
          continue;
        expected.push_back(test_model::uip(*db, ("t" + std::to_string(i) + tile + mux).c_str()));
        made.add(expected.back());
      }
  made.sort();
  made.publish();
  const GRAPH& graph = *db->get_routing_template_graph();
  EXPECT_EQ(graph.get_num_nodes(), expected.size());
  std::uint32_t number = 0;
  for (const NODE& node : graph.iter_nodes()) {
    EXPECT_EQ(graph.get_node(number), node);
    EXPECT_EQ(graph.get_index(node), number++);
  }
  for (const KEP_UNFOLDED_INST_PORT& each : expected)
    EXPECT_EQ(graph.get_node(graph.get_index({each, false})).get_unfolded_inst_port(), each);
}

class NumberedGraph : public test_model::TwoTiles {
protected:
  const GRAPH& m_graph = *m_db->get_routing_template_graph();

  std::uint32_t number(const char* name) const {
    return m_graph.get_index({test_model::uip(*m_db, name), false});
  }

  /// t/m:z drives both nodes of k, one of them redundantly.
  void build() {
    GRAPH_BUILD made(*m_db);
    for (const char* name : {"t/m:z", "t/k:z", "u/k:z"})
      made.add(name);
    made.sort();
    made.set(made.find("t/m:z"), {{made.find("t/k:z"), uip("t/k:b")}, {made.find("u/k:z"), {}}},
             {{made.find("t/k:z"), uip("t/k:a")}});
    made.publish();
  }
  KEP_UNFOLDED_INST_PORT uip(const char* name) const { return test_model::uip(*m_db, name); }
};

TEST_F(NumberedGraph, ValuesAreCopiedAsPlainMemory) {
  static_assert(sizeof(NUMBERED_GRAPH) == sizeof(void*));
  static_assert(std::is_trivially_copyable_v<NUMBERED_FWD_EDGE>);
  static_assert(std::is_trivially_copyable_v<NUMBERED_REV_EDGE>);
}

TEST_F(NumberedGraph, WithoutABuildHasNoNodes) {
  EXPECT_EQ(NUMBERED_GRAPH(m_graph).get_num_nodes(), 0U);
}

TEST_F(NumberedGraph, EdgesTellTheirClassAndMuxInputWhenAsked) {
  build();
  const NUMBERED_GRAPH numbers(m_graph);
  const std::uint32_t m = number("t/m:z"), k = number("t/k:z"), u = number("u/k:z");
  EXPECT_EQ(read(numbers.iter_all_fanout(m)),
            (FANOUTS{{k, false, uip("t/k:b")}, {u, false, {}}, {k, true, uip("t/k:a")}}));
  const auto fanins = numbers.iter_all_fanin(k);
  ASSERT_EQ(fanins.size(), 2U);
  EXPECT_EQ(fanins[0].get_fanin(), m);
  EXPECT_EQ(read(fanins[0].find_fwd_edge()), (FANOUT{k, false, uip("t/k:b")}));
  EXPECT_EQ(read(fanins[1].find_fwd_edge()), (FANOUT{k, true, uip("t/k:a")}));
  EXPECT_TRUE(numbers.iter_all_fanout(k).empty());
  EXPECT_TRUE(numbers.iter_all_fanin(m).empty());
}

TEST_F(NumberedGraph, RangesAreReadInAnyOrder) {
  build();
  const auto range = NUMBERED_GRAPH(m_graph).iter_all_fanout(number("t/m:z"));
  auto at = range.end();
  std::vector<std::uint32_t> backward;
  while (at != range.begin())
    backward.push_back((*--at).get_fanout());
  EXPECT_THAT(backward, ElementsAre(number("t/k:z"), number("u/k:z"), number("t/k:z")));
  EXPECT_EQ(range.end() - range.begin(), 3);
  EXPECT_EQ(range[1].get_fanout(), number("u/k:z"));
}

TEST_F(NumberedGraph, AnEdgeOfNoGraphLeadsNowhere) {
  const NUMBERED_FWD_EDGE edge;
  EXPECT_EQ(edge.get_fanout(), NUMBERED_GRAPH::NONE);
  EXPECT_FALSE(edge.get_mux_input());
}

} // namespace numbered_graph_test
