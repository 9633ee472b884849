#include "kep_rg/kep_rg_instance_is_primitive.h"
#include "tests/kep_rg/predicates/predicate_fixture.h"

#include <gtest/gtest.h>

namespace instance_is_primitive_test {

using MODULE_TYPE = KEP_RG_INSTANCE_IS_PRIMITIVE::MODULE_TYPE;

class BuildPredicate : public Predicate {
protected:
  KEP_RG_INSTANCE_IS_PRIMITIVE make() {
    return {m_db, primitives(), KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank};
  }
};

TEST_F(BuildPredicate, SeesALeafInABlcRoutingRootAndInNoOtherRoot) {
  m_store->add_routing_root(module("ROOT_BLC"));
  m_store->add_routing_root(module("ROOT"));
  const KEP_RG_INSTANCE_IS_PRIMITIVE predicate = make();
  EXPECT_EQ(predicate.get_module_type(module("ROOT_BLC")), MODULE_TYPE::BLC_ROUTING_ROOT);
  EXPECT_TRUE(predicate.is_leaf(module("ROOT_BLC"), params(false)));
  EXPECT_TRUE(predicate.is_leaf(uip("r:i"), params(true))); // the rank picks the BLC view first
  EXPECT_FALSE(predicate.is_leaf(module("ROOT"), params(false)));
  EXPECT_FALSE(predicate.is_leaf(module("UNROUTED"), params(false)));
  EXPECT_FALSE(predicate.is_leaf(module("PLAIN"), params(false)));
}

TEST_F(BuildPredicate, SeesNoLeafInAnOutputAsSuch) {
  const KEP_RG_INSTANCE_IS_PRIMITIVE predicate = make();
  EXPECT_FALSE(predicate.is_leaf(uip("p:o"), params(false)));
}

TEST_F(BuildPredicate, EndsAtAPortInsertedInTheMasterOnWhicheverInstance) {
  m_store->add_insert_node(port("PLAIN:i"), "node");
  const KEP_RG_INSTANCE_IS_PRIMITIVE predicate = make();
  EXPECT_TRUE(predicate.is_inserted_node(port("PLAIN:i")));
  EXPECT_FALSE(predicate.is_inserted_node(port("PLAIN:j")));
  for (const bool honour_tunnels : {false, true}) {
    EXPECT_TRUE(predicate.is_inserted_node(uip("p:i"), params(honour_tunnels)));
    EXPECT_TRUE(predicate.is_terminating_uip(uip("q:i"), params(honour_tunnels)));
    EXPECT_FALSE(predicate.is_terminating_uip(uip("q:j"), params(honour_tunnels)));
  }
}

TEST_F(BuildPredicate, EndsAtTheOutputOfAnExceptionInstanceOfASkipMuxOnThatInstanceAlone) {
  add_mux("PLAIN", true)->add_skip_exception_instance(m_model.instance("TOP/q"));
  const KEP_RG_INSTANCE_IS_PRIMITIVE predicate = make();
  EXPECT_TRUE(predicate.is_terminating_uip(uip("q:o"), params(true)));
  EXPECT_FALSE(predicate.is_terminating_uip(uip("q:i"), params(true)));
  EXPECT_FALSE(predicate.is_terminating_uip(uip("p:o"), params(true)));
}

TEST_F(BuildPredicate, EndsNowhereInATunnelOfTypeTwoWhenTunnelsCount) {
  m_store->add_insert_node(port("PLAIN:i"), "node");
  m_store->add_tunnel_type(module("PLAIN"), KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH);
  const KEP_RG_INSTANCE_IS_PRIMITIVE predicate = make();
  EXPECT_FALSE(predicate.is_terminating_uip(uip("p:i"), params(true)));
  EXPECT_TRUE(predicate.is_terminating_uip(uip("p:i"), params(false)));
  EXPECT_TRUE(predicate.is_inserted_node(port("PLAIN:i"))); // the port alone knows of no tunnel
}

TEST_F(BuildPredicate, AsksForTheTunnelOfTheMasterThatTheRankPicks) {
  m_store->add_insert_node(port("ROOT:i"), "node");
  m_store->add_tunnel_type(module("ROOT"), KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH);
  const KEP_RG_INSTANCE_IS_PRIMITIVE predicate = make();
  EXPECT_TRUE(predicate.is_terminating_uip(uip("r:i"), params(true)));
  m_store->add_tunnel_type(module("ROOT_BLC"), KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH);
  EXPECT_FALSE(predicate.is_terminating_uip(uip("r:i"), params(true)));
}

TEST_F(BuildPredicate, IsTotalOnNullAndEmptyValues) {
  const KEP_RG_INSTANCE_IS_PRIMITIVE predicate = make();
  EXPECT_FALSE(predicate.is_inserted_node(nullptr));
  EXPECT_FALSE(predicate.is_inserted_node(m_no_uip, params(true)));
  EXPECT_FALSE(predicate.is_terminating_uip(m_no_uip, params(false)));
}

TEST_F(BuildPredicate, IgnoresNoPortOfANet) {
  const KEP_RG_INSTANCE_IS_PRIMITIVE predicate = make();
  const KEP_UNFOLDED_MODULE top = m_db->get_top_unfolded_module(KEP_VIEW_TYPE::LOGICAL);
  EXPECT_FALSE(predicate.is_ignore_port(top.get_unfolded_port_by_index(0)));
  EXPECT_FALSE(predicate.is_ignore_port(m_no_port));
}

} // namespace instance_is_primitive_test
