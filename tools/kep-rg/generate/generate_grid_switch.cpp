#include "tools/kep-rg/generate/generate_grid_switch.h"

#include "tools/kep-rg/generate/generate_grid_logic.h"
#include "tools/kep-rg/generate/generate_random.h"
#include "tools/kep-rg/generate/generate_switch.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

using BITS = std::vector<std::int64_t>;

constexpr std::uint64_t GRID_SWITCH_TOPIC = 64;
constexpr std::size_t BORDER_INPUTS = 3; ///< of a mux in place of a wire that would pass

class SWITCH_MODULE {
public:
  SWITCH_MODULE(const GENERATE_GRID_SWITCH& kind, const GENERATE_OPTIONS& options,
                const GENERATE_WIRES& wires, GENERATE_PARTS& parts)
      : m_kind(kind), m_options(options), m_wires(wires), m_body(kind.get_key(), parts) {}

  void make() {
    add_inputs();
    for (const GENERATE_HEADING heading : GENERATE_HEADINGS)
      if (m_kind.has_out(heading)) add_tracks(heading);
  }
  GENERATE_BODY& get_body() { return m_body; }

private:
  void add_inputs();
  void add_tracks(GENERATE_HEADING heading);
  std::int64_t add_mux(GENERATE_HEADING heading, std::uint32_t track, const BITS& sources);
  BITS choose_sources(GENERATE_HEADING heading, std::uint32_t wire);
  BITS choose_tracks(GENERATE_HEADING heading, std::uint32_t track, BITS chosen, std::size_t count) const;

  const GENERATE_GRID_SWITCH& m_kind;
  const GENERATE_OPTIONS& m_options;
  const GENERATE_WIRES& m_wires;
  GENERATE_BODY m_body;
  std::array<BITS, 4> m_in;     // that arrive, of a heading
  BITS m_local;                 // outputs of logic blocks
  std::size_t m_next_local = 0; // they are dealt in turn, so that each is used
};

void SWITCH_MODULE::add_inputs() {
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS)
    if (m_kind.has_in(heading))
      m_in[heading] = m_body.add_input(GENERATE_IN_PORTS[heading], m_wires.m_tracks);
  for (const GENERATE_CORNER& corner : GENERATE_CORNERS) {
    if (!m_kind.has_block(corner)) continue;
    const BITS outputs = m_body.add_input(corner.m_port, GENERATE_GRID_LOGIC::get_num_outputs(m_options));
    m_local.insert(m_local.end(), outputs.begin(), outputs.end());
  }
}

void SWITCH_MODULE::add_tracks(GENERATE_HEADING heading) {
  const BITS& behind = m_in[heading];
  BITS out;
  for (std::uint32_t wire = 0; wire < m_options.m_width; ++wire) {
    const std::uint32_t first = m_wires.m_first_track[wire];
    out.push_back(add_mux(heading, first, choose_sources(heading, wire)));
    // What passes leaves one track further on.
    for (std::uint32_t track = first + 1; track <= m_wires.last_track(wire); ++track)
      out.push_back(behind.empty() ? add_mux(heading, track, choose_tracks(heading, track, {}, BORDER_INPUTS))
                                   : behind[track - 1]);
  }
  m_body.add_output(GENERATE_OUT_PORTS[heading], out);
}

std::int64_t SWITCH_MODULE::add_mux(GENERATE_HEADING heading, std::uint32_t track, const BITS& sources) {
  const std::int64_t output = m_body.take();
  m_body.add_mux(fmt::format("{}{}", GENERATE_SWITCH::get_output(heading), track), sources, output);
  return output;
}

/// Tracks that arrive, and outputs of logic blocks.
BITS SWITCH_MODULE::choose_sources(GENERATE_HEADING heading, std::uint32_t wire) {
  const std::uint32_t after = (wire + 1) % m_options.m_width;
  // With the wire straight on, the end of every wire is used.
  BITS chosen;
  const auto add_end = [&](GENERATE_HEADING from, std::uint32_t other) {
    if (m_kind.has_in(from)) chosen.push_back(m_in[from][m_wires.last_track(other)]);
  };
  add_end(heading, wire);
  add_end(turn(heading, 1), wire);
  add_end(turn(heading, 3), after);
  const std::uint32_t num_local = GENERATE_SWITCH::get_num_local_inputs(m_options);
  BITS sources = choose_tracks(heading, m_wires.m_first_track[wire], std::move(chosen),
                               m_options.m_switch_inputs - num_local);
  for (std::uint32_t i = 0; i < num_local; ++i)
    sources.push_back(m_local[m_next_local++ % m_local.size()]);
  return sources;
}

/// Those chosen already and others drawn, up to so many: tracks from the sides that aren't ahead, none twice.
BITS SWITCH_MODULE::choose_tracks(GENERATE_HEADING heading, std::uint32_t track, BITS chosen,
                                  std::size_t count) const {
  BITS pool;
  for (const std::uint32_t turns : {0U, 1U, 3U})
    for (const std::int64_t bit : m_in[turn(heading, turns)])
      if (std::ranges::find(chosen, bit) == chosen.end()) pool.push_back(bit);
  const std::size_t num_drawn = std::min(count - chosen.size(), pool.size());
  GENERATE_RANDOM(m_options.m_seed, GRID_SWITCH_TOPIC + heading, track).draw(pool, num_drawn);
  chosen.insert(chosen.end(), pool.begin(), pool.begin() + static_cast<std::ptrdiff_t>(num_drawn));
  return chosen;
}

} // namespace

std::string GENERATE_GRID_SWITCH::get_key() const {
  return fmt::format("switch_{}_{}", get_generate_y_name(m_y), get_generate_x_name(m_x));
}

bool GENERATE_GRID_SWITCH::has_out(GENERATE_HEADING heading) const {
  switch (heading) {
  case GENERATE_NORTH:
    return m_y != GENERATE_LAST_SIDE;
  case GENERATE_EAST:
    return m_x != GENERATE_LAST_SIDE;
  case GENERATE_SOUTH:
    return m_y != GENERATE_FIRST_SIDE;
  case GENERATE_WEST:
    break;
  }
  return m_x != GENERATE_FIRST_SIDE;
}

bool GENERATE_GRID_SWITCH::has_block(const GENERATE_CORNER& corner) const {
  return has_out(corner.m_north ? GENERATE_NORTH : GENERATE_SOUTH) &&
         has_out(corner.m_east ? GENERATE_EAST : GENERATE_WEST);
}

std::uint64_t GENERATE_GRID_SWITCH::add_module(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires,
                                               GENERATE_PARTS& parts,
                                               std::vector<KEP_MODEL_MODULE>& modules) const {
  SWITCH_MODULE module(*this, options, wires, parts);
  module.make();
  modules.push_back(module.get_body().finish());
  return module.get_body().get_num_muxes();
}
