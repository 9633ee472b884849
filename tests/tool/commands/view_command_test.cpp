// The page of a device from outside: what it holds, and what it must not.

#include "tests/tool/tool_fixture.h"
#include "tests/tool/view/unpack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <cstdint>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace view_command_test {

using testing::AnyOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

const std::string DEVICE = "m.json r.jsonl --redundancy d.txt";

class ViewCommand : public Tool {
protected:
  /// A small fabric with a little of everything, and its database. Some traces fail.
  void SetUp() override {
    ASSERT_EQ(run("generate --columns 3 --rows 3 --hipi 20 --redundant 20 --tunnels 1 --spare-rows 1 "
                  "--top-ports --model m.json --routing r.jsonl --redundancy d.txt"),
              0)
        << m_err;
    ASSERT_EQ(run("build " + DEVICE + " -q -o d.kdb --dump dump"), 0) << m_err;
  }
  /// What stands in the element, less the lines around it.
  static std::string get_element(const std::string& page, const std::string& id) {
    const std::string begin = "<script id=\"" + id + "\" type=\"application/";
    const std::size_t at = page.find(begin);
    EXPECT_NE(at, std::string::npos) << id;
    EXPECT_EQ(page.find(begin, at + 1), std::string::npos) << id;
    const std::size_t first = page.find(">\n", at) + 2;
    const std::size_t end = page.find("</script>", first);
    return page.substr(first, end - first);
  }
  static std::string get_database(const std::string& page) {
    const std::string letters = get_element(page, "database");
    return test_tool::unpack(letters.substr(0, letters.find('\n')));
  }
  simdjson::dom::object get_facts(const std::string& page) {
    m_text = simdjson::padded_string(get_element(page, "facts"));
    return m_parser.parse(m_text).get_object().value();
  }
  static std::uint64_t add_up(const simdjson::dom::array& numbers) {
    std::uint64_t sum = 0;
    for (const simdjson::dom::element number : numbers)
      sum += number.get_uint64().value();
    return sum;
  }

private:
  simdjson::dom::parser m_parser;
  simdjson::padded_string m_text;
};

TEST_F(ViewCommand, ThePageHoldsTheDatabaseAsItIs) {
  ASSERT_EQ(run("view d.kdb -o page.html"), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr("\nfiles    page.html ("));
  EXPECT_TRUE(get_database(read("page.html")) == read("d.kdb"));
  ASSERT_EQ(run("view " + DEVICE + " -o other.html --stats s.json -q"), 0) << m_err;
  EXPECT_EQ(m_out, "");
  EXPECT_TRUE(get_database(read("other.html")) == read("d.kdb"));
  EXPECT_THAT(read("s.json"), HasSubstr("\"page\": "));
}

TEST_F(ViewCommand, ThePageIsTheSameForAnyNumberOfThreads) {
  ASSERT_EQ(run("view " + DEVICE + " -o page.html -j 1"), 0) << m_err;
  ASSERT_EQ(run("view " + DEVICE + " -o - -j 8"), 0) << m_err; // and nothing else goes there
  EXPECT_TRUE(m_out == read("page.html"));
}

TEST_F(ViewCommand, FactsAreWhatCheckFinds) {
  ASSERT_EQ(run("view d.kdb -o page.html"), 0) << m_err;
  ASSERT_EQ(run("check d.kdb --trace --verbose --findings f.json"), 1) << m_err;
  const simdjson::dom::object facts = get_facts(read("page.html"));
  EXPECT_EQ(facts["name"].get_string().value(), "d.kdb");
  EXPECT_TRUE(facts["checked"].get_bool().value());
  EXPECT_TRUE(facts["findings_by_node_complete"].get_bool().value());

  simdjson::dom::parser parser;
  const simdjson::padded_string text(read("f.json"));
  const simdjson::dom::array told = parser.parse(text)["findings"].get_array().value();
  const simdjson::dom::array found = facts["findings"].get_array().value();
  ASSERT_GE(told.size(), 1U);
  ASSERT_EQ(found.size(), told.size());
  for (std::size_t i = 0; i != told.size(); ++i) {
    EXPECT_EQ(found.at(i)["kind"].get_string().value(), told.at(i)["id"].get_string().value());
    EXPECT_EQ(found.at(i)["count"].get_uint64().value(), told.at(i)["number"].get_uint64().value());
    const simdjson::dom::array texts = told.at(i)["first"].get_array().value();
    const simdjson::dom::array first = found.at(i)["first"].get_array().value();
    ASSERT_EQ(first.size(), texts.size());
    for (std::size_t j = 0; j != texts.size(); ++j)
      EXPECT_EQ(first.at(j).at(2).get_string().value(), texts.at(j).get_string().value());
  }
}

TEST_F(ViewCommand, FindingsNameNodesAndEdgesByTheirPlaceInTheDump) {
  ASSERT_EQ(run("view d.kdb -o page.html"), 0) << m_err;
  std::vector<std::vector<std::string>> edges; // by number of the node, where they lead
  std::istringstream lines(read("dump/nodes.tsv"));
  std::vector<std::string> nodes;
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line))
    nodes.push_back(line.substr(0, line.find('\t')));
  std::size_t num_seen = 0;
  for (const simdjson::dom::element kind : get_facts(read("page.html"))["findings"].get_array()) {
    if (kind["subject"].get_string().value() != "trace") continue;
    for (const simdjson::dom::element found : kind["first"].get_array()) {
      const std::string text(found.at(2).get_string().value());
      const auto node = static_cast<std::size_t>(found.at(0).get_int64().value());
      ASSERT_LT(node, nodes.size());
      EXPECT_THAT(text, AnyOf(StartsWith(nodes[node] + " -> "), StartsWith(nodes[node] + " (hipi) -> ")));
      EXPECT_GE(found.at(1).get_int64().value(), 0);
      ++num_seen;
    }
  }
  EXPECT_GT(num_seen, 0U);
}

