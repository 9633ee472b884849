// `kep-rg diff`: what differs between two devices, from the command line.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace diff_command_test {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

// A ring of two tiles of a mux each.
const std::string MODEL = R"({"modules": {
  "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "b": {"direction": "input", "bits": [3]},
                    "o": {"direction": "output", "bits": [4]}}},
  "TILE": {"ports": {"in": {"direction": "input", "bits": [2]}, "out": {"direction": "output", "bits": [3]}},
           "cells": {"m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                           "connections": {"a": [2], "b": [2], "o": [3]}}},
           "netnames": {"in": {"bits": [2]}, "out": {"bits": [3]}}},
  "TOP": {"attributes": {"top": 1},
          "cells": {"l": {"type": "TILE", "connections": {"in": [3], "out": [2]}},
                    "r": {"type": "TILE", "connections": {"in": [2], "out": [3]}}},
          "netnames": {"east": {"bits": [2]}, "west": {"bits": [3]}}}}})";
const std::string ARC_A = R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
)";
const std::string ARC_B = R"({"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
)";

const std::string COLUMNS = "change\tfrom\tfrom_kind\tto\tto_kind\tclass\tmux_input\n";
const std::string LOST_EDGES = "-\tl/m:o\tuip\tr/m:o\tuip\treal\tr/m:b\n"
                               "-\tr/m:o\tuip\tl/m:o\tuip\treal\tl/m:b\n";

class DiffCommand : public Tool {
protected:
  void SetUp() override {
    write("model.json", MODEL);
    write("both.jsonl", ARC_A + ARC_B);
    write("one.jsonl", ARC_A);
  }
  /// The model in which that text is replaced.
  void write_changed(const std::string& text, const std::string& by) {
    std::string model = MODEL;
    const std::size_t at = model.find(text);
    ASSERT_NE(at, std::string::npos) << text;
    write("changed.json", model.replace(at, text.size(), by));
  }
  /// The lines of groups when the model becomes the changed one.
  void expect_groups(const std::string& lines) {
    EXPECT_EQ(run("diff model.json changed.json --routing both.jsonl"), 1) << m_err;
    const std::size_t begin = m_out.find("\n\n") + 2;
    EXPECT_EQ(m_out.substr(begin, m_out.find("\n\n", begin) + 1 - begin), lines) << m_out;
    EXPECT_EQ(m_err, "");
  }
};

TEST_F(DiffCommand, TellsAMuxInputThatIsLost) {
  EXPECT_EQ(run("diff model.json model.json --routing-a both.jsonl --routing-b one.jsonl"), 1);
  EXPECT_EQ(m_out, "from   model.json\n"
                   "to     model.json\n"
                   "gone   2 edges\n"
                   "new    nothing\n"
                   "\n"
                   "mux m of TILE lost input b: 2 edges\n"
                   "\n" +
                       COLUMNS + LOST_EDGES);
  EXPECT_EQ(m_err, "");
  EXPECT_EQ(run("diff model.json model.json --routing-a one.jsonl --routing-b both.jsonl"), 1);
  EXPECT_THAT(m_out, HasSubstr("mux m of TILE got input b: 2 edges\n"));
}

TEST_F(DiffCommand, EndsInStatus0WhereNothingDiffers) {
  EXPECT_EQ(run("diff model.json model.json --routing both.jsonl"), 0);
  EXPECT_EQ(m_out, "from   model.json\nto     model.json\nalike  2 nodes, 4 edges\n");
  EXPECT_EQ(run("diff model.json model.json --routing both.jsonl -q"), 0);
  EXPECT_EQ(m_out, "");
}

