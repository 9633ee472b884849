// What the tool tells of devices on which nothing comes out as meant, and of limits.

#include "tests/tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace nothing_silent_test {

using testing::HasSubstr;

const char* const ROUTING = R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o"})";
const char* const MUX = R"("MUX": {"ports": {"a": {"direction": "input", "bits": [2]},
                                             "o": {"direction": "output", "bits": [3]}}})";

/// A top of these cells, beside MUX and other modules.
std::string model(const std::string& cells, const std::string& more = "",
                  const std::string& attributes = "") {
  return R"({"modules": {)" + std::string(MUX) + more + R"(, "TOP": {"attributes": {"top": 1)" + attributes +
         R"(}, "cells": {)" + cells + "}}}}";
}
std::string cell(const std::string& name, const std::string& connections, bool header = true) {
  return "\"" + name + R"(": {"type": "MUX", "attributes": {"kep_inst_header": )" + (header ? "1" : "0") +
         R"(}, "connections": {)" + connections + "}}";
}

class NothingSilent : public Tool {
protected:
  void SetUp() override { write("r.jsonl", ROUTING); }
};

TEST_F(NothingSilent, ADeviceWithoutANodeIsAWarningWithEveryCommandThatBuilds) {
  write("m.json", model(cell("m", R"("o": [5])", false)));
  const std::string warning = "m.json: no port of a cell became a node: of 1 outputs of muxes: 1 no inst "
                              "header and no wire type (\"m:o\" "
                              "for one) (docs/model.md says what makes a node)\n";
  EXPECT_EQ(run("build m.json r.jsonl"), 0);
  EXPECT_EQ(m_err, warning);
  EXPECT_THAT(m_out, HasSubstr("no node  outputs of muxes: 1 no inst header and no wire type\n"));
  for (const char* command : {"check m.json r.jsonl", "trace m.json r.jsonl a b", "debug m.json r.jsonl m:o",
                              "next m.json r.jsonl m:o"}) {
    run(command);
    EXPECT_THAT(m_err, HasSubstr(warning)) << command;
  }
  run("build m.json");
  EXPECT_EQ(m_err,
            "m.json: no port of a cell became a node: no routing description is given (docs/model.md says "
            "what makes a node)\n");
  write("empty.jsonl", "# nothing\n");
  run("build m.json empty.jsonl");
  EXPECT_THAT(m_err, HasSubstr("the description has no arc (add_port_edge)"));
}

TEST_F(NothingSilent, ADeviceWithANodeIsNoWarning) {
  write("m.json", model(cell("m", R"("o": [5])") + ", " + cell("n", R"("o": [6], "a": [5])", false)));
  EXPECT_EQ(run("build m.json r.jsonl --stats s.json"), 0);
  EXPECT_EQ(m_err, "");
  EXPECT_THAT(read("s.json"), HasSubstr("\"no_node_no_header\": 1,"));
  EXPECT_THAT(read("s.json"), HasSubstr("\"no_node_unconnected\": 0,"));
}

TEST_F(NothingSilent, AnArcAgainstTheDirectionsOfItsPortsIsToldAndCarriedOut) {
  write("m.json", model(cell("m", R"("a": [5])")));
  write("back.jsonl",
        "\n{\"op\": \"add_port_edge\", \"module\": \"MUX\", \"input\": \"o\", \"output\": \"a\"}\n");
  EXPECT_EQ(run("build m.json back.jsonl --dump d"), 0);
  EXPECT_EQ(m_err,
            "back.jsonl:2: the arc goes from an output to an input of module \"MUX\": from \"o\" to \"a\"\n");
  EXPECT_EQ(read("d/nodes.tsv"), "node\tkind\nm:a\tuip\n");
}

TEST_F(NothingSilent, AnIpRootUnderAnotherIsBadInputWithThePlacesOfBoth) {
  write("m.json", model(R"("a": {"type": "OUTER"})",
                        R"(, "INNER": {"attributes": {"kep_ip_root": 1}},
                           "OUTER": {"attributes": {"kep_ip_root": 1}, "cells": {"b": {"type": "INNER"}}})"));
  write("r.jsonl", R"({"op": "add_routing_root", "module": "INNER", "root_view": "LOGICAL"}
{"op": "add_routing_root", "module": "OUTER", "root_view": "LOGICAL"})");
  for (const char* command : {"build m.json r.jsonl", "check m.json r.jsonl", "trace m.json r.jsonl a b",
                              "debug m.json r.jsonl a", "next m.json r.jsonl a"})
    expect_refused(command,
                   "m.json: IP root \"a/b\" (module \"INNER\" in view logical) lies under another, "
                   "\"a\" (module \"OUTER\" in view logical): where nodes are made one IP root may not lie "
                   "under another");
}

TEST_F(NothingSilent, AnInstHeaderOnAnIpRootWithNothingInItIsBadInput) {
  write("m.json", model(R"("a": {"type": "ROOT", "attributes": {"kep_inst_header": 1}})",
                        R"(, "ROOT": {"attributes": {"kep_ip_root": 1}})"));
  expect_refused("build m.json r.jsonl",
                 "m.json: cell \"a\" has an inst header, but module \"ROOT\" in view logical is an IP root "
                 "that is neither a routing root nor has arcs: there is nothing to make nodes of");
}

TEST_F(NothingSilent, TheTypeOfADatabaseCountsOnTheTopAlone) {
  const std::string more = R"(, "M": {"attributes": {"kep_db_type": 7}})";
  write("m.json", model(cell("m", R"("o": [5])"), more));
  EXPECT_EQ(run("build m.json r.jsonl"), 0) << m_err;
  write("m.json", model(cell("m", R"("o": [5])"), more, R"(, "kep_db_type": 3)"));
  expect_refused("build m.json r.jsonl", "m.json: modules.TOP.attributes.kep_db_type: no number from 0 to 2");
}

TEST_F(NothingSilent, ANameThatWouldBreakTheDumpIsBadInput) {
  write("m.json", model(cell("a\\tb", R"("o": [5])")));
  EXPECT_EQ(run("build m.json r.jsonl"), 2);
  EXPECT_THAT(m_err, HasSubstr("holds a control character\n"));
  EXPECT_EQ(std::count(m_err.begin(), m_err.end(), '\n'), 1);
}

TEST_F(NothingSilent, TooManyFanoutsAndFaninsAreToldByNumber) {
  std::string targets = cell("s", R"("o": [2])");
  std::string sources = cell("t", R"("a": [2], "o": [3])");
  for (int i = 0; i != 65536; ++i) {
    const std::string name = "c" + std::to_string(i);
    targets += "," + cell(name, R"("a": [2], "o": [)" + std::to_string(i + 3) + "]");
    sources += "," + cell(name, R"("o": [2])");
  }
  write("m.json", model(targets));
  expect_refused("build m.json r.jsonl",
                 "m.json: node s:o has 65536 real fanouts, more than the 65535 that a node can have");
  write("m.json", model(sources));
  expect_refused("build m.json r.jsonl",
                 "m.json: node t:o has 65536 fanins, more than the 65535 that a node can have");
}

TEST_F(NothingSilent, TooManyLevelsAndOccurrencesAreToldByNumber) {
  const auto nested = [](int levels, int width) {
    std::string modules = R"("L0": {})";
    for (int level = 1; level != levels; ++level) {
      modules += ", \"L" + std::to_string(level) + R"(": {"cells": {)";
      for (int i = 0; i != width; ++i)
        modules += (i == 0 ? "\"i" : ", \"i") + std::to_string(i) + R"(": {"type": "L)" +
                   std::to_string(level - 1) + "\"}";
      modules += "}}";
    }
    return R"({"modules": {)" + modules + "}}";
  };
  write("m.json", nested(2049, 1));
  expect_refused("build m.json", "m.json: modules.L2048: the hierarchy from here down has 2049 levels, more "
                                 "than the 2048 that a model can have");
  write("m.json", nested(32, 2));
  EXPECT_EQ(run("build m.json"), 2);
  EXPECT_THAT(m_err, HasSubstr("has 2147483648 occurrences of modules with contents, more than the "));
}

} // namespace nothing_silent_test
