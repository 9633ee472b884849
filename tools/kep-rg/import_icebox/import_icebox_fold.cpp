#include "tools/kep-rg/import_icebox/import_icebox_fold.h"

#include <algorithm>
#include <map>
#include <string>
#include <tuple>
#include <utility>

namespace {

/// Groups 0 .. count-1 by the tile that `tile_of` gives for each.
ICEBOX_BY_TILE group_by_tile(std::size_t num_tiles, std::size_t count, auto tile_of) {
  ICEBOX_BY_TILE result;
  result.first.resize(num_tiles + 1);
  for (std::uint32_t i = 0; i < count; ++i)
    ++result.first[tile_of(i) + 1];
  for (std::size_t tile = 0; tile < num_tiles; ++tile)
    result.first[tile + 1] += result.first[tile];

  std::vector<std::uint32_t> next(result.first.begin(), result.first.end() - 1);
  result.items.resize(count);
  for (std::uint32_t i = 0; i < count; ++i)
    result.items[next[tile_of(i)]++] = i;
  return result;
}

bool is_pin(const std::string& name) {
  return name.find('/') != std::string::npos;
}

/// Drivers by local wire and by net.
struct DRIVERS {
  std::vector<std::uint32_t> of_wire;
  std::vector<std::uint32_t> of_net;
};

DRIVERS count_drivers(const ICEBOX_CHIP& chip) {
  DRIVERS drivers;
  drivers.of_wire.resize(chip.wires.size());
  drivers.of_net.resize(chip.nets.size());
  for (const ICEBOX_MUX& mux : chip.muxes)
    ++drivers.of_wire[mux.wire];
  for (std::size_t i = 0; i < chip.wires.size(); ++i) {
    const ICEBOX_WIRE& wire = chip.wires[i];
    if (chip.nets[wire.net].num_drivers == 0 && is_pin(chip.names[wire.name])) ++drivers.of_wire[i];
    drivers.of_net[wire.net] += drivers.of_wire[i];
  }
  return drivers;
}

class FOLDER {
public:
  explicit FOLDER(const ICEBOX_CHIP& chip);
  ICEBOX_FOLDED fold();

private:
  ICEBOX_SHAPE make_shape(std::uint32_t tile);
  ICEBOX_SHAPE_WIRE make_wire(std::uint32_t wire) const;
  static std::vector<std::uint32_t> make_key(const ICEBOX_SHAPE& shape);

