#include "tools/kep-rg/generate/generate_levels.h"

#include "tools/kep-rg/generate/generate_region.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace {

/// A module of more bits than this is no longer a small one: more levels are the answer.
constexpr std::uint64_t MAX_BITS_OF_LEVEL = std::uint64_t{1} << 24;

/// The columns or rows that a picked level is meant to have, and the most that it has. The room between them
/// is there for a product close to the number wanted.
constexpr std::uint32_t MEANT_CELLS = 8;
constexpr std::uint32_t MAX_PICKED_CELLS = 12;

std::uint32_t integer_root(std::uint64_t n) {
  std::uint64_t root = 0;
  for (std::uint64_t bit = std::uint64_t{1} << 31; bit != 0; bit >>= 1)
    if ((root + bit) * (root + bit) <= n) root += bit;
  return static_cast<std::uint32_t>(root);
}

/// Searches falling factors from 1 to MAX_PICKED_CELLS for the product next to `target`.
class FACTOR_SEARCH {
public:
  FACTOR_SEARCH(std::size_t num_factors, std::uint64_t target) : m_target(target), m_factors(num_factors) {
    search(0, MAX_PICKED_CELLS, 1);
  }

  const std::vector<std::uint32_t>& get_best() const { return m_best; }

private:
  void search(std::size_t depth, std::uint32_t largest, std::uint64_t product) {
    if (depth == m_factors.size()) {
      const std::uint64_t distance = product > m_target ? product - m_target : m_target - product;
      if (!m_best.empty() && distance >= m_distance) return;
      m_distance = distance;
      m_best = m_factors;
      return;
    }
    for (std::uint32_t factor = largest; factor >= 1; --factor) {
      m_factors[depth] = factor;
      search(depth + 1, factor, product * factor);
    }
  }

  std::uint64_t m_target;
  std::uint64_t m_distance = 0;
  std::vector<std::uint32_t> m_factors;
  std::vector<std::uint32_t> m_best;
};

std::uint32_t product(const std::vector<std::uint32_t>& factors) {
  std::uint32_t all = 1;
  for (const std::uint32_t factor : factors)
    all *= factor;
  return all;
}

std::string level_key(std::size_t level) {
  return fmt::format("region_{}", level + 1);
}

} // namespace

GENERATE_LEVELS::GENERATE_LEVELS(const GENERATE_OPTIONS& options, const GENERATE_TILE& tile,
                                 std::uint32_t tracks)
    : m_tracks(tracks), m_top_ports(options.m_top_ports) {
  if (options.m_nodes != 0) {
    pick(std::max<std::uint64_t>(1, (options.m_nodes + tile.m_nodes / 2) / tile.m_nodes),
         options.m_spare_rows * (tile.m_nodes - tile.m_spare_nodes) / tile.m_nodes);
  } else {
    for (std::uint32_t level = 0; level < options.m_levels; ++level)
      m_levels.push_back({options.m_columns[options.m_columns.size() == 1 ? 0 : level],
                          options.m_rows[options.m_rows.size() == 1 ? 0 : level]});
  }
  check();
  for (const GENERATE_LEVEL& level : m_levels) {
    m_columns *= level.m_columns;
    m_rows *= level.m_rows;
  }
  if (options.m_spare_rows >= m_rows)
    throw std::runtime_error(
        fmt::format("generate: {} spare rows don't fit among {} rows", options.m_spare_rows, m_rows));
}

/// A square, as nearly as may be. The larger factors go to the lower levels: the borders of the top are the
/// long ones, and few cells there make small files.
void GENERATE_LEVELS::pick(std::uint64_t num_tiles, std::uint64_t num_missing_rows) {
  const std::uint64_t side = std::max<std::uint64_t>(1, integer_root(num_tiles));
  std::size_t num_levels = 1;
  for (std::uint64_t reach = MEANT_CELLS; reach < side + 2; reach *= MEANT_CELLS)
    ++num_levels;
  const std::vector<std::uint32_t> columns = FACTOR_SEARCH(num_levels, side).get_best();
  const std::uint64_t num_columns = product(columns);
  const std::uint64_t num_rows = (num_tiles + num_columns / 2) / num_columns + num_missing_rows;
  const std::vector<std::uint32_t> rows = FACTOR_SEARCH(num_levels, num_rows).get_best();
  for (std::size_t level = 0; level < num_levels; ++level)
    if (level == 0 || columns[level] != 1 || rows[level] != 1)
      m_levels.push_back({columns[level], rows[level]});
}

