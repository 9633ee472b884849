// `kep-rg debug`: one node's walk and its fanouts, from the command line.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>

namespace debug_command_test {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

// Two tiles in a ring. A tile's input goes to its mux, and by a skip path to the mux once more.
const char* const MODEL = R"({"modules": {
  "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "b": {"direction": "input", "bits": [3]},
                    "o": {"direction": "output", "bits": [4]}}},
  "SKIP": {"ports": {"i": {"direction": "input", "bits": [2]}, "z": {"direction": "output", "bits": [3]}}},
  "TILE": {"ports": {"in": {"direction": "input", "bits": [2]}, "out": {"direction": "output", "bits": [4]}},
           "cells": {"m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                           "connections": {"a": [2], "b": [3], "o": [4]}},
                     "k": {"type": "SKIP", "connections": {"i": [2], "z": [3]}}},
           "netnames": {"in": {"bits": [2]}, "behind": {"bits": [3]}, "out": {"bits": [4]}}},
  "TOP": {"attributes": {"top": 1, "kep_db_type": 2},
          "cells": {"l": {"type": "TILE", "connections": {"in": [3], "out": [2]}},
                    "r": {"type": "TILE", "connections": {"in": [2], "out": [3]}}},
          "netnames": {"east": {"bits": [2]}, "west": {"bits": [3]}}}}})";
const char* const ROUTING = R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
{"op": "add_port_edge", "module": "SKIP", "input": "i", "output": "z", "flag": true}
)";
const char* const ROWS = "from\tfrom_kind\tto\tto_kind\tclass\tmux_input\n"
                         "l/m:o\tuip\tr/m:o\tuip\treal\tr/m:a\n"
                         "l/m:o\tuip\tr/m:o\tuip\treal\tr/m:b\n";
const char* const LOG = "inst_port l/m:o logical -type start\n"
                        "port l/m:o logical -type cross\n"
                        "inst_port l/m:o logical -type search\n"
                        "port l:out logical -type cross\n"
                        "inst_port l:out logical -type search\n"
                        "inst_port r:in logical -type cross\n"
                        "port r:in logical -type search\n"
                        "inst_port r/m:a logical -type end\n"
                        "inst_port r/k:i logical -type skip\n"
                        "inst_port r/k:z logical -type search\n"
                        "inst_port r/m:b logical -type end\n"
                        "inst_port r/m:a logical -type mux_input\n"
                        "inst_port r/m:o logical -type mux_output\n"
                        "inst_port r/m:o logical -type target\n"
                        "inst_port r/m:b logical -type mux_input\n"
                        "inst_port r/m:o logical -type mux_output\n"
                        "inst_port r/m:o logical -type target\n";

class DebugCommand : public Tool {
protected:
  void SetUp() override {
    write("model.json", MODEL);
    write("routing.jsonl", ROUTING);
  }
};

TEST_F(DebugCommand, ListsTheFanoutsAsTheDumpDoes) {
  EXPECT_EQ(run("debug model.json routing.jsonl l/m:o"), 0) << m_err;
  EXPECT_EQ(m_out, ROWS);
  EXPECT_EQ(m_err, "");
  EXPECT_THAT(files(), UnorderedElementsAre("model.json", "routing.jsonl"));
}

TEST_F(DebugCommand, WritesTheLogBesideTheList) {
  EXPECT_EQ(run("debug model.json routing.jsonl l/m:o --log walk.log"), 0) << m_err;
  EXPECT_EQ(m_out, ROWS);
  EXPECT_EQ(read("walk.log"), LOG);
  EXPECT_THAT(files(), UnorderedElementsAre("model.json", "routing.jsonl", "walk.log"));
}

TEST_F(DebugCommand, ReplacesALogThatIsThere) {
  write("walk.log", "what stood there\n");
  EXPECT_EQ(run("debug --log walk.log model.json routing.jsonl l/m:o"), 0) << m_err;
  EXPECT_EQ(read("walk.log"), LOG);
}

