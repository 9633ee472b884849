// `kep-rg nodes`: lists of nodes by conditions.

#include "tests/tool/commands/ask_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace nodes_command_test {

const std::string HEAD = "node\tkind\tmodule\tfanout\treal\tfanin\n";

class NodesCommand : public test_model::FiveTiles {
protected:
  NodesCommand() { m_command = "nodes"; }
  /// Of the nodes with these letters.
  void expect_rows(const std::string& words, const std::string& letters) {
    const std::map<char, std::string> rows{
        {'p', ":pin\tboundary\tTOP\t0\t0\t1\n"}, {'l', "l/m:o\tuip\tMUX\t2\t2\t0\n"},
        {'r', "r/m:o\tuip\tMUX\t2\t2\t2\n"},     {'x', "x/m:o\tuip\tMUX\t1\t1\t1\n"},
        {'y', "y/m:o\tuip\tMUX\t2\t2\t2\n"},     {'z', "z/m:o\tuip\tMUX\t0\t0\t1\n"}};
    std::string text = HEAD;
    for (const char letter : letters)
      text += rows.at(letter);
    expect(words, 0, text);
  }
};

TEST_F(NodesCommand, ListsAllNodesInTheOrderOfTheGraph) {
  expect_rows("", "plrxyz");
}

TEST_F(NodesCommand, TakesConditionsOnNumbers) {
  expect_rows("--fanout '>1'", "lry");
  expect_rows("--fanout '>=1'", "lrxy");
  expect_rows("--fanout '<1'", "pz");
  expect_rows("--fanout '<= 1'", "pxz");
  expect_rows("--fanout 1", "x");
  expect_rows("--fanout =2", "lry");
  expect_rows("--fanout 0..1 --fanin 1..5", "pxz");
  expect_rows("--fanin '>2'", "");
}

TEST_F(NodesCommand, TakesKindsModulesAndNames) {
  expect_rows("--kind boundary", "p");
  expect_rows("--kind uip --fanin 0", "l");
  expect_rows("--kind hipi", "");
  expect_rows("--module TOP", "p");
  expect_rows("--module 'M*'", "lrxyz");
  expect_rows("--module TILE", "");
  expect_rows("--name '[xy]/m:?'", "xy");
  expect_rows("--name '*:pin'", "p");
  expect_rows("--name l/m:o", "l");
  expect_rows("--name 'q/*'", "");
}

TEST_F(NodesCommand, TakesAnInstance) {
  expect_rows("--under y", "y");
  expect_rows("--under y/m", "y");
  expect_rows("--under y/", "y");
  expect_rows("--under y --name 'x/*'", "");
  expect_no("--under q", "no instance \"q\"; closest: l, r, x");
  expect_no("--under y/n", "no instance \"y/n\"; closest: y/m");
  expect_no("--under y/m/o", "no instance \"y/m/o\"; y/m has none inside");
  expect_no("--module TILES", "no module \"TILES\"; closest: TILE");
}

TEST_F(NodesCommand, PrintsJson) {
  expect("--kind boundary --json", 0, R"([
{"node": ":pin", "kind": "boundary", "module": "TOP", "fanout": 0, "real": 0, "fanin": 1}
]
)");
  expect("--kind hipi --json", 0, "[]\n");
}

TEST_F(NodesCommand, RefusesConditionsThatNoNumberMeets) {
  for (const std::string text : {"x", "'> x'", "''", "'<0'", "5..4", "'>1..2'", "'>4294967295'", "-1", "1.5"})
    EXPECT_EQ(run("nodes model.json routing.jsonl --fanout=" + text), 2) << text << m_out;
  expect_no("--fanin 1.5", "--fanin: 1.5 is no condition that a number can meet; such are '>100', '<=3', 5 "
                           "and 10..20 (see kep-rg nodes --help)");
  EXPECT_EQ(run("nodes model.json routing.jsonl --kind plain"), 2);
}

