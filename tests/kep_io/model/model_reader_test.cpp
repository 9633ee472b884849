#include "tests/support/io_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace model_reader_test {

using testing::ElementsAre;

std::unique_ptr<KEP_DB> read(const std::string& text) {
  return kep_read_model_text(text, "m.json");
}

/// A model of one module T with that content.
std::unique_ptr<KEP_DB> read_module(const std::string& members) {
  return read(R"({"modules": {"T": {)" + members + "}}}");
}

/// A model of one module T with those attributes.
std::unique_ptr<KEP_DB> read_attributes(const std::string& attributes) {
  return read_module(R"("attributes": {)" + attributes + "}");
}

TEST(ModelReader, OrderOfModulesPortsAndCellsIsThatOfTheFile) {
  const auto db = read(R"({"modules": {
    "Z": {"ports": {"z": {"direction": "input", "bits": [2]}, "a": {"direction": "output", "bits": [3]}}},
    "T": {"cells": {"c2": {"type": "Z"}, "c10": {"type": "A"}, "c1": {"type": "Z"}}},
    "A": {}}})");
  std::string keys;
  for (const KEP_MODULE* module : db->iter_modules(true))
    keys += module->get_key();
  EXPECT_EQ(keys, "ZTA");
  EXPECT_THAT(port_names(module_of_key(*db, "Z")), ElementsAre("z", "a"));
  std::vector<std::string> cells;
  for (const KEP_INSTANCE* instance : top_of(db)->iter_instances())
    cells.push_back(std::string(instance->get_plain_name()) + " " + instance->get_module()->get_key());
  EXPECT_THAT(cells, ElementsAre("c2 Z", "c10 A", "c1 Z"));
}

TEST(ModelReader, AModuleWithNoMembersAtAllIsAnEmptyModule) {
  const auto db = read_module("");
  EXPECT_EQ(top_of(db)->get_num_ports(), 0U);
  EXPECT_EQ(top_of(db)->get_num_instances(), 0U);
  EXPECT_EQ(top_of(db)->get_num_nets(), 0U);
}

TEST(ModelReader, PortsHaveTheThreeDirections) {
  const auto db = read_module(R"("ports": {"i": {"direction": "input", "bits": ["x"]},
    "o": {"direction": "output", "bits": ["x"]}, "b": {"direction": "inout", "bits": ["x"]}})");
  EXPECT_TRUE(top_of(db)->find_port("i")->is_input());
  EXPECT_TRUE(top_of(db)->find_port("o")->is_output());
  EXPECT_TRUE(top_of(db)->find_port("b")->is_bidir());
}

TEST(ModelReader, OnlyPortsOfSeveralBitsGetIndices) {
  const auto db = read_module(R"("ports": {
    "one": {"direction": "input", "bits": [2], "offset": 7},
    "two": {"direction": "input", "bits": [3, 4]},
    "none": {"direction": "input", "bits": []},
    "off": {"direction": "input", "bits": [5, 6], "offset": 4},
    "up": {"direction": "input", "bits": [7, 8, 9], "upto": 1},
    "both": {"direction": "input", "bits": [10, 11], "offset": -1, "upto": 1}})");
  EXPECT_THAT(port_names(top_of(db)), ElementsAre("one", "two[0]", "two[1]", "off[4]", "off[5]", "up[2]",
                                                  "up[1]", "up[0]", "both[0]", "both[-1]"));
}

TEST(ModelReader, BitsOfNetsAreNamedLikeThoseOfPorts) {
  const auto db = read(R"({"modules": {"M": {"ports": {"p": {"direction": "input", "bits": [2]}}},
    "T": {"cells": {"a": {"type": "M", "connections": {"p": [2]}}, "b": {"type": "M", "connections": {"p": [3]}},
                    "c": {"type": "M", "connections": {"p": [4]}}, "d": {"type": "M", "connections": {"p": [5]}}},
          "netnames": {"n": {"bits": [2, 3], "offset": 3, "upto": 1}, "w": {"bits": [4], "offset": 9}}}}})");
  EXPECT_EQ(members_of(net_of_name(top_of(db), "n[4]")), "a:p ");
  EXPECT_EQ(members_of(net_of_name(top_of(db), "n[3]")), "b:p ");
  EXPECT_EQ(members_of(net_of_name(top_of(db), "w")), "c:p ");
  EXPECT_EQ(members_of(net_of_name(top_of(db), "$n5")), "d:p ");
}

