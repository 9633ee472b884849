#include "tests/support/routing_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace damage_test {

/// Damaged input is refused in one line, or read as what it then says. Anything else, another exception or a
/// crash, fails the test program.

const std::string MODEL = R"({"creator": "x", "modules": {
 "MUX": {"attributes": {"kep_equivalents": "g", "kep_ip_root": "0001"}, "ports": {
   "i": {"direction": "input", "bits": [2, 3, "x"], "offset": 1}, "o": {"direction": "output", "bits": [4]}},
   "netnames": {"i": {"bits": [2, 3, "x"], "attributes": {"kep_blc_re_index": 7, "kep_blc_icd_port_name": "n\u00e4"}}}},
 "MUX_B": {"attributes": {"kep_equivalents": "g", "kep_name": "MUX", "kep_view": "BLC"}, "ports": {
   "i": {"direction": "input", "bits": [2, 3, 5], "offset": 1}, "o": {"direction": "output", "bits": ["0"]}}},
 "TILE": {"attributes": {"kep_name": "TL"}, "ports": {"w": {"direction": "inout", "bits": [9], "upto": 0}}, "cells": {
   "m1": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"i": [9, "z", 12], "o": [3000000000]}},
   "m2": {"type": "MUX", "connections": {"o": [9], "i": [3000000000, 12, 1]}}},
   "netnames": {"w": {"bits": [9]}, "b": {"bits": [12, 3000000000], "upto": 1}}},
 "TOP": {"attributes": {"top": 1, "kep_db_type": 1}, "cells": {"t0": {"type": "TILE"}, "t1": {"type": "TILE"}}}}}
)";

const std::string DESCRIPTION = R"(# a description
{"op": "add_port_edge", "module": "MUX", "input": "i[0]", "output": "o", "hipi": 1}
{"op": "add_port_edge", "module": "MUX", "view": "BLC", "input": "i[1]", "output": "o", "flag": true}

{"op": "add_routing_flyover", "module": "MUX", "input": "i[0]", "output": "o"}
{"op": "add_routing_root", "module": "LAB", "root_view": "BLC"}
{"op": "add_inserted_node", "module": "TILE", "port": "w", "name": "w"}
{"op": "add_remove_node", "module": "TILE", "port": "m"}
{"op": "add_tunnel_type", "module": "TILE", "tunnel": 2}
{"op": "add_module_is_not_template", "module": "TOP"}
{"op": "disable_merge", "module": "MUX", "port": "o"}
{"op": "set_skip_paths", "module": "TILE", "instance": "m", "skip": true}
{"op": "set_skip_paths", "module": "MUX", "skip": true}
{"op": "add_skip_paths_to_output_port", "module": "MUX", "port": "o"}
{"op": "set_non_template_mux_skip_path_inst_name_pattern", "pattern": "s"}
{"op": "add_wire_type", "name": "wt", "flags": 2, "module": "TOP", "path": "t0/b/u:o"}
{"op": "set_spare_row", "instance": "t1/b"}
)";

/// A copy with one to three random changes: a byte set, a bit flipped, a piece cut out, doubled, or the end
/// lost.
std::string damage(std::string text, std::mt19937& random) {
  const auto below = [&random](std::size_t limit) { return limit == 0 ? 0 : random() % limit; };
  static const std::string bytes = "{}[],:\"\\/0129-x. \n";
  for (auto changes = 1 + below(3); changes != 0 && !text.empty(); --changes) {
    const std::size_t at = below(text.size());
    switch (below(5)) {
    case 0:
      text[at] = bytes[below(bytes.size())];
      break;
    case 1:
      text[at] = static_cast<char>(text[at] ^ (1 << below(8)));
      break;
    case 2:
      text.erase(at, 1 + below(20));
      break;
    case 3:
      text.insert(below(text.size()), text.substr(at, below(60)));
      break;
    default:
      text.resize(at);
    }
  }
  return text;
}

bool is_one_line(const std::string& message) {
  return std::none_of(message.begin(), message.end(),
                      [](char c) { return static_cast<unsigned char>(c) < 0x20; });
}

/// What was seen over many rounds: both outcomes must occur, or nothing was tested.
struct OUTCOMES {
  unsigned m_refused = 0;
  unsigned m_read = 0;

  void add(const std::string& message, const std::string& text) {
    ++(message.empty() ? m_read : m_refused);
    ASSERT_TRUE(message.empty() || (message.starts_with("m.json:") || message.starts_with("r.jsonl:")))
        << message << "\n"
        << text;
    ASSERT_TRUE(is_one_line(message)) << message << "\n" << text;
  }
};

TEST(DamagedInput, AModelIsReadOrRefusedInOneLine) {
  ASSERT_EQ(model_refusal(MODEL), "");
  std::mt19937 random(7);
  OUTCOMES outcomes;
  for (int round = 0; round != 3000; ++round) {
    const std::string text = damage(MODEL, random);
    ASSERT_NO_FATAL_FAILURE(outcomes.add(model_refusal(text), text)) << "round " << round;
  }
  EXPECT_GT(outcomes.m_refused, 1000U);
  EXPECT_GT(outcomes.m_read, 100U);
}

TEST(DamagedInput, EveryTruncationOfAModelIsRefusedAtItsEnd) {
  const std::size_t size = MODEL.rfind('}');
  for (std::size_t length = 1; length <= size; ++length) {
    const std::string message = model_refusal(MODEL.substr(0, length));
    ASSERT_TRUE(message.find(": no JSON: ") != std::string::npos) << length << ": " << message;
  }
}

TEST(DamagedInput, ADescriptionIsReadOrRefusedInOneLine) {
  ASSERT_EQ(ROUTED_DEVICE().refusal(DESCRIPTION), "");
  std::mt19937 random(11);
  OUTCOMES outcomes;
  for (int round = 0; round != 3000; ++round) {
    ROUTED_DEVICE device;
    const std::string text = damage(DESCRIPTION, random);
    ASSERT_NO_FATAL_FAILURE(outcomes.add(device.refusal(text), text)) << "round " << round;
  }
  EXPECT_GT(outcomes.m_refused, 1000U);
  EXPECT_GT(outcomes.m_read, 30U);
}

} // namespace damage_test
