// Muxes described by the names of their modules and ports.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace describe_test {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string HEADER = R"("kep_inst_header": "00000000000000000000000000000001")";

/// A model with all that a file may hold; in place of each @ something is put in for cells of M2, for each #
/// for those of M3.
const std::string MODEL = R"({"creator": "by hand", "unknown": [{"cells": {"type": "M2"}}], "modules": {
 "M2": {"ports": {"in": {"direction": "input", "bits": [2, 3], "offset": 4}, "out": {"direction": "output", "bits": [4]}},
        "cells": {}, "netnames": {}, "memories": {"type": "M2"}},
 "$paramod\\M3": {"attributes": {"kep_view": "LOGICAL"},
        "ports": {"in": {"direction": "input", "bits": [2]}, "out": {"direction": "output", "bits": [3, 4], "upto": 1},
                  "in_b": {"direction": "inout", "bits": [5]}}},
 "M_mem": {"ports": {"head": {"direction": "input", "bits": [2]}, "out": {"direction": "output", "bits": [3]}}},
 "T": {"x": 1.50e1, "cells": {
   "a": {@"type": "M2", "connections": {"in": [ 2 , "x" ]}},
   "b": { "attributes": {%}, "type": "M2"},
   "c": {"type": "$paramod\u005cM3",
         "attributes": {
           &"src": "a\"}{,:b",
           "\u006bep": 0
         }, "parameters": {"type": "M2"}},
   "d": {"attributes": {"kep_trait_0": 1, "kep_inst_header": ~ }, "type": "M2"},
   "e": {"attributes": {"kep_inst_header": "01"}, "type": "M2"},
   "f": {"type": "M_mem", "attributes": {"kep_inst_header": 0}}}}}}
)";

std::string fill(std::string text, const std::vector<std::pair<char, std::string>>& pieces) {
  for (const auto& [mark, piece] : pieces)
    text.replace(text.find(mark), 1, piece);
  return text;
}

const std::string PLAIN = fill(MODEL, {{'@', ""}, {'%', " "}, {'&', ""}, {'~', "\"00\""}});

std::string arc(const std::string& module, const std::string& input, const std::string& output) {
  return R"({"op": "add_port_edge", "module": ")" + module + R"(", "input": ")" + input +
         R"(", "output": ")" + output + "\"}\n";
}

const std::string ARCS_OF_M3 =
    arc(R"($paramod\\M3)", "in", "out[1]") + arc(R"($paramod\\M3)", "in", "out[0]");

class Describe : public Tool {
protected:
  int describe(const std::string& muxes) {
    return run("describe model.json " + muxes + " --model out.json --routing out.jsonl");
  }
};

TEST_F(Describe, WritesAnArcFromEachBitToEachBitAndGivesTheCellsHeaders) {
  write("model.json", PLAIN);
  EXPECT_EQ(describe("--mux 'M2:in>out' --mux '*M3:in>out'"), 0);
  EXPECT_EQ(m_err, "");
  EXPECT_EQ(m_out, "M2:in>out: 1 module with 4 cells, 2 arcs\n*M3:in>out: 1 module with 1 cell, 2 arcs\n");
  EXPECT_EQ(read("out.jsonl"), arc("M2", "in[4]", "out") + arc("M2", "in[5]", "out") + ARCS_OF_M3);
}

TEST_F(Describe, ChangesNothingElseInTheModel) {
  write("model.json", PLAIN);
  EXPECT_EQ(describe("--mux 'M2:in>out' --mux '*M3:in>out'"), 0);
  EXPECT_EQ(read("out.json"), fill(MODEL, {{'@', "\"attributes\": {" + HEADER + "}, "},
                                           {'%', HEADER + " "},
                                           {'&', HEADER + ",\n           "},
                                           {'~', "1"}}));
  EXPECT_THAT(files(), testing::UnorderedElementsAre("model.json", "out.json", "out.jsonl"));
}

TEST_F(Describe, GivesNoHeaderToCellsOfOtherMasters) {
  write("model.json", PLAIN);
  EXPECT_EQ(describe("--mux '*M3:in>out'"), 0);
  EXPECT_EQ(read("out.json"),
            fill(MODEL, {{'@', ""}, {'%', " "}, {'&', HEADER + ",\n           "}, {'~', "\"00\""}}));
}

