#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_primitives.h"
#include "tests/support/build_access.h"
#include "tests/support/failure_text.h"
#include "tests/support/named_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <optional>
#include <type_traits>
#include <vector>

namespace primitives_test {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::Pointee;
using testing::UnorderedElementsAre;
using ACCESS = KEP_RG_TEST_ACCESS;
using HIPI = KEP_ROUTING_PRIMITIVE_HIPI;
using TUNNEL = KEP_ROUTING_PRIMITIVE_TUNNEL;

static_assert(std::is_copy_constructible_v<KEP_RG_PRIMITIVES> &&
              std::is_copy_assignable_v<KEP_RG_PRIMITIVES>);
static_assert(std::is_move_constructible_v<KEP_RG_PRIMITIVES> &&
              std::is_move_assignable_v<KEP_RG_PRIMITIVES>);

constexpr const char* MODEL_TEXT = R"(
  module MUX group=mux view=LOGICAL ip_root
    ports >i >j <o
  module MUX_TWIN group=mux view=LOGICAL_TWIN ip_root
    ports >i >j <o
  module MUX_BLC group=mux view=BLC ip_root
    ports >i >j <o
  module PLAIN
    ports >i >j <o
  module TRAITED trait_0
    ports >i <o
  module BUFFER bidir_buffer
    ports =a =b
  module BLOCK
    inst x_mux_x PLAIN
    inst other PLAIN
  module TOP top group=top
    inst a PLAIN
    inst b PLAIN
    inst block BLOCK
    inst block_2 BLOCK
    inst m MUX
  module TOP_TWIN group=top view=LOGICAL_TWIN
    inst block BLOCK
    inst t_mux PLAIN
  module TOP_BLC group=top view=BLC
    inst c_mux PLAIN
)";

class Primitives : public testing::Test {
protected:
  explicit Primitives(const char* text = MODEL_TEXT) : m_model(text) {}

  KEP_PORT* port(const char* text) const { return m_model.port(text); }
  KEP_MODULE* module(const char* key) const { return m_model.module(key); }
  KEP_INSTANCE* instance(const char* text) const { return m_model.instance(text); }
  KEP_INST_PORT* inst_port(const char* text) const { return m_model.inst_port(text); }

  KEP_ROUTING_MUX* add_mux(const char* key, bool skip, std::initializer_list<const char*> inputs) {
    KEP_ROUTING_MUX* mux = KEP_ROUTING_MUX::allocate(m_db, module(key), skip);
    for (const char* input : inputs) {
      KEP_ROUTING_ARC::allocate(m_db, module(key)->find_port(input), module(key)->find_port("o"), mux);
    }
    return mux;
  }
  /// The tables of the description as it stands now.
  KEP_RG_PRIMITIVES digest() {
    m_cache.emplace(m_db);
    return KEP_RG_PRIMITIVES(m_db, &*m_cache);
  }
  static std::vector<const KEP_MODULE*> stop_modules(const KEP_RG_PRIMITIVES& primitives) {
    const auto range = primitives.iter_stop_modules();
    return {range.begin(), range.end()};
  }

  NAMED_MODEL m_model;
  KEP_DB* m_db = m_model.db();
  KEP_ROUTING_PRIMITIVE* m_store = m_db->get_routing_template_graph()->get_routing_primitive();
  std::optional<KEP_DB_ROUTING_PRIMITIVE_CACHE> m_cache;
};

TEST_F(Primitives, OfAnEmptyDescriptionAreEmpty) {
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(stop_modules(primitives), IsEmpty());
  EXPECT_TRUE(primitives.iter_stop_instances().empty());
  EXPECT_FALSE(primitives.begins_some_path(port("PLAIN:i")));
}

