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
  std::uint32_t kind; ///< in ICEBOX_CHIP::kinds
  std::uint32_t x;
  std::uint32_t y;
};

struct ICEBOX_NET {
  std::uint32_t number; ///< as the file numbers it
  std::uint32_t num_wires = 0;
  std::uint32_t num_drivers = 0; ///< muxes that drive the net, in all tiles
};

struct ICEBOX_WIRE {
  std::uint32_t tile;
  std::uint32_t net;
  std::uint32_t name; ///< in ICEBOX_CHIP::names
};

/// One `.buffer` or `.routing` entry. It drives and listens to the first local wire of the nets that it
/// names.
struct ICEBOX_MUX {
  ICEBOX_MUX_KIND kind;
  std::uint32_t ordinal; ///< 1 for the first entry of this kind for the wire, then counting up
  std::uint32_t wire;    ///< the local wire that it drives
  std::uint32_t first_source;
  std::uint32_t num_sources;
  std::uint32_t line;
};

struct ICEBOX_CHIP {
  std::vector<std::string> kinds; ///< tile section names without the leading dot
  std::vector<std::string> names; ///< local names, each once
  std::vector<ICEBOX_TILE> tiles;
  std::vector<ICEBOX_NET> nets;
  std::vector<ICEBOX_WIRE> wires;
  std::vector<ICEBOX_MUX> muxes;
  std::vector<std::uint32_t> sources; ///< local wires, the inputs of mux after mux
};

/// Reads `text`, the content of the chip database `file`. Throws std::runtime_error, `file:LINE: reason`.
ICEBOX_CHIP read_icebox(const std::string& file, std::string_view text);
