#include "tools/kep-rg/generate/generate_grid_places.h"

#include "tools/kep-rg/generate/generate_random.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

namespace {

constexpr std::uint64_t GRID_ORDER_TOPIC = 128;

constexpr std::array<GENERATE_GRID, GENERATE_NUM_GRIDS> GRIDS = {
    GENERATE_CONNECT_H, GENERATE_CONNECT_V, GENERATE_DIRECT, GENERATE_LOGIC, GENERATE_SWITCHES};

/// Numbers as names have them, which "_" follows: 0, 10, 11, 1, 2, ...
std::vector<std::uint32_t> sort_as_texts(std::uint32_t first, std::uint32_t last) {
  std::vector<std::uint32_t> numbers(last + 1 - first);
  std::iota(numbers.begin(), numbers.end(), first);
  std::ranges::sort(numbers, {}, [](std::uint32_t number) { return std::to_string(number) + '_'; });
  return numbers;
}

} // namespace

std::string GENERATE_GRID_PLACE::get_name() const {
  constexpr std::array<const char*, GENERATE_NUM_GRIDS> kinds = {"connect_h", "connect_v", "direct", "logic",
                                                                 "switch"};
  return fmt::format("{}_{}__{}_", kinds[m_grid], m_x, m_y);
}

GENERATE_GRID_PLACES::RANGE GENERATE_GRID_PLACES::get_range(GENERATE_GRID grid) const {
  switch (grid) {
  case GENERATE_CONNECT_H:
    return {1, m_columns, 0, m_rows};
  case GENERATE_CONNECT_V:
    return {0, m_columns, 1, m_rows};
  case GENERATE_DIRECT:
    return {1, m_columns, 1, m_rows - 1};
  case GENERATE_LOGIC:
    return {1, m_columns, 1, m_rows};
  case GENERATE_SWITCHES:
    break;
  }
  return {0, m_columns, 0, m_rows};
}

bool GENERATE_GRID_PLACES::contains(const GENERATE_GRID_PLACE& place) const {
  const RANGE range = get_range(place.m_grid);
  return place.m_x >= range.m_first_x && place.m_x <= range.m_last_x && place.m_y >= range.m_first_y &&
         place.m_y <= range.m_last_y;
}

std::uint64_t GENERATE_GRID_PLACES::get_num_places(GENERATE_GRID grid) const {
  const RANGE range = get_range(grid);
  return std::uint64_t{range.m_last_x + 1 - range.m_first_x} * (range.m_last_y + 1 - range.m_first_y);
}

std::uint64_t GENERATE_GRID_PLACES::get_index(const GENERATE_GRID_PLACE& place) const {
  const RANGE range = get_range(place.m_grid);
  return std::uint64_t{place.m_x - range.m_first_x} * (range.m_last_y + 1 - range.m_first_y) + place.m_y -
         range.m_first_y;
}

void GENERATE_GRID_PLACES::visit(GENERATE_ORDER order, std::uint64_t seed,
                                 const std::function<void(const GENERATE_GRID_PLACE&)>& visit_place) const {
  if (order == GENERATE_ORDER::ALPHABET) {
    for (const GENERATE_GRID grid : GRIDS) {
      const RANGE range = get_range(grid);
      const std::vector<std::uint32_t> rows = sort_as_texts(range.m_first_y, range.m_last_y);
      for (const std::uint32_t x : sort_as_texts(range.m_first_x, range.m_last_x))
        for (const std::uint32_t y : rows)
          visit_place({grid, x, y});
    }
    return;
  }
  std::vector<GENERATE_GRID_PLACE> shuffled;
  for (std::uint32_t x = 0; x <= m_columns; ++x)
    for (std::uint32_t y = 0; y <= m_rows; ++y)
      for (const GENERATE_GRID grid : GRIDS) {
        const GENERATE_GRID_PLACE place{grid, x, y};
        if (!contains(place)) continue;
        if (order == GENERATE_ORDER::NUMBER)
          visit_place(place);
        else
          shuffled.push_back(place);
      }
  GENERATE_RANDOM(seed, GRID_ORDER_TOPIC).draw(shuffled, shuffled.size());
  for (const GENERATE_GRID_PLACE& place : shuffled)
    visit_place(place);
}
