// `kep-rg export`: the graph as arrays, and windows of it.

#include "tests/tool/tool_fixture.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <sys/mount.h>
#include <vector>

namespace export_command_test {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

const std::string PYTHON = "/usr/bin/python3"; // the one with the packages of the system
// As the page of the command has them.
const char* const READ_ARRAYS =
    R"(head = json.load(open("csr/csr.json"))
offsets, targets, classes = (numpy.fromfile("csr/" + each["file"], each["dtype"]) for each in head["arrays"])
)";

class ExportCommand : public Tool {
protected:
  /// A device with nodes of each kind and edges of both classes; in its spare rows some nodes are missing.
  void make_device() {
    ASSERT_EQ(run("generate --columns 3 --rows 3 --hipi 20 --redundant 20 --spare-rows 1 --top-ports --model "
                  "m.json --routing r.jsonl --redundancy d.txt"),
              0)
        << m_err;
    ASSERT_EQ(run("build m.json r.jsonl --redundancy d.txt -q -o d.kdb --dump dump"), 0) << m_err;
  }

  /// The edges of the dump, with the numbers of nodes instead of their names: "from to class".
  std::string read_numbered_edges() {
    std::istringstream nodes(read("dump/nodes.tsv"));
    std::istringstream edges(read("dump/edges.tsv"));
    std::map<std::string, std::size_t> numbers; // by name and kind
    std::string line;
    std::getline(nodes, line);
    for (std::size_t i = 0; std::getline(nodes, line); ++i) {
      numbers[line] = i;
      m_names.push_back(line.substr(0, line.find('\t')));
    }
    std::getline(edges, line);
    std::string text;
    for (std::string from, from_kind, to, to_kind, edge_class;
         edges >> from >> from_kind >> to >> to_kind >> edge_class && std::getline(edges, line);)
      text += fmt::format("{} {} {}\n", numbers.at(from + "\t" + from_kind), numbers.at(to + "\t" + to_kind),
                          edge_class == "redundant" ? 1 : 0);
    return text;
  }

  /// Two tiles, a ring of two muxes, with names that are hard to write, and a port of the top.
  void make_odd_device() {
    write("odd.json", R"({"modules": {
      "node": {"ports": {"i": {"direction": "input", "bits": [2]}, "\"<o>,&'\\": {"direction": "output", "bits": [3]}}},
      "TOP": {"attributes": {"top": 1, "kep_db_type": 1}, "ports": {"é": {"direction": "output", "bits": [2]}},
        "cells": {"a": {"type": "node", "attributes": {"kep_inst_header": 1}, "connections": {"i": [3], "\"<o>,&'\\": [2]}},
                  "b": {"type": "node", "attributes": {"kep_inst_header": 1}, "connections": {"i": [2], "\"<o>,&'\\": [3]}}},
        "netnames": {"n": {"bits": [2]}, "m": {"bits": [3]}}}}})");
    write("odd.jsonl", R"({"op": "add_port_edge", "module": "node", "input": "i", "output": "\"<o>,&'\\"}
)");
  }
  std::string export_odd(const std::string& options) {
    make_odd_device();
    EXPECT_EQ(run("export odd.json odd.jsonl --around 'b:\"<o>,&'\"'\"'\\' " + options), 0) << m_err;
    EXPECT_EQ(m_err, "");
    return m_out;
  }

  std::vector<std::string> m_names; // of the nodes, by number
};

