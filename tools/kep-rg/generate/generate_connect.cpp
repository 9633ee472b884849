#include "tools/kep-rg/generate/generate_connect.h"

#include "tools/kep-rg/generate/generate_block.h"
#include "tools/kep-rg/generate/generate_random.h"

#include <fmt/format.h>

#include <numeric>
#include <utility>

namespace {

constexpr std::uint64_t CONNECT_TOPIC = 16;

} // namespace

std::uint32_t GENERATE_CONNECT::get_num_pins(const GENERATE_OPTIONS& options) {
  return GENERATE_BLOCK{options.m_luts}.get_num_inputs() / 2;
}

void GENERATE_CONNECT::add_module(bool vertical) {
  KEP_MODEL_MODULE module{.m_key = get_key(vertical)};
  std::int64_t next_bit = GENERATE_FIRST_BIT;
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS) {
    if (is_vertical(heading) != vertical) continue;
    module.m_ports.push_back(
        {GENERATE_IN_PORTS[heading], KEP_MODEL_DIRECTION::INPUT, generate_bits(next_bit, m_wires.m_tracks)});
    next_bit += m_wires.m_tracks;
  }
  const std::uint32_t num_pins = get_num_pins(m_options);
  const std::vector<std::int64_t> pins = generate_bits(next_bit, num_pins);
  module.m_ports.push_back({"p", KEP_MODEL_DIRECTION::OUTPUT, pins});
  for (std::uint32_t pin = 0; pin < num_pins; ++pin) {
    const std::uint32_t number = vertical ? pin : num_pins + pin;
    const std::uint32_t redundant =
        generate_redundant_inputs(m_options.m_redundant, m_options.m_connect_inputs, number);
    const std::string name = fmt::format("p{}", pin);
    module.m_cells.push_back(
        m_muxes.make_cell(name, choose_sources(number), redundant, number, 0, pins[pin]));
    for (std::uint32_t i = 0; i < redundant; ++i)
      m_tile.m_redundant_inputs.push_back(
          fmt::format("{}/{}:{}", get_instance(vertical), name, generate_bit_name("r", redundant, i)));
    ++m_tile.m_nodes;
  }
  m_tile.m_modules.push_back(std::move(module));
}

/// No two tracks of one wire index: at the device's border a wire turns back and could feed the mux twice.
std::vector<std::int64_t> GENERATE_CONNECT::choose_sources(std::uint32_t number) const {
  std::vector<std::uint32_t> pool(m_options.m_width);
  std::iota(pool.begin(), pool.end(), 0U);
  GENERATE_RANDOM random(m_options.m_seed, CONNECT_TOPIC, number);
  random.draw(pool, m_options.m_connect_inputs);
  std::vector<std::int64_t> sources;
  for (std::uint32_t i = 0; i < m_options.m_connect_inputs; ++i) {
    const std::uint32_t wire = pool[i];
    const std::uint32_t track = m_wires.m_first_track[wire] + random.below(m_wires.m_length[wire]);
    sources.push_back(GENERATE_FIRST_BIT + random.below(2) * std::int64_t{m_wires.m_tracks} + track);
  }
  return sources;
}