void GENERATE_LEVELS::check() const {
  std::uint64_t columns = 1;
  std::uint64_t rows = 1;
  for (std::size_t level = 0; level < m_levels.size(); ++level) {
    const auto [cell_columns, cell_rows] = m_levels[level];
    // What leaves and enters all cells. Checked at every level, so that nothing overflows.
    const std::uint64_t bits = 4 * (columns + rows) * m_tracks * cell_columns * cell_rows;
    if (bits > MAX_BITS_OF_LEVEL)
      throw std::runtime_error(fmt::format(
          "generate: level {} of {} by {} cells would be a module of {} bits, more than {}: use more levels "
          "of fewer cells",
          level + 1, cell_columns, cell_rows, bits, MAX_BITS_OF_LEVEL));
    columns *= cell_columns;
    rows *= cell_rows;
  }
}

std::uint64_t GENERATE_LEVELS::get_num_top_ports() const {
  return 4 * (std::uint64_t{m_columns} + m_rows) * m_tracks + 2 * std::uint64_t{m_columns};
}

std::string GENERATE_LEVELS::get_text() const {
  std::vector<std::uint32_t> columns;
  std::vector<std::uint32_t> rows;
  for (const GENERATE_LEVEL& level : m_levels) {
    columns.push_back(level.m_columns);
    rows.push_back(level.m_rows);
  }
  return fmt::format("--levels {} --columns {} --rows {}: {} tiles ({} columns, {} rows)", m_levels.size(),
                     fmt::join(columns, ","), fmt::join(rows, ","), get_num_tiles(), m_columns, m_rows);
}

void GENERATE_LEVELS::write(KEP_MODEL_WRITER& writer) const {
  GENERATE_CELL cell{GENERATE_TILE::KEY, 1, 1};
  for (std::size_t i = 0; i < m_levels.size(); ++i) {
    const bool is_top = i + 1 == m_levels.size();
    const GENERATE_LEVEL& level = m_levels[i];
    const std::string key = is_top ? "device" : level_key(i);
    KEP_MODEL_MODULE module = make_generate_region(
        key, cell, level, m_tracks, is_top && !m_top_ports ? GENERATE_BORDER::TURNS : GENERATE_BORDER::PORTS);
    if (is_top) module.m_attributes.push_back({"top", 1});
    if (is_top && m_top_ports) module.m_attributes.push_back({"kep_db_type", 1});
    writer.write(module);
    cell = {key, cell.m_columns * level.m_columns, cell.m_rows * level.m_rows};
  }
}

std::string GENERATE_LEVELS::get_tile_path(std::uint32_t column, std::uint32_t row) const {
  std::string path;
  std::uint32_t cell_columns = m_columns;
  std::uint32_t cell_rows = m_rows;
  for (auto level = m_levels.rbegin(); level != m_levels.rend(); ++level) {
    cell_columns /= level->m_columns;
    cell_rows /= level->m_rows;
    if (!path.empty()) path += '/';
    path += get_generate_cell_name(column / cell_columns, row / cell_rows);
    column %= cell_columns;
    row %= cell_rows;
  }
  return path;
}

void GENERATE_LEVELS::describe_spare_rows(std::uint32_t num_spare_rows,
                                          GENERATE_DESCRIPTION& description) const {
  for (std::uint64_t i = 1; i <= num_spare_rows; ++i) {
    const auto row = static_cast<std::uint32_t>(i * m_rows / (num_spare_rows + 1));
    for (std::uint32_t column = 0; column < m_columns; ++column) {
      // The logic block is an IP root of its own, so the mark on the tile doesn't reach what lies in it.
      const std::string tile = get_tile_path(column, row);
      description.set_spare_row(tile);
      description.set_spare_row(fmt::format("{}/{}", tile, GENERATE_TILE::BLOCK));
    }
  }
}
