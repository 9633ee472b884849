#include "tests/support/seeds.h"
#include "tests/tool/import_icebox/icebox_fixture.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <tuple>
#include <utility>

namespace import_icebox_edges_test {

/// Imports random chips and walks their models the way a signal goes: out of a tile through ports that aren't
/// inputs, into a tile through ports that aren't outputs, over every net once. The edges found must be those
/// of the chip.

using EDGES = std::multiset<std::string>; // "driver > load", "tile/instance" or with ":port" behind it

struct ICEBOX_NAME {
  int m_tile;
  std::string m_name;
};

struct RANDOM_MUX {
  int m_tile;
  int m_net;
  bool m_is_routing;
  std::vector<int> m_sources;
  std::string m_name; // with its tile
};

/// A short row of tiles with few nets and names, so that second names, several drivers and equal tiles are
/// common.
struct RANDOM_CHIP {
  std::vector<std::vector<ICEBOX_NAME>> m_nets;
  std::vector<RANDOM_MUX> m_muxes;
  int m_width = 0;

  explicit RANDOM_CHIP(std::uint64_t seed);
  std::string text() const;
  EDGES edges() const;
  std::string first_name(int tile, int net) const;
  bool is_driven(int net) const;
};

std::string place(int tile) {
  return fmt::format("{}_0", tile);
}

std::string dotted(std::string name) {
  std::ranges::replace(name, '/', '.');
  return name;
}

std::string RANDOM_CHIP::first_name(int tile, int net) const {
  for (const ICEBOX_NAME& wire : m_nets[net])
    if (wire.m_tile == tile) return wire.m_name;
  return "";
}

bool RANDOM_CHIP::is_driven(int net) const {
  return std::ranges::any_of(m_muxes, [net](const RANDOM_MUX& mux) { return mux.m_net == net; });
}

RANDOM_CHIP::RANDOM_CHIP(std::uint64_t seed) {
  std::mt19937 random(seed);
  const auto below = [&random](int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
  };
  const std::vector<std::string> names{"a", "b", "c", "d", "l_0/x", "l_0/y", "l_1/x", "l_1/y"};
  m_width = 2 + below(4);
  m_nets.resize(2 + below(6));

  for (int tile = 0; tile < m_width; ++tile) {
    std::vector<std::string> left = names;
    std::ranges::shuffle(left, random);
    left.resize(below(static_cast<int>(names.size())) + 1);
    for (const std::string& name : left)
      m_nets[below(static_cast<int>(m_nets.size()))].push_back({tile, name});
  }
  std::map<std::string, int> num_entries;
  for (int tries = below(12); tries > 0; --tries) {
    RANDOM_MUX mux{below(m_width), below(static_cast<int>(m_nets.size())), below(2) == 0, {}, {}};
    if (first_name(mux.m_tile, mux.m_net).empty()) continue;
    for (int inputs = 1 + below(4); inputs > 0; --inputs) {
      const int source = below(static_cast<int>(m_nets.size()));
      if (!first_name(mux.m_tile, source).empty()) mux.m_sources.push_back(source);
    }
    if (mux.m_sources.empty()) continue;
    mux.m_name = fmt::format("{}/{}.{}", place(mux.m_tile), mux.m_is_routing ? "routing" : "buffer",
                             dotted(first_name(mux.m_tile, mux.m_net)));
    const int entry = ++num_entries[mux.m_name];
    if (entry > 1) mux.m_name += fmt::format(".{}", entry);
    m_muxes.push_back(mux);
  }
}

std::string RANDOM_CHIP::text() const {
  std::string text = fmt::format(".device random {} 1 {}\n", m_width, m_nets.size());
  for (int tile = 0; tile < m_width; ++tile)
    text += fmt::format(".logic_tile {} 0\n", tile);
  for (std::size_t net = 0; net < m_nets.size(); ++net) {
    text += fmt::format(".net {}\n", net);
    for (const ICEBOX_NAME& wire : m_nets[net])
      text += fmt::format("{} 0 {}\n", wire.m_tile, wire.m_name);
  }
  for (const RANDOM_MUX& mux : m_muxes) {
    text += fmt::format(".{} {} 0 {} B\n", mux.m_is_routing ? "routing" : "buffer", mux.m_tile, mux.m_net);
    for (const int source : mux.m_sources)
      text += fmt::format("1 {}\n", source);
  }
  return text;
}

EDGES RANDOM_CHIP::edges() const {
  EDGES edges;
  for (int net = 0; net < static_cast<int>(m_nets.size()); ++net) {
    std::vector<std::string> drivers;
    std::vector<std::string> loads;
    for (const RANDOM_MUX& mux : m_muxes) {
      if (mux.m_net == net) drivers.push_back(mux.m_name + ":o");
      for (std::size_t input = 0; input < mux.m_sources.size(); ++input)
        if (mux.m_sources[input] == net) loads.push_back(fmt::format("{}:i{}", mux.m_name, input));
    }
    for (const ICEBOX_NAME& wire : m_nets[net]) {
      const std::size_t slash = wire.m_name.find('/');
      if (slash == std::string::npos) continue;
      (is_driven(net) ? loads : drivers)
          .push_back(fmt::format("{}/bel.{}:{}", place(wire.m_tile), wire.m_name.substr(0, slash),
                                 wire.m_name.substr(slash + 1)));
    }
    for (const std::string& driver : drivers)
      for (const std::string& load : loads)
        edges.insert(driver + " > " + load);
  }
  return edges;
}

/// The hierarchy of a written model, two levels deep.
class MODEL_WALK {
public:
  explicit MODEL_WALK(simdjson::dom::element modules);
  EDGES edges() const;

private:
  struct PIN {
    std::string m_name;
    std::string m_direction;
  };
  struct NET {
    std::vector<PIN> m_cells; // "cell:port"
    std::vector<PIN> m_ports;
  };
  using NETS = std::map<std::int64_t, NET>;
  using NET_OF_TILE = std::pair<std::string, std::int64_t>; // instance and bit
  using VISITED = std::set<NET_OF_TILE>;                    // the top's nets under ""

