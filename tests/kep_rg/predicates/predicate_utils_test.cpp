#include "kep_rg/kep_rg_instance_is_primitive.h"
#include "kep_rg/kep_rg_trace_predicate.h"
#include "tests/kep_rg/predicates/predicate_fixture.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace predicate_utils_test {

using testing::ElementsAre;
using testing::IsEmpty;

// Shows the test what a predicate makes of a value that no module can have.
template <class PREDICATE>
class EXPOSED : public PREDICATE {
public:
  using PREDICATE::is_leaf_type;
};

// What both predicates answer alike.
template <class PREDICATE>
class BothPredicates : public Predicate {
protected:
  static_assert(std::is_copy_constructible_v<PREDICATE> && std::is_move_constructible_v<PREDICATE>);
  static_assert(!std::is_polymorphic_v<PREDICATE>);
  static constexpr bool IS_TRACE = std::is_same_v<PREDICATE, KEP_RG_TRACE_PREDICATE>;
  static_assert(sizeof(typename PREDICATE::MODULE_TYPE) == 4);

  PREDICATE make(const KEP_VIEW_TYPE_RANK& rank = KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank) {
    if constexpr (IS_TRACE)
      return PREDICATE(m_db, primitives(), rank, nullptr);
    else
      return PREDICATE(m_db, primitives(), rank);
  }
  std::vector<std::string> outputs_of(const char* name) {
    std::vector<KEP_UNFOLDED_INST_PORT> outputs;
    make().get_trace_thru_outputs(uip(name), outputs);
    return names(outputs);
  }
  void add_flyover() { KEP_ROUTING_FLYOVER::allocate(m_db, port("PLAIN:i"), port("PLAIN:j")); }
  void set_spare_row(const char* path, bool is_spare_row) {
    m_db->get_legacy_api()->set_spare_row(m_model.unfolded_instance(path), is_spare_row);
  }
  static std::string header() {
    return IS_TRACE ? "h/kep_rg/kep_rg_trace_predicate.h" : "h/kep_rg/kep_rg_instance_is_primitive.h";
  }
};

using PREDICATES = testing::Types<KEP_RG_INSTANCE_IS_PRIMITIVE, KEP_RG_TRACE_PREDICATE>;
TYPED_TEST_SUITE(BothPredicates, PREDICATES);

TYPED_TEST(BothPredicates, ClassifyEveryModule) {
  using MODULE_TYPE = typename TypeParam::MODULE_TYPE;
  this->add_mux("PLAIN", false);
  this->m_store->add_routing_root(this->module("ROOT"));
  this->m_store->add_routing_root(this->module("ROOT_BLC"));
  const TypeParam predicate = this->make();
  EXPECT_EQ(predicate.get_module_type(this->module("PLAIN")), MODULE_TYPE::STOP_MODULE);
  EXPECT_EQ(predicate.get_module_type(this->module("ROOT_BLC")), MODULE_TYPE::BLC_ROUTING_ROOT);
  EXPECT_EQ(predicate.get_module_type(this->module("ROOT")), MODULE_TYPE::ROUTING_ROOT);
  EXPECT_EQ(predicate.get_module_type(this->module("UNROUTED")), MODULE_TYPE::IP_ROOT_NOT_ROUTED);
  EXPECT_EQ(predicate.get_module_type(this->module("TOP")), MODULE_TYPE::UNCLASSIFIED);
  EXPECT_EQ(predicate.get_module_type(nullptr), MODULE_TYPE::UNCLASSIFIED);
}

TYPED_TEST(BothPredicates, NumberTheSixTypesAlike) {
  using MODULE_TYPE = typename TypeParam::MODULE_TYPE;
  EXPECT_EQ(static_cast<int>(MODULE_TYPE::STOP_MODULE), 0);
  EXPECT_EQ(static_cast<int>(MODULE_TYPE::STOP_INSTANCE_MASTER), 1);
  EXPECT_EQ(static_cast<int>(MODULE_TYPE::BLC_ROUTING_ROOT), 2);
  EXPECT_EQ(static_cast<int>(MODULE_TYPE::ROUTING_ROOT), 3);
  EXPECT_EQ(static_cast<int>(MODULE_TYPE::IP_ROOT_NOT_ROUTED), 4);
  EXPECT_EQ(static_cast<int>(MODULE_TYPE::UNCLASSIFIED), 5);
}

TYPED_TEST(BothPredicates, KeepAStopModuleThatIsARoutingRootAStopModule) {
  using MODULE_TYPE = typename TypeParam::MODULE_TYPE;
  this->add_mux("ROOT", false);
  this->m_store->add_routing_root(this->module("ROOT"));
  const TypeParam predicate = this->make();
  EXPECT_EQ(predicate.get_module_type(this->module("ROOT")), MODULE_TYPE::STOP_MODULE);
  EXPECT_TRUE(predicate.is_leaf(this->module("ROOT"), this->params(false)));
}

