// `kep-rg path`: shortest paths from the command line.

#include "tests/tool/commands/ask_fixture.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace path_command_test {

using testing::EndsWith;
using testing::HasSubstr;

class PathCommand : public test_model::FiveTiles {
protected:
  PathCommand() { m_command = "path"; }
};

TEST_F(PathCommand, PrintsALineForEachStepAndHowManyPathsThereAre) {
  expect("l/m:o :pin", 0,
         "l/m:o\n"
         "  1  r/m:o, real, through r/m:a, net r/in\n"
         "  2  y/m:o, real, through y/m:a, net y/in\n"
         "  3  :pin, real, net lead\n"
         "3 steps, 2 shortest paths\n");
  expect("x/m:o y/m:o", 0,
         "x/m:o\n"
         "  1  y/m:o, real, through y/m:b, net y/in2\n"
         "1 step, 1 shortest path\n");
  expect("l/m:o l/m:o", 0, "l/m:o\n0 steps, 1 shortest path\n");
}

TEST_F(PathCommand, SaysWhenThereAreMorePathsThanItCanCount) {
  std::string cells;
  for (int i = 0; i != 65; ++i) // each drives both inputs of the next one
    cells += fmt::format(R"({}"m{}": {{"type": "MUX", "attributes": {{"kep_inst_header": 1}},
      "connections": {{"a": [{}], "b": [{}], "o": [{}]}}}})",
                         i == 0 ? "" : ", ", i, i + 2, i + 2, i + 3);
  write("model.json", R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "b": {"direction": "input", "bits": [3]},
                      "o": {"direction": "output", "bits": [4]}}},
    "TOP": {"attributes": {"top": 1}, "cells": {)" +
                          cells + "}}}}");
  EXPECT_EQ(run("path model.json routing.jsonl m0:o m63:o"), 0) << m_err;
  EXPECT_THAT(m_out, EndsWith("\n63 steps, 9,223,372,036,854,775,808 shortest paths\n"));
  EXPECT_EQ(run("path model.json routing.jsonl m0:o m64:o"), 0) << m_err;
  EXPECT_THAT(m_out, EndsWith("\n64 steps, at least 18,446,744,073,709,551,615 shortest paths\n"));
  EXPECT_EQ(run("path model.json routing.jsonl m0:o m64:o --json"), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr("\"shortest_paths\": 18446744073709551615,"));
}

TEST_F(PathCommand, PrintsJson) {
  expect("x/m:o :pin --json", 0,
         R"({"from": "x/m:o", "to": ":pin", "found": true, "steps": 2, "shortest_paths": 1,
"path": [
{"node": "x/m:o", "kind": "uip"},
{"node": "y/m:o", "kind": "uip", "class": "real", "mux_input": "y/m:b", "net": "y/in2"},
{"node": ":pin", "kind": "boundary", "class": "real", "mux_input": "", "net": "lead"}
]}
)");
  expect("r/m:o l/m:o --json", 1,
         R"({"from": "r/m:o", "to": "l/m:o", "found": false,
"from_reaches": {"nodes": 4, "steps": 2},
"to_is_reached_from": {"nodes": 0, "steps": 0}}
)");
}

TEST_F(PathCommand, TellsHowFarEachEndReachesWhereThereIsNoPath) {
  expect("z/m:o r/m:o", 1,
         "No path from z/m:o to r/m:o\n"
         "  z/m:o reaches no other node\n"
         "  r/m:o is reached from 1 other node, that in 1 step\n");
}

TEST_F(PathCommand, LooksNoFurtherThanItMay) {
  expect("l/m:o :pin --max 2", 1,
         "No path of at most 2 steps from l/m:o to :pin\n"
         "  l/m:o reaches 3 other nodes, the farthest in 2 steps\n"
         "  :pin is reached from 3 other nodes, the farthest in 2 steps\n");
  EXPECT_EQ(run("path model.json routing.jsonl l/m:o :pin --max 3"), 0);
}

