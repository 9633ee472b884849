// The tool from outside: what it prints where, its exit status, the files that it leaves.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <algorithm>
#include <string>
#include <vector>

namespace command_line_test {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testing::UnorderedElementsAre;

const char* const MODEL = R"({"modules": {
  "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "b": {"direction": "input", "bits": [3]},
                    "o": {"direction": "output", "bits": [4]}}},
  "TILE": {"ports": {"in": {"direction": "input", "bits": [2]}, "out": {"direction": "output", "bits": [3]}},
           "cells": {"m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                           "connections": {"a": [2], "b": [2], "o": [3]}}}},
  "TOP": {"attributes": {"top": 1},
          "cells": {"l": {"type": "TILE", "connections": {"in": [2], "out": [3]}},
                    "r": {"type": "TILE", "connections": {"in": [3], "out": [2]}}}}}})";
const char* const ROUTING = R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
)";

class CommandLine : public Tool {
protected:
  void SetUp() override {
    write("model.json", MODEL);
    write("routing.jsonl", ROUTING);
  }
  /// One line on standard error that tells this reason, and exit status 2.
  void expect_refused_for(const std::string& arguments, const std::string& reason) {
    EXPECT_EQ(run(arguments), 2) << arguments << "\n" << m_err;
    EXPECT_THAT(m_err, StartsWith("kep-rg: ")) << arguments;
    EXPECT_THAT(m_err, HasSubstr(reason)) << arguments;
    EXPECT_EQ(std::count(m_err.begin(), m_err.end(), '\n'), 1) << arguments << "\n" << m_err;
  }
};

TEST_F(CommandLine, BuildsAGraphAndDumpsItByName) {
  ASSERT_EQ(run("build model.json routing.jsonl --dump dump"), 0) << m_err;
  EXPECT_EQ(m_err, "");
  EXPECT_EQ(sorted_lines(read("dump/nodes.tsv")),
            (std::vector<std::string>{"l/m:o\tuip", "node\tkind", "r/m:o\tuip"}));
  EXPECT_EQ(sorted_lines(read("dump/edges.tsv")),
            (std::vector<std::string>{
                "from\tfrom_kind\tto\tto_kind\tclass\tmux_input", "l/m:o\tuip\tr/m:o\tuip\treal\tr/m:a",
                "l/m:o\tuip\tr/m:o\tuip\treal\tr/m:b", "r/m:o\tuip\tl/m:o\tuip\treal\tl/m:a",
                "r/m:o\tuip\tl/m:o\tuip\treal\tl/m:b"}));
}

TEST_F(CommandLine, GivesTheSameDumpForAnyNumberOfThreads) {
  ASSERT_EQ(run("generate --nodes 30000 --hipi 20 --skip 20 --redundant 20 --model m.json --routing r.jsonl "
                "--redundancy d.txt"),
            0)
      << m_err;
  for (const std::string threads : {"1", "2", "8"})
    ASSERT_EQ(run("build m.json r.jsonl --redundancy d.txt -j " + threads + " --dump dump" + threads), 0)
        << m_err;
  EXPECT_THAT(read("dump1/edges.tsv"), HasSubstr("\tredundant\t"));
  EXPECT_THAT(read("dump1/nodes.tsv"), HasSubstr("\thipi\n"));
  for (const std::string other : {"2", "8"}) {
    EXPECT_TRUE(read("dump1/nodes.tsv") == read("dump" + other + "/nodes.tsv"));
    EXPECT_TRUE(read("dump1/edges.tsv") == read("dump" + other + "/edges.tsv"));
  }
}

