// The pages of the commands: their samples are what the tool prints, their options those that it has.

#include "tests/tool/docs/doc_samples.h"
#include "tests/tool/tool_fixture.h"
#include "tools/kep-rg/commands/commands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace command_pages_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAreArray;

const std::string DOCS = KEP_TEST_DATA_DIR "/../../docs/";
const char* const CHIPDBS = "/usr/share/fpga-icestorm/chipdb";

std::string read_page(const std::string& name) {
  return read_file(DOCS + "commands/" + name + ".md");
}

/// The commands, and the tool itself.
std::vector<std::string> get_names() {
  CLI::App app;
  std::vector<std::string> names = {"kep-rg"};
  for (const COMMAND& command : add_commands(app))
    names.push_back(command.m_parser->get_name());
  return names;
}

/// "-h, --help" and "-o FILE" without what is no name of an option.
std::vector<std::string> split_names(const std::string& term) {
  std::istringstream in(term);
  std::vector<std::string> names;
  for (std::string word; in >> word;)
    if (word.front() == '-') names.push_back(word.substr(0, word.find(',')));
  return names;
}

/// What a page says of each option: the text of its item "- `TERM`: text" by term.
std::map<std::string, std::string> read_options(const std::string& name) {
  std::istringstream in(read_page(name));
  std::map<std::string, std::string> options;
  std::string* text = nullptr; // of the option whose lines these are
  for (std::string line; std::getline(in, line);) {
    const std::size_t end = line.find("`: ");
    if (line.starts_with("- `-") && end != std::string::npos) {
      text = &options[line.substr(3, end - 3)];
      line = "  " + line.substr(end + 3);
    }
    if (text != nullptr && line.starts_with("  "))
      *text += line.substr(1);
    else
      text = nullptr;
  }
  return options;
}

/// Of a text in UTF-8.
std::size_t count_characters(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

class CommandPages : public Tool {
protected:
  /// The names of the options that the help of a command lists.
  std::set<std::string> read_help(const std::string& name) {
    EXPECT_EQ(run(name == "kep-rg" ? "--help" : name + " --help"), 0);
    std::set<std::string> names;
    std::istringstream in(m_out);
    for (std::string line; std::getline(in, line);) {
      if (!line.starts_with("  -")) continue;
      std::istringstream options(line.substr(2, line.find(' ', 2) - 2)); // "-h,--help"
      for (std::string option; std::getline(options, option, ',');)
        names.insert(option);
    }
    return names;
  }
};

TEST_F(CommandPages, StandForEachCommandAndForNothingElse) {
  std::vector<std::string> pages;
  for (const auto& entry : std::filesystem::directory_iterator(DOCS + "commands"))
    pages.push_back(entry.path().stem().string());
  EXPECT_THAT(pages, UnorderedElementsAreArray(get_names()));
}

TEST_F(CommandPages, ShowWhatTheToolPrints) {
  for (const std::string& name : get_names()) {
    if (name == "import-icebox" && !std::filesystem::exists(CHIPDBS)) continue;
    const std::vector<SAMPLE> samples = read_samples("docs/commands/" + name + ".md");
    EXPECT_GE(samples.size(), 3U) << name;
    std::filesystem::create_directory(path(name));
    for (const SAMPLE& sample : samples) {
      run_line("cd " + name + " && " + sample.m_command);
      EXPECT_TRUE(is_shown(m_out, sample.m_output)) << name << ": $ " << sample.m_command << "\n"
                                                    << m_out << "and shown is\n"
                                                    << sample.m_output;
      EXPECT_EQ(m_err, "") << name << ": $ " << sample.m_command;
    }
  }
}

TEST_F(CommandPages, HaveTheOptionsOfTheHelpAndNoOthers) {
  for (const std::string& name : get_names()) {
    std::set<std::string> told;
    for (const auto& [term, text] : read_options(name)) {
      for (const std::string& option : split_names(term))
        EXPECT_TRUE(told.insert(option).second) << name << ": " << option;
      EXPECT_GE(text.size(), 10U) << name << ": " << term;
    }
    EXPECT_EQ(told, read_help(name)) << name;
    EXPECT_GE(told.size(), 3U);
  }
}

TEST_F(CommandPages, SayTheSameOfAnOptionThatSeveralCommandsOnADeviceHave) {
  std::map<std::string, std::string> texts;
  std::size_t num_shared = 0;
  for (const char* name :
       {"build", "check", "view", "path", "nodes", "net", "trace", "debug", "next", "export"})
    for (const auto& [term, text] : read_options(name)) {
      const auto [at, is_new] = texts.emplace(term, text);
      EXPECT_EQ(at->second, text) << name << ": " << term;
      num_shared += is_new ? 0 : 1;
    }
  EXPECT_GE(num_shared, 40U);
}

TEST_F(CommandPages, HaveTheSectionsOfAManPage) {
  for (const std::string& name : get_names()) {
    std::istringstream in(read_page(name));
    std::vector<std::string> headings;
    for (std::string line; std::getline(in, line);)
      if (line.starts_with("#")) headings.push_back(line);
    EXPECT_THAT(headings, ElementsAre(name == "kep-rg" ? "# kep-rg" : "# kep-rg " + name, "## Name",
                                      "## Synopsis", "## Description", "## Options", "## Examples",
                                      "## Exit status", "## Files", "## See also"))
        << name;
  }
}

TEST_F(CommandPages, BecomeManPagesThatFitATerminal) {
  if (std::system("pandoc -v >/dev/null 2>&1 && man -V >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "there is no pandoc or no man";
  for (const std::string& name : get_names()) {
    run_line("pandoc -s -f markdown -t man --lua-filter '" + DOCS +
             "man_page.lua' -V title=X -V section=1 '" + DOCS + "commands/" + name +
             ".md' -o page.1 && MANWIDTH=80 man -l --warnings=w page.1");
    EXPECT_EQ(m_err, "") << name;
    EXPECT_THAT(m_out, HasSubstr("\nEXAMPLES\n")) << name;
    EXPECT_THAT(m_out, HasSubstr("       --version\n")) << name;
    std::istringstream in(m_out);
    for (std::string line; std::getline(in, line);)
      EXPECT_LE(count_characters(line), 80U) << name << ": " << line;
  }
}

TEST(Samples, StandForWhatWasPrintedAndForNothingElse) {
  EXPECT_TRUE(is_shown("a 1.5 s\nb\n", "a ...\nb\n"));
  EXPECT_TRUE(is_shown("a 1.5 s, 2 kB\n", "a ... s, ... kB\n"));
  EXPECT_TRUE(is_shown("a\n", "a\n"));
  EXPECT_FALSE(is_shown("a 1\nc\nb\n", "a ...\nb\n"));
  EXPECT_FALSE(is_shown("a 1\n", "a ... s\n"));
  EXPECT_FALSE(is_shown("a\nb\n", "a\n"));
}

} // namespace command_pages_test
