#include "kep/kep_routing_graph.h"
#include "kep/kep_routing_primitive_cache.h"
#include "tests/support/model_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

namespace routing_primitive_test {

using test_model::instance;
using test_model::make_db;
using test_model::module;
using test_model::port;
using test_model::uip;
using testing::ElementsAre;
using testing::IsEmpty;

const char* const DEVICE = R"(
  module MUX
    ports >a >b <y <z
  module OTHER
    ports >a <z
  module TILE
    ports >in
    inst m MUX
    inst k MUX
  module TOP top
    inst t TILE
    inst u TILE
)";

class RoutingPrimitive : public testing::Test {
protected:
  const std::unique_ptr<KEP_DB> m_db = make_db(DEVICE);
  KEP_ROUTING_PRIMITIVE& m_store = *m_db->get_routing_template_graph()->get_routing_primitive();
  KEP_MODULE* const m_mux = module(*m_db, "MUX");
  KEP_PORT* const m_a = port(*m_db, "MUX", "a");
  KEP_PORT* const m_b = port(*m_db, "MUX", "b");
  KEP_PORT* const m_y = port(*m_db, "MUX", "y");
  KEP_PORT* const m_z = port(*m_db, "MUX", "z");
  KEP_INSTANCE* const m_m = instance(*m_db, "TILE", "m");
  KEP_INSTANCE* const m_k = instance(*m_db, "TILE", "k");
};

template <class RANGE>
auto pointers(const RANGE& range) {
  return std::vector(range.begin(), range.end());
}

TEST_F(RoutingPrimitive, OfANewDatabaseIsThereAndEmpty) {
  const KEP_ROUTING::GRAPH* graph = m_db->get_routing_template_graph();
  ASSERT_NE(graph, nullptr);
  EXPECT_EQ(graph->find_routing_primitive(), &m_store);
  EXPECT_FALSE(m_store.is_initialized());
  EXPECT_EQ(m_store.get_non_template_mux_skip_path_inst_name_pattern(), "");
  EXPECT_THAT(pointers(m_store.iter_routing_roots(false)), IsEmpty());
  EXPECT_THAT(pointers(m_store.iter_routing_muxes(false)), IsEmpty());
  EXPECT_THAT(pointers(m_store.iter_routing_arcs(false)), IsEmpty());
  EXPECT_THAT(pointers(m_store.iter_routing_flyovers(false)), IsEmpty());
  EXPECT_FALSE(m_store.is_insert_node(m_a));
  EXPECT_FALSE(m_store.is_remove_node(m_a));
  EXPECT_FALSE(m_store.is_merge_disabled(m_a));
  EXPECT_FALSE(m_store.is_not_template(m_mux));
  EXPECT_EQ(m_store.find_insert_node_name(m_a), nullptr);
  EXPECT_EQ(m_store.get_hipi_type(m_a), KEP_ROUTING_PRIMITIVE_HIPI::NONE);
  EXPECT_EQ(m_store.get_tunnel_type(m_mux), KEP_ROUTING_PRIMITIVE_TUNNEL::NONE);
  EXPECT_EQ(m_store.get_tunnel_type(nullptr), KEP_ROUTING_PRIMITIVE_TUNNEL::NONE);
  EXPECT_EQ(m_store.find_wire_type(uip(*m_db, "t/m:a")), nullptr);
  EXPECT_EQ(m_store.find_wire_type(m_mux, KEP_RELATIVE_PATH::create({}, m_a)), nullptr);
}