TEST(ModelReader, TheFirstNameOfANetWins) {
  const auto db = read(R"({"modules": {"M": {"ports": {"p": {"direction": "input", "bits": [2]}}},
    "T": {"netnames": {"other": {"bits": [9]}, "first": {"bits": [2]}, "second": {"bits": [2]}},
          "cells": {"a": {"type": "M", "connections": {"p": [2]}}}}}})");
  EXPECT_EQ(top_of(db)->get_num_nets(), 1U);
  EXPECT_EQ(members_of(net_of_name(top_of(db), "first")), "a:p ");
}

TEST(ModelReader, BitsThatAreTextsAreUnconnected) {
  const auto db =
      read(R"({"modules": {"M": {"ports": {"p": {"direction": "input", "bits": ["0", "1", "x", "z"]}}},
    "T": {"cells": {"a": {"type": "M", "connections": {"p": ["z", "x", "1", "0"]}}, "b": {"type": "M"}}}}})");
  for (const KEP_PORT* port : module_of_key(*db, "M")->iter_ports())
    EXPECT_EQ(port->get_net(), nullptr);
  for (const char* name : {"a", "b"})
    for (unsigned i = 0; i != 4; ++i)
      EXPECT_EQ(top_of(db)->find_instance(name)->get_inst_port_by_index(i)->get_net(), nullptr);
}

TEST(ModelReader, MembersOfANetStandInTheOrderOfPortsAndCellsWhateverTheConnectionsSay) {
  const auto db = read(R"({"modules": {
    "T": {"cells": {"y": {"type": "M", "connections": {"q": [5, 5], "p": [5]}},
                    "x": {"type": "M", "connections": {"p": [5]}}},
          "ports": {"b": {"direction": "input", "bits": [5]}, "a": {"direction": "output", "bits": [5]}}},
    "M": {"ports": {"p": {"direction": "input", "bits": [2]}, "q": {"direction": "output", "bits": [3, 4]}}}}})");
  EXPECT_EQ(members_of(net_of_name(top_of(db), "$n5")), "b a y:p y:q[0] y:q[1] x:p ");
}

TEST(ModelReader, ANumberOnOnePortAloneIsNoNetAndOnOneInstPortIsOne) {
  const auto db = read(R"({"modules": {"M": {"ports": {"p": {"direction": "input", "bits": [2]}}},
    "T": {"ports": {"alone": {"direction": "input", "bits": [2]}, "t": {"direction": "input", "bits": [3]},
                    "u": {"direction": "output", "bits": [3]}},
          "cells": {"a": {"type": "M", "connections": {"p": [4]}}}}}})");
  EXPECT_EQ(top_of(db)->find_port("alone")->get_net(), nullptr);
  EXPECT_EQ(members_of(top_of(db)->find_port("t")->get_net()), "t u ");
  EXPECT_EQ(members_of(net_of_name(top_of(db), "$n4")), "a:p ");
  EXPECT_EQ(top_of(db)->get_num_nets(), 2U);
}

TEST(ModelReader, EqualNumbersInDifferentModulesAreDifferentNets) {
  const auto db = read(R"({"modules": {
    "M": {"ports": {"p": {"direction": "input", "bits": [7]}, "q": {"direction": "output", "bits": [7]}}},
    "T": {"cells": {"a": {"type": "M", "connections": {"p": [7]}}}},
    "U": {"attributes": {"top": 1}, "cells": {"t": {"type": "T"}, "m": {"type": "M", "connections": {"q": [7]}}}}}})");
  EXPECT_EQ(members_of(net_of_name(module_of_key(*db, "M"), "$n7")), "p q ");
  EXPECT_EQ(members_of(net_of_name(module_of_key(*db, "T"), "$n7")), "a:p ");
  EXPECT_EQ(members_of(net_of_name(module_of_key(*db, "U"), "$n7")), "m:q ");
}

