#include "tests/support/io_test_support.h"

#include <gtest/gtest.h>

namespace model_refusal_test {

struct REFUSAL {
  const char* m_what; // sentence about what is refused
  const char* m_text;
  const char* m_message;
};

class ModelRefusal : public testing::TestWithParam<REFUSAL> {};

/// Behind it, the text of a module MUX with ports a (two bits) and y.
#define MUX                                                                                                  \
  R"("MUX": {"ports": {"a": {"direction": "input", "bits": [2, 3]}, "y": {"direction": "output", "bits": [4]}}})"

const REFUSAL TEXTS[] = {
    {"NoText", "", "m.json: no JSON: the file is empty"},
    {"BlankText", " \n ", "m.json:2:2: no JSON: the text ends where a value is expected"},
    {"TruncatedText", "{\"modules\": {\n\"T\": {",
     "m.json:2:7: no JSON: the text ends where a key is expected"},
    {"OpenString", "{\"modules\": {\"T", "m.json:1:16: no JSON: the text ends inside a string"},
    {"TextBehindTheEnd", "{\"modules\": {\"T\": {}}}\n x",
     "m.json:2:2: no JSON: there is text behind the end"},
    {"MissingComma", "{\"modules\": {\"T\": {}\n \"U\": {}}}",
     "m.json:2:2: no JSON: \",\" or \"}\" is expected"},
    {"NoValue", "{\"modules\": None}", "m.json:1:13: no JSON: a value is expected"},
    {"NoUtf8", "{\"modules\": {\"T\xff\": {}}}", "m.json:1:16: no JSON: the text is no UTF-8"},
    {"TooLargeNumber", "{\"x\": 123456789012345678901,\n\"modules\": {}}",
     "m.json:1:7: a number that does not fit in 64 bits"},
    {"NoObject", "[]", "m.json: not a JSON object"},
    {"NoModules", R"({"module": {}})", "m.json: modules: it is missing"},
    {"ModulesTwice", R"({"modules": {"T": {}}, "modules": {}})", "m.json: modules: it stands there twice"},
    {"ModulesThatAreNoObject", R"({"modules": []})", "m.json: modules: not a JSON object"},
    {"NoModuleAtAll", R"({"modules": {}})", "m.json: modules: there is no module"},
    {"ModuleThatIsNoObject", R"({"modules": {"T": 1}})", "m.json: modules.T: not a JSON object"},
    {"ModuleTwice", R"({"modules": {"T": {}, "T": {}}})",
     "m.json: modules.T: a module of that key stands before"},
    {"MemberTwice", R"({"modules": {"T": {"ports": {}, "cells": {}, "ports": {}}}})",
     "m.json: modules.T.ports: it stands there twice"},
    {"PortTwice", R"({"modules": {"T": {"ports": {"p": {"direction": "input", "bits": [2]},
      "p": {"direction": "input", "bits": [3]}}}}})",
     "m.json: modules.T.ports.p: a port of that name stands before"},
    {"PortTwiceWithOtherWidths", R"({"modules": {"T": {"ports": {"p": {"direction": "input", "bits": [2]},
      "p": {"direction": "input", "bits": [3, 4]}}}}})",
     "m.json: modules.T.ports.p: a port of that name stands before"},
    {"BitOfAPortTwice", R"({"modules": {"T": {"ports": {"p": {"direction": "input", "bits": [2, 3]},
      "p[1]": {"direction": "input", "bits": [3]}}}}})",
     "m.json: modules.T.ports.p[1]: a port of that name stands before"},
    {"CellTwice", R"({"modules": {"M": {}, "T": {"cells": {"c": {"type": "M"}, "c": {"type": "M"}}}}})",
     "m.json: modules.T.cells.c: a cell of that name stands before"},
    {"ConnectionTwice",
     R"({"modules": {)" MUX
     R"(, "T": {"cells": {"m1": {"type": "MUX", "connections": {"y": [2], "y": [3]}}}}}})",
     "m.json: modules.T.cells.m1.connections.y: the port is connected twice"},
    {"UnknownMaster", R"({"modules": {"T": {"cells": {"c": {"type": "MUX"}}}}})",
     "m.json: modules.T.cells.c.type: unknown master \"MUX\": the file has no such module. If it is a black "
     "box, Yosys needs its ports (\"read_verilog -lib FILE\"); \"hierarchy -check\" tells what is missing"},
    {"UnknownVariantOfAMaster", R"({"modules": {"T": {"cells": {"c": {"type": "$paramod\\M\\W=1"}}}}})",
     "m.json: modules.T.cells.c.type: unknown master \"$paramod\\M\\W=1\": a module with parameters that "
     "isn't in the file; write the whole design"},
    {"UnknownMasterOfNewerYosys", R"({"modules": {"T": {"cells": {"c": {"type": "$scopeinfo"}}}}})",
     "m.json: modules.T.cells.c.type: unknown master \"$scopeinfo\": a cell that Yosys made from an "
     "expression "
     "or a process. \"blackbox MODULE\" empties a module, \"delete =*/t:$scopeinfo\" takes such cells out"},
    {"ConnectionByPosition",
     R"({"modules": {)" MUX R"(, "TILE": {"cells": {"m1": {"type": "MUX", "connections": {"$12": [2]}}}}}})",
     "m.json: modules.TILE.cells.m1.connections.$12: unknown port: the master \"MUX\" has none of that name, "
     "which is a position; Yosys names ports in \"hierarchy -top TOP\""},
    {"NoMaster", R"({"modules": {"T": {"cells": {"c": {"connections": {}}}}}})",
     "m.json: modules.T.cells.c.type: it is missing"},
    {"UnknownPort",
     R"({"modules": {)" MUX R"(, "TILE": {"cells": {"m1": {"type": "MUX", "connections": {"b": [2]}}}}}})",
     "m.json: modules.TILE.cells.m1.connections.b: unknown port: the master \"MUX\" has none of that name"},
    {"BitOfAPortAsAPort",
     R"({"modules": {)" MUX R"(, "TILE": {"cells": {"m1": {"type": "MUX", "connections": {"a[0]": [2]}}}}}})",
     "m.json: modules.TILE.cells.m1.connections.a[0]: unknown port: the master \"MUX\" has none of that "
     "name"},
    {"SmallerWidth",
     R"({"modules": {)" MUX R"(, "TILE": {"cells": {"m1": {"type": "MUX", "connections": {"a": [2]}}}}}})",
     "m.json: modules.TILE.cells.m1.connections.a: the width is 1, that of the master's port 2"},
    {"LargerWidth",
     R"({"modules": {"TILE": {"cells": {"m1": {"type": "MUX", "connections": {"y": [2, 3]}}}}, )" MUX "}}",
     "m.json: modules.TILE.cells.m1.connections.y: the width is 2, that of the master's port 1"},
    {"ConnectionThatIsNoList",
     R"({"modules": {)" MUX R"(, "TILE": {"cells": {"m1": {"type": "MUX", "connections": {"y": 2}}}}}})",
     "m.json: modules.TILE.cells.m1.connections.y: not a JSON array"},
    {"NegativeBit",
     R"({"modules": {)" MUX
     R"(, "TILE": {"cells": {"m1": {"type": "MUX", "connections": {"a": [1, -2]}}}}}})",
     "m.json: modules.TILE.cells.m1.connections.a: bit 1 is neither the number of a net nor \"0\", \"1\", "
     "\"x\" or "
     "\"z\""},
    {"FractionAsBit", R"({"modules": {"T": {"ports": {"p": {"direction": "input", "bits": [2.0]}}}}})",
     "m.json: modules.T.ports.p.bits: bit 0 is neither the number of a net nor \"0\", \"1\", \"x\" or \"z\""},
    {"UnknownTextAsBit", R"({"modules": {"T": {"netnames": {"n": {"bits": ["X"]}}}}})",
     "m.json: modules.T.netnames.n.bits: bit 0 is neither the number of a net nor \"0\", \"1\", \"x\" or "
     "\"z\""},
    {"NoBits", R"({"modules": {"T": {"ports": {"p": {"direction": "input"}}}}})",
     "m.json: modules.T.ports.p.bits: it is missing"},
    {"NoBitsOfANet", R"({"modules": {"T": {"netnames": {"n": {}}}}})",
     "m.json: modules.T.netnames.n.bits: it is missing"},
    {"UnknownDirection", R"({"modules": {"T": {"ports": {"p": {"direction": "bidir", "bits": [2]}}}}})",
     "m.json: modules.T.ports.p.direction: unknown direction \"bidir\""},
    {"NoDirection", R"({"modules": {"T": {"ports": {"p": {"bits": [2]}}}}})",
     "m.json: modules.T.ports.p.direction: it is missing"},
    {"OffsetThatIsNoInteger", R"({"modules": {"T": {"ports": {"p": {"direction": "input", "bits": [2, 3],
      "offset": "1"}}}}})",
     "m.json: modules.T.ports.p.offset: not an integer of 32 bits"},
    {"TooLargeOffset", R"({"modules": {"T": {"ports": {"p": {"direction": "input", "bits": [2, 3],
      "offset": 4294967296}}}}})",
     "m.json: modules.T.ports.p.offset: not an integer of 32 bits"},
    {"UnknownView", R"({"modules": {"T": {"attributes": {"kep_view": "DEFAULT_VIEW"}}}})",
     "m.json: modules.T.attributes.kep_view: unknown view \"DEFAULT_VIEW\""},
    {"ViewThatIsNoText", R"({"modules": {"T": {"attributes": {"kep_view": 2}}}})",
     "m.json: modules.T.attributes.kep_view: not a text"},
    {"NameThatIsNoText", R"({"modules": {"T": {"attributes": {"kep_name": 2}}}})",
     "m.json: modules.T.attributes.kep_name: not a text"},
    {"GroupWithoutName", R"({"modules": {"T": {"attributes": {"kep_equivalents": ""}}}})",
     "m.json: modules.T.attributes.kep_equivalents: the group has no name"},
    {"TextAsFlag", R"({"modules": {"T": {"attributes": {"kep_ip_root": "yes"}}}})",
     "m.json: modules.T.attributes.kep_ip_root: neither an integer nor a text of 0s and 1s"},
    {"EmptyTextAsFlag", R"({"modules": {"T": {"attributes": {"top": ""}}}})",
     "m.json: modules.T.attributes.top: neither an integer nor a text of 0s and 1s"},
    {"UndefinedDigitsAsFlag", R"({"modules": {"M": {}, "T": {"cells": {"c": {"type": "M",
      "attributes": {"kep_blc_atom": "0x"}}}}}})",
     "m.json: modules.T.cells.c.attributes.kep_blc_atom: neither an integer nor a text of 0s and 1s"},
    {"FractionAsFlag", R"({"modules": {"T": {"attributes": {"kep_foreign": 1.5}}}})",
     "m.json: modules.T.attributes.kep_foreign: neither an integer nor a text of 0s and 1s"},
    {"AttributesThatAreNoObject", R"({"modules": {"T": {"attributes": []}}})",
     "m.json: modules.T.attributes: not a JSON object"},
    {"AttributeTwice", R"({"modules": {"T": {"attributes": {"top": 1, "top": 1}}}})",
     "m.json: modules.T.attributes.top: it stands there twice"},
    {"UnknownTypeOfDatabase", R"({"modules": {"T": {"attributes": {"kep_db_type": 3}}}})",
     "m.json: modules.T.attributes.kep_db_type: no number from 0 to 2"},
    {"NegativeTypeOfDatabase", R"({"modules": {"T": {"attributes": {"kep_db_type": -1}}}})",
     "m.json: modules.T.attributes.kep_db_type: no number from 0 to 2"},
    {"VeryLargeTypeOfDatabase",
     R"({"modules": {"T": {"attributes": {"kep_db_type": 18446744073709551615}}}})",
     "m.json: modules.T.attributes.kep_db_type: no number from 0 to 2"},
    {"TooLargeBlcIndexOfTheLastBit",
     R"({"modules": {"T": {"ports": {"p": {"direction": "input", "bits": [2, 3]}},
      "netnames": {"p": {"bits": [2, 3], "attributes": {"kep_blc_re_index": 2147483647}}}}}})",
     "m.json: modules.T.netnames.p.attributes.kep_blc_re_index: no number from -2147483648 to 2147483646"},
    {"AttributesOfAPortTwice", R"({"modules": {"T": {"ports": {"p": {"direction": "input", "bits": [2]}},
      "netnames": {"p": {"bits": [2], "attributes": {"kep_blc_re_index": 1}},
                   "p": {"bits": [2], "attributes": {"kep_blc_re_index": 2}}}}}})",
     "m.json: modules.T.netnames.p: attributes of that port stand before"},
    {"SlashInAPort", R"({"modules": {"T": {"ports": {"a/b": {"direction": "input", "bits": [2]}}}}})",
     "m.json: modules.T.ports.a/b: the name \"a/b\" holds \"/\" or \":\": rename the port"},
    {"CellsThatBecomeAlike",
     R"({"modules": {"M": {}, "T": {"cells": {"a/b": {"type": "M"}, "a:b": {"type": "M"}}}}})",
     "m.json: modules.T.cells.a:b: \"/\" and \":\" become \".\", and so \"a.b\" is the name of \"a/b\", too"},
    {"CellThatBecomesLikeOneBehind",
     R"({"modules": {"M": {}, "T": {"cells": {"a/b": {"type": "M"}, "a.b": {"type": "M"}}}}})",
     "m.json: modules.T.cells.a/b: \"/\" and \":\" become \".\", and another one is named \"a.b\" already"},
    {"CellThatBecomesLikeOneBefore",
     R"({"modules": {"M": {}, "T": {"cells": {"a.b": {"type": "M"}, "a:b": {"type": "M"}}}}})",
     "m.json: modules.T.cells.a:b: \"/\" and \":\" become \".\", and another one is named \"a.b\" already"},
    {"NetsThatBecomeAlike",
     R"({"modules": {"T": {"netnames": {"a:b": {"bits": [2]}, "a/b": {"bits": [3]}}}}})",
     "m.json: modules.T.netnames.a/b: \"/\" and \":\" become \".\", and so \"a.b\" is the name of \"a:b\", "
     "too"},
    {"NetThatBecomesLikeAnother",
     R"({"modules": {"T": {"netnames": {"a.b": {"bits": [2]}, "a/b": {"bits": [3]}}}}})",
     "m.json: modules.T.netnames.a/b: \"/\" and \":\" become \".\", and another one is named \"a.b\" "
     "already"},
    {"SlashInAKeyThatIsTheName", R"({"modules": {"a/b": {}}})",
     "m.json: modules.a/b: the name \"a/b\" holds \"/\" or \":\": give the module another one "
     "with the attribute kep_name"},
    {"SlashInTheNameOfAModule", R"({"modules": {"T": {"attributes": {"kep_name": "a/b"}}}})",
     "m.json: modules.T.attributes.kep_name: the name \"a/b\" holds \"/\" or \":\": choose another one"},
    {"EmptyNameAsYosysWritesIt", R"({"modules": {"T": {"attributes": {"kep_name": " "}}}})",
     "m.json: modules.T.attributes.kep_name: the name is empty"},
    {"TextOfDigitsAsFlag", R"({"modules": {"M": {}, "T": {"cells": {"c": {"type": "M",
      "attributes": {"kep_inst_header": "1 "}}}}}})",
     "m.json: modules.T.cells.c.attributes.kep_inst_header: the text \"1\", no number: in Verilog a number "
     "stands without quotes"},
    {"WidthOfABoxWithParameters",
     R"({"modules": {)" MUX
     R"(, "TILE": {"cells": {"m1": {"type": "MUX", "parameters": {"W": "11"}, "connections": {"a": [2, 3, 4]}}}}}})",
     "m.json: modules.TILE.cells.m1.connections.a: the width is 3, that of the master's port 2: the cell "
     "gives "
     "parameters to a black box, which Yosys writes once, as it is without them; \"setattr -mod -unset "
     "blackbox "
     "=MUX\" before \"hierarchy\" makes a module for each set"},
    {"EmptyName", R"({"modules": {"M": {}, "T": {"cells": {"": {"type": "M"}}}}})",
     "m.json: modules.T.cells.: the name is empty"},
    {"NulInAName", R"({"modules": {"T": {"ports": {"a\u0000b": {"direction": "input", "bits": [2]}}}}})",
     "m.json: modules.T.ports.a\\u0000b: the name holds a NUL"},
    {"NulInAKeyThatIsTheName", R"({"modules": {"a\u0000b": {}}})",
     "m.json: modules.a\\u0000b: the name holds a NUL"},
    {"NulInAKeyThatIsNotTheName", R"({"modules": {"a\u0000b": {"attributes": {"kep_name": "a"}}}})",
     "m.json: modules.a\\u0000b: the name holds a NUL"},
    {"NulInAText",
     R"({"modules": {"T": {"ports": {"p": {"direction": "input", "bits": [2]}}, "netnames": {"p":
      {"bits": [2], "attributes": {"kep_blc_icd_port_name": "\u0000"}}}}}})",
     "m.json: modules.T.netnames.p.attributes.kep_blc_icd_port_name: the text holds a NUL"},
    {"HierarchyThatContainsItself", R"({"modules": {"A": {"cells": {"b": {"type": "B"}}},
      "B": {"cells": {"a": {"type": "A"}}}, "T": {"cells": {"a": {"type": "A"}}}}})",
     "m.json: modules.B.cells.a: the hierarchy contains itself: this cell leads back to module \"A\""},
    {"HierarchyWithoutTop", R"({"modules": {"A": {"cells": {"a": {"type": "A"}}}}})",
     "m.json: modules: no top: every module is instantiated"},
    {"SeveralTops", R"({"modules": {"A": {}, "B": {}}})", "m.json: modules: several tops: \"A\" and \"B\""},
    {"SeveralDesignatedTops",
     R"({"modules": {"A": {"attributes": {"top": 1}}, "B": {"attributes": {"top": 1}}}})",
     "m.json: modules: several tops: \"A\" and \"B\""},
    {"EquivalentsWithOtherPorts", R"({"modules": {"T": {"attributes": {"top": 1}},
      "A": {"attributes": {"kep_equivalents": "g"}, "ports": {"p": {"direction": "input", "bits": [2]}}},
      "B": {"attributes": {"kep_equivalents": "g", "kep_view": "BLC"},
            "ports": {"p": {"direction": "output", "bits": [2]}}}}})",
     "m.json: modules.B: the ports differ from those of its equivalent \"A\""},
    {"ModulesOfOneGroupAndViewWithOtherPorts", R"({"modules": {"T": {"attributes": {"top": 1}},
      "A": {"attributes": {"kep_equivalents": "g"}, "ports": {"p": {"direction": "input", "bits": [2]}}},
      "B": {"attributes": {"kep_equivalents": "g"}, "ports": {"q": {"direction": "input", "bits": [2]}}}}})",
     "m.json: modules.B: the ports differ from those of its equivalent \"A\""},
    {"LineBreaksInNamesStayInTheLine", R"({"modules": {"T": {"cells": {"a\nb": {"type": "\u0085\u2028"}}}}})",
     "m.json: modules.T.cells.a\\u000ab.type: unknown master \"\\u0085\\u2028\": the file has no such "
     "module. If it "
     "is a black box, Yosys needs its ports (\"read_verilog -lib FILE\"); \"hierarchy -check\" tells what is "
     "missing"},
    {"LineBreaksInWhatTheModelRefuses", R"({"modules": {"T": {"cells": {"a\nb": {"type": "T"}}}}})",
     "m.json: modules.T.cells: the name \"a\\u000ab\" holds a control character"},
};

TEST_P(ModelRefusal, IsOneLineThatTellsThePlace) {
  EXPECT_EQ(model_refusal(GetParam().m_text), GetParam().m_message);
}

INSTANTIATE_TEST_SUITE_P(Texts, ModelRefusal, testing::ValuesIn(TEXTS),
                         [](const auto& refusal) { return refusal.param.m_what; });

TEST(ModelRefusal, TheNameOfTheFileCannotBreakTheLineEither) {
  EXPECT_EQ(refusal_of([] { kep_read_model_text("[]", "a\nb.json"); }), "a\\u000ab.json: not a JSON object");
}

} // namespace model_refusal_test