TEST_F(DiffCommand, TakesDatabases) {
  ASSERT_EQ(run("build -q model.json both.jsonl -o a.kdb"), 0);
  ASSERT_EQ(run("build -q model.json one.jsonl -o b.kdb"), 0);
  EXPECT_EQ(run("diff a.kdb b.kdb -q"), 1);
  EXPECT_EQ(m_out, COLUMNS + LOST_EDGES);
  EXPECT_EQ(run("diff a.kdb model.json -q --routing one.jsonl"), 1); // for the model alone
  EXPECT_EQ(m_out, COLUMNS + LOST_EDGES);
  EXPECT_EQ(run("diff a.kdb a.kdb -q"), 0);
}

TEST_F(DiffCommand, TakesRedundancyDataOfEitherSide) {
  write("redundancy.txt", "module_name: TILE\n0 m:b\n");
  EXPECT_EQ(run("diff model.json model.json --routing both.jsonl --redundancy-b redundancy.txt -q"), 1)
      << m_err;
  EXPECT_EQ(m_out, COLUMNS + LOST_EDGES +
                       "+\tl/m:o\tuip\tr/m:o\tuip\tredundant\tr/m:b\n"
                       "+\tr/m:o\tuip\tl/m:o\tuip\tredundant\tl/m:b\n");
  EXPECT_EQ(run("diff model.json model.json --routing both.jsonl --redundancy redundancy.txt"), 0);
  EXPECT_THAT(m_out, EndsWith("alike  2 nodes, 4 edges (2 redundant)\n"));
  EXPECT_EQ(run("diff model.json model.json --routing both.jsonl --redundancy-a redundancy.txt"), 1);
  EXPECT_THAT(m_out, HasSubstr("mux m of TILE, input b: 2 redundant edges gone; 2 edges new\n"));
}

TEST_F(DiffCommand, TellsWhatStandsBehindIt) {
  write_changed(R"("a": [2], "b": [2])", R"("a": [2])");
  expect_groups("mux m of TILE lost input b: 2 edges (not connected any more)\n");
  write_changed(R"("r": {"type": "TILE")", R"("s": {"type": "TILE")");
  expect_groups("instance r of TOP, a TILE, is gone: 1 node, 4 edges\n"
                "instance s of TOP, a TILE, is new: 1 node, 4 edges\n");
  write_changed(R"("m": {"type")", R"("k": {"type")");
  expect_groups("node m:o of TILE: 2 nodes, 4 edges gone (instance m is gone)\n"
                "node k:o of TILE: 2 nodes, 4 edges new (instance k is new)\n");
}

TEST_F(DiffCommand, TellsAMasterOfSeveralMuxesOnce) {
  const std::string mux = R"("m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                           "connections": {"a": [2], "b": [2], "o": [3]}})";
  write_changed(mux, mux + ",\n\"n\": " + mux.substr(mux.find('{')));
  const std::string devices = "diff changed.json changed.json --routing-a both.jsonl --routing-b one.jsonl";
  EXPECT_EQ(run(devices), 1);
  EXPECT_THAT(m_out, HasSubstr("\n\nMUX lost input b: 8 edges at 2 muxes, m of TILE the first\n\n"));
  EXPECT_EQ(run(devices + " --json"), 1);
  EXPECT_THAT(m_out, HasSubstr(R"("cause": "arc", "master": "MUX", "muxes": 2, )"));
}

TEST_F(DiffCommand, TellsAPortAndAMasterThatAreOthers) {
  write("both.jsonl",
        ARC_A + ARC_B + R"({"op": "add_port_edge", "module": "MUX1", "input": "a", "output": "o"}
)");
  const std::string mux1 = R"("MUX1": {"ports": {"a": {"direction": "input", "bits": [2]},
                                       "o": {"direction": "output", "bits": [4]}}},
)";
  const std::string tile = R"("TILE": {"ports")";
  write_changed(tile, mux1 + tile);
  write("model.json", read_file(path("changed.json")));
  std::string model = read_file(path("changed.json"));
  const std::string type = R"("m": {"type": "MUX")";
  model.replace(model.find(type), type.size(), R"("m": {"type": "MUX1")");
  const std::string connection = R"("b": [2], )";
  model.replace(model.find(connection), connection.size(), "");
  write("changed.json", model);
  expect_groups("mux m of TILE, input b: 2 edges gone (m was a MUX, is a MUX1)\n");
}

