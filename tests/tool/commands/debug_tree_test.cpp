// The tree that `kep-rg debug --log -` draws of a walk: every way in which one goes on or ends.

#include "tests/tool/tool_fixture.h"

#include <gtest/gtest.h>

#include <string>

namespace debug_tree_test {

class DebugTree : public Tool {
protected:
  /// The tree of one of the example devices, or of model.json and routing.jsonl.
  std::string tree(const std::string& uip, const std::string& example = "") {
    const std::string folder = example.empty() ? path("") : KEP_TEST_DATA_DIR "/examples/" + example + "/";
    std::string arguments = "debug '" + folder + "model.json' '" + folder + "routing.jsonl' " + uip;
    if (std::filesystem::exists(folder + "redundancy.txt"))
      arguments += " --redundancy '" + folder + "redundancy.txt'";
    EXPECT_EQ(run(arguments + " --log -"), 0) << m_err;
    EXPECT_EQ(m_err, "");
    return m_out.substr(0, m_out.find("\n\n") + 1);
  }
};

TEST_F(DebugTree, MarksRedundantInputs) {
  EXPECT_EQ(tree("u/m1:o", "redundant_inputs"), "u/m1:o\n"
                                                "  outside: net u/n1\n"
                                                "    u/m2:a  mux input -> u/m2:o, redundant\n"
                                                "    u/m2:b  mux input -> u/m2:o\n"
                                                "    u/s:in  down into SUB: net u/s/in\n"
                                                "      u/s/m3:a  mux input -> u/s/m3:o, redundant\n"
                                                "      u/s/m3:b  mux input -> u/s/m3:o\n");
}

TEST_F(DebugTree, TellsWhereNoRoutingNodeStands) {
  EXPECT_EQ(tree("m1:o", "blc_root"), "m1:o\n"
                                      "  outside: net n1\n"
                                      "    k:i  target\n"
                                      "    k:x  no routing node there\n");
}

TEST_F(DebugTree, WalksInsideABlc) {
  EXPECT_EQ(tree("k:i", "blc_root"), "k:i\n"
                                     "  inside BLK (blc): net k/i\n"
                                     "    k/a1:in  target\n");
  EXPECT_EQ(tree("k/a1:in", "blc_root"), "k/a1:in\n"
                                         "  inside LUT: no net\n");
  EXPECT_EQ(tree("k/a2:out", "blc_root"), "k/a2:out\n"
                                          "  outside: net k/o\n"
                                          "    k:o  up out of BLK (blc): target\n");
}

TEST_F(DebugTree, TellsAHipiNodeFromThePlainOneAtItsPlace) {
  EXPECT_EQ(tree("m1:o", "hipi_twin"), "m1:o\n"
                                       "  outside: net n1\n"
                                       "    h:a  mux input -> h:o (hipi)\n"
                                       "    h:b  mux input -> h:o\n");
}

TEST_F(DebugTree, EndsAtANodeThroughWhichItComesUp) {
  EXPECT_EQ(tree("m1:o", "inserted_node"), "m1:o\n"
                                           "  outside: net n1\n"
                                           "    b:in  down into BLK: net b/in\n"
                                           "      b:out  up out of BLK: target\n");
}

TEST_F(DebugTree, GoesOnOnTheSameNetBehindANodeThroughWhichItComesUp) {
  write("model.json", R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [4]}}},
    "TILE": {"ports": {"p": {"direction": "output", "bits": [4]}, "q": {"direction": "output", "bits": [4]},
                       "r": {"direction": "output", "bits": [4]}},
             "cells": {"m": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"o": [4]}}},
             "netnames": {"out": {"bits": [4]}}},
    "TOP": {"attributes": {"top": 1, "kep_db_type": 2},
            "cells": {"t": {"type": "TILE", "connections": {"p": [2], "q": [3], "r": [5]}},
                      "x": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [3], "o": [6]}},
                      "y": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [5]}}},
            "netnames": {"np": {"bits": [2]}, "nq": {"bits": [3]}, "nr": {"bits": [5]},
                         "nx": {"bits": [6]}}}}})");
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_inserted_node", "name": "", "module": "TILE", "port": "p"}
)");
  EXPECT_EQ(tree("t/m:o"), "t/m:o\n"
                           "  outside: net t/out\n"
                           "    t:p  up out of TILE: target\n"
                           "    t:q  up out of TILE: net nq\n"
                           "      x:a  mux input -> x:o\n"
                           "    t:r  up out of TILE: net nr\n"
                           "      y:a  mux input -> y:o (no routing node)\n");
  EXPECT_EQ(tree("t:p"), "t:p\n"
                         "  outside: net np, which leads nowhere else\n");
}