TEST_F(ExportCommand, WritesTheEdgesOfTheDumpAsArrays) {
  make_device();
  const std::string edges = read_numbered_edges();
  ASSERT_THAT(edges, HasSubstr(" 1\n"));
  EXPECT_EQ(run("export d.kdb --format csr -o csr"), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr(" csr/csr.json, csr/offsets.u64, csr/targets.u32, csr/classes.u8\n"));
  write("read.py", std::string("import json\nimport numpy\n") + READ_ARRAYS + R"(
for array, each in zip((offsets, targets, classes), head["arrays"]):
    assert list(array.shape) == each["shape"]
assert head["num_nodes"] + 1 == len(offsets) and head["num_edges"] == len(targets) == offsets[-1]
assert head["num_redundant_edges"] == classes.sum() == head["num_edges"] - head["num_real_edges"]
assert head["device"] == "d.kdb"
sources = numpy.repeat(numpy.arange(head["num_nodes"]), numpy.diff(offsets).astype(int))
numpy.savetxt("edges", numpy.stack([sources, targets, classes], axis=1), "%d")
)");
  ASSERT_EQ(run_line(PYTHON + " read.py"), 0) << m_err;
  EXPECT_TRUE(read("edges") == edges);
}

TEST_F(ExportCommand, ThePageReadsArraysAsTheTestDoes) {
  std::string page = read_file(KEP_TEST_DATA_DIR "/../../docs/commands/export.md");
  std::erase(page, '\n');
  std::string lines = READ_ARRAYS;
  EXPECT_THAT(page, HasSubstr(lines.substr(0, lines.find('\n'))));
  EXPECT_THAT(page, HasSubstr(lines.substr(lines.find('\n') + 1, lines.size() - lines.find('\n') - 2)));
}

TEST_F(ExportCommand, GivesTheSameBytesForAnyNumberOfThreads) {
  // More nodes than a thread takes at a time, and with redundant edges.
  ASSERT_EQ(run("generate --nodes 20000 --redundant 20 --model m.json --routing r.jsonl --redundancy d.txt"),
            0);
  ASSERT_EQ(run("build m.json r.jsonl --redundancy d.txt -q -o d.kdb --dump dump1 -j 1"), 0);
  EXPECT_EQ(run("build d.kdb -q --dump dump2 -j 2"), 0);
  EXPECT_EQ(run("export d.kdb -q --format csr -o csr1 -j 1"), 0);
  EXPECT_EQ(run("export d.kdb -q --format csr -o csr2 -j 2"), 0);
  EXPECT_EQ(run_line("diff -r csr1 csr2 && diff -r dump1 dump2"), 0) << m_out << m_err;
  EXPECT_EQ(run_line("wc -c < csr1/classes.u8 && tr -d '\\0' < csr1/classes.u8 | wc -c && tail -n +2 "
                     "dump1/edges.tsv | wc -l && "
                     "grep -c '\tredundant\t' dump1/edges.tsv"),
            0);
  std::istringstream counts(m_out);
  std::size_t num_classes = 0, num_ones = 0, num_edges = 0, num_redundant = 0;
  counts >> num_classes >> num_ones >> num_edges >> num_redundant;
  EXPECT_GT(num_redundant, 1000U);
  EXPECT_EQ(num_classes, num_edges);
  EXPECT_EQ(num_ones, num_redundant);
}

TEST_F(ExportCommand, WritesOneOffsetOfAGraphWithoutNodes) {
  write("empty.json", R"({"modules": {"TOP": {"attributes": {"top": 1}}}})");
  EXPECT_EQ(run("export empty.json -q --format csr -o csr"), 0);
  EXPECT_EQ(read("csr/offsets.u64"), std::string(8, '\0'));
  EXPECT_EQ(read("csr/targets.u32"), "");
  EXPECT_EQ(read("csr/classes.u8"), "");
  EXPECT_THAT(read("csr/csr.json"), HasSubstr("\"num_nodes\": 0,"));
}

