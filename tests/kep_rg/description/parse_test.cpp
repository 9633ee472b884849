#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_parse.h"
#include "tests/support/failure_text.h"
#include "tests/support/named_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <new>
#include <unordered_set>
#include <vector>

namespace parse_test {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using HIPI = KEP_ROUTING_PRIMITIVE_HIPI;
using TUNNEL = KEP_ROUTING_PRIMITIVE_TUNNEL;

constexpr auto BLC = static_cast<unsigned char>(KEP_VIEW_TYPE::BLC);
constexpr auto LOGICAL = static_cast<unsigned char>(KEP_VIEW_TYPE::LOGICAL);

// MUX in all four views, two of them BLC; LONE and PLAIN in one view.
class Parse : public testing::Test {
protected:
  KEP_PORT* port(const char* text) const { return m_model.port(text); }
  KEP_MODULE* module(const char* key) const { return m_model.module(key); }

  // The keys of the modules of all arcs, in their order in the store.
  std::vector<std::string> modules_of_arcs() const {
    std::vector<std::string> keys;
    for (const KEP_ROUTING_ARC* arc : m_store->iter_routing_arcs(false))
      keys.emplace_back(arc->get_input()->get_parent()->get_key());
    return keys;
  }
  // "KEY:port" of every port with a hipi mark, in the order of the design.
  std::vector<std::string> marked_ports() const {
    std::vector<std::string> names;
    for (const KEP_MODULE* each : m_db->iter_modules(true)) {
      for (const KEP_PORT* p : each->iter_ports()) {
        if (m_store->get_hipi_type(p) != HIPI::NONE)
          names.push_back(std::string(each->get_key()) + ":" + p->get_plain_name());
      }
    }
    return names;
  }
  std::vector<const KEP_MODULE*> roots() const {
    std::vector<const KEP_MODULE*> modules;
    for (const KEP_MODULE* each : m_store->iter_routing_roots(false))
      modules.push_back(each);
    return modules;
  }
  std::vector<const KEP_ROUTING_MUX*> muxes(const char* key, const KEP_RG_PARSE& parse) const {
    std::vector<const KEP_ROUTING_MUX*> found;
    for (const KEP_ROUTING_MUX* mux : parse.find_routing_primitive_cache()->iter_routing_muxes(module(key)))
      found.push_back(mux);
    return found;
  }

  const NAMED_MODEL m_model{R"(
    module MUX name=MUX group=mux view=LOGICAL ip_root
      ports >i >j <o
    module MUX_BLC name=MUX group=mux view=BLC ip_root
      ports >i >j <o
    module MUX_BLC_2 name=MUX group=mux view=BLC ip_root
      ports >i >j <o
    module MUX_TWIN name=MUX group=mux view=LOGICAL_TWIN ip_root
      ports >i >j <o
    module MUX_VIEW_1 name=MUX group=mux view=VIEW_1 ip_root
      ports >i >j <o
    module LONE ip_root
      ports >i <o
    module PLAIN
      ports >i <o
    module TOP top
      inst m MUX
      inst l LONE
  )"};
  KEP_DB* m_db = m_model.db();
  KEP_ROUTING_PRIMITIVE* m_store = m_db->get_routing_template_graph()->get_routing_primitive();
};

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

TEST_F(Parse, MakesOneArcOfAnEdgeGivenTwice) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("LONE:i"), port("LONE:o"));
  parse.add_port_edge(port("LONE:i"), port("LONE:o"), true);
  EXPECT_THAT(modules_of_arcs(), ElementsAre("LONE"));
  ASSERT_EQ(muxes("LONE", parse).size(), 1U);
}

TEST_F(Parse, GathersTheEdgesOfAModuleInOneMuxAndTheCacheKnowsThem) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("MUX_VIEW_1:i"), port("MUX_VIEW_1:o"));
  parse.add_port_edge(port("MUX_VIEW_1:j"), port("MUX_VIEW_1:o"));
  const auto found = muxes("MUX_VIEW_1", parse);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_TRUE(found[0]->find_routing_arc(port("MUX_VIEW_1:i"), port("MUX_VIEW_1:o")));
  EXPECT_TRUE(found[0]->find_routing_arc(port("MUX_VIEW_1:j"), port("MUX_VIEW_1:o")));
  EXPECT_EQ(parse.find_routing_primitive_cache()->find_arc_inputs(port("MUX_VIEW_1:o"))->size(), 2U);
}

TEST_F(Parse, MakesANewMuxWhenAllMuxesOfTheModuleHaveExceptionInstances) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("LONE:i"), port("LONE:o"));
  parse.set_skip_paths(m_model.instance("TOP/l"), true);
  parse.add_port_edge(port("LONE:i"), port("LONE:o"), true);
  const auto found = muxes("LONE", parse);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_FALSE(found[0]->get_skip());
  EXPECT_TRUE(found[1]->get_skip());
  EXPECT_TRUE(found[1]->find_routing_arc(port("LONE:i"), port("LONE:o")));
  EXPECT_THAT(modules_of_arcs(), ElementsAre("LONE", "LONE")); // the arc of the first mux is not this one's
}