TEST_F(Describe, TakesStarsQuestionMarksAndSetsOfCharacters) {
  for (const std::string glob : {"$*", "?paramod*3", "[a-z$]*M[123]", "$paramod\\M3", "*[!2m]"}) {
    write("model.json", PLAIN);
    EXPECT_EQ(describe("--mux '" + glob + ":in>out'"), 0) << glob << m_err;
    EXPECT_EQ(read("out.jsonl"), ARCS_OF_M3) << glob;
  }
}

TEST_F(Describe, PutsPortsTogetherFromSeveralPatternsAndWritesNoArcTwice) {
  write("model.json", PLAIN);
  EXPECT_EQ(describe("--mux '*M3:in>out' --mux '*M3:in_b>out' --mux '*M[3]:in>out' --mux '*M3:in>in_b'"), 0);
  EXPECT_EQ(m_out, "*M3:in>out: 1 module with 1 cell, 2 arcs\n*M3:in_b>out: 1 module with 1 cell, 2 arcs\n"
                   "*M[3]:in>out: 1 module with 1 cell, 0 arcs\n*M3:in>in_b: 1 module with 1 cell, 1 arc\n");
  const std::string name = R"($paramod\\M3)";
  EXPECT_EQ(read("out.jsonl"),
            ARCS_OF_M3 + arc(name, "in_b", "out[1]") + arc(name, "in_b", "out[0]") + arc(name, "in", "in_b"));
}

TEST_F(Describe, WarnsOfModulesThatFitAndLackThePorts) {
  write("model.json", PLAIN);
  EXPECT_EQ(describe("--mux '*M*:in>out'"), 0);
  EXPECT_EQ(m_err, "model.json: modules.M_mem: it fits \"*M*:in>out\", but it has no port \"in\"\n");
  EXPECT_EQ(
      m_out,
      "*M*:in>out: 2 modules with 5 cells, 4 arcs; 1 more module fits the pattern, but lacks the ports\n");
  EXPECT_EQ(describe("--mux '[M$]*:out>in_b' --mux 'M2:in>out'"), 2);
  EXPECT_THAT(m_err,
              HasSubstr("model.json: modules.M2: it fits \"[M$]*:out>in_b\", but its port \"out\" is an "
                        "output\n"));
}

TEST_F(Describe, NamesTheViewOfAModule) {
  write("model.json", R"({"modules": {"B": {"attributes": {"kep_name": "M", "kep_view": "BLC"},
    "ports": {"i": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
    "T": {"cells": {"b": {"type": "B"}}}}})");
  EXPECT_EQ(describe("--mux 'M:i>o'"), 0) << m_err;
  EXPECT_EQ(read("out.jsonl"),
            R"({"op": "add_port_edge", "module": "M", "view": "BLC", "input": "i", "output": "o"})"
            "\n");
}

TEST_F(Describe, TellsWhatTheReaderWarnsOf) {
  write("model.json", fill(MODEL, {{'@', ""}, {'%', "\"kep_inst_heder\": 1"}, {'&', ""}, {'~', "0"}}));
  EXPECT_EQ(describe("--mux 'M2:in>out'"), 0);
  EXPECT_THAT(m_err, HasSubstr("the closest one is \"kep_inst_header\"\n"));
}

