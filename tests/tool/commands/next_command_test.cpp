// `kep-rg next`: the next routing node on a plain wire, from the command line.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace next_command_test {

using testing::HasSubstr;

// Wires between muxes whose inputs b are nodes of their own.
const char* const MODEL = R"({"modules": {
  "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "b": {"direction": "input", "bits": [3]},
                    "o": {"direction": "output", "bits": [4]}}},
  "TILE": {"ports": {"in": {"direction": "input", "bits": [2]}, "out": {"direction": "output", "bits": [3]}},
           "cells": {"m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                           "connections": {"b": [2], "o": [3]}}},
           "netnames": {"in": {"bits": [2]}, "out": {"bits": [3]}}},
  "TOP": {"attributes": {"top": 1},
          "ports": {"pin": {"direction": "output", "bits": [9]}},
          "cells": {"l": {"type": "TILE", "connections": {"in": [4], "out": [2]}},
                    "r": {"type": "TILE", "connections": {"in": [2], "out": [3]}},
                    "x": {"type": "TILE", "connections": {"in": [3], "out": [5]}},
                    "y": {"type": "TILE", "connections": {"in": [3], "out": [9]}},
                    "z": {"type": "TILE"},
                    "k": {"type": "MUX", "connections": {"a": [5]}}},
          "netnames": {"east": {"bits": [2]}, "fork": {"bits": [3]}, "end": {"bits": [5]},
                       "lead": {"bits": [9]}}}}})";
const char* const ROUTING = R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_inserted_node", "name": "", "module": "MUX", "port": "b"}
)";

class NextCommand : public Tool {
protected:
  void SetUp() override {
    write("model.json", MODEL);
    write("routing.jsonl", ROUTING);
  }
  void expect(const std::string& uip, int status, const std::string& text) {
    EXPECT_EQ(run("next model.json routing.jsonl " + uip), status) << m_err;
    EXPECT_EQ(m_out, text);
    EXPECT_EQ(m_err, "");
  }
};

TEST_F(NextCommand, PrintsTheWayToTheNextNode) {
  expect("l/m:o", 0,
         "l/m:o\n"
         "  net l/out to l:out, up\n"
         "  net east to r:in, down\n"
         "  net r/in to r/m:b\n"
         "Next routing node: r/m:b\n");
  expect("r/m:b", 0,
         "r/m:b\n"
         "  net r/in to r:in, up\n"
         "  net east to l:out, down\n"
         "  net l/out to l/m:o\n"
         "Next routing node: l/m:o\n");
}

TEST_F(NextCommand, TellsWhereTheWireBranches) {
  expect("r/m:o", 1,
         "r/m:o\n"
         "  net r/out to r:out, up\n"
         "No next routing node: net fork branches: x:in, y:in\n");
}

TEST_F(NextCommand, TellsWhereTheWireEnds) {
  expect("x/m:o", 1,
         "x/m:o\n"
         "  net x/out to x:out, up\n"
         "No next routing node: net end ends at k:a, an input of a mux\n");
  expect("y/m:o", 1,
         "y/m:o\n"
         "  net y/out to y:out, up\n"
         "No next routing node: net lead leaves the device at :pin\n");
  expect("z/m:o", 1, "z/m:o\nNo next routing node: net z/out ends at z:out, which has no net outside\n");
}

TEST_F(NextCommand, TellsOfALoop) {
  write("model.json", R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [4]}}},
    "THROUGH": {"ports": {"i": {"direction": "input", "bits": [2]}, "j": {"direction": "output", "bits": [2]}},
                "netnames": {"n": {"bits": [2]}}},
    "R": {"ports": {"y": {"direction": "output", "bits": [3]}, "z": {"direction": "input", "bits": [2]}},
          "cells": {"s": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"o": [2]}},
                    "c": {"type": "THROUGH", "connections": {"i": [2], "j": [3]}}},
          "netnames": {"p": {"bits": [2]}, "q": {"bits": [3]}}},
    "TOP": {"attributes": {"top": 1},
            "cells": {"r": {"type": "R", "connections": {"y": [2], "z": [2]}}},
            "netnames": {"n": {"bits": [2]}}}}})");
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
)");
  expect("r/s:o", 1,
         "r/s:o\n"
         "  net r/p to r/c:i, down\n"
         "  net r/c/n to r/c:j, up\n"
         "  net r/q to r:y, up\n"
         "  net n to r:z, down\n"
         "No next routing node: the way comes back to net r/p, a loop\n");
}