TEST_F(ViewCommand, HopsAndUntracedEdgesAreAllEdges) {
  ASSERT_EQ(run("view d.kdb -o page.html"), 0) << m_err;
  const std::string edges = read("dump/edges.tsv");
  const auto num_edges = static_cast<std::uint64_t>(std::count(edges.begin(), edges.end(), '\n') - 1);
  const simdjson::dom::object facts = get_facts(read("page.html"));
  const std::uint64_t num_verified = add_up(facts["hops"].get_array().value());
  const std::uint64_t num_untraced = facts["untraced"].get_uint64().value();
  EXPECT_EQ(num_verified + num_untraced, num_edges);
  EXPECT_GT(num_untraced, 0U);
  ASSERT_EQ(run("check d.kdb --trace"), 1);
  std::smatch told;
  ASSERT_TRUE(std::regex_search(m_out, told, std::regex("edges: ([0-9,]+) verified")));
  EXPECT_EQ(std::regex_replace(told[1].str(), std::regex(","), ""), std::to_string(num_verified));
}

TEST_F(ViewCommand, LeavesTheChecksOut) {
  ASSERT_EQ(run("view d.kdb -o page.html --skip-checks"), 0) << m_err;
  const simdjson::dom::object facts = get_facts(read("page.html"));
  EXPECT_EQ(facts.size(), 3U);
  EXPECT_FALSE(facts["checked"].get_bool().value());
  EXPECT_THAT(std::string(facts["made_by"].get_string().value()), StartsWith("kep-rg "));
  EXPECT_TRUE(get_database(read("page.html")) == read("d.kdb"));
}

/// The page is all there is: nothing is taken from a network. Addresses that name something - kinds of XML,
/// and where a licence comes from - are not asked for.
TEST_F(ViewCommand, ThePageAsksForNothing) {
  ASSERT_EQ(run("view d.kdb -o page.html --skip-checks"), 0) << m_err;
  std::string page = read("page.html");
  page.erase(page.find(get_element(page, "database")), get_element(page, "database").size());
  const std::regex address("(https?|wss?|ftp)://[^\\s\"'`<>)]*");
  std::size_t num_seen = 0;
  for (auto found = std::sregex_iterator(page.begin(), page.end(), address); found != std::sregex_iterator();
       ++found, ++num_seen)
    EXPECT_THAT(found->str(), AnyOf(StartsWith("http://www.w3.org/"), StartsWith("https://d3js.org")));
  EXPECT_GT(num_seen, 0U);
  EXPECT_FALSE(std::regex_search(page, std::regex("<(link|img|iframe|script)\\b[^>]* (src|href)=")));
  EXPECT_THAT(page, Not(HasSubstr("@import")));
}

TEST_F(ViewCommand, ANameEndsNoElement) {
  ASSERT_EQ(run("build " + DEVICE + " -q -o '<!--<script>.kdb'"), 0) << m_err;
  ASSERT_EQ(run("view '<!--<script>.kdb' -o page.html --skip-checks"), 0) << m_err;
  const std::string page = read("page.html");
  EXPECT_THAT(get_element(page, "facts"), Not(HasSubstr("<")));
  EXPECT_EQ(get_facts(page)["name"].get_string().value(), "<!--<script>.kdb");
}

TEST_F(ViewCommand, RefusesWhatItCantWrite) {
  EXPECT_EQ(run("view d.kdb"), 2);
  EXPECT_THAT(m_err, MatchesRegex("kep-rg: -o is required.*\n"));
  expect_refused("view d.kdb -o no/page.html", "no/page.html: can't be written: No such file or directory");
  expect_refused("view d.kdb -o d.kdb", "d.kdb: can't be written: it is an input of this run");
  expect_refused("view d.kdb -o - --stats -",
                 "standard output: can't be written twice: more than one output is \"-\"");
  expect_refused("view m.json no.jsonl -o page.html", "no.jsonl: can't be read: No such file or directory");
  EXPECT_EQ(run_line("ulimit -f 8; kep-rg view d.kdb -o page.html --skip-checks"), 2);
  EXPECT_EQ(m_err, "kep-rg: page.html: can't be written: File too large\n");
  EXPECT_EQ(run_line("kep-rg view d.kdb -o - --skip-checks >/dev/full"), 2);
  EXPECT_EQ(m_err, "kep-rg: standard output: can't be written: No space left on device\n");
  EXPECT_THAT(files(), Not(Contains(HasSubstr("page"))));
}

TEST_F(ViewCommand, RefusesADeviceWithoutNodesAndLeavesThePageThatWasThere) {
  ASSERT_EQ(run("generate --columns 2 --rows 2 --model bare.json --routing bare.jsonl"), 0) << m_err;
  write("page.html", "old");
  EXPECT_EQ(run("view bare.json -o page.html"), 2);
  EXPECT_EQ(m_out, "");
  EXPECT_THAT(m_err,
              testing::EndsWith("kep-rg: bare.json: the graph has no nodes: there is nothing to view\n"));
  EXPECT_TRUE(read("page.html") == "old");
}

} // namespace view_command_test