  const ICEBOX_CHIP& m_chip;
  DRIVERS m_drivers;
  ICEBOX_BY_TILE m_wires;
  ICEBOX_BY_TILE m_muxes;
  std::vector<std::uint32_t> m_positions; // of a wire among those of its tile
};

FOLDER::FOLDER(const ICEBOX_CHIP& chip)
    : m_chip(chip), m_drivers(count_drivers(chip)), m_wires(wires_by_tile(chip)),
      m_muxes(group_by_tile(chip.tiles.size(), chip.muxes.size(),
                            [&chip](std::uint32_t mux) { return chip.wires[chip.muxes[mux].wire].tile; })) {
  m_positions.resize(chip.wires.size());
  for (std::size_t i = 0; i < m_wires.items.size(); ++i) {
    const std::uint32_t wire = m_wires.items[i];
    m_positions[wire] = static_cast<std::uint32_t>(i) - m_wires.first[chip.wires[wire].tile];
  }
}

ICEBOX_SHAPE_WIRE FOLDER::make_wire(std::uint32_t index) const {
  const ICEBOX_WIRE& wire = m_chip.wires[index];
  const ICEBOX_NET& net = m_chip.nets[wire.net];
  const bool driven_inside = m_drivers.of_wire[index] > 0;
  const bool driven_outside = m_drivers.of_net[wire.net] > m_drivers.of_wire[index];

  ICEBOX_SHAPE_WIRE result{wire.name, std::nullopt, KEP_MODEL_DIRECTION::INPUT};
  if (net.num_wires > 1)
    result.port = !driven_inside   ? KEP_MODEL_DIRECTION::INPUT
                  : driven_outside ? KEP_MODEL_DIRECTION::INOUT
                                   : KEP_MODEL_DIRECTION::OUTPUT;
  if (is_pin(m_chip.names[wire.name]) && net.num_drivers == 0) result.pin = KEP_MODEL_DIRECTION::OUTPUT;
  return result;
}

ICEBOX_SHAPE FOLDER::make_shape(std::uint32_t tile) {
  ICEBOX_SHAPE shape{m_chip.tiles[tile].kind, 0, {}, {}, {}};
  for (std::uint32_t i = m_wires.first[tile]; i < m_wires.first[tile + 1]; ++i)
    shape.wires.push_back(make_wire(m_wires.items[i]));
  for (std::uint32_t i = m_muxes.first[tile]; i < m_muxes.first[tile + 1]; ++i) {
    const ICEBOX_MUX& mux = m_chip.muxes[m_muxes.items[i]];
    shape.muxes.push_back({mux.kind, mux.ordinal, m_positions[mux.wire],
                           static_cast<std::uint32_t>(shape.inputs.size()), mux.num_sources});
    for (std::uint32_t source = 0; source < mux.num_sources; ++source)
      shape.inputs.push_back(m_positions[m_chip.sources[mux.first_source + source]]);
  }
  return shape;
}

/// All that makes a shape, as numbers: equal for equal shapes, whatever the order of wires and muxes.
std::vector<std::uint32_t> FOLDER::make_key(const ICEBOX_SHAPE& shape) {
  std::vector<std::uint32_t> key{shape.kind, static_cast<std::uint32_t>(shape.wires.size())};

  std::vector<ICEBOX_SHAPE_WIRE> wires = shape.wires;
  std::ranges::sort(wires, {}, &ICEBOX_SHAPE_WIRE::name);
  for (const ICEBOX_SHAPE_WIRE& wire : wires) {
    const std::uint32_t port = wire.port ? 1 + static_cast<std::uint32_t>(*wire.port) : 0;
    key.insert(key.end(), {wire.name, port, static_cast<std::uint32_t>(wire.pin)});
  }

  std::vector<ICEBOX_SHAPE_MUX> muxes = shape.muxes;
  std::ranges::sort(muxes, {}, [&shape](const ICEBOX_SHAPE_MUX& mux) {
    return std::tuple(shape.wires[mux.output].name, mux.kind, mux.ordinal);
  });
  for (const ICEBOX_SHAPE_MUX& mux : muxes) {
    key.insert(key.end(), {shape.wires[mux.output].name, static_cast<std::uint32_t>(mux.kind), mux.ordinal,
                           mux.num_inputs});
    for (std::uint32_t input = 0; input < mux.num_inputs; ++input)
      key.push_back(shape.wires[shape.inputs[mux.first_input + input]].name);
  }
  return key;
}

ICEBOX_FOLDED FOLDER::fold() {
  ICEBOX_FOLDED folded;
  std::map<std::vector<std::uint32_t>, std::uint32_t> shape_ids;
  std::vector<std::uint32_t> num_shapes(m_chip.kinds.size());
  for (std::uint32_t tile = 0; tile < m_chip.tiles.size(); ++tile) {
    ICEBOX_SHAPE shape = make_shape(tile);
    const auto next = static_cast<std::uint32_t>(folded.shapes.size());
    const auto [entry, is_new] = shape_ids.try_emplace(make_key(shape), next);
    if (is_new) {
      shape.number = ++num_shapes[shape.kind];
      folded.shapes.push_back(std::move(shape));
    }
    folded.shape_of_tile.push_back(entry->second);
  }
  return folded;
}

} // namespace

ICEBOX_BY_TILE wires_by_tile(const ICEBOX_CHIP& chip) {
  return group_by_tile(chip.tiles.size(), chip.wires.size(),
                       [&chip](std::uint32_t wire) { return chip.wires[wire].tile; });
}

ICEBOX_FOLDED fold_icebox(const ICEBOX_CHIP& chip) {
  return FOLDER(chip).fold();
}
