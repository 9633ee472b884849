#pragma once

#include "kep/kep_numbered_graph.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

/// A net: where it begins, where it has to go, and the nodes that it takes, its source first.
struct NET {
  std::uint32_t m_source;
  std::vector<std::uint32_t> m_sinks;
  std::vector<std::uint32_t> m_tree;
};

/// Random nets of a device, the same for the same seed. A source is a pin that nothing drives and that has a
/// choice; sinks are pins that drive nothing, among the nodes that the source reaches first. No two nets have
/// a source in common, or the mux before a sink.
class RANDOM_NETS {
public:
  RANDOM_NETS(const KEP_ROUTING::NUMBERED_GRAPH& graph, unsigned seed)
      : m_graph(graph), m_random(seed), m_is_taken(graph.get_num_nodes()),
        m_reached_by(graph.get_num_nodes(), KEP_ROUTING::NUMBERED_GRAPH::NONE) {}

  std::vector<NET> choose(std::size_t num_nets) {
    std::vector<NET> nets;
    for (std::size_t tries = 0; nets.size() != num_nets; ++tries) {
      if (tries == std::size_t{20} * m_graph.get_num_nodes())
        throw std::runtime_error("the device has no place for so many nets");
      NET net{pick(m_graph.get_num_nodes()), {}, {}};
      if (m_graph.get_num_fanin(net.m_source) != 0 || m_graph.get_num_edges(net.m_source) < 2) continue;
      if (m_is_taken[net.m_source]) continue;
      m_is_taken[net.m_source] = true;
      choose_sinks(net);
      if (net.m_sinks.empty()) continue;
      nets.push_back(std::move(net));
      tries = 0;
    }
    return nets;
  }

private:
  static constexpr std::size_t MAX_SINKS = 8, NODES_AROUND = 6000;

  std::uint32_t pick(std::size_t end) { return static_cast<std::uint32_t>(m_random() % end); }

  void choose_sinks(NET& net) {
    std::vector<std::uint32_t> pins;
    std::vector<std::uint32_t> around{net.m_source};
    for (std::size_t at = 0; at != around.size() && around.size() < NODES_AROUND; ++at)
      for (const KEP_ROUTING::NUMBERED_FWD_EDGE& edge : m_graph.iter_all_fanout(around[at])) {
        const std::uint32_t to = edge.get_fanout();
        if (std::exchange(m_reached_by[to], net.m_source) == net.m_source) continue;
        around.push_back(to);
        if (m_graph.get_num_edges(to) == 0) pins.push_back(to);
      }
    for (std::size_t num = 1 + pick(MAX_SINKS); num != 0 && !pins.empty(); --num) {
      std::swap(pins[pick(pins.size())], pins.back());
      const std::uint32_t mux = find_mux(pins.back());
      if (!m_is_taken[mux]) net.m_sinks.push_back(pins.back());
      m_is_taken[mux] = true;
      pins.pop_back();
    }
  }
  /// The first node back from a pin that has a choice.
  std::uint32_t find_mux(std::uint32_t node) const {
    while (m_graph.get_num_fanin(node) == 1)
      node = m_graph.iter_all_fanin(node)[0].get_fanin();
    return node;
  }

  const KEP_ROUTING::NUMBERED_GRAPH& m_graph;
  std::mt19937 m_random;
  std::vector<bool> m_is_taken;            // sources, and muxes before sinks
  std::vector<std::uint32_t> m_reached_by; // the last source that came here
};
