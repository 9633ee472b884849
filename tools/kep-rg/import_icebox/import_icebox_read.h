#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The connectivity of a chip database as plain tables in file order.
///
/// Tables refer to one another by index. Every reference holds: a chip that was read has no entry that names
/// a tile, a net or a local wire that isn't there. Sections that don't speak of connectivity (packages,
/// configuration bits, cells outside the fabric) leave no trace.
///
/// A "local wire" is one name of a net in one tile: printable characters without `.`, `:`, `"` and `\`. A "/"
/// parts a cell from its pin.

enum class ICEBOX_MUX_KIND : std::uint8_t { BUFFER, ROUTING };

struct ICEBOX_TILE {
  std::uint32_t m_kind; ///< in ICEBOX_CHIP::kinds
  std::uint32_t m_x;
  std::uint32_t m_y;
};

struct ICEBOX_NET {
  std::uint32_t m_number; ///< as the file numbers it
  std::uint32_t m_num_wires = 0;
  std::uint32_t m_num_drivers = 0; ///< muxes that drive the net, in all tiles
};

struct ICEBOX_WIRE {
  std::uint32_t m_tile;
  std::uint32_t m_net;
  std::uint32_t m_name; ///< in ICEBOX_CHIP::names
};

/// One `.buffer` or `.routing` entry. It drives and listens to the first local wire of the nets that it
/// names.
struct ICEBOX_MUX {
  ICEBOX_MUX_KIND m_kind;
  std::uint32_t m_ordinal; ///< 1 for the first entry of this kind for the wire, then counting up
  std::uint32_t m_wire;    ///< the local wire that it drives
  std::uint32_t m_first_source;
  std::uint32_t m_num_sources;
  std::uint32_t m_line;
};

struct ICEBOX_CHIP {
  std::vector<std::string> m_kinds; ///< tile section names without the leading dot
  std::vector<std::string> m_names; ///< local names, each once
  std::vector<ICEBOX_TILE> m_tiles;
  std::vector<ICEBOX_NET> m_nets;
  std::vector<ICEBOX_WIRE> m_wires;
  std::vector<ICEBOX_MUX> m_muxes;
  std::vector<std::uint32_t> m_sources; ///< local wires, the inputs of mux after mux
};

/// Reads `text`, the content of the chip database `file`. Throws std::runtime_error, `file:LINE: reason`.
ICEBOX_CHIP read_icebox(const std::string& file, std::string_view text);
