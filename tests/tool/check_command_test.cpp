// `kep-rg check`, and `build` with --check and --trace: what they tell, and their exit status.

#include "tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

const char* const MUX = R"("MUX": {"ports": {"a": {"direction": "input", "bits": [2]},
  "b": {"direction": "input", "bits": [3]}, "o": {"direction": "output", "bits": [4]}}})";
const char* const MUX_ROUTING = R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
)";

class CheckCommand : public TOOL_TEST {
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
  static std::string example(const std::string& name) {
    const std::string folder = KEP_TEST_DATA_DIR "/examples/" + name + "/";
    return folder + "model.json " + folder + "routing.jsonl" +
           (name == "redundant_inputs" ? " --redundancy " + folder + "redundancy.txt" : "");
  }
};

/// Three muxes in a row; the first is where signals come in.
const std::vector<std::string> CHAIN{"s 0 0 2", "t 2 2 3", "u 3 3 4"};
/// Wires that fly over spare rows leave no arc behind, so their traces do not verify.
const char* const FLYOVERS = "generate --columns 6 --rows 6 --spare-rows 1 --tunnels 1 --hipi 20 --skip 20 "
                             "--redundant 20 --top-ports --model m.json --routing r.jsonl --redundancy d.txt";

} // namespace

TEST_F(CheckCommand, FindsNothingInAnyExample) {
  // But for the ring "plain_mux_chain", to which nothing comes in.
  for (const std::string name :
       {"blc_root", "hipi_twin", "inserted_node", "redundant_inputs", "skip_mux", "top_ports_routed"}) {
    EXPECT_EQ(run("check " + example(name)), 0) << name << m_err;
    EXPECT_EQ(m_err, "") << name;
    EXPECT_THAT(m_out, HasSubstr(" checks clean, 0 with findings")) << name;
    EXPECT_THAT(m_out, HasSubstr(" 0 with findings\n")) << name;
  }
}

TEST_F(CheckCommand, TellsOfEdgesAtBoundaryNodesWhichAreNoFinding) {
  ASSERT_EQ(run("check " + example("top_ports_routed")), 0) << m_err;
  EXPECT_THAT(m_out,
              EndsWith("Traced 6 edges: 1 verified, 5 at boundary nodes, 0 with findings\n"
                       "  3: the edge starts at a boundary node, which no trace does; first: :in -> m1:o\n"
                       "  2: the edge ends at a boundary node, which no trace does; first: m1:o -> :out\n"));
}

TEST_F(CheckCommand, BuildsWithoutChecksUnlessTheyAreAskedFor) {
  write_device(CHAIN);
  ASSERT_EQ(run("build model.json routing.jsonl"), 0);
  EXPECT_THAT(m_out, Not(HasSubstr("Checked")));
  EXPECT_THAT(m_out, Not(HasSubstr("Traced")));
  ASSERT_EQ(run("build model.json routing.jsonl --check"), 0);
  EXPECT_THAT(m_out, HasSubstr("Checked"));
  EXPECT_THAT(m_out, Not(HasSubstr("Traced")));
  ASSERT_EQ(run("build model.json routing.jsonl --trace"), 0);
  EXPECT_THAT(m_out, Not(HasSubstr("Checked")));
  EXPECT_THAT(m_out, HasSubstr("Traced 4 edges: 4 verified"));
}

TEST_F(CheckCommand, LeavesOutTheNumberOfRedundantEdgesWhereNoneAreWanted) {
  write_device(CHAIN);
  ASSERT_EQ(run("check model.json routing.jsonl"), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr("Checked the graph: 3 checks clean, 0 with findings; the number of redundant "
                               "edges is not checked, since there are none\n"));
  // With redundancy data it is a finding that no edge is redundant.
  write("redundancy.txt", "module_name: TOP\n0 t:nowhere\n");
  EXPECT_EQ(run("check model.json routing.jsonl --redundancy redundancy.txt"), 1);
  EXPECT_THAT(m_out, HasSubstr("Checked the graph: 3 checks clean, 1 with findings\n"));
  write("redundancy.txt", "module_name: TOP\n0 t:b\n1 u:b\n");
  EXPECT_EQ(run("check model.json routing.jsonl --redundancy redundancy.txt"), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr("Checked the graph: 4 checks clean, 0 with findings\n"));
}

