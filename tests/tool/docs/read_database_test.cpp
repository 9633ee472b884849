// The example that reads a device database without any library of this project.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

namespace read_database_test {

using testing::HasSubstr;
using testing::StartsWith;

class ReadDatabase : public Tool {
protected:
  /// The edges of the dump, with the numbers of nodes instead of their names.
  std::string numbered_edges() {
    std::map<std::string, std::string> numbers; // by name and kind
    std::istringstream nodes(read("dump/nodes.tsv"));
    std::istringstream edges(read("dump/edges.tsv"));
    std::string line;
    std::getline(nodes, line);
    for (int i = 0; std::getline(nodes, line); ++i) {
      numbers[line] = std::to_string(i);
      m_nodes += " " + std::to_string(i);
    }
    std::getline(edges, line);
    std::string text;
    for (std::string from, from_kind, to, to_kind, edge_class;
         edges >> from >> from_kind >> to >> to_kind >> edge_class && std::getline(edges, line);)
      text += numbers[from + "\t" + from_kind] + " " + numbers[to + "\t" + to_kind] + " " + edge_class + "\n";
    return text;
  }

  std::string m_nodes;
};

TEST_F(ReadDatabase, GivesTheCountsAndTheFanoutsOfEachNode) {
  // In a spare row some nodes of a tile are missing.
  ASSERT_EQ(run("generate --columns 3 --rows 3 --hipi 20 --redundant 20 --spare-rows 1 --top-ports --model "
                "m.json --routing "
                "r.jsonl --redundancy d.txt"),
            0)
      << m_err;
  ASSERT_EQ(run("build m.json r.jsonl --redundancy d.txt -q -o d.kdb --dump dump"), 0) << m_err;
  const std::string edges = numbered_edges();
  ASSERT_THAT(edges, HasSubstr(" redundant\n"));
  ASSERT_EQ(run_line("python3 " KEP_TEST_DATA_DIR "/../../examples/python/read_database.py d.kdb" + m_nodes),
            0)
      << m_err;
  EXPECT_THAT(m_out, StartsWith("modules "));
  const std::size_t end = m_out.find("templates ");
  ASSERT_NE(end, std::string::npos);
  EXPECT_TRUE(m_out.substr(m_out.find('\n', end) + 1) == edges);
}

} // namespace read_database_test
