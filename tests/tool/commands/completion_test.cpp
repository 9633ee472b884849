// What bash offers for the next word of a command line.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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
  /// The cursor stands at the end of the line. Sets what is offered for the word there, or for what of it
  /// stands behind the last ":" or "=", and the last thing that bash is told beside: "+o default" for nothing
  /// else, "-o default" for names of files, "-o dirnames" for those of folders, "-o nospace" for what goes
  /// on.
  void complete(const std::string& line, const std::string& setup = SETUP) {
    write("line", line);
    write("ask.bash",
          setup + "compopt() { told=$*; }\nCOMP_LINE=$(cat line; printf x)\nCOMP_LINE=${COMP_LINE%x}\n" +
              "COMP_POINT=${#COMP_LINE}\nCOMP_WORDBREAKS=$' \\t\\n\"\\'@><=;|&(:'\n" +
              "_kep_rg \"${COMP_LINE%% *}\"\nprintf '%s\\n' \"$told\" \"${COMPREPLY[@]}\"\n");
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
  complete("kep-rg ");
  EXPECT_THAT(m_offered,
              ElementsAre("build", "check", "debug", "describe", "diff", "export", "generate",
                          "import-icebox", "info", "merge", "net", "next", "nodes", "path", "trace", "view"));
  EXPECT_EQ(m_told, "+o default");
  complete("kep-rg de");
  EXPECT_THAT(m_offered, ElementsAre("debug", "describe"));
  complete("kep-rg 'de");
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
  EXPECT_THAT(m_offered, ElementsAre("--complete", "--help", "--json", "--version", "-h"));
}

TEST_F(Completion, OffersTheChoicesOfAnOption) {
  complete("kep-rg generate --form ");
  EXPECT_THAT(m_offered, ElementsAre("chain", "grids", "near", "net", "random", "tiles"));
  complete("kep-rg generate --form=gr");
  EXPECT_THAT(m_offered, ElementsAre("grids"));
  complete("kep-rg generate --order=");
  EXPECT_THAT(m_offered, ElementsAre("alphabet", "number", "shuffled"));
  complete("kep-rg export d.kdb --format ");
  EXPECT_THAT(m_offered, ElementsAre("csr", "csv", "dot", "graphml", "json"));
  complete("kep-rg export d.kdb --direction fan");
  EXPECT_THAT(m_offered, ElementsAre("fanins", "fanouts"));
  complete("kep-rg nodes d.kdb --kind ");
  EXPECT_THAT(m_offered, ElementsAre("boundary", "hipi", "uip"));
  complete("kep-rg merge a.json --waive surplus");
  EXPECT_THAT(m_offered, ElementsAre("surplus-edge", "surplus-node"));
  complete("kep-rg check a.json --waive trace-");
  EXPECT_EQ(m_offered.size(), 7U);
}

TEST_F(Completion, LeavesFilesAndFoldersToBashWhereOneMayStand) {
  for (const char* words :
       {"kep-rg build mo", "kep-rg build model.json ", "kep-rg build --stats ", "kep-rg build --redundancy ",
        "kep-rg build -o ", "kep-rg merge ", "kep-rg generate --model ", "kep-rg trace -q "}) {
    complete(words);
    EXPECT_EQ(m_told, "-o default") << words;
    EXPECT_THAT(m_offered, IsEmpty()) << words;
  }
  complete("kep-rg build --dump ");
  EXPECT_EQ(m_told, "-o dirnames");
}

TEST_F(Completion, OffersNothingWhereNothingIsKnown) {
  for (const char* words : {"kep-rg build -j ", "kep-rg describe --mux ", "kep-rg generate ",
                            "kep-rg check --shard ", "kep-rg chekc ", "no-such-tool "}) {
    complete(words);
    EXPECT_EQ(m_told, "+o default") << words;
    EXPECT_THAT(m_offered, IsEmpty()) << words;
  }
}

/// Names as users meet them, in `d.kdb`.
class CompletionOfNames : public Completion {
protected:
  void SetUp() override {
    const std::string mux = R"("M": {"ports": {"a": {"direction": "input", "bits": [2]},
      "o": {"direction": "output", "bits": [3]}}, "cells": {}, "netnames": {}})";
    std::string cells;
    for (const char* name : {"in[0]", "in[1]", "x y", "$auto$m.v", "it's"})
      cells += (cells.empty() ? "" : ",") + make_cell(name, "M", R"("a": [4], "o": [5])");
    const std::string tile = R"("T": {"ports": {}, "cells": {)" + cells + R"(}, "netnames": {}})";
    const std::string top = R"("TOP": {"attributes": {"top": "1"}, "ports": {}, "cells": {)" +
                            make_cell("r1", "T", "") + "," + make_cell("r2", "T", "") +
                            R"(}, "netnames": {}})";
    write("m.json", R"({"modules": {)" + mux + "," + tile + "," + top + "}}");
    write("r.jsonl", R"({"op": "add_port_edge", "module": "M", "input": "a", "output": "o"})"
                     "\n");
    ASSERT_EQ(run("build m.json r.jsonl -q -o d.kdb"), 0) << m_err;
    ASSERT_EQ(m_err, "");
  }
  static std::string make_cell(const std::string& name, const std::string& type, const std::string& bits) {
    return "\"" + name + "\": {\"type\": \"" + type +
           "\", \"attributes\": {\"kep_inst_header\": 1}, \"connections\": {" + bits + "}}";
  }
};

