#pragma once

#include "tools/kep-rg/generate/generate.h"

#include <array>
#include <cstdint>
#include <vector>

/// The border of a tile. Wires run in four headings, the order of which is that of a turn to the right; a
/// wire starts at a switch block and passes `length` tiles. Where it passes, it moves on by one border track,
/// so a wire of length n takes n tracks of a heading, and all tiles are alike.
enum GENERATE_HEADING : std::uint32_t { GENERATE_NORTH, GENERATE_EAST, GENERATE_SOUTH, GENERATE_WEST };

inline constexpr std::array<GENERATE_HEADING, 4> GENERATE_HEADINGS = {GENERATE_NORTH, GENERATE_EAST,
                                                                      GENERATE_SOUTH, GENERATE_WEST};

inline constexpr std::array<const char*, 4> GENERATE_IN_PORTS = {"n_in", "e_in", "s_in", "w_in"};
inline constexpr std::array<const char*, 4> GENERATE_OUT_PORTS = {"n_out", "e_out", "s_out", "w_out"};

inline bool is_vertical(GENERATE_HEADING heading) {
  return heading == GENERATE_NORTH || heading == GENERATE_SOUTH;
}

/// The heading after `turns` quarter turns to the right.
inline GENERATE_HEADING turn(GENERATE_HEADING heading, std::uint32_t turns) {
  return static_cast<GENERATE_HEADING>((heading + turns) % 4);
}

struct GENERATE_WIRES {
  explicit GENERATE_WIRES(const GENERATE_OPTIONS& options) {
    for (std::uint32_t wire = 0; wire < options.m_width; ++wire) {
      m_length.push_back(options.m_lengths[wire % options.m_lengths.size()]);
      m_first_track.push_back(m_tracks);
      m_tracks += m_length.back();
    }
  }

  std::uint32_t last_track(std::uint32_t wire) const { return m_first_track[wire] + m_length[wire] - 1; }

  /// Every fourth wire keeps its muxes in a spare row, the others fly over it.
  static bool stays_in_spare_row(std::uint32_t wire) { return wire % 4 == 0; }

  std::vector<std::uint32_t> m_length;
  std::vector<std::uint32_t> m_first_track; ///< the track on which a wire leaves its first tile
  std::uint32_t m_tracks = 0;               ///< of one heading
};
