#pragma once

#include "kep_io/kep_model_writer.h"
#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_block.h"
#include "tools/kep-rg/generate/generate_muxes.h"
#include "tools/kep-rg/generate/generate_tile.h"
#include "tools/kep-rg/generate/generate_wires.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// The switch block of a tile: for each wire that starts there a mux, among tracks that arrive from three
/// sides and outputs of the logic block, and with the options for it a hipi type or a skip mux behind it.
/// Tunnels lie in it too.
///
/// Ports: the tracks of the four headings, "b" for the outputs of the logic block; the wires of the four
/// headings.
class GENERATE_SWITCH {
public:
  static constexpr const char* KEY = "switch_block";
  static constexpr const char* INSTANCE = "switch";

  GENERATE_SWITCH(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires, GENERATE_MUXES& muxes,
                  GENERATE_TILE& tile);

  /// The port of the wires that start here.
  static const char* get_output(GENERATE_HEADING heading);

  /// Adds the module and its share of the tile's statements, redundant inputs and nodes.
  void add_module();

  /// How many inputs of a mux are fed from inside the tile, not from tracks.
  static std::uint32_t get_num_local_inputs(const GENERATE_OPTIONS& options);

  /// How many outputs inside the tile these inputs choose among.
  static std::uint32_t get_num_local_sources(const GENERATE_OPTIONS& options);

private:
  void add_ports();
  void add_tunnels();
  void add_wire(GENERATE_HEADING heading, std::uint32_t wire);
  std::int64_t add_skip_mux(std::uint32_t number, std::uint32_t wire, std::int64_t driver);
  std::vector<std::int64_t> choose_sources(GENERATE_HEADING heading, std::uint32_t wire);
  void describe_tunnels();
  void describe_skips();

  std::int64_t track_bit(GENERATE_HEADING heading, std::uint32_t track) const;
  std::int64_t last_bit(GENERATE_HEADING heading, std::uint32_t wire) const;

  /// Counts the nodes of a mux of a wire, and keeps them in spare rows where the wire stays there.
  void count(std::uint32_t nodes, std::uint32_t wire, const std::string& mux);

  struct SKIP {
    std::string m_instance;
    bool m_bypass; ///< the module is no skip mux, the exceptions are those that are skipped
    bool m_real;   ///< a mux with a node on this instance
  };

  const GENERATE_OPTIONS& m_options;
  const GENERATE_WIRES& m_wires;
  GENERATE_MUXES& m_muxes;
  GENERATE_TILE& m_tile;
  KEP_MODEL_MODULE m_module;
  std::int64_t m_next_bit = GENERATE_FIRST_BIT;
  std::vector<std::int64_t> m_local;              ///< sources inside the tile
  std::size_t m_next_local = 0;                   ///< they are dealt in turn, so that each is used
  std::array<std::vector<std::int64_t>, 4> m_out; ///< of a heading, a wire
  std::vector<bool> m_is_hipi;                    ///< of a mux, by its number
  std::vector<bool> m_is_skip;
  std::uint32_t m_num_hipi = 0;
  std::vector<SKIP> m_skips;
};
