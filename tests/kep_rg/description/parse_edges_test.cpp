// The edges of muxes that are stated: their muxes, and what is copied to the equivalents of a module.

#include "tests/kep_rg/description/parse_fixture.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace parse_edges_test {

using parse::Parse;
using testing::ElementsAre;
using testing::IsEmpty;
using HIPI = KEP_ROUTING_PRIMITIVE_HIPI;

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

} // namespace parse_edges_test