TEST(ModelReader, NetNumbersMayBeAsLargeAsTheyLike) {
  const auto db = read(R"({"modules": {"M": {"ports": {"p": {"direction": "input", "bits": [2]}}},
    "T": {"cells": {"a": {"type": "M", "connections": {"p": [18446744073709551614]}},
                    "b": {"type": "M", "connections": {"p": [9223372036854775808]}},
                    "c": {"type": "M", "connections": {"p": [18446744073709551614]}}},
          "netnames": {"n": {"bits": [9223372036854775808]}}},
    "U": {"attributes": {"top": 1}, "cells": {"t": {"type": "T"},
          "m": {"type": "M", "connections": {"p": [18446744073709551614]}}}}}})");
  const KEP_MODULE* module = module_of_key(*db, "T");
  EXPECT_EQ(members_of(net_of_name(module, "$n18446744073709551614")), "a:p c:p ");
  EXPECT_EQ(members_of(net_of_name(module, "n")), "b:p ");
  EXPECT_EQ(members_of(net_of_name(module_of_key(*db, "U"), "$n18446744073709551614")), "m:p ");
}

TEST(ModelReader, ANetNumberMayBeTheSizeOfTheFile) {
  // Smaller numbers are looked up in an array of at most that size.
  const std::string before = R"({"modules": {"T": {"ports": {"p": {"direction": "input", "bits": [)";
  const std::string between = R"(]}, "q": {"direction": "output", "bits": [)";
  const std::string behind = "]}}}}}";
  const std::size_t size = before.size() + between.size() + behind.size() + 2 * std::string("999").size();
  ASSERT_GE(size, 102U);
  ASSERT_LE(size, 998U);
  for (const std::size_t number : {size - 1, size, size + 1}) {
    const std::string bit = std::to_string(number);
    const auto db = read(before + bit + between + bit + behind);
    EXPECT_EQ(members_of(net_of_name(top_of(db), "$n" + bit)), "p q ");
    EXPECT_EQ(top_of(db)->get_num_nets(), 1U);
  }
}

TEST(ModelReader, AModuleIsNamedByItsKeyUnlessItHasAName) {
  const auto db = read(R"({"modules": {"A": {}, "B/1:x": {"attributes": {"kep_name": "N"}},
    "T": {"attributes": {"top": 1}}}})");
  EXPECT_STREQ(module_of_key(*db, "A")->get_plain_name(), "A");
  EXPECT_STREQ(module_of_key(*db, "B/1:x")->get_plain_name(), "N");
  EXPECT_EQ(db->find_modules("N", KEP_VIEW_TYPE::LOGICAL, true).size(), 1U);
}

TEST(ModelReader, AModuleIsInTheViewThatItNames) {
  const auto db = read(R"({"modules": {"T": {},
    "L": {"attributes": {"kep_view": "LOGICAL"}}, "V": {"attributes": {"kep_view": "VIEW_1"}},
    "B": {"attributes": {"kep_view": "BLC"}}, "W": {"attributes": {"kep_view": "LOGICAL_TWIN"}},
    "U": {"attributes": {"top": 1}}}})");
  EXPECT_EQ(module_of_key(*db, "T")->get_view_type(), KEP_VIEW_TYPE::LOGICAL);
  EXPECT_EQ(module_of_key(*db, "L")->get_view_type(), KEP_VIEW_TYPE::LOGICAL);
  EXPECT_EQ(module_of_key(*db, "V")->get_view_type(), KEP_VIEW_TYPE::VIEW_1);
  EXPECT_EQ(module_of_key(*db, "B")->get_view_type(), KEP_VIEW_TYPE::BLC);
  EXPECT_EQ(module_of_key(*db, "W")->get_view_type(), KEP_VIEW_TYPE::LOGICAL_TWIN);
}