TEST_F(DiffCommand, PrintsAsManyLinesAsWereAskedFor) {
  write_changed(R"("r": {"type": "TILE")", R"("s": {"type": "TILE")");
  EXPECT_EQ(run("diff model.json changed.json --routing both.jsonl --max 1"), 1);
  EXPECT_THAT(m_out, HasSubstr("1 node, 4 edges\n... and 1 more; --all lists all\n"));
  EXPECT_THAT(m_out, HasSubstr("-\tr/m:o\tuip\n... and 1 more; --all lists all\n"));
  EXPECT_THAT(m_out, EndsWith("... and 7 more; --all lists all\n"));
  EXPECT_EQ(run("diff model.json changed.json --routing both.jsonl --all"), 1);
  EXPECT_THAT(m_out, Not(HasSubstr("... and")));
  EXPECT_EQ(run("diff model.json changed.json --routing both.jsonl --max 3 -q"), 1);
  EXPECT_EQ(m_out.substr(0, m_out.find(COLUMNS)), "change\tnode\tkind\n-\tr/m:o\tuip\n+\ts/m:o\tuip\n");
  EXPECT_THAT(m_out, HasSubstr("-\tl/m:o\tuip\tr/m:o\tuip\treal\tr/m:b\n+\tl/m:o\tuip\ts/m:o\tuip\treal\t"));
}

TEST_F(DiffCommand, PrintsOneJsonObject) {
  EXPECT_EQ(run("diff model.json model.json --routing-a both.jsonl --routing-b one.jsonl --json --max 1"), 1);
  EXPECT_EQ(m_out, R"({
"from": "model.json",
"to": "model.json",
"alike": false,
"gone": {"nodes": 0, "real_edges": 2, "redundant_edges": 0},
"new": {"nodes": 0, "real_edges": 0, "redundant_edges": 0},
"num_groups": 1,
"groups": [
{"about": "mux_input", "modules": ["TILE", "TILE"], "instance": "m", "port": "b", "cause": "arc", )"
                   R"("gone": {"nodes": 0, "real_edges": 2, "redundant_edges": 0}, )"
                   R"("new": {"nodes": 0, "real_edges": 0, "redundant_edges": 0}, )"
                   R"("text": "mux m of TILE lost input b: 2 edges"}],
"gone_nodes": [],
"new_nodes": [],
"gone_edges": [
{"from": "l/m:o", "from_kind": "uip", "to": "r/m:o", "to_kind": "uip", "class": "real", "mux_input": "r/m:b"}],
"new_edges": []
}
)");
}

TEST_F(DiffCommand, RefusesWhatCanNotBeCompared) {
  expect_refused("diff model.json", "B is required (see kep-rg diff --help)");
  expect_refused("diff model.json nothing.json", "nothing.json: can't be read: No such file or directory");
  expect_refused("diff - -", "standard input: can't be read twice: more than one input is \"-\"");
  expect_refused("diff model.json model.json --routing -",
                 "standard input: can't be read twice: more than one input is \"-\"");
  expect_refused("diff - model.json --routing-b -",
                 "standard input: can't be read twice: more than one input is \"-\"");
  ASSERT_EQ(run("build -q model.json both.jsonl -o a.kdb"), 0);
  ASSERT_EQ(run_line("cat both.jsonl | " KEP_RG_TOOL " diff a.kdb model.json --routing -"), 0) << m_err;
  expect_refused("diff a.kdb a.kdb --routing one.jsonl",
                 "one.jsonl: a.kdb is a device database, to which nothing is added");
  expect_refused("diff a.kdb model.json --routing-a one.jsonl",
                 "one.jsonl: a.kdb is a device database, to which nothing is added");
  EXPECT_EQ(run("diff model.json model.json --max -1"), 2);
}

} // namespace diff_command_test
