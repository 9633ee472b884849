// What else is stated of modules and ports, and what is copied to the equivalents of a module.

#include "tests/kep_rg/description/parse_fixture.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <new>
#include <unordered_set>
#include <vector>

namespace parse_test {

using parse::Parse;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using HIPI = KEP_ROUTING_PRIMITIVE_HIPI;
using TUNNEL = KEP_ROUTING_PRIMITIVE_TUNNEL;

constexpr auto BLC = static_cast<unsigned char>(KEP_VIEW_TYPE::BLC);
constexpr auto LOGICAL = static_cast<unsigned char>(KEP_VIEW_TYPE::LOGICAL);

TEST_F(Parse, KnowsItsDatabaseAndACacheThatHoldsWhatStoodInTheStoreBefore) {
  KEP_ROUTING_MUX* mux = KEP_ROUTING_MUX::allocate(m_db, module("LONE"), true);
  KEP_ROUTING_ARC* arc = KEP_ROUTING_ARC::allocate(m_db, port("LONE:i"), port("LONE:o"), mux);
  const KEP_RG_PARSE parse(m_db);
  EXPECT_EQ(parse.get_db(), m_db);
  EXPECT_EQ(parse.find_routing_primitive_cache()->find_routing_arc(port("LONE:i"), port("LONE:o")), arc);
}

TEST_F(Parse, SharesTheCacheAfterAnAssignmentAndOneOfTheTwoIsDestroyed) {
  KEP_RG_PARSE source(m_db);
  alignas(KEP_RG_PARSE) unsigned char memory[sizeof(KEP_RG_PARSE)];
  auto* copy = new (memory) KEP_RG_PARSE(m_db); // never destroyed: `source` owns the cache of both
  delete copy->find_routing_primitive_cache();
  *copy = source;
  EXPECT_EQ(copy->find_routing_primitive_cache(), source.find_routing_primitive_cache());
  EXPECT_EQ(copy->get_db(), m_db);
  copy->add_port_edge(port("LONE:i"), port("LONE:o"));
  EXPECT_TRUE(source.find_routing_primitive_cache()->is_arc_input(port("LONE:i")));
}

TEST_F(Parse, AnswersForEachKindOfHipi) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("LONE:i"), port("LONE:o"), HIPI::M, false);
  parse.add_port_edge(port("PLAIN:i"), port("PLAIN:o"), HIPI::T, false);
  parse.add_port_edge(port("MUX_VIEW_1:i"), port("MUX_VIEW_1:o"), HIPI::P, false);
  const auto answers = [&](const char* text) {
    return std::vector<bool>{parse.is_hipi_m_port(port(text)), parse.is_hipi_t_port(port(text)),
                             parse.is_hipi_p_port(port(text)), parse.is_hipi_tm_port(port(text)),
                             parse.is_hipi_port(port(text), HIPI::NONE)};
  };
  EXPECT_THAT(answers("LONE:i"), ElementsAre(true, false, false, true, false));
  EXPECT_THAT(answers("PLAIN:o"), ElementsAre(false, true, false, true, false));
  EXPECT_THAT(answers("MUX_VIEW_1:o"), ElementsAre(false, false, true, false, false));
  EXPECT_THAT(answers("MUX:i"), ElementsAre(false, false, false, false, true));
}

TEST_F(Parse, CopiesAFlyoverToTheTwinButNotFromIt) {
  KEP_RG_PARSE parse(m_db);
  parse.add_routing_flyover(port("MUX_BLC:i"), port("MUX_BLC:o"));
  parse.add_routing_flyover(port("MUX_TWIN:j"), port("MUX_TWIN:o"));
  std::vector<const KEP_PORT*> ends;
  for (const KEP_ROUTING_FLYOVER* flyover : m_store->iter_routing_flyovers(false)) {
    ends.push_back(flyover->get_input());
    ends.push_back(flyover->get_output());
  }
  EXPECT_THAT(ends, ElementsAre(port("MUX_BLC:i"), port("MUX_BLC:o"), port("MUX_TWIN:i"), port("MUX_TWIN:o"),
                                port("MUX_TWIN:j"), port("MUX_TWIN:o")));
}