TEST_F(DebugCommand, DrawsTheWalk) {
  EXPECT_EQ(run("debug model.json routing.jsonl l/m:o --log -"), 0) << m_err;
  EXPECT_EQ(m_out, std::string("l/m:o\n"
                               "  outside: net l/out\n"
                               "    l:out  up out of TILE: net east\n"
                               "      r:in  down into TILE: net r/in\n"
                               "        r/m:a  mux input -> r/m:o\n"
                               "        r/k:i  into a skip path\n"
                               "          r/k:z  out of the skip path: net r/behind\n"
                               "            r/m:b  mux input -> r/m:o\n"
                               "\n") +
                       ROWS);
  EXPECT_THAT(files(), UnorderedElementsAre("model.json", "routing.jsonl")) << "no file of that name";
}

TEST_F(DebugCommand, TellsOfAUipThatIsNoNode) {
  expect_refused("debug model.json routing.jsonl l/m:a",
                 "l/m:a is not a routing node: an input of a mux in front of l/m:o");
  expect_refused("debug model.json routing.jsonl l:in",
                 "l:in is not a routing node: a port of TILE, on no arc of a mux");
}

TEST_F(DebugCommand, TellsWhyNoNodeStandsAtAUip) {
  expect_refused("debug model.json routing.jsonl l/k:i",
                 "l/k:i is not a routing node: a skip path leads on from it to l/k:z");
  expect_refused("debug model.json routing.jsonl l/k:z",
                 "l/k:z is not a routing node: a skip path leads to it from l/k:i");
  write("model.json", R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]},
                      "z": {"direction": "output", "bits": [4]}}},
    "TOP": {"attributes": {"top": 1},
            "cells": {"m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [2], "z": [3]}},
                      "bare": {"type": "MUX", "connections": {"a": [2], "z": [4]}}},
            "netnames": {"n": {"bits": [2]}, "q": {"bits": [3]}, "r": {"bits": [4]}}}}})");
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "MUX", "input": "a", "output": "z"}
)");
  expect_refused("debug model.json routing.jsonl m:a",
                 "m:a is not a routing node: an input of a mux in front of m:o, m:z");
  expect_refused("debug model.json routing.jsonl m:o",
                 "m:o is not a routing node: no net is connected to it");
  expect_refused("debug model.json routing.jsonl bare:z",
                 "bare:z is not a routing node: its mux has no inst header, and the port no wire type");
  write("removed.jsonl", R"({"op": "add_remove_node", "module": "LUT", "port": "in"}
)");
  const std::string blc = "'" KEP_TEST_DATA_DIR "/examples/blc_root/'";
  expect_refused("debug " + blc + "model.json " + blc + "routing.jsonl removed.jsonl k/a1:in",
                 "k/a1:in is not a routing node: the description removes it");
}

TEST_F(DebugCommand, TellsThatNoRoutingIsDescribed) {
  write("empty.jsonl", "# nothing yet\n");
  for (const std::string command : {"debug", "next"})
    for (const std::string files : {"model.json", "model.json empty.jsonl"}) {
      EXPECT_EQ(run(command + " " + files + " l/m:o"), 2);
      EXPECT_THAT(m_err, StartsWith("model.json: no port of a cell became a node: ")) << "the warning";
      EXPECT_THAT(m_err,
                  EndsWith("\nkep-rg: no routing is described, so no node stands at l/m:o or any other "
                           "uip\n"));
    }
}

TEST_F(DebugCommand, TellsTheClosestNamesForAUipThatDoesNotExist) {
  expect_refused("debug model.json routing.jsonl l/m:0", "no node \"l/m:0\"; closest: l/m:o, r/m:o");
  expect_refused("debug model.json routing.jsonl x/m:o", "no node \"x/m:o\"; closest: l/m:o, r/m:o");
}

TEST_F(DebugCommand, LeavesTheLogAloneWhenTheInputIsBad) {
  write("walk.log", "what stood there\n");
  write("bad.jsonl", "{\"op\": \"no such thing\"}\n");
  for (const char* words : {"model.json routing.jsonl l/m:a", "model.json routing.jsonl none:o",
                            "model.json bad.jsonl l/m:o", "none.json routing.jsonl l/m:o"}) {
    EXPECT_EQ(run(std::string("debug ") + words + " --log walk.log"), 2) << words;
    EXPECT_EQ(m_out, "") << words;
    EXPECT_EQ(read("walk.log"), "what stood there\n") << words;
  }
  EXPECT_THAT(files(), UnorderedElementsAre("model.json", "routing.jsonl", "bad.jsonl", "walk.log"));
}

