#pragma once

#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_muxes.h"
#include "tools/kep-rg/generate/generate_tile.h"
#include "tools/kep-rg/generate/generate_wires.h"

#include <cstdint>

/// The two connection blocks of a tile: muxes among the tracks that pass, one block for the vertical ones and
/// one for the horizontal ones, which take turns at feeding the inputs of the logic block.
class GENERATE_CONNECT {
public:
  GENERATE_CONNECT(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires, GENERATE_MUXES& muxes,
                   GENERATE_TILE& tile)
      : m_options(options), m_wires(wires), m_muxes(muxes), m_tile(tile) {}

  static const char* get_key(bool vertical) { return vertical ? "connect_block_v" : "connect_block_h"; }
  static const char* get_instance(bool vertical) { return vertical ? "connect_v" : "connect_h"; }

  /// Inputs of the logic block that each of the two feeds, by port "p".
  static std::uint32_t get_num_pins(const GENERATE_OPTIONS& options);

  /// Adds the module of one of them and its share of the tile's redundant inputs and nodes.
  void add_module(bool vertical);

private:
  std::vector<std::int64_t> choose_sources(std::uint32_t number) const;

  const GENERATE_OPTIONS& m_options;
  const GENERATE_WIRES& m_wires;
  GENERATE_MUXES& m_muxes;
  GENERATE_TILE& m_tile;
};
