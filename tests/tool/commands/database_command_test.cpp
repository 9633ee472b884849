// Device databases from outside: written by `build -o`, taken by every command on a device, described by
// `info`.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace database_command_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

const std::string DEVICE = "m.json r.jsonl --redundancy d.txt";

using NUMBERS = std::map<std::string, std::uint64_t>;

NUMBERS get_numbers(const simdjson::dom::object& object) {
  NUMBERS numbers;
  for (const auto& [name, value] : object)
    numbers[std::string(name)] = value.get_uint64().value();
  return numbers;
}

class DatabaseCommand : public Tool {
protected:
  /// A small fabric with a little of everything, and its database.
  void SetUp() override {
    ASSERT_EQ(run("generate --columns 3 --rows 3 --hipi 20 --redundant 20 --tunnels 1 --spare-rows 1 "
                  "--top-ports --model m.json "
                  "--routing r.jsonl --redundancy d.txt"),
              0)
        << m_err;
    ASSERT_EQ(run("build " + DEVICE + " -q -o d.kdb --dump dump"), 0) << m_err;
    ASSERT_EQ(m_out + m_err, "");
  }
  simdjson::dom::object parse(const std::string& text) {
    m_text = simdjson::padded_string(text);
    return m_parser.parse(m_text).get_object().value();
  }
  simdjson::dom::object info(const std::string& file) {
    EXPECT_EQ(run("info --json " + file), 0) << m_err;
    return parse(m_out);
  }
  /// The columns `from` and `to` of the first edges from plain nodes.
  std::vector<std::vector<std::string>> edges(std::size_t count) const {
    std::vector<std::vector<std::string>> found;
    std::istringstream lines(read("dump/edges.tsv"));
    for (std::string line; std::getline(lines, line) && found.size() != count;) {
      std::istringstream words(line);
      std::string from, from_kind, to, to_kind;
      words >> from >> from_kind >> to >> to_kind;
      if (from_kind == "uip" && to_kind == "uip") found.push_back({from, to});
    }
    return found;
  }
  /// What a command prints is the same on the device and on its database.
  void expect_same_answer(const std::string& command, const std::string& words) {
    const int status = run(command + " " + DEVICE + " " + words);
    const std::string answer = m_out + m_err;
    EXPECT_EQ(run(command + " d.kdb " + words), status) << command;
    EXPECT_EQ(m_out + m_err, answer) << command;
  }

private:
  simdjson::dom::parser m_parser;
  simdjson::padded_string m_text;
};

TEST_F(DatabaseCommand, ADumpOfADatabaseIsThatOfTheDevice) {
  ASSERT_EQ(run("build d.kdb -q --dump again --wire-paths again/wires"), 0) << m_err;
  ASSERT_EQ(run("build " + DEVICE + " -q --wire-paths wires"), 0) << m_err;
  EXPECT_TRUE(read("again/nodes.tsv") == read("dump/nodes.tsv"));
  EXPECT_TRUE(read("again/edges.tsv") == read("dump/edges.tsv"));
  EXPECT_EQ(read("again/wires"), read("wires"));
}

TEST_F(DatabaseCommand, EveryCommandAnswersAsOnTheDevice) {
  const auto all = edges(5);
  ASSERT_EQ(all.size(), 5U);
  for (const auto& edge : all) {
    expect_same_answer("next", edge[0]);
    expect_same_answer("debug", edge[0]);
    expect_same_answer("debug", edge[0] + " --log -");
    expect_same_answer("trace", edge[0] + " " + edge[1]);
  }
  expect_same_answer("next", "no:node");
  expect_same_answer("check", "-q --trace --waive trace-not-found");
  ASSERT_EQ(run("check d.kdb"), 0) << m_out << m_err;
  EXPECT_THAT(m_out, HasSubstr("The graph agrees with the model: "));
}

TEST_F(DatabaseCommand, IsTheSameForAnyNumberOfThreadsAndWhateverIsPrinted) {
  for (const std::string options :
       {"-j 1", "-j 8 --nodes-per-display 7 --report", "--check --stats s.json"}) {
    ASSERT_EQ(run("build " + DEVICE + " -o other " + options), 0) << m_err;
    EXPECT_TRUE(read("other") == read("d.kdb")) << options;
  }
}

