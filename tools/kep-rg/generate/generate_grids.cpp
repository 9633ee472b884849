#include "tools/kep-rg/generate/generate_grids.h"

#include "tools/kep-rg/generate/generate_check.h"
#include "tools/kep-rg/generate/generate_grid_connect.h"
#include "tools/kep-rg/generate/generate_grid_logic.h"
#include "tools/kep-rg/generate/generate_grid_places.h"
#include "tools/kep-rg/generate/generate_grid_switch.h"
#include "tools/kep-rg/generate/generate_muxes.h"
#include "tools/kep-rg/generate/generate_wires.h"

#include <fmt/format.h>

#include <array>
#include <memory>
#include <utility>

namespace {

using BITS = std::vector<std::int64_t>;
using PLACE = GENERATE_GRID_PLACE;

constexpr const char* DIRECT = "direct";
constexpr std::int64_t CLOCK = GENERATE_FIRST_BIT;

/// The modules of all blocks, and the nodes in one of each.
class BLOCKS {
public:
  BLOCKS(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires);

  const std::vector<KEP_MODEL_MODULE>& get_modules() const { return m_modules; }
  const std::string& get_routing() const { return m_description.get_text(); }
  /// Of a device of so many columns and rows.
  std::uint64_t count_nodes(std::uint32_t columns, std::uint32_t rows) const;

private:
  std::vector<KEP_MODEL_MODULE> m_modules;
  GENERATE_DESCRIPTION m_description;
  std::uint64_t m_logic = 0;
  std::array<std::uint64_t, 3> m_connect_h{};             // by side
  std::array<std::uint64_t, 3> m_connect_v{};             // by side
  std::array<std::array<std::uint64_t, 3>, 3> m_switch{}; // by column and row
};

BLOCKS::BLOCKS(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires) {
  GENERATE_PARTS parts;
  std::vector<KEP_MODEL_MODULE> blocks;
  m_logic = GENERATE_GRID_LOGIC::add_modules(options, parts, blocks);
  for (const GENERATE_SIDE side : GENERATE_SIDES) {
    m_connect_h[side] = GENERATE_GRID_CONNECT{false, side}.add_module(options, wires, parts, blocks);
    m_connect_v[side] = GENERATE_GRID_CONNECT{true, side}.add_module(options, wires, parts, blocks);
    for (const GENERATE_SIDE y : GENERATE_SIDES)
      m_switch[side][y] = GENERATE_GRID_SWITCH{side, y}.add_module(options, wires, parts, blocks);
  }
  parts.add_modules(m_modules, m_description);
  m_modules.insert(m_modules.end(), std::make_move_iterator(blocks.begin()),
                   std::make_move_iterator(blocks.end()));
  const auto add_leaf = [this](const char* key, std::vector<KEP_MODEL_PORT> ports) {
    m_modules.push_back({.m_key = key});
    m_modules.back().m_ports = std::move(ports);
  };
  using enum KEP_MODEL_DIRECTION;
  add_leaf(GENERATE_GRID_CONNECT::PAD, {{"i", INPUT, {GENERATE_FIRST_BIT}}});
  add_leaf(DIRECT, {{"i", INPUT, {GENERATE_FIRST_BIT}}, {"o", OUTPUT, {GENERATE_FIRST_BIT}}});
}

std::uint64_t BLOCKS::count_nodes(std::uint32_t columns, std::uint32_t rows) const {
  const auto count = [](GENERATE_SIDE side, std::uint32_t last) {
    return side == GENERATE_MIDDLE ? std::uint64_t{last} - 1 : 1;
  };
  std::uint64_t nodes = m_logic * columns * rows;
  for (const GENERATE_SIDE side : GENERATE_SIDES) {
    nodes +=
        m_connect_h[side] * count(side, rows) * columns + m_connect_v[side] * count(side, columns) * rows;
    for (const GENERATE_SIDE y : GENERATE_SIDES)
      nodes += m_switch[side][y] * count(side, columns) * count(y, rows);
  }
  return nodes;
}

/// As nearly as may be a square of so many nodes.
GENERATE_GRID_PLACES pick_places(const BLOCKS& blocks, std::uint64_t nodes) {
  std::uint32_t side = 1;
  while (side < GENERATE_LIMITS::MAX_CELLS && blocks.count_nodes(side + 1, side + 1) <= nodes)
    ++side;
  const auto get_distance = [&](std::uint32_t columns, std::uint32_t rows) {
    const std::uint64_t count = blocks.count_nodes(columns, rows);
    return count > nodes ? count - nodes : nodes - count;
  };
  GENERATE_GRID_PLACES best(side, side);
  for (const std::uint32_t columns : {side, side + 1})
    if (get_distance(columns, side + 1) < get_distance(best.get_columns(), best.get_rows()))
      best = GENERATE_GRID_PLACES(columns, side + 1);
  return best;
}

/// The top. The nets that leave a block are numbered place by place, grid by grid: so each cell is made from
/// its place, and none is held. The last net of each block is the chain's, so the net before its first one
/// enters it.
class TOP {
public:
  TOP(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires, const GENERATE_GRID_PLACES& places);

