// `kep-rg trace`: the way of an edge through the hierarchy, line by line.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace trace_command_test {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// TOP has two blocks on the net "w". Each holds a tile that drives the block's output through its own, a skip
// mux at the block's input, and behind it the tile's mux "m".
const char* const MODEL = R"({"modules": {
  "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "b": {"direction": "input", "bits": [3]},
                    "o": {"direction": "output", "bits": [4]}}},
  "SKIP": {"ports": {"i": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
  "TILE": {"ports": {"in": {"direction": "input", "bits": [2]}, "out": {"direction": "output", "bits": [3]}},
           "cells": {"m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                           "connections": {"a": [2], "b": [2], "o": [3]}}},
           "netnames": {"in": {"bits": [2]}, "out": {"bits": [3]}}},
  "BLOCK": {"ports": {"in": {"direction": "input", "bits": [2]}, "out": {"direction": "output", "bits": [4]}},
            "cells": {"s": {"type": "SKIP", "attributes": {"kep_inst_header": 1},
                            "connections": {"i": [2], "o": [3]}},
                      "t": {"type": "TILE", "connections": {"in": [3], "out": [4]}}},
            "netnames": {"in": {"bits": [2]}, "inner": {"bits": [3]}, "out": {"bits": [4]}}},
  "TOP": {"attributes": {"top": 1, "kep_db_type": 1},
          "ports": {"pin": {"direction": "output", "bits": [3]}},
          "cells": {"x": {"type": "BLOCK", "connections": {"in": [3], "out": [2]}},
                    "y": {"type": "BLOCK", "connections": {"in": [2], "out": [3]}}},
          "netnames": {"w": {"bits": [2]}}}}})";
const char* const ROUTING =
    R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o", "hipi": 1}
{"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
{"op": "add_port_edge", "module": "SKIP", "input": "i", "output": "o", "flag": true}
)";

class TraceCommand : public Tool {
protected:
  void SetUp() override {
    write("model.json", MODEL);
    write("routing.jsonl", ROUTING);
  }
  int trace(const std::string& names) { return run("trace model.json routing.jsonl " + names); }
};

TEST_F(TraceCommand, PrintsALineForEachHopWithItsNet) {
  ASSERT_EQ(trace("x/t/m:o y/t/m:o"), 0) << m_err;
  EXPECT_EQ(m_err, "");
  EXPECT_EQ(m_out, "x/t/m:o -> y/t/m:o, real, through y/t/m:b\n"
                   "  net x/t/out to x/t:out\n"
                   "  net x/out to x:out\n"
                   "  net w to y:in\n"
                   "  net y/in to y/s:i\n"
                   "  mux y/s to y/s:o\n"
                   "  net y/inner to y/t:in\n"
                   "  net y/t/in to y/t/m:b\n"
                   "  mux y/t/m to y/t/m:o\n"
                   "x/t/m:o -> y/t/m:o (hipi), real, through y/t/m:a\n"
                   "  net x/t/out to x/t:out\n"
                   "  net x/out to x:out\n"
                   "  net w to y:in\n"
                   "  net y/in to y/s:i\n"
                   "  mux y/s to y/s:o\n"
                   "  net y/inner to y/t:in\n"
                   "  net y/t/in to y/t/m:a\n"
                   "  mux y/t/m to y/t/m:o\n");
}

TEST_F(TraceCommand, LeadsFromAHipiNodeToThePlainOneAtItsPlace) {
  ASSERT_EQ(trace("x/t/m:o x/t/m:o"), 0) << m_err;
  EXPECT_EQ(m_out, "x/t/m:o (hipi) -> x/t/m:o, real\n  at the same place\n");
}

TEST_F(TraceCommand, TellsOfEveryEdgeBetweenTwoNodesAndTracesTheFirst) {
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
{"op": "add_port_edge", "module": "SKIP", "input": "i", "output": "o", "flag": true}
)");
  write("redundancy.txt", "module_name: TILE\n0 m:a\n");
  write("model.json",
        std::string(MODEL).replace(std::string(MODEL).find("\"kep_db_type\": 1"), 16, "\"kep_db_type\": 2"));
  ASSERT_EQ(trace("x/t/m:o y/t/m:o --redundancy redundancy.txt"), 0) << m_err;
  EXPECT_THAT(m_out, StartsWith("x/t/m:o -> y/t/m:o, real, through y/t/m:b\n"
                                "x/t/m:o -> y/t/m:o, redundant, through y/t/m:a\n"
                                "  net x/t/out to x/t:out\n"));
  EXPECT_THAT(m_out, HasSubstr("  net y/t/in to y/t/m:b\n  mux y/t/m to y/t/m:o\n"));
}