TEST_F(RoutingPrimitive, IsInitializedByAnythingWritten) {
  const auto after = [](auto write) {
    const auto fresh = make_db(DEVICE);
    KEP_ROUTING_PRIMITIVE& written = *fresh->get_routing_template_graph()->get_routing_primitive();
    write(*fresh, written);
    return written.is_initialized();
  };
  EXPECT_FALSE(after([](KEP_DB&, KEP_ROUTING_PRIMITIVE&) {}));
  EXPECT_TRUE(after([](KEP_DB&, KEP_ROUTING_PRIMITIVE& s) { s.initialize(); }));
  EXPECT_TRUE(after([](KEP_DB& d, KEP_ROUTING_PRIMITIVE& s) { s.add_routing_root(module(d, "MUX")); }));
  EXPECT_TRUE(after([](KEP_DB& d, KEP_ROUTING_PRIMITIVE& s) { s.add_insert_node(port(d, "MUX", "a"), ""); }));
  EXPECT_TRUE(after([](KEP_DB& d, KEP_ROUTING_PRIMITIVE& s) { s.add_remove_node(port(d, "MUX", "a")); }));
  EXPECT_TRUE(after([](KEP_DB& d, KEP_ROUTING_PRIMITIVE& s) { s.add_is_not_template(module(d, "MUX")); }));
  EXPECT_TRUE(
      after([](KEP_DB& d, KEP_ROUTING_PRIMITIVE& s) { s.add_is_merge_disabled(port(d, "MUX", "a")); }));
  EXPECT_TRUE(after([](KEP_DB& d, KEP_ROUTING_PRIMITIVE& s) {
    s.add_hipi(port(d, "MUX", "a"), KEP_ROUTING_PRIMITIVE_HIPI::M);
  }));
  EXPECT_TRUE(after([](KEP_DB& d, KEP_ROUTING_PRIMITIVE& s) {
    s.add_tunnel_type(module(d, "MUX"), KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH);
  }));
  EXPECT_TRUE(after(
      [](KEP_DB&, KEP_ROUTING_PRIMITIVE& s) { s.set_non_template_mux_skip_path_inst_name_pattern("x"); }));
  EXPECT_TRUE(after([](KEP_DB& d, KEP_ROUTING_PRIMITIVE& s) {
    s.add_wire_type(KEP_RELATIVE_PATH::create({}, port(d, "MUX", "a")), "w", 0);
  }));
  EXPECT_TRUE(after(
      [](KEP_DB& d, KEP_ROUTING_PRIMITIVE&) { KEP_ROUTING_MUX::allocate(&d, module(d, "MUX"), false); }));
  EXPECT_TRUE(after([](KEP_DB& d, KEP_ROUTING_PRIMITIVE&) {
    KEP_ROUTING_ARC::allocate(&d, port(d, "MUX", "a"), port(d, "MUX", "z"), nullptr);
  }));
  EXPECT_TRUE(after([](KEP_DB& d, KEP_ROUTING_PRIMITIVE&) {
    KEP_ROUTING_FLYOVER::allocate(&d, port(d, "MUX", "a"), port(d, "MUX", "z"));
  }));
}

TEST_F(RoutingPrimitive, KnowsTheExceptionInstancesOfAMuxInTheirOrderHoweverOftenTheyCame) {
  KEP_ROUTING_MUX* own = KEP_ROUTING_MUX::allocate(m_db.get(), m_mux, false);
  KEP_ROUTING_MUX* other = KEP_ROUTING_MUX::allocate(m_db.get(), m_mux, false);
  const KEP_ROUTING_ARC* arc = KEP_ROUTING_ARC::allocate(m_db.get(), m_a, m_z, own);
  EXPECT_FALSE(own->is_skip_exception_instance(m_m));
  for (KEP_INSTANCE* each : {m_k, m_m, m_k})
    own->add_skip_exception_instance(each);
  EXPECT_THAT(pointers(own->iter_skip_exception_instances()), ElementsAre(m_k, m_m, m_k));
  EXPECT_EQ(own->get_num_skip_exception_instance(), 3U);
  EXPECT_TRUE(own->is_skip_exception_instance(m_m));
  EXPECT_TRUE(own->is_skip_exception_instance(m_k));
  EXPECT_FALSE(other->is_skip_exception_instance(m_k)) << "each mux has its own";
  EXPECT_TRUE(arc->is_skip(m_k));
  own->set_skip(true);
  EXPECT_FALSE(arc->is_skip(m_k));
  own->remove_skip_exception_instances();
  EXPECT_THAT(pointers(own->iter_skip_exception_instances()), IsEmpty());
  EXPECT_EQ(own->get_num_skip_exception_instance(), 0U);
  EXPECT_FALSE(own->has_skip_exception_instances());
  EXPECT_FALSE(own->is_skip_exception_instance(m_k));
  EXPECT_TRUE(arc->is_skip(m_k));
  own->add_skip_exception_instance(m_m);
  EXPECT_THAT(pointers(own->iter_skip_exception_instances()), ElementsAre(m_m));
}

