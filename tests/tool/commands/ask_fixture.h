#pragma once

#include "tests/tool/tool_fixture.h"

#include <string>

namespace test_model {

/// Tiles with a mux each. "l" drives both inputs of "r", which drives "x" and, at once and through "x", "y";
/// that drives "z" and the boundary node.
inline const char* const FIVE_TILES_MODEL = R"({"modules": {
  "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "b": {"direction": "input", "bits": [3]},
                    "o": {"direction": "output", "bits": [4]}}},
  "TILE": {"ports": {"in": {"direction": "input", "bits": [2]}, "in2": {"direction": "input", "bits": [3]},
                     "out": {"direction": "output", "bits": [4]}},
           "cells": {"m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                           "connections": {"a": [2], "b": [3], "o": [4]}}},
           "netnames": {"in": {"bits": [2]}, "in2": {"bits": [3]}, "out": {"bits": [4]}}},
  "TOP": {"attributes": {"top": 1, "kep_db_type": 1},
          "ports": {"pin": {"direction": "output", "bits": [9]}},
          "cells": {"l": {"type": "TILE", "connections": {"out": [2]}},
                    "r": {"type": "TILE", "connections": {"in": [2], "in2": [2], "out": [3]}},
                    "x": {"type": "TILE", "connections": {"in": [3], "out": [5]}},
                    "y": {"type": "TILE", "connections": {"in": [3], "in2": [5], "out": [9]}},
                    "z": {"type": "TILE", "connections": {"in": [9]}}},
          "netnames": {"w": {"bits": [2]}, "fork": {"bits": [3]}, "s": {"bits": [5]},
                       "lead": {"bits": [9]}}}}})";
inline const char* const FIVE_TILES_ROUTING =
    R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
)";

/// Asks commands about these tiles.
class FiveTiles : public Tool {
protected:
  void SetUp() override {
    write("model.json", FIVE_TILES_MODEL);
    write("routing.jsonl", FIVE_TILES_ROUTING);
  }
  /// The words behind the files, the exit status and all that is printed.
  void expect(const std::string& words, int status, const std::string& text) {
    EXPECT_EQ(run(m_command + " model.json routing.jsonl " + words), status) << words << m_err;
    EXPECT_EQ(m_out, text) << words;
    EXPECT_EQ(m_err, "") << words;
  }
  void expect_no(const std::string& words, const std::string& line) {
    expect_refused(m_command + " model.json routing.jsonl " + words, line);
  }

  std::string m_command;
};

} // namespace test_model
