// Files as Yosys writes them; tests/data/yosys/make makes them anew.

#include "tests/support/io_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace yosys_files_test {

using testing::ElementsAre;

const std::string FOLDER = KEP_TEST_DATA_DIR "/yosys/";

std::unique_ptr<KEP_DB> read(const std::string& name, std::vector<std::string>* warnings = nullptr) {
  return kep_read_model(FOLDER + name + ".json", warnings);
}

/// The message without the folder.
std::string refusal(const std::string& name) {
  return refusal_of([&] { read(name); }).substr(FOLDER.size());
}

/// The name of the net that a port of an instance is on, "-" if it is on none.
std::string net_at(const KEP_MODULE* module, const char* instance, const char* port) {
  const KEP_INSTANCE* at = module->find_instance(instance);
  for (unsigned i = 0; i != at->get_module()->get_num_ports(); ++i) {
    const KEP_INST_PORT* inst_port = at->get_inst_port_by_index(i);
    if (std::string(inst_port->get_port()->get_plain_name()) == port)
      return inst_port->get_net() ? inst_port->get_net()->get_plain_name() : "-";
  }
  return "no such port";
}

TEST(YosysFiles, BitsCountTheWayTheDeclarationDoes) {
  const auto db = read("names");
  EXPECT_THAT(port_names(module_of_key(*db, "leaf")),
              ElementsAre("up[2]", "up[1]", "up[0]", "up_from_4[7]", "up_from_4[6]", "up_from_4[5]",
                          "up_from_4[4]", "from_5[5]", "from_5[6]", "one", "out"));
}

TEST(YosysFiles, ConstantsOpenPortsAndPortsLeftOutAreUnconnected) {
  const auto db = read("names");
  const KEP_MODULE* top = top_of(db);
  for (const char* port : {"up[2]", "up_from_4[7]", "up_from_4[6]", "up_from_4[5]", "up_from_4[4]", "out"})
    EXPECT_EQ(net_at(top, "x.y.z", port), "-") << port;
  EXPECT_EQ(net_at(top, "x.y.z", "up[1]"), "u.v.7[0]");
  EXPECT_EQ(net_at(top, "x.y.z", "up[0]"), "u.v.7[1]");
  EXPECT_EQ(net_at(top, "x.y.z", "from_5[6]"), "u.v.7[1]");
  EXPECT_EQ(net_at(top, "second", "one"), "-");
}

TEST(YosysFiles, SeparatorsInNamesOfCellsAndNetsBecomeDotsWithOneWarning) {
  std::vector<std::string> warnings;
  const auto db = read("names", &warnings);
  EXPECT_NE(top_of(db)->find_instance("x.y.z"), nullptr);
  EXPECT_EQ(members_of(net_of_name(top_of(db), "a.b")), "second:out x.y.z:one ");
  EXPECT_THAT(warnings,
              ElementsAre(FOLDER + "names.json: modules.names.cells.x/y:z: \"/\" and \":\" in names of cells "
                                   "and nets became \".\", in 3 of them"));
}

TEST(YosysFiles, ANumberOnOnePortOfAModuleAloneIsNoNetAndOnTwoItIs) {
  const auto db = read("names");
  EXPECT_EQ(top_of(db)->find_port("alone")->get_net(), nullptr);
  EXPECT_EQ(members_of(top_of(db)->find_port("joined")->get_net()), "joined also_joined ");
}

TEST(YosysFiles, ATextThatLooksLikeDigitsIsReadWithoutTheBlankThatYosysPutsBehindIt) {
  const auto db = read("names");
  EXPECT_STREQ(module_of_key(*db, "leaf")->get_plain_name(), "01");
  EXPECT_TRUE(module_of_key(*db, "leaf")->has_trait(KEP_MODULE::TRAIT::IP_ROOT));
}

TEST(YosysFiles, TheTopIsTheOneThatHierarchyMarked) {
  EXPECT_STREQ(top_of(read("names"))->get_key(), "names");
  EXPECT_TRUE(top_of(read("names"))->find_instance("x.y.z")->get_inst_header() != nullptr);
  EXPECT_TRUE(top_of(read("names"))->find_instance("second")->get_inst_header() == nullptr);
}

