#include "tests/support/routing_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace routing_refusal_test {

struct REFUSAL {
  const char* m_what;
  const char* m_line;
  const char* m_reason;
};

class RoutingRefusal : public testing::TestWithParam<REFUSAL> {};

const REFUSAL LINES[] = {
    {"List", "[]", "no JSON object"},
    {"Number", "12", "no JSON object"},
    {"NoOp", R"({"module": "MUX"})", "\"op\" is missing"},
    {"OpThatIsNoText", R"({"op": 1})", "\"op\" is no text"},
    {"OpTwice", R"({"op": "disable_merge", "op": "disable_merge"})", "\"op\" stands there twice"},
    {"UnknownOp", R"({"op": "add_mux", "module": "MUX"})", "unknown op \"add_mux\""},
    {"UnknownField", R"({"op": "set_spare_row", "instance": "t0", "colour": 1})",
     "set_spare_row has no field \"colour\""},
    {"FieldOfAnotherOp", R"({"op": "set_spare_row", "instance": "t0", "module": "TOP"})",
     "set_spare_row has no field \"module\""},
    {"MissingField", R"({"op": "add_port_edge", "module": "MUX", "input": "i[0]"})",
     "add_port_edge: \"output\" is missing"},
    {"FieldTwice", R"({"op": "set_spare_row", "instance": "t0", "instance": "t1"})",
     "\"instance\" stands there twice"},
    {"NumberAsText", R"({"op": "set_spare_row", "instance": 7})", "\"instance\" is no text"},
    {"NumberAsFlag", R"({"op": "set_skip_paths", "module": "MUX", "skip": 1})",
     "\"skip\" is neither true nor false"},
    {"TextAsNumber", R"({"op": "add_tunnel_type", "module": "MUX", "tunnel": "1"})",
     "\"tunnel\" is no integer from 0 to 3"},
    {"FractionAsNumber", R"({"op": "add_tunnel_type", "module": "MUX", "tunnel": 1.0})",
     "\"tunnel\" is no integer from 0 to 3"},
    {"TunnelOutOfRange", R"({"op": "add_tunnel_type", "module": "MUX", "tunnel": 4})",
     "\"tunnel\" is no integer from 0 to 3"},
    {"HipiOutOfRange",
     R"({"op": "add_port_edge", "module": "MUX", "input": "i[0]", "output": "o", "hipi": -1})",
     "\"hipi\" is no integer from 0 to 3"},
    {"FlagsOutOfRange", R"({"op": "add_wire_type", "module": "MUX", "name": "n", "path": "o", "flags": 256})",
     "\"flags\" is no integer from 0 to 255"},
    {"UnknownModule", R"({"op": "disable_merge", "module": "NONE", "port": "o"})",
     "no module \"NONE\" in view LOGICAL"},
    {"ModuleOfAnotherView", R"({"op": "disable_merge", "module": "TILE", "view": "BLC", "port": "w"})",
     "no module \"TILE\" in view BLC"},
    {"KeyAsModule", R"({"op": "disable_merge", "module": "MUX_TWIN", "port": "o"})",
     "no module \"MUX_TWIN\" in view LOGICAL"},
    {"NulBehindAName", R"({"op": "disable_merge", "module": "MUX\u0000", "port": "o"})",
     "no module \"MUX\\u0000\" in view LOGICAL"},
    {"UnknownView", R"({"op": "disable_merge", "module": "MUX", "view": "logical", "port": "o"})",
     "unknown view \"logical\""},
    {"DefaultViewOfAModule",
     R"({"op": "disable_merge", "module": "MUX", "view": "DEFAULT_VIEW", "port": "o"})",
     "unknown view \"DEFAULT_VIEW\""},
    {"UnknownPort", R"({"op": "add_port_edge", "module": "MUX", "input": "i", "output": "o"})",
     "no port \"i\" in module \"MUX\""},
    {"UnknownInstance", R"({"op": "set_skip_paths", "module": "TILE", "skip": true, "instance": "x"})",
     "no instance \"x\" in module \"TILE\""},
    {"InstanceOfAnotherView", R"({"op": "set_skip_paths", "module": "LAB", "skip": true, "instance": "u"})",
     "no instance \"u\" in module \"LAB\""},
    {"UnknownInstanceBelowTheTop", R"({"op": "set_spare_row", "instance": "t0/x"})",
     "no instance \"t0/x\" below the top"},
    {"EmptyPathOfInstances", R"({"op": "set_spare_row", "instance": ""})", "no instance \"\" below the top"},
    {"RootThatIsNoIpRoot", R"({"op": "add_routing_root", "module": "TILE", "root_view": "LOGICAL"})",
     "module \"TILE\" is no IP root, so it can't be a routing root"},
    {"UnknownViewOfARoot", R"({"op": "add_routing_root", "module": "LAB", "root_view": "NONE"})",
     "unknown view \"NONE\""},
    {"PathWithoutSegments", R"({"op": "add_wire_type", "name": "n", "module": "TILE", "path": "/:"})",
     "no port \"/:\" below module \"TILE\": the path names no port"},
    {"PathOfInstancesAlone", R"({"op": "add_wire_type", "name": "n", "module": "TILE", "path": "m"})",
     "no port \"m\" below module \"TILE\": the path names no port"},
    {"PathThroughNoInstance", R"({"op": "add_wire_type", "name": "n", "module": "TILE", "path": "m/x/o"})",
     "no port \"m/x/o\" below module \"TILE\": no instance \"x\" in module \"MUX\""},
    {"PathToNoPort", R"({"op": "add_wire_type", "name": "n", "module": "TILE", "path": "m:x"})",
     "no port \"m:x\" below module \"TILE\": no port \"x\" in module \"MUX\""},
    {"PathThroughTheHiddenViewOfAnIpRoot",
     R"({"op": "add_wire_type", "name": "n", "module": "TILE", "path": "b/l:o"})",
     "no port \"b/l:o\" below module \"TILE\": no instance \"l\" in module \"LAB\""},
    {"PathThatBeginsInTheHiddenView",
     R"({"op": "add_wire_type", "name": "n", "module": "LAB", "path": "l:o"})",
     "no port \"l:o\" below module \"LAB\": no instance \"l\" in module \"LAB\""},
    {"PathOfOneNameThatIsAnInstance", R"({"op": "add_wire_type", "name": "n", "module": "LAB", "path": "l"})",
     "no port \"l\" below module \"LAB\": the path names no port"},
    {"LineBreakInAName", R"({"op": "a\nb"})", "unknown op \"a\\u000ab\""},
};