TEST_F(DebugCommand, DoesNotReplaceAnInputByTheLog) {
  expect_refused("debug model.json routing.jsonl l/m:o --log ./routing.jsonl",
                 "./routing.jsonl: can't be written: it is an input of this run");
  expect_refused("debug model.json routing.jsonl l/m:o --log model.json",
                 "model.json: can't be written: it is an input of this run");
  EXPECT_EQ(read("model.json"), MODEL);
  EXPECT_EQ(read("routing.jsonl"), ROUTING);
}

TEST_F(DebugCommand, TellsWhenTheLogCannotBeWritten) {
  EXPECT_EQ(run("debug model.json routing.jsonl l/m:o --log none/walk.log"), 2);
  EXPECT_THAT(m_err, StartsWith("kep-rg: none/walk.log: "));
  EXPECT_EQ(std::count(m_err.begin(), m_err.end(), '\n'), 1) << m_err;
}

TEST_F(DebugCommand, TellsBeforeTheBuildThatTheLogCannotBeWritten) {
  write("bad.jsonl", "no statement\n");
  EXPECT_EQ(run("debug model.json bad.jsonl l/m:o --log none/walk.log"), 2);
  EXPECT_THAT(m_err, StartsWith("kep-rg: none/walk.log: "));
}

TEST_F(DebugCommand, DoesNotReplaceTheFileThatStandardOutputGoesTo) {
  EXPECT_EQ(run("debug model.json routing.jsonl l/m:o --log out.txt >out.txt"), 2);
  EXPECT_EQ(m_err, "kep-rg: out.txt: can't be written: it is where standard output goes\n");
  EXPECT_EQ(run("debug model.json routing.jsonl l/m:o --log /dev/stdout | cat"), 0) << "that of cat";
  EXPECT_EQ(m_err, "kep-rg: /dev/stdout: can't be written: it is where standard output goes\n");
}

TEST_F(DebugCommand, TellsThatTheUipIsMissing) {
  const std::string usage = "; usage: kep-rg debug DEVICE [ROUTING ...] UIP";
  expect_refused("debug model.json routing.jsonl",
                 "debug: UIP is missing: routing.jsonl is a file and no node" + usage);
  expect_refused("debug model.json", "debug: UIP is missing: model.json is a file and no node" + usage);
  expect_refused("debug l/m:o", "debug: there are too few words" + usage);
  expect_refused("debug", "debug: there are too few words" + usage);
  write("l:in", "a file whose name could be that of a node\n");
  expect_refused("debug model.json routing.jsonl l:in",
                 "l:in is not a routing node: a port of TILE, on no arc of a mux");
}

TEST_F(DebugCommand, RefusesBadUse) {
  EXPECT_EQ(run("debug model.json routing.jsonl l/m:o --log ''"), 2);
  EXPECT_THAT(m_err, HasSubstr("must not be empty"));
  EXPECT_EQ(run("debug --help"), 0);
  EXPECT_THAT(m_out, HasSubstr("--log FILE"));
  EXPECT_THAT(m_out, HasSubstr("Usage: kep-rg debug [OPTIONS] DEVICE [ROUTING ...] UIP\n"));
  EXPECT_THAT(m_out, Not(HasSubstr("WORDS")));
  EXPECT_EQ(run("debug model.json routing.jsonl l/m:o --dump dump"), 2);
  EXPECT_THAT(m_err, HasSubstr("--dump (see kep-rg debug --help)\n"));
}