TEST_F(RoutingPrimitive, IsWalkedAsBlcAndThenInTheLogicalView) {
  const KEP_VIEW_TYPE_RANK& rank = KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank;
  ASSERT_EQ(rank.size(), 2);
  EXPECT_EQ(rank.get_view_type(0), KEP_VIEW_TYPE::BLC);
  EXPECT_EQ(rank.get_view_type(1), KEP_VIEW_TYPE::LOGICAL);
  EXPECT_EQ(m_store.get_view_type_rank().size(), 2);
  EXPECT_EQ(m_store.get_view_type_rank().get_view_type(0), KEP_VIEW_TYPE::BLC);
}

TEST_F(RoutingPrimitive, KeepsEachRoutingRootOnceInOrder) {
  KEP_MODULE* tile = module(*m_db, "TILE");
  m_store.add_routing_root(tile);
  m_store.add_routing_root(m_mux);
  m_store.add_routing_root(tile);
  EXPECT_THAT(pointers(m_store.iter_routing_roots(false)), ElementsAre(tile, m_mux));
}

TEST_F(RoutingPrimitive, KeepsTheMarksOfPortsApart) {
  m_store.add_insert_node(m_a, "name");
  m_store.add_remove_node(m_b);
  m_store.add_is_merge_disabled(m_y);
  m_store.add_hipi(m_z, KEP_ROUTING_PRIMITIVE_HIPI::P);
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(m_db.get());
  for (const KEP_PORT* each : m_mux->iter_ports()) {
    EXPECT_EQ(m_store.is_insert_node(each), each == m_a);
    EXPECT_EQ(m_store.is_remove_node(each), each == m_b);
    EXPECT_EQ(m_store.is_merge_disabled(each), each == m_y);
    EXPECT_EQ(m_store.get_hipi_type(each),
              each == m_z ? KEP_ROUTING_PRIMITIVE_HIPI::P : KEP_ROUTING_PRIMITIVE_HIPI::NONE);
    EXPECT_EQ(cache.is_insert_node(each), each == m_a);
    EXPECT_EQ(cache.is_remove_node(each), each == m_b);
    EXPECT_EQ(cache.is_merge_disabled(each), each == m_y);
    EXPECT_EQ(cache.is_hipi(each, KEP_ROUTING_PRIMITIVE_HIPI::P), each == m_z);
    EXPECT_EQ(cache.is_hipi(each, KEP_ROUTING_PRIMITIVE_HIPI::M), false);
    EXPECT_EQ(cache.get_hipi_type(each), m_store.get_hipi_type(each));
  }
  EXPECT_FALSE(m_store.is_insert_node(port(*m_db, "OTHER", "a")));
  ASSERT_NE(m_store.find_insert_node_name(m_a), nullptr);
  EXPECT_EQ(*m_store.find_insert_node_name(m_a), "name");
  EXPECT_EQ(m_store.find_insert_node_name(m_b), nullptr);
}

TEST_F(RoutingPrimitive, TakesAllMarksOnOnePortTogether) {
  m_store.add_hipi(m_a, KEP_ROUTING_PRIMITIVE_HIPI::P);
  m_store.add_insert_node(m_a, "n");
  m_store.add_remove_node(m_a);
  m_store.add_is_merge_disabled(m_a);
  m_store.add_wire_type(KEP_RELATIVE_PATH::create({}, m_a), "w", 0);
  m_store.add_hipi(m_a, KEP_ROUTING_PRIMITIVE_HIPI::M);
  EXPECT_TRUE(m_store.is_insert_node(m_a) && m_store.is_remove_node(m_a) && m_store.is_merge_disabled(m_a));
  EXPECT_EQ(m_store.get_hipi_type(m_a), KEP_ROUTING_PRIMITIVE_HIPI::M)
      << "the later type replaces the earlier";
}

