#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_parse.h"
#include "tests/support/failure_text.h"
#include "tests/support/named_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace skip_paths_test {

using testing::ElementsAre;
using testing::IsEmpty;

// MUX with its twin and its BLC module; EMPTY_BLC, whose logical equivalents are FULL and EMPTY; instances a
// and b of MUX.
class SkipPaths : public testing::Test {
protected:
  void add_edge(KEP_RG_PARSE& parse, const std::string& key, bool skip = false) {
    parse.add_port_edge(m_model.port(key + ":i"), m_model.port(key + ":o"), skip);
  }
  static std::vector<KEP_ROUTING_MUX*> muxes_of(const KEP_RG_PARSE& parse, const KEP_MODULE* module) {
    std::vector<KEP_ROUTING_MUX*> muxes;
    for (KEP_ROUTING_MUX* mux : parse.find_routing_primitive_cache()->iter_routing_muxes(module))
      muxes.push_back(mux);
    return muxes;
  }
  KEP_ROUTING_MUX* mux(const KEP_RG_PARSE& parse, const char* key) const {
    return muxes_of(parse, m_model.module(key)).at(0);
  }
  static std::vector<const KEP_INSTANCE*> exceptions_of(const KEP_ROUTING_MUX* mux) {
    std::vector<const KEP_INSTANCE*> instances;
    for (const KEP_INSTANCE* instance : mux->iter_skip_exception_instances())
      instances.push_back(instance);
    return instances;
  }

  const NAMED_MODEL m_model{R"(
    module MUX group=mux view=LOGICAL
      ports >i >j <o
    module MUX_TWIN group=mux view=LOGICAL_TWIN
      ports >i >j <o
    module MUX_BLC group=mux view=BLC
      ports >i >j <o
    module EMPTY_BLC group=half view=BLC
      ports >i >j <o
    module FULL group=half view=LOGICAL
      ports >i >j <o
    module EMPTY group=half view=LOGICAL
      ports >i >j <o
    module LONE_BLC view=BLC
      ports >i >j <o
    module TOP top
      inst a MUX
      inst b MUX
      inst l LONE_BLC
  )"};
  KEP_DB* m_db = m_model.db();
  KEP_INSTANCE* m_a = m_model.instance("TOP/a");
  KEP_INSTANCE* m_b = m_model.instance("TOP/b");
};

TEST_F(SkipPaths, MarkAllMuxesOfAModuleAndOfItsEquivalentsFromWhateverView) {
  for (const char* named : {"MUX", "MUX_TWIN", "MUX_BLC"}) {
    KEP_RG_PARSE parse(m_db);
    for (const char* key : {"MUX", "MUX_TWIN", "MUX_BLC"})
      add_edge(parse, key);
    parse.set_skip_paths(m_model.module(named), true);
    for (const char* key : {"MUX", "MUX_TWIN", "MUX_BLC"})
      EXPECT_TRUE(mux(parse, key)->get_skip()) << named << ' ' << key;
    parse.set_skip_paths(m_model.module(named), false);
    for (const char* key : {"MUX", "MUX_TWIN", "MUX_BLC"})
      EXPECT_FALSE(mux(parse, key)->get_skip()) << named << ' ' << key;
  }
}

TEST_F(SkipPaths, LeaveTheEquivalentsInTheModulesOwnViewAlone) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "FULL");
  add_edge(parse, "EMPTY");
  parse.set_skip_paths(m_model.module("FULL"), true);
  EXPECT_TRUE(mux(parse, "FULL")->get_skip());
  EXPECT_FALSE(mux(parse, "EMPTY")->get_skip());
}

TEST_F(SkipPaths, KeepTheExceptionsOfAMuxThatIsMarkedSoAlready) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "MUX", true);
  parse.set_skip_paths(m_a, false);
  parse.set_skip_paths(m_model.module("MUX"), true);
  EXPECT_TRUE(mux(parse, "MUX")->get_skip());
  EXPECT_THAT(exceptions_of(mux(parse, "MUX")), ElementsAre(m_a));
}