TEST_F(ExportCommand, WritesWindowsThatNetworkxReadsAsTheDumpHasThem) {
  make_device();
  read_numbered_edges();
  const std::vector<std::string> formats{"json", "graphml", "csv"};
  const std::vector<std::string> directions{"both", "fanouts", "fanins"};
  std::string lines;
  for (unsigned i = 0; i != 27; ++i) {
    const std::size_t node = m_names.size() * i / 27;
    const std::string options = fmt::format("--steps {} --direction {}", i % 4, directions[i % 3]);
    lines += fmt::format(
        "kep-rg export d.kdb -q --around '{}' {} --format {} -o '{} {} {}.{}' --max-nodes 100000 && ",
        m_names[node], options, formats[i / 9], i % 4, directions[i % 3], node, formats[i / 9]);
  }
  ASSERT_EQ(run_line(lines + "true"), 0) << m_err;
  ASSERT_EQ(run_line(PYTHON + " " KEP_TEST_DATA_DIR "/../tool/export/check_windows.py ."), 0) << m_err;
  std::istringstream counts(m_out);
  unsigned num_windows = 0, num_nodes = 0, num_edges = 0;
  counts >> num_windows >> num_nodes >> num_edges;
  EXPECT_EQ(num_windows, 27U);
  EXPECT_GT(num_nodes, 500U);
  EXPECT_GT(num_edges, 500U);
}

TEST_F(ExportCommand, AWindowMayHaveMoreThanOneMiddle) {
  make_device();
  read_numbered_edges();
  const std::string around = "export d.kdb --format json --steps 0 --around '" + m_names.front() +
                             "' --around '" + m_names.back() + "'";
  EXPECT_EQ(run(around), 0);
  EXPECT_THAT(m_out, HasSubstr("\"name\": \"" + m_names.front() + "\""));
  EXPECT_THAT(m_out, HasSubstr("\"name\": \"" + m_names.back() + "\""));
}

TEST_F(ExportCommand, WritesOddNamesInDot) {
  EXPECT_EQ(export_odd("--format dot --steps 2"),
            R"(digraph window {
  rankdir=LR
  node [shape=box]
  0 [label=":é", kind="boundary", module="TOP", distance=2]
  1 [label="a:\"<o>,&'\\", kind="uip", module="node", distance=1]
  2 [label="b:\"<o>,&'\\", kind="uip", module="node", distance=0, penwidth=3]
  1 -> 2 [class="real", mux_input="b:i"]
  1 -> 0 [class="real", mux_input=""]
  2 -> 1 [class="real", mux_input="a:i"]
}
)");
}

TEST_F(ExportCommand, WritesOddNamesInGraphml) {
  const std::string text = export_odd("--format graphml --steps 2");
  EXPECT_THAT(text, HasSubstr(R"(<node id="n2"><data key="name">b:"&lt;o&gt;,&amp;'\</data>)"));
  EXPECT_THAT(text, HasSubstr(R"(<edge id="e0" source="n1" target="n2"><data key="class">real</data>)"
                              R"(<data key="mux_input">b:i</data></edge>)"));
}

TEST_F(ExportCommand, WritesOddNamesInJson) {
  EXPECT_EQ(export_odd("--format json --direction fanins"),
            R"({"directed": true, "multigraph": true, "graph": {}, "nodes": [
{"id": 1, "name": "a:\"<o>,&'\\", "kind": "uip", "module": "node", "distance": 1},
{"id": 2, "name": "b:\"<o>,&'\\", "kind": "uip", "module": "node", "distance": 0}
], "links": [
{"source": 1, "target": 2, "class": "real", "mux_input": "b:i"},
{"source": 2, "target": 1, "class": "real", "mux_input": "a:i"}
]}
)");
}

TEST_F(ExportCommand, WritesOddNamesInCsv) {
  EXPECT_EQ(export_odd("--format csv --direction fanouts"),
            R"(from,from_kind,from_module,from_distance,to,to_kind,to_module,to_distance,class,mux_input
"a:""<o>,&'\",uip,node,1,"b:""<o>,&'\",uip,node,0,real,b:i
"b:""<o>,&'\",uip,node,0,"a:""<o>,&'\",uip,node,1,real,a:i
)");
}