// Ends of all kinds on one net.
TEST_F(DebugCommand, DrawsWhyEachWayEnds) {
  write("model.json", R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "b": {"direction": "input", "bits": [3]},
                      "o": {"direction": "output", "bits": [4]}}},
    "EMPTY": {"ports": {"x": {"direction": "input", "bits": [2]}}},
    "THROUGH": {"ports": {"i": {"direction": "input", "bits": [2]}, "j": {"direction": "output", "bits": [2]}},
                "netnames": {"n": {"bits": [2]}}},
    "TOP": {"attributes": {"top": 1, "kep_db_type": 1},
            "ports": {"pin": {"direction": "output", "bits": [2]}, "pad": {"direction": "input", "bits": [2]}},
            "cells": {"s": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [2], "o": [2]}},
                      "e": {"type": "EMPTY", "connections": {"x": [2]}},
                      "t": {"type": "THROUGH", "connections": {"i": [2], "j": [5]}},
                      "u": {"type": "THROUGH", "connections": {"i": [2]}},
                      "k": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [2], "b": [5], "o": [6]}},
                      "q": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"o": [2]}}},
            "netnames": {"n": {"bits": [2]}, "m": {"bits": [5]}}}}})");
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
)");
  EXPECT_EQ(run("debug model.json routing.jsonl s:o --log -"), 0) << m_err;
  EXPECT_EQ(m_out, "s:o\n"
                   "  outside: net n\n"
                   "    s:a  mux input of the node's own mux\n"
                   "    e:x  nothing inside\n"
                   "    t:i  down into THROUGH: net t/n\n"
                   "      t:j  up out of THROUGH: net m\n"
                   "        k:b  mux input -> k:o\n"
                   "    u:i  down into THROUGH: net u/n\n"
                   "      u:j  up out of THROUGH: no net\n"
                   "    k:a  mux input -> k:o\n"
                   "    q:o  an output: not followed\n"
                   "    :pin  out of the device -> boundary node\n"
                   "    :pad  an input of its module: not followed\n"
                   "\n"
                   "from\tfrom_kind\tto\tto_kind\tclass\tmux_input\n"
                   "s:o\tuip\tk:o\tuip\treal\tk:b\n"
                   "s:o\tuip\tk:o\tuip\treal\tk:a\n"
                   "s:o\tuip\t:pin\tboundary\treal\t\n");
}

TEST_F(DebugCommand, RefusesABoundaryNode) {
  write("model.json", R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
    "TOP": {"attributes": {"top": 1, "kep_db_type": 1}, "ports": {"pin": {"direction": "input", "bits": [2]}},
            "cells": {"k": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [2], "o": [3]}}}}}})");
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
)");
  expect_refused("debug model.json routing.jsonl :pin",
                 ":pin is a boundary node, and only the nodes of inst ports can be walked from");
  expect_refused("debug model.json routing.jsonl :pan", "no node \":pan\"; closest: :pin");
}

// Skip paths with two outputs, one behind the other; a net that is met twice; a node in front of its mux.
const char* const SKIPS_MODEL = R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "b": {"direction": "input", "bits": [3]},
                      "o": {"direction": "output", "bits": [4]}}},
    "SKIP": {"ports": {"i": {"direction": "input", "bits": [2]}, "y": {"direction": "output", "bits": [3]},
                       "z": {"direction": "output", "bits": [4]}}},
    "JOIN": {"ports": {"i": {"direction": "input", "bits": [2]}, "j": {"direction": "input", "bits": [2]}},
             "netnames": {"n": {"bits": [2]}}},
    "TOP": {"attributes": {"top": 1, "kep_db_type": 2},
            "cells": {"s": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"o": [2]}},
                      "f": {"type": "SKIP", "connections": {"i": [2], "y": [3], "z": [4]}},
                      "g": {"type": "SKIP", "connections": {"i": [3], "y": [5], "z": [6]}},
                      "k": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [5], "b": [6], "o": [7]}},
                      "q": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [4], "b": [2], "o": [8]}},
                      "c": {"type": "JOIN", "connections": {"i": [2], "j": [2]}}},
            "netnames": {"n": {"bits": [2]}, "fy": {"bits": [3]}, "fz": {"bits": [4]}, "gy": {"bits": [5]},
                         "gz": {"bits": [6]}}}}})";
const char* const SKIPS_ROUTING = R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
{"op": "add_port_edge", "module": "SKIP", "input": "i", "output": "y", "flag": true}
{"op": "add_port_edge", "module": "SKIP", "input": "i", "output": "z", "flag": true}
{"op": "add_inserted_node", "name": "", "module": "MUX", "port": "b"}
)";