TEST_P(RoutingRefusal, IsOneLineThatTellsTheLine) {
  ROUTED_DEVICE device;
  const std::string before = "# comment\n{\"op\": \"add_module_is_not_template\", \"module\": \"TOP\"}\n";
  EXPECT_EQ(device.refusal(before + GetParam().m_line + "\n{\"op\": \"unread\"}\n"),
            std::string("r.jsonl:3: ") + GetParam().m_reason);
  EXPECT_TRUE(device.store()->is_not_template(device.module("TOP"))) << "what stands before was carried out";
}

INSTANTIATE_TEST_SUITE_P(Lines, RoutingRefusal, testing::ValuesIn(LINES),
                         [](const auto& refusal) { return refusal.param.m_what; });

TEST(RoutingRefusal, ALineThatIsNoJsonIsToldWithTheColumn) {
  ROUTED_DEVICE device;
  EXPECT_EQ(device.refusal("\n{\"op\": \"add_remove_node\", "),
            "r.jsonl:2:27: no JSON: the text ends where a key is expected");
  EXPECT_EQ(device.refusal("{} {}"), "r.jsonl:1:4: no JSON: there is text behind the end");
  EXPECT_EQ(device.refusal("#\n\n # comment"), "r.jsonl:3:2: no JSON: a value is expected");
}

TEST(RoutingRefusal, WhatAnOperationRefusesIsToldInItsOwnWords) {
  ROUTED_DEVICE device;
  const auto expect = [&](const std::string& line, const std::string& words) {
    EXPECT_THAT(device.refusal("\n" + line), testing::StartsWith("r.jsonl:2: " + words));
  };
  expect(R"({"op": "set_skip_paths", "module": "MUX", "skip": true})",
         "No port edges exist for module MUX(logical)");
  expect(R"({"op": "add_skip_paths_to_output_port", "module": "MUX", "port": "o"})",
         "No port edges exist for module MUX(logical)");
  expect(R"({"op": "set_skip_paths", "module": "TILE", "instance": "m", "skip": true})",
         "No port edges exist for instance m with a master MUX");
  expect(R"({"op": "add_routing_root", "module": "LONE", "root_view": "BLC"})",
         "Failed because routing_root=LONE does not have a view_type=blc");
  for (const std::string view : {"DEFAULT_VIEW", "VIEW_1", "LOGICAL_TWIN"})
    expect(R"({"op": "add_routing_root", "module": "LAB", "root_view": ")" + view + "\"}",
           "Failed because routing_root=LAB is not marked as view_type logical or blc.");
  device.read(R"({"op": "add_port_edge", "module": "MUX", "input": "i[0]", "output": "o"}
{"op": "set_skip_paths", "module": "TILE", "instance": "m", "skip": true})");
  expect(R"({"op": "set_skip_paths", "module": "TILE", "instance": "m", "skip": false})",
         "Can't currently remove a skip path for instance m");
}

TEST(RoutingRefusal, EveryFieldThatIsNotOptionalIsMissedByName) {
  const std::pair<const char*, std::vector<std::string>> ops[] = {
      {"add_port_edge", {"module", "input", "output"}},
      {"add_routing_flyover", {"module", "input", "output"}},
      {"add_routing_root", {"module", "root_view"}},
      {"add_inserted_node", {"module", "port"}},
      {"add_remove_node", {"module", "port"}},
      {"add_tunnel_type", {"module", "tunnel"}},
      {"add_module_is_not_template", {"module"}},
      {"disable_merge", {"module", "port"}},
      {"set_skip_paths", {"module", "skip"}},
      {"add_skip_paths_to_output_port", {"module", "port"}},
      {"set_non_template_mux_skip_path_inst_name_pattern", {"pattern"}},
      {"add_wire_type", {"name", "module", "path"}},
      {"set_spare_row", {"instance"}},
  };
  const auto value_of = [](const std::string& field) {
    return field == "skip" ? "true" : field == "tunnel" ? "1" : "\"x\"";
  };
  ROUTED_DEVICE device;
  for (const auto& [op, fields] : ops)
    for (const std::string& missing : fields) {
      std::string line = std::string("{\"op\": \"") + op + "\"";
      for (const std::string& field : fields)
        if (field != missing) line += ", \"" + field + "\": " + value_of(field);
      EXPECT_EQ(device.refusal(line + "}"),
                std::string("r.jsonl:1: ") + op + ": \"" + missing + "\" is missing");
    }
}

TEST(RoutingRefusal, ARefusedDescriptionDoesNotInitializeTheStore) {
  ROUTED_DEVICE device;
  EXPECT_NE(device.refusal("x"), "");
  EXPECT_FALSE(device.store()->is_initialized());
}

} // namespace routing_refusal_test
