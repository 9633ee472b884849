#include "tools/kep-rg/generate/generate_tile.h"

#include "tools/kep-rg/generate/generate_block.h"
#include "tools/kep-rg/generate/generate_connect.h"
#include "tools/kep-rg/generate/generate_muxes.h"
#include "tools/kep-rg/generate/generate_switch.h"

#include <array>
#include <utility>

namespace {

using BITS = std::vector<std::int64_t>;

class TILE_MODULE {
public:
  TILE_MODULE(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires)
      : m_options(options), m_wires(wires), m_block{options.m_luts} {}

  KEP_MODEL_MODULE make();

private:
  BITS take(std::size_t width) {
    BITS bits = generate_bits(m_next_bit, width);
    m_next_bit += static_cast<std::int64_t>(width);
    return bits;
  }
  void add_ports();
  void add_switch();
  void add_connect(bool vertical);
  void add_block();

  const GENERATE_OPTIONS& m_options;
  const GENERATE_WIRES& m_wires;
  const GENERATE_BLOCK m_block;
  KEP_MODEL_MODULE m_module{.m_key = GENERATE_TILE::KEY};
  std::int64_t m_next_bit = GENERATE_FIRST_BIT;
  std::array<BITS, 4> m_tracks;    // that arrive, of a heading
  std::array<BITS, 4> m_wires_out; // that start here, of a heading
  BITS m_block_inputs, m_block_outputs, m_carry_in, m_carry_out;
};

KEP_MODEL_MODULE TILE_MODULE::make() {
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS)
    m_tracks[heading] = take(m_wires.m_tracks);
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS)
    m_wires_out[heading] = take(m_options.m_width);
  m_block_inputs = take(m_block.get_num_inputs());
  m_block_outputs = take(m_block.get_num_outputs());
  m_carry_in = take(1);
  m_carry_out = take(1);
  add_ports();
  add_switch();
  add_connect(true);
  add_connect(false);
  add_block();
  return std::move(m_module);
}

void TILE_MODULE::add_ports() {
  if (m_options.m_spare_rows != 0) m_module.m_attributes.push_back({"kep_ip_root", 1});
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS)
    m_module.m_ports.push_back({GENERATE_IN_PORTS[heading], KEP_MODEL_DIRECTION::INPUT, m_tracks[heading]});
  m_module.m_ports.push_back({"cin", KEP_MODEL_DIRECTION::INPUT, m_carry_in});
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS) {
    BITS out;
    for (std::uint32_t wire = 0; wire < m_options.m_width; ++wire) {
      out.push_back(m_wires_out[heading][wire]);
      // What passes leaves one track further on.
      const auto passing = m_tracks[heading].begin() + m_wires.m_first_track[wire];
      out.insert(out.end(), passing, passing + m_wires.m_length[wire] - 1);
    }
    m_module.m_ports.push_back({GENERATE_OUT_PORTS[heading], KEP_MODEL_DIRECTION::OUTPUT, std::move(out)});
  }
  m_module.m_ports.push_back({"cout", KEP_MODEL_DIRECTION::OUTPUT, m_carry_out});
}

void TILE_MODULE::add_switch() {
  KEP_MODEL_CELL cell{.m_name = GENERATE_SWITCH::INSTANCE, .m_type = GENERATE_SWITCH::KEY};
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS) {
    cell.m_connections.push_back({GENERATE_IN_PORTS[heading], m_tracks[heading]});
    cell.m_connections.push_back({GENERATE_SWITCH::get_output(heading), m_wires_out[heading]});
  }
  cell.m_connections.push_back({"b", m_block_outputs});
  m_module.m_cells.push_back(std::move(cell));
}

void TILE_MODULE::add_connect(bool vertical) {
  KEP_MODEL_CELL cell{.m_name = GENERATE_CONNECT::get_instance(vertical),
                      .m_type = GENERATE_CONNECT::get_key(vertical)};
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS)
    if (is_vertical(heading) == vertical)
      cell.m_connections.push_back({GENERATE_IN_PORTS[heading], m_tracks[heading]});
  BITS pins;
  for (std::size_t input = vertical ? 0 : 1; input < m_block_inputs.size(); input += 2)
    pins.push_back(m_block_inputs[input]);
  cell.m_connections.push_back({"p", std::move(pins)});
  m_module.m_cells.push_back(std::move(cell));
}

void TILE_MODULE::add_block() {
  KEP_MODEL_CELL cell{.m_name = GENERATE_TILE::BLOCK, .m_type = GENERATE_BLOCK::KEY};
  cell.m_connections = {
      {"i", m_block_inputs}, {"cin", m_carry_in}, {"o", m_block_outputs}, {"cout", m_carry_out}};
  m_module.m_cells.push_back(std::move(cell));
}

/// In a spare row a signal that enters from above or below leaves on the same track, as if the row weren't
/// there; but for the wires that stay.
void describe_flyovers(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires,
                       GENERATE_DESCRIPTION& description) {
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS) {
    if (!is_vertical(heading)) continue;
    for (std::uint32_t wire = 0; wire < options.m_width; ++wire) {
      if (GENERATE_WIRES::stays_in_spare_row(wire)) continue;
      for (std::uint32_t track = wires.m_first_track[wire]; track <= wires.last_track(wire); ++track)
        description.add_routing_flyover(
            GENERATE_TILE::KEY, generate_bit_name(GENERATE_IN_PORTS[heading], wires.m_tracks, track),
            generate_bit_name(GENERATE_OUT_PORTS[heading], wires.m_tracks, track));
    }
  }
  description.add_routing_flyover(GENERATE_TILE::KEY, "cin", "cout");
  description.add_routing_root(GENERATE_TILE::KEY, "LOGICAL");
}

} // namespace

GENERATE_TILE make_generate_tile(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires) {
  GENERATE_TILE tile;
  GENERATE_MUXES muxes;
  GENERATE_SWITCH(options, wires, muxes, tile).add_module();
  GENERATE_CONNECT connect(options, wires, muxes, tile);
  connect.add_module(true);
  connect.add_module(false);
  const GENERATE_BLOCK block{options.m_luts};
  block.add_modules(tile.m_modules, tile.m_description);
  tile.m_nodes += block.get_num_nodes();

  std::vector<KEP_MODEL_MODULE> modules;
  muxes.add_modules(modules, tile.m_description);
  modules.insert(modules.end(), std::make_move_iterator(tile.m_modules.begin()),
                 std::make_move_iterator(tile.m_modules.end()));
  tile.m_modules = std::move(modules);
  tile.m_modules.push_back(TILE_MODULE(options, wires).make());
  if (options.m_spare_rows != 0) describe_flyovers(options, wires, tile.m_description);
  return tile;
}