TEST(ModelReader, ModulesOfOneGroupAreEquivalentsWhereverTheyStand) {
  const auto db = read(R"({"modules": {
    "L": {"attributes": {"kep_equivalents": "g"}, "ports": {"p": {"direction": "input", "bits": [2]}}},
    "T": {"cells": {"l": {"type": "L"}}},
    "other": {"attributes": {"kep_equivalents": "h", "kep_view": "BLC"}},
    "B": {"attributes": {"kep_equivalents": "g", "kep_view": "BLC"},
          "ports": {"p": {"direction": "input", "bits": ["x"]}}},
    "U": {"attributes": {"top": 1}}}})");
  EXPECT_EQ(module_of_key(*db, "L")->find_view(KEP_VIEW_TYPE::BLC), module_of_key(*db, "B"));
  EXPECT_EQ(module_of_key(*db, "B")->find_view(KEP_VIEW_TYPE::LOGICAL), module_of_key(*db, "L"));
  EXPECT_EQ(module_of_key(*db, "other")->find_view(KEP_VIEW_TYPE::LOGICAL), nullptr);
}

TEST(ModelReader, TheTopIsTheModuleThatNothingInstantiatesOrTheOneDesignated) {
  const std::string modules =
      R"("A": {}, "B": {"cells": {"a": {"type": "A"}}}, "C": {"cells": {"b": {"type": "B"}}})";
  EXPECT_STREQ(top_of(read(R"({"modules": {)" + modules + "}}"))->get_key(), "C");
  EXPECT_STREQ(top_of(read(R"({"modules": {"D": {"attributes": {"top": 1}}, )" + modules + "}}"))->get_key(),
               "D");
  EXPECT_STREQ(
      top_of(read(R"({"modules": {"D": {"attributes": {"top": 0}, "cells": {"c": {"type": "C"}}}, )" +
                  modules + "}}"))
          ->get_key(),
      "D");
}

TEST(ModelReader, TheTopTellsTheTypeOfTheDatabase) {
  EXPECT_EQ(read_attributes("")->get_db_type(), KEP_DB_TYPE::REDUNDANCY);
  EXPECT_EQ(read_attributes(R"("kep_db_type": 0)")->get_db_type(), KEP_DB_TYPE::NO_REDUNDANCY);
  EXPECT_EQ(read_attributes(R"("kep_db_type": 1)")->get_db_type(), KEP_DB_TYPE::TOP_PORTS_ROUTED);
  EXPECT_EQ(read_attributes(R"("kep_db_type": "00000000000000000000000000000010")")->get_db_type(),
            KEP_DB_TYPE::REDUNDANCY);
  EXPECT_FALSE(read_attributes("")->is_device_top());
  EXPECT_FALSE(read_attributes(R"("kep_device_top": 0)")->is_device_top());
  EXPECT_TRUE(read_attributes(R"("kep_device_top": 1)")->is_device_top());
}

TEST(ModelReader, FlagsOfAModuleAreSetByWhateverIsNotZero) {
  for (const std::string off : {"0", "\"0000\""}) {
    const auto db = read_attributes(R"("kep_ip_root": )" + off + R"(, "kep_trait_0": )" + off +
                                    R"(, "kep_blc_bidir_buffer": )" + off);
    EXPECT_FALSE(top_of(db)->has_trait(KEP_MODULE::TRAIT::IP_ROOT));
    EXPECT_FALSE(top_of(db)->has_trait(KEP_MODULE::TRAIT::TRAIT_0));
    EXPECT_FALSE(top_of(db)->get_is_blc_bidir_buffer());
  }
  const std::string wide = "\"1" + std::string(200, '0') + "\"";
  for (const std::string& on : {std::string("1"), std::string("-3"), std::string("18446744073709551615"),
                                std::string("\"10\""), wide}) {
    EXPECT_TRUE(top_of(read_attributes(R"("kep_ip_root": )" + on))->has_trait(KEP_MODULE::TRAIT::IP_ROOT));
    EXPECT_TRUE(top_of(read_attributes(R"("kep_trait_0": )" + on))->has_trait(KEP_MODULE::TRAIT::TRAIT_0));
    EXPECT_TRUE(top_of(read_attributes(R"("kep_blc_bidir_buffer": )" + on))->get_is_blc_bidir_buffer());
  }
}

