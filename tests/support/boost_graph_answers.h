#pragma once

#include "kep/kep_boost_graph.h"
#include "tests/support/graph_text.h"

#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/astar_search.hpp>
#include <boost/graph/breadth_first_search.hpp>
#include <boost/graph/dijkstra_shortest_paths.hpp>
#include <boost/graph/reverse_graph.hpp>
#include <boost/graph/strong_components.hpp>
#include <boost/property_map/function_property_map.hpp>

#include <cstdint>
#include <limits>
#include <vector>

/// What algorithms of Boost.Graph answer on a graph, whether it is folded or a flat copy.
namespace test_model {

constexpr std::uint32_t FAR = std::numeric_limits<std::uint32_t>::max();

struct EDGE_CLASS {
  bool m_is_redundant = false;
};
using FLAT_COPY =
    boost::adjacency_list<boost::vecS, boost::vecS, boost::bidirectionalS, boost::no_property, EDGE_CLASS>;

/// The same edges in the same order, read by nodes.
inline FLAT_COPY make_flat_copy(const KEP_ROUTING::GRAPH& graph) {
  FLAT_COPY flat(graph.get_num_nodes());
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    const auto add = [&](const auto& edges, bool is_redundant) {
      for (const KEP_ROUTING::FWD_EDGE& edge : edges)
        add_edge(graph.get_index(node), graph.get_index(edge.get_fanout()), EDGE_CLASS{is_redundant}, flat);
    };
    add(node.iter_real_fanout(), false);
    add(node.iter_redundant_fanout(), true);
  }
  return flat;
}

inline bool is_redundant(const KEP_ROUTING::NUMBERED_GRAPH&, const KEP_ROUTING::BOOST_GRAPH_EDGE& edge) {
  return edge.is_redundant();
}
inline bool is_redundant(const FLAT_COPY& graph, const FLAT_COPY::edge_descriptor& edge) {
  return graph[edge].m_is_redundant;
}

/// A weight that hangs on both ends and on the class of an edge.
template <class MAP>
auto make_weights(const MAP& graph) {
  return boost::make_function_property_map<typename boost::graph_traits<MAP>::edge_descriptor>(
      [&graph](const auto& edge) {
        const auto ends = static_cast<std::uint32_t>(source(edge, graph) * 31 + target(edge, graph));
        return 1 + (ends * 2654435761U >> 28) + (is_redundant(graph, edge) ? 9U : 0U);
      });
}

struct ANSWERS {
  std::vector<std::uint32_t> m_steps;      // from the start, along the fewest edges
  std::vector<std::uint32_t> m_distances;  // from the start
  std::vector<std::uint32_t> m_previous;   // on the way there
  std::vector<std::uint32_t> m_to_goal;    // distances, along edges backward
  std::vector<std::uint32_t> m_components; // by number
  std::uint32_t m_num_components = 0;
  std::vector<std::uint32_t> m_way; // from the goal to the start, found by A*

  bool operator==(const ANSWERS&) const = default;
};

struct GOAL_FOUND {};
struct STOP_AT : boost::default_astar_visitor {
  explicit STOP_AT(std::size_t goal) : m_goal(goal) {}
  template <class MAP>
  void examine_vertex(std::size_t vertex, const MAP&) const {
    if (vertex == m_goal) throw GOAL_FOUND();
  }
  std::size_t m_goal;
};

template <class MAP>
class ASKED {
public:
  ASKED(const MAP& graph, std::uint32_t start, std::uint32_t goal)
      : m_graph(graph), m_start(start), m_goal(goal) {}

  ANSWERS ask() {
    m_answers.m_steps.assign(num_vertices(m_graph), FAR);
    m_answers.m_steps[m_start] = 0;
    breadth_first_search(m_graph, m_start,
                         boost::visitor(boost::make_bfs_visitor(
                             boost::record_distances(make_map(m_answers.m_steps), boost::on_tree_edge()))));
    m_answers.m_distances = walk(m_graph, m_start, m_answers.m_previous);
    std::vector<std::uint32_t> next;
    m_answers.m_to_goal = walk(boost::make_reverse_graph(m_graph), m_goal, next);
    m_answers.m_components.resize(num_vertices(m_graph));
    m_answers.m_num_components =
        static_cast<std::uint32_t>(strong_components(m_graph, make_map(m_answers.m_components)));
    find_way();
    return m_answers;
  }

private:
  auto make_map(std::vector<std::uint32_t>& values) const {
    return boost::make_iterator_property_map(values.begin(), get(boost::vertex_index, m_graph));
  }
  /// Dijkstra's distances.
  template <class WALKED>
  std::vector<std::uint32_t> walk(const WALKED& graph, std::uint32_t start,
                                  std::vector<std::uint32_t>& previous) const {
    std::vector<std::uint32_t> distances(num_vertices(graph), FAR);
    previous.resize(num_vertices(graph));
    dijkstra_shortest_paths(graph, start,
                            boost::weight_map(make_weights(m_graph, graph))
                                .distance_map(make_map(distances))
                                .predecessor_map(make_map(previous)));
    return distances;
  }
  static auto make_weights(const MAP& graph, const MAP&) { return test_model::make_weights(graph); }
  template <class REVERSED>
  static auto make_weights(const MAP& graph, const REVERSED& reversed) {
    using EDGE = typename boost::graph_traits<REVERSED>::edge_descriptor;
    return boost::make_function_property_map<EDGE>(
        [weights = test_model::make_weights(graph), &reversed](const EDGE& edge) {
          return get(weights, get(boost::edge_underlying, reversed, edge));
        });
  }
  /// By A*, with half of what is left as its guess.
  void find_way() {
    std::vector<std::uint32_t> previous(num_vertices(m_graph));
    const auto guess = [&](std::size_t vertex) {
      const std::uint32_t left = m_answers.m_to_goal[vertex];
      return left == FAR ? FAR : left / 2;
    };
    try {
      astar_search(m_graph, m_start, guess,
                   boost::weight_map(test_model::make_weights(m_graph))
                       .predecessor_map(make_map(previous))
                       .visitor(STOP_AT(m_goal)));
    } catch (const GOAL_FOUND&) {
      m_answers.m_way = {m_goal};
      while (m_answers.m_way.back() != m_start)
        m_answers.m_way.push_back(previous[m_answers.m_way.back()]);
    }
  }

  const MAP& m_graph;
  std::uint32_t m_start;
  std::uint32_t m_goal;
  ANSWERS m_answers;
};

template <class MAP>
ANSWERS ask(const MAP& graph, std::uint32_t start, std::uint32_t goal) {
  return ASKED<MAP>(graph, start, goal).ask();
}

} // namespace test_model