TEST_F(Parse, CopiesNothingFromOneTwinToAnother) {
  const NAMED_MODEL model(R"(
    module TWIN_1 group=twins view=LOGICAL_TWIN
      ports >i <o
    module TWIN_2 group=twins view=LOGICAL_TWIN
      ports >i <o
    module TOP top
  )");
  KEP_RG_PARSE parse(model.db());
  KEP_PORT* input = model.port("TWIN_1:i");
  KEP_PORT* output = model.port("TWIN_1:o");
  parse.add_port_edge(input, output, HIPI::M, false);
  parse.add_routing_flyover(input, output);
  parse.disable_merge(output);
  EXPECT_FALSE(parse.is_hipi_m_port(model.port("TWIN_2:i")));
  EXPECT_FALSE(parse.find_routing_primitive_cache()->is_arc_input(model.port("TWIN_2:i")));
  EXPECT_FALSE(parse.is_disable_merge(model.port("TWIN_2:o")));
  const KEP_ROUTING_PRIMITIVE* store = model.db()->get_routing_template_graph()->find_routing_primitive();
  const auto flyovers = store->iter_routing_flyovers(false);
  EXPECT_EQ(std::distance(flyovers.begin(), flyovers.end()), 1);
}

TEST_F(Parse, RegistersEveryBlcEquivalentOfARootAndNotTheModuleItself) {
  KEP_RG_PARSE parse(m_db);
  parse.add_routing_root(module("MUX"), BLC);
  EXPECT_THAT(roots(), ElementsAre(module("MUX_BLC"), module("MUX_BLC_2")));
}

TEST_F(Parse, RegistersForABlcModuleItsOtherBlcEquivalents) {
  KEP_RG_PARSE parse(m_db);
  parse.add_routing_root(module("MUX_BLC"), BLC);
  EXPECT_THAT(roots(), ElementsAre(module("MUX_BLC_2")));
}

TEST_F(Parse, RegistersALogicalRootItselfWhateverItsView) {
  KEP_RG_PARSE parse(m_db);
  parse.add_routing_root(module("MUX"), LOGICAL);
  parse.add_routing_root(module("MUX_TWIN"), LOGICAL);
  EXPECT_THAT(roots(), ElementsAre(module("MUX"), module("MUX_TWIN")));
}

TEST_F(Parse, RefusesABlcRootWithoutABlcEquivalent) {
  KEP_RG_PARSE parse(m_db);
  EXPECT_EQ(failure_text([&] { parse.add_routing_root(module("LONE"), BLC); }),
            "Failed because routing_root=LONE does not have a view_type=blc "
            "from function KEP_RG_PARSE::add_routing_root in kep_rg/kep_rg_parse.cpp@LINE");
  EXPECT_THAT(roots(), IsEmpty());
}

TEST_F(Parse, RefusesARootInAnyOtherView) {
  KEP_RG_PARSE parse(m_db);
  for (const unsigned view : {1U, 3U, 4U, 200U}) {
    EXPECT_EQ(failure_text([&] { parse.add_routing_root(module("MUX"), static_cast<unsigned char>(view)); }),
              "Failed because routing_root=MUX is not marked as view_type logical or blc. "
              "from function KEP_RG_PARSE::add_routing_root in kep_rg/kep_rg_parse.cpp@LINE");
  }
  EXPECT_THAT(roots(), IsEmpty());
}