TEST(ModelReader, AForeignModuleLiesInAnotherDatabase) {
  const auto db =
      read(R"({"modules": {"F": {"attributes": {"kep_foreign": 1}}, "H": {"attributes": {"kep_foreign": 0}},
    "T": {"cells": {"f": {"type": "F"}, "h": {"type": "H"}}}}})");
  EXPECT_FALSE(top_of(db)->find_instance("f")->module_in_same_db());
  EXPECT_TRUE(top_of(db)->find_instance("h")->module_in_same_db());
}

TEST(ModelReader, FlagsOfACellAreSetByWhateverIsNotZero) {
  const auto db = read(R"({"modules": {"M": {}, "T": {"cells": {
    "none": {"type": "M", "attributes": {"kep_inst_header": 0, "kep_blc_atom": "0"}},
    "header": {"type": "M", "attributes": {"kep_inst_header": 1}},
    "trait": {"type": "M", "attributes": {"kep_trait_0": "00000001"}},
    "atom": {"type": "M", "attributes": {"kep_blc_atom": 2}},
    "buffer": {"type": "M", "attributes": {"kep_blc_inserted_buffer": 1}}}}}})");
  std::string flags;
  for (const KEP_INSTANCE* instance : top_of(db)->iter_instances())
    flags += std::string(instance->get_plain_name()) + (instance->get_inst_header() ? " h" : "") +
             (instance->has_trait(KEP_INSTANCE::TRAIT::TRAIT_0) ? " t" : "") +
             (instance->is_blc_atom() ? " a" : "") + (instance->get_blc_is_inserted_buffer() ? " b" : "") +
             ";";
  EXPECT_EQ(flags, "none;header h;trait t;atom a;buffer b;");
}

TEST(ModelReader, ANetNamedLikeAPortTellsTheBlcIndexAndNameOfThePort) {
  const auto db = read_module(R"("ports": {
      "one": {"direction": "input", "bits": [2]}, "bus": {"direction": "input", "bits": [3, 4, 5]},
      "up": {"direction": "input", "bits": [6, 7], "upto": 1, "offset": 4},
      "open": {"direction": "input", "bits": ["x", "z"]}, "plain": {"direction": "input", "bits": [8]},
      "none": {"direction": "input", "bits": [9, 10]}},
    "netnames": {
      "one": {"bits": [2], "attributes": {"kep_blc_re_index": 5}},
      "bus": {"bits": [3, 4, 5], "attributes": {"kep_blc_re_index": "101", "kep_blc_icd_port_name": "icd"}},
      "up": {"bits": [6, 7], "attributes": {"kep_blc_re_index": 0}},
      "open": {"bits": ["x", "z"], "attributes": {"kep_blc_re_index": 2147483646, "kep_blc_icd_port_name": "o"}},
      "none": {"bits": [9, 10], "attributes": {"kep_blc_re_index": -1}},
      "no_port": {"bits": [2], "attributes": {"kep_blc_re_index": {"not": "a number"}}}})");
  std::string ports;
  for (const KEP_PORT* port : top_of(db)->iter_ports())
    ports += std::string(port->get_plain_name()) + " " + std::to_string(port->get_blc_re_index()) + " " +
             port->get_blc_icd_port_name() + "; ";
  EXPECT_EQ(ports,
            "one 5 ; bus[0] 5 icd; bus[1] 6 icd; bus[2] 7 icd; up[5] 0 ; up[4] 1 ; open[0] 2147483646 o; "
            "open[1] 2147483647 o; plain -1 ; none[0] -1 ; none[1] -1 ; ");
}

TEST(ModelReader, WhatTheModelDoesNotNeedIsPassedOverWhateverItHolds) {
  const auto db = read(R"({"creator": 1, "models": [[]], "modules": {
    "M": {"parameter_default_values": null, "memories": 3,
          "attributes": {"src": [1], "kep_unknown": {"a": "b"}, "kep_inst_header": "text"},
          "ports": {"p": {"direction": "input", "bits": [2], "signed": "?"}}},
    "T": {"cells": {"a": {"hide_name": [], "type": "M", "parameters": 5, "port_directions": "x",
                          "attributes": {"kep_ip_root": "no"}, "connections": {"p": [2]}}},
          "netnames": {"n": {"hide_name": "h", "bits": [2], "attributes": {"src": {}, "top": []}}}}}, "x": 1})");
  EXPECT_EQ(members_of(net_of_name(top_of(db), "n")), "a:p ");
}