TEST_F(Primitives, KeepTheFirstOfTwoFlyoversFromOneInput) {
  KEP_ROUTING_FLYOVER::allocate(m_db, port("PLAIN:i"), port("PLAIN:o"));
  KEP_ROUTING_FLYOVER::allocate(m_db, port("PLAIN:i"), port("PLAIN:j"));
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_EQ(primitives.find_skip_path_sparerow_map(port("PLAIN:i")), port("PLAIN:o"));
  EXPECT_THAT(primitives.find_skip_path_sparerow_map(port("PLAIN:j")), IsNull());
  EXPECT_TRUE(primitives.begins_some_path(port("PLAIN:i")));
}

TEST_F(Primitives, StopAtTheModuleOfAMuxThatIsNoSkipMux) {
  add_mux("PLAIN", false, {"i"});
  add_mux("TRAITED", true, {"i"});
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(stop_modules(primitives), ElementsAre(module("PLAIN")));
}

TEST_F(Primitives, StopAtAnIpRootInItsLogicalViewAlone) {
  add_mux("MUX", false, {"i"});
  add_mux("MUX_TWIN", false, {"i"});
  add_mux("MUX_BLC", false, {"i"});
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(stop_modules(primitives), ElementsAre(module("MUX")));
}

TEST_F(Primitives, GiveTheStopModulesInAscendingOrder) {
  for (const char* key : {"TRAITED", "MUX", "PLAIN"})
    add_mux(key, false, {"i"});
  const KEP_RG_PRIMITIVES primitives = digest();
  const std::vector<const KEP_MODULE*> found = stop_modules(primitives);
  EXPECT_EQ(found.size(), 3U);
  EXPECT_TRUE(std::is_sorted(found.begin(), found.end(), std::less<>()));
}

TEST_F(Primitives, ListThePortsOfTheArcsOfAMuxInPortOrder) {
  add_mux("PLAIN", false, {"j"});
  add_mux("PLAIN", false, {"i"});
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.get_module_to_ports(module("PLAIN")),
              ElementsAre(port("PLAIN:i"), port("PLAIN:j"), port("PLAIN:o")));
}

TEST_F(Primitives, RefuseAModuleThatIsNoPrimitiveByName) {
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_EQ(failure_text([&] { primitives.get_module_to_ports(module("PLAIN")); }),
            "No port list found in map for primitive module PLAIN "
            "from function KEP_RG_PRIMITIVES::get_module_to_ports in kep_rg/kep_rg_primitives.cpp@LINE");
  EXPECT_THAT(primitives.get_inserted_ports(module("PLAIN")), IsNull());
}

TEST_F(Primitives, SkipAMuxOnItsExceptionInstancesAlone) {
  KEP_ROUTING_MUX* mux = add_mux("PLAIN", false, {"i", "j"});
  mux->add_skip_exception_instance(instance("TOP/a"));
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP/a:i")),
              Pointee(ElementsAre(inst_port("TOP/a:o"))));
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP/a:j")),
              Pointee(ElementsAre(inst_port("TOP/a:o"))));
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP/b:i")), IsNull());
  EXPECT_THAT(primitives.find_dont_skip_path_inst_outputs(inst_port("TOP/a:i")), IsNull());
  EXPECT_THAT(primitives.find_skip_path_outputs(port("PLAIN:i")), IsNull());
  EXPECT_FALSE(primitives.is_inserted_inst_port(inst_port("TOP/a:o")));
  EXPECT_TRUE(primitives.begins_some_path(port("PLAIN:i")));
  EXPECT_FALSE(primitives.begins_some_path(port("PLAIN:o")));
}

TEST_F(Primitives, SkipASkipMuxEverywhereAndIgnoreItsOutputs) {
  add_mux("PLAIN", true, {"i", "j"});
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.find_skip_path_outputs(port("PLAIN:i")), Pointee(ElementsAre(port("PLAIN:o"))));
  EXPECT_THAT(primitives.find_skip_path_outputs(port("PLAIN:o")), IsNull());
  EXPECT_TRUE(primitives.port_is_ignored(port("PLAIN:o")));
  EXPECT_FALSE(primitives.port_is_ignored(port("PLAIN:i")));
  EXPECT_EQ(failure_text([&] { primitives.get_module_to_ports(module("PLAIN")); }).substr(0, 13),
            "No port list ");
}

