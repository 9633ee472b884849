#pragma once

#include "tests/support/graph_fixture.h"
#include "tests/support/naive_hierarchy.h"
#include "tests/support/random_model.h"

#include <algorithm>
#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// Random graphs as plain lists of edges, and what a build makes of them.
namespace test_model {

/// Where a node stands: a uip, a twin at a uip, or a port of the top.
struct NODE_KEY {
  std::uint64_t m_position = 0;
  const void* m_object = nullptr;
  bool m_hipi = false;
  auto operator<=>(const NODE_KEY&) const = default;
};

struct NAIVE_EDGE {
  NODE_KEY m_to;
  KEP_UNFOLDED_INST_PORT m_mux_input;
};

struct NAIVE_NODE {
  NODE_KEY m_key;
  KEP_UNFOLDED_INST_PORT m_uip;
  const KEP_PORT* m_port = nullptr; // of a boundary node
  std::vector<NAIVE_EDGE> m_real;
  std::vector<NAIVE_EDGE> m_redundant;
};

struct RANDOM_GRAPH_LIMITS {
  unsigned m_max_fanout = 6;
  unsigned m_nodes = 60; ///< percent of the uips
};

// Sizes and densities that differ from seed to seed.
inline RANDOM_MODEL_LIMITS vary_model_limits(std::uint64_t seed) {
  RANDOM_MODEL_LIMITS limits;
  limits.m_max_size = 20 + static_cast<unsigned>(seed % 7) * 60;
  return limits;
}
inline RANDOM_GRAPH_LIMITS vary_graph_limits(std::uint64_t seed) {
  return {static_cast<unsigned>(seed % 5) * 3, 20 + static_cast<unsigned>(seed % 9) * 10};
}

class RANDOM_GRAPH {
public:
  RANDOM_GRAPH(const KEP_DB& db, std::uint64_t seed, const RANDOM_GRAPH_LIMITS& limits)
      : m_random(seed + 5000000) {
    const NAIVE_HIERARCHY naive(db);
    const std::vector<KEP_UNFOLDED_INST_PORT> uips = naive.uips();
    for (const KEP_UNFOLDED_INST_PORT& each : uips) {
      if (!m_random.percent(limits.m_nodes)) continue;
      m_nodes.push_back({{each.m_position, each.m_object, false}, each, nullptr, {}, {}});
      if (m_random.percent(15))
        m_nodes.push_back({{each.m_position, each.m_object, true}, each, nullptr, {}, {}});
    }
    for (const KEP_PORT* each : naive.tops()[0]->m_module->iter_ports())
      if (m_random.percent(60)) m_nodes.push_back({{0, each, false}, {}, each, {}, {}});
    for (NAIVE_NODE& node : m_nodes)
      add_edges(node, uips, limits);
    for (const NAIVE_NODE& node : m_nodes)
      m_by_key[node.m_key] = &node;
  }
  RANDOM_GRAPH(const RANDOM_GRAPH&) = delete;
  RANDOM_GRAPH& operator=(const RANDOM_GRAPH&) = delete;

  const std::vector<NAIVE_NODE>& nodes() const { return m_nodes; }

  /// Allocates the nodes in the order of this seed.
  void allocate(GRAPH_BUILD& build, std::uint64_t order_seed) const {
    std::vector<const NAIVE_NODE*> order;
    for (const NAIVE_NODE& node : m_nodes)
      order.push_back(&node);
    RANDOM_SOURCE(order_seed).shuffle(order);
    std::stable_partition(order.begin(), order.end(),
                          [](const NAIVE_NODE* node) { return !node->m_key.m_hipi; });
    for (const NAIVE_NODE* node : order) {
      if (node->m_port)
        build.add(node->m_port);
      else if (node->m_key.m_hipi)
        build.add_hipi(node->m_uip);
      else
        build.add(node->m_uip);
    }
    build.sort();
  }

  static BUILDER_NODE* find(GRAPH_BUILD& build, const NODE_KEY& key, const NAIVE_NODE& node) {
    if (node.m_port) return build.find(node.m_port);
    return key.m_hipi ? build.find_hipi(node.m_uip) : build.find(node.m_uip);
  }

  void set_fanout(GRAPH_BUILD& build, const NAIVE_NODE& node) const {
    if (node.m_real.empty() && node.m_redundant.empty()) return;
    const auto fanouts = [&](const std::vector<NAIVE_EDGE>& edges) {
      FANOUTS made;
      for (const NAIVE_EDGE& edge : edges)
        made.push_back({find(build, edge.m_to, *m_by_key.at(edge.m_to)), edge.m_mux_input});
      return made;
    };
    build.set(find(build, node.m_key, node), fanouts(node.m_real), fanouts(node.m_redundant));
  }

  /// One build from its beginning up to the last step.
  void fill(GRAPH_BUILD& build, std::uint64_t order_seed) const {
    allocate(build, order_seed);
    for (const NAIVE_NODE& node : m_nodes)
      set_fanout(build, node);
  }
  void publish(KEP_DB& db, std::uint64_t order_seed) const {
    GRAPH_BUILD build(db, m_nodes.size());
    fill(build, order_seed);
    build.publish();
  }

  const NAIVE_NODE* node(const NODE_KEY& key) const { return m_by_key.at(key); }

private:
  void add_edges(NAIVE_NODE& node, const std::vector<KEP_UNFOLDED_INST_PORT>& uips,
                 const RANDOM_GRAPH_LIMITS& limits) {
    if (node.m_key.m_hipi) { // a twin drives its plain node and nothing else
      node.m_real.push_back({{node.m_key.m_position, node.m_key.m_object, false}, {}});
      return;
    }
    const auto edges = [&](std::vector<NAIVE_EDGE>& list, unsigned most) {
      for (unsigned i = m_random.below(most + 1); i; --i) {
        const NAIVE_NODE& to = m_random.pick(m_nodes);
        list.push_back({to.m_key, mux_input(to, uips)});
      }
    };
    edges(node.m_real, limits.m_max_fanout);
    if (m_random.percent(40)) edges(node.m_redundant, limits.m_max_fanout / 2);
  }

  KEP_UNFOLDED_INST_PORT mux_input(const NAIVE_NODE& to, const std::vector<KEP_UNFOLDED_INST_PORT>& uips) {
    switch (m_random.below(4)) {
    case 0:
      return {};
    case 1:
      return uips.empty() ? KEP_UNFOLDED_INST_PORT() : m_random.pick(uips); // anywhere
    case 2:
      return to.m_uip;
    default: { // another port of the mux that the target is an output of
      const auto siblings = to.m_uip.get_unfolded_instance().iter_inst_ports();
      const std::vector<KEP_UNFOLDED_INST_PORT> all(siblings.begin(), siblings.end());
      return all.empty() ? KEP_UNFOLDED_INST_PORT() : m_random.pick(all);
    }
    }
  }

  RANDOM_SOURCE m_random;
  std::vector<NAIVE_NODE> m_nodes;
  std::map<NODE_KEY, const NAIVE_NODE*> m_by_key;
};

inline NODE_KEY key(const KEP_ROUTING::NODE& node) {
  if (node.is_boundary()) return {0, node.get_port(), false};
  const KEP_UNFOLDED_INST_PORT at = node.get_unfolded_inst_port();
  return {at.m_position, at.m_object, node.is_hipi()};
}

} // namespace test_model
