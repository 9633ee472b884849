// The samples in the documents are what the tool prints.

#include "tool/tool_fixture.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

/// A line "    $ COMMAND" of a document and the indented lines below it.
struct SAMPLE {
  std::string m_folder; ///< where the last "$ cd FOLDER" led to
  std::string m_command;
  std::string m_output;
};

std::vector<SAMPLE> read_samples(const std::string& document) {
  std::ifstream in(KEP_TEST_DATA_DIR "/../../" + document);
  const std::string indent = "    ";
  std::vector<SAMPLE> samples;
  std::string folder;
  bool is_open = false; // lines belong to the last sample
  std::string blank_lines;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with(indent + "$ cd ")) {
      folder = line.substr(indent.size() + 5);
      is_open = false;
    } else if (line.starts_with(indent + "$ ")) {
      samples.push_back({folder, line.substr(indent.size() + 2), ""});
      is_open = true;
      blank_lines.clear();
    } else if (is_open && line.empty()) {
      blank_lines += "\n";
    } else if (is_open && line.starts_with(indent)) {
      samples.back().m_output += blank_lines + line.substr(indent.size()) + "\n";
      blank_lines.clear();
    } else {
      is_open = false;
    }
  }
  return samples;
}

class Docs : public TOOL_TEST {};

TEST_F(Docs, ShowWhatTheToolPrints) {
  std::filesystem::copy(KEP_TEST_DATA_DIR "/examples", path("examples"),
                        std::filesystem::copy_options::recursive);
  const std::vector<SAMPLE> samples = read_samples("docs/verification.md");
  EXPECT_GE(samples.size(), 5U);
  for (const SAMPLE& sample : samples) {
    const std::string tool = KEP_RG_TOOL;
    run("--version >/dev/null; PATH=" + tool.substr(0, tool.rfind('/')) + ":$PATH; cd examples/" +
        sample.m_folder + " && " + sample.m_command);
    EXPECT_EQ(m_out, sample.m_output) << "$ " << sample.m_command;
    EXPECT_EQ(m_err, "") << "$ " << sample.m_command;
  }
}

} // namespace