TEST_F(Primitives, KeepTheOrderOfTheOutputsAndEveryRepetition) {
  KEP_ROUTING_ARC::allocate(m_db, port("PLAIN:i"), port("PLAIN:o"), add_mux("PLAIN", true, {}));
  KEP_ROUTING_ARC::allocate(m_db, port("PLAIN:i"), port("PLAIN:j"), add_mux("PLAIN", true, {}));
  KEP_ROUTING_ARC::allocate(m_db, port("PLAIN:i"), port("PLAIN:o"), add_mux("PLAIN", true, {}));
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.find_skip_path_outputs(port("PLAIN:i")),
              Pointee(ElementsAre(port("PLAIN:o"), port("PLAIN:j"), port("PLAIN:o"))));
}

TEST_F(Primitives, IgnoreTheOutputOfASkipMuxEvenWhereItIsInserted) {
  add_mux("PLAIN", true, {"i"});
  add_mux("TRAITED", true, {"i"});
  m_store->add_insert_node(port("PLAIN:o"), "node");
  m_store->add_insert_node(port("TRAITED:i"), "node");
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_TRUE(primitives.port_is_ignored(port("PLAIN:o")));
  EXPECT_TRUE(primitives.has_inserted_port(port("PLAIN:o")));
  EXPECT_TRUE(primitives.port_is_ignored(port("TRAITED:o")));
  EXPECT_FALSE(primitives.port_is_ignored(port("TRAITED:i")));
}

TEST_F(Primitives, DontSkipASkipMuxOnItsExceptionInstances) {
  KEP_ROUTING_MUX* mux = add_mux("PLAIN", true, {"i"});
  mux->add_skip_exception_instance(instance("TOP/a"));
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.find_skip_path_outputs(port("PLAIN:i")), Pointee(ElementsAre(port("PLAIN:o"))));
  EXPECT_THAT(primitives.find_dont_skip_path_inst_outputs(inst_port("TOP/a:i")),
              Pointee(ElementsAre(inst_port("TOP/a:o"))));
  EXPECT_THAT(primitives.find_dont_skip_path_inst_outputs(inst_port("TOP/b:i")), IsNull());
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP/a:i")), IsNull());
  EXPECT_TRUE(primitives.is_inserted_inst_port(inst_port("TOP/a:o")));
  EXPECT_FALSE(primitives.is_inserted_inst_port(inst_port("TOP/b:o")));
  EXPECT_FALSE(primitives.is_inserted_inst_port(inst_port("TOP/a:i")));
  EXPECT_FALSE(primitives.port_is_ignored(port("PLAIN:o")));
}

TEST_F(Primitives, KnowTheBlcBidirectionalBuffers) {
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_TRUE(primitives.is_blc_bidir_buffer(module("BUFFER")));
  EXPECT_FALSE(primitives.is_blc_bidir_buffer(module("PLAIN")));
}

TEST_F(Primitives, LetInsertionWinOverRemoval) {
  m_store->add_insert_node(port("PLAIN:i"), "node");
  m_store->add_remove_node(port("PLAIN:i"));
  m_store->add_remove_node(port("PLAIN:j"));
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_TRUE(primitives.is_inserted_port(port("PLAIN:i")));
  EXPECT_FALSE(primitives.is_removed_port(port("PLAIN:i")));
  EXPECT_TRUE(primitives.is_removed_port(port("PLAIN:j")));
  EXPECT_FALSE(primitives.is_inserted_port(port("PLAIN:j")));
  EXPECT_THAT(primitives.get_inserted_ports(module("PLAIN")), Pointee(ElementsAre(port("PLAIN:i"))));
  EXPECT_THAT(ACCESS::get_removed_ports(primitives, module("PLAIN")), Pointee(ElementsAre(port("PLAIN:j"))));
}

TEST_F(Primitives, EnterAnEmptySetOfRemovedPortsForAModuleWithInsertedOnes) {
  m_store->add_insert_node(port("PLAIN:j"), "node");
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(ACCESS::get_removed_ports(primitives, module("PLAIN")), Pointee(IsEmpty()));
  EXPECT_THAT(ACCESS::get_removed_ports(primitives, module("MUX")), IsNull());
  EXPECT_THAT(ACCESS::get_removed_ports(primitives, nullptr), IsNull());
}