TEST_F(CompletionOfNames, GoesLevelByLevel) {
  complete("kep-rg next d.kdb ");
  EXPECT_THAT(m_offered, ElementsAre("r1/", "r2/"));
  complete("kep-rg next d.kdb r2");
  EXPECT_THAT(m_offered, ElementsAre("r2/"));
  EXPECT_EQ(m_told, "-o nospace");
  complete("kep-rg next d.kdb r2/x\\ y:");
  EXPECT_THAT(m_offered, ElementsAre("o")); // bash keeps what stands before the colon
  EXPECT_EQ(m_told, "+o default");
  complete("kep-rg next d.kdb r2/no");
  EXPECT_THAT(m_offered, IsEmpty());
}

TEST_F(CompletionOfNames, QuotesWhatBashWouldTakeForSomethingElse) {
  complete("kep-rg trace d.kdb r1/in\\[0\\]:o r1/");
  EXPECT_THAT(m_offered, ElementsAre(R"(r1/\$auto\$m.v:)", R"(r1/in\[0\]:)", R"(r1/in\[1\]:)", R"(r1/it\'s:)",
                                     R"(r1/x\ y:)"));
  complete(R"(kep-rg trace d.kdb r1/\$auto\$m.v:)");
  EXPECT_THAT(m_offered, ElementsAre("o"));
  complete("kep-rg trace d.kdb 'r1/x");
  EXPECT_THAT(m_offered, ElementsAre("r1/x y:"));
  complete("kep-rg trace d.kdb \"r1/x y:");
  EXPECT_THAT(m_offered, ElementsAre("r1/x y:o"));
}

TEST_F(CompletionOfNames, StandsWhereANameMayStandAlone) {
  for (const char* line :
       {"kep-rg trace d.kdb ", "kep-rg trace -q d.kdb r1/x\\ y:o ", "kep-rg debug d.kdb r"}) {
    complete(line);
    EXPECT_THAT(m_offered, ElementsAre("r1/", "r2/")) << line;
  }
  for (const char* line : {"kep-rg trace ", "kep-rg trace m.json ", "kep-rg check d.kdb ",
                           "kep-rg info d.kdb ", "kep-rg debug d.kdb --log "}) {
    complete(line);
    EXPECT_THAT(m_offered, IsEmpty()) << line;
    EXPECT_EQ(m_told, "-o default") << line;
  }
  write("bad.kdb", "no database");
  complete("kep-rg next bad.kdb ");
  EXPECT_THAT(m_offered, IsEmpty());
  complete("kep-rg next no.kdb ");
  EXPECT_THAT(m_offered, IsEmpty());
}

TEST_F(CompletionOfNames, OfInstancesHasThemWithAndWithoutWhatIsInside) {
  write("kep-rg", "#!/bin/sh\n[ \"$1\" = info ] && exec '" KEP_RG_TOOL "' \"$@\"\n"
                  "echo '  --under INSTANCE   ...'\n");
  ASSERT_EQ(run_line("chmod +x kep-rg"), 0);
  complete("./kep-rg nodes d.kdb --under r");
  EXPECT_THAT(m_offered, ElementsAre("r1", "r1/", "r2", "r2/"));
  complete("./kep-rg nodes d.kdb --under=r1/x");
  EXPECT_THAT(m_offered, ElementsAre("r1/x\\ y"));
}

TEST_F(CompletionOfNames, SaysNothingWhereItIsTooMuch) {
  ASSERT_EQ(run("generate --columns 80 --rows 80 --width 2 --luts 1 --switch-inputs 4 --connect-inputs 2 "
                "--model many.json --routing many.jsonl"),
            0)
      << m_err;
  ASSERT_EQ(run("build many.json many.jsonl -q -o many.kdb"), 0) << m_err;
  ASSERT_EQ(run("info many.kdb --complete ''"), 0);
  EXPECT_EQ(m_out, "");
  ASSERT_EQ(run("info many.kdb --complete x7"), 0);
  EXPECT_EQ(std::count(m_out.begin(), m_out.end(), '\n'), 11 * 80);
}

TEST_F(Completion, IsFoundByTheLoaderOfBash) {
  const std::string loader = "/usr/share/bash-completion/bash_completion";
  if (!std::filesystem::exists(loader)) GTEST_SKIP() << loader << " is not there";
  std::filesystem::create_directories(path("share/bash-completion/completions"));
  std::filesystem::copy(SCRIPT, path("share/bash-completion/completions/kep-rg"));
  complete("kep-rg nex", "export BASH_COMPLETION_USER_DIR=\"$PWD/share/bash-completion\"\nsource " + loader +
                             "\n_completion_loader kep-rg\n");
  EXPECT_THAT(m_offered, ElementsAre("next"));
}

} // namespace completion_test