TEST_F(SkipPaths, ClearTheExceptionsOfAMuxWhoseMarkChanges) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "MUX", false);
  parse.set_skip_paths(m_a, true);
  parse.set_skip_paths(m_model.module("MUX"), true);
  EXPECT_TRUE(mux(parse, "MUX")->get_skip());
  EXPECT_FALSE(mux(parse, "MUX")->has_skip_exception_instances());
}

TEST_F(SkipPaths, DoNothingForAnInstanceOfASkipMuxWithoutExceptions) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "MUX", true);
  EXPECT_NO_THROW(parse.set_skip_paths(m_a, true));
  EXPECT_TRUE(mux(parse, "MUX")->get_skip());
  EXPECT_THAT(exceptions_of(mux(parse, "MUX")), IsEmpty());
}

TEST_F(SkipPaths, MakeAnInstanceAnExceptionOfAMuxSoThatItsArcsSkipThereAlone) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "MUX");
  parse.set_skip_paths(m_a, true);
  const KEP_ROUTING_ARC* arc = *mux(parse, "MUX")->iter_routing_arcs().begin();
  EXPECT_TRUE(arc->is_skip(m_a));
  EXPECT_FALSE(arc->is_skip(m_b));
  EXPECT_FALSE(mux(parse, "MUX_TWIN")->has_skip_exception_instances());
}

TEST_F(SkipPaths, TakeASecondExceptionOfASkipMuxAndTheSameOneAgain) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "MUX", true);
  parse.set_skip_paths(m_a, false);
  parse.set_skip_paths(m_b, false);
  parse.set_skip_paths(m_a, false);
  EXPECT_THAT(exceptions_of(mux(parse, "MUX")), ElementsAre(m_a, m_b, m_a));
}

TEST_F(SkipPaths, RefuseToRemoveThePathOfAnInstanceFromAMuxWithExceptions) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "MUX");
  parse.set_skip_paths(m_a, true);
  EXPECT_EQ(failure_text([&] { parse.set_skip_paths(m_b, false); }),
            "Can't currently remove a skip path for instance b "
            "from function KEP_RG_PARSE::set_skip_paths in kep_rg/kep_rg_parse.cpp@LINE");
  EXPECT_THAT(exceptions_of(mux(parse, "MUX")), ElementsAre(m_a));
}

TEST_F(SkipPaths, RefuseToAddAPathOfAnInstanceToASkipMuxWithExceptions) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "MUX", true);
  parse.set_skip_paths(m_a, false);
  EXPECT_EQ(failure_text([&] { parse.set_skip_paths(m_a, true); }),
            "Can't currently add a skip path for instance a "
            "from function KEP_RG_PARSE::set_skip_paths in kep_rg/kep_rg_parse.cpp@LINE");
}

TEST_F(SkipPaths, KeepTheMarksOfTheMuxesBeforeTheOneThatRefuses) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "MUX", true);
  parse.set_skip_paths(m_a, false); // the next edge needs a mux of its own
  add_edge(parse, "MUX", false);
  const std::vector<KEP_ROUTING_MUX*> muxes = muxes_of(parse, m_model.module("MUX"));
  ASSERT_EQ(muxes.size(), 2U);
  muxes[1]->add_skip_exception_instance(m_a);
  EXPECT_EQ(failure_text([&] { parse.set_skip_paths(m_b, false); }),
            "Can't currently remove a skip path for instance b "
            "from function KEP_RG_PARSE::set_skip_paths in kep_rg/kep_rg_parse.cpp@LINE");
  EXPECT_THAT(exceptions_of(muxes[0]), ElementsAre(m_a, m_b));
  EXPECT_THAT(exceptions_of(muxes[1]), ElementsAre(m_a));
}

