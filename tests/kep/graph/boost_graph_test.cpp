#include "kep/kep_boost_graph.h"
#include "tests/support/boost_graph_answers.h"
#include "tests/support/random_graph.h"
#include "tests/support/seeds.h"
#include "tests/support/two_tiles.h"

#include <boost/graph/filtered_graph.hpp>
#include <boost/graph/graph_concepts.hpp>
#include <gtest/gtest.h>

#include <cstddef>
#include <tuple>
#include <type_traits>
#include <unordered_set>
#include <vector>

namespace boost_graph_test {

using KEP_ROUTING::BOOST_GRAPH_EDGE;
using KEP_ROUTING::GRAPH;
using KEP_ROUTING::NUMBERED_GRAPH;
using test_model::ANSWERS;
using test_model::FAR;
using test_model::FLAT_COPY;
using test_model::GRAPH_BUILD;
using TRAITS = boost::graph_traits<NUMBERED_GRAPH>;

BOOST_CONCEPT_ASSERT((boost::IncidenceGraphConcept<NUMBERED_GRAPH>));
BOOST_CONCEPT_ASSERT((boost::BidirectionalGraphConcept<NUMBERED_GRAPH>));
BOOST_CONCEPT_ASSERT((boost::AdjacencyGraphConcept<NUMBERED_GRAPH>));
BOOST_CONCEPT_ASSERT((boost::VertexListGraphConcept<NUMBERED_GRAPH>));
BOOST_CONCEPT_ASSERT((boost::EdgeListGraphConcept<NUMBERED_GRAPH>));
BOOST_CONCEPT_ASSERT((boost::VertexAndEdgeListGraphConcept<NUMBERED_GRAPH>));
BOOST_CONCEPT_ASSERT(
    (boost::ReadablePropertyGraphConcept<NUMBERED_GRAPH, std::uint32_t, boost::vertex_index_t>));
static_assert(sizeof(BOOST_GRAPH_EDGE) == 24 && std::is_trivially_copyable_v<BOOST_GRAPH_EDGE>);
static_assert(TRAITS::null_vertex() == NUMBERED_GRAPH::NONE);

using EDGES = std::vector<BOOST_GRAPH_EDGE>;

template <class ITER>
EDGES list(const std::pair<ITER, ITER>& range) {
  return EDGES(range.first, range.second);
}

struct COUNTS {
  std::size_t m_edges = 0, m_parallel = 0, m_reached = 0, m_ways = 0, m_large_components = 0;
};

/// The edges of the graph, out of its vertices and into them, are the same.
void check_edges(const NUMBERED_GRAPH& graph, COUNTS& counts) {
  const EDGES all = list(edges(graph));
  EXPECT_EQ(all.size(), num_edges(graph));
  EDGES out;
  std::unordered_set<BOOST_GRAPH_EDGE> in;
  std::size_t index = 0;
  for (auto [vertex, end] = vertices(graph); vertex != end; ++vertex) {
    const std::size_t first = index;
    for (const BOOST_GRAPH_EDGE& edge : list(out_edges(*vertex, graph))) {
      EXPECT_EQ(source(edge, graph), *vertex);
      EXPECT_EQ(first + edge.get_fwd_index(), index++);
      out.push_back(edge);
    }
    EXPECT_EQ(out_degree(*vertex, graph), index - first);
    const EDGES here = list(in_edges(*vertex, graph));
    EXPECT_EQ(in_degree(*vertex, graph), here.size());
    EXPECT_EQ(degree(*vertex, graph), here.size() + index - first);
    in.insert(here.begin(), here.end());
  }
  EXPECT_EQ(out, all);
  EXPECT_EQ(in, std::unordered_set<BOOST_GRAPH_EDGE>(all.begin(), all.end()));
  EXPECT_EQ(in.size(), all.size()); // none was taken for another one
  counts.m_edges += all.size();
  for (const BOOST_GRAPH_EDGE& each : all)
    counts.m_parallel += edge(each.get_source(), each.get_target(), graph).first != each;
}

TEST(BoostGraphs, HaveTheSameEdgesInEachOrderAndAnswerAsFlatCopies) {
  COUNTS counts;
  for (const std::uint64_t seed : test_model::SEEDS(0, 100)) {
    const auto db = test_model::make_random_db(seed, test_model::vary_model_limits(seed));
    test_model::RANDOM_GRAPH(*db, seed, test_model::vary_graph_limits(seed)).publish(*db, seed);
    const NUMBERED_GRAPH graph(*db->get_routing_template_graph());
    check_edges(graph, counts);
    if (num_vertices(graph) == 0) continue;
    const auto goal = static_cast<std::uint32_t>(seed * 7 % num_vertices(graph));
    const ANSWERS answers = test_model::ask(graph, 0, goal);
    EXPECT_EQ(answers, test_model::ask(test_model::make_flat_copy(graph.get_graph()), 0, goal));
    EXPECT_EQ(answers.m_way.empty(), answers.m_distances[goal] == FAR);
    for (const std::uint32_t steps : answers.m_steps)
      counts.m_reached += steps != FAR;
    counts.m_ways += answers.m_way.size() > 2;
    counts.m_large_components += answers.m_num_components < num_vertices(graph);
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(counts.m_edges, 2000U);
  EXPECT_GT(counts.m_parallel, 20U);
  EXPECT_GT(counts.m_reached, 500U);
  EXPECT_GT(counts.m_ways, 10U);
  EXPECT_GT(counts.m_large_components, 10U);
}

class BoostGraph : public test_model::TwoTiles {
protected:
  /// t/m:z drives both nodes of k, one of them through two inputs and redundantly, too.
  NUMBERED_GRAPH build() const {
    GRAPH_BUILD made(*m_db);
    for (const char* name : {"t/m:z", "t/k:z", "u/k:z"})
      made.add(name);
    made.sort();
    made.set(
        made.find("t/m:z"),
        {{made.find("t/k:z"), uip("t/k:a")}, {made.find("u/k:z"), {}}, {made.find("t/k:z"), uip("t/k:b")}},
        {{made.find("t/k:z"), uip("t/k:a")}});
    made.publish();
    return NUMBERED_GRAPH(*m_db->get_routing_template_graph());
  }
  KEP_UNFOLDED_INST_PORT uip(const char* name) const { return test_model::uip(*m_db, name); }
  std::uint32_t number(const char* name) const { return m_graph.get_graph().get_index({uip(name), false}); }

  const NUMBERED_GRAPH m_graph = build();
  const std::uint32_t m_m = number("t/m:z"), m_k = number("t/k:z"), m_u = number("u/k:z");
};

TEST_F(BoostGraph, TellsParallelEdgesApartFromBothEnds) {
  const EDGES out = list(out_edges(m_m, m_graph));
  const EDGES in = list(in_edges(m_k, m_graph));
  ASSERT_EQ(out.size(), 4U);
  EXPECT_EQ(in, (EDGES{out[0], out[2], out[3]}));
  EXPECT_EQ((EDGES{out[0], out[2], out[3]}), in);
  EXPECT_NE(in[0], in[1]);
  EXPECT_NE(in[1], out[0]);
  EXPECT_NE(out[1], out[0]);
  EXPECT_EQ(std::hash<BOOST_GRAPH_EDGE>()(in[1]), std::hash<BOOST_GRAPH_EDGE>()(out[2]));
  for (const BOOST_GRAPH_EDGE& edge : {in[1], out[2]}) {
    EXPECT_FALSE(edge.is_redundant());
    EXPECT_EQ(edge.get_mux_input(), uip("t/k:b"));
    EXPECT_EQ(edge.get_fwd_index(), 2U);
  }
  EXPECT_TRUE(in[2].is_redundant());
  EXPECT_EQ(in[2].get_mux_input(), uip("t/k:a"));
  EXPECT_FALSE(out[1].get_mux_input());
}

TEST_F(BoostGraph, FindsTheFirstEdgeBetweenTwoVertices) {
  EXPECT_EQ(edge(m_m, m_k, m_graph), std::pair(list(out_edges(m_m, m_graph))[0], true));
  EXPECT_EQ(edge(m_k, m_m, m_graph), std::pair(BOOST_GRAPH_EDGE(), false));
}

TEST_F(BoostGraph, ListsAVertexOnceForEachEdgeToIt) {
  // What is read by numbers is a value: no range needs it any longer.
  const auto [begin, end] = adjacent_vertices(m_m, NUMBERED_GRAPH(m_graph.get_graph()));
  EXPECT_EQ(std::vector<std::uint32_t>(begin, end), (std::vector<std::uint32_t>{m_k, m_u, m_k, m_k}));
}

TEST_F(BoostGraph, HasAnEdgeOfNoGraph) {
  const BOOST_GRAPH_EDGE edge;
  EXPECT_EQ(edge.get_source(), TRAITS::null_vertex());
  EXPECT_EQ(edge, BOOST_GRAPH_EDGE());
  EXPECT_NE(edge, list(edges(m_graph))[0]);
  EXPECT_FALSE(edge.get_mux_input());
}

struct IS_REAL {
  template <class EDGE>
  bool operator()(const EDGE& edge) const {
    return !edge.is_redundant();
  }
};

TEST_F(BoostGraph, IsFilteredByTheClassOfEdges) {
  const boost::filtered_graph<NUMBERED_GRAPH, IS_REAL> real(m_graph, IS_REAL());
  EXPECT_EQ(out_degree(m_m, real), 3U);
  EXPECT_EQ(in_degree(m_k, real), 2U);
}

TEST_F(BoostGraph, WithoutABuildHasNoVerticesAndNoEdges) {
  const auto db = test_model::make_db("module TOP top");
  const NUMBERED_GRAPH graph(*db->get_routing_template_graph());
  EXPECT_EQ(num_vertices(graph), 0U);
  EXPECT_EQ(num_edges(graph), 0U);
  EXPECT_TRUE(list(edges(graph)).empty());
}

} // namespace boost_graph_test