TEST_F(CommandLine, FindsNothingOddAboutAGeneratedDeviceOfAnyForm) {
  for (const std::string form : {"tiles --columns 2 --rows 2", "grids --columns 2 --rows 2 --luts 2",
                                 "grids --columns 1 --rows 1 --order shuffled", "random --nodes 1000",
                                 "near --nodes 1000 --inputs 3", "net --nodes 20", "chain --nodes 20"}) {
    ASSERT_EQ(run("generate --model m.json --routing r.jsonl --form " + form), 0) << form << "\n" << m_err;
    const std::string nodes = m_out.substr(m_out.rfind(", ") + 2);
    ASSERT_EQ(run("check m.json r.jsonl --trace --stats stats.json"), 0) << form << "\n" << m_out << m_err;
    simdjson::dom::parser parser;
    const simdjson::padded_string text(read("stats.json"));
    const std::uint64_t built = parser.parse(text)["graph"]["nodes"];
    EXPECT_EQ(nodes, std::to_string(built) + " nodes\n") << form;
  }
}

TEST_F(CommandLine, GivesTheSameGraphForAnyOrderOfTheBlocks) {
  std::vector<std::vector<std::string>> edges;
  for (const std::string order : {"alphabet", "number", "shuffled"}) {
    ASSERT_EQ(run("generate --form grids --columns 11 --rows 2 --width 4 --connect-inputs 3 --luts 1 "
                  "--switch-inputs 4 --model m.json --routing r.jsonl --order " +
                  order),
              0)
        << m_err;
    ASSERT_EQ(run("build m.json r.jsonl -j 2 --dump dump"), 0) << m_err;
    edges.push_back(sorted_lines(read("dump/edges.tsv")));
  }
  EXPECT_GT(edges[0].size(), 1000U);
  EXPECT_TRUE(edges[1] == edges[0]);
  EXPECT_TRUE(edges[2] == edges[0]);
}

TEST_F(CommandLine, KeepsAFabricFoldedInWhateverOrderItsBlocksAreListed) {
  for (const std::string order : {"alphabet", "number", "shuffled"}) {
    ASSERT_EQ(run("generate --form grids --columns 12 --rows 8 --width 4 --connect-inputs 3 --luts 1 "
                  "--switch-inputs 4 --model m.json --routing r.jsonl --order " +
                  order),
              0)
        << m_err;
    ASSERT_EQ(run("build m.json r.jsonl -j 2 --stats stats.json"), 0) << m_err;
    simdjson::dom::parser parser;
    const simdjson::padded_string text(read("stats.json"));
    const simdjson::dom::element graph = parser.parse(text)["graph"];
    EXPECT_GT(std::uint64_t(graph["real_edges"]), 9000U);
    EXPECT_LT(std::uint64_t(graph["templates"]), 400U) << order; // of 2,800 nodes
    EXPECT_LT(std::uint64_t(graph["bytes"]), 60000U) << order;
  }
}

TEST_F(CommandLine, KeepsAFabricFoldedHoweverLargeItIs) {
  std::uint64_t templates[2] = {};
  for (const bool large : {false, true}) {
    ASSERT_EQ(run(std::string("generate --model m.json --routing r.jsonl --levels 2 --columns 5,") +
                  (large ? "4 --rows 5,4" : "2 --rows 5,2")),
              0)
        << m_err;
    ASSERT_EQ(run("build m.json r.jsonl -j 2 --stats stats.json"), 0) << m_err;
    simdjson::dom::parser parser;
    const simdjson::padded_string text(read("stats.json"));
    const simdjson::dom::element stats = parser.parse(text);
    templates[large] = stats["graph"]["templates"];
    if (!large) continue;
    const std::uint64_t nodes = stats["graph"]["nodes"];
    const std::uint64_t edges = stats["graph"]["real_edges"];
    EXPECT_GT(nodes, 100000U);
    EXPECT_LT(std::uint64_t(stats["graph"]["bytes"]), 6 * nodes + edges / 10);
  }
  EXPECT_GT(templates[0], 100U);
  EXPECT_LT(templates[1], templates[0] + templates[0] / 2) << "four times the tiles, hardly another list";
}