TYPED_TEST(BothPredicates, SeeALeafInAStopModuleAndInTheMasterOfAStopInstance) {
  using EXPOSED_TYPE = EXPOSED<TypeParam>;
  using MODULE_TYPE = typename TypeParam::MODULE_TYPE;
  EXPECT_TRUE(EXPOSED_TYPE::is_leaf_type(MODULE_TYPE::STOP_MODULE));
  EXPECT_TRUE(EXPOSED_TYPE::is_leaf_type(MODULE_TYPE::STOP_INSTANCE_MASTER));
  EXPECT_FALSE(EXPOSED_TYPE::is_leaf_type(MODULE_TYPE::ROUTING_ROOT));
  EXPECT_FALSE(EXPOSED_TYPE::is_leaf_type(MODULE_TYPE::IP_ROOT_NOT_ROUTED));
  EXPECT_FALSE(EXPOSED_TYPE::is_leaf_type(MODULE_TYPE::UNCLASSIFIED));
}

TYPED_TEST(BothPredicates, AssertThatATypeIsOneOfTheSix) {
  using MODULE_TYPE = typename TypeParam::MODULE_TYPE;
  EXPECT_EQ(assertion_text([] { EXPOSED<TypeParam>::is_leaf_type(static_cast<MODULE_TYPE>(6)); }),
            "Assertion failed: false in " + this->header() + "@LINE");
}

TYPED_TEST(BothPredicates, LookThroughAStopModuleOfTunnelTypeTwoWhenTunnelsCount) {
  this->add_mux("PLAIN", false);
  this->m_store->add_tunnel_type(this->module("PLAIN"), KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH);
  const TypeParam predicate = this->make();
  EXPECT_FALSE(predicate.is_leaf(this->module("PLAIN"), this->params(true)));
  EXPECT_FALSE(predicate.is_leaf(this->uip("p:i"), this->params(true)));
  EXPECT_TRUE(predicate.is_leaf(this->module("PLAIN"), this->params(false)));
  EXPECT_TRUE(predicate.is_leaf(this->uip("p:i"), this->params(false)));
}

TYPED_TEST(BothPredicates, LookThroughNoOtherTypeOfTunnel) {
  using TUNNEL = KEP_ROUTING_PRIMITIVE_TUNNEL;
  this->add_mux("PLAIN", false);
  const TypeParam predicate = this->make();
  for (const TUNNEL tunnel : {TUNNEL::SOURCE, TUNNEL::TARGET}) {
    this->m_store->add_tunnel_type(this->module("PLAIN"), tunnel);
    EXPECT_TRUE(predicate.is_leaf(this->uip("p:i"), this->params(true)));
  }
}

TYPED_TEST(BothPredicates, LookAtTheMasterThatTheRankPicks) {
  this->add_mux("ROOT", false); // in the logical view a stop module, in the BLC view none
  EXPECT_TRUE(
      this->make(KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::LOGICAL)).is_leaf(this->uip("r:i"), this->params(false)));
  EXPECT_FALSE(this->make().is_leaf(this->uip("r:i"), this->params(false)));
}

TYPED_TEST(BothPredicates, SeeNoLeafInAMasterWithoutAViewOfTheRankNorInNothing) {
  this->add_mux("VIEWED", false);
  const TypeParam predicate = this->make();
  EXPECT_TRUE(predicate.is_leaf(this->module("VIEWED"), this->params(false)));
  EXPECT_FALSE(predicate.is_leaf(this->uip("v:i"), this->params(false)));
  EXPECT_FALSE(predicate.is_leaf(static_cast<const KEP_MODULE*>(nullptr), this->params(true)));
  EXPECT_FALSE(predicate.is_leaf(this->m_no_uip, this->params(false)));
  EXPECT_FALSE(predicate.is_leaf(this->m_no_uip, this->params(true)));
}

TYPED_TEST(BothPredicates, KeepTheClassificationInACopyAndAfterAMove) {
  using MODULE_TYPE = typename TypeParam::MODULE_TYPE;
  this->add_mux("PLAIN", false);
  std::optional<TypeParam> original(this->make());
  const TypeParam copy(*original);
  TypeParam source(*original);
  original.reset();
  const TypeParam moved(std::move(source));
  EXPECT_EQ(copy.get_module_type(this->module("PLAIN")), MODULE_TYPE::STOP_MODULE);
  EXPECT_EQ(moved.get_module_type(this->module("PLAIN")), MODULE_TYPE::STOP_MODULE);
}

