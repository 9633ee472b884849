#include "tools/kep-rg/generate/generate_region.h"

#include "tools/kep-rg/generate/generate_muxes.h"
#include "tools/kep-rg/generate/generate_wires.h"

#include <fmt/format.h>

#include <array>
#include <utility>

namespace {

using BITS = std::vector<std::int64_t>;

/// A border of a cell and the bits on it run from west to east or from south to north. The bits that leave a
/// cell are numbered cell by cell; those that enter are the ones that leave the neighbour.
class REGION {
public:
  REGION(const GENERATE_CELL& cell, const GENERATE_LEVEL& level, std::uint32_t tracks, GENERATE_BORDER border)
      : m_cell(cell), m_level(level), m_tracks(tracks), m_border(border) {
    for (const GENERATE_HEADING heading : GENERATE_HEADINGS) {
      m_first_out[heading] = m_cell_bits;
      m_cell_bits += width(heading);
    }
    m_first_carry = m_cell_bits;
    m_cell_bits += cell.m_columns;
  }

  KEP_MODEL_MODULE make(const std::string& key);

private:
  std::int64_t width(GENERATE_HEADING heading) const {
    return std::int64_t{is_vertical(heading) ? m_cell.m_columns : m_cell.m_rows} * m_tracks;
  }
  std::int64_t cell_bits(std::uint32_t column, std::uint32_t row) const {
    return GENERATE_FIRST_BIT + (std::int64_t{row} * m_level.m_columns + column) * m_cell_bits;
  }
  std::int64_t first_out(std::uint32_t column, std::uint32_t row, GENERATE_HEADING heading) const {
    return cell_bits(column, row) + m_first_out[heading];
  }
  std::int64_t first_in(std::uint32_t column, std::uint32_t row, GENERATE_HEADING heading) const;
  bool is_at_edge(std::uint32_t column, std::uint32_t row, GENERATE_HEADING heading) const;

  void number_port_bits();
  void add_ports();
  BITS gather_out(GENERATE_HEADING heading) const;
  void add_cell(std::uint32_t column, std::uint32_t row);

  const GENERATE_CELL& m_cell;
  const GENERATE_LEVEL& m_level;
  const std::uint32_t m_tracks;
  const GENERATE_BORDER m_border;
  std::array<std::int64_t, 4> m_first_out{};
  std::int64_t m_first_carry = 0;
  std::int64_t m_cell_bits = 0; // that leave one cell
  std::array<std::int64_t, 4> m_first_port_in{};
  std::int64_t m_first_port_carry = 0;
  KEP_MODEL_MODULE m_module;
};

KEP_MODEL_MODULE REGION::make(const std::string& key) {
  m_module.m_key = key;
  if (m_border == GENERATE_BORDER::PORTS) {
    number_port_bits();
    add_ports();
  }
  for (std::uint32_t row = 0; row < m_level.m_rows; ++row)
    for (std::uint32_t column = 0; column < m_level.m_columns; ++column)
      add_cell(column, row);
  return std::move(m_module);
}

/// Whether the border through which `heading` enters is the region's own.
bool REGION::is_at_edge(std::uint32_t column, std::uint32_t row, GENERATE_HEADING heading) const {
  switch (heading) {
  case GENERATE_NORTH:
    return row == 0;
  case GENERATE_EAST:
    return column == 0;
  case GENERATE_SOUTH:
    return row + 1 == m_level.m_rows;
  case GENERATE_WEST:
    break;
  }
  return column + 1 == m_level.m_columns;
}

std::int64_t REGION::first_in(std::uint32_t column, std::uint32_t row, GENERATE_HEADING heading) const {
  if (is_at_edge(column, row, heading)) {
    if (m_border == GENERATE_BORDER::TURNS) return first_out(column, row, turn(heading, 2));
    return m_first_port_in[heading] + (is_vertical(heading) ? column : row) * width(heading);
  }
  switch (heading) {
  case GENERATE_NORTH:
    return first_out(column, row - 1, heading);
  case GENERATE_EAST:
    return first_out(column - 1, row, heading);
  case GENERATE_SOUTH:
    return first_out(column, row + 1, heading);
  case GENERATE_WEST:
    break;
  }
  return first_out(column + 1, row, heading);
}

void REGION::number_port_bits() {
  std::int64_t next_bit = cell_bits(0, m_level.m_rows);
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS) {
    m_first_port_in[heading] = next_bit;
    next_bit += (is_vertical(heading) ? m_level.m_columns : m_level.m_rows) * width(heading);
  }
  m_first_port_carry = next_bit;
}

