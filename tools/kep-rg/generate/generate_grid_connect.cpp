#include "tools/kep-rg/generate/generate_grid_connect.h"

#include "tools/kep-rg/generate/generate_grid_logic.h"
#include "tools/kep-rg/generate/generate_random.h"

#include <fmt/format.h>

namespace {

using BITS = std::vector<std::int64_t>;

constexpr std::uint64_t GRID_CONNECT_TOPIC = 32;
constexpr std::uint32_t NUM_PADS = 4;

} // namespace

std::string GENERATE_GRID_CONNECT::get_key() const {
  return m_vertical ? fmt::format("connect_v_{}", get_generate_x_name(m_side))
                    : fmt::format("connect_h_{}", get_generate_y_name(m_side));
}

std::uint64_t GENERATE_GRID_CONNECT::add_module(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires,
                                                GENERATE_PARTS& parts,
                                                std::vector<KEP_MODEL_MODULE>& modules) const {
  GENERATE_BODY body(get_key(), parts);
  BITS tracks;
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS) {
    if (is_vertical(heading) != m_vertical) continue;
    const BITS in = body.add_input(GENERATE_IN_PORTS[heading], wires.m_tracks);
    body.add_output(GENERATE_OUT_PORTS[heading], in);
    tracks.insert(tracks.end(), in.begin(), in.end());
  }
  std::uint64_t number = 0;
  const auto add_mux = [&](const std::string& name) {
    GENERATE_RANDOM random(options.m_seed, GRID_CONNECT_TOPIC + (m_vertical ? 1 : 0), number++);
    BITS sources = tracks;
    random.draw(sources, options.m_connect_inputs);
    sources.resize(options.m_connect_inputs);
    const std::int64_t output = body.take();
    body.add_mux(name, sources, output);
    return output;
  };
  if (has_pins()) {
    BITS pins;
    for (std::size_t pin = 0; pin < GENERATE_GRID_LOGIC::get_num_side_inputs(options); ++pin)
      pins.push_back(add_mux(fmt::format("p{}", pin)));
    body.add_output("p", pins);
  }
  if (m_side != GENERATE_MIDDLE)
    for (std::uint32_t pad = 0; pad < NUM_PADS; ++pad)
      body.add_cell(fmt::format("pad_{}_", pad), PAD, {{"i", {add_mux(fmt::format("pad{}", pad))}}});
  modules.push_back(body.finish());
  return body.get_num_muxes();
}