TEST_F(RoutingPrimitive, KeepsMarksOfModules) {
  m_store.add_is_not_template(m_mux);
  m_store.add_tunnel_type(m_mux, KEP_ROUTING_PRIMITIVE_TUNNEL::SOURCE);
  m_store.add_tunnel_type(m_mux, KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH);
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(m_db.get());
  for (const KEP_MODULE* each : m_db->iter_modules(true)) {
    EXPECT_EQ(m_store.is_not_template(each), each == m_mux);
    EXPECT_EQ(cache.is_not_template(each), each == m_mux);
    EXPECT_EQ(static_cast<int>(m_store.get_tunnel_type(each)), each == m_mux ? 2 : 0);
  }
}

TEST_F(RoutingPrimitive, KeepsThePatternLastSet) {
  m_store.set_non_template_mux_skip_path_inst_name_pattern("first");
  m_store.set_non_template_mux_skip_path_inst_name_pattern(".*_x");
  EXPECT_EQ(m_store.get_non_template_mux_skip_path_inst_name_pattern(), ".*_x");
}

TEST_F(RoutingPrimitive, AMuxHasItsModuleFlagAndArcs) {
  KEP_ROUTING_MUX* skipping = KEP_ROUTING_MUX::allocate(m_db.get(), m_mux, true);
  KEP_ROUTING_MUX* plain = KEP_ROUTING_MUX::allocate(m_db.get(), m_mux, false);
  EXPECT_EQ(skipping->get_module(), m_mux);
  EXPECT_TRUE(skipping->get_skip());
  EXPECT_FALSE(plain->get_skip());
  plain->set_skip(true);
  EXPECT_TRUE(plain->get_skip());
  plain->set_skip(false);
  EXPECT_FALSE(plain->get_skip());
  KEP_ROUTING_ARC* b_z = KEP_ROUTING_ARC::allocate(m_db.get(), m_b, m_z, plain);
  KEP_ROUTING_ARC* a_z = KEP_ROUTING_ARC::allocate(m_db.get(), m_a, m_z, plain);
  KEP_ROUTING_ARC* a_y = KEP_ROUTING_ARC::allocate(m_db.get(), m_a, m_y, skipping);
  KEP_ROUTING_ARC* alone = KEP_ROUTING_ARC::allocate(m_db.get(), m_b, m_y, nullptr);
  EXPECT_THAT(pointers(plain->iter_routing_arcs()), ElementsAre(b_z, a_z));
  EXPECT_THAT(pointers(skipping->iter_routing_arcs()), ElementsAre(a_y));
  EXPECT_EQ(plain->find_routing_arc(m_a, m_z), a_z);
  EXPECT_EQ(plain->find_routing_arc(m_a, m_y), nullptr) << "an arc of the other mux";
  EXPECT_EQ(plain->find_routing_arc(m_z, m_a), nullptr);
  EXPECT_EQ(a_z->get_input(), m_a);
  EXPECT_EQ(a_z->get_output(), m_z);
  EXPECT_EQ(a_z->get_parent(), plain);
  EXPECT_EQ(alone->get_parent(), nullptr);
  EXPECT_THAT(pointers(m_store.iter_routing_muxes(false)), ElementsAre(skipping, plain));
  EXPECT_THAT(pointers(m_store.iter_routing_arcs(false)), ElementsAre(b_z, a_z, a_y, alone));
}

TEST_F(RoutingPrimitive, AFlyoverJoinsTwoPorts) {
  KEP_ROUTING_FLYOVER* flyover = KEP_ROUTING_FLYOVER::allocate(m_db.get(), m_a, m_z);
  EXPECT_EQ(flyover->get_input(), m_a);
  EXPECT_EQ(flyover->get_output(), m_z);
  EXPECT_THAT(pointers(m_store.iter_routing_flyovers(false)), ElementsAre(flyover));
}