/// A row of the dump, and what its edges count.
struct ROW {
  std::string m_name, m_kind;
  unsigned m_fanout = 0, m_real = 0, m_fanin = 0;
};

class NodesBesideADump : public Tool {
protected:
  void SetUp() override {
    ASSERT_EQ(
        run("generate --columns 4 --rows 3 --hipi 20 --redundant 20 --tunnels 1 --top-ports --model m.json "
            "--routing r.jsonl --redundancy d.txt"),
        0);
    ASSERT_EQ(run("build m.json r.jsonl --redundancy d.txt -q -o d.kdb --dump dump"), 0) << m_err;
    std::istringstream nodes(read("dump/nodes.tsv"));
    std::istringstream edges(read("dump/edges.tsv"));
    std::string line;
    std::getline(nodes, line);
    std::map<std::string, std::size_t> by_name;
    while (std::getline(nodes, line)) {
      by_name[line] = m_rows.size();
      const std::size_t tab = line.find('\t');
      m_rows.push_back({line.substr(0, tab), line.substr(tab + 1)});
    }
    std::getline(edges, line);
    while (std::getline(edges, line)) {
      std::istringstream cells(line);
      std::string from, from_kind, to, to_kind, edge_class;
      cells >> from >> from_kind >> to >> to_kind >> edge_class;
      ROW& source = m_rows[by_name.at(from + '\t' + from_kind)];
      ++source.m_fanout;
      source.m_real += edge_class == "real";
      ++m_rows[by_name.at(to + '\t' + to_kind)].m_fanin;
    }
  }
  /// The list has those rows alone for which `is_wanted` holds, and some of them.
  void expect(const std::string& words, const std::function<bool(const ROW&)>& is_wanted) {
    EXPECT_EQ(run("nodes d.kdb " + words), 0) << m_err;
    std::istringstream lines(m_out);
    std::string line;
    std::getline(lines, line);
    std::size_t num_rows = 0;
    for (const ROW& row : m_rows) {
      if (!is_wanted(row)) continue;
      ++num_rows;
      ASSERT_TRUE(std::getline(lines, line)) << words;
      std::istringstream cells(line);
      std::string name, kind, module;
      unsigned fanout = 0, real = 0, fanin = 0;
      cells >> name >> kind >> module >> fanout >> real >> fanin;
      EXPECT_EQ(name + " " + kind, row.m_name + " " + row.m_kind) << words;
      EXPECT_EQ((std::vector{fanout, real, fanin}), (std::vector{row.m_fanout, row.m_real, row.m_fanin}))
          << name;
    }
    EXPECT_FALSE(std::getline(lines, line)) << words << line;
    EXPECT_GT(num_rows, 0U) << words;
  }

  std::vector<ROW> m_rows;
};

TEST_F(NodesBesideADump, HaveItsOrderAndItsNumbers) {
  expect("", [](const ROW&) { return true; });
  expect("--fanout '>5' --fanin '<4'", [](const ROW& row) { return row.m_fanout > 5 && row.m_fanin < 4; });
  for (const std::string kind : {"uip", "hipi", "boundary"})
    expect("--kind " + kind, [&](const ROW& row) { return row.m_kind == kind; });
  const auto stands_at = [](const ROW& row, const std::string& instance) {
    return row.m_name.starts_with(instance + "/") || row.m_name.starts_with(instance + ":");
  };
  for (const std::string instance : {"x1y1", "x3y2", "x0y0/switch", "x2y1/switch/e0", "x1y2/block"})
    expect("--under " + instance, [&](const ROW& row) { return stands_at(row, instance); });
  expect("--name 'x1y1/*:o'",
         [](const ROW& row) { return row.m_name.starts_with("x1y1/") && row.m_name.ends_with(":o"); });
  expect("--name '*:i[3]'", [](const ROW& row) { return row.m_name.ends_with(":i[3]"); });
}

} // namespace nodes_command_test
