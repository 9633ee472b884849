#include "tools/kep-rg/generate/generate_switch.h"

#include "tools/kep-rg/generate/generate_random.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace {

constexpr const char* TUNNEL_SOURCE = "tunnel_source";
constexpr const char* TUNNEL_THROUGH = "tunnel_through";
constexpr const char* TUNNEL_TARGET = "tunnel_target";
constexpr const char* SKIP_MUX = "skip_mux";
constexpr const char* BYPASS_MUX = "bypass_mux";

enum TOPIC : std::uint64_t { SWITCH_TOPIC = 1, HIPI_TOPIC, SKIP_TOPIC, TUNNEL_TOPIC };

/// Draws `percent` of `count` numbers, rounded up.
std::vector<bool> draw_share(std::uint32_t count, std::uint32_t percent, GENERATE_RANDOM random) {
  std::vector<std::uint32_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), 0U);
  const std::uint32_t share = (count * percent + 99) / 100;
  random.draw(numbers, share);
  std::vector<bool> drawn(count);
  for (std::uint32_t i = 0; i < share; ++i)
    drawn[numbers[i]] = true;
  return drawn;
}

} // namespace

const char* GENERATE_SWITCH::get_output(GENERATE_HEADING heading) {
  constexpr std::array<const char*, 4> names = {"n", "e", "s", "w"};
  return names[heading];
}

std::uint32_t GENERATE_SWITCH::get_num_local_inputs(const GENERATE_OPTIONS& options) {
  return std::max(1U, options.m_switch_inputs / 4);
}

std::uint32_t GENERATE_SWITCH::get_num_local_sources(const GENERATE_OPTIONS& options) {
  return GENERATE_BLOCK{options.m_luts}.get_num_outputs() + 2 * options.m_tunnels;
}

GENERATE_SWITCH::GENERATE_SWITCH(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires,
                                 GENERATE_MUXES& muxes, GENERATE_TILE& tile)
    : m_options(options), m_wires(wires), m_muxes(muxes), m_tile(tile), m_module{.m_key = KEY},
      m_is_hipi(draw_share(4 * options.m_width, options.m_hipi, {options.m_seed, HIPI_TOPIC})),
      m_is_skip(draw_share(4 * options.m_width, options.m_skip, {options.m_seed, SKIP_TOPIC})) {}

void GENERATE_SWITCH::add_module() {
  add_ports();
  add_tunnels();
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS)
    for (std::uint32_t wire = 0; wire < m_options.m_width; ++wire)
      add_wire(heading, wire);
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS)
    m_module.m_ports.push_back({get_output(heading), KEP_MODEL_DIRECTION::OUTPUT, m_out[heading]});
  describe_tunnels();
  describe_skips();
  m_tile.m_modules.push_back(std::move(m_module));
}

void GENERATE_SWITCH::add_ports() {
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS)
    m_module.m_ports.push_back({GENERATE_IN_PORTS[heading], KEP_MODEL_DIRECTION::INPUT,
                                generate_bits(track_bit(heading, 0), m_wires.m_tracks)});
  const std::uint32_t num_outputs = GENERATE_BLOCK{m_options.m_luts}.get_num_outputs();
  m_next_bit = track_bit(GENERATE_WEST, m_wires.m_tracks);
  m_local = generate_bits(m_next_bit, num_outputs);
  m_next_bit += num_outputs;
  m_module.m_ports.push_back({"b", KEP_MODEL_DIRECTION::INPUT, m_local});
}

std::int64_t GENERATE_SWITCH::track_bit(GENERATE_HEADING heading, std::uint32_t track) const {
  return GENERATE_FIRST_BIT + std::int64_t{heading} * m_wires.m_tracks + track;
}

std::int64_t GENERATE_SWITCH::last_bit(GENERATE_HEADING heading, std::uint32_t wire) const {
  return track_bit(heading, m_wires.last_track(wire));
}

