#include "tests/tool/import_icebox/icebox_fixture.h"

#include <gmock/gmock.h>

namespace import_icebox_test {

using testing::ElementsAre;
using testing::IsEmpty;

/// Two tiles side by side: "a" drives "b" in each, and the first tile's "b" is the second one's "a".
constexpr std::string_view CHAIN = R"(# a comment
.device tiny 3 2 3

.logic_tile 1 0
.logic_tile 2 0

.net 0
1 0 a

.net 1
1 0 b
2 0 a

.net 2
2 0 b

.buffer 1 0 1 B0[1]
1 0

.buffer 2 0 2 B0[1]
1 1
)";

TEST_F(Icebox, ATileIsAnInstanceNamedByItsPlace) {
  import(CHAIN);
  EXPECT_THAT(keys(module("top")["cells"]), ElementsAre("1_0", "2_0"));
  EXPECT_EQ(as_text(module("top")["attributes"]), R"({"top":1})");
  EXPECT_THAT(keys(module("top")["ports"]), IsEmpty());
}

TEST_F(Icebox, ANetOfSeveralTilesIsANetOfTheTop) {
  import(CHAIN);
  EXPECT_THAT(keys(module("top")["netnames"]), ElementsAre("net.1"));
  EXPECT_THAT(connections(module("top"), "1_0"), ElementsAre("b=net.1"));
  EXPECT_THAT(connections(module("top"), "2_0"), ElementsAre("a=net.1"));
}

TEST_F(Icebox, AWireWhoseNetStaysInTheTileIsANetWithoutAPort) {
  import(CHAIN);
  EXPECT_THAT(keys(tile("1_0")["netnames"]), ElementsAre("a", "b"));
  EXPECT_THAT(ports(tile("1_0")), ElementsAre("b output"));
  EXPECT_THAT(ports(tile("2_0")), ElementsAre("a input"));
}

TEST_F(Icebox, AMuxInstanceHasAHeaderAndAMasterByItsNumberOfInputs) {
  import(CHAIN);
  EXPECT_EQ(as_text(tile("1_0")["cells"]["buffer.b"]["attributes"]), R"({"kep_inst_header":1})");
  EXPECT_EQ(std::string_view(tile("1_0")["cells"]["buffer.b"]["type"]), "mux.1");
  EXPECT_THAT(ports(module("mux.1")), ElementsAre("i0 input", "o output"));
  EXPECT_THAT(connections(tile("1_0"), "buffer.b"), ElementsAre("i0=a", "o=b"));
}

TEST_F(Icebox, EveryMuxInputAndEveryPinHasAStatement) {
  import(R"(.device tiny 1 1 3
.logic_tile 0 0
.net 0
0 0 lutff_0/out
.net 1
0 0 w
.net 2
0 0 lutff_0/in_1
.buffer 0 0 1 B0
0 0
1 2
.routing 0 0 2 B1
1 1
)");
  EXPECT_EQ(read("routing.jsonl"),
            R"({"op":"add_port_edge","module":"mux.1","input":"i0","output":"o"}
{"op":"add_port_edge","module":"mux.2","input":"i0","output":"o"}
{"op":"add_port_edge","module":"mux.2","input":"i1","output":"o"}
{"op":"add_inserted_node","module":"bel.lutff.1","port":"out"}
{"op":"add_inserted_node","module":"bel.lutff.1","port":"in_1"}
)");
}

/// Four tiles with two nets of their own each; `tail` holds the muxes.
std::string four_tiles(std::string_view tail) {
  return std::string(R"(.device tiny 4 1 8
.logic_tile 0 0
.logic_tile 1 0
.io_tile 2 0
.logic_tile 3 0
.net 0
0 0 a
.net 1
0 0 b
.net 2
1 0 b
.net 3
1 0 a
.net 4
2 0 a
.net 5
2 0 b
.net 6
3 0 a
.net 7
3 0 b
)") + std::string(tail);
}