  void write(KEP_MODEL_WRITER& writer) const;
  std::int64_t get_num_bits() const { return m_next_bit; }

private:
  void number(GENERATE_GRID grid, std::int64_t width);
  std::int64_t get_bit(const PLACE& place) const {
    return m_first_bit[place.m_grid] +
           static_cast<std::int64_t>(m_places.get_index(place)) * m_width[place.m_grid];
  }
  /// That leave a switch block or a connection block.
  BITS get_tracks(const PLACE& place, GENERATE_HEADING heading) const;
  /// Of the logic block, that a connection block feeds.
  BITS get_pins(const PLACE& connect) const {
    return generate_bits(get_bit(connect) + std::int64_t{2} * m_tracks, m_pins);
  }

  KEP_MODEL_CELL make_cell(const PLACE& place) const;
  std::string connect_connect(const PLACE& place, GENERATE_CONNECTIONS& connections) const;
  std::string connect_switch(const PLACE& place, GENERATE_CONNECTIONS& connections) const;
  std::string connect_logic(const PLACE& place, GENERATE_CONNECTIONS& connections) const;

  const GENERATE_OPTIONS m_options;
  const std::uint32_t m_tracks;
  const std::size_t m_pins;
  const std::size_t m_outputs;
  const GENERATE_GRID_PLACES m_places;
  std::array<std::int64_t, GENERATE_NUM_GRIDS> m_width{};
  std::array<std::int64_t, GENERATE_NUM_GRIDS> m_first_bit{};
  std::int64_t m_next_bit = CLOCK + 1;
  std::int64_t m_head = 0;
};

TOP::TOP(const GENERATE_OPTIONS& options, const GENERATE_WIRES& wires, const GENERATE_GRID_PLACES& places)
    : m_options(options), m_tracks(wires.m_tracks), m_pins(GENERATE_GRID_LOGIC::get_num_side_inputs(options)),
      m_outputs(GENERATE_GRID_LOGIC::get_num_outputs(options)), m_places(places) {
  number(GENERATE_DIRECT, 1);
  m_head = m_next_bit++;
  const std::int64_t connect_width = std::int64_t{2} * m_tracks + static_cast<std::int64_t>(m_pins) + 1;
  number(GENERATE_CONNECT_H, connect_width);
  number(GENERATE_CONNECT_V, connect_width);
  number(GENERATE_LOGIC, static_cast<std::int64_t>(m_outputs) + 2);
  number(GENERATE_SWITCHES, std::int64_t{4} * m_tracks + 1);
}

void TOP::number(GENERATE_GRID grid, std::int64_t width) {
  m_width[grid] = width;
  m_first_bit[grid] = m_next_bit;
  m_next_bit += static_cast<std::int64_t>(m_places.get_num_places(grid)) * width;
}

BITS TOP::get_tracks(const PLACE& place, GENERATE_HEADING heading) const {
  const std::uint32_t ordinal = place.m_grid == GENERATE_SWITCHES ? heading : heading / 2;
  return generate_bits(get_bit(place) + std::int64_t{ordinal} * m_tracks, m_tracks);
}

void TOP::write(KEP_MODEL_WRITER& writer) const {
  KEP_MODEL_MODULE top{.m_key = "device"};
  top.m_attributes.push_back({"top", 1});
  top.m_ports = {{"clock", KEP_MODEL_DIRECTION::INPUT, {CLOCK}},
                 {"head", KEP_MODEL_DIRECTION::INPUT, {m_head}},
                 {"tail", KEP_MODEL_DIRECTION::OUTPUT, {m_next_bit - 1}}};
  writer.begin_module(top);
  m_places.visit(m_options.m_order, m_options.m_seed,
                 [&](const PLACE& place) { writer.write_cell(make_cell(place)); });
  writer.end_module(top);
}

KEP_MODEL_CELL TOP::make_cell(const PLACE& place) const {
  const auto [grid, x, y] = place;
  const std::int64_t first = get_bit(place);
  if (grid == GENERATE_DIRECT) {
    const std::int64_t carry = get_bit({GENERATE_LOGIC, x, y}) + static_cast<std::int64_t>(m_outputs);
    return generate_plain_cell(place.get_name(), DIRECT, {{"i", {carry}}, {"o", {first}}});
  }
  GENERATE_CONNECTIONS connections = {
      {"clock", {CLOCK}}, {"head", {first - 1}}, {"tail", {first + m_width[grid] - 1}}};
  const std::string master = grid == GENERATE_LOGIC      ? connect_logic(place, connections)
                             : grid == GENERATE_SWITCHES ? connect_switch(place, connections)
                                                         : connect_connect(place, connections);
  return generate_plain_cell(place.get_name(), master, std::move(connections));
}

std::string TOP::connect_logic(const PLACE& place, GENERATE_CONNECTIONS& connections) const {
  const std::uint32_t x = place.m_x;
  const std::uint32_t y = place.m_y;
  connections.push_back({"n", get_pins({GENERATE_CONNECT_H, x, y})});
  connections.push_back({"e", get_pins({GENERATE_CONNECT_V, x, y})});
  if (y > 1) connections.push_back({"cin", {get_bit({GENERATE_DIRECT, x, y - 1})}});
  connections.push_back({"o", generate_bits(get_bit(place), m_outputs)});
  if (y < m_places.get_rows())
    connections.push_back({"cout", {get_bit(place) + static_cast<std::int64_t>(m_outputs)}});
  return GENERATE_GRID_LOGIC::KEY;
}

/// A connection block stands before the switch block of its place.
std::string TOP::connect_connect(const PLACE& place, GENERATE_CONNECTIONS& connections) const {
  const std::uint32_t x = place.m_x;
  const std::uint32_t y = place.m_y;
  const bool vertical = place.m_grid == GENERATE_CONNECT_V;
  const GENERATE_GRID_CONNECT kind{vertical, vertical ? get_generate_side(x, m_places.get_columns())
                                                      : get_generate_side(y, m_places.get_rows())};
  const GENERATE_HEADING away = vertical ? GENERATE_NORTH : GENERATE_EAST;
  const PLACE after{GENERATE_SWITCHES, x, y};
  const PLACE before{GENERATE_SWITCHES, vertical ? x : x - 1, vertical ? y - 1 : y};
  const auto add_tracks = [&](GENERATE_HEADING heading, const PLACE& from) {
    connections.push_back({GENERATE_IN_PORTS[heading], get_tracks(from, heading)});
    connections.push_back({GENERATE_OUT_PORTS[heading], get_tracks(place, heading)});
  };
  add_tracks(away, before);
  add_tracks(turn(away, 2), after);
  if (kind.has_pins()) connections.push_back({"p", get_pins(place)});
  return kind.get_key();
}

std::string TOP::connect_switch(const PLACE& place, GENERATE_CONNECTIONS& connections) const {
  const std::uint32_t x = place.m_x;
  const std::uint32_t y = place.m_y;
  const GENERATE_GRID_SWITCH kind{get_generate_side(x, m_places.get_columns()),
                                  get_generate_side(y, m_places.get_rows())};
  const std::array<PLACE, 4> behind = {{{GENERATE_CONNECT_V, x, y},
                                        {GENERATE_CONNECT_H, x, y},
                                        {GENERATE_CONNECT_V, x, y + 1},
                                        {GENERATE_CONNECT_H, x + 1, y}}};
  for (const GENERATE_HEADING heading : GENERATE_HEADINGS) {
    if (kind.has_in(heading))
      connections.push_back({GENERATE_IN_PORTS[heading], get_tracks(behind[heading], heading)});
    if (kind.has_out(heading))
      connections.push_back({GENERATE_OUT_PORTS[heading], get_tracks(place, heading)});
  }
  for (const GENERATE_CORNER& corner : GENERATE_CORNERS) {
    if (!kind.has_block(corner)) continue;
    const PLACE logic{GENERATE_LOGIC, x + (corner.m_east ? 1 : 0), y + (corner.m_north ? 1 : 0)};
    connections.push_back({corner.m_port, generate_bits(get_bit(logic), m_outputs)});
  }
  return kind.get_key();
}

} // namespace

GENERATE_RESULT make_generate_grids(const GENERATE_OPTIONS& options) {
  const GENERATE_WIRES wires(options);
  const auto blocks = std::make_shared<const BLOCKS>(options, wires);
  const GENERATE_GRID_PLACES places =
      options.m_nodes != 0 ? pick_places(*blocks, options.m_nodes)
                           : GENERATE_GRID_PLACES(options.m_columns.front(), options.m_rows.front());
  const TOP top(options, wires, places);
  check_generate_bits("the top", static_cast<std::uint64_t>(top.get_num_bits()));
  const auto write = [blocks, top](KEP_MODEL_WRITER& writer) {
    for (const KEP_MODEL_MODULE& module : blocks->get_modules())
      writer.write(module);
    top.write(writer);
  };
  const std::uint32_t columns = places.get_columns();
  const std::uint32_t rows = places.get_rows();
  return {.m_write_model = write,
          .m_routing = blocks->get_routing(),
          .m_text = fmt::format("--form grids --columns {} --rows {}: {} logic blocks", columns, rows,
                                std::uint64_t{columns} * rows),
          .m_nodes = blocks->count_nodes(columns, rows)};
}