TEST_F(Primitives, EnterAnEmptySetOfInsertedPortsForAModuleWithRemovedOnes) {
  m_store->add_remove_node(port("PLAIN:j"));
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.get_inserted_ports(module("PLAIN")), Pointee(IsEmpty()));
}

TEST_F(Primitives, CopyInsertedAndRemovedPortsToTheTwinEachOnItsOwn) {
  m_store->add_insert_node(port("MUX:i"), "node");
  m_store->add_remove_node(port("MUX_BLC:j"));
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.get_inserted_ports(module("MUX_TWIN")), Pointee(ElementsAre(port("MUX_TWIN:i"))));
  EXPECT_TRUE(primitives.has_inserted_port(port("MUX_TWIN:i")));
  EXPECT_TRUE(primitives.is_inserted_port(port("MUX_TWIN:i")));
  EXPECT_TRUE(primitives.is_removed_port(port("MUX_TWIN:j")));
  EXPECT_FALSE(primitives.is_removed_port(port("MUX:j")));
  EXPECT_FALSE(primitives.has_inserted_port(port("MUX_BLC:i")));
}

TEST_F(Primitives, GiveATwinOnlyTheEntryThatHoldsSomething) {
  m_store->add_remove_node(port("MUX:j"));
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.get_inserted_ports(module("MUX")), Pointee(IsEmpty()));
  EXPECT_THAT(primitives.get_inserted_ports(module("MUX_TWIN")), IsNull());
  EXPECT_THAT(ACCESS::get_removed_ports(primitives, module("MUX_TWIN")),
              Pointee(ElementsAre(port("MUX_TWIN:j"))));
  EXPECT_TRUE(primitives.is_removed_port(port("MUX_TWIN:j")));
}

TEST_F(Primitives, KeepTheFirstEntryOfATwinButKnowEveryInsertedPort) {
  m_store->add_insert_node(port("MUX:i"), "node"); // MUX comes first and makes the twin's entry
  m_store->add_insert_node(port("MUX_TWIN:j"), "node");
  m_store->add_insert_node(port("MUX_BLC:o"), "node");
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.get_inserted_ports(module("MUX_TWIN")), Pointee(ElementsAre(port("MUX_TWIN:i"))));
  EXPECT_FALSE(primitives.is_inserted_port(port("MUX_TWIN:j")));
  EXPECT_TRUE(primitives.has_inserted_port(port("MUX_TWIN:j")));
  EXPECT_FALSE(primitives.is_inserted_port(port("MUX_TWIN:o")));
  EXPECT_TRUE(primitives.has_inserted_port(port("MUX_TWIN:o")));
}

TEST_F(Primitives, KnowTheRoutingRoots) {
  m_store->add_routing_root(module("MUX_BLC"));
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_TRUE(primitives.is_routing_root(module("MUX_BLC")));
  EXPECT_FALSE(primitives.is_routing_root(module("MUX")));
}

TEST_F(Primitives, ListTheReIndexedPortsOfABlcRootThatAreNotRemovedAndAllInsertedOnes) {
  test_model::TEXT_MODEL text(R"(
    module ROOT view=BLC ip_root
      ports >kept >unindexed >removed >inserted >both
    module LOGICAL_ROOT ip_root
      ports >kept
    module TOP top
  )");
  const KEP_MODULE_ID root = text.id("ROOT");
  for (const unsigned index : {0U, 2U, 4U})
    text.builder().set_port_blc(root, index, static_cast<int>(index), "");
  text.builder().set_port_blc(text.id("LOGICAL_ROOT"), 0, 7, "");
  const NAMED_MODEL model(text.freeze());
  KEP_ROUTING_PRIMITIVE* store = model.db()->get_routing_template_graph()->get_routing_primitive();
  store->add_routing_root(model.module("ROOT"));
  store->add_routing_root(model.module("LOGICAL_ROOT"));
  store->add_remove_node(model.port("ROOT:removed"));
  store->add_insert_node(model.port("ROOT:inserted"), "node");
  store->add_insert_node(model.port("ROOT:both"), "node");
  store->add_remove_node(model.port("ROOT:both"));
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(model.db());
  const KEP_RG_PRIMITIVES primitives(model.db(), &cache);
  EXPECT_THAT(primitives.get_module_to_ports(model.module("ROOT")),
              ElementsAre(model.port("ROOT:kept"), model.port("ROOT:inserted"), model.port("ROOT:both")));
  EXPECT_THROW(primitives.get_module_to_ports(model.module("LOGICAL_ROOT")), KEP_RUNTIME_ERROR);
}

