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
  result.m_first.resize(num_tiles + 1);
  for (std::uint32_t i = 0; i < count; ++i)
    ++result.m_first[tile_of(i) + 1];
  for (std::size_t tile = 0; tile < num_tiles; ++tile)
    result.m_first[tile + 1] += result.m_first[tile];

  std::vector<std::uint32_t> next(result.m_first.begin(), result.m_first.end() - 1);
  result.m_items.resize(count);
  for (std::uint32_t i = 0; i < count; ++i)
    result.m_items[next[tile_of(i)]++] = i;
  return result;
}

bool is_pin(const std::string& name) {
  return name.find('/') != std::string::npos;
}

/// Drivers by local wire and by net.
struct DRIVERS {
  std::vector<std::uint32_t> m_of_wire;
  std::vector<std::uint32_t> m_of_net;
};

DRIVERS count_drivers(const ICEBOX_CHIP& chip) {
  DRIVERS drivers;
  drivers.m_of_wire.resize(chip.m_wires.size());
  drivers.m_of_net.resize(chip.m_nets.size());
  for (const ICEBOX_MUX& mux : chip.m_muxes)
    ++drivers.m_of_wire[mux.m_wire];
  for (std::size_t i = 0; i < chip.m_wires.size(); ++i) {
    const ICEBOX_WIRE& wire = chip.m_wires[i];
    if (chip.m_nets[wire.m_net].m_num_drivers == 0 && is_pin(chip.m_names[wire.m_name]))
      ++drivers.m_of_wire[i];
    drivers.m_of_net[wire.m_net] += drivers.m_of_wire[i];
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
    : m_chip(chip), m_drivers(count_drivers(chip)), m_wires(get_wires_by_tile(chip)),
      m_muxes(group_by_tile(chip.m_tiles.size(), chip.m_muxes.size(), [&chip](std::uint32_t mux) {
        return chip.m_wires[chip.m_muxes[mux].m_wire].m_tile;
      })) {
  m_positions.resize(chip.m_wires.size());
  for (std::size_t i = 0; i < m_wires.m_items.size(); ++i) {
    const std::uint32_t wire = m_wires.m_items[i];
    m_positions[wire] = static_cast<std::uint32_t>(i) - m_wires.m_first[chip.m_wires[wire].m_tile];
  }
}

ICEBOX_SHAPE_WIRE FOLDER::make_wire(std::uint32_t index) const {
  const ICEBOX_WIRE& wire = m_chip.m_wires[index];
  const ICEBOX_NET& net = m_chip.m_nets[wire.m_net];
  const bool driven_inside = m_drivers.m_of_wire[index] > 0;
  const bool driven_outside = m_drivers.m_of_net[wire.m_net] > m_drivers.m_of_wire[index];

  ICEBOX_SHAPE_WIRE result{wire.m_name, std::nullopt, KEP_MODEL_DIRECTION::INPUT};
  if (net.m_num_wires > 1)
    result.m_port = !driven_inside   ? KEP_MODEL_DIRECTION::INPUT
                    : driven_outside ? KEP_MODEL_DIRECTION::INOUT
                                     : KEP_MODEL_DIRECTION::OUTPUT;
  if (is_pin(m_chip.m_names[wire.m_name]) && net.m_num_drivers == 0)
    result.m_pin = KEP_MODEL_DIRECTION::OUTPUT;
  return result;
}

ICEBOX_SHAPE FOLDER::make_shape(std::uint32_t tile) {
  ICEBOX_SHAPE shape{m_chip.m_tiles[tile].m_kind, 0, {}, {}, {}};
  for (std::uint32_t i = m_wires.m_first[tile]; i < m_wires.m_first[tile + 1]; ++i)
    shape.m_wires.push_back(make_wire(m_wires.m_items[i]));
  for (std::uint32_t i = m_muxes.m_first[tile]; i < m_muxes.m_first[tile + 1]; ++i) {
    const ICEBOX_MUX& mux = m_chip.m_muxes[m_muxes.m_items[i]];
    shape.m_muxes.push_back({mux.m_kind, mux.m_ordinal, m_positions[mux.m_wire],
                             static_cast<std::uint32_t>(shape.m_inputs.size()), mux.m_num_sources});
    for (std::uint32_t source = 0; source < mux.m_num_sources; ++source)
      shape.m_inputs.push_back(m_positions[m_chip.m_sources[mux.m_first_source + source]]);
  }
  return shape;
}

/// All that makes a shape, as numbers: equal for equal shapes, whatever the order of wires and muxes.
std::vector<std::uint32_t> FOLDER::make_key(const ICEBOX_SHAPE& shape) {
  std::vector<std::uint32_t> key{shape.m_kind, static_cast<std::uint32_t>(shape.m_wires.size())};

  std::vector<ICEBOX_SHAPE_WIRE> wires = shape.m_wires;
  std::ranges::sort(wires, {}, &ICEBOX_SHAPE_WIRE::m_name);
  for (const ICEBOX_SHAPE_WIRE& wire : wires) {
    const std::uint32_t port = wire.m_port ? 1 + static_cast<std::uint32_t>(*wire.m_port) : 0;
    key.insert(key.end(), {wire.m_name, port, static_cast<std::uint32_t>(wire.m_pin)});
  }

  std::vector<ICEBOX_SHAPE_MUX> muxes = shape.m_muxes;
  std::ranges::sort(muxes, {}, [&shape](const ICEBOX_SHAPE_MUX& mux) {
    return std::tuple(shape.m_wires[mux.m_output].m_name, mux.m_kind, mux.m_ordinal);
  });
  for (const ICEBOX_SHAPE_MUX& mux : muxes) {
    key.insert(key.end(), {shape.m_wires[mux.m_output].m_name, static_cast<std::uint32_t>(mux.m_kind),
                           mux.m_ordinal, mux.m_num_inputs});
    for (std::uint32_t input = 0; input < mux.m_num_inputs; ++input)
      key.push_back(shape.m_wires[shape.m_inputs[mux.m_first_input + input]].m_name);
  }
  return key;
}

ICEBOX_FOLDED FOLDER::fold() {
  ICEBOX_FOLDED folded;
  std::map<std::vector<std::uint32_t>, std::uint32_t> shape_ids;
  std::vector<std::uint32_t> num_shapes(m_chip.m_kinds.size());
  for (std::uint32_t tile = 0; tile < m_chip.m_tiles.size(); ++tile) {
    ICEBOX_SHAPE shape = make_shape(tile);
    const auto next = static_cast<std::uint32_t>(folded.m_shapes.size());
    const auto [entry, is_new] = shape_ids.try_emplace(make_key(shape), next);
    if (is_new) {
      shape.m_number = ++num_shapes[shape.m_kind];
      folded.m_shapes.push_back(std::move(shape));
    }
    folded.m_shape_of_tile.push_back(entry->second);
  }
  return folded;
}

} // namespace

ICEBOX_BY_TILE get_wires_by_tile(const ICEBOX_CHIP& chip) {
  return group_by_tile(chip.m_tiles.size(), chip.m_wires.size(),
                       [&chip](std::uint32_t wire) { return chip.m_wires[wire].m_tile; });
}

ICEBOX_FOLDED fold_icebox(const ICEBOX_CHIP& chip) {
  return FOLDER(chip).fold();
}
