#pragma once

#include "examples/random_nets.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

/// Negotiated congestion. Each net takes its cheapest tree, whether nodes are taken or not; what others take,
/// and what was taken too often before, gets dearer from round to round, until no two nets share a node.
/// GRAPH is read as a KEP_ROUTING::NUMBERED_GRAPH. What the router knows of nodes is in an array by number.
template <class GRAPH>
class ROUTER {
public:
  ROUTER(const GRAPH& graph, std::vector<NET> nets)
      : m_graph(graph), m_nets(std::move(nets)), m_nodes(graph.get_num_nodes()) {}

  /// Routes all nets in the first round, and then those that share nodes. Gives the overuse: by how many nets
  /// too many nodes are taken.
  std::uint64_t run_round() {
    m_num_routed = 0;
    for (NET& net : m_nets)
      if (m_round == 0 || is_shared(net)) route(net);
    ++m_round;
    std::uint64_t overuse = 0;
    for (NODE& node : m_nodes)
      if (node.m_uses > 1) {
        overuse += node.m_uses - 1;
        node.m_history += (node.m_uses - 1) * BASE_COST / 4;
      }
    return overuse;
  }
  std::uint32_t get_num_routed() const { return m_num_routed; } ///< in the last round
  const std::vector<NET>& get_nets() const { return m_nets; }

private:
  static constexpr std::uint32_t BASE_COST = 64, NONE = ~0U;
  struct NODE {
    std::uint32_t m_uses = 0, m_history = 0; // by how many nets; what it costs more since those were too many
    std::uint32_t m_search = 0, m_cost = 0, m_previous = 0; // what the last search found that came here
  };

  bool is_shared(const NET& net) const {
    return std::any_of(net.m_tree.begin(), net.m_tree.end(),
                       [this](std::uint32_t node) { return m_nodes[node].m_uses > 1; });
  }
  void route(NET& net) {
    ++m_num_routed;
    for (const std::uint32_t node : net.m_tree)
      --m_nodes[node].m_uses;
    net.m_tree = {net.m_source};
    for (const std::uint32_t sink : net.m_sinks)
      add_path(net.m_tree, sink);
    for (const std::uint32_t node : net.m_tree)
      ++m_nodes[node].m_uses;
  }

  /// Dijkstra's search from the whole tree. Of equal costs the lower number comes first.
  void add_path(std::vector<std::uint32_t>& tree, std::uint32_t sink) {
    ++m_search;
    m_heap.clear();
    for (const std::uint32_t node : tree)
      reach(node, 0, NONE);
    std::uint32_t node = NONE;
    while (node != sink) {
      if (m_heap.empty()) throw std::runtime_error("a sink can't be reached");
      node = static_cast<std::uint32_t>(m_heap.front());
      const auto cost = static_cast<std::uint32_t>(m_heap.front() >> 32);
      std::pop_heap(m_heap.begin(), m_heap.end(), std::greater<>());
      m_heap.pop_back();
      if (cost == m_nodes[node].m_cost) expand(node, cost); // else a cheaper way was found
    }
    for (; m_nodes[node].m_previous != NONE; node = m_nodes[node].m_previous)
      tree.push_back(node);
  }
  void expand(std::uint32_t node, std::uint32_t cost) {
    for (const auto& edge : m_graph.iter_all_fanout(node)) {
      const NODE& to = m_nodes[edge.get_fanout()];
      reach(edge.get_fanout(), cost + (BASE_COST + to.m_history) * (16 + m_round * to.m_uses) / 16, node);
    }
  }
  void reach(std::uint32_t number, std::uint32_t cost, std::uint32_t previous) {
    NODE& node = m_nodes[number];
    if (node.m_search == m_search && node.m_cost <= cost) return;
    node.m_search = m_search;
    node.m_cost = cost;
    node.m_previous = previous;
    m_heap.push_back(std::uint64_t{cost} << 32 | number);
    std::push_heap(m_heap.begin(), m_heap.end(), std::greater<>());
  }

  const GRAPH& m_graph;
  std::vector<NET> m_nets;
  std::vector<NODE> m_nodes;
  std::vector<std::uint64_t> m_heap; // costs and nodes
  std::uint32_t m_search = 0, m_round = 0, m_num_routed = 0;
};