TEST_F(SkipPaths, RefuseAnInstanceWhoseMasterHasNoMuxWhateverItsView) {
  KEP_RG_PARSE parse(m_db);
  EXPECT_EQ(failure_text([&] { parse.set_skip_paths(m_a, true); }),
            "No port edges exist for instance a with a master MUX "
            "from function KEP_RG_PARSE::set_skip_paths in kep_rg/kep_rg_parse.cpp@LINE");
  EXPECT_EQ(failure_text([&] { parse.set_skip_paths(m_model.instance("TOP/l"), false); }),
            "No port edges exist for instance l with a master LONE_BLC "
            "from function KEP_RG_PARSE::set_skip_paths in kep_rg/kep_rg_parse.cpp@LINE");
}

TEST_F(SkipPaths, PassABlcModuleWithoutMuxesWhenItsLogicalEquivalentsHaveSome) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "FULL");
  add_edge(parse, "EMPTY");
  EXPECT_NO_THROW(parse.set_skip_paths(m_model.module("EMPTY_BLC"), true));
  EXPECT_TRUE(mux(parse, "FULL")->get_skip());
  EXPECT_TRUE(mux(parse, "EMPTY")->get_skip());
  EXPECT_NO_THROW(parse.set_skip_paths(m_model.module("LONE_BLC"), true));
}

TEST_F(SkipPaths, RefuseALogicalEquivalentWithoutMuxesAfterTheEarlierModulesWereChanged) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "FULL");
  EXPECT_EQ(failure_text([&] { parse.set_skip_paths(m_model.module("EMPTY_BLC"), true); }),
            "No port edges exist for module EMPTY(logical) "
            "from function KEP_RG_PARSE::set_skip_paths_internal in kep_rg/kep_rg_parse.cpp@LINE");
  EXPECT_TRUE(mux(parse, "FULL")->get_skip());
}

TEST_F(SkipPaths, OfAnOutputPortAreThoseOfItsWholeModuleWhicheverPortWasNamed) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "MUX");
  parse.add_skip_paths_to_output_port(m_model.port("MUX:j")); // an input that no arc knows
  EXPECT_TRUE(mux(parse, "MUX")->get_skip());
  EXPECT_TRUE(mux(parse, "MUX_TWIN")->get_skip());
}

TEST_F(SkipPaths, OfAnOutputPortInAModuleWithoutMuxesFailWithTheTextOfTheModule) {
  KEP_RG_PARSE parse(m_db);
  EXPECT_EQ(failure_text([&] { parse.add_skip_paths_to_output_port(m_model.port("MUX:o")); }),
            "No port edges exist for module MUX(logical) "
            "from function KEP_RG_PARSE::set_skip_paths_internal in kep_rg/kep_rg_parse.cpp@LINE");
}

TEST_F(SkipPaths, OfANullOutputPortAreRefused) {
  KEP_RG_PARSE parse(m_db);
  EXPECT_EQ(failure_text([&] { parse.add_skip_paths_to_output_port(nullptr); }),
            "add_buffer_output failed because output_port is NULL "
            "from function KEP_RG_PARSE::add_skip_paths_to_output_port in kep_rg/kep_rg_parse.cpp@LINE");
}

TEST_F(SkipPaths, ReadTheirPatternBackAndTouchNoMuxByIt) {
  KEP_RG_PARSE parse(m_db);
  add_edge(parse, "MUX");
  EXPECT_EQ(parse.get_non_template_mux_skip_path_inst_name_pattern(), "");
  parse.set_non_template_mux_skip_path_inst_name_pattern("a");
  EXPECT_EQ(parse.get_non_template_mux_skip_path_inst_name_pattern(), "a");
  EXPECT_EQ(m_db->get_routing_template_graph()
                ->get_routing_primitive()
                ->get_non_template_mux_skip_path_inst_name_pattern(),
            "a");
  EXPECT_FALSE(mux(parse, "MUX")->get_skip());
  EXPECT_FALSE(mux(parse, "MUX")->has_skip_exception_instances());
}

} // namespace skip_paths_test
