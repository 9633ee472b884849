#pragma once

#include "kep_io/kep_model_writer.h"
#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_description.h"
#include "tools/kep-rg/generate/generate_tile.h"

#include <cstdint>
#include <string>
#include <vector>

/// How many copies of the level below a level is.
struct GENERATE_LEVEL {
  std::uint32_t m_columns;
  std::uint32_t m_rows;
};

/// The levels above the tile, lowest first; the last is the device.
class GENERATE_LEVELS {
public:
  /// As the options say, or picked for about `options.m_nodes` nodes.
  GENERATE_LEVELS(const GENERATE_OPTIONS& options, const GENERATE_TILE& tile, std::uint32_t tracks);

  std::uint32_t get_columns() const { return m_columns; } ///< of tiles, in all
  std::uint32_t get_rows() const { return m_rows; }
  std::uint64_t get_num_tiles() const { return std::uint64_t{m_columns} * m_rows; }
  std::uint64_t get_num_top_ports() const;

  /// One line.
  std::string get_text() const;

  /// A module a level.
  void write(KEP_MODEL_WRITER& writer) const;

  /// The instance path of a tile from the top.
  std::string get_tile_path(std::uint32_t column, std::uint32_t row) const;

  /// Marks the tiles of the spare rows, which lie evenly spread, and what hangs on them.
  void describe_spare_rows(std::uint32_t num_spare_rows, GENERATE_DESCRIPTION& description) const;

private:
  /// `num_missing_rows` are the rows whose worth of nodes the spare rows lack.
  void pick(std::uint64_t num_tiles, std::uint64_t num_missing_rows);
  void check() const;

  std::vector<GENERATE_LEVEL> m_levels;
  std::uint32_t m_columns = 1;
  std::uint32_t m_rows = 1;
  std::uint32_t m_tracks;
  bool m_top_ports;
};