TEST_F(Primitives, GiveABlcRootWithNoPortToListAnEmptyList) {
  m_store->add_routing_root(module("MUX_BLC"));
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.get_module_to_ports(module("MUX_BLC")), IsEmpty());
}

TEST_F(Primitives, LeaveTheListOfABlcRootWithAMuxAsItsMuxMadeIt) {
  m_store->add_routing_root(module("MUX_BLC"));
  add_mux("MUX_BLC", false, {"i"});
  m_store->add_insert_node(port("MUX_BLC:j"), "node");
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.get_module_to_ports(module("MUX_BLC")),
              ElementsAre(port("MUX_BLC:i"), port("MUX_BLC:o")));
}

TEST_F(Primitives, MakeNoSkipPathOfAnInstanceWithoutAPattern) {
  add_mux("PLAIN", false, {"i"});
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("BLOCK/x_mux_x:i")), IsNull());
}

TEST_F(Primitives, SkipTheArcsOfInstancesWhoseNameHoldsThePattern) {
  add_mux("PLAIN", false, {"i", "j"});
  m_store->set_non_template_mux_skip_path_inst_name_pattern("mux");
  const KEP_RG_PRIMITIVES primitives = digest();
  // BLOCK stands below the top and below its twin; each has an account of its own of what was visited.
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("BLOCK/x_mux_x:j")),
              Pointee(ElementsAre(inst_port("BLOCK/x_mux_x:o"), inst_port("BLOCK/x_mux_x:o"))));
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP_TWIN/t_mux:i")),
              Pointee(ElementsAre(inst_port("TOP_TWIN/t_mux:o"))));
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("BLOCK/other:i")), IsNull());
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP/a:i")), IsNull());
  // The BLC equivalent of a logical top is not walked.
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP_BLC/c_mux:i")), IsNull());
  EXPECT_THAT(stop_modules(primitives), ElementsAre(module("PLAIN"))); // no flag of a mux has changed
}

TEST_F(Primitives, WalkTheLogicalEquivalentsOfATopInAnotherView) {
  const NAMED_MODEL model(R"(
    module PLAIN
      ports >i <o
    module TOP_BLC top view=BLC group=top
      inst p PLAIN
    module TOP_LOGICAL group=top
      inst q PLAIN
    module TOP_LOGICAL_2 group=top
      inst r PLAIN
  )");
  KEP_RG_PARSE parse(model.db());
  parse.add_port_edge(model.port("PLAIN:i"), model.port("PLAIN:o"));
  for (const char* pattern : {"p", "q", "r"}) {
    parse.set_non_template_mux_skip_path_inst_name_pattern(pattern);
    const KEP_RG_PRIMITIVES primitives(model.db(), parse.find_routing_primitive_cache());
    EXPECT_EQ(primitives.find_skip_path_inst_outputs(model.inst_port("TOP_BLC/p:i")) != nullptr,
              *pattern == 'p');
    EXPECT_EQ(primitives.find_skip_path_inst_outputs(model.inst_port("TOP_LOGICAL/q:i")) != nullptr,
              *pattern == 'q');
    EXPECT_EQ(primitives.find_skip_path_inst_outputs(model.inst_port("TOP_LOGICAL_2/r:i")) != nullptr,
              *pattern == 'r');
  }
}

