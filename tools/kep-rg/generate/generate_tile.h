#pragma once

#include "kep_io/kep_model_writer.h"
#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_description.h"
#include "tools/kep-rg/generate/generate_wires.h"

#include <cstdint>
#include <string>
#include <vector>

/// A tile, laid out, with all that lies below it.
///
/// Its ports: the border tracks of each heading, in and out, and "cin" and "cout" of the carry chain, which
/// runs north.
struct GENERATE_TILE {
  static constexpr const char* KEY = "tile";
  static constexpr const char* BLOCK = "block"; ///< the instance of the logic block

  std::vector<KEP_MODEL_MODULE> m_modules; ///< masters before their users: the tile is the last
  GENERATE_DESCRIPTION m_description;      ///< of these modules

  /// The inputs that repeat another input of the same mux, as relative ports below the tile: those that
  /// redundancy data for the tile has to mark.
  std::vector<std::string> m_redundant_inputs;

  std::uint64_t m_nodes = 0;       ///< routing nodes of a tile
  std::uint64_t m_spare_nodes = 0; ///< routing nodes of a tile in a spare row
};

/// The options must have passed check_generate_options().
GENERATE_TILE make_generate_tile(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires);