void GENERATE_SWITCH::count(std::uint32_t nodes, std::uint32_t wire, const std::string& mux) {
  m_tile.m_nodes += nodes;
  if (m_options.m_spare_rows == 0 || !GENERATE_WIRES::stays_in_spare_row(wire)) return;
  m_tile.m_spare_nodes += nodes;
  constexpr unsigned STAYS_IN_SPARE_ROW = 2;
  m_tile.m_description.add_wire_type("kept", STAYS_IN_SPARE_ROW, GENERATE_TILE::KEY,
                                     fmt::format("{}/{}:o", INSTANCE, mux));
}

void GENERATE_SWITCH::add_wire(GENERATE_HEADING heading, std::uint32_t wire) {
  const std::uint32_t number = heading * m_options.m_width + wire;
  const std::uint32_t hipi = m_is_hipi[number] ? 1 + m_num_hipi++ % 3 : 0;
  const std::uint32_t redundant =
      generate_redundant_inputs(m_options.m_redundant, m_options.m_switch_inputs, number);
  const std::string name = fmt::format("{}{}", get_output(heading), wire);
  const std::int64_t output = m_next_bit++;
  m_module.m_cells.push_back(
      m_muxes.make_cell(name, choose_sources(heading, wire), redundant, number, hipi, output));
  for (std::uint32_t i = 0; i < redundant; ++i)
    m_tile.m_redundant_inputs.push_back(
        fmt::format("{}/{}:{}", INSTANCE, name, generate_bit_name("r", redundant, i)));
  count(hipi == 1 || hipi == 2 ? 2 : 1, wire, name);
  m_out[heading].push_back(m_is_skip[number] ? add_skip_mux(number, wire, output) : output);
}

/// Tracks from the three sides that aren't ahead, then sources inside the tile. No two tracks of one wire
/// index on one axis: at the device's border a wire turns back, and could feed the mux twice.
std::vector<std::int64_t> GENERATE_SWITCH::choose_sources(GENERATE_HEADING heading, std::uint32_t wire) {
  const GENERATE_HEADING right = turn(heading, 1);
  const GENERATE_HEADING left = turn(heading, 3);
  const std::uint32_t after = (wire + 1) % m_options.m_width;
  // With the wire straight on, the end of every wire is used.
  std::vector<std::int64_t> sources = {last_bit(heading, wire), last_bit(right, wire), last_bit(left, after)};

  std::vector<std::pair<bool, std::uint32_t>> pool; // whether it turns, the wire
  for (std::uint32_t other = 0; other < m_options.m_width; ++other) {
    if (other == wire) continue;
    pool.push_back({false, other});
    if (other != after) pool.push_back({true, other});
  }
  const std::uint32_t num_local = get_num_local_inputs(m_options);
  const std::size_t num_drawn = m_options.m_switch_inputs - num_local - sources.size();
  GENERATE_RANDOM random(m_options.m_seed, SWITCH_TOPIC, heading * m_options.m_width + wire);
  random.draw(pool, num_drawn);
  for (std::size_t i = 0; i < num_drawn; ++i) {
    const auto [turns, other] = pool[i];
    const GENERATE_HEADING from = !turns ? heading : random.below(2) == 0 ? right : left;
    sources.push_back(track_bit(from, m_wires.m_first_track[other] + random.below(m_wires.m_length[other])));
  }
  for (std::uint32_t i = 0; i < num_local; ++i)
    sources.push_back(m_local[m_next_local++ % m_local.size()]);
  return sources;
}

/// A mux between a wire's mux and the wire. On most instances its first input is joined to its output; there
/// the second input is open. On the others it is a mux like any other.
std::int64_t GENERATE_SWITCH::add_skip_mux(std::uint32_t number, std::uint32_t wire, std::int64_t driver) {
  const std::size_t ordinal = m_skips.size();
  const SKIP skip{m_module.m_cells.back().m_name + "_skip", ordinal % 2 == 1, ordinal % 3 == 0};
  const std::int64_t output = m_next_bit++;
  const std::int64_t second = skip.m_real ? m_local[number % m_local.size()] : KEP_MODEL_UNCONNECTED_BIT;
  KEP_MODEL_CELL cell = generate_primitive_cell(skip.m_instance, skip.m_bypass ? BYPASS_MUX : SKIP_MUX);
  cell.m_connections = {{"i", {driver, second}}, {"o", {output}}};
  m_module.m_cells.push_back(std::move(cell));
  if (skip.m_real) count(1, wire, skip.m_instance);
  m_skips.push_back(skip);
  return output;
}