TEST_F(Parse, AssertsThatWhatItIsGivenIsNotNullAndNamesTheOperation) {
  KEP_RG_PARSE parse(m_db);
  const auto is_refused = [](const char* operation, const auto& body) {
    EXPECT_EQ(assertion_text(body), std::string("Assertion failed: pointer in kep_rg/kep_rg_parse.cpp@LINE: "
                                                "KEP_RG_PARSE::") +
                                        operation + ": a null pointer");
  };
  KEP_PORT* const some = port("MUX:i");
  is_refused("KEP_RG_PARSE", [] { KEP_RG_PARSE(nullptr); });
  is_refused("add_port_edge", [&] { parse.add_port_edge(nullptr, some); });
  is_refused("add_port_edge", [&] { parse.add_port_edge(some, nullptr); });
  is_refused("add_port_edge", [&] { parse.add_port_edge(nullptr, nullptr, true); });
  is_refused("add_port_edge", [&] { parse.add_port_edge(some, nullptr, HIPI::M, true); });
  is_refused("add_routing_flyover", [&] { parse.add_routing_flyover(nullptr, some); });
  is_refused("add_routing_flyover", [&] { parse.add_routing_flyover(some, nullptr); });
  is_refused("add_routing_root", [&] { parse.add_routing_root(nullptr, LOGICAL); });
  is_refused("add_inserted_node", [&] { parse.add_inserted_node("name", nullptr); });
  is_refused("add_tunnel_type", [&] { parse.add_tunnel_type(nullptr, TUNNEL::NONE); });
  is_refused("add_module_is_not_template", [&] { parse.add_module_is_not_template(nullptr); });
  is_refused("set_skip_paths", [&] { parse.set_skip_paths(static_cast<KEP_MODULE*>(nullptr), true); });
  is_refused("set_skip_paths", [&] { parse.set_skip_paths(static_cast<KEP_INSTANCE*>(nullptr), true); });
  EXPECT_FALSE(m_store->is_initialized()) << "nothing was written";
}

TEST_F(Parse, AnswersQuestionsAboutNull) {
  KEP_RG_PARSE parse(m_db);
  EXPECT_FALSE(parse.is_inserted_node(nullptr));
  EXPECT_FALSE(parse.has_wire_type(nullptr));
  EXPECT_EQ(parse.get_wire_type(nullptr), "");
  EXPECT_FALSE(parse.get_module_is_not_template(nullptr));
  EXPECT_FALSE(parse.is_disable_merge(nullptr));
  EXPECT_EQ(parse.get_tunnel_type(nullptr), TUNNEL::NONE);
  EXPECT_FALSE(parse.is_hipi_m_port(nullptr));
  EXPECT_FALSE(parse.is_hipi_tm_port(nullptr));
}

TEST_F(Parse, AssertsThatARoutingRootIsAnIpRoot) {
  KEP_RG_PARSE parse(m_db);
  EXPECT_EQ(assertion_text([&] { parse.add_routing_root(module("PLAIN"), LOGICAL); }),
            "Assertion failed: routing_root->has_trait(KEP_MODULE::TRAIT::IP_ROOT) in "
            "kep_rg/kep_rg_parse.cpp@LINE");
  EXPECT_THAT(roots(), IsEmpty());
}

TEST_F(Parse, AddsTheRoutingRootsToASetThatIsNotEmpty) {
  KEP_RG_PARSE parse(m_db);
  parse.add_routing_root(module("MUX"), BLC);
  std::unordered_set<const KEP_MODULE*> found{module("PLAIN"), module("MUX_BLC")};
  parse.find_routing_roots(found);
  EXPECT_THAT(found, UnorderedElementsAre(module("PLAIN"), module("MUX_BLC"), module("MUX_BLC_2")));
}

TEST_F(Parse, KeepsAnInsertedNodeOnTheBlcModuleAlone) {
  KEP_RG_PARSE parse(m_db);
  parse.add_inserted_node("node", port("MUX:j"));
  EXPECT_TRUE(parse.is_inserted_node(port("MUX_BLC:j")));
  EXPECT_EQ(*m_store->find_insert_node_name(port("MUX_BLC:j")), "node");
  for (const char* text : {"MUX:j", "MUX_BLC_2:j", "MUX_TWIN:j", "MUX_VIEW_1:j", "MUX_BLC:i"})
    EXPECT_FALSE(parse.is_inserted_node(port(text))) << text;
}

TEST_F(Parse, KeepsAnInsertedNodeOfABlcModuleOnThatModule) {
  KEP_RG_PARSE parse(m_db);
  parse.add_inserted_node("node", port("MUX_BLC_2:j"));
  EXPECT_TRUE(parse.is_inserted_node(port("MUX_BLC_2:j")));
  EXPECT_FALSE(parse.is_inserted_node(port("MUX_BLC:j")));
}

TEST_F(Parse, KeepsAnInsertedNodeOnThePortItselfWithoutABlcModule) {
  KEP_RG_PARSE parse(m_db);
  parse.add_inserted_node("node", port("LONE:o"));
  EXPECT_TRUE(parse.is_inserted_node(port("LONE:o")));
}