TEST_F(Describe, RefusesWhatItCannotUseInOneLineAndWritesNothing) {
  write("model.json", PLAIN);
  const std::string form = "; a pattern is GLOB:IN>OUT, for example --mux 'mux_*:in>out'\n";
  const std::vector<std::pair<std::string, std::string>> refusals = {
      {"M2", "--mux 'M2': no \":\" stands before the ports" + form},
      {"M2>in:out", "--mux 'M2>in:out': no \">\" stands between the ports" + form},
      {":in>out", "--mux ':in>out': nothing says which modules" + form},
      {"M2:>out", "--mux 'M2:>out': a port has no name" + form},
      {"M2:in>", "--mux 'M2:in>': a port has no name" + form},
      {"M2:in>in", "--mux 'M2:in>in': both ports are one" + form},
      {"N2*:in>out", "model.json: no module fits \"N2*\" (--mux 'N2*:in>out'); the closest names: \"M2\"\n"},
      {"M2:i>out", "model.json: no module that fits \"M2\" has an input \"i\" and an output \"out\" (--mux "
                   "'M2:i>out'); modules.M2 has input \"in\", output \"out\"\n"},
      {"T:i>out", "model.json: no module that fits \"T\" has an input \"i\" and an output \"out\" (--mux "
                  "'T:i>out'); modules.T has no port\n"},
  };
  for (const auto& [mux, message] : refusals) {
    EXPECT_EQ(describe("--mux '" + mux + "'"), 2);
    // Before it, a warning for each module that lacks the ports.
    EXPECT_EQ(m_err.substr(std::min(m_err.find("kep-rg:"), m_err.size())), "kep-rg: " + message);
    EXPECT_EQ(m_out, "");
    EXPECT_THAT(files(), ElementsAre("model.json"));
  }
}

TEST_F(Describe, RefusesModulesThatADescriptionCannotTellApart) {
  const std::string ports =
      R"("ports": {"i": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}})";
  write("model.json", R"({"modules": {"A": {"attributes": {"kep_name": "M"}, )" + ports +
                          R"(}, "B": {"attributes": {"kep_name": "M"}, )" + ports +
                          R"(}, "T": {"cells": {"a": {"type": "A"}, "b": {"type": "B"}}}}})");
  EXPECT_EQ(describe("--mux 'M:i>o'"), 2);
  EXPECT_EQ(m_err,
            "kep-rg: model.json: modules.B: modules.A has its name, \"M\", too, so a description can't name "
            "it; without kep_name its key is its name\n");
  EXPECT_THAT(files(), ElementsAre("model.json"));
}

TEST_F(Describe, RefusesFilesThatAreNotThereAreNoModelOrWouldBeOverwritten) {
  EXPECT_EQ(describe("--mux 'M2:in>out'"), 2);
  EXPECT_THAT(m_err, HasSubstr("model.json: can"));
  write("model.json", PLAIN.substr(0, 900));
  EXPECT_EQ(describe("--mux 'M2:in>out'"), 2);
  EXPECT_THAT(m_err, testing::StartsWith("kep-rg: model.json:"));
  write("model.json", PLAIN);
  for (const std::string outputs : {"--model model.json --routing r", "--model m --routing model.json",
                                    "--model m --routing ./m", "--model no/m --routing r"}) {
    EXPECT_EQ(run("describe model.json --mux 'M2:in>out' " + outputs), 2) << outputs;
    EXPECT_EQ(read("model.json"), PLAIN);
    EXPECT_THAT(files(), ElementsAre("model.json")) << outputs;
  }
  for (const std::string arguments :
       {"", "model.json", "model.json --mux 'M2:in>out' --model m",
        "model.json --mux 'M2:in>out' --routing r", "model.json --model m --routing r",
        "model.json --mux '' --model m --routing r"})
    EXPECT_EQ(run("describe " + arguments), 2) << arguments;
}

TEST_F(Describe, MakesADeviceWhoseMuxesAreNodes) {
  write("model.json", R"({"modules": {"MUX": {"ports": {"in": {"direction": "input", "bits": [2, 3]},
                                                        "out": {"direction": "output", "bits": [4]}}},
    "T": {"cells": {"left": {"type": "MUX", "connections": {"in": [2, 3], "out": [2]}},
                    "right": {"type": "MUX", "connections": {"in": ["x", 2], "out": [3]}}}}}})");
  EXPECT_EQ(describe("--mux 'MUX:in>out'"), 0);
  EXPECT_EQ(run("build out.json out.jsonl --dump d >/dev/null && cut -f 1,3,6 d/edges.tsv"), 0);
  EXPECT_EQ(m_out, "from\tto\tmux_input\nleft:out\tright:out\tright:in[1]\n"
                   "right:out\tleft:out\tleft:in[1]\n");
}

} // namespace describe_test