TYPED_TEST(BothPredicates, AssertThatTheShortFormOfTheIgnoreTestIsNotReached) {
  const TypeParam predicate = this->make();
  EXPECT_EQ(assertion_text([&] { predicate.is_ignore_uip(this->uip("p:i"), this->uip("p:i")); }),
            "Assertion failed: false in " + this->header() + "@LINE: Reached wrong is_ignore_uip routine");
}

TYPED_TEST(BothPredicates, IgnoreASecondOutputOnTheNetOfTheExcludedOutput) {
  const TypeParam predicate = this->make();
  const auto ignores = [&](const char* uip, const char* exclude) {
    return predicate.is_ignore_uip(this->uip(uip), this->uip(exclude), {}, {}, {});
  };
  EXPECT_TRUE(ignores("p:o", "q:o"));
  EXPECT_TRUE(ignores("p:o", "p:o"));
  EXPECT_FALSE(ignores("p:i", "q:o")); // one is no output
  EXPECT_FALSE(ignores("p:o", "p:i"));
  EXPECT_FALSE(ignores("p:o", "r:o")); // on another net
  EXPECT_FALSE(ignores("p:b", "q:b")); // bidirectional, both unconnected
}

TYPED_TEST(BothPredicates, IgnoreNothingWithoutAnExcludedUip) {
  const TypeParam predicate = this->make();
  for (const char* name : {"p:i", "p:o", "q:o", "p:b", "buf:a"})
    EXPECT_FALSE(predicate.is_ignore_uip(this->uip(name), this->m_no_uip, {}, {}, {})) << name;
  EXPECT_FALSE(predicate.is_ignore_uip(this->m_no_uip, this->uip("p:o"), {}, {}, {}));
}

TYPED_TEST(BothPredicates, LookAtABidirectionalBufferFromTheExcludedPointAlone) {
  const TypeParam predicate = this->make();
  const KEP_UNFOLDED_INST_PORT here = this->uip("q:o");
  const KEP_UNFOLDED_INST_PORT elsewhere = this->uip("r:o");
  const KEP_UNFOLDED_MODULE top = this->m_db->get_top_unfolded_module(KEP_VIEW_TYPE::LOGICAL);
  const KEP_UNFOLDED_PORT port = top.get_unfolded_port_by_index(0);
  const KEP_UNFOLDED_PORT& no_port = this->m_no_port;
  const KEP_UNFOLDED_INST_PORT& no_uip = this->m_no_uip;
  const auto ignores = [&](const KEP_UNFOLDED_INST_PORT& exclude_uip, const KEP_UNFOLDED_PORT& exclude_port,
                           const KEP_UNFOLDED_INST_PORT& cur_uip, const KEP_UNFOLDED_PORT& cur_port) {
    return predicate.is_ignore_uip(this->uip("buf:a"), exclude_uip, exclude_port, cur_uip, cur_port);
  };
  EXPECT_FALSE(ignores(no_uip, no_port, no_uip, no_port));
  EXPECT_FALSE(ignores(here, no_port, here, no_port));
  EXPECT_TRUE(ignores(here, no_port, elsewhere, no_port));
  EXPECT_TRUE(ignores(no_uip, no_port, here, no_port));
  EXPECT_FALSE(ignores(no_uip, port, no_uip, port));
  EXPECT_TRUE(ignores(no_uip, no_port, no_uip, port));
  EXPECT_TRUE(ignores(here, no_port, here, port));
}

TYPED_TEST(BothPredicates, DoNotCountTheSameNetForABidirectionalBuffer) {
  const TypeParam predicate = this->make();
  EXPECT_FALSE(predicate.is_ignore_uip(this->uip("buf_2:o"), this->uip("q:o"), {}, {}, {}));
}

TYPED_TEST(BothPredicates, GoOnFromOutputsAndBidirectionalPorts) {
  const TypeParam predicate = this->make();
  EXPECT_TRUE(predicate.should_trace_thru_fanout(this->uip("p:o")));
  EXPECT_TRUE(predicate.should_trace_thru_fanout(this->uip("p:b")));
  EXPECT_FALSE(predicate.should_trace_thru_fanout(this->uip("p:i")));
  EXPECT_FALSE(predicate.should_trace_thru_fanout(this->m_no_uip));
}

TYPED_TEST(BothPredicates, LeadAcrossTheSkipPathsOfAModuleOnEveryInstanceInTheirOrder) {
  KEP_ROUTING_MUX* mux = this->add_mux("PLAIN", true);
  KEP_ROUTING_ARC::allocate(this->m_db, this->port("PLAIN:i"), this->port("PLAIN:b"), mux);
  KEP_ROUTING_ARC::allocate(this->m_db, this->port("PLAIN:j"), this->port("PLAIN:b"), mux);
  EXPECT_THAT(this->outputs_of("p:i"), ElementsAre("p:o", "p:b"));
  EXPECT_THAT(this->outputs_of("q:i"), ElementsAre("q:o", "q:b"));
  EXPECT_THAT(this->outputs_of("q:j"), ElementsAre("q:b"));
  EXPECT_THAT(this->outputs_of("q:o"), IsEmpty());
  EXPECT_THAT(this->outputs_of("r:i"), IsEmpty());
}