TEST_F(Icebox, TilesWithTheSameMuxesShareAModuleWhateverTheOrderOfTheirWires) {
  import(four_tiles(R"(.buffer 0 0 1 B
1 0
.buffer 0 0 0 B
1 1
.buffer 1 0 3 B
1 2
.buffer 1 0 2 B
1 3
)"));
  EXPECT_EQ(tile_type("0_0"), "logic_tile.1");
  EXPECT_EQ(tile_type("1_0"), "logic_tile.1");
  EXPECT_THAT(connections(tile("1_0"), "buffer.b"), ElementsAre("i0=a", "o=b"));
}

TEST_F(Icebox, TilesOfDifferentKindsHaveModulesOfTheirOwn) {
  import(four_tiles(""));
  EXPECT_EQ(tile_type("0_0"), "logic_tile.1");
  EXPECT_EQ(tile_type("2_0"), "io_tile.1");
  EXPECT_EQ(tile_type("3_0"), "logic_tile.1");
}

TEST_F(Icebox, TilesWhoseMuxesListTheirInputsInAnotherOrderHaveModulesOfTheirOwn) {
  import(four_tiles(R"(.buffer 0 0 1 B
0 0
1 1
.buffer 1 0 2 B
0 2
1 3
.buffer 3 0 7 B
0 6
1 7
)"));
  EXPECT_EQ(tile_type("0_0"), "logic_tile.1");
  EXPECT_EQ(tile_type("1_0"), "logic_tile.2");
  EXPECT_EQ(tile_type("3_0"), "logic_tile.1");
}

/// Two logic tiles, whose wires "w" an io tile takes or drives.
constexpr std::string_view DRIVEN_FROM_OUTSIDE = R"(.device tiny 3 1 2
.logic_tile 0 0
.logic_tile 1 0
.io_tile 2 0
.net 0
0 0 w
2 0 p
.net 1
1 0 w
2 0 q
.buffer 2 0 0 B
1 1
)";
constexpr std::string_view DRIVEN_ON_BOTH_SIDES = R"(.device tiny 3 1 4
.logic_tile 0 0
.logic_tile 1 0
.io_tile 2 0
.net 0
0 0 w
2 0 p
.net 1
1 0 w
2 0 q
.net 2
0 0 v
.net 3
1 0 v
.buffer 0 0 0 B
1 2
.buffer 1 0 1 B
1 3
.buffer 2 0 1 B
1 0
)";

TEST_F(Icebox, TilesThatDifferInAPortsDirectionAloneHaveModulesOfTheirOwn) {
  import(DRIVEN_FROM_OUTSIDE);
  EXPECT_THAT(ports(tile("0_0")), ElementsAre("w input"));
  EXPECT_THAT(ports(tile("1_0")), ElementsAre("w input"));
  EXPECT_EQ(tile_type("0_0"), tile_type("1_0"));

  import(DRIVEN_ON_BOTH_SIDES);
  EXPECT_THAT(ports(tile("0_0")), ElementsAre("w output"));
  EXPECT_THAT(ports(tile("1_0")), ElementsAre("w inout"));
  EXPECT_THAT(ports(tile("2_0")), ElementsAre("p input", "q inout"));
  EXPECT_NE(tile_type("0_0"), tile_type("1_0"));
}

TEST_F(Icebox, AMuxIsNamedByItsSectionAndTheWireWithDotsForSlashes) {
  import(R"(.device tiny 1 1 3
.logic_tile 0 0
.net 0
0 0 a
.net 1
0 0 lutff_0/in_0
.net 2
0 0 glb2local_0
.buffer 0 0 1 B
1 0
.routing 0 0 1 B
1 0
.buffer 0 0 2 B
1 0
)");
  EXPECT_THAT(keys(tile("0_0")["cells"]), ElementsAre("buffer.lutff_0.in_0", "routing.lutff_0.in_0",
                                                      "buffer.glb2local_0", "bel.lutff_0"));
}

