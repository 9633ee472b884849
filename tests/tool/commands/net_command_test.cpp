// `kep-rg net`: what hangs on a net.

#include "tests/tool/commands/ask_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace net_command_test {

using testing::HasSubstr;

const std::string HEAD = "role\tname\tmodule\tnode\tleads_to\tnet\n";

class NetCommand : public test_model::FiveTiles {
protected:
  NetCommand() { m_command = "net"; }
};

TEST_F(NetCommand, ListsNetsThatAreOneAndWhatStandsOnThem) {
  const std::string rows = HEAD + "net\tlead\tTOP\t\t\tlead\n"
                                  "net\ty/out\tTILE\t\t\ty/out\n"
                                  "net\tz/in\tTILE\t\t\tz/in\n"
                                  "drives\ty/m:o\tMUX\tuip\t\ty/out\n"
                                  "reads\t:pin\tTOP\tboundary\t\tlead\n"
                                  "reads\tz/m:a\tMUX\t\tz/m:o\tz/in\n"
                                  "joins\ty:out\tTILE\t\ty/out\tlead\n"
                                  "joins\tz:in\tTILE\t\tz/in\tlead\n";
  for (const std::string name : {"lead", "z/in", "y/m:o", ":pin", "z/m:a", "z:in"})
    expect(name, 0, "# " + name + ": 3 nets, 1 driver, 2 readers, 1 mux input among them\n" + rows);
}

TEST_F(NetCommand, TellsOfPortsThatLeadToNoNet) {
  expect("z:out", 0,
         "# z:out: 1 net, 1 driver, 0 readers, 0 mux inputs\n" + HEAD +
             "net\tz/out\tTILE\t\t\tz/out\n"
             "drives\tz/m:o\tMUX\tuip\t\tz/out\n"
             "open\tz:out\tTILE\t\t\tz/out\n");
}

TEST_F(NetCommand, TellsAPortWithNothingBehindFromAReader) {
  std::string model = test_model::FIVE_TILES_MODEL;
  model.insert(model.find("\"out\": {\"direction\": \"output\", \"bits\": [4]}}"),
               "\"spare\": {\"direction\": \"input\", \"bits\": [7]}, ");
  const std::string connections = "\"connections\": {\"in\": [9]";
  model.insert(model.find(connections) + connections.size(), ", \"spare\": [9]");
  write("model.json", model);
  EXPECT_EQ(run("net model.json routing.jsonl lead"), 0) << m_err;
  EXPECT_THAT(m_out, HasSubstr("# lead: 3 nets, 1 driver, 2 readers, 1 mux input among them\n"));
  EXPECT_THAT(m_out, HasSubstr("\nopen\tz:spare\tTILE\t\t\tlead\n"));
}

TEST_F(NetCommand, PrintsJson) {
  expect("l/in --json", 0, R"({"name": "l/in", "joined": [
{"nets": 1, "drivers": 0, "readers": 1, "mux_inputs": 1, "points": [
{"role": "net", "name": "l/in", "module": "TILE", "node": "", "leads_to": "", "net": "l/in"},
{"role": "reads", "name": "l/m:a", "module": "MUX", "node": "", "leads_to": "l/m:o", "net": "l/in"},
{"role": "open", "name": "l:in", "module": "TILE", "node": "", "leads_to": "", "net": "l/in"}
]
}]}
)");
}

TEST_F(NetCommand, RefusesANameOfNeitherANetNorAPort) {
  expect_no("laed", "no net \"laed\"; closest: lead, w, fork");
  expect_no("y/outer", "no net \"y/outer\"; closest: y/out");
  expect_no("y/q/out", "no net \"y/q/out\"; closest: y/out");
  expect_no("y/m:p", "no node \"y/m:p\"; closest: y/m:o, l/m:o, r/m:o");
  expect_no("", "net: NET-OR-NODE is missing: routing.jsonl is a file and no node; usage: kep-rg net DEVICE "
                "[ROUTING ...] NET-OR-NODE");
}

// Two nets of one name, of which one has a bidirectional port, and a port on no net.
TEST_F(NetCommand, TellsOfBothDirectionsTwinsAndNetsOfOneName) {
  write("model.json", R"({"modules": {
    "PAD": {"ports": {"io": {"direction": "inout", "bits": [2]}}},
    "MUX": {"ports": {"a": {"direction": "input", "bits": [2]}, "o": {"direction": "output", "bits": [3]}}},
    "TOP": {"attributes": {"top": 1},
            "cells": {"p": {"type": "PAD", "connections": {"io": [2]}},
                      "q": {"type": "PAD"},
                      "m": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [2], "o": [4]}},
                      "k": {"type": "MUX", "attributes": {"kep_inst_header": 1},
                            "connections": {"a": [4]}}},
            "netnames": {"n": {"bits": [2, 3]}, "n[0]": {"bits": [4]}}}}})");
  write("routing.jsonl", R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o", "hipi": 1}
)");
  expect("q:io", 1, "No net is connected to q:io\n");
  expect("q:io --json", 1, "{\"name\": \"q:io\", \"joined\": []}\n");
  const std::string with_pad = ": 1 net, 1 driver, 2 readers, 1 mux input among them\n" + HEAD +
                               "net\tn[0]\tTOP\t\t\tn[0]\n"
                               "both\tp:io\tPAD\t\t\tn[0]\n"
                               "reads\tm:a\tMUX\t\tm:o\tn[0]\n";
  const std::string with_twin = ": 1 net, 1 driver, 1 reader, 1 mux input among them\n" + HEAD +
                                "net\tn[0]\tTOP\t\t\tn[0]\n"
                                "drives\tm:o\tMUX\tuip+hipi\t\tn[0]\n"
                                "reads\tk:a\tMUX\t\tk:o\tn[0]\n";
  expect("p:io", 0, "# p:io" + with_pad);
  expect("k:a", 0, "# k:a" + with_twin);
  expect("n[0]", 0, "# n[0]" + with_pad + "# n[0]" + with_twin);
}

} // namespace net_command_test