TEST_F(PathCommand, GoesPastTheNodesToAvoid) {
  expect("l/m:o :pin --avoid r/m:o", 1,
         "No path from l/m:o to :pin that avoids r/m:o\n"
         "  l/m:o reaches no other node\n"
         "  :pin is reached from 2 other nodes, the farthest in 2 steps\n");
  EXPECT_EQ(run("path model.json routing.jsonl l/m:o :pin --avoid x/m:o z/m:o"), 0) << m_err;
  EXPECT_EQ(run("path model.json routing.jsonl l/m:o :pin --avoid x/m:o --avoid y/m:o"), 1) << m_err;
  expect_no("l/m:o :pin --avoid z/m:o :pin", "--avoid :pin: the path ends there and can't avoid it");
  expect_no("l/m:o :pin --avoid l/m:o", "--avoid l/m:o: the path begins there and can't avoid it");
  expect_no("l/m:o :pin --avoid k/m:o", "no node \"k/m:o\"; closest: l/m:o, r/m:o, x/m:o");
}

TEST_F(PathCommand, ListsAllNodesWithinSoManySteps) {
  expect("r/m:o --all-within 1", 0, "node\tkind\tsteps\nr/m:o\tuip\t0\nx/m:o\tuip\t1\ny/m:o\tuip\t1\n");
  expect("r/m:o --all-within 0", 0, "node\tkind\tsteps\nr/m:o\tuip\t0\n");
  expect("x/m:o --all-within 100 --avoid z/m:o", 0,
         "node\tkind\tsteps\nx/m:o\tuip\t0\ny/m:o\tuip\t1\n:pin\tboundary\t2\n");
  expect(":pin --all-within 2 --back --json", 0, R"([
{"node": ":pin", "kind": "boundary", "steps": 0},
{"node": "y/m:o", "kind": "uip", "steps": 1},
{"node": "r/m:o", "kind": "uip", "steps": 2},
{"node": "x/m:o", "kind": "uip", "steps": 2}
]
)");
}

TEST_F(PathCommand, RefusesWhatItCantAnswer) {
  const std::string usage = "; usage: kep-rg path DEVICE [ROUTING ...] FROM TO";
  expect_no("l/m:o x/m:p", "no node \"x/m:p\"; closest: x/m:o, l/m:o, r/m:o");
  expect_no("l/m:o", "path: TO is missing: routing.jsonl is a file and no node" + usage);
  expect_no("--all-within 3", "path: FROM is missing: routing.jsonl is a file and no node" + usage);
  expect_no("l/m:o r/m:o --all-within 2", "path: l/m:o is one name too many here" + usage);
  expect_no("l/m:o r/m:o --back", "--back requires --all-within (see kep-rg path --help)");
  expect_no("l/m:o --all-within 3 --max 3", "--max excludes --all-within (see kep-rg path --help)");
}

TEST_F(PathCommand, GoesByRealEdgesAloneIfThatIsAsked) {
  write("d.txt", "module_name: TILE\n0 m:b\n");
  expect("l/m:o r/m:o --redundancy d.txt", 0,
         "l/m:o\n"
         "  1  r/m:o, real, through r/m:a, net r/in\n"
         "1 step, 2 shortest paths\n");
  expect("l/m:o r/m:o --redundancy d.txt --real", 0,
         "l/m:o\n"
         "  1  r/m:o, real, through r/m:a, net r/in\n"
         "1 step, 1 shortest path\n");
  expect("x/m:o y/m:o --redundancy d.txt", 0,
         "x/m:o\n"
         "  1  y/m:o, redundant, through y/m:b, net y/in2\n"
         "1 step, 1 shortest path\n");
  expect("x/m:o y/m:o --redundancy d.txt --real --max 4", 1,
         "No path of at most 4 steps by real edges from x/m:o to y/m:o\n"
         "  x/m:o reaches no other node\n"
         "  y/m:o is reached from 2 other nodes, the farthest in 2 steps\n");
  expect("x/m:o --redundancy d.txt --real --all-within 4", 0, "node\tkind\tsteps\nx/m:o\tuip\t0\n");
}

// A hipi mux has a plain node and a twin, of which either may be an end.
TEST_F(PathCommand, TakesANameForBothNodesAtItsPlace) {
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o", "hipi": 1}
{"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
)");
  expect("l/m:o --all-within 0", 0, "node\tkind\tsteps\nl/m:o\tuip\t0\nl/m:o\thipi\t0\n");
  expect("r/m:o y/m:o", 0,
         "r/m:o\n"
         "  1  y/m:o (hipi), real, through y/m:a, net y/in\n"
         "1 step, 1 shortest path\n");
}

} // namespace path_command_test