TEST(YosysFiles, AttributesThatDoNotCountWhereTheyStandAreWarnings) {
  std::vector<std::string> warnings;
  read("attributes", &warnings);
  const std::string place = FOLDER + "attributes.json: modules.attributes.";
  EXPECT_THAT(
      warnings,
      ElementsAre(place + "cells.first.attributes.kep_inst_heder: there is no attribute of that name, the "
                          "closest one is \"kep_inst_header\" (and 1 more)",
                  place + "cells.second.attributes.kep_ip_root: it doesn't count on a cell, but on a module",
                  place + "netnames.loose.attributes.kep_blc_re_index: it doesn't count on this net, but on "
                          "a net named like a port"));
}

TEST(YosysFiles, ABlackBoxWithParametersIsRefusedWithTheCauseAndTheRemedy) {
  EXPECT_EQ(
      refusal("box_with_parameters"),
      "box_with_parameters.json: modules.box_with_parameters.cells.wide.connections.in: the width is 5, "
      "that of the master's port 2: the cell gives parameters to a black box, which Yosys writes once, "
      "as it is without them; \"setattr -mod -unset blackbox =box\" before \"hierarchy\" makes a module "
      "for each set");
}

TEST(YosysFiles, TheRemedyForBlackBoxesWithParametersHelps) {
  const auto db = read("box_for_each_set");
  const KEP_MODULE* wide = top_of(db)->find_instance("wide")->get_module();
  EXPECT_STREQ(wide->get_plain_name(), "$paramod\\box\\WIDTH=s32'00000000000000000000000000000101");
  EXPECT_EQ(wide->get_num_ports(), 6U);
  EXPECT_EQ(top_of(db)->find_instance("usual")->get_module()->get_num_ports(), 3U);
}

TEST(YosysFiles, CellsThatYosysMadeAreRefusedWithTheCauseAndTheRemedies) {
  EXPECT_EQ(refusal("cells_of_expressions"),
            "cells_of_expressions.json: modules.cells_of_expressions.cells.$and$cases.v:39$3.type: unknown "
            "master \"$and\": a cell that Yosys made from an expression or a process. \"blackbox MODULE\" "
            "empties a module, \"delete =*/t:$and\" takes such cells out");
  EXPECT_THAT(refusal("cells_of_gates"),
              testing::HasSubstr("unknown master \"$_DFF_P_\": a cell that Yosys"));
  EXPECT_THAT(refusal("white_box"), testing::HasSubstr("unknown master \"$reduce_xor\": a cell that Yosys"));
}

TEST(YosysFiles, TheRemediesForCellsThatYosysMadeHelp) {
  EXPECT_EQ(top_of(read("cells_taken_out"))->get_num_instances(), 0U);
  EXPECT_EQ(top_of(read("module_emptied"))->get_num_instances(), 0U);
  EXPECT_EQ(top_of(read("white_box_emptied"))->get_num_instances(), 1U);
}

TEST(YosysFiles, WhatOnlyHierarchyResolvesIsRefusedWithThatWord) {
  EXPECT_EQ(refusal("positions"),
            "positions.json: modules.positions.cells.b.connections.$1: unknown port: the "
            "master \"box\" has none of that name, which is a position; Yosys names "
            "ports in \"hierarchy -top TOP\"");
  EXPECT_THAT(refusal("instance_arrays"),
              testing::HasSubstr(": an array of instances that Yosys unrolls in \"hierarchy -top TOP\""));
  EXPECT_EQ(net_at(top_of(read("positions_resolved")), "b", "in[1]"), "x[1]");
}

TEST(YosysFiles, AMasterThatIsNotThereIsRefusedWithTheCauseAndTheRemedy) {
  EXPECT_EQ(
      refusal("nothing_known"),
      "nothing_known.json: modules.nothing_known.cells.n.type: unknown master \"not_there\": the file has "
      "no such module. If it is a black box, Yosys needs its ports (\"read_verilog -lib FILE\"); "
      "\"hierarchy -check\" tells what is missing");
  EXPECT_EQ(refusal("nothing_known_but_parameters"),
            "nothing_known_but_parameters.json: modules.nothing_known_but_parameters.cells.n.type: unknown "
            "master \"not_there\": the file has no such module. If it is a black box with parameters, Yosys "
            "needs its ports (\"read_verilog -lib FILE\"), and \"setattr -mod -unset blackbox =not_there\" "
            "before \"hierarchy\"");
}

} // namespace yosys_files_test