TEST_F(RoutingPrimitive, SkipExceptionsComeAndGo) {
  KEP_ROUTING_MUX* made = KEP_ROUTING_MUX::allocate(m_db.get(), m_mux, false);
  EXPECT_FALSE(made->has_skip_exception_instances());
  EXPECT_EQ(made->get_num_skip_exception_instance(), 0U);
  EXPECT_THAT(pointers(made->iter_skip_exception_instances()), IsEmpty());
  made->add_skip_exception_instance(m_k);
  made->add_skip_exception_instance(m_m);
  EXPECT_TRUE(made->has_skip_exception_instances());
  EXPECT_EQ(made->get_num_skip_exception_instance(), 2U);
  EXPECT_THAT(pointers(made->iter_skip_exception_instances()), ElementsAre(m_k, m_m));
  made->remove_skip_exception_instances();
  EXPECT_FALSE(made->has_skip_exception_instances());
  EXPECT_EQ(made->get_num_skip_exception_instance(), 0U);
  EXPECT_THAT(pointers(made->iter_skip_exception_instances()), IsEmpty());
}

TEST_F(RoutingPrimitive, AnArcIsASkipPathByTheFlagInvertedOnExceptions) {
  for (const bool flag : {false, true}) {
    KEP_ROUTING_MUX* made = KEP_ROUTING_MUX::allocate(m_db.get(), m_mux, flag);
    const KEP_ROUTING_ARC* arc = KEP_ROUTING_ARC::allocate(m_db.get(), m_a, m_z, made);
    EXPECT_EQ(arc->is_skip(m_m), flag);
    EXPECT_EQ(arc->is_always_skip(), flag);
    made->add_skip_exception_instance(m_m);
    made->add_skip_exception_instance(m_m);
    EXPECT_EQ(arc->is_skip(m_m), !flag) << "entered twice, inverted once";
    EXPECT_EQ(arc->is_skip(m_k), flag);
    EXPECT_FALSE(arc->is_always_skip());
    made->set_skip(!flag);
    EXPECT_EQ(arc->is_skip(m_m), flag);
    made->remove_skip_exception_instances();
    EXPECT_EQ(arc->is_skip(m_m), !flag);
    EXPECT_EQ(arc->is_always_skip(), !flag);
  }
}

TEST_F(RoutingPrimitive, AnArcWithoutAMuxIsNoSkipPath) {
  const KEP_ROUTING_ARC* arc = KEP_ROUTING_ARC::allocate(m_db.get(), m_a, m_z, nullptr);
  EXPECT_FALSE(arc->is_skip(m_m));
  EXPECT_FALSE(arc->is_always_skip());
}

