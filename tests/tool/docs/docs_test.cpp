// The samples in the documents are what the tool prints.

#include "tests/tool/docs/doc_samples.h"
#include "tests/tool/tool_fixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace docs_test {

/// The first indented block below a line that begins with the name of its file in quotes of code.
std::string read_block(const std::string& document, const std::string& file) {
  std::ifstream in(KEP_TEST_DATA_DIR "/../../" + document);
  const std::string indent = "    ";
  std::string text;
  bool is_named = false;
  for (std::string line; std::getline(in, line);) {
    is_named |= line.starts_with("`" + file + "`");
    if (is_named && line.starts_with(indent))
      text += line.substr(indent.size()) + "\n";
    else if (!text.empty())
      break;
  }
  return text;
}

class Docs : public Tool {
protected:
  /// Runs a sample below a folder of the test's own.
  void expect_printed(const SAMPLE& sample, const std::string& folder) {
    run_line("cd " + folder + sample.m_folder + " && " + sample.m_command);
    EXPECT_TRUE(is_shown(m_out, sample.m_output)) << "$ " << sample.m_command << "\n" << m_out;
    EXPECT_EQ(m_err, "") << "$ " << sample.m_command;
  }
};

TEST_F(Docs, ShowWhatTheToolPrints) {
  std::filesystem::copy(KEP_TEST_DATA_DIR "/examples", path("examples"),
                        std::filesystem::copy_options::recursive);
  for (const char* document : {"docs/verification.md", "docs/many-machines.md"}) {
    const std::vector<SAMPLE> samples = read_samples(document);
    EXPECT_GE(samples.size(), 5U);
    for (const SAMPLE& sample : samples)
      expect_printed(sample, "examples/");
  }
}

TEST_F(Docs, ShowTheSmallestDeviceThatHasANode) {
  for (const char* file : {"device.json", "device.jsonl"}) {
    write(file, read_block("docs/model.md", file));
    ASSERT_NE(read(file), "") << file;
  }
  const std::vector<SAMPLE> samples = read_samples("docs/model.md");
  EXPECT_EQ(samples.size(), 5U);
  for (const SAMPLE& sample : samples)
    expect_printed(sample, "./");
}

TEST_F(Docs, LeadFromAChipDatabaseToAGraphThatIsCheckedAndAsked) {
  if (!std::filesystem::exists("/usr/share/fpga-icestorm/chipdb")) GTEST_SKIP() << "no chip databases";
  const std::vector<SAMPLE> samples = read_samples("docs/first-device.md");
  EXPECT_GE(samples.size(), 12U);
  for (const SAMPLE& sample : samples)
    expect_printed(sample, "./");
}

} // namespace docs_test