TEST_F(Primitives, TreatAnInstanceOnceWhoseNameHoldsThePatternTwice) {
  const NAMED_MODEL model(R"(
    module PLAIN
      ports >i <o
    module TOP top
      inst mux_mux PLAIN
  )");
  KEP_RG_PARSE parse(model.db());
  parse.add_port_edge(model.port("PLAIN:i"), model.port("PLAIN:o"));
  parse.set_non_template_mux_skip_path_inst_name_pattern("mux");
  const KEP_RG_PRIMITIVES primitives(model.db(), parse.find_routing_primitive_cache());
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(model.inst_port("TOP/mux_mux:i")),
              Pointee(ElementsAre(model.inst_port("TOP/mux_mux:o"))));
}

TEST_F(Primitives, AddNoSkipPathToAnInstanceWhoseArcsAllSkipAlready) {
  add_mux("PLAIN", true, {"i"});
  KEP_RG_PRIMITIVES primitives = digest();
  primitives.add_skip_paths(instance("TOP/a"));
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP/a:i")), IsNull());
}

TEST_F(Primitives, AddToAnInstanceTheArcsOfItsMastersMuxesWithoutExceptions) {
  KEP_ROUTING_MUX* mux = add_mux("PLAIN", false, {"i"});
  mux->add_skip_exception_instance(instance("TOP/b"));
  add_mux("PLAIN", false, {"j"});
  add_mux("TRAITED", false, {"i"});
  KEP_ROUTING_ARC::allocate(m_db, port("PLAIN:i"), port("PLAIN:o"), nullptr); // an arc of no mux
  KEP_RG_PRIMITIVES primitives = digest();
  primitives.add_skip_paths(instance("TOP/a"));
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP/a:i")), IsNull());
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP/a:j")),
              Pointee(ElementsAre(inst_port("TOP/a:o"))));
}

constexpr const char* FOREIGN_TEXT = R"(
  module IP group=ip foreign
    ports >i >j <o
  module IP_2 group=ip foreign
    ports >i >j <o
  module IP_BLC group=ip view=BLC foreign
    ports >i >j <o
  module IP_TWIN group=ip view=LOGICAL_TWIN foreign
    ports >i >j <o
  module ONLY_BLC view=BLC foreign
    ports >i
  module TOP top FLAGS
    inst ip IP
    inst only ONLY_BLC
)";

class ForeignMasters : public Primitives {
protected:
  explicit ForeignMasters(const char* flags = "device_top")
      : Primitives(
            std::string(FOREIGN_TEXT).replace(std::string(FOREIGN_TEXT).find("FLAGS"), 5, flags).c_str()) {}
};
class ForeignMastersBelowNoDeviceTop : public ForeignMasters {
protected:
  ForeignMastersBelowNoDeviceTop() : ForeignMasters("") {}
};

TEST_F(ForeignMasters, StopTheWalkInTheViewsLogicalAndBlcWithAllTheirPorts) {
  const KEP_RG_PRIMITIVES primitives = digest();
  // IP_2 has the view of the user, in which only the master itself counts.
  EXPECT_THAT(stop_modules(primitives), UnorderedElementsAre(module("IP"), module("IP_BLC")));
  EXPECT_THAT(primitives.get_module_to_ports(module("IP_BLC")),
              ElementsAre(port("IP_BLC:i"), port("IP_BLC:j"), port("IP_BLC:o")));
}

TEST_F(ForeignMasters, ThatStopAlreadyDoNotBringTheirEquivalentsIn) {
  add_mux("IP", false, {"i"});
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(stop_modules(primitives), ElementsAre(module("IP")));
  EXPECT_THAT(primitives.get_module_to_ports(module("IP")), ElementsAre(port("IP:i"), port("IP:o")));
}

TEST_F(ForeignMasters, GrowAListThatAnEquivalentHasFromItsMuxes) {
  add_mux("IP_BLC", true, {"i"}); // no stop module by this
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.get_module_to_ports(module("IP_BLC")),
              ElementsAre(port("IP_BLC:i"), port("IP_BLC:j"), port("IP_BLC:o")));
}