TEST_F(RoutingPrimitive, ACacheSeesWhatStoodInTheStoreWhenItWasMade) {
  KEP_ROUTING_MUX* first = KEP_ROUTING_MUX::allocate(m_db.get(), m_mux, false);
  KEP_ROUTING_MUX* second = KEP_ROUTING_MUX::allocate(m_db.get(), m_mux, false);
  const KEP_ROUTING_ARC* b_z = KEP_ROUTING_ARC::allocate(m_db.get(), m_b, m_z, second);
  KEP_ROUTING_ARC* a_z = KEP_ROUTING_ARC::allocate(m_db.get(), m_a, m_z, first);
  const KEP_ROUTING_ARC* a_y = KEP_ROUTING_ARC::allocate(m_db.get(), m_a, m_y, first);
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(m_db.get());
  EXPECT_TRUE(cache.has_routing_muxes(m_mux));
  EXPECT_FALSE(cache.has_routing_muxes(module(*m_db, "OTHER")));
  EXPECT_FALSE(cache.has_routing_muxes(nullptr));
  EXPECT_THAT(pointers(cache.iter_routing_muxes(m_mux)), ElementsAre(first, second));
  EXPECT_TRUE(cache.iter_routing_muxes(module(*m_db, "OTHER")).empty());
  ASSERT_NE(cache.find_arc_outputs(m_a), nullptr);
  EXPECT_THAT(*cache.find_arc_outputs(m_a), ElementsAre(a_z, a_y));
  EXPECT_THAT(*cache.find_arc_inputs(m_z), ElementsAre(b_z, a_z));
  EXPECT_EQ(cache.find_arc_outputs(m_z), nullptr) << "an output is no arc input";
  EXPECT_EQ(cache.find_arc_inputs(m_a), nullptr);
  EXPECT_EQ(cache.find_arc_outputs(nullptr), nullptr);
  EXPECT_EQ(cache.find_arc_outputs(port(*m_db, "OTHER", "a")), nullptr);
  EXPECT_TRUE(cache.is_arc_input(m_a) && cache.is_arc_input(m_b) && !cache.is_arc_input(m_z));
  EXPECT_TRUE(cache.is_arc_output(m_z) && cache.is_arc_output(m_y) && !cache.is_arc_output(m_a));
  EXPECT_EQ(cache.find_routing_arc(m_a, m_z), a_z);
  EXPECT_EQ(cache.find_routing_arc(m_b, m_y), nullptr);
  EXPECT_EQ(cache.find_routing_arc(m_z, m_a), nullptr);
}

TEST_F(RoutingPrimitive, ACacheLearnsWhatIsAddedToIt) {
  KEP_DB_ROUTING_PRIMITIVE_CACHE cache(m_db.get());
  KEP_ROUTING_MUX* made = KEP_ROUTING_MUX::allocate(m_db.get(), m_mux, false);
  KEP_ROUTING_ARC* first = KEP_ROUTING_ARC::allocate(m_db.get(), m_a, m_z, made);
  EXPECT_FALSE(cache.has_routing_muxes(m_mux)) << "allocated in the store, not added to the cache";
  EXPECT_FALSE(cache.is_arc_input(m_a));
  EXPECT_EQ(cache.find_routing_arc(m_a, m_z), nullptr);
  cache.add_routing_mux(made);
  cache.add_routing_arc(first);
  cache.add_routing_flyover(KEP_ROUTING_FLYOVER::allocate(m_db.get(), m_b, m_y));
  EXPECT_TRUE(cache.has_routing_muxes(m_mux));
  EXPECT_THAT(pointers(cache.iter_routing_muxes(m_mux)), ElementsAre(made));
  EXPECT_TRUE(cache.is_arc_input(m_a) && cache.is_arc_output(m_z));
  EXPECT_EQ(cache.find_routing_arc(m_a, m_z), first);
  EXPECT_FALSE(cache.is_arc_input(m_b)) << "a flyover is no arc";
  KEP_ROUTING_ARC* second = KEP_ROUTING_ARC::allocate(m_db.get(), m_a, m_z, nullptr);
  cache.add_routing_arc(second);
  EXPECT_THAT(*cache.find_arc_outputs(m_a), ElementsAre(first, second));
  EXPECT_EQ(cache.find_routing_arc(m_a, m_z), first) << "the first arc that joins the two";
}

TEST_F(RoutingPrimitive, ACacheReadsMarksThatCameAfterIt) {
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(m_db.get());
  m_store.add_remove_node(m_a);
  m_store.add_is_not_template(m_mux);
  EXPECT_TRUE(cache.is_remove_node(m_a));
  EXPECT_TRUE(cache.is_not_template(m_mux));
}

TEST_F(RoutingPrimitive, IteratorsOfWholeTablesHaveAVirtualDestructor) {
  static_assert(std::has_virtual_destructor_v<KEP_ROUTING_PRIMITIVE_ROUTING_MUX_ITER>);
  static_assert(std::has_virtual_destructor_v<KEP_ROUTING_PRIMITIVE_ROUTING_ARC_ITER>);
  static_assert(std::has_virtual_destructor_v<KEP_ROUTING_PRIMITIVE_ROUTING_FLYOVER_ITER>);
  static_assert(std::is_copy_constructible_v<KEP_ROUTING_MUX_ROUTING_ARC_ITER>);
  static_assert(sizeof(KEP_ROUTING_PRIMITIVE_HIPI) == 1 && sizeof(KEP_ROUTING_PRIMITIVE_TUNNEL) == 1);
}

