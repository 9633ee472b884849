// The samples in the documents are what the tool prints.

#include "tool/doc_samples.h"
#include "tool/tool_fixture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

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
