#include "tests/support/routing_test_support.h"

#include <gtest/gtest.h>

namespace routing_reader_test {

/// The name of the wire type on the path of that chain and port, from the module in which it starts.
std::string wire_type(const ROUTED_DEVICE& device, const std::vector<KEP_INSTANCE*>& chain,
                      const KEP_PORT* port) {
  const KEP_MODULE* start = chain.empty() ? port->get_parent() : chain.front()->get_parent();
  const KEP_WIRE_TYPE* type = device.store()->find_wire_type(start, KEP_RELATIVE_PATH::create(chain, port));
  return type ? type->get_name() + " " + std::to_string(type->get_flags()) : "";
}

std::string spare_rows(KEP_DB* db) {
  std::string text;
  for (const std::string path : {"t0", "t1", "t0/m", "t0/b", "t0/b/l", "t0/b/u"})
    for (const KEP_UNFOLDED_INSTANCE& instance : db->find_unfolded_instances(path)) {
      const KEP_UNFOLDED_INSTANCE_ATTRIBUTES* attributes = db->get_legacy_api()->get_attributes(instance);
      if (attributes && attributes->is_spare_row()) text += path + " ";
    }
  return text;
}

TEST(RoutingReader, AnEmptyDescriptionInitializesTheStore) {
  ROUTED_DEVICE device;
  EXPECT_FALSE(device.store()->is_initialized());
  device.read("");
  EXPECT_TRUE(device.store()->is_initialized());
  ROUTED_DEVICE another;
  kep_describe_no_routing(another.db());
  EXPECT_TRUE(another.store()->is_initialized());
}

TEST(RoutingReader, BlankLinesCommentsAndCarriageReturnsArePassedOver) {
  ROUTED_DEVICE device;
  device.read("# {\n\n \t\r\n{\"op\": \"add_remove_node\", \"module\": \"MUX\", \"port\": \"o\"}\r\n#\r\n"
              "  {\"op\": \"add_remove_node\", \"module\": \"MUX\", \"port\": \"i[1]\"}");
  EXPECT_TRUE(device.store()->is_remove_node(device.port("MUX", "o")));
  EXPECT_TRUE(device.store()->is_remove_node(device.port("MUX", "i[1]")));
}

TEST(RoutingReader, PortEdgesStandInTheOrderOfTheLinesAndReachTheTwin) {
  ROUTED_DEVICE device;
  device.read(R"({"op": "add_port_edge", "module": "MUX", "input": "i[1]", "output": "o"}
{"output": "o", "input": "i[0]", "flag": false, "hipi": 0, "view": "LOGICAL", "module": "MUX", "op": "add_port_edge"})");
  EXPECT_EQ(device.muxes("MUX"), "( i[1]>o i[0]>o )");
  EXPECT_EQ(device.muxes("MUX_TWIN"), "( i[1]>o i[0]>o )");
  EXPECT_EQ(device.muxes("MUX_BLC"), "");
  EXPECT_EQ(device.store()->get_hipi_type(device.port("MUX", "o")), KEP_ROUTING_PRIMITIVE_HIPI::NONE);
}

TEST(RoutingReader, TheViewOfAStatementChoosesTheModule) {
  ROUTED_DEVICE device;
  device.read(
      R"({"op": "add_port_edge", "module": "MUX", "view": "LOGICAL_TWIN", "input": "i[0]", "output": "o"}
{"op": "add_remove_node", "module": "V", "view": "VIEW_1", "port": "p"}
{"op": "add_remove_node", "module": "LAB", "view": "BLC", "port": "p"})");
  EXPECT_EQ(device.muxes("MUX"), "");
  EXPECT_EQ(device.muxes("MUX_TWIN"), "( i[0]>o )");
  EXPECT_TRUE(device.store()->is_remove_node(device.port("MUX_V1", "p")));
  EXPECT_TRUE(device.store()->is_remove_node(device.port("LAB_BLC", "p")));
  EXPECT_FALSE(device.store()->is_remove_node(device.port("LAB", "p")));
}

TEST(RoutingReader, APortEdgeTakesTheFlagAndTheHipiTypeOfItsLine) {
  ROUTED_DEVICE device;
  device.read(
      R"({"op": "add_port_edge", "module": "MUX", "input": "i[0]", "output": "o", "hipi": 3, "flag": true})");
  EXPECT_EQ(device.muxes("MUX"), "!( i[0]>o )");
  EXPECT_EQ(device.store()->get_hipi_type(device.port("MUX", "i[0]")), KEP_ROUTING_PRIMITIVE_HIPI::P);
  EXPECT_EQ(device.store()->get_hipi_type(device.port("MUX_BLC", "o")), KEP_ROUTING_PRIMITIVE_HIPI::P);
}

TEST(RoutingReader, AFlyoverIsAdded) {
  ROUTED_DEVICE device;
  device.read(R"({"op": "add_routing_flyover", "module": "TILE", "input": "m", "output": "w"})");
  std::string flyovers;
  for (const KEP_ROUTING_FLYOVER* flyover : device.store()->iter_routing_flyovers(false))
    flyovers +=
        std::string(flyover->get_input()->get_plain_name()) + ">" + flyover->get_output()->get_plain_name();
  EXPECT_EQ(flyovers, "m>w");
}

TEST(RoutingReader, ARoutingRootIsTheModuleOrItsBlcEquivalents) {
  ROUTED_DEVICE device;
  device.read(R"({"op": "add_routing_root", "module": "LAB", "root_view": "BLC"}
{"op": "add_routing_root", "module": "LONE", "view": "LOGICAL", "root_view": "LOGICAL"})");
  std::string roots;
  for (const KEP_MODULE* root : device.store()->iter_routing_roots(false))
    roots += std::string(root->get_key()) + " ";
  EXPECT_EQ(roots, "LAB_BLC LONE ");
}

TEST(RoutingReader, AnInsertedNodeHasItsNameOrNone) {
  ROUTED_DEVICE device;
  device.read(R"({"op": "add_inserted_node", "module": "TILE", "port": "w", "name": "wire"}
{"op": "add_inserted_node", "module": "TILE", "port": "m"})");
  EXPECT_EQ(*device.store()->find_insert_node_name(device.port("TILE", "w")), "wire");
  EXPECT_EQ(*device.store()->find_insert_node_name(device.port("TILE", "m")), "");
  EXPECT_FALSE(device.store()->is_insert_node(device.port("LONE", "p")));
}

TEST(RoutingReader, ATunnelTypeIsAdded) {
  ROUTED_DEVICE device;
  device.read(R"({"op": "add_tunnel_type", "module": "MUX", "tunnel": 2}
{"op": "add_tunnel_type", "module": "TILE", "tunnel": 3}
{"op": "add_tunnel_type", "module": "TILE", "tunnel": 0})");
  EXPECT_EQ(device.store()->get_tunnel_type(device.module("MUX_BLC")), KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH);
  EXPECT_EQ(device.store()->get_tunnel_type(device.module("TILE")), KEP_ROUTING_PRIMITIVE_TUNNEL::NONE);
}

TEST(RoutingReader, AModuleIsMarkedAsNoTemplate) {
  ROUTED_DEVICE device;
  device.read(R"({"op": "add_module_is_not_template", "module": "TILE"})");
  EXPECT_TRUE(device.store()->is_not_template(device.module("TILE")));
  EXPECT_FALSE(device.store()->is_not_template(device.module("MUX")));
}

TEST(RoutingReader, MergingIsDisabledAtAPort) {
  ROUTED_DEVICE device;
  device.read(R"({"op": "disable_merge", "module": "MUX", "port": "o"})");
  EXPECT_TRUE(device.store()->is_merge_disabled(device.port("MUX", "o")));
  EXPECT_FALSE(device.store()->is_merge_disabled(device.port("MUX", "i[0]")));
}

TEST(RoutingReader, SkipPathsAreSetOnAModuleOrOnOneOfItsInstances) {
  ROUTED_DEVICE device;
  const std::string edge = R"({"op": "add_port_edge", "module": "MUX", "input": "i[0]", "output": "o"})";
  device.read(edge + "\n" + R"({"op": "set_skip_paths", "module": "TILE", "instance": "m", "skip": true})");
  EXPECT_EQ(device.muxes("MUX"), "( i[0]>o not TILE.m )");
  device.read(R"({"op": "set_skip_paths", "module": "LAB", "view": "BLC", "instance": "u", "skip": true})");
  EXPECT_EQ(device.muxes("MUX"), "( i[0]>o not TILE.m not LAB_BLC.u )");
  device.read(R"({"op": "set_skip_paths", "module": "MUX", "skip": true})");
  EXPECT_EQ(device.muxes("MUX"), "!( i[0]>o )");
  device.read(R"({"op": "set_skip_paths", "module": "MUX", "skip": false})");
  EXPECT_EQ(device.muxes("MUX"), "( i[0]>o )");
  device.read(R"({"op": "add_skip_paths_to_output_port", "module": "MUX", "port": "o"})");
  EXPECT_EQ(device.muxes("MUX"), "!( i[0]>o )");
}

TEST(RoutingReader, ThePatternOfInstanceNamesIsSet) {
  ROUTED_DEVICE device;
  device.read(R"({"op": "set_non_template_mux_skip_path_inst_name_pattern", "pattern": "_skip"})");
  EXPECT_EQ(device.store()->get_non_template_mux_skip_path_inst_name_pattern(), "_skip");
}

TEST(RoutingReader, AWireTypeStandsOnARelativePort) {
  ROUTED_DEVICE device;
  const auto cell = [&](const char* module, const char* name) {
    return device.module(module)->find_instance(name);
  };
  device.read(R"({"op": "add_wire_type", "name": "own", "module": "TILE", "path": "w"}
{"op": "add_wire_type", "name": "below", "flags": 255, "module": "TOP", "path": "t1/m:o"}
{"op": "add_wire_type", "name": "separators", "flags": 2, "module": "TILE", "path": ":/m//i[1]:"})");
  EXPECT_EQ(wire_type(device, {}, device.port("TILE", "w")), "own 0");
  EXPECT_EQ(wire_type(device, {cell("TOP", "t1"), cell("TILE", "m")}, device.port("MUX", "o")), "below 255");
  EXPECT_EQ(wire_type(device, {cell("TOP", "t0"), cell("TILE", "m")}, device.port("MUX", "o")), "");
  EXPECT_EQ(wire_type(device, {cell("TILE", "m")}, device.port("MUX", "i[1]")), "separators 2");
}

TEST(RoutingReader, APathEntersEveryIpRootInItsBlcViewButEndsInThePlainMaster) {
  ROUTED_DEVICE device;
  const auto cell = [&](const char* module, const char* name) {
    return device.module(module)->find_instance(name);
  };
  device.read(R"({"op": "add_wire_type", "name": "blc", "module": "TILE", "path": "b/u:o"}
{"op": "add_wire_type", "name": "port", "module": "TILE", "path": "b:p"}
{"op": "add_wire_type", "name": "own", "module": "LAB", "path": "p"}
{"op": "add_wire_type", "name": "from the root", "module": "LAB", "path": "u:o"})");
  EXPECT_EQ(wire_type(device, {cell("TILE", "b"), cell("LAB_BLC", "u")}, device.port("MUX", "o")), "blc 0");
  EXPECT_EQ(wire_type(device, {cell("TILE", "b")}, device.port("LAB", "p")), "port 0");
  EXPECT_EQ(wire_type(device, {}, device.port("LAB", "p")), "own 0");
  EXPECT_EQ(wire_type(device, {cell("LAB_BLC", "u")}, device.port("MUX", "o")), "from the root 0");
}

TEST(RoutingReader, ASpareRowIsMarkedOnTheInstancesOfAPathInEveryView) {
  ROUTED_DEVICE device;
  device.read(R"({"op": "set_spare_row", "instance": "t1"})");
  EXPECT_EQ(spare_rows(device.db()), "t1 ");
  device.read("{\"op\": \"set_spare_row\", \"instance\": \"t0/b/l\"}\n{\"op\": \"set_spare_row\", "
              "\"instance\": \"t0/b/u\"}");
  EXPECT_EQ(spare_rows(device.db()), "t1 t0/b/l t0/b/u ");
}

} // namespace routing_reader_test