void REGION::add_ports() {
  const std::size_t columns = std::size_t{m_level.m_columns} * m_cell.m_columns;
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS) {
    const std::uint32_t cells = is_vertical(heading) ? m_level.m_columns : m_level.m_rows;
    m_module.m_ports.push_back(
        {GENERATE_IN_PORTS[heading], KEP_MODEL_DIRECTION::INPUT,
         generate_bits(m_first_port_in[heading], cells * static_cast<std::size_t>(width(heading)))});
  }
  m_module.m_ports.push_back({"cin", KEP_MODEL_DIRECTION::INPUT, generate_bits(m_first_port_carry, columns)});
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS)
    m_module.m_ports.push_back(
        {GENERATE_OUT_PORTS[heading], KEP_MODEL_DIRECTION::OUTPUT, gather_out(heading)});
  BITS carry;
  for (std::uint32_t column = 0; column < m_level.m_columns; ++column)
    for (std::uint32_t i = 0; i < m_cell.m_columns; ++i)
      carry.push_back(cell_bits(column, m_level.m_rows - 1) + m_first_carry + i);
  m_module.m_ports.push_back({"cout", KEP_MODEL_DIRECTION::OUTPUT, std::move(carry)});
}

/// The bits that leave the region: out of the cells where the opposite heading enters it.
BITS REGION::gather_out(GENERATE_HEADING heading) const {
  BITS bits;
  for (std::uint32_t row = 0; row < m_level.m_rows; ++row)
    for (std::uint32_t column = 0; column < m_level.m_columns; ++column)
      if (is_at_edge(column, row, turn(heading, 2)))
        for (std::int64_t i = 0; i < width(heading); ++i)
          bits.push_back(first_out(column, row, heading) + i);
  return bits;
}

void REGION::add_cell(std::uint32_t column, std::uint32_t row) {
  KEP_MODEL_CELL cell{.m_name = get_generate_cell_name(column, row), .m_type = m_cell.m_key};
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS) {
    const auto bits = static_cast<std::size_t>(width(heading));
    cell.m_connections.push_back(
        {GENERATE_IN_PORTS[heading], generate_bits(first_in(column, row, heading), bits)});
    cell.m_connections.push_back(
        {GENERATE_OUT_PORTS[heading], generate_bits(first_out(column, row, heading), bits)});
  }
  if (row != 0)
    cell.m_connections.push_back(
        {"cin", generate_bits(cell_bits(column, row - 1) + m_first_carry, m_cell.m_columns)});
  else if (m_border == GENERATE_BORDER::PORTS)
    cell.m_connections.push_back(
        {"cin",
         generate_bits(m_first_port_carry + std::int64_t{column} * m_cell.m_columns, m_cell.m_columns)});
  if (row + 1 != m_level.m_rows || m_border == GENERATE_BORDER::PORTS)
    cell.m_connections.push_back(
        {"cout", generate_bits(cell_bits(column, row) + m_first_carry, m_cell.m_columns)});
  m_module.m_cells.push_back(std::move(cell));
}

} // namespace

std::string get_generate_cell_name(std::uint32_t column, std::uint32_t row) {
  return fmt::format("x{}y{}", column, row);
}

KEP_MODEL_MODULE make_generate_region(const std::string& key, const GENERATE_CELL& cell,
                                      const GENERATE_LEVEL& level, std::uint32_t tracks,
                                      GENERATE_BORDER border) {
  return REGION(cell, level, tracks, border).make(key);
}