TEST_F(ExportCommand, RefusesAWindowOfTooManyNodes) {
  make_odd_device();
  const std::string odd = "export odd.json odd.jsonl --format dot --around :é";
  expect_refused(
      odd + " --max-nodes 2 --steps 9",
      "a window of 2 steps has more than 2 nodes, one of 1 step has 2: let it take fewer --steps, or more "
      "--max-nodes");
  EXPECT_EQ(run(odd + " --max-nodes 3 --steps 9"), 0) << m_err;
  expect_refused(
      "export odd.json odd.jsonl --format dot --around :é --around 'a:\"<o>,&'\"'\"'\\' --max-nodes 1",
      "more nodes are in the middle of the window than --max-nodes allows, 1");
}

TEST_F(ExportCommand, RefusesBadUse) {
  make_odd_device();
  const std::string odd = "export odd.json odd.jsonl ";
  EXPECT_EQ(run(odd + "--format dot --around a:x"), 2);
  EXPECT_THAT(m_err, StartsWith("kep-rg: no node \"a:x\"; closest: "));
  for (const char* bad :
       {"--format dot --around :é --steps -1", "--format dot --around :é --steps x",
        "--format svg --around :é", "--around :é", "--format dot --around :é --direction up",
        "--format dot --around :é --max-nodes 0", "--format dot --around ''"}) {
    EXPECT_EQ(run(odd + bad), 2) << bad;
    EXPECT_EQ(m_out, "") << bad;
    EXPECT_THAT(m_err, StartsWith("kep-rg: ")) << bad;
    EXPECT_EQ(m_err.find('\n'), m_err.size() - 1) << bad;
  }
  expect_refused(odd + "--format dot",
                 "export: a window needs --around NODE (the whole graph: --format csr)");
  expect_refused(odd + "--format csr -o csr --around :é",
                 "export: --format csr writes the whole graph, and takes no --around");
  for (const char* option : {"--steps 2", "--direction both", "--max-nodes 5"})
    expect_refused(odd + "--format csr -o csr " + option,
                   std::string("export: --format csr writes the whole graph, and takes no ") +
                       std::string(option).substr(0, std::string(option).find(' ')));
  for (const char* output : {"", " -o -"})
    expect_refused(odd + "--format csr" + output,
                   "standard output: can't be written: arrays are four files in a folder (-o DIR)");
}

TEST_F(ExportCommand, TellsWhyItCannotWrite) {
  make_odd_device();
  const std::string odd = "export odd.json odd.jsonl ";
  write("file", "old");
  expect_refused(odd + "--format csr -o file", "file/csr.json: can't be written: Not a directory");
  expect_refused(odd + "--format csr -o file/csr", "file/csr/csr.json: can't be written: Not a directory");
  expect_refused(odd + "--format dot --around :é -o none/w.dot",
                 "none/w.dot: can't be written: No such file or directory");
  expect_refused(odd + "--format dot --around :é -o odd.json",
                 "odd.json: can't be written: it is an input of this run");
  EXPECT_EQ(read("file"), "old");
  EXPECT_EQ(run(odd + "--format dot --around :é >/dev/full"), 2);
  EXPECT_EQ(m_err, "kep-rg: standard output: can't be written: No space left on device\n");
}

TEST_F(ExportCommand, LeavesNothingOfArraysForWhichThereIsNoRoom) {
  std::filesystem::create_directory(path("disk"));
  if (mount("tmpfs", path("disk").c_str(), "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "no disk can be mounted here";
  make_device();
  for (const char* const command : {"export d.kdb --format csr -o disk/all", "build d.kdb --dump disk/all"}) {
    EXPECT_EQ(run(command), 2) << command;
    EXPECT_THAT(m_err, HasSubstr(": can't be written: No space left on device\n")) << command;
    EXPECT_TRUE(std::filesystem::is_empty(path("disk"))) << command;
  }
  umount(path("disk").c_str());
}

} // namespace export_command_test