TEST_F(CommandLine, WritesStatisticsAsJson) {
  ASSERT_EQ(run("build model.json routing.jsonl -j 2 --stats stats.json"), 0) << m_err;
  simdjson::dom::parser parser;
  const simdjson::padded_string text(read("stats.json"));
  const simdjson::dom::element stats = parser.parse(text);
  EXPECT_EQ(std::uint64_t(stats["counters"]["m_created_num_nodes"]), 2U);
  EXPECT_EQ(std::uint64_t(stats["counters"]["n_edges"]), 4U);
  for (const char* counter : {"m_eliminated_num_nodes",
                              "m_created_num_nodes",
                              "m_created_num_nodes_blc",
                              "m_created_num_nodes_inserted",
                              "m_created_num_nodes_hipi",
                              "m_repeated_num_nodes",
                              "m_created_num_nodes_boundary",
                              "n_skip_port",
                              "n_nodes",
                              "nodes_per_display",
                              "n_nodes_done",
                              "n_get_leaf_calls",
                              "n_get_leaf_fanouts",
                              "n_edges",
                              "n_redundant_edges",
                              "n_cdrn_cache_hits",
                              "n_cdrn_cache_misses",
                              "cpu_start",
                              "wall_start",
                              "counted_n",
                              "counted_boundary"})
    EXPECT_TRUE(stats["counters"][counter].is_number()) << counter;
  EXPECT_EQ(std::uint64_t(stats["counters"]["counted_n"]), 2U);
  EXPECT_EQ(std::uint64_t(stats["counters"]["counted_boundary"]), 0U);
  EXPECT_EQ(std::uint64_t(stats["graph"]["nodes"]), 2U);
  EXPECT_EQ(std::uint64_t(stats["graph"]["real_edges"]), 4U);
  EXPECT_EQ(std::uint64_t(stats["graph"]["redundant_edges"]), 0U);
  EXPECT_GT(std::uint64_t(stats["graph"]["bytes"]), 0U);
  EXPECT_GT(std::uint64_t(stats["peak_rss_bytes"]), 0U);
  EXPECT_EQ(std::uint64_t(stats["threads"]), 2U);
  for (const char* phase : {"load", "describe", "count", "add_nodes", "add_hipi", "sort", "redundant_inputs",
                            "add_edges", "reverse_edges"})
    EXPECT_GE(double(stats["phases"][phase]), 0.0) << phase;
}

TEST_F(CommandLine, ADeviceWithoutADescriptionHasAnEmptyGraph) {
  ASSERT_EQ(run("build model.json --dump dump"), 0) << m_err;
  EXPECT_EQ(read("dump/nodes.tsv"), "node\tkind\n");
}

TEST_F(CommandLine, TellsOfPortsOfRedundancyDataThatNameNothingAndUsesTheRest) {
  write("redundancy.txt", "module_name: TILE\n0 m:b\n1 m:nowhere\n");
  ASSERT_EQ(run("build model.json routing.jsonl --redundancy redundancy.txt --dump dump"), 0) << m_err;
  EXPECT_EQ(m_err, "redundancy.txt:3: can't be read: \"m:nowhere\"\n");
  EXPECT_THAT(read("dump/edges.tsv"), HasSubstr("l/m:o\tuip\tr/m:o\tuip\tredundant\tr/m:b\n"));
  EXPECT_THAT(read("dump/edges.tsv"), HasSubstr("l/m:o\tuip\tr/m:o\tuip\treal\tr/m:a\n"));
}

TEST_F(CommandLine, TakesRedundancyDataMoreThanOnce) {
  write("one.txt", "module_name: TILE\n0 m:a\n");
  write("two.txt", "module_name: TILE\n0 m:b\n");
  ASSERT_EQ(run("build model.json routing.jsonl --redundancy one.txt --redundancy two.txt --dump dump"), 0)
      << m_err;
  EXPECT_EQ(read("dump/edges.tsv").find("\treal\t"), std::string::npos);
}

TEST_F(CommandLine, RefusesRedundancyDataWithoutAKeywordOrAModuleOrThatIsCutShort) {
  const auto refuse = [this](const std::string& text, const std::string& reason) {
    write("redundancy.txt", text);
    expect_refused_for("build model.json routing.jsonl --redundancy redundancy.txt",
                       "redundancy.txt: " + reason);
  };
  refuse("", "the keyword \"module_name:\" is missing");
  refuse("TILE\n0 m:b\n", "the keyword \"module_name:\" is missing");
  refuse("module_name:", "the text ends behind the keyword");
  refuse("module_name: NONE\n0 m:b\n", "no module \"NONE\"");
  refuse("module_name: TILE\n0 m:b\n0\n", "the text ends in the middle of a pair");
}