TEST(ModelReader, AnEmptyConnectionLeavesAPortOfAnyWidthOpen) {
  const auto db = read(R"({"modules": {"M": {"ports": {"p": {"direction": "output", "bits": [2, 3]},
                                                       "q": {"direction": "output", "bits": [4]}}},
    "T": {"cells": {"a": {"type": "M", "connections": {"p": [], "q": [5]}}}}}})");
  const KEP_INSTANCE* instance = top_of(db)->find_instance("a");
  EXPECT_EQ(instance->get_inst_port_by_index(0)->get_net(), nullptr);
  EXPECT_EQ(instance->get_inst_port_by_index(1)->get_net(), nullptr);
  EXPECT_NE(instance->get_inst_port_by_index(2)->get_net(), nullptr);
}

TEST(ModelReader, NamesOfOtherModulesAndOfOtherKindsMayBecomeAlike) {
  std::vector<std::string> warnings;
  const auto db =
      kep_read_model_text(R"({"modules": {"M": {"ports": {"p": {"direction": "input", "bits": [2]}}},
    "T": {"cells": {"a/b": {"type": "M", "connections": {"p": [2]}}}, "netnames": {"a:b": {"bits": [2]}}},
    "U": {"attributes": {"top": 1}, "ports": {"a.b": {"direction": "input", "bits": [3]}},
          "cells": {"t": {"type": "T"}, "a.b": {"type": "M", "connections": {"p": [3]}}},
          "netnames": {"a/b": {"bits": [3], "attributes": {"kep_blc_re_index": 4}}}}}})",
                          "m.json", &warnings);
  EXPECT_EQ(members_of(net_of_name(module_of_key(*db, "T"), "a.b")), "a.b:p ");
  EXPECT_EQ(members_of(net_of_name(top_of(db), "a.b")), "a.b a.b:p ");
  // The net isn't named like the port: in the file it has another name.
  EXPECT_EQ(top_of(db)->find_port("a.b")->get_blc_re_index(), -1);
  ASSERT_EQ(warnings.size(), 2U);
  EXPECT_EQ(warnings[0],
            "m.json: modules.T.cells.a/b: \"/\" and \":\" in names of cells and nets became \".\", "
            "in 3 of them");
}

TEST(ModelReader, NumbersOfThirtyTwoDigitsAreNegativeWhenTheyBeginWithOne) {
  const auto index_of = [](const std::string& digits) {
    const auto db =
        read_module(R"("ports": {"p": {"direction": "input", "bits": [2]}}, "netnames": {"p": {"bits": [2],
      "attributes": {"kep_blc_re_index": ")" +
                    digits + R"("}}})");
    return top_of(db)->find_port("p")->get_blc_re_index();
  };
  EXPECT_EQ(index_of(std::string(30, '0') + "11"), 3);
  EXPECT_EQ(index_of(std::string(32, '1')), -1);
  EXPECT_EQ(index_of(std::string(30, '1') + "01"), -3);
  EXPECT_EQ(index_of("1"), 1);
}

TEST(ModelReader, OfATextThatLooksLikeDigitsOneBlankIsTakenOff) {
  const auto name_of = [](const std::string& text) {
    return std::string(top_of(read_attributes("\"kep_name\": \"" + text + "\""))->get_plain_name());
  };
  EXPECT_EQ(name_of("01"), "01");
  EXPECT_EQ(name_of("01 "), "01");
  EXPECT_EQ(name_of("1xz0  "), "1xz0 ");
  EXPECT_EQ(name_of("12 "), "12 ");
  EXPECT_EQ(name_of("0 1 "), "0 1 ");
  EXPECT_EQ(name_of("  "), " ");
}

TEST(ModelReader, TextsMayHoldEveryCharacterThatIsNoSeparatorAndNoControl) {
  const auto db =
      read_module("\"ports\": {\"\\u00e4 \\\"\\\\[.]\": {\"direction\": \"input\", \"bits\": [2]}}");
  EXPECT_THAT(port_names(top_of(db)), ElementsAre("\xC3\xA4 \"\\[.]"));
}

} // namespace model_reader_test
