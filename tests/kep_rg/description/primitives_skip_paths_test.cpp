// The skip paths in the tables that a build asks.

#include "kep_rg/kep_rg_parse.h"
#include "tests/kep_rg/description/primitives_fixture.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace primitives_skip_paths_test {

using primitives::Primitives;
using testing::ElementsAre;
using testing::IsNull;
using testing::Pointee;

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

} // namespace primitives_skip_paths_test