TEST_F(ForeignMasters, WithoutTheViewOfTheirUserArePassedOver) {
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THROW(primitives.get_module_to_ports(module("ONLY_BLC")), KEP_RUNTIME_ERROR);
}

TEST_F(ForeignMastersBelowNoDeviceTop, StopNothing) {
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(stop_modules(primitives), IsEmpty());
}

TEST_F(Primitives, TakeSkipPathsFromOutsideAndFindThem) {
  KEP_RG_PRIMITIVES primitives = digest();
  primitives.add_skip_path_port(port("PLAIN:i"), port("PLAIN:o"));
  primitives.add_skip_path(inst_port("TOP/a:j"), inst_port("TOP/a:o"));
  primitives.add_dont_skip_path_inst_port(inst_port("TOP/b:j"), inst_port("TOP/b:o"));
  EXPECT_THAT(primitives.find_skip_path_outputs(port("PLAIN:i")), Pointee(ElementsAre(port("PLAIN:o"))));
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP/a:j")),
              Pointee(ElementsAre(inst_port("TOP/a:o"))));
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP/b:j")), IsNull());
  EXPECT_THAT(primitives.find_dont_skip_path_inst_outputs(inst_port("TOP/b:j")),
              Pointee(ElementsAre(inst_port("TOP/b:o"))));
}

TEST_F(Primitives, RefuseASkipPathWithANullEnd) {
  KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_EQ(failure_text([&] { primitives.add_skip_path(nullptr, nullptr); }),
            "add_skip_path failed because input_inst_port is NULL "
            "from function KEP_RG_PRIMITIVES::add_skip_path in kep_rg/kep_rg_primitives.cpp@LINE");
  EXPECT_EQ(failure_text([&] { primitives.add_skip_path(inst_port("TOP/a:j"), nullptr); }),
            "add_skip_path failed because output_inst_port is NULL "
            "from function KEP_RG_PRIMITIVES::add_skip_path in kep_rg/kep_rg_primitives.cpp@LINE");
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(inst_port("TOP/a:j")), IsNull());
}

TEST_F(Primitives, AnswerForNull) {
  const KEP_RG_PRIMITIVES primitives = digest();
  EXPECT_THAT(primitives.find_skip_path_outputs(nullptr), IsNull());
  EXPECT_THAT(primitives.find_skip_path_inst_outputs(nullptr), IsNull());
  EXPECT_THAT(primitives.find_dont_skip_path_inst_outputs(nullptr), IsNull());
  EXPECT_THAT(primitives.find_skip_path_sparerow_map(nullptr), IsNull());
  EXPECT_THAT(primitives.get_inserted_ports(nullptr), IsNull());
  EXPECT_FALSE(primitives.has_inserted_port(nullptr));
  EXPECT_FALSE(primitives.is_inserted_port(nullptr));
  EXPECT_FALSE(primitives.is_removed_port(nullptr));
  EXPECT_FALSE(primitives.is_inserted_inst_port(nullptr));
  EXPECT_FALSE(primitives.is_routing_root(nullptr));
  EXPECT_FALSE(primitives.is_blc_bidir_buffer(nullptr));
  EXPECT_FALSE(primitives.port_is_ignored(nullptr));
  EXPECT_FALSE(primitives.is_hipi_tm_port(nullptr));
  EXPECT_EQ(primitives.get_tunnel_type(nullptr), TUNNEL::NONE);
  EXPECT_EQ(primitives.get_blc_icd_port_name(nullptr), "");
  EXPECT_TRUE(primitives.is_sometimes_mux_instance(nullptr));
  EXPECT_TRUE(primitives.is_sometimes_mux_instance(instance("TOP/a")));
  EXPECT_EQ(failure_text([&] { primitives.get_module_to_ports(nullptr); }),
            "No port list found in map for primitive module  "
            "from function KEP_RG_PRIMITIVES::get_module_to_ports in kep_rg/kep_rg_primitives.cpp@LINE");
}

