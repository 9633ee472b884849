// Cells of a chip database: local names with a "/".

#include "tests/tool/import_icebox/icebox_fixture.h"

#include <gmock/gmock.h>

namespace import_icebox_cells_test {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

/// Two cells of a family with the same pins, one with a pin less, and a pin that reaches another tile.
constexpr std::string_view CELLS = R"(.device tiny 2 1 8
.logic_tile 0 0
.logic_tile 1 0
.net 0
0 0 lutff_0/out
1 0 neigh
.net 1
0 0 lutff_1/out
.net 2
0 0 lutff_0/in_0
.net 3
0 0 lutff_1/in_0
.net 4
0 0 lutff_2/in_0
.net 5
0 0 lutff_global/clk
.net 6
0 0 io_0/d/0
.net 7
0 0 feed
0 0 io_global/latch
1 0 io_global/latch
.buffer 0 0 2 B
1 0
.buffer 0 0 3 B
1 0
.buffer 0 0 4 B
1 0
.buffer 0 0 7 B
1 0
)";

TEST_F(Icebox, PinsArePortsOfCellsInputsWhereAMuxDrivesThemAndOutputsElsewhere) {
  import(CELLS);
  EXPECT_THAT(keys(tile("0_0")["cells"]),
              ElementsAre("buffer.lutff_0.in_0", "buffer.lutff_1.in_0", "buffer.lutff_2.in_0", "buffer.feed",
                          "bel.lutff_0", "bel.lutff_1", "bel.lutff_2", "bel.lutff_global", "bel.io_0",
                          "bel.io_global"));
  EXPECT_THAT(connections(tile("0_0"), "bel.lutff_0"), ElementsAre("out=lutff_0.out", "in_0=lutff_0.in_0"));
  EXPECT_THAT(ports(module("bel.lutff.1")), ElementsAre("out output", "in_0 input"));
  EXPECT_EQ(as_text(tile("0_0")["cells"]["bel.lutff_0"]["attributes"]), "{}");
}

TEST_F(Icebox, CellsOfOneFamilyWithTheSamePortsShareAModule) {
  import(CELLS);
  const auto type = [this](std::string_view cell) {
    return std::string_view(tile("0_0")["cells"][cell]["type"]);
  };
  EXPECT_EQ(type("bel.lutff_0"), "bel.lutff.1");
  EXPECT_EQ(type("bel.lutff_1"), "bel.lutff.1");
  EXPECT_EQ(type("bel.lutff_2"), "bel.lutff.2");
  EXPECT_EQ(type("bel.lutff_global"), "bel.lutff_global.1");
}

TEST_F(Icebox, APinBehindASecondSlashKeepsTheRestAsItsPort) {
  import(CELLS);
  EXPECT_THAT(connections(tile("0_0"), "bel.io_0"), ElementsAre("d.0=io_0.d.0"));
}

TEST_F(Icebox, PinsSetTheDirectionsOfTheTilesPortsToo) {
  import(CELLS);
  EXPECT_THAT(ports(tile("0_0")), ElementsAre("lutff_0.out output", "feed output", "io_global.latch input"));
  EXPECT_THAT(ports(tile("1_0")), ElementsAre("neigh input", "io_global.latch input"));
  EXPECT_THAT(ports(module("bel.io_global.1")), ElementsAre("latch input"));
}

TEST_F(Icebox, AnUndrivenNetWithPinsInTwoTilesIsBidirectionalInBoth) {
  import(R"(.device tiny 2 1 1
.logic_tile 0 0
.logic_tile 1 0
.net 0
0 0 ram/a
1 0 ram/a
)");
  EXPECT_THAT(ports(tile("0_0")), ElementsAre("ram.a inout"));
  EXPECT_THAT(ports(module("bel.ram.1")), ElementsAre("a output"));
  EXPECT_EQ(tile_type("0_0"), tile_type("1_0"));
}

TEST_F(Icebox, TheSameTextGivesTheSameBytesAndLeavesNoOtherFile) {
  import(CELLS);
  const std::string model = read("model.json");
  const std::string routing = read("routing.jsonl");
  import(CELLS);
  EXPECT_EQ(read("model.json"), model);
  EXPECT_EQ(read("routing.jsonl"), routing);
  EXPECT_THAT(files(), UnorderedElementsAre("chip.txt", "model.json", "routing.jsonl"));
}

} // namespace import_icebox_cells_test