TEST_F(CommandLine, WritesThePathsOfWiresBelowRoutingRoots) {
  write("model.json", R"({"modules": {
    "WIRE": {"ports": {"o": {"direction": "output", "bits": [2]}}},
    "ROOT": {"attributes": {"kep_ip_root": 1}, "cells": {"w": {"type": "WIRE", "connections": {"o": [2]}}},
             "ports": {"p": {"direction": "output", "bits": [2]}}},
    "TOP": {"attributes": {"top": 1}, "cells": {"x": {"type": "ROOT", "connections": {"p": [2]}}}}}})");
  write("routing.jsonl", R"({"op": "add_routing_root", "module": "ROOT", "root_view": "LOGICAL"}
{"op": "add_wire_type", "name": "t", "module": "WIRE", "path": "o"}
{"op": "add_wire_type", "name": "t", "module": "ROOT", "path": "p"}
)");
  ASSERT_EQ(run("build model.json routing.jsonl --wire-paths wires.txt --report"), 0) << m_err;
  EXPECT_EQ(read("wires.txt"), "ROOT\t:p\nROOT\tw:o\n");
  EXPECT_THAT(m_out, HasSubstr("Adding 2 wire paths for ROOT\n"));
}

TEST_F(CommandLine, RefusesBadUse) {
  expect_refused_for("", "subcommand");
  expect_refused_for("make model.json routing.jsonl", "unknown command \"make\"");
  for (const std::string command : {"build", "check"})
    expect_refused_for(command + " model.json routing.jsonl --no-such-option", "--no-such-option");
  expect_refused_for("check model.json routing.jsonl -o x.kdb", "-o");
  expect_refused_for("check model.json routing.jsonl --dump dump", "--dump");
  for (const std::string option : {"--dump", "--stats", "--wire-paths", "--redundancy"})
    expect_refused_for("build model.json routing.jsonl " + option + " ''", "must not be empty");
  expect_refused_for("build", "DEVICE");
  expect_refused_for("build model.json routing.jsonl -j 0", "-j");
  expect_refused_for("build model.json routing.jsonl -j two", "-j");
  expect_refused_for("build model.json routing.jsonl --nodes-per-display 0", "--nodes-per-display");
  expect_refused_for("import-icebox", "CHIPDB");
  expect_refused_for("generate --model m.json", "--routing");
}

TEST_F(CommandLine, RefusesBadInputWithFileAndPlace) {
  expect_refused_for("build none.json", "none.json: ");
  expect_refused_for("build model.json none.jsonl", "none.jsonl: ");
  write("bad.json", "{\"modules\": ");
  expect_refused_for("build bad.json routing.jsonl", "bad.json:1:");
  write("bad.json", R"({"modules": {"TOP": {"cells": {"x": {"type": "NONE"}}}}})");
  expect_refused_for("build bad.json routing.jsonl", "bad.json: modules.TOP.cells.x");
  write("bad.jsonl", std::string(ROUTING) + "{\"op\": \"dance\"}\n");
  expect_refused_for("build model.json bad.jsonl", "bad.jsonl:3: ");
  write("bad.txt", "0 0 a\n");
  expect_refused_for("import-icebox bad.txt --model m.json --routing r.jsonl", "bad.txt:1: ");
  expect_refused_for("generate --columns 0 --model m.json --routing r.jsonl", "--columns");
  expect_refused_for("generate --form grids --skip 1 --model m.json --routing r.jsonl",
                     "--skip: not an option of --form grids");
  expect_refused_for("generate --form near --model m.json --routing r.jsonl", "--form near: needs --nodes");
}

TEST_F(CommandLine, RefusesFilesThatItCannotWriteAndLeavesNothingBehind) {
  expect_refused_for("build model.json routing.jsonl --stats none/stats.json", "stats.json");
  expect_refused_for("build model.json routing.jsonl --dump model.json", "model.json");
  EXPECT_THAT(files(), UnorderedElementsAre("model.json", "routing.jsonl"));
  EXPECT_EQ(read("model.json"), MODEL);
}