TEST_F(Primitives, ForwardHipiTunnelAndWireTypeToTheDescription) {
  m_store->add_hipi(port("PLAIN:i"), HIPI::M);
  m_store->add_hipi(port("PLAIN:j"), HIPI::T);
  m_store->add_hipi(port("PLAIN:o"), HIPI::P);
  m_store->add_tunnel_type(module("PLAIN"), TUNNEL::TARGET);
  m_store->add_wire_type(KEP_RELATIVE_PATH::create({}, port("PLAIN:o")), "long", 2);
  const KEP_RG_PRIMITIVES primitives = digest();
  const auto answers = [&](const char* text) {
    return std::vector<bool>{primitives.is_hipi_m_port(port(text)), primitives.is_hipi_t_port(port(text)),
                             primitives.is_hipi_p_port(port(text)), primitives.is_hipi_tm_port(port(text))};
  };
  EXPECT_THAT(answers("PLAIN:i"), ElementsAre(true, false, false, true));
  EXPECT_THAT(answers("PLAIN:j"), ElementsAre(false, true, false, true));
  EXPECT_THAT(answers("PLAIN:o"), ElementsAre(false, false, true, false));
  EXPECT_THAT(answers("MUX:o"), ElementsAre(false, false, false, false));
  EXPECT_EQ(primitives.get_hipi_type(port("PLAIN:j")), HIPI::T);
  EXPECT_TRUE(primitives.is_hipi_port(port("PLAIN:o"), HIPI::P));
  EXPECT_EQ(primitives.get_tunnel_type(module("PLAIN")), TUNNEL::TARGET);
  ASSERT_TRUE(primitives.find_wire_type(m_model.uip("a:o")));
  EXPECT_EQ(primitives.find_wire_type(m_model.uip("a:o"))->get_name(), "long");
  EXPECT_THAT(primitives.find_wire_type(m_model.uip("a:i")), IsNull());
}

TEST_F(Primitives, NameAPortByItsIcdNameWhereItHasOne) {
  test_model::TEXT_MODEL text("module TOP top\n ports >a >b");
  text.builder().set_port_blc(text.id("TOP"), 0, -1, "icd_a");
  const NAMED_MODEL model(text.freeze());
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(model.db());
  const KEP_RG_PRIMITIVES primitives(model.db(), &cache);
  EXPECT_EQ(primitives.get_blc_icd_port_name(model.port("TOP:a")), "icd_a");
  EXPECT_EQ(primitives.get_blc_icd_port_name(model.port("TOP:b")), "b");
}

TEST_F(Primitives, StayRightAndApartInACopy) {
  add_mux("PLAIN", true, {"i"});
  m_store->add_insert_node(port("PLAIN:j"), "node");
  KEP_RG_PRIMITIVES original = digest();
  KEP_RG_PRIMITIVES copy(original);
  original.add_skip_path_inst_port(inst_port("TOP/a:j"), inst_port("TOP/a:o"));
  EXPECT_THAT(copy.find_skip_path_inst_outputs(inst_port("TOP/a:j")), IsNull());
  EXPECT_NE(copy.find_skip_path_outputs(port("PLAIN:i")), original.find_skip_path_outputs(port("PLAIN:i")));
  EXPECT_THAT(copy.find_skip_path_outputs(port("PLAIN:i")), Pointee(ElementsAre(port("PLAIN:o"))));
  EXPECT_TRUE(copy.has_inserted_port(port("PLAIN:j")));
  copy = original;
  EXPECT_THAT(copy.find_skip_path_inst_outputs(inst_port("TOP/a:j")),
              Pointee(ElementsAre(inst_port("TOP/a:o"))));
  const KEP_RG_PRIMITIVES moved(std::move(original));
  EXPECT_THAT(moved.find_skip_path_outputs(port("PLAIN:i")), Pointee(ElementsAre(port("PLAIN:o"))));
  EXPECT_TRUE(moved.port_is_ignored(port("PLAIN:o")));
}

} // namespace primitives_test