TEST_F(Parse, GivesTheFlagOfTheFirstEdgeToTheMuxAndIgnoresThatOfTheSecond) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("LONE:i"), port("LONE:o"), true);
  parse.add_port_edge(port("MUX_VIEW_1:i"), port("MUX_VIEW_1:o"));
  parse.add_port_edge(port("MUX_VIEW_1:j"), port("MUX_VIEW_1:o"), true);
  ASSERT_EQ(muxes("LONE", parse).size(), 1U);
  EXPECT_TRUE(muxes("LONE", parse)[0]->get_skip());
  ASSERT_EQ(muxes("MUX_VIEW_1", parse).size(), 1U);
  EXPECT_FALSE(muxes("MUX_VIEW_1", parse)[0]->get_skip());
}

TEST_F(Parse, CopiesAnArcOfALogicalModuleToItsTwinAlone) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("MUX:j"), port("MUX:o"), true);
  EXPECT_THAT(modules_of_arcs(), ElementsAre("MUX", "MUX_TWIN"));
  EXPECT_TRUE(parse.find_routing_primitive_cache()->find_routing_arc(port("MUX_TWIN:j"), port("MUX_TWIN:o")));
  EXPECT_TRUE(muxes("MUX_TWIN", parse)[0]->get_skip());
  EXPECT_THAT(marked_ports(), IsEmpty());
}

TEST_F(Parse, CopiesAnArcOfABlcModuleToItsLogicalEquivalentAndNotToTheTwin) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("MUX_BLC:j"), port("MUX_BLC:o"), true);
  EXPECT_THAT(modules_of_arcs(), ElementsAre("MUX_BLC", "MUX"));
  EXPECT_TRUE(parse.find_routing_primitive_cache()->find_routing_arc(port("MUX:j"), port("MUX:o")));
  EXPECT_TRUE(muxes("MUX", parse)[0]->get_skip());
}

TEST_F(Parse, LeavesArcsOfOtherViewsWhereTheyAre) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("MUX_TWIN:i"), port("MUX_TWIN:o"));
  parse.add_port_edge(port("MUX_VIEW_1:i"), port("MUX_VIEW_1:o"));
  EXPECT_THAT(modules_of_arcs(), ElementsAre("MUX_TWIN", "MUX_VIEW_1"));
}

TEST_F(Parse, MarksForHipiOnALogicalModuleTheTwinAndTheBlcModules) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("MUX:i"), port("MUX:o"), HIPI::T, false);
  EXPECT_THAT(modules_of_arcs(), ElementsAre("MUX", "MUX_TWIN"));
  EXPECT_THAT(marked_ports(), ElementsAre("MUX:i", "MUX:o", "MUX_BLC:i", "MUX_BLC:o", "MUX_BLC_2:i",
                                          "MUX_BLC_2:o", "MUX_TWIN:i", "MUX_TWIN:o"));
  EXPECT_EQ(m_store->get_hipi_type(port("MUX_BLC_2:o")), HIPI::T);
}

TEST_F(Parse, MarksForHipiOnABlcModuleItsTwinAndMakesAnUnmarkedArcOnItsLogicalEquivalent) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("MUX_BLC:i"), port("MUX_BLC:o"), HIPI::M, false);
  EXPECT_THAT(modules_of_arcs(), ElementsAre("MUX_BLC", "MUX"));
  EXPECT_THAT(marked_ports(), ElementsAre("MUX_BLC:i", "MUX_BLC:o", "MUX_TWIN:i", "MUX_TWIN:o"));
}

TEST_F(Parse, MarksForHipiOnATwinTheBlcModules) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("MUX_TWIN:i"), port("MUX_TWIN:o"), HIPI::P, false);
  EXPECT_THAT(modules_of_arcs(), ElementsAre("MUX_TWIN"));
  EXPECT_THAT(marked_ports(), ElementsAre("MUX_BLC:i", "MUX_BLC:o", "MUX_BLC_2:i", "MUX_BLC_2:o",
                                          "MUX_TWIN:i", "MUX_TWIN:o"));
}

TEST_F(Parse, MarksForHipiOnAnotherViewTheTwinAndTheBlcModulesWithoutArcs) {
  KEP_RG_PARSE parse(m_db);
  parse.add_port_edge(port("MUX_VIEW_1:i"), port("MUX_VIEW_1:o"), HIPI::P, false);
  EXPECT_THAT(modules_of_arcs(), ElementsAre("MUX_VIEW_1"));
  EXPECT_THAT(marked_ports(), ElementsAre("MUX_BLC:i", "MUX_BLC:o", "MUX_BLC_2:i", "MUX_BLC_2:o",
                                          "MUX_TWIN:i", "MUX_TWIN:o", "MUX_VIEW_1:i", "MUX_VIEW_1:o"));
}

TEST_F(Parse, AssertsThatTheTwoPortsOfAnEdgeLieInOneModule) {
  KEP_RG_PARSE parse(m_db);
  EXPECT_EQ(assertion_text([&] { parse.add_port_edge(port("MUX:j"), port("LONE:o")); }),
            "Assertion failed: module_in == port_out->get_parent() in kep_rg/kep_rg_parse.cpp@LINE: "
            "Ports j and o are not in the same module: MUX LONE");
  EXPECT_THAT(modules_of_arcs(), IsEmpty());
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