TEST_F(CheckCommand, AFindingOfAPostCheckIsStatusOne) {
  EXPECT_EQ(run("check " + example("plain_mux_chain")), 1);
  EXPECT_THAT(m_err, HasSubstr("RG-UNREACHABLE-ROUTING-NODES"));
  EXPECT_THAT(m_out, HasSubstr("Checked the graph: 2 checks clean, 1 with findings"));
  EXPECT_THAT(m_out, HasSubstr("Traced 6 edges: 6 verified"));
  write_device({"s 0 0 2", "t 2 2 3", "u 5 5 6", "v 6 6 5"}); // and a ring that the source does not reach
  EXPECT_EQ(run("build model.json routing.jsonl --check"), 1);
  EXPECT_EQ(run("build model.json routing.jsonl --trace"), 0);
}

TEST_F(CheckCommand, CountsEdgesThatDoNotVerifyByReasonAndWritesTheFilesAllTheSame) {
  ASSERT_EQ(run(FLYOVERS), 0) << m_err;
  EXPECT_EQ(run("build m.json r.jsonl --redundancy d.txt --trace --dump dump --stats stats.json"), 1);
  EXPECT_THAT(m_err, MatchesRegex("  [0-9]+: the trace leaves the net on which it stands; first: "
                                  "x[0-9]+y[0-9]+/[^ ]+ -> x[0-9]+y[0-9]+/[^ ]+\n"));
  EXPECT_THAT(m_out, HasSubstr("\nTraced "));
  EXPECT_THAT(read("dump/edges.tsv"), HasSubstr("\tredundant\t"));
  EXPECT_NE(read("stats.json"), "");
}

TEST_F(CheckCommand, ListsEachFindingWhenVerbose) {
  ASSERT_EQ(run(FLYOVERS), 0) << m_err;
  EXPECT_EQ(run("build m.json r.jsonl --redundancy d.txt --trace"), 1);
  const std::string sum = m_err;
  EXPECT_EQ(run("build m.json r.jsonl --redundancy d.txt --trace --verbose"), 1);
  ASSERT_THAT(m_err, EndsWith(sum)); // the list comes first
  const std::string list = m_err.substr(0, m_err.size() - sum.size());
  EXPECT_EQ(std::to_string(std::count(list.begin(), list.end(), '\n')), sum.substr(2, sum.find(':') - 2));
  const std::string first = sum.substr(sum.find("first: ") + 7);
  EXPECT_THAT(list, StartsWith(first.substr(0, first.size() - 1) +
                               ": the trace leaves the net on which it stands\n"));
}

TEST_F(CheckCommand, TellsTheSameForAnyNumberOfThreads) {
  ASSERT_EQ(run(FLYOVERS), 0) << m_err;
  const auto check = [this](const std::string& threads) {
    EXPECT_EQ(run("check m.json r.jsonl --redundancy d.txt --verbose -j " + threads), 1);
    // From the first edge on: above it the thread library may tell that it has fewer threads.
    return m_err.substr(std::min(m_err.size(), m_err.find("x0y"))) + "|" +
           m_out.substr(std::min(m_out.size(), m_out.find("Traced ")));
  };
  const std::string one = check("1");
  EXPECT_THAT(one, HasSubstr(": the trace leaves the net on which it stands; first: "));
  EXPECT_TRUE(one == check("2"));
  EXPECT_TRUE(one == check("5"));
}

TEST_F(CheckCommand, ShowsItsProgress) {
  write_device(CHAIN);
  ASSERT_EQ(run("check model.json routing.jsonl --nodes-per-display 1 -j 1"), 0);
  EXPECT_THAT(m_out, HasSubstr("(100% done) "));
  EXPECT_THAT(m_out, HasSubstr("... trace: "));
}

TEST_F(CheckCommand, EntersItsPhasesInTheStatistics) {
  write_device(CHAIN);
  ASSERT_EQ(run("check model.json routing.jsonl --stats stats.json"), 0) << m_err;
  simdjson::dom::parser parser;
  const simdjson::padded_string text(read("stats.json"));
  const simdjson::dom::element stats = parser.parse(text);
  for (const char* phase : {"add_edges", "check", "trace"})
    EXPECT_GE(double(stats["phases"][phase]), 0.0) << phase;
}

TEST_F(CheckCommand, ChecksAGraphWithoutNodes) {
  write_device({});
  write("routing.jsonl", "");
  EXPECT_EQ(run("check model.json routing.jsonl"), 0) << m_err;
  EXPECT_THAT(m_out, EndsWith("Traced 0 edges: 0 verified, 0 at boundary nodes, 0 with findings\n"));
}