TEST_F(Parse, CopiesATunnelTypeToTheBlcEquivalents) {
  KEP_RG_PARSE parse(m_db);
  parse.add_tunnel_type(module("MUX"), TUNNEL::THROUGH);
  EXPECT_EQ(parse.get_tunnel_type(module("MUX")), TUNNEL::THROUGH);
  EXPECT_EQ(parse.get_tunnel_type(module("MUX_BLC")), TUNNEL::THROUGH);
  EXPECT_EQ(parse.get_tunnel_type(module("MUX_BLC_2")), TUNNEL::THROUGH);
  EXPECT_EQ(parse.get_tunnel_type(module("MUX_TWIN")), TUNNEL::NONE);
}

TEST_F(Parse, CopiesATunnelTypeOfABlcModuleNowhere) {
  KEP_RG_PARSE parse(m_db);
  parse.add_tunnel_type(module("MUX_BLC"), TUNNEL::TARGET);
  EXPECT_EQ(parse.get_tunnel_type(module("MUX_BLC")), TUNNEL::TARGET);
  EXPECT_EQ(parse.get_tunnel_type(module("MUX_BLC_2")), TUNNEL::NONE);
}

TEST_F(Parse, TouchesNoEquivalentForTunnelTypeZero) {
  KEP_RG_PARSE parse(m_db);
  parse.add_tunnel_type(module("MUX"), TUNNEL::SOURCE);
  parse.add_tunnel_type(module("MUX"), TUNNEL::NONE);
  EXPECT_EQ(parse.get_tunnel_type(module("MUX")), TUNNEL::NONE);
  EXPECT_EQ(parse.get_tunnel_type(module("MUX_BLC")), TUNNEL::SOURCE);
}

TEST_F(Parse, CopiesNotTemplateToTwinsAndBlcModules) {
  KEP_RG_PARSE parse(m_db);
  parse.add_module_is_not_template(module("MUX"));
  for (const char* key : {"MUX", "MUX_TWIN", "MUX_BLC", "MUX_BLC_2"})
    EXPECT_TRUE(parse.get_module_is_not_template(module(key))) << key;
  EXPECT_FALSE(parse.get_module_is_not_template(module("MUX_VIEW_1")));
}

TEST_F(Parse, CopiesNotTemplateWhateverTheModulesOwnView) {
  KEP_RG_PARSE parse(m_db);
  parse.add_module_is_not_template(module("MUX_BLC"));
  for (const char* key : {"MUX_BLC", "MUX_BLC_2", "MUX_TWIN"})
    EXPECT_TRUE(parse.get_module_is_not_template(module(key))) << key;
  EXPECT_FALSE(parse.get_module_is_not_template(module("MUX")));
}

TEST_F(Parse, CopiesADisabledMergeToTheTwinButNotFromIt) {
  KEP_RG_PARSE parse(m_db);
  parse.disable_merge(port("MUX:o"));
  EXPECT_TRUE(parse.is_disable_merge(port("MUX:o")));
  EXPECT_TRUE(parse.is_disable_merge(port("MUX_TWIN:o")));
  EXPECT_FALSE(parse.is_disable_merge(port("MUX_BLC:o")));
  parse.disable_merge(port("MUX_TWIN:i"));
  EXPECT_TRUE(parse.is_disable_merge(port("MUX_TWIN:i")));
  EXPECT_FALSE(parse.is_disable_merge(port("MUX:i")));
}

TEST_F(Parse, RefusesToDisableTheMergeOfANullPort) {
  KEP_RG_PARSE parse(m_db);
  EXPECT_EQ(failure_text([&] { parse.disable_merge(nullptr); }),
            "disable_merge failed because output_port is NULL "
            "from function KEP_RG_PARSE::disable_merge in kep_rg/kep_rg_parse.cpp@LINE");
}

TEST_F(Parse, TellsTheWireTypeOfAPortAlone) {
  KEP_RG_PARSE parse(m_db);
  m_store->add_wire_type(KEP_RELATIVE_PATH::create({}, port("LONE:o")), "long", 0);
  EXPECT_TRUE(parse.has_wire_type(port("LONE:o")));
  EXPECT_EQ(parse.get_wire_type(port("LONE:o")), "long");
  EXPECT_FALSE(parse.has_wire_type(port("LONE:i")));
}

} // namespace parse_test
