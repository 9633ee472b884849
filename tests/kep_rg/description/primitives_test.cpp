// The tables that a build asks: what stops a walk, which ports are listed, inserted or removed.

#include "tests/kep_rg/description/primitives_fixture.h"
#include "tests/support/build_access.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace primitives_test {

using primitives::Primitives;
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