// s drives the tunnel x, behind which stand the target d and a mux.
const char* const TUNNEL_MODEL = R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
    "SOURCE": {"ports": {"i": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
    "THROUGH": {"ports": {"i": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [2]}},
                "netnames": {"way": {"bits": [2]}}},
    "TARGET": {"ports": {"i": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
    "EMPTY": {"ports": {"i": {"direction": "input", "bits": [2]}}},
    "TOP": {"attributes": {"top": 1, "kep_db_type": 2},
            "cells": {"s": {"type": "SOURCE", "attributes": {"kep_inst_header": 1}, "connections": {"o": [2]}},
                      "x": {"type": "THROUGH", "attributes": {"kep_inst_header": 1},
                            "connections": {"i": [2], "o": [3]}},
                      "m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [2], "o": [5]}},
                      "e": {"type": "EMPTY", "connections": {"i": [2]}},
                      "d": {"type": "TARGET", "attributes": {"kep_inst_header": 1},
                            "connections": {"i": [3], "o": [6]}},
                      "k": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [3], "o": [7]}}},
            "netnames": {"n": {"bits": [2]}, "q": {"bits": [3]}, "mo": {"bits": [5]}, "do": {"bits": [6]},
                         "ko": {"bits": [7]}}}}})";
const char* const TUNNEL_ROUTING = R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "SOURCE", "input": "i", "output": "o"}
{"op": "add_port_edge", "module": "THROUGH", "input": "i", "output": "o"}
{"op": "add_port_edge", "module": "TARGET", "input": "i", "output": "o"}
{"op": "add_tunnel_type", "module": "SOURCE", "tunnel": 1}
{"op": "add_tunnel_type", "module": "THROUGH", "tunnel": 2}
{"op": "add_tunnel_type", "module": "TARGET", "tunnel": 3}
)";

TEST_F(DebugTree, TellsTheTwoSearchesOfATunnelApartAndWhatTheyDrop) {
  write("model.json", TUNNEL_MODEL);
  write("routing.jsonl", TUNNEL_ROUTING);
  EXPECT_EQ(tree("s:o"), "s:o\n"
                         "  outside: net n\n"
                         "    x:i  mux input -> x:o\n"
                         "    m:a  mux input -> m:o\n"
                         "    e:i  nothing inside\n"
                         "  outside, once more through the tunnel: net n\n"
                         "    x:i  down into THROUGH: net x/way\n"
                         "      x:o  up out of THROUGH: net q\n"
                         "        d:i  mux input -> d:o\n"
                         "        k:a  dropped: no tunnel target\n"
                         "    m:a  dropped: no tunnel target\n"
                         "    e:i  nothing inside\n");
  EXPECT_EQ(tree("x:o"), "x:o\n"
                         "  outside: net q\n"
                         "    d:i  dropped: a tunnel target behind a tunnel\n"
                         "    k:a  mux input -> k:o\n");
}

