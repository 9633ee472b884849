#include "tests/tool/import_icebox/icebox_fixture.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <random>
#include <tuple>

namespace import_icebox_edges_test {

/// Imports random chips and walks their models the way a signal goes: out of a tile through ports that aren't
/// inputs, into a tile through ports that aren't outputs, over every net once. The edges found must be those
/// of the chip.

using EDGES = std::multiset<std::string>; // "driver > load", "tile/instance" or with ":port" behind it

struct ICEBOX_NAME {
  int tile;
  std::string name;
};

struct RANDOM_MUX {
  int tile;
  int net;
  bool is_routing;
  std::vector<int> sources;
  std::string name; // with its tile
};

/// A short row of tiles with few nets and names, so that second names, several drivers and equal tiles are
/// common.
struct RANDOM_CHIP {
  std::vector<std::vector<ICEBOX_NAME>> nets;
  std::vector<RANDOM_MUX> muxes;
  int width = 0;

  explicit RANDOM_CHIP(unsigned seed);
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
  for (const ICEBOX_NAME& wire : nets[net])
    if (wire.tile == tile) return wire.name;
  return "";
}

bool RANDOM_CHIP::is_driven(int net) const {
  return std::ranges::any_of(muxes, [net](const RANDOM_MUX& mux) { return mux.net == net; });
}

RANDOM_CHIP::RANDOM_CHIP(unsigned seed) {
  std::mt19937 random(seed);
  const auto below = [&random](int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
  };
  const std::vector<std::string> names{"a", "b", "c", "d", "l_0/x", "l_0/y", "l_1/x", "l_1/y"};
  width = 2 + below(4);
  nets.resize(2 + below(6));

  for (int tile = 0; tile < width; ++tile) {
    std::vector<std::string> left = names;
    std::ranges::shuffle(left, random);
    left.resize(below(static_cast<int>(names.size())) + 1);
    for (const std::string& name : left)
      nets[below(static_cast<int>(nets.size()))].push_back({tile, name});
  }
  std::map<std::string, int> num_entries;
  for (int tries = below(12); tries > 0; --tries) {
    RANDOM_MUX mux{below(width), below(static_cast<int>(nets.size())), below(2) == 0, {}, {}};
    if (first_name(mux.tile, mux.net).empty()) continue;
    for (int inputs = 1 + below(4); inputs > 0; --inputs) {
      const int source = below(static_cast<int>(nets.size()));
      if (!first_name(mux.tile, source).empty()) mux.sources.push_back(source);
    }
    if (mux.sources.empty()) continue;
    mux.name = fmt::format("{}/{}.{}", place(mux.tile), mux.is_routing ? "routing" : "buffer",
                           dotted(first_name(mux.tile, mux.net)));
    const int entry = ++num_entries[mux.name];
    if (entry > 1) mux.name += fmt::format(".{}", entry);
    muxes.push_back(mux);
  }
}

std::string RANDOM_CHIP::text() const {
  std::string text = fmt::format(".device random {} 1 {}\n", width, nets.size());
  for (int tile = 0; tile < width; ++tile)
    text += fmt::format(".logic_tile {} 0\n", tile);
  for (std::size_t net = 0; net < nets.size(); ++net) {
    text += fmt::format(".net {}\n", net);
    for (const ICEBOX_NAME& wire : nets[net])
      text += fmt::format("{} 0 {}\n", wire.tile, wire.name);
  }
  for (const RANDOM_MUX& mux : muxes) {
    text += fmt::format(".{} {} 0 {} B\n", mux.is_routing ? "routing" : "buffer", mux.tile, mux.net);
    for (const int source : mux.sources)
      text += fmt::format("1 {}\n", source);
  }
  return text;
}

EDGES RANDOM_CHIP::edges() const {
  EDGES edges;
  for (int net = 0; net < static_cast<int>(nets.size()); ++net) {
    std::vector<std::string> drivers;
    std::vector<std::string> loads;
    for (const RANDOM_MUX& mux : muxes) {
      if (mux.net == net) drivers.push_back(mux.name + ":o");
      for (std::size_t input = 0; input < mux.sources.size(); ++input)
        if (mux.sources[input] == net) loads.push_back(fmt::format("{}:i{}", mux.name, input));
    }
    for (const ICEBOX_NAME& wire : nets[net]) {
      const std::size_t slash = wire.name.find('/');
      if (slash == std::string::npos) continue;
      (is_driven(net) ? loads : drivers)
          .push_back(fmt::format("{}/bel.{}:{}", place(wire.tile), wire.name.substr(0, slash),
                                 wire.name.substr(slash + 1)));
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
    std::string name;
    std::string direction;
  };
  struct NET {
    std::vector<PIN> cells; // "cell:port"
    std::vector<PIN> ports;
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
    nets[port["bits"].at(0)].ports.push_back(
        {std::string(name), std::string(std::string_view(port["direction"]))});
  for (const auto& [name, cell] : simdjson::dom::object(module["cells"]))
    for (const auto& [port, bits] : simdjson::dom::object(cell["connections"])) {
      const std::string_view direction = modules[std::string_view(cell["type"])]["ports"][port]["direction"];
      nets[bits.at(0)].cells.push_back({fmt::format("{}:{}", name, port), std::string(direction)});
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
  for (const PIN& load : net.cells)
    if (load.direction != "output") edges.insert(fmt::format("{} > {}/{}", driver, tile, load.name));
  for (const PIN& port : net.ports) {
    if (port.direction == "input") continue;
    const std::int64_t outer = m_outer.at(fmt::format("{}:{}", tile, port.name));
    if (!visited.insert({"", outer}).second) continue;
    for (const auto& [other, inner, direction] : m_top.at(outer))
      if (direction != "output") walk({other, inner}, driver, visited, edges);
  }
}

EDGES MODEL_WALK::edges() const {
  EDGES edges;
  for (const auto& [tile, nets] : m_tiles)
    for (const auto& [bit, net] : nets)
      for (const PIN& driver : net.cells) {
        if (driver.direction != "output") continue;
        VISITED visited;
        walk({tile, bit}, fmt::format("{}/{}", tile, driver.name), visited, edges);
      }
  return edges;
}

/// How often the cases that matter occurred.
struct SEEN {
  int shared_modules = 0;
  int second_names = 0;
  int further_entries = 0;
  int repeated_sources = 0;
  int bidirectional = 0;
  int edges = 0;
};

void note(const RANDOM_CHIP& chip, const std::string& model, SEEN& seen) {
  for (const auto& net : chip.nets)
    for (std::size_t i = 1; i < net.size(); ++i)
      seen.second_names += net[i].tile == net[i - 1].tile;
  for (const RANDOM_MUX& mux : chip.muxes) {
    seen.further_entries += mux.name.ends_with(".2");
    std::vector<int> sources = mux.sources;
    std::ranges::sort(sources);
    seen.repeated_sources += std::ranges::adjacent_find(sources) != sources.end();
  }
  seen.bidirectional += model.find("\"inout\"") != std::string::npos;
}

TEST_F(ImportIcebox, AWalkOverARandomChipsModelFindsTheEdgesOfItsText) {
  SEEN seen;
  for (unsigned seed = 1; seed <= 2000; ++seed) {
    const RANDOM_CHIP chip(seed);
    const EDGES expected = chip.edges();
    ASSERT_NO_THROW(import(chip.text())) << "seed " << seed << "\n" << chip.text();
    ASSERT_EQ(MODEL_WALK(m_modules).edges(), expected) << "seed " << seed << "\n" << chip.text();

    note(chip, read_text(path("model.json")), seen);
    seen.edges += static_cast<int>(expected.size());
    std::set<std::string> types;
    for (int tile = 0; tile < chip.width; ++tile)
      types.insert(tile_type(place(tile)));
    seen.shared_modules += chip.width - static_cast<int>(types.size());
  }
  EXPECT_GT(seen.edges, 10000);
  EXPECT_GT(seen.shared_modules, 10);
  EXPECT_GT(seen.second_names, 1000);
  EXPECT_GT(seen.further_entries, 50);
  EXPECT_GT(seen.repeated_sources, 500);
  EXPECT_GT(seen.bidirectional, 500);
}

} // namespace import_icebox_edges_test
