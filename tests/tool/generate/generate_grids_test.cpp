// A fabric whose blocks stand side by side in the top, as generators write one.

#include "tests/tool/generate/generate_fixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

namespace generate_grids_test {

using testing::ElementsAreArray;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAreArray;

class GenerateGrids : public Generate {
protected:
  static GENERATE_OPTIONS get_options(std::uint32_t columns, std::uint32_t rows) {
    GENERATE_OPTIONS options = small(GENERATE_FORM::GRIDS);
    options.m_columns = {columns};
    options.m_rows = {rows};
    return options;
  }
};

std::size_t count_names(const std::vector<std::string>& names, const std::string& prefix) {
  return static_cast<std::size_t>(
      std::ranges::count_if(names, [&](const std::string& name) { return name.starts_with(prefix); }));
}

/// In the whole device below a module.
std::uint64_t count_muxes(const GENERATED_MODEL& model, const std::string& module) {
  std::uint64_t count = 0;
  for (const auto& [name, cell] : model.at(module).m_cells)
    count += cell.m_type.starts_with("mux_") ? 1 : count_muxes(model, cell.m_type);
  return count;
}

TEST_F(GenerateGrids, HaveSwitchBlocksAtTheCornersOfLogicBlocksAndConnectionBlocksBetween) {
  make(get_options(3, 2));
  const std::vector<std::string> names = read_cell_names("device");
  EXPECT_EQ(count_names(names, "logic_"), 3U * 2);
  EXPECT_EQ(count_names(names, "switch_"), 4U * 3);
  EXPECT_EQ(count_names(names, "connect_h_"), 3U * 3);
  EXPECT_EQ(count_names(names, "connect_v_"), 4U * 2);
  EXPECT_EQ(count_names(names, "direct_"), 3U * 1);
  EXPECT_THAT(names, SizeIs(38));
}

TEST_F(GenerateGrids, ListBlocksByTheAlphabet) {
  make(get_options(2, 10));
  const std::vector<std::string> names = read_cell_names("device");
  EXPECT_TRUE(std::ranges::is_sorted(names));
  EXPECT_EQ(names[0], "connect_h_1__0_");
  EXPECT_EQ(names[1], "connect_h_1__10_");
  EXPECT_EQ(names[2], "connect_h_1__1_");
  for (const std::string module : {"switch_middle_middle", "mux_8", "logic"})
    EXPECT_TRUE(std::ranges::is_sorted(read_cell_names(module))) << module;
}

TEST_F(GenerateGrids, ListBlocksPlaceByPlaceOrShuffledOnDemand) {
  GENERATE_OPTIONS options = get_options(2, 10);
  make(options);
  const std::vector<std::string> by_alphabet = read_cell_names("device");
  const std::string routing = read("routing.jsonl");
  const auto top = read_model().at("device").m_cells;
  std::set<std::vector<std::string>> orders = {by_alphabet};
  for (const GENERATE_ORDER order : {GENERATE_ORDER::NUMBER, GENERATE_ORDER::SHUFFLED}) {
    options.m_order = order;
    make(options);
    const std::vector<std::string> names = read_cell_names("device");
    EXPECT_THAT(names, UnorderedElementsAreArray(by_alphabet));
    orders.insert(names);
    EXPECT_EQ(read("routing.jsonl"), routing);
    const GENERATED_MODEL model = read_model();
    for (const auto& [name, cell] : model.at("device").m_cells) {
      EXPECT_EQ(cell.m_type, top.at(name).m_type);
      EXPECT_EQ(cell.m_connections, top.at(name).m_connections);
    }
    if (order == GENERATE_ORDER::NUMBER) {
      const std::vector<std::string> first(names.begin(), names.begin() + 5);
      EXPECT_THAT(first, ElementsAreArray({"switch_0__0_", "connect_v_0__1_", "switch_0__1_",
                                           "connect_v_0__2_", "switch_0__2_"}));
    }
  }
  options.m_seed = 2;
  make(options);
  orders.insert(read_cell_names("device"));
  EXPECT_THAT(orders, SizeIs(4));
}

TEST_F(GenerateGrids, LeadTracksFromSwitchBlockThroughConnectionBlockToSwitchBlock) {
  make(get_options(3, 2));
  const auto top = read_model().at("device").m_cells;
  const auto get_bits = [&](const std::string& kind, int x, int y, const std::string& port) {
    return top.at(fmt::format("{}_{}__{}_", kind, x, y)).m_connections.at(port);
  };
  for (int x = 0; x <= 3; ++x)
    for (int y = 0; y <= 2; ++y) {
      if (x > 0) {
        EXPECT_EQ(get_bits("switch", x - 1, y, "e_out"), get_bits("connect_h", x, y, "e_in"));
        EXPECT_EQ(get_bits("connect_h", x, y, "e_out"), get_bits("switch", x, y, "e_in"));
        EXPECT_EQ(get_bits("switch", x, y, "w_out"), get_bits("connect_h", x, y, "w_in"));
        EXPECT_EQ(get_bits("connect_h", x, y, "w_out"), get_bits("switch", x - 1, y, "w_in"));
      }
      if (y > 0) {
        EXPECT_EQ(get_bits("switch", x, y - 1, "n_out"), get_bits("connect_v", x, y, "n_in"));
        EXPECT_EQ(get_bits("connect_v", x, y, "n_out"), get_bits("switch", x, y, "n_in"));
        EXPECT_EQ(get_bits("switch", x, y, "s_out"), get_bits("connect_v", x, y, "s_in"));
        EXPECT_EQ(get_bits("connect_v", x, y, "s_out"), get_bits("switch", x, y - 1, "s_in"));
      }
    }
}

TEST_F(GenerateGrids, JoinALogicBlockToTheBlocksAround) {
  make(get_options(3, 2));
  const auto top = read_model().at("device").m_cells;
  for (int x = 1; x <= 3; ++x)
    for (int y = 1; y <= 2; ++y) {
      const auto get_ports = [&](const std::string& kind, int left, int below) {
        return top.at(fmt::format("{}_{}__{}_", kind, x - left, y - below)).m_connections;
      };
      const auto logic = get_ports("logic", 0, 0);
      EXPECT_EQ(logic.at("n"), get_ports("connect_h", 0, 0).at("p"));
      EXPECT_EQ(logic.at("e"), get_ports("connect_v", 0, 0).at("p"));
      EXPECT_EQ(logic.at("o"), get_ports("switch", 0, 0).at("b_sw"));
      EXPECT_EQ(logic.at("o"), get_ports("switch", 1, 0).at("b_se"));
      EXPECT_EQ(logic.at("o"), get_ports("switch", 0, 1).at("b_nw"));
      EXPECT_EQ(logic.at("o"), get_ports("switch", 1, 1).at("b_ne"));
      EXPECT_EQ(logic.contains("cin"), y == 2);
      if (y == 1) {
        EXPECT_EQ(logic.at("cout"), get_ports("direct", 0, 0).at("i"));
        EXPECT_EQ(get_ports("direct", 0, 0).at("o"), get_ports("logic", 0, -1).at("cin"));
      }
    }
}

TEST_F(GenerateGrids, ChainAllStoredBitsFromTheHeadOfTheDeviceToItsTail) {
  make(get_options(2, 2));
  const GENERATED_MODEL model = read_model();
  for (const auto& [key, module] : model) {
    if (!module.m_ports.contains("head") || !module.m_ports.contains("tail")) continue;
    std::map<std::string, std::string> next; // bit to the bit behind a cell
    for (const auto& [name, cell] : module.m_cells) {
      const auto& connections = cell.m_connections;
      if (!connections.contains("head")) continue;
      next[connections.at("head")[0]] =
          connections.contains("tail") ? connections.at("tail")[0] : connections.at("q").back();
    }
    std::string bit = module.m_ports.at("head").m_bits[0];
    for (std::size_t i = 0; i != next.size(); ++i)
      bit = next[bit];
    EXPECT_EQ(bit, module.m_ports.at("tail").m_bits[0]) << key;
    EXPECT_FALSE(next.empty()) << key;
  }
}

TEST_F(GenerateGrids, HaveModulesOfTheirOwnAtTheBorder) {
  make(get_options(3, 3));
  const GENERATED_MODEL model = read_model();
  const auto& top = model.at("device").m_cells;
  EXPECT_EQ(top.at("switch_0__0_").m_type, "switch_south_west");
  EXPECT_EQ(top.at("switch_1__0_").m_type, "switch_south_middle");
  EXPECT_EQ(top.at("switch_3__2_").m_type, "switch_middle_east");
  EXPECT_EQ(top.at("switch_1__2_").m_type, "switch_middle_middle");
  EXPECT_EQ(top.at("connect_h_1__0_").m_type, "connect_h_south");
  EXPECT_EQ(top.at("connect_h_1__3_").m_type, "connect_h_north");
  EXPECT_EQ(top.at("connect_v_0__2_").m_type, "connect_v_west");
  EXPECT_EQ(top.at("connect_v_2__2_").m_type, "connect_v_middle");
  EXPECT_FALSE(model.at("switch_south_west").m_ports.contains("s_out"));
  EXPECT_FALSE(model.at("switch_south_west").m_ports.contains("b_se"));
  std::set<std::string> types;
  for (const auto& [name, cell] : top)
    types.insert(cell.m_type);
  EXPECT_THAT(types, SizeIs(9 + 3 + 3 + 2));
}

TEST_F(GenerateGrids, HoldGatesInMuxesAndStoredBitsInMemories) {
  make(small(GENERATE_FORM::GRIDS));
  const GENERATED_MODEL model = read_model();
  const auto count = [&](const std::string& module, const std::string& type) {
    return std::ranges::count_if(model.at(module).m_cells,
                                 [&](const auto& cell) { return cell.second.m_type == type; });
  };
  EXPECT_EQ(count("mux_8", "gate"), 7);
  EXPECT_EQ(count("mux_8", "buffer"), 1);
  EXPECT_EQ(count("memory_3", "store"), 3);
  EXPECT_EQ(count("slice", "gate"), 15);
  for (const auto& [name, cell] : model.at("switch_middle_middle").m_cells)
    if (cell.m_type.starts_with("mux_")) {
      const GENERATE_BITS& selects = cell.m_connections.at("s");
      const std::string memory = "memory_" + name.substr(4);
      EXPECT_EQ(model.at("switch_middle_middle").m_cells.at(memory).m_connections.at("q"), selects) << name;
    }
}

TEST_F(GenerateGrids, DriveEveryNetOnce) {
  for (const auto& [columns, rows] : {std::pair{3U, 3U}, std::pair{1U, 1U}}) {
    make(get_options(columns, rows));
    expect_one_driver_for_every_net();
  }
}

TEST_F(GenerateGrids, GiveAMuxEachSourceOnceAndUseEveryOutputOfALogicBlock) {
  make(small(GENERATE_FORM::GRIDS));
  const GENERATED_MODEL model = read_model();
  for (const auto& [key, module] : model) {
    std::set<std::string> used;
    for (const auto& [name, cell] : module.m_cells) {
      if (!cell.m_type.starts_with("mux_")) continue;
      const GENERATE_BITS& inputs = cell.m_connections.at("i");
      EXPECT_EQ(std::set<std::string>(inputs.begin(), inputs.end()).size(), inputs.size()) << key << name;
      used.insert(inputs.begin(), inputs.end());
    }
    for (const auto& [name, port] : module.m_ports)
      if (name.starts_with("b_")) {
        EXPECT_THAT(used, testing::IsSupersetOf(port.m_bits)) << key << ":" << name;
      }
  }
}

TEST_F(GenerateGrids, CountTheirMuxesAsNodes) {
  for (const auto& [columns, rows] : {std::pair{4U, 3U}, std::pair{1U, 2U}, std::pair{1U, 1U}}) {
    const std::uint64_t nodes = make_and_count(get_options(columns, rows));
    EXPECT_EQ(nodes, count_muxes(read_model(), "device"));
  }
}

TEST_F(GenerateGrids, MeetAWantedNumberOfNodesClosely) {
  for (const std::uint64_t wanted : {3'000U, 10'000U, 30'000U}) {
    GENERATE_OPTIONS options;
    options.m_form = GENERATE_FORM::GRIDS;
    options.m_nodes = wanted;
    const auto nodes = static_cast<double>(make_and_count(options));
    EXPECT_NEAR(nodes / static_cast<double>(wanted), 1.0, 0.15) << wanted;
  }
  GENERATE_OPTIONS options;
  options.m_form = GENERATE_FORM::GRIDS;
  options.m_nodes = 10'000;
  EXPECT_THAT(make(options), StartsWith("generate: --form grids --columns 8 --rows 9: 72 logic blocks"));
}

} // namespace generate_grids_test