void GENERATE_SWITCH::describe_skips() {
  GENERATE_DESCRIPTION& description = m_tile.m_description;
  const auto set_exceptions = [&](bool bypass) {
    for (const SKIP& skip : m_skips)
      if (skip.m_bypass == bypass && skip.m_real != bypass)
        description.set_skip_paths(KEY, skip.m_instance, bypass);
  };
  if (!m_skips.empty()) {
    m_tile.m_modules.push_back(generate_primitive_module(SKIP_MUX, 2));
    // The second input takes part only where the module is a real mux. Its arc comes after the exceptions
    // (the first instance is one), so it belongs to a mux of its own, which is skipped nowhere: that is what
    // makes the output a node on the exceptions.
    description.add_port_edge(SKIP_MUX, "i[0]", "o", 0, true);
    set_exceptions(false);
    description.add_port_edge(SKIP_MUX, "i[1]", "o");
  }
  if (m_skips.size() > 1) {
    m_tile.m_modules.push_back(generate_primitive_module(BYPASS_MUX, 2));
    description.add_port_edge(BYPASS_MUX, "i[0]", "o");
    description.add_port_edge(BYPASS_MUX, "i[1]", "o");
    set_exceptions(true);
  }
}

/// A source drives a through module, and past it a target: the wire inside the through module joins them.
void GENERATE_SWITCH::add_tunnels() {
  for (std::uint32_t tunnel = 0; tunnel < m_options.m_tunnels; ++tunnel) {
    GENERATE_RANDOM random(m_options.m_seed, TUNNEL_TOPIC, tunnel);
    const auto add = [&](const char* part, const char* master, std::int64_t first, std::int64_t second) {
      KEP_MODEL_CELL cell = generate_primitive_cell(fmt::format("tunnel{}_{}", tunnel, part), master);
      cell.m_connections = {{"i", {first, second}}, {"o", {m_next_bit}}};
      m_module.m_cells.push_back(std::move(cell));
      return m_next_bit++;
    };
    std::array<std::int64_t, 4> tracks{}; // drawn one after the other: the order of arguments isn't fixed
    for (const GENERATE_HEADING heading : GENERATE_HEADINGS)
      tracks[heading] = track_bit(heading, random.below(m_wires.m_tracks));
    const std::int64_t source = add("source", TUNNEL_SOURCE, tracks[0], tracks[1]);
    const std::int64_t through = add("through", TUNNEL_THROUGH, source, tracks[2]);
    const std::int64_t target = add("target", TUNNEL_TARGET, through, tracks[3]);
    m_local.push_back(through);
    m_local.push_back(target);
    m_tile.m_nodes += 3;
  }
}

void GENERATE_SWITCH::describe_tunnels() {
  if (m_options.m_tunnels == 0) return;
  constexpr unsigned THROUGH = 2;
  unsigned type = 1;
  for (const char* key : {TUNNEL_SOURCE, TUNNEL_THROUGH, TUNNEL_TARGET}) {
    KEP_MODEL_MODULE module = generate_primitive_module(key, 2);
    if (type == THROUGH) module.m_ports.back().m_bits[0] = module.m_ports.front().m_bits[0];
    m_tile.m_modules.push_back(std::move(module));
    m_tile.m_description.add_port_edge(key, "i[0]", "o");
    m_tile.m_description.add_port_edge(key, "i[1]", "o");
    m_tile.m_description.add_tunnel_type(key, type++);
  }
}
