#pragma once

#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_body.h"
#include "tools/kep-rg/generate/generate_side.h"
#include "tools/kep-rg/generate/generate_wires.h"

#include <cstdint>
#include <string>
#include <vector>

/// A connection block of a fabric of grids, around the horizontal or the vertical tracks between two switch
/// blocks. The tracks go through it; muxes among them choose the inputs of the logic block before it, and at
/// the border of the device what goes to pads.
///
/// Ports: the tracks of its two headings in and out; "p" for the inputs of the logic block, but not at the
/// first side, where there is none before it.
struct GENERATE_GRID_CONNECT {
  bool m_vertical;
  GENERATE_SIDE m_side; ///< from south to north for horizontal tracks, from west to east for vertical ones

  std::string get_key() const;
  bool has_pins() const { return m_side != GENERATE_FIRST_SIDE; }

  /// Adds its module and gives its routing nodes.
  std::uint64_t add_module(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires,
                           GENERATE_PARTS& parts, std::vector<KEP_MODEL_MODULE>& modules) const;

  static constexpr const char* PAD = "pad"; ///< a module with the port "i"
};
