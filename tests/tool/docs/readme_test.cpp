// The commands of README.md run as they stand, each on what those before it have made. And the links of all
// pages lead somewhere.

#include "tests/tool/tool_fixture.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace readme_test {

const std::filesystem::path PROJECT = std::filesystem::path(KEP_TEST_DATA_DIR) / ".." / "..";

/// The indented lines of the section "## The tool".
std::vector<std::string> read_commands(const std::string& readme) {
  const std::string indent = "    ";
  std::istringstream in(readme);
  std::vector<std::string> commands;
  bool is_inside = false;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("## ")) is_inside = line == "## The tool";
    if (is_inside && line.starts_with(indent)) commands.push_back(line.substr(indent.size()));
  }
  return commands;
}

/// What a link to a heading calls it: small letters, no punctuation, hyphens for blanks.
std::string get_anchor(const std::string& heading) {
  std::string anchor;
  for (const char c : heading) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0 || c == '_' || c == '-')
      anchor += static_cast<char>(std::tolower(byte));
    else if (c == ' ')
      anchor += '-';
  }
  return anchor;
}

std::set<std::string> read_anchors(const std::filesystem::path& page) {
  std::istringstream in(read_file(page));
  std::set<std::string> anchors;
  for (std::string line; std::getline(in, line);) {
    const std::size_t text = line.find_first_not_of('#');
    if (text != 0 && text != std::string::npos && line[text] == ' ')
      anchors.insert(get_anchor(line.substr(text + 1)));
  }
  return anchors;
}

/// A page without its blocks of code between lines of three back quotes.
std::string read_prose(const std::filesystem::path& page) {
  std::istringstream in(read_file(page));
  std::string prose;
  bool is_code = false;
  for (std::string line; std::getline(in, line);)
    if (line.starts_with("```"))
      is_code = !is_code;
    else if (!is_code)
      prose += line + "\n";
  return prose;
}

/// The targets of the links `[...](TARGET)` that stay within the project.
std::vector<std::string> read_links(const std::filesystem::path& page) {
  const std::string text = read_prose(page);
  std::vector<std::string> links;
  for (std::size_t at = text.find("]("); at != std::string::npos; at = text.find("](", at + 2)) {
    const std::size_t end = text.find_first_of(") \n", at);
    if (end == std::string::npos || text[end] != ')') continue; // no link
    const std::string link = text.substr(at + 2, end - at - 2);
    if (!link.empty() && link.find("://") == std::string::npos) links.push_back(link);
  }
  return links;
}

std::vector<std::filesystem::path> find_pages() {
  std::vector<std::filesystem::path> pages;
  for (const auto& folder : {PROJECT, PROJECT / "docs", PROJECT / "docs" / "commands"})
    for (const auto& entry : std::filesystem::directory_iterator(folder))
      if (entry.path().extension() == ".md") pages.push_back(entry.path());
  return pages;
}

using Readme = Tool;

TEST_F(Readme, HasCommandsThatRunInTheOrderInWhichTheyStand) {
  const std::string chipdb = "/usr/share/fpga-icestorm/chipdb/chipdb-8k.txt";
  if (!std::filesystem::exists(chipdb)) GTEST_SKIP() << chipdb << " is not there";
  const std::string readme = read_file(PROJECT / "README.md");
  const std::vector<std::string> commands = read_commands(readme);
  EXPECT_GE(commands.size(), 10U);
  EXPECT_NE(readme.find(chipdb), std::string::npos);
  bool shows_a_statement = false;
  for (const std::string& command : commands) {
    ASSERT_EQ(run_line(command), 0) << "$ " << command << "\n" << m_err;
    if (!command.starts_with("head ")) continue;
    ASSERT_FALSE(m_out.empty());
    m_out.pop_back(); // the end of the line
    EXPECT_NE(readme.find("`" + m_out + "`"), std::string::npos) << m_out;
    shows_a_statement = true;
  }
  EXPECT_TRUE(shows_a_statement);
  for (const char* file : {"dump/nodes.tsv", "dump/edges.tsv", "stats.json"})
    EXPECT_TRUE(std::filesystem::exists(path(file))) << file;
}

TEST(Pages, HaveLinksThatLeadToAFileOrAHeading) {
  std::size_t num_links = 0;
  for (const std::filesystem::path& page : find_pages())
    for (const std::string& link : read_links(page)) {
      ++num_links;
      const std::size_t hash = link.find('#');
      const std::string file = link.substr(0, hash);
      const std::filesystem::path target = file.empty() ? page : page.parent_path() / file;
      EXPECT_TRUE(std::filesystem::exists(target)) << page << ": " << link;
      if (hash == std::string::npos) continue;
      EXPECT_TRUE(read_anchors(target).contains(link.substr(hash + 1))) << page << ": " << link;
    }
  EXPECT_GE(num_links, 100U);
}

} // namespace readme_test
