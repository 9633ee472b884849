// `kep-rg check --shard I/N --findings FILE` of a device database, and `kep-rg merge` of what it writes.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace merge_command_test {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::vector<std::string> EXAMPLES{"blc_root",
                                        "edge_to_a_place_that_lacks_nodes",
                                        "hipi_twin",
                                        "inserted_node",
                                        "mux_input_behind_a_blc",
                                        "plain_mux_chain",
                                        "node_missing_inside_a_blc",
                                        "redundant_inputs",
                                        "skip_mux",
                                        "top_ports_routed"};

class MergeCommand : public Tool {
protected:
  /// "d.kdb"
  void build(const std::string& example) {
    const std::string folder = "'" KEP_TEST_DATA_DIR "/examples/" + example + "/'";
    ASSERT_EQ(run("build -q " + folder + "model.json " + folder + "routing.jsonl -o d.kdb" +
                  (example == "redundant_inputs" ? " --redundancy " + folder + "redundancy.txt" : "")),
              0)
        << m_err;
  }
  /// The files of a check in so many parts.
  std::string check_parts(int num_parts, const std::string& options = "") {
    std::string files;
    for (int i = 1; i <= num_parts; ++i) {
      const std::string file = " p" + std::to_string(i) + ".json";
      EXPECT_LE(run("check -q d.kdb --shard " + std::to_string(i) + "/" + std::to_string(num_parts) +
                    " --findings" + file + " " + options),
                1)
          << m_err;
      files += file;
    }
    return files;
  }
  /// What a check says behind its summary.
  std::string findings() const {
    const std::size_t time = m_out.find("\ntime ");
    return time == std::string::npos ? m_out : m_out.substr(m_out.find('\n', time + 1) + 1);
  }
};

TEST_F(MergeCommand, SaysOfEachExampleWhatACheckOfTheWholeSays) {
  int num_with_findings = 0;
  for (const std::string& example : EXAMPLES) {
    build(example);
    for (const std::string options : {"", "--trace --verbose --waive unreachable-node"}) {
      const int status = run("check d.kdb " + options);
      const std::string whole = findings();
      num_with_findings += status;
      EXPECT_EQ(run("merge" + check_parts(3, options)), status) << example << m_err;
      EXPECT_EQ(m_out, whole) << example;
      EXPECT_EQ(m_err, "");
    }
  }
  EXPECT_GT(num_with_findings, 2);
}

TEST_F(MergeCommand, TakesPartsInAnyOrderAndWaivesMore) {
  build("plain_mux_chain");
  check_parts(3);
  EXPECT_EQ(run("merge p3.json p1.json p2.json"), 1) << m_err;
  const std::string text = m_out;
  EXPECT_THAT(text, StartsWith("unreachable-node: 4\n  Unreachable node t0/m1:o\n"));
  EXPECT_THAT(text, EndsWith("; odd about the device: 4 unreachable-node.\n"));
  EXPECT_EQ(run("merge -q --waive unreachable-node p3.json p1.json p2.json"), 0) << m_err;
  EXPECT_THAT(m_out, StartsWith("unreachable-node (waived): 4\n"));
  expect_refused("merge p1.json p2.json p3.json --waive nothing",
                 "--waive: no finding has the id \"nothing\"; closest: no-node");
}

TEST_F(MergeCommand, SaysNothingWhenItIsQuietAndNothingWasFound) {
  build("skip_mux");
  EXPECT_EQ(run("merge -q" + check_parts(2)), 0);
  EXPECT_EQ(m_out, "");
}

TEST_F(MergeCommand, TellsWhichPartWasDone) {
  build("plain_mux_chain");
  EXPECT_EQ(run("check d.kdb --shard 1/2 --findings p.json"), 1);
  EXPECT_THAT(m_out, HasSubstr("\nfiles   p.json\n"));
  EXPECT_THAT(m_out, EndsWith("\nPart 1 of 2, 2 of 4 nodes: 4 unreachable-node.\n"));
  EXPECT_EQ(run("check d.kdb --shard 2/2 --findings p.json"), 0) << "the walk falls to the first part";
  EXPECT_THAT(m_out, EndsWith("\nPart 2 of 2, 2 of 4 nodes: nothing found.\n"));
  EXPECT_EQ(run("check d.kdb --findings p.json"), 1);
  EXPECT_THAT(m_out, EndsWith("; odd about the device: 4 unreachable-node.\n"));
}

TEST_F(MergeCommand, RefusesPartsThatDoNotMakeAWhole) {
  build("plain_mux_chain");
  check_parts(2);
  ASSERT_EQ(run("check -q d.kdb --shard 2/2 --findings traced.json --trace"), 0);
  ASSERT_EQ(run("check -q d.kdb --shard 2/3 --findings third.json"), 0);
  build("skip_mux");
  ASSERT_EQ(run("check -q d.kdb --shard 2/2 --findings other.json"), 0);
  write("text.json", "findings");
  write("empty.json", "{}");
  expect_refused("merge p1.json", "p1.json: part 1 of 2, and of the others one is missing: 2");
  expect_refused("merge p1.json p1.json", "p1.json: part 1 of 2 is there twice, in p1.json too");
  expect_refused("merge p1.json traced.json", "traced.json: made with --trace, and p1.json without");
  expect_refused("merge p1.json third.json", "third.json: one of 3 parts, and p1.json is one of 2");
  expect_refused("merge p1.json empty.json", "empty.json: no findings of kep-rg check");
  expect_refused("merge p1.json none.json", "none.json: can't be read: No such file or directory");
  EXPECT_EQ(run("merge p1.json other.json"), 2);
  EXPECT_THAT(m_err, StartsWith("kep-rg: other.json: findings of another device than those of p1.json: "));
  EXPECT_EQ(run("merge p1.json text.json"), 2);
  EXPECT_THAT(m_err, StartsWith("kep-rg: text.json: no JSON"));
  EXPECT_EQ(run("merge"), 2);
}

TEST_F(MergeCommand, WantsADeviceDatabaseAndAFileForAPart) {
  write("model.json", "{}");
  expect_refused("check model.json --shard 1/2 --findings p.json",
                 "model.json: no device database, and findings are only written of one (kep-rg build -o "
                 "DEVICE.kdb makes it)");
  build("skip_mux");
  expect_refused("check d.kdb --shard 1/2", "check: --shard needs --findings");
  expect_refused("check d.kdb --findings -",
                 "standard output: can't be written: it takes the report, and no findings");
  expect_refused("check d.kdb --findings d.kdb", "d.kdb: can't be written: it is an input of this run");
  for (const std::string part : {"0/2", "3/2", "1", "1/", "/2", "1/2/3", "a/2", "1/0", "1/1000001", "-1/2"})
    expect_refused("check d.kdb --findings p.json --shard=" + part,
                   "--shard: \"" + part + "\" is no part: I/N, with I from 1 to N (see kep-rg check --help)");
  EXPECT_THAT(files(), testing::UnorderedElementsAre("d.kdb", "model.json"));
  EXPECT_EQ(run("check -q d.kdb --findings p.json --shard 1000000/1000000"), 0) << m_err;
}

} // namespace merge_command_test