TEST_F(NextCommand, TellsTheOtherWaysInWhichAWireEnds) {
  write("model.json", R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [4]}}},
    "EMPTY": {"ports": {"x": {"direction": "input", "bits": [2]}}},
    "THROUGH": {"ports": {"i": {"direction": "input", "bits": [2]}, "j": {"direction": "output", "bits": [2]}},
                "netnames": {"n": {"bits": [2]}}},
    "FORK": {"ports": {"y": {"direction": "output", "bits": [2]}, "z": {"direction": "output", "bits": [2]}},
             "cells": {"s": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"o": [2]}}},
             "netnames": {"p": {"bits": [2]}}},
    "TOP": {"attributes": {"top": 1},
            "cells": {"t": {"type": "THROUGH"},
                      "lone": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"o": [2]}},
                      "f": {"type": "FORK"},
                      "s": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"o": [3]}},
                      "e": {"type": "EMPTY", "connections": {"x": [3]}}},
            "netnames": {"still": {"bits": [2]}, "dead": {"bits": [3]}}}}})");
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_inserted_node", "name": "", "module": "THROUGH", "port": "j"}
)");
  expect("t:j", 1, "t:j\nNo next routing node: it has no net\n");
  expect("lone:o", 1, "lone:o\nNo next routing node: net still leads nowhere else\n");
  expect("f/s:o", 1, "f/s:o\nNo next routing node: net f/p branches: f:y, f:z of its module\n");
  expect("s:o", 1, "s:o\nNo next routing node: net dead ends at e:x, which has no net inside\n");
}

TEST_F(NextCommand, TellsThatAWireLeadsBackToItsStart) {
  write("model.json", R"({"modules": {
    "START": {"ports": {"i": {"direction": "input", "bits": [2]}, "j": {"direction": "output", "bits": [2]}},
              "netnames": {"n": {"bits": [2]}}},
    "THROUGH": {"ports": {"i": {"direction": "input", "bits": [2]}, "j": {"direction": "output", "bits": [2]}},
                "netnames": {"n": {"bits": [2]}}},
    "TOP": {"attributes": {"top": 1},
            "cells": {"s": {"type": "START", "connections": {"i": [2], "j": [3]}},
                      "t": {"type": "THROUGH", "connections": {"i": [3], "j": [2]}}},
            "netnames": {"east": {"bits": [3]}, "west": {"bits": [2]}}}}})");
  write("routing.jsonl", R"({"op": "add_inserted_node", "name": "", "module": "START", "port": "j"}
)");
  expect("s:j", 0,
         "s:j\n"
         "  net east to t:i, down\n"
         "  net t/n to t:j, up\n"
         "  net west to s:i, down\n"
         "  net s/n to s:j\n"
         "Next routing node: s:j, where it began\n");
}

TEST_F(NextCommand, NamesTheFirstTenOfManyWays) {
  const auto try_ways = [this](int ways, const std::string& names) {
    std::string model = R"({"modules": {
      "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [4]}}},
      "TOP": {"attributes": {"top": 1}, "cells": {
)";
    for (int i = 0; i != ways; ++i)
      model += "\"k" + std::to_string(i) + R"(": {"type": "MUX", "connections": {"a": [2]}},
)";
    model += R"("s": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"o": [2]}}},
      "netnames": {"n": {"bits": [2]}}}}})";
    write("model.json", model);
    write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
)");
    expect("s:o", 1, "s:o\nNo next routing node: net n branches: " + names + "\n");
  };
  const std::string ten = "k0:a, k1:a, k2:a, k3:a, k4:a, k5:a, k6:a, k7:a, k8:a, k9:a";
  try_ways(10, ten);
  try_ways(11, ten + ", ...");
  try_ways(30, ten + ", ...");
}

TEST_F(NextCommand, RefusesAUipWithoutANode) {
  expect_refused("next model.json routing.jsonl l/m:a",
                 "l/m:a is not a routing node: an input of a mux in front of l/m:o");
  expect_refused("next model.json routing.jsonl l:in",
                 "l:in is not a routing node: a port of TILE, on no arc of a mux");
  expect_refused("next model.json routing.jsonl l/n:o", "no node \"l/n:o\"; closest: l/m:o, l/m:b, r/m:o");
  EXPECT_EQ(run("next model.json routing.jsonl"), 2);
  EXPECT_EQ(m_err,
            "kep-rg: next: UIP is missing: routing.jsonl is a file and no node; usage: kep-rg next DEVICE "
            "[ROUTING ...] UIP\n");
  EXPECT_EQ(run("next --help"), 0);
  EXPECT_THAT(m_out, HasSubstr("Usage: kep-rg next [OPTIONS] DEVICE [ROUTING ...] UIP\n"));
}

} // namespace next_command_test
