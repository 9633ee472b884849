#pragma once

#include "kep_io/kep_model_writer.h"
#include "tools/kep-rg/generate/generate_levels.h"

#include <string>

/// The module below a region, and how large it is in tiles.
struct GENERATE_CELL {
  std::string m_key;
  std::uint32_t m_columns;
  std::uint32_t m_rows;
};

/// How the border of a region is closed.
enum class GENERATE_BORDER : unsigned char {
  PORTS, ///< its tracks are the ports of the region
  TURNS, ///< a track that leaves comes back on the opposite heading, and the region has no ports
};

std::string get_generate_cell_name(std::uint32_t column, std::uint32_t row);

/// Copies of a cell, joined at their borders: what leaves one cell northward enters the one above it, and so
/// on. `tracks` is the number of border tracks of a tile in one heading.
KEP_MODEL_MODULE make_generate_region(const std::string& key, const GENERATE_CELL& cell,
                                      const GENERATE_LEVEL& level, std::uint32_t tracks,
                                      GENERATE_BORDER border);