TEST_F(RoutingPrimitive, TheWireTypeOfAPortAloneHoldsEverywhere) {
  m_store.add_wire_type(KEP_RELATIVE_PATH::create({}, m_a), "wire", 2);
  const KEP_WIRE_TYPE* found = m_store.find_wire_type(uip(*m_db, "u/k:a"));
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->get_name(), "wire");
  EXPECT_EQ(found->get_flags(), 2);
  EXPECT_EQ(m_store.find_wire_type(uip(*m_db, "u/k:b")), nullptr);
  EXPECT_EQ(m_store.find_wire_type(m_mux, KEP_RELATIVE_PATH::create({}, m_a)), found);
  EXPECT_EQ(m_store.find_wire_type(KEP_UNFOLDED_INST_PORT()), nullptr);
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(m_db.get());
  EXPECT_TRUE(cache.has_wire_type(m_a));
  EXPECT_EQ(cache.get_wire_type(m_a), "wire");
  EXPECT_FALSE(cache.has_wire_type(m_b));
  EXPECT_EQ(cache.get_wire_type(m_b), "");
}

TEST_F(RoutingPrimitive, TheWireTypeOfTheLongestPathHolds) {
  KEP_INSTANCE* t = instance(*m_db, "TOP", "t");
  m_store.add_wire_type(KEP_RELATIVE_PATH::create({t, m_m}, m_a), "from top", 0);
  m_store.add_wire_type(KEP_RELATIVE_PATH::create({m_m}, m_a), "from tile", 0);
  m_store.add_wire_type(KEP_RELATIVE_PATH::create({}, m_a), "alone", 0);
  EXPECT_EQ(m_store.find_wire_type(uip(*m_db, "t/m:a"))->get_name(), "from top");
  EXPECT_EQ(m_store.find_wire_type(uip(*m_db, "u/m:a"))->get_name(), "from tile");
  EXPECT_EQ(m_store.find_wire_type(uip(*m_db, "t/k:a"))->get_name(), "alone");
  EXPECT_EQ(m_store.find_wire_type(module(*m_db, "TILE"), KEP_RELATIVE_PATH::create({m_m}, m_a))->get_name(),
            "from tile");
  EXPECT_EQ(m_store.find_wire_type(module(*m_db, "TILE"), KEP_RELATIVE_PATH::create({m_k}, m_a)), nullptr)
      << "a path is asked for as it is";
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(m_db.get());
  EXPECT_EQ(cache.get_wire_type(m_a), "alone");
}

TEST_F(RoutingPrimitive, AWireTypeBelowAModuleSaysNothingOfThePortAlone) {
  m_store.add_wire_type(KEP_RELATIVE_PATH::create({m_m}, m_a), "from tile", 0);
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(m_db.get());
  EXPECT_FALSE(cache.has_wire_type(m_a));
  EXPECT_EQ(m_store.find_wire_type(uip(*m_db, "t/k:a")), nullptr);
  EXPECT_NE(m_store.find_wire_type(uip(*m_db, "u/m:a")), nullptr);
}

TEST_F(RoutingPrimitive, OfTwoWireTypesOnOnePathTheLaterHolds) {
  m_store.add_wire_type(KEP_RELATIVE_PATH::create({m_m}, m_a), "first", 1);
  m_store.add_wire_type(KEP_RELATIVE_PATH::create({m_m}, m_a), "second", 2);
  EXPECT_EQ(m_store.find_wire_type(uip(*m_db, "t/m:a"))->get_name(), "second");
  EXPECT_EQ(m_store.find_wire_type(uip(*m_db, "t/m:a"))->get_flags(), 2);
}

} // namespace routing_primitive_test