TEST_F(Icebox, AFurtherEntryOfOneKindForAWireHasItsNumberBehindItsName) {
  import(R"(.device tiny 1 1 2
.logic_tile 0 0
.net 0
0 0 a
.net 1
0 0 b
.buffer 0 0 1 B
1 0
.routing 0 0 1 B
1 0
.buffer 0 0 1 C
1 1
.buffer 0 0 1 D
1 0
)");
  EXPECT_THAT(keys(tile("0_0")["cells"]), ElementsAre("buffer.b", "routing.b", "buffer.b.2", "buffer.b.3"));
  EXPECT_THAT(connections(tile("0_0"), "buffer.b.2"), ElementsAre("i0=b", "o=b"));
}

TEST_F(Icebox, InputsStandInFileOrderAndANetListedTwiceHasTwo) {
  import(R"(.device tiny 1 1 3
.logic_tile 0 0
.net 0
0 0 a
.net 1
0 0 b
.net 2
0 0 c
.routing 0 0 2 B0 B1
11 1
10 0
01 1
)");
  EXPECT_THAT(connections(tile("0_0"), "routing.c"), ElementsAre("i0=b", "i1=a", "i2=b", "o=c"));
}

TEST_F(Icebox, MuxesUseTheFirstNameOfANetAndTheOthersHangOnItOutside) {
  import(R"(.device tiny 2 1 3
.logic_tile 0 0
.logic_tile 1 0
.net 0
0 0 first
0 0 second
.net 1
0 0 out
1 0 x
.net 2
1 0 y
.buffer 0 0 0 B
1 1
.buffer 0 0 1 B
1 0
)");
  EXPECT_THAT(keys(tile("0_0")["cells"]), ElementsAre("buffer.first", "buffer.out"));
  EXPECT_THAT(connections(tile("0_0"), "buffer.out"), ElementsAre("i0=first", "o=out"));
  EXPECT_THAT(ports(tile("0_0")), ElementsAre("first output", "second input", "out output"));
  EXPECT_THAT(connections(module("top"), "0_0"), ElementsAre("first=net.0", "second=net.0", "out=net.1"));
}

TEST_F(Icebox, AWireWithDriversOnSeveralSidesIsBidirectional) {
  import(R"(.device tiny 3 1 2
.logic_tile 0 0
.logic_tile 1 0
.logic_tile 2 0
.net 0
0 0 w
1 0 w
2 0 w
.net 1
0 0 s
1 0 s
2 0 s
.buffer 0 0 0 B
1 1
.buffer 1 0 0 B
1 1
)");
  EXPECT_THAT(ports(tile("0_0")), ElementsAre("w inout", "s input"));
  EXPECT_THAT(ports(tile("2_0")), ElementsAre("w input", "s input"));
  EXPECT_EQ(tile_type("0_0"), tile_type("1_0"));
  EXPECT_NE(tile_type("0_0"), tile_type("2_0"));
}

TEST_F(Icebox, SectionsThatAreNotAboutConnectivityArePassedOver) {
  import(R"(.device tiny 1 1 1
.pins cm36
A1 0 7 0
.gbufin
0 4 6
.logic_tile_bits 54 16
CarryInSet B1[50]
.extra_cell 0 0 WARMBOOT
BOOT 6 0 fabout
.something new here
with any line

.dsp0_tile 0 0
.extra_bits
padin_glb_netwk.0 0 180 78
.net 0
0 0 a
.ieren
0 1 0 0 1 1
)");
  EXPECT_THAT(keys(module("top")["cells"]), ElementsAre("0_0"));
  EXPECT_EQ(tile_type("0_0"), "dsp0_tile.1");
}

TEST_F(Icebox, LineEndsOfEitherKindAndALastLineWithoutOneAreRead) {
  import(
      ".device tiny 1 1 2\r\n.io_tile 0 0\r\n.net 0\r\n0 0 a\r\n.net 1\r\n0 0 b\r\n.buffer 0 0 1 B\r\n1 0");
  EXPECT_THAT(connections(tile("0_0"), "buffer.b"), ElementsAre("i0=a", "o=b"));
}

} // namespace import_icebox_test