TEST_F(DebugTree, TellsAFlyoverFromASkipPath) {
  write("model.json", R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
    "JUMP": {"ports": {"i": {"direction": "input", "bits": [2]}, "j": {"direction": "output", "bits": [3]}}},
    "BOTH": {"ports": {"i": {"direction": "input", "bits": [2]}, "j": {"direction": "output", "bits": [3]}}},
    "TOP": {"attributes": {"top": 1, "kep_db_type": 2},
            "cells": {"s": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"o": [2]}},
                      "f": {"type": "JUMP", "connections": {"i": [2], "j": [3]}},
                      "g": {"type": "JUMP", "connections": {"i": [2], "j": [4]}},
                      "h": {"type": "BOTH", "connections": {"i": [2], "j": [4]}},
                      "p": {"type": "JUMP", "connections": {"i": [2], "j": [5]}},
                      "k": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [3], "o": [6]}}},
            "netnames": {"n": {"bits": [2]}, "q": {"bits": [3]}, "r": {"bits": [4]}, "u": {"bits": [5]},
                         "ko": {"bits": [6]}}}}})");
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "BOTH", "input": "i", "output": "j", "flag": true}
{"op": "add_routing_flyover", "module": "JUMP", "input": "i", "output": "j"}
{"op": "add_routing_flyover", "module": "BOTH", "input": "i", "output": "j"}
{"op": "set_spare_row", "instance": "f"}
{"op": "set_spare_row", "instance": "h"}
{"op": "set_spare_row", "instance": "p"}
)");
  EXPECT_EQ(tree("s:o"), "s:o\n"
                         "  outside: net n\n"
                         "    f:i  flies over the spare row\n"
                         "      f:j  behind the spare row: net q\n"
                         "        k:a  mux input -> k:o\n"
                         "    g:i  in no spare row, so not flown over; nothing inside\n"
                         "    h:i  into a skip path\n"
                         "      h:j  out of the skip path: net r\n"
                         "        g:j  an output: not followed\n"
                         "    p:i  flies over the spare row\n"
                         "      p:j  behind the spare row: net u, which leads nowhere else\n");
}

TEST_F(DebugTree, TellsThatItComesBackToItsStart) {
  write("model.json", R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
    "BOTH": {"ports": {"x": {"direction": "inout", "bits": [2]}, "y": {"direction": "inout", "bits": [2]}},
             "netnames": {"way": {"bits": [2]}}},
    "TOP": {"attributes": {"top": 1, "kep_db_type": 2},
            "cells": {"b": {"type": "BOTH", "connections": {"x": [2], "y": [2]}},
                      "m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [2], "o": [3]}}},
            "netnames": {"n": {"bits": [2]}, "q": {"bits": [3]}}}}})");
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_inserted_node", "name": "", "module": "BOTH", "port": "x"}
)");
  EXPECT_EQ(tree("b:x"), "b:x\n"
                         "  inside BOTH: net b/way\n"
                         "    b:y  up out of BOTH: net n\n"
                         "      b:x  where the walk began\n"
                         "      m:a  mux input -> m:o\n"
                         "  outside: net n, which is walked already\n");
}

TEST_F(DebugTree, TellsOfATwoWayBufferThatDoesNotCount) {
  write("model.json", R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
    "BUFFER": {"attributes": {"kep_blc_bidir_buffer": 1},
               "ports": {"x": {"direction": "inout", "bits": [2]}, "y": {"direction": "inout", "bits": [2]}},
               "netnames": {"way": {"bits": [2]}}},
    "TILE": {"ports": {"in": {"direction": "input", "bits": [2]}},
             "cells": {"b": {"type": "BUFFER", "connections": {"x": [2]}},
                       "m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                             "connections": {"a": [2], "o": [3]}}},
             "netnames": {"n": {"bits": [2]}, "q": {"bits": [3]}}},
    "TOP": {"attributes": {"top": 1, "kep_db_type": 2},
            "cells": {"s": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"o": [2]}},
                      "c": {"type": "BUFFER", "connections": {"x": [2]}},
                      "t": {"type": "TILE", "connections": {"in": [2]}}},
            "netnames": {"n": {"bits": [2]}}}}})");
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
)");
  EXPECT_EQ(tree("s:o"), "s:o\n"
                         "  outside: net n\n"
                         "    c:x  down into BUFFER: net c/way\n"
                         "      c:y  up out of BUFFER: no net\n"
                         "    t:in  down into TILE: net t/n\n"
                         "      t/b:x  a two-way buffer, which counts only on the net where the walk began\n"
                         "      t/m:a  mux input -> t/m:o\n");
}

} // namespace debug_tree_test
