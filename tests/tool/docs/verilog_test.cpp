// Verilog devices, through Yosys, to their graphs: the page and the examples.

#include "tests/tool/docs/doc_samples.h"
#include "tests/tool/tool_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace verilog_test {

class Verilog : public Tool {
protected:
  void SetUp() override {
    if (std::system("yosys -V >/dev/null 2>&1") != 0) GTEST_SKIP() << "there is no yosys";
    std::filesystem::create_directories(path("examples"));
    std::filesystem::copy(KEP_TEST_DATA_DIR "/../../examples/verilog", path("examples/verilog"),
                          std::filesystem::copy_options::recursive);
  }
  /// Runs a command line in the folder of the examples, the tool at hand.
  int run_there(const std::string& command) {
    return run_line("cd examples/verilog && { " + command + "; } 2>&1");
  }
};

/// The edges of the row of tiles, by hand: "from to through".
std::vector<std::string> edges_of_row() {
  std::vector<std::string> edges;
  const auto add = [&edges](const std::string& from, const std::string& to, const std::string& through) {
    edges.push_back(from + " " + to + " " + through);
  };
  for (const std::string track : {"0", "1"}) {
    std::string from = ":west[" + track + "]"; // what leads into the tile
    for (const std::string number : {"0", "1", "2", "3"}) {
      const std::string tile = "at[" + number + "].t/";
      for (const std::string mux : {"track0", "track1", "pick_a", "pick_b"})
        add(from, tile + mux + ":out", tile + mux + ":in[" + track + "]");
      from = tile + "track" + track + ":out";
      add(tile + "lut:o", from, tile + "track" + track + ":in[2]");
    }
    add(from, ":east[" + track + "]", "");
  }
  for (const std::string number : {"0", "1", "2", "3"})
    for (const std::string pin : {"a", "b"}) {
      const std::string tile = "at[" + number + "].t/";
      add(tile + "pick_" + pin + ":out", tile + "lut:o", tile + "lut:" + pin);
    }
  std::sort(edges.begin(), edges.end());
  return edges;
}

TEST_F(Verilog, AStructuralDeviceWithAttributesGivesTheGraphThatWasMadeByHand) {
  ASSERT_EQ(run_there("yosys -q row.ys && kep-rg build row.json row.jsonl --dump graph >/dev/null"), 0)
      << m_out;
  EXPECT_EQ(m_out, ""); // no warning
  run_there("tail -n +2 graph/edges.tsv | cut -f 1,3,6 | tr '\\t' ' '");
  EXPECT_EQ(sorted_lines(m_out), edges_of_row());
  EXPECT_EQ(edges_of_row().size(), 50U);
  run_there("tail -n +2 graph/nodes.tsv");
  std::vector<std::string> nodes = {":east[0]\tboundary", ":east[1]\tboundary", ":west[0]\tboundary",
                                    ":west[1]\tboundary"};
  for (const std::string tile : {"0", "1", "2", "3"})
    for (const std::string node : {"lut:o", "pick_a:out", "pick_b:out", "track0:out", "track1:out"})
      nodes.push_back("at[" + tile + "].t/" + node + "\tuip");
  EXPECT_EQ(sorted_lines(m_out), nodes);
}

TEST_F(Verilog, AGeneratorsDeviceWithoutAttributesGivesTheSameGraphOnceItIsDescribed) {
  ASSERT_EQ(
      run_there("yosys -q fabric.ys && kep-rg describe fabric.json --mux 'mux_*:in>out' --mux 'lut_2:a>o' "
                "--mux 'lut_2:b>o' --model m.json --routing r.jsonl >/dev/null 2>&1 && "
                "kep-rg build m.json r.jsonl --dump graph >/dev/null"),
      0)
      << m_out;
  run_there("tail -n +2 graph/edges.tsv | cut -f 1,3,6 | tr '\\t' ' '");
  EXPECT_EQ(sorted_lines(m_out), edges_of_row());
}

TEST_F(Verilog, ThePageShowsWhatTheCommandsPrint) {
  const std::vector<SAMPLE> samples = read_samples("docs/verilog.md");
  EXPECT_GE(samples.size(), 8U);
  for (const SAMPLE& sample : samples) {
    EXPECT_EQ(sample.m_folder, "examples/verilog");
    run_there(sample.m_command);
    EXPECT_EQ(m_out, sample.m_output) << "$ " << sample.m_command;
    EXPECT_EQ(m_err, "") << "$ " << sample.m_command;
  }
}

} // namespace verilog_test
