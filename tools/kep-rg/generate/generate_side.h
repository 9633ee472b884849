#pragma once

#include <array>
#include <cstdint>

/// Where on an axis of the device a block stands: those at the border are modules of their own.
enum GENERATE_SIDE : std::uint32_t { GENERATE_FIRST_SIDE, GENERATE_MIDDLE, GENERATE_LAST_SIDE };

inline constexpr std::array<GENERATE_SIDE, 3> GENERATE_SIDES = {GENERATE_FIRST_SIDE, GENERATE_MIDDLE,
                                                                GENERATE_LAST_SIDE};

inline GENERATE_SIDE get_generate_side(std::uint32_t place, std::uint32_t last) {
  return place == 0 ? GENERATE_FIRST_SIDE : place == last ? GENERATE_LAST_SIDE : GENERATE_MIDDLE;
}

/// The side's name on the axis from west to east.
inline const char* get_generate_x_name(GENERATE_SIDE side) {
  constexpr std::array<const char*, 3> names = {"west", "middle", "east"};
  return names[side];
}

/// The side's name on the axis from south to north.
inline const char* get_generate_y_name(GENERATE_SIDE side) {
  constexpr std::array<const char*, 3> names = {"south", "middle", "north"};
  return names[side];
}