TEST_F(DebugCommand, DrawsSkipPathsBehindSkipPaths) {
  write("model.json", SKIPS_MODEL);
  write("routing.jsonl", SKIPS_ROUTING);
  EXPECT_EQ(run("debug model.json routing.jsonl s:o --log -"), 0) << m_err;
  EXPECT_EQ(m_out, "s:o\n"
                   "  outside: net n\n"
                   "    f:i  into a skip path\n"
                   "      f:y  out of the skip path: net fy\n"
                   "        g:i  into a skip path\n"
                   "          g:y  out of the skip path: net gy\n"
                   "            k:a  mux input -> k:o\n"
                   "          g:z  out of the skip path: net gz\n"
                   "            k:b  target\n"
                   "      f:z  out of the skip path: net fz\n"
                   "        q:a  mux input -> q:o\n"
                   "    q:b  target\n"
                   "    c:i  down into JOIN: net c/n\n"
                   "      c:j  an input of its module: not followed\n"
                   "    c:j  down into JOIN: net c/n, which is walked already\n"
                   "\n"
                   "from\tfrom_kind\tto\tto_kind\tclass\tmux_input\n"
                   "s:o\tuip\tk:o\tuip\treal\tk:a\n"
                   "s:o\tuip\tk:b\tuip\treal\t\n"
                   "s:o\tuip\tq:o\tuip\treal\tq:a\n"
                   "s:o\tuip\tq:b\tuip\treal\t\n");
  EXPECT_EQ(run("debug model.json routing.jsonl k:b --log -"), 0) << m_err;
  EXPECT_EQ(m_out, "k:b\n"
                   "  k:o  through the arc of its mux, target\n"
                   "\n"
                   "from\tfrom_kind\tto\tto_kind\tclass\tmux_input\n"
                   "k:b\tuip\tk:o\tuip\treal\tk:b\n");
}

TEST_F(DebugCommand, DrawsAWireThatIsDeeperThanALineIsWide) {
  const int depth = 40;
  std::string model = R"({"modules": {
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
    "THROUGH": {"ports": {"i": {"direction": "input", "bits": [2]}, "j": {"direction": "output", "bits": [2]}},
                "netnames": {"n": {"bits": [2]}}},
    "TOP": {"attributes": {"top": 1}, "cells": {
      "s": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"o": [2]}},
)";
  for (int i = 0; i != depth; ++i)
    model += "\"t" + std::to_string(i) + R"(": {"type": "THROUGH", "connections": {"i": [)" +
             std::to_string(i + 2) + "], \"j\": [" + std::to_string(i + 3) + "]}},\n";
  model += R"("k": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {"a": [)" +
           std::to_string(depth + 2) + R"(], "o": [1000]}}}}}})";
  write("model.json", model);
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
)");
  EXPECT_EQ(run("debug model.json routing.jsonl s:o --log -"), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr("\n" + std::string(60, ' ') + "t14:i  down into THROUGH: net t14/n\n" +
                               std::string(60, ' ') + "[level 31] t14:j  up out of THROUGH: net "));
  EXPECT_THAT(m_out, HasSubstr("\n" + std::string(60, ' ') + "[level 82] k:a  mux input -> k:o\n"));
}

TEST_F(DebugCommand, GivesTheRowsOfTheDumpForEveryNode) {
  ASSERT_EQ(run("generate --nodes 300 --hipi 20 --skip 20 --redundant 20 --model m.json --routing r.jsonl "
                "--redundancy d.txt"),
            0)
      << m_err;
  ASSERT_EQ(run("build m.json r.jsonl --redundancy d.txt --dump dump"), 0) << m_err;
  std::map<std::string, std::string> rows;
  std::istringstream nodes(read("dump/nodes.tsv"));
  for (std::string line; std::getline(nodes, line);)
    if (line.ends_with("\tuip")) rows[line.substr(0, line.find('\t'))];
  std::istringstream edges(read("dump/edges.tsv"));
  for (std::string line; std::getline(edges, line);)
    if (line.find("\tuip\t") == line.find('\t')) rows[line.substr(0, line.find('\t'))] += line + "\n";
  ASSERT_GT(rows.size(), 100U);
  std::size_t count = 0;
  for (const auto& [name, text] : rows) {
    if (++count % 10 != 0) continue; // each is a run of the tool
    EXPECT_EQ(run("debug m.json r.jsonl --redundancy d.txt " + name), 0) << m_err;
    EXPECT_EQ(m_out, "from\tfrom_kind\tto\tto_kind\tclass\tmux_input\n" + text);
  }
}

} // namespace debug_command_test