TEST_F(DatabaseCommand, OfADatabaseIsThatDatabase) {
  ASSERT_EQ(run("build d.kdb -o other"), 0) << m_err;
  EXPECT_TRUE(read("other") == read("d.kdb"));
  expect_refused("build d.kdb -o d.kdb", "d.kdb: can't be written: it is an input of this run");
}

TEST_F(DatabaseCommand, SaysHowItWasMade) {
  const simdjson::dom::object object = info("d.kdb");
  EXPECT_EQ(std::string_view(object["file"]), "d.kdb");
  EXPECT_EQ(std::uint64_t(object["version"]), 1U);
  EXPECT_EQ(std::uint64_t(object["bytes"]), read("d.kdb").size());
  EXPECT_THAT(std::string(object["made_by"]), MatchesRegex("kep-rg [0-9.]+"));
  std::vector<std::string> inputs;
  for (const simdjson::dom::element input : object["inputs"]) {
    const std::string name(input["name"]);
    inputs.push_back(std::string(input["role"]) + " " + name);
    EXPECT_EQ(std::uint64_t(input["bytes"]), read(name).size()) << name;
    EXPECT_THAT(std::string(input["checksum"]), MatchesRegex("[0-9a-f]{16}")) << name;
  }
  EXPECT_THAT(inputs, ElementsAre("model m.json", "routing r.jsonl", "redundancy d.txt"));
  EXPECT_EQ(object["options"].get_object().size(), 0U);
}

TEST_F(DatabaseCommand, HasTheCountersOfItsBuildThatHangOnTheDeviceAlone) {
  ASSERT_EQ(run("build " + DEVICE + " -q -o other --stats s.json"), 0) << m_err;
  NUMBERS built = get_numbers(parse(read("s.json"))["counters"]);
  EXPECT_GT(built.at("n_edges"), 1000U);
  for (const std::string name : {"nodes_per_display", "n_get_leaf_calls", "n_get_leaf_fanouts",
                                 "n_cdrn_cache_hits", "n_cdrn_cache_misses", "cpu_start", "wall_start"})
    EXPECT_EQ(built.erase(name), 1U) << name;
  EXPECT_EQ(get_numbers(info("d.kdb")["counters"]), built);
  ASSERT_EQ(run("build d.kdb -q --stats s.json"), 0) << m_err;
  EXPECT_EQ(get_numbers(parse(read("s.json"))["counters"]), built);
}

TEST_F(DatabaseCommand, StatisticsTellOfWritingAndOfOpeningAlone) {
  const auto phases = [this] {
    std::vector<std::string> names;
    for (const auto& [name, seconds] : parse(read("s.json"))["phases"].get_object())
      names.emplace_back(name);
    return names;
  };
  ASSERT_EQ(run("build " + DEVICE + " -o other --stats s.json"), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr(", database 0."));
  EXPECT_THAT(m_out, testing::EndsWith("  other, s.json\n"));
  EXPECT_THAT(phases(), testing::Contains("checksums"));
  EXPECT_EQ(phases().back(), "write");
  ASSERT_EQ(run("build d.kdb --stats s.json"), 0) << m_err;
  EXPECT_THAT(phases(), ElementsAre("load"));
}

TEST_F(DatabaseCommand, ASummaryOfADatabaseIsThatOfTheDevice) {
  const auto rows = [this](const std::string& command) {
    EXPECT_EQ(run(command), 0) << m_err;
    std::vector<std::string> kept;
    for (const std::string& line : sorted_lines(m_out))
      if (line.starts_with("nodes ") || line.starts_with("edges ") || line.starts_with("no node "))
        kept.push_back(line);
    return kept;
  };
  const std::vector<std::string> expected = rows("build " + DEVICE);
  EXPECT_GE(expected.size(), 2U);
  EXPECT_EQ(rows("build d.kdb"), expected);
  EXPECT_THAT(m_out, HasSubstr("  d.kdb, top \"device\"\n"));
}

TEST_F(DatabaseCommand, KeepsThePathsOfWiresThatWereAskedFor) {
  ASSERT_EQ(run("build " + DEVICE + " -q -o other --wire-paths wires"), 0) << m_err;
  const simdjson::dom::object object = info("other");
  EXPECT_EQ(std::string_view(object["options"]["wire_paths"]), "stored");
  ASSERT_EQ(run("build other -q --wire-paths again"), 0) << m_err;
  EXPECT_EQ(read("again"), read("wires"));
  ASSERT_EQ(run("build d.kdb -q -o third --wire-paths again"), 0) << m_err;
  EXPECT_TRUE(read("third") == read("other")) << "the paths can be added later";
}

