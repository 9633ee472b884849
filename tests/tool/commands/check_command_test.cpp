// `kep-rg check`, and `build` with --check, --trace and --waive: what they tell, and their exit status.

#include "kep_rg/kep_rg_findings.h"
#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace check_command_test {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const char* const MUX = R"("MUX": {"ports": {"a": {"direction": "input", "bits": [2]},
  "b": {"direction": "input", "bits": [3]}, "o": {"direction": "output", "bits": [4]}}})";
const char* const MUX_ROUTING = R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
)";

class CheckCommand : public Tool {
protected:
  /// Muxes in one module, each "NAME A B O" on nets of these numbers, 0 where unconnected.
  void write_device(const std::vector<std::string>& muxes, const std::string& routing = "") {
    std::string cells;
    for (const std::string& text : muxes) {
      std::istringstream words(text);
      std::string name;
      words >> name;
      std::string connections;
      for (const char* port : {"a", "b", "o"}) {
        std::string net;
        words >> net;
        if (net != "0")
          connections += std::string(connections.empty() ? "" : ", ") + "\"" + port + "\": [" + net + "]";
      }
      cells += (cells.empty() ? "\"" : ", \"") + name +
               R"(": {"type": "MUX", "attributes": {"kep_inst_header": 1}, "connections": {)" + connections +
               "}}";
    }
    write("model.json", std::string(R"({"modules": {)") + MUX +
                            R"(, "TOP": {"attributes": {"top": 1}, "cells": {)" + cells + "}}}}");
    write("routing.jsonl", MUX_ROUTING + routing);
  }
  /// From the line of the traces on; above it is what the build tells.
  std::string findings() const { return m_out.substr(std::min(m_out.size(), m_out.find("Traced "))); }
  static std::string example(const std::string& name) {
    const std::string folder = "'" KEP_TEST_DATA_DIR "/examples/" + name + "/'";
    return folder + "model.json " + folder + "routing.jsonl" +
           (name == "redundant_inputs" ? " --redundancy " + folder + "redundancy.txt" : "");
  }
};

/// Three muxes in a row; the first is where signals come in.
const std::vector<std::string> CHAIN{"s 0 0 2", "t 2 2 3", "u 3 3 4"};
/// A fabric with everything in it. Wires that fly over spare rows leave no arc behind, so their traces fail.
const char* const FABRIC = "generate --columns 6 --rows 6 --spare-rows 1 --tunnels 1 --hipi 20 --skip 20 "
                           "--redundant 20 --top-ports --model m.json --routing r.jsonl --redundancy d.txt";
const char* const FABRIC_FILES = "m.json r.jsonl --redundancy d.txt ";
const std::string SOUND = "The graph agrees with the model: ";
const std::string NOT_ODD = "; nothing is odd about the device";

TEST_F(CheckCommand, FindsNothingInAnyExample) {
  // But for the ring "plain_mux_chain", to which nothing comes in.
  for (const std::string name :
       {"blc_root", "hipi_twin", "inserted_node", "redundant_inputs", "skip_mux", "top_ports_routed"}) {
    EXPECT_EQ(run("check " + example(name)), 0) << name << m_err;
    EXPECT_EQ(m_err, "") << name;
    EXPECT_THAT(m_out, HasSubstr(SOUND)) << name;
    EXPECT_THAT(m_out, EndsWith(NOT_ODD + ".\n")) << name;
    EXPECT_EQ(run("check --trace " + example(name)), 0) << name << m_err;
    EXPECT_THAT(m_out, EndsWith(NOT_ODD + "; no trace fails.\n")) << name;
  }
}

TEST_F(CheckCommand, TracesOnlyWhenAskedToAndSaysWhyTracesMayFail) {
  ASSERT_EQ(run("check " + example("top_ports_routed")), 0) << m_err;
  EXPECT_THAT(m_out, Not(HasSubstr("Trace")));
  ASSERT_EQ(run("check --trace " + example("top_ports_routed")), 0) << m_err;
  EXPECT_EQ(
      findings(),
      "Traced 6 edges: 1 verified, 5 at boundary nodes, 0 failed\n"
      "Traces of sound edges may fail: a trace knows nets and arcs alone, so it may miss the way over a "
      "spare row, around a BLC or from an inserted input (docs/verification.md)\n" +
          SOUND + "5 nodes, 6 edges" + NOT_ODD + "; no trace fails.\n");
}

TEST_F(CheckCommand, BuildsWithoutChecksUnlessTheyAreAskedFor) {
  write_device(CHAIN);
  ASSERT_EQ(run("build model.json routing.jsonl"), 0);
  EXPECT_THAT(m_out, Not(HasSubstr(SOUND)));
  EXPECT_THAT(m_out, Not(HasSubstr("Traced")));
  ASSERT_EQ(run("build model.json routing.jsonl --check"), 0);
  EXPECT_THAT(m_out, EndsWith(SOUND + "3 nodes, 4 edges" + NOT_ODD + ".\n"));
  EXPECT_THAT(m_out, Not(HasSubstr("Traced")));
  ASSERT_EQ(run("build model.json routing.jsonl --trace"), 0);
  EXPECT_THAT(m_out, HasSubstr("Traced 4 edges: 4 verified"));
  EXPECT_THAT(m_out, EndsWith("\nNo trace fails.\n"));
  ASSERT_EQ(run("build model.json routing.jsonl --check --trace"), 0);
  EXPECT_THAT(m_out, EndsWith(SOUND + "3 nodes, 4 edges" + NOT_ODD + "; no trace fails.\n"));
}

TEST_F(CheckCommand, LeavesOutTheNumberOfRedundantEdgesWhereNoneAreWanted) {
  write_device(CHAIN);
  ASSERT_EQ(run("check model.json routing.jsonl"), 0) << m_err;
  EXPECT_THAT(m_out, Not(HasSubstr("redundant edges")));
  ASSERT_EQ(run("check model.json routing.jsonl --verbose"), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr("The number of redundant edges is not judged"));
  // With redundancy data it is a finding that no edge is redundant.
  write("redundancy.txt", "module_name: TOP\n0 t:nowhere\n");
  EXPECT_EQ(run("check model.json routing.jsonl --redundancy redundancy.txt"), 1);
  EXPECT_THAT(m_out, EndsWith("few-redundant-edges: 1\n"
                              "  0 of 4 edges are redundant, no more than a twentieth\n" +
                              SOUND + "3 nodes, 4 edges; odd about the device: 1 few-redundant-edges.\n"));
  write("redundancy.txt", "module_name: TOP\n0 t:b\n1 u:b\n");
  EXPECT_EQ(run("check model.json routing.jsonl --redundancy redundancy.txt"), 0) << m_err;
  EXPECT_THAT(m_out, EndsWith(NOT_ODD + ".\n"));
}

TEST_F(CheckCommand, CountsAllThatIsOddAndIsCleanWhereThatIsWaived) {
  const std::string nodes = "  Unreachable node t0/m1:o\n  Unreachable node t0/m2:o\n"
                            "  Unreachable node t1/m1:o\n  Unreachable node t1/m2:o\n";
  for (const std::string command : {"check ", "build --check "}) {
    EXPECT_EQ(run(command + example("plain_mux_chain")), 1);
    EXPECT_THAT(m_out, EndsWith("unreachable-node: 4\n" + nodes + SOUND +
                                "4 nodes, 6 edges; odd about the device: 4 unreachable-node.\n"));
    EXPECT_EQ(m_err, "");
    EXPECT_EQ(run(command + "--waive unreachable-node --waive missing-edge " + example("plain_mux_chain")),
              0);
    EXPECT_THAT(m_out, EndsWith("unreachable-node (waived): 4\n" + nodes + SOUND +
                                "4 nodes, 6 edges; odd about the device: 4 unreachable-node (waived).\n"));
    EXPECT_EQ(run(command + "--waive doubled-edge " + example("plain_mux_chain")), 1);
  }
  EXPECT_EQ(run("build --trace " + example("plain_mux_chain")), 0);
}

TEST_F(CheckCommand, RefusesToWaiveWhatIsNoFinding) {
  const auto refuse = [this](const std::string& arguments, const std::string& line) {
    EXPECT_EQ(run(arguments), 2) << arguments;
    EXPECT_EQ(m_err, "kep-rg: " + line + "\n");
    EXPECT_EQ(m_out, "");
  };
  const std::string closest = "--waive: no finding has the id \"unreachable\"; closest: unreachable-node";
  refuse("check none.json --waive unreachable", closest);
  refuse("build none.json --check --waive unreachable", closest);
  refuse("build none.json --waive unreachable-node", "build: --waive needs --check or --trace");
}

TEST_F(CheckCommand, HasEveryIdInTheDocuments) {
  std::ostringstream page;
  page << std::ifstream(KEP_TEST_DATA_DIR "/../../docs/verification.md").rdbuf();
  for (unsigned i = 0; i != KEP_RG_NUM_FINDING_KINDS; ++i)
    EXPECT_THAT(page.str(), testing::ContainsRegex(std::string("\n[|] [^|]*`") +
                                                   kep_rg_get_id(static_cast<KEP_RG_FINDING_KIND>(i)) + "`"));
}

TEST_F(CheckCommand, AlwaysProves) {
  EXPECT_EQ(run("check --prove " + example("skip_mux")), 2);
  EXPECT_THAT(m_err, HasSubstr("--prove"));
}

TEST_F(CheckCommand, FindsAFabricWithEverythingInItSound) {
  ASSERT_EQ(run(FABRIC), 0) << m_err;
  EXPECT_EQ(run(std::string("check ") + FABRIC_FILES), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr(SOUND));
  EXPECT_THAT(m_out, EndsWith(NOT_ODD + ".\n"));
}

TEST_F(CheckCommand, CountsTracesThatFailByReasonAndWritesTheFilesAllTheSame) {
  ASSERT_EQ(run(FABRIC), 0) << m_err;
  EXPECT_EQ(run(std::string("build --trace --dump dump --stats stats.json ") + FABRIC_FILES), 1);
  EXPECT_THAT(findings(),
              testing::ContainsRegex("\ntrace-later-net: [0-9,]+\n  x[0-9]+y[0-9]+/[^ ]+ -> "
                                     "x[0-9]+y[0-9]+/[^ ]+( .hipi.)?: the trace leaves the net on "
                                     "which it stands\n"));
  EXPECT_THAT(findings(), testing::ContainsRegex("\n  and [0-9,]+ more\nTraces that fail: [0-9,]+ "
                                                 "trace-later-net\\.\n$"));
  EXPECT_THAT(read("dump/edges.tsv"), HasSubstr("\tredundant\t"));
  EXPECT_NE(read("stats.json"), "");
  EXPECT_EQ(run(std::string("check --trace --waive trace-later-net ") + FABRIC_FILES), 0);
  EXPECT_THAT(m_out, testing::ContainsRegex("; traces that fail: [0-9,]+ trace-later-net .waived.\\.\n$"));
}

TEST_F(CheckCommand, ListsEachFindingWhenVerbose) {
  ASSERT_EQ(run(FABRIC), 0) << m_err;
  EXPECT_EQ(run(std::string("check --trace ") + FABRIC_FILES), 1);
  const std::string some = findings();
  EXPECT_EQ(run(std::string("check --trace --verbose ") + FABRIC_FILES), 1);
  const std::string all = findings();
  const auto count_lines = [](const std::string& text) {
    return std::to_string(std::count(text.begin(), text.end(), '\n') - 4); // but those that tell numbers
  };
  const std::string mark = "trace-later-net: ";
  std::string number = all.substr(all.find(mark) + mark.size());
  number.resize(number.find('\n'));
  number.erase(std::remove(number.begin(), number.end(), ','), number.end());
  EXPECT_EQ(count_lines(all), number);
  EXPECT_EQ(count_lines(some), "21") << "twenty, and how many more";
  EXPECT_THAT(all, StartsWith(some.substr(0, some.find("  and "))));
}

TEST_F(CheckCommand, TellsTheSameForAnyNumberOfThreads) {
  ASSERT_EQ(run(FABRIC), 0) << m_err;
  const auto check = [this](const std::string& options) {
    EXPECT_EQ(run("check --trace " + options + " " + FABRIC_FILES), 1);
    return findings();
  };
  for (const std::string verbose : {"", "--verbose "}) {
    const std::string one = check(verbose + "-j 1");
    EXPECT_THAT(one, HasSubstr(": the trace leaves the net on which it stands\n"));
    EXPECT_TRUE(one == check(verbose + "-j 2"));
    EXPECT_TRUE(one == check(verbose + "-j 5"));
  }
}

TEST_F(CheckCommand, EntersItsPhasesInTheStatistics) {
  write_device(CHAIN);
  ASSERT_EQ(run("check model.json routing.jsonl --trace --stats stats.json"), 0) << m_err;
  simdjson::dom::parser parser;
  const simdjson::padded_string text(read("stats.json"));
  const simdjson::dom::element stats = parser.parse(text);
  for (const char* phase : {"add_edges", "prove", "check", "trace"})
    EXPECT_GE(double(stats["phases"][phase]), 0.0) << phase;
}

TEST_F(CheckCommand, DoesNotCallAGraphWithoutNodesSound) {
  write_device({});
  write("routing.jsonl", "");
  EXPECT_EQ(run("check model.json routing.jsonl"), 1) << m_err;
  EXPECT_THAT(m_out, EndsWith("\nno-node: 1\n  The graph has no node\n"
                              "The graph has no nodes at all: there is nothing to check.\n"));
  EXPECT_EQ(run("check model.json routing.jsonl --waive no-node"), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr("\nno-node (waived): 1\n"));
}

} // namespace check_command_test
