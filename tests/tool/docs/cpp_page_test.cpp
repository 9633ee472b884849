// docs/cpp.md, the page for tool writers in C++: its code stands in the examples, which print what it shows
// and refuse bad input.

#include "tests/tool/docs/doc_samples.h"
#include "tests/tool/tool_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace cpp_page_test {

const std::filesystem::path PROJECT = std::filesystem::path(KEP_TEST_DATA_DIR) / ".." / "..";
const char* const CHIP = "/usr/share/fpga-icestorm/chipdb/chipdb-384.txt";

/// The blocks of code between lines of three back quotes, the first of which names a language.
std::vector<std::string> read_code(const std::filesystem::path& page) {
  std::ifstream in(page);
  std::vector<std::string> blocks;
  bool is_inside = false;
  for (std::string line; std::getline(in, line);) {
    const bool is_fence = line.starts_with("```");
    if (is_fence && !is_inside) blocks.emplace_back();
    if (is_fence)
      is_inside = !is_inside;
    else if (is_inside)
      blocks.back() += line + "\n";
  }
  return blocks;
}

std::vector<std::filesystem::path> find_examples(const std::string& extension) {
  std::vector<std::filesystem::path> found;
  for (const auto& entry : std::filesystem::directory_iterator(PROJECT / "examples"))
    if (entry.path().extension() == extension) found.push_back(entry.path());
  std::sort(found.begin(), found.end());
  return found;
}

TEST(CppPage, QuotesTheExamples) {
  std::vector<std::string> sources;
  for (const char* extension : {".cpp", ".h", ".txt"})
    for (const std::filesystem::path& file : find_examples(extension))
      sources.push_back(read_file(file));
  const std::vector<std::string> blocks = read_code(PROJECT / "docs" / "cpp.md");
  EXPECT_GE(blocks.size(), 12U);
  for (const std::string& block : blocks)
    EXPECT_TRUE(std::any_of(sources.begin(), sources.end(), [&](const std::string& source) {
      return source.find(block) != source.npos;
    })) << block;
}

TEST(CppPage, HasAllOfTheFirstProgram) {
  std::string shown;
  for (const std::string& block : read_code(PROJECT / "docs" / "cpp.md")) {
    if (shown.empty() && !block.starts_with("#include")) continue; // of linking
    shown += (shown.empty() ? "" : "\n") + block;
    if (block.ends_with("\n}\n")) break;
  }
  const std::string program = read_file(PROJECT / "examples" / "worked_example.cpp");
  EXPECT_EQ(shown, program.substr(program.find("#include")));
}

TEST(CppPage, HasExamplesOfAtMostAHundredLines) {
  for (const char* extension : {".cpp", ".h"})
    for (const std::filesystem::path& file : find_examples(extension)) {
      const std::string text = read_file(file);
      EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 100) << file;
    }
}

/// Runs the examples, which lie beside the tool.
class CppExamples : public Tool {
protected:
  void SetUp() override {
    for (const std::filesystem::path& file : find_examples(".cpp")) {
      m_names.push_back(file.stem());
      if (run_line("command -v " + m_names.back()) != 0) GTEST_SKIP() << "the examples are not built";
    }
    ASSERT_GE(m_names.size(), 8U);
  }
  std::vector<std::string> m_names;
};

TEST_F(CppExamples, PrintWhatThePageShows) {
  if (!std::filesystem::exists(CHIP)) GTEST_SKIP() << CHIP << " is not there";
  const std::vector<SAMPLE> samples = read_samples("docs/cpp.md");
  std::string commands;
  for (const SAMPLE& sample : samples) {
    EXPECT_EQ(run_line(sample.m_command), 0) << sample.m_command;
    EXPECT_TRUE(is_shown(m_out, sample.m_output)) << "$ " << sample.m_command << "\n" << m_out;
    EXPECT_EQ(m_err, "") << sample.m_command;
    commands += "\n" + sample.m_command;
  }
  for (const std::string& name : m_names)
    EXPECT_NE(commands.find("\n" + name), std::string::npos) << name;
}

TEST_F(CppExamples, RefuseBadUseAndFilesThatAreNotThereInOneLine) {
  const std::map<std::string, std::string> arguments{
      {"build_in_time", "no no 1 e.kdb"}, {"device_tour", "no no"}, {"observe_walk", "no a:b"},
      {"open_and_check", "no"},           {"router", "no 10 1"},    {"shortest_path", "no a:b c:d"},
      {"trace_edge", "no a:b c:d"},
  };
  for (const std::string& name : m_names) {
    if (name == "worked_example") continue; // takes none
    EXPECT_EQ(run_line(name), 1) << name;
    EXPECT_TRUE(m_err.starts_with("usage: " + name + " ")) << m_err;
    EXPECT_EQ(run_line(name + " " + arguments.at(name)), 1) << name;
    EXPECT_TRUE(m_err.starts_with(name + ": no: ")) << m_err;
    EXPECT_EQ(std::count(m_err.begin(), m_err.end(), '\n'), 1) << m_err;
    EXPECT_EQ(m_out, "") << name;
  }
}

TEST_F(CppExamples, RefuseWhatIsNotInTheDevice) {
  std::filesystem::copy(KEP_TEST_DATA_DIR "/examples/skip_mux", path(""));
  ASSERT_EQ(run("build model.json routing.jsonl -q -o d.kdb"), 0) << m_err;
  const auto refused = [this](const std::string& command) {
    EXPECT_EQ(run_line(command), 1) << command << "\n" << m_out;
    EXPECT_EQ(m_out, "") << command;
    return m_err;
  };
  EXPECT_EQ(refused("trace_edge d.kdb m1:o m1:o"), "trace_edge: no trace from m1:o to m1:o\n");
  EXPECT_EQ(refused("trace_edge d.kdb m1:o m9:o"), "trace_edge: no node \"m9:o\"; closest: m1:o, m2:o\n");
  EXPECT_EQ(refused("shortest_path d.kdb m2:o m1:o"), "shortest_path: there is no path\n");
  EXPECT_EQ(refused("router d.kdb 2"), "router: the device has no place for so many nets\n");
  EXPECT_EQ(refused("build_in_time model.json routing.jsonl 0 e.kdb"),
            "build_in_time: the build took too long and was cancelled\n");
  for (const std::string seconds : {"-1", "1s", "nan", "inf", "1e300", "soon"})
    EXPECT_EQ(refused("build_in_time model.json routing.jsonl " + seconds + " e.kdb"),
              "build_in_time: \"" + seconds + "\" is no time\n");
  EXPECT_FALSE(std::filesystem::exists(path("e.kdb")));
  for (const std::string number : {"-1", "x", "1e3", "1234567890"})
    EXPECT_EQ(refused("router d.kdb " + number),
              "router: \"" + number + "\" is no number of at most nine digits\n");
  EXPECT_TRUE(refused("router d.kdb 1 -1").starts_with("router: \"-1\" is no number")) << m_err;
}

} // namespace cpp_page_test