TEST_F(TraceCommand, SaysThatAnEdgeAtABoundaryNodeHasNoTrace) {
  ASSERT_EQ(trace("y/t/m:o :pin"), 0) << m_err;
  EXPECT_EQ(m_out,
            "y/t/m:o -> :pin, real\n  no trace: the edge ends at a boundary node, which no trace does\n");
}

TEST_F(TraceCommand, SaysWhereTheTraceOfAnEdgeDoesNotVerify) {
  ASSERT_EQ(run("generate --columns 4 --rows 4 --spare-rows 1 --model m.json --routing r.jsonl"), 0) << m_err;
  ASSERT_EQ(run("build m.json r.jsonl --trace"), 1);
  const std::string first = m_out.substr(m_out.find('\n', m_out.find("trace-later-net: ")) + 3);
  const std::string from = first.substr(0, first.find(' '));
  const std::string to = first.substr(first.find("-> ") + 3, first.find(": the ") - first.find("-> ") - 3);
  EXPECT_EQ(run("trace m.json r.jsonl '" + from + "' '" + to + "'"), 1);
  EXPECT_THAT(m_out, StartsWith(from + " -> " + to + ", real"));
  EXPECT_THAT(m_out, HasSubstr("\n  net "));
  EXPECT_THAT(m_out, HasSubstr("\n  ? to "));
  EXPECT_THAT(m_out, HasSubstr("\n  no trace: the trace leaves the net on which it stands\n"));
}

TEST_F(TraceCommand, NoEdgeBetweenTwoNodesIsStatusOne) {
  EXPECT_EQ(trace(":pin y/t/m:o"), 1);
  EXPECT_EQ(m_out, "No edge from :pin to y/t/m:o\n");
  EXPECT_EQ(m_err, "");
}

TEST_F(TraceCommand, TellsTheClosestNamesOfANodeThatIsNotThere) {
  const auto refuse = [this](const std::string& names, const std::string& line) {
    EXPECT_EQ(trace(names), 2) << names;
    EXPECT_EQ(m_err, "kep-rg: " + line + "\n");
    EXPECT_EQ(m_out, "");
  };
  refuse("x/t/n:o y/t/m:o", "no node \"x/t/n:o\"; closest: x/t/m:o, y/t/m:o");
  refuse("x/t/m:o z/t/m:o", "no node \"z/t/m:o\"; closest: x/t/m:o, y/t/m:o");
  refuse("x/t/m:o :pim", "no node \":pim\"; closest: :pin");
  refuse("x/t/m:o x/t/m:a", "no node \"x/t/m:a\"; closest: x/t/m:o, y/t/m:o"); // a port without a node
  refuse("x/t/m:o nothing-at-all", "no node \"nothing-at-all\"; closest: :pin, x/t/m:o, y/t/m:o");
  refuse("'' x/t/m:o", "no node \"\"; closest: :pin, x/t/m:o, y/t/m:o");
}

TEST_F(TraceCommand, TellsThatANameIsMissing) {
  const std::string usage = "; usage: kep-rg trace DEVICE [ROUTING ...] FROM TO\n";
  EXPECT_EQ(run("trace model.json routing.jsonl"), 2);
  EXPECT_EQ(m_err, "kep-rg: trace: FROM and TO are missing: routing.jsonl is a file and no node" + usage);
  EXPECT_EQ(run("trace model.json routing.jsonl x/t/m:o"), 2);
  EXPECT_EQ(m_err, "kep-rg: trace: TO is missing: routing.jsonl is a file and no node" + usage);
  EXPECT_EQ(run("trace x/t/m:o y/t/m:o"), 2);
  EXPECT_EQ(m_err, "kep-rg: trace: there are too few words" + usage);
}

TEST_F(TraceCommand, TellsThatTheGraphHasNoNodes) {
  write("top.json", R"({"modules": {"TOP": {}}})");
  EXPECT_EQ(run("trace top.json a:b c:d"), 2);
  EXPECT_THAT(m_err, EndsWith("\nkep-rg: no node \"a:b\"; the graph has no nodes\n")) << "behind a warning";
}

TEST_F(TraceCommand, KeepsTheLinesOfTheBuildToItselfButNotItsWarnings) {
  write("redundancy.txt", "module_name: TILE\n0 m:nowhere\n");
  ASSERT_EQ(trace("x/t/m:o y/t/m:o --redundancy redundancy.txt"), 0);
  EXPECT_THAT(m_out, StartsWith("x/t/m:o -> "));
  EXPECT_EQ(m_err, "redundancy.txt:2: can't be read: \"m:nowhere\"\n");
}

} // namespace trace_command_test
