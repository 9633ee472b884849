#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// How a device is put together.
enum class GENERATE_FORM : unsigned char {
  TILES,  ///< copies of one tile
  GRIDS,  ///< blocks of each kind side by side in the top, as generators write a fabric
  RANDOM, ///< one module of muxes, each of which reads muxes drawn from all
  NEAR,   ///< the same, drawn from those next to it
  NET,    ///< one module of muxes, of which one half drives a single net and the other half reads it
  CHAIN   ///< one module of muxes in a row with a skipped one between two: each drives all behind it
};

inline constexpr std::array<const char*, 6> GENERATE_FORM_NAMES = {"tiles", "grids", "random",
                                                                   "near",  "net",   "chain"};

/// The order of the cells in the top of a fabric of grids.
enum class GENERATE_ORDER : unsigned char {
  ALPHABET, ///< kind by kind, 10 before 1
  NUMBER,   ///< place by place
  SHUFFLED  ///< by chance, another one for each seed
};

inline constexpr std::array<const char*, 3> GENERATE_ORDER_NAMES = {"alphabet", "number", "shuffled"};

/// What a synthetic device is made of.
///
/// In a fabric of tiles a tile holds a switch block, two connection blocks and a logic block. Level 1 is so
/// many columns by so many rows of tiles, joined at their borders, every further level so many copies of the
/// level below; the last level is the device. A module is stored once, however often it occurs, so the size
/// of the files follows the border of the device and not its area. In the other forms the top lists every
/// block or mux.
///
/// Percentages are rounded up to whole muxes, so any share above 0 is present.
struct GENERATE_OPTIONS {
  std::string m_model;           ///< the file for the device model
  std::string m_routing;         ///< the file for the routing description
  std::string m_redundancy = {}; ///< a file for redundancy data; empty: none

  GENERATE_FORM m_form = GENERATE_FORM::TILES;
  GENERATE_ORDER m_order = GENERATE_ORDER::ALPHABET;
  std::uint32_t m_inputs = 10; ///< of a mux of the forms RANDOM and NEAR

  /// About so many nodes, in levels picked for it; 0: the three below say the size. The last four forms have
  /// no other size.
  std::uint64_t m_nodes = 0;
  std::uint32_t m_levels = 1;
  /// Of a level, lowest first; a single number holds for every level.
  std::vector<std::uint32_t> m_columns = {8};
  std::vector<std::uint32_t> m_rows = {8};

  std::uint32_t m_width = 16;                          ///< wires that start at each side of a tile
  std::vector<std::uint32_t> m_lengths = {1, 1, 2, 4}; ///< of the wires in tiles, dealt in turn
  std::uint32_t m_switch_inputs = 12;                  ///< of a mux of the switch block
  std::uint32_t m_connect_inputs = 12;                 ///< of a mux of a connection block
  std::uint32_t m_luts = 8;                            ///< of a logic block

  std::uint32_t m_redundant = 0;  ///< percent of the mux inputs that stand twice, for redundancy data to mark
  std::uint32_t m_hipi = 0;       ///< percent of the wires with a hipi mux, of the three types in turn
  std::uint32_t m_skip = 0;       ///< percent of the wires that start through a mux skipped on most instances
  std::uint32_t m_tunnels = 0;    ///< chains of source, through and target in a tile
  std::uint32_t m_spare_rows = 0; ///< rows of tiles that wires fly over
  bool m_top_ports = false;       ///< border tracks are routed ports of the top; else they turn back there
  std::uint64_t m_seed = 1;       ///< another seed, other connections; the size stays
};

/// Writes the device as a device model and its routing description, and as redundancy data where a file for
/// it is named, and tells its size in one report line.
///
/// The same options give the same bytes on every machine. All files are written beside their targets and
/// renamed when all are complete. Throws std::runtime_error with one line on options that can't be met and
/// on files that can't be written.
void generate(const GENERATE_OPTIONS& options);
