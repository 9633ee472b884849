#pragma once

#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_body.h"
#include "tools/kep-rg/generate/generate_side.h"
#include "tools/kep-rg/generate/generate_wires.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// A corner between logic blocks.
struct GENERATE_CORNER {
  const char* m_port; ///< of a switch block, for the outputs of the logic block there
  bool m_north;
  bool m_east;
};

inline constexpr std::array<GENERATE_CORNER, 4> GENERATE_CORNERS = {
    {{"b_sw", false, false}, {"b_se", false, true}, {"b_nw", true, false}, {"b_ne", true, true}}};

/// A switch block of a fabric of grids, where four logic blocks meet. Wires start, pass and end there. At the
/// border of the device no wire comes from outside, so all tracks that lead inward start there, those in
/// place of passing wires by smaller muxes.
///
/// Ports: as far as there are neighbours, the tracks of each heading in and out and the outputs of the logic
/// blocks around.
struct GENERATE_GRID_SWITCH {
  GENERATE_SIDE m_x;
  GENERATE_SIDE m_y;

  std::string get_key() const;
  bool has_out(GENERATE_HEADING heading) const;
  bool has_in(GENERATE_HEADING heading) const { return has_out(turn(heading, 2)); }
  bool has_block(const GENERATE_CORNER& corner) const;

  /// Adds its module and gives its routing nodes.
  std::uint64_t add_module(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires,
                           GENERATE_PARTS& parts, std::vector<KEP_MODEL_MODULE>& modules) const;
};