TEST_F(CommandLine, RefusesAnOutputThatWouldReplaceAnInputOrAnotherOutput) {
  expect_refused_for("build model.json routing.jsonl --stats model.json",
                     "model.json: can't be written: it is an input of this run");
  expect_refused_for("build model.json routing.jsonl --wire-paths x --stats ./x",
                     "x: can't be written: it is another output of this run");
  expect_refused_for("build model.json routing.jsonl --dump d --stats d/nodes.tsv",
                     "d/nodes.tsv: can't be written: it is another output of this run");
  EXPECT_EQ(read("model.json"), MODEL);
}

TEST_F(CommandLine, TellsControlCharactersAsNumbers) {
  expect_refused_for("build \"$(printf 'a\\033b.json')\"", "a\\u001bb.json");
  write("redundancy.txt", "module_name: TILE\n0 m:b\r\n");
  ASSERT_EQ(run("build model.json routing.jsonl --redundancy redundancy.txt"), 0);
  EXPECT_THAT(m_err, HasSubstr("m:b\\u000d"));
}

TEST_F(CommandLine, ARefusedBuildKeepsTheOldDump) {
  ASSERT_EQ(run("build model.json routing.jsonl --dump dump"), 0) << m_err;
  const std::string old = read("dump/edges.tsv");
  write("routing.jsonl", "{}");
  expect_refused_for("build model.json routing.jsonl --dump dump", "routing.jsonl:1: ");
  EXPECT_EQ(read("dump/edges.tsv"), old);
}

TEST_F(CommandLine, TellsThatStandardOutputIsLost) {
  std::vector<std::pair<std::string, std::string>> lost{{">&-", "Bad file descriptor"}};
  if (std::filesystem::exists("/dev/full")) lost.emplace_back(">/dev/full", "No space left on device");
  for (const auto& [where, reason] : lost)
    for (const std::string command :
         {"build model.json routing.jsonl --dump dump", "check model.json routing.jsonl",
          "debug model.json routing.jsonl l/m:o", "debug model.json routing.jsonl l/m:o --log -",
          "next model.json routing.jsonl l/m:o", "trace model.json routing.jsonl l/m:o r/m:o", "--help"}) {
      EXPECT_EQ(run(command + " " + where), 2) << command << where;
      EXPECT_THAT(m_err, EndsWith("kep-rg: standard output: can't be written: " + reason +
                                  "; what was printed is lost, in whole or in part\n"))
          << command << where;
    }
  EXPECT_EQ(run("build none.json >&-"), 2);
  EXPECT_THAT(m_err, StartsWith("kep-rg: none.json: ")) << "one failure, one line";
  EXPECT_EQ(std::count(m_err.begin(), m_err.end(), '\n'), 1);
}

TEST_F(CommandLine, DoesNotPrintIntoAFileWhenStandardOutputIsClosed) {
  ASSERT_EQ(run("build model.json routing.jsonl --dump dump"), 0) << m_err;
  EXPECT_EQ(run("build model.json routing.jsonl --dump closed >&-"), 2);
  EXPECT_EQ(read("closed/nodes.tsv"), read("dump/nodes.tsv"));
  EXPECT_EQ(read("closed/edges.tsv"), read("dump/edges.tsv"));
}

TEST_F(CommandLine, HelpAndVersionAreEverywhere) {
  for (const std::string command : {"", "build ", "check ", "trace ", "debug ", "next ", "info ", "describe ",
                                    "import-icebox ", "generate "}) {
    EXPECT_EQ(run(command + "--help"), 0) << command;
    EXPECT_THAT(m_out, HasSubstr("--help")) << command;
    EXPECT_EQ(run(command + "--version"), 0) << command;
    EXPECT_THAT(m_out, StartsWith("kep-rg ")) << command;
    EXPECT_EQ(m_err, "") << command;
  }
}

} // namespace command_line_test
