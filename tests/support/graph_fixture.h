#pragma once

#include "kep/graph/kep_routing_graph_storage.h"
#include "kep/kep_routing_builder.h"
#include "tests/support/model_fixture.h"

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// The graph has operations that only a build calls, or only tests; they enter through here.
class KEP_TEST_ACCESS {
public:
  static void reserve_routing_node_template_space(KEP_ROUTING_BUILDER_GRAPH* graph, unsigned count) {
    graph->reserve_routing_node_template_space(count);
  }
  static void publish(KEP_ROUTING::GRAPH& graph, std::unique_ptr<const KEP_ROUTING_GRAPH_STORAGE> storage) {
    graph.publish(std::move(storage));
  }
  using REPRESENTATIVES = KEP_ROUTING_BUILDER_GRAPH_REPRESENTATIVE_NODES_BUILDER;
  static KEP_ROUTING_BUILDER_NODE* find_representative(const REPRESENTATIVES& representatives,
                                                       const REPRESENTATIVES::RELPATH_AND_ORIENTATION& path) {
    return representatives.find_representative(path);
  }
};

namespace test_model {

using BUILDER_NODE = KEP_ROUTING_BUILDER_NODE;
using FANOUT = KEP_ROUTING_BUILDER_EDGE_BUILDER::FANOUT;
using FANOUTS = std::vector<FANOUT>;

struct DESTROY_GRAPH {
  void operator()(KEP_ROUTING_BUILDER_GRAPH* graph) const { KEP_ROUTING_BUILDER_GRAPH::destroy(graph); }
};

/// One build, step by step in the order of the library.
class GRAPH_BUILD {
public:
  explicit GRAPH_BUILD(KEP_DB& db, std::size_t expected_nodes = 0)
      : m_db(db), m_graph(KEP_ROUTING_BUILDER_GRAPH::create(&db, 0)) {
    KEP_TEST_ACCESS::reserve_routing_node_template_space(graph(), static_cast<unsigned>(expected_nodes));
    m_cache.initialize_routing_builder_graph(expected_nodes, 0, graph());
  }

  KEP_ROUTING_BUILDER_GRAPH* graph() const { return m_graph.get(); }
  KEP_ROUTING_BUILDER_NODE_CACHE& cache() { return m_cache; }
  KEP_ROUTING_BUILDER_EDGE_BUILDER& edges() { return *m_edges; }
  tbb::mutex& mutex() { return m_mutex; }

  BUILDER_NODE* add(const KEP_UNFOLDED_INST_PORT& at) {
    BUILDER_NODE* node = BUILDER_NODE::allocate(graph(), at);
    m_cache.add_routing_node(node);
    return node;
  }
  BUILDER_NODE* add(const char* name) { return add(uip(m_db, name)); }
  BUILDER_NODE* add(const KEP_PORT* port) {
    BUILDER_NODE* node = BUILDER_NODE::allocate(graph(), port);
    m_cache.add_routing_node(node);
    return node;
  }
  BUILDER_NODE* add_hipi(const KEP_UNFOLDED_INST_PORT& at) {
    BUILDER_NODE* node = BUILDER_NODE::allocate(graph(), at);
    node->set_hipi(true);
    m_cache.add_routing_node_hipi(node);
    return node;
  }

  /// From here on edges are set, and pointers to nodes are looked up anew.
  void sort() {
    m_edges = std::make_unique<KEP_ROUTING_BUILDER_EDGE_BUILDER>(
        graph(), static_cast<int>(10 * graph()->get_node_count()));
    m_edges->sort_nodes_for_templating(m_db.get_legacy_api());
    m_cache.initialize_routing_builder_graph(graph());
  }

  BUILDER_NODE* find(const KEP_UNFOLDED_INST_PORT& at) { return m_cache.find_routing_node(at); }
  BUILDER_NODE* find(const char* name) { return find(uip(m_db, name)); }
  BUILDER_NODE* find(const KEP_PORT* port) { return m_cache.find_routing_node(port); }
  BUILDER_NODE* find_hipi(const KEP_UNFOLDED_INST_PORT& at) {
    return m_cache.find_both_routing_nodes(at).second;
  }

  void set(BUILDER_NODE* node, const FANOUTS& real, const FANOUTS& redundant = {}) {
    m_edges->set_fanout(node, real, redundant, m_mutex, true);
  }
  void publish() { KEP_ROUTING_REVERSE_EDGE_BUILDER::add_reverse_edges(graph(), false); }

private:
  KEP_DB& m_db;
  std::unique_ptr<KEP_ROUTING_BUILDER_GRAPH, DESTROY_GRAPH> m_graph;
  KEP_ROUTING_BUILDER_NODE_CACHE m_cache;
  std::unique_ptr<KEP_ROUTING_BUILDER_EDGE_BUILDER> m_edges;
  tbb::mutex m_mutex;
};

} // namespace test_model