TEST_F(DatabaseCommand, NamesInputsThatCanNotBeReadTwiceWithoutAChecksum) {
  ASSERT_EQ(run_line("mkfifo pipe; cat r.jsonl >pipe & kep-rg build - pipe -q -o other <m.json"), 0) << m_err;
  std::vector<std::string> inputs;
  for (const simdjson::dom::element input : info("other")["inputs"]) {
    inputs.emplace_back(input["name"]);
    EXPECT_TRUE(input["bytes"].is_null());
    EXPECT_TRUE(input["checksum"].is_null());
  }
  EXPECT_THAT(inputs, ElementsAre("standard input", "pipe"));
}

TEST_F(DatabaseCommand, IsKnownByWhatItHoldsAndADamagedOneByItsName) {
  write("other", read("d.kdb"));
  EXPECT_EQ(run("check other -q"), 0) << m_err;
  write("broken.kdb", "{}");
  EXPECT_EQ(run("check broken.kdb"), 2);
  EXPECT_THAT(m_err, StartsWith("kep-rg: broken.kdb: "));
  EXPECT_THAT(m_err, Not(HasSubstr("JSON")));
  EXPECT_EQ(std::count(m_err.begin(), m_err.end(), '\n'), 1);
  EXPECT_EQ(run("info m.json"), 2);
  EXPECT_THAT(m_err, StartsWith("kep-rg: m.json: "));
  EXPECT_EQ(run("info none.kdb"), 2);
  EXPECT_THAT(m_err, StartsWith("kep-rg: none.kdb: "));
}

TEST_F(DatabaseCommand, LeavesItsChecksumsToACheckOnRequest) {
  std::string text = read("d.kdb");
  const std::size_t name = text.find("device"); // of the top
  ASSERT_NE(name, std::string::npos);
  text[name] = 'D';
  write("other", text);
  const std::string node = edges(1)[0][0];
  ASSERT_EQ(run("debug d.kdb " + node), 0) << m_err;
  const std::string answer = m_out;
  const std::string refusal = "other: model: the section is damaged: the checksum is wrong";
  expect_refused("debug other " + node, refusal);
  EXPECT_EQ(run("debug other --skip-checksums " + node), 0) << m_err;
  EXPECT_EQ(m_out, answer);
  EXPECT_EQ(run("build other --skip-checksums"), 0) << m_err;
  for (const std::string command : {"check", "build --check", "build --trace"})
    expect_refused(command + " other --skip-checksums", refusal);
}

TEST_F(DatabaseCommand, TakesNoOtherInput) {
  for (const std::string command : {"build d.kdb r.jsonl", "check d.kdb r.jsonl", "next d.kdb r.jsonl a:b"})
    expect_refused(command, "r.jsonl: d.kdb is a device database, to which nothing is added");
  expect_refused("build d.kdb --redundancy d.txt",
                 "d.txt: d.kdb is a device database, to which nothing is added");
  expect_refused("check nothing.kdb r.jsonl", "nothing.kdb: can't be read: No such file or directory");
}

TEST_F(DatabaseCommand, IsNotWrittenWhereItCanNotBe) {
  const auto before = files();
  expect_refused("build " + DEVICE + " -o -",
                 "standard output: can't be written: a device database is opened "
                 "by mapping, which takes a file");
  expect_refused("build none.json -o none/x.kdb", "none/x.kdb: can't be written: No such file or directory");
  expect_refused("build " + DEVICE + " -o m.json", "m.json: can't be written: it is an input of this run");
  expect_refused("build " + DEVICE + " -o x --stats x",
                 "x: can't be written: it is another output of this run");
  EXPECT_EQ(files().size(), before.size());
}

TEST_F(DatabaseCommand, StaysWhenItsSuccessorIsTooLarge) {
  const std::string old = read("d.kdb");
  const auto before = files();
  EXPECT_EQ(run_line("ulimit -f 4; kep-rg build " + DEVICE + " -o d.kdb"), 2);
  EXPECT_EQ(m_err, "kep-rg: d.kdb: can't be written: File too large\n");
  EXPECT_TRUE(read("d.kdb") == old);
  EXPECT_EQ(files().size(), before.size());
}

} // namespace database_command_test
