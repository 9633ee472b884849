// What bash offers for the next word of a command line.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace completion_test {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class Completion : public Tool {
protected:
  /// The last of the words is the one to complete. Sets what is offered, and the last thing that bash is told
  /// beside: "+o default" for nothing else, "-o default" for names of files, "-o dirnames" for those of
  /// folders.
  void complete(const std::string& words, const std::string& setup = SETUP) {
    write("ask.bash", setup + "compopt() { told=$*; }\nCOMP_WORDS=(" + words +
                          ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n" +
                          "_kep_rg \"${COMP_WORDS[0]}\"\nprintf '%s\\n' \"$told\" \"${COMPREPLY[@]}\"\n");
    ASSERT_EQ(run_line("bash --norc --noprofile ask.bash"), 0) << m_err;
    EXPECT_EQ(m_err, "");
    const std::size_t end = m_out.find('\n');
    m_told = m_out.substr(0, end);
    m_offered = sorted_lines(m_out.substr(end + 1));
    if (!m_offered.empty() && m_offered.front().empty()) m_offered.clear();
  }

  static const std::string SCRIPT;
  static const std::string SETUP;
  std::string m_told;
  std::vector<std::string> m_offered;
};

const std::string Completion::SCRIPT = KEP_TEST_DATA_DIR "/../../tools/kep-rg/completion/kep-rg.bash";
const std::string Completion::SETUP = "source '" + SCRIPT + "'\n";

TEST_F(Completion, OffersTheCommandsForTheFirstWord) {
  complete("kep-rg ''");
  EXPECT_THAT(m_offered, ElementsAre("build", "check", "debug", "describe", "generate", "import-icebox",
                                     "info", "merge", "next", "trace"));
  EXPECT_EQ(m_told, "+o default");
  complete("kep-rg de");
  EXPECT_THAT(m_offered, ElementsAre("debug", "describe"));
  complete("kep-rg --");
  EXPECT_THAT(m_offered, ElementsAre("--help", "--version"));
}

TEST_F(Completion, OffersTheOptionsOfTheCommand) {
  complete("kep-rg check --");
  EXPECT_THAT(m_offered, Contains("--shard"));
  EXPECT_THAT(m_offered, Not(Contains("--dump")));
  EXPECT_THAT(m_offered, Not(Contains("-q")));
  complete("kep-rg build model.json --du");
  EXPECT_THAT(m_offered, ElementsAre("--dump"));
  complete("kep-rg info -");
  EXPECT_THAT(m_offered, ElementsAre("--help", "--json", "--version", "-h"));
}

TEST_F(Completion, OffersTheChoicesOfAnOption) {
  complete("kep-rg generate --form ''");
  EXPECT_THAT(m_offered, ElementsAre("chain", "grids", "near", "net", "random", "tiles"));
  complete("kep-rg generate --form = gr");
  EXPECT_THAT(m_offered, ElementsAre("grids"));
  complete("kep-rg generate --order =");
  EXPECT_THAT(m_offered, ElementsAre("alphabet", "number", "shuffled"));
  complete("kep-rg merge a.json --waive surplus");
  EXPECT_THAT(m_offered, ElementsAre("surplus-edge", "surplus-node"));
  complete("kep-rg check a.json --waive trace-");
  EXPECT_EQ(m_offered.size(), 7U);
}

TEST_F(Completion, LeavesFilesAndFoldersToBashWhereOneMayStand) {
  for (const char* words : {"kep-rg build mo", "kep-rg build model.json ''", "kep-rg build --stats ''",
                            "kep-rg build --redundancy ''", "kep-rg build -o ''", "kep-rg merge ''",
                            "kep-rg generate --model ''", "kep-rg trace -q ''"}) {
    complete(words);
    EXPECT_EQ(m_told, "-o default") << words;
    EXPECT_THAT(m_offered, IsEmpty()) << words;
  }
  complete("kep-rg build --dump ''");
  EXPECT_EQ(m_told, "-o dirnames");
}

TEST_F(Completion, OffersNothingWhereNothingIsKnown) {
  for (const char* words : {"kep-rg build -j ''", "kep-rg describe --mux ''", "kep-rg generate ''",
                            "kep-rg check --shard ''", "kep-rg chekc ''", "no-such-tool ''"}) {
    complete(words);
    EXPECT_EQ(m_told, "+o default") << words;
    EXPECT_THAT(m_offered, IsEmpty()) << words;
  }
}

TEST_F(Completion, IsFoundByTheLoaderOfBash) {
  const std::string loader = "/usr/share/bash-completion/bash_completion";
  if (!std::filesystem::exists(loader)) GTEST_SKIP() << loader << " is not there";
  std::filesystem::create_directories(path("share/bash-completion/completions"));
  std::filesystem::copy(SCRIPT, path("share/bash-completion/completions/kep-rg"));
  complete("kep-rg ne", "export BASH_COMPLETION_USER_DIR=\"$PWD/share/bash-completion\"\nsource " + loader +
                            "\n_completion_loader kep-rg\n");
  EXPECT_THAT(m_offered, ElementsAre("next"));
}

} // namespace completion_test
