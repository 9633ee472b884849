#include "kep_rg/kep_rg_trace_predicate.h"
#include "tests/kep_rg/predicates/predicate_fixture.h"

#include <gtest/gtest.h>

#include <memory>

namespace trace_predicate_test {

class TracePredicate : public Predicate {
protected:
  KEP_RG_TRACE_PREDICATE make(const KEP_ROUTING_BUILDER_NODE_CACHE* node_cache = nullptr) {
    return {m_db, primitives(), KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, node_cache};
  }
  // A graph under construction with one node, at p:i.
  void add_node() {
    m_graph.reset(KEP_ROUTING_BUILDER_GRAPH::create(m_db, 1));
    m_node_cache.initialize_routing_builder_graph(1, 0, m_graph.get());
    m_node_cache.add_routing_node(KEP_ROUTING_BUILDER_NODE::allocate(m_graph.get(), uip("p:i")));
  }
  void finish_graph() {
    KEP_ROUTING_BUILDER_EDGE_BUILDER(m_graph.get(), 0).sort_nodes_for_templating(m_db->get_legacy_api());
    KEP_ROUTING_REVERSE_EDGE_BUILDER::add_reverse_edges(m_graph.get(), false);
  }

  struct DESTROY {
    void operator()(KEP_ROUTING_BUILDER_GRAPH* graph) const { KEP_ROUTING_BUILDER_GRAPH::destroy(graph); }
  };
  std::unique_ptr<KEP_ROUTING_BUILDER_GRAPH, DESTROY> m_graph;
  KEP_ROUTING_BUILDER_NODE_CACHE m_node_cache;
};

TEST_F(TracePredicate, SeesNoLeafInABlcRoutingRootButInItsOutputsWithoutTunnels) {
  m_store->add_routing_root(module("ROOT_BLC"));
  const KEP_RG_TRACE_PREDICATE predicate = make();
  EXPECT_EQ(predicate.get_module_type(module("ROOT_BLC")),
            KEP_RG_TRACE_PREDICATE::MODULE_TYPE::BLC_ROUTING_ROOT);
  EXPECT_FALSE(predicate.is_leaf(module("ROOT_BLC"), params(false)));
  EXPECT_FALSE(predicate.is_leaf(uip("r:i"), params(false)));
  EXPECT_TRUE(predicate.is_leaf(uip("r:o"), params(false)));
}

TEST_F(TracePredicate, SeesALeafInEveryOutputWithoutTunnelsAndInNoneWithThem) {
  const KEP_RG_TRACE_PREDICATE predicate = make();
  EXPECT_TRUE(predicate.is_leaf(uip("p:o"), params(false)));
  EXPECT_TRUE(predicate.is_leaf(uip("v:o"), params(false))); // no view of the rank
  EXPECT_FALSE(predicate.is_leaf(uip("p:b"), params(false)));
  EXPECT_FALSE(predicate.is_leaf(uip("p:o"), params(true)));
}

TEST_F(TracePredicate, SeesALeafInEveryPortOfAStopModule) {
  add_mux("PLAIN", false);
  const KEP_RG_TRACE_PREDICATE predicate = make();
  for (const char* name : {"p:i", "p:o", "p:b"}) {
    EXPECT_TRUE(predicate.is_leaf(uip(name), params(false)));
    EXPECT_TRUE(predicate.is_leaf(uip(name), params(true)));
  }
}

TEST_F(TracePredicate, EndsAtNoUipWithoutANodeInTheFinishedGraph) {
  const KEP_RG_TRACE_PREDICATE predicate = make();
  EXPECT_FALSE(predicate.is_terminating_uip(uip("p:i"), params(false)));
  EXPECT_FALSE(predicate.is_terminating_uip(uip("p:i"), params(true)));
  EXPECT_FALSE(predicate.is_terminating_uip(m_no_uip, params(false)));
}

TEST_F(TracePredicate, EndsAtNoInsertedPortAsSuch) {
  m_store->add_insert_node(port("PLAIN:i"), "node");
  const KEP_RG_TRACE_PREDICATE predicate = make();
  EXPECT_FALSE(predicate.is_terminating_uip(uip("p:i"), params(false)));
}

TEST_F(TracePredicate, EndsWhereANodeStandsInTheNodeCache) {
  add_node();
  const KEP_RG_TRACE_PREDICATE predicate = make(&m_node_cache);
  EXPECT_TRUE(predicate.is_terminating_uip(uip("p:i"), params(false)));
  EXPECT_TRUE(predicate.is_terminating_uip(uip("p:i"), params(true)));
  EXPECT_FALSE(predicate.is_terminating_uip(uip("q:i"), params(false)));
  EXPECT_FALSE(predicate.is_terminating_uip(m_no_uip, params(false)));
  EXPECT_FALSE(make().is_terminating_uip(uip("p:i"), params(false))); // nothing is finished yet
}

TEST_F(TracePredicate, EndsWhereANodeStandsInTheFinishedGraph) {
  add_node();
  finish_graph();
  const KEP_RG_TRACE_PREDICATE predicate = make();
  EXPECT_TRUE(predicate.is_terminating_uip(uip("p:i"), params(false)));
  EXPECT_TRUE(predicate.is_terminating_uip(uip("p:i"), params(true)));
  EXPECT_FALSE(predicate.is_terminating_uip(uip("q:i"), params(false)));
}

TEST_F(TracePredicate, IsNeitherAtALeafNorAtAnEndInATunnelOfTypeTwoEvenWhereANodeStands) {
  add_mux("PLAIN", false);
  m_store->add_tunnel_type(module("PLAIN"), KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH);
  add_node();
  const KEP_RG_TRACE_PREDICATE predicate = make(&m_node_cache);
  EXPECT_FALSE(predicate.is_leaf(uip("p:i"), params(true)));
  EXPECT_FALSE(predicate.is_terminating_uip(uip("p:i"), params(true)));
  EXPECT_TRUE(predicate.is_terminating_uip(uip("p:i"), params(false)));
  finish_graph();
  EXPECT_FALSE(make().is_terminating_uip(uip("p:i"), params(true)));
}

TEST_F(TracePredicate, IgnoresTheInputsAmongThePortsOfANet) {
  const KEP_RG_TRACE_PREDICATE predicate = make();
  const KEP_VIEW_TYPE_RANK& rank = KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank;
  EXPECT_TRUE(predicate.is_ignore_port(uip("p:i").get_unfolded_port(rank)));
  EXPECT_FALSE(predicate.is_ignore_port(uip("p:o").get_unfolded_port(rank)));
  EXPECT_FALSE(predicate.is_ignore_port(uip("p:b").get_unfolded_port(rank)));
  EXPECT_FALSE(predicate.is_ignore_port(m_no_port));
}

} // namespace trace_predicate_test