  void walk(const NET_OF_TILE& start, const std::string& driver, VISITED& visited, EDGES& edges) const;
  static NETS nets_of(simdjson::dom::element modules, simdjson::dom::element module);

  std::map<std::string, NETS> m_tiles;         // by instance
  std::map<std::string, std::int64_t> m_outer; // "tile:port": bit in the top
  std::map<std::int64_t, std::vector<std::tuple<std::string, std::int64_t, std::string>>>
      m_top; // tile, bit, direction
};

MODEL_WALK::NETS MODEL_WALK::nets_of(simdjson::dom::element modules, simdjson::dom::element module) {
  NETS nets;
  for (const auto& [name, port] : simdjson::dom::object(module["ports"]))
    nets[port["bits"].at(0)].m_ports.push_back(
        {std::string(name), std::string(std::string_view(port["direction"]))});
  for (const auto& [name, cell] : simdjson::dom::object(module["cells"]))
    for (const auto& [port, bits] : simdjson::dom::object(cell["connections"])) {
      const std::string_view direction = modules[std::string_view(cell["type"])]["ports"][port]["direction"];
      nets[bits.at(0)].m_cells.push_back({fmt::format("{}:{}", name, port), std::string(direction)});
    }
  return nets;
}

MODEL_WALK::MODEL_WALK(simdjson::dom::element modules) {
  for (const auto& [instance, cell] : simdjson::dom::object(modules["top"]["cells"])) {
    const simdjson::dom::element module = modules[std::string_view(cell["type"])];
    m_tiles[std::string(instance)] = nets_of(modules, module);
    for (const auto& [port, bits] : simdjson::dom::object(cell["connections"])) {
      const simdjson::dom::element inner = module["ports"][port];
      const std::int64_t bit = bits.at(0);
      m_outer[fmt::format("{}:{}", instance, port)] = bit;
      m_top[bit].emplace_back(instance, inner["bits"].at(0), std::string_view(inner["direction"]));
    }
  }
}

void MODEL_WALK::walk(const NET_OF_TILE& at, const std::string& driver, VISITED& visited,
                      EDGES& edges) const {
  if (!visited.insert(at).second) return;
  const auto& [tile, bit] = at;
  const NET& net = m_tiles.at(tile).at(bit);
  for (const PIN& load : net.m_cells)
    if (load.m_direction != "output") edges.insert(fmt::format("{} > {}/{}", driver, tile, load.m_name));
  for (const PIN& port : net.m_ports) {
    if (port.m_direction == "input") continue;
    const std::int64_t outer = m_outer.at(fmt::format("{}:{}", tile, port.m_name));
    if (!visited.insert({"", outer}).second) continue;
    for (const auto& [other, inner, direction] : m_top.at(outer))
      if (direction != "output") walk({other, inner}, driver, visited, edges);
  }
}

EDGES MODEL_WALK::edges() const {
  EDGES edges;
  for (const auto& [tile, nets] : m_tiles)
    for (const auto& [bit, net] : nets)
      for (const PIN& driver : net.m_cells) {
        if (driver.m_direction != "output") continue;
        VISITED visited;
        walk({tile, bit}, fmt::format("{}/{}", tile, driver.m_name), visited, edges);
      }
  return edges;
}

/// How often the cases that matter occurred.
struct SEEN {
  int m_shared_modules = 0;
  int m_second_names = 0;
  int m_further_entries = 0;
  int m_repeated_sources = 0;
  int m_bidirectional = 0;
  int m_edges = 0;
};

void note(const RANDOM_CHIP& chip, const std::string& model, SEEN& seen) {
  for (const auto& net : chip.m_nets)
    for (std::size_t i = 1; i < net.size(); ++i)
      seen.m_second_names += net[i].m_tile == net[i - 1].m_tile;
  for (const RANDOM_MUX& mux : chip.m_muxes) {
    seen.m_further_entries += mux.m_name.ends_with(".2");
    std::vector<int> sources = mux.m_sources;
    std::ranges::sort(sources);
    seen.m_repeated_sources += std::ranges::adjacent_find(sources) != sources.end();
  }
  seen.m_bidirectional += model.find("\"inout\"") != std::string::npos;
}

TEST_F(Icebox, AWalkOverARandomChipsModelFindsTheEdgesOfItsText) {
  SEEN seen;
  for (const std::uint64_t seed : test_model::SEEDS(1, 2000)) {
    const RANDOM_CHIP chip(seed);
    const EDGES expected = chip.edges();
    std::string model;
    ASSERT_NO_THROW(model = import_in_memory(chip.text())) << "seed " << seed << "\n" << chip.text();
    ASSERT_EQ(MODEL_WALK(m_modules).edges(), expected) << "seed " << seed << "\n" << chip.text();

    note(chip, model, seen);
    seen.m_edges += static_cast<int>(expected.size());
    std::set<std::string> types;
    for (int tile = 0; tile < chip.m_width; ++tile)
      types.insert(tile_type(place(tile)));
    seen.m_shared_modules += chip.m_width - static_cast<int>(types.size());
  }
  EXPECT_GT(seen.m_edges, 10000);
  EXPECT_GT(seen.m_shared_modules, 10);
  EXPECT_GT(seen.m_second_names, 1000);
  EXPECT_GT(seen.m_further_entries, 50);
  EXPECT_GT(seen.m_repeated_sources, 500);
  EXPECT_GT(seen.m_bidirectional, 500);
}

} // namespace import_icebox_edges_test