TYPED_TEST(BothPredicates, AppendToTheOutputsThatAreThere) {
  this->add_mux("PLAIN", true);
  std::vector<KEP_UNFOLDED_INST_PORT> outputs{this->uip("r:o")};
  const TypeParam predicate = this->make();
  predicate.get_trace_thru_outputs(this->uip("q:o"), outputs);
  predicate.get_trace_thru_outputs(this->m_no_uip, outputs);
  predicate.get_trace_thru_outputs(this->uip("q:i"), outputs);
  EXPECT_THAT(this->names(outputs), ElementsAre("r:o", "q:o"));
}

TYPED_TEST(BothPredicates, LeadAcrossTheSkipPathsOfASingleInstance) {
  KEP_ROUTING_MUX* mux = this->add_mux("PLAIN", false);
  mux->add_skip_exception_instance(this->m_model.instance("TOP/q"));
  EXPECT_THAT(this->outputs_of("q:i"), ElementsAre("q:o"));
  EXPECT_THAT(this->outputs_of("p:i"), IsEmpty());
}

TYPED_TEST(BothPredicates, LeadNowhereFromAnInputThatAnExceptionTakesAsAWhole) {
  KEP_ROUTING_MUX* mux = this->add_mux("PLAIN", true);
  mux->add_skip_exception_instance(this->m_model.instance("TOP/q"));
  KEP_ROUTING_ARC::allocate(this->m_db, this->port("PLAIN:i"), this->port("PLAIN:b"),
                            KEP_ROUTING_MUX::allocate(this->m_db, this->module("PLAIN"), true));
  EXPECT_THAT(this->outputs_of("p:i"), ElementsAre("p:o", "p:b"));
  EXPECT_THAT(this->outputs_of("q:i"), IsEmpty()); // not even to b, which no exception lists
}

TYPED_TEST(BothPredicates, DoNotAskTheSingleInstanceWhereTheModuleHasSkipPaths) {
  KEP_ROUTING_MUX* skip = this->add_mux("PLAIN", true);
  skip->add_skip_exception_instance(this->m_model.instance("TOP/q"));
  KEP_ROUTING_MUX* other = KEP_ROUTING_MUX::allocate(this->m_db, this->module("PLAIN"), false);
  KEP_ROUTING_ARC::allocate(this->m_db, this->port("PLAIN:i"), this->port("PLAIN:b"), other);
  other->add_skip_exception_instance(this->m_model.instance("TOP/q"));
  EXPECT_THAT(this->outputs_of("q:i"), IsEmpty());
}

TYPED_TEST(BothPredicates, TakeAFlyoverInASpareRowAlone) {
  this->add_flyover();
  this->set_spare_row("p", true);
  this->set_spare_row("q", false);
  EXPECT_THAT(this->outputs_of("p:i"), ElementsAre("p:j"));
  EXPECT_THAT(this->outputs_of("q:i"), IsEmpty());
  EXPECT_THAT(this->outputs_of("p:j"), IsEmpty());
}

TYPED_TEST(BothPredicates, NeverTakeAFlyoverOnAnInstanceWithoutAttributes) {
  this->add_flyover();
  this->set_spare_row("p", true);
  EXPECT_THAT(this->outputs_of("q:i"), IsEmpty());
}

TYPED_TEST(BothPredicates, TakeNoFlyoverThatLeadsNowhere) {
  KEP_ROUTING_FLYOVER::allocate(this->m_db, this->port("PLAIN:i"), nullptr);
  this->set_spare_row("p", true);
  EXPECT_THAT(this->outputs_of("p:i"), IsEmpty());
}

TYPED_TEST(BothPredicates, TakeNoFlyoverWhereASkipPathAnswers) {
  this->add_flyover();
  this->add_mux("PLAIN", true);
  this->set_spare_row("p", true);
  EXPECT_THAT(this->outputs_of("p:i"), ElementsAre("p:o"));
}

TYPED_TEST(BothPredicates, TakeAFlyoverFromAnInputWhoseSkipPathsAnExceptionTook) {
  this->add_flyover();
  this->add_mux("PLAIN", true)->add_skip_exception_instance(this->m_model.instance("TOP/q"));
  this->set_spare_row("q", true);
  EXPECT_THAT(this->outputs_of("q:i"), ElementsAre("q:j"));
}

} // namespace predicate_utils_test
