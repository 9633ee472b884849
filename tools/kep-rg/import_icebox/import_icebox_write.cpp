#include "tools/kep-rg/import_icebox/import_icebox_write.h"

#include "tools/kep-rg/import_icebox/import_icebox_bels.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <string>
#include <tuple>
#include <utility>

namespace {

// Numbers below 2 are left to the constants, as is the custom of this netlist form.
constexpr std::int64_t FIRST_BIT = 2;

std::int64_t get_bit(std::uint32_t index) {
  return FIRST_BIT + index;
}

std::string get_mux_key(std::uint32_t num_inputs) {
  return fmt::format("mux.{}", num_inputs);
}

std::string get_tile_key(const ICEBOX_CHIP& chip, const ICEBOX_SHAPE& shape) {
  return fmt::format("{}.{}", chip.m_kinds[shape.m_kind], shape.m_number);
}

class ICEBOX_WRITER {
public:
  ICEBOX_WRITER(const ICEBOX_CHIP& chip, const ICEBOX_FOLDED& folded, std::ostream& model,
                std::ostream& routing)
      : m_chip(chip), m_folded(folded), m_bels(chip), m_model(model, "kep-rg import-icebox"),
        m_routing(routing) {}

  void write();

private:
  void write_muxes();
  void write_tile(const ICEBOX_SHAPE& shape);
  KEP_MODEL_CELL make_mux_cell(const ICEBOX_SHAPE& shape, const ICEBOX_SHAPE_MUX& mux) const;
  void write_bels();
  void write_top();

  const ICEBOX_CHIP& m_chip;
  const ICEBOX_FOLDED& m_folded;
  ICEBOX_BELS m_bels;
  KEP_MODEL_WRITER m_model;
  std::ostream& m_routing;
};

void ICEBOX_WRITER::write() {
  write_muxes();
  for (const ICEBOX_SHAPE& shape : m_folded.m_shapes)
    write_tile(shape);
  write_bels();
  write_top();
  m_model.finish();
  m_routing.flush();
}

void ICEBOX_WRITER::write_muxes() {
  std::set<std::uint32_t> widths;
  for (const ICEBOX_MUX& mux : m_chip.m_muxes)
    widths.insert(mux.m_num_sources);

  for (const std::uint32_t width : widths) {
    KEP_MODEL_MODULE module{.m_key = get_mux_key(width)};
    for (std::uint32_t input = 0; input < width; ++input) {
      module.m_ports.push_back({fmt::format("i{}", input), KEP_MODEL_DIRECTION::INPUT, {get_bit(input)}});
      m_routing << fmt::format(R"({{"op":"add_port_edge","module":"{}","input":"i{}","output":"o"}})"
                               "\n",
                               module.m_key, input);
    }
    module.m_ports.push_back({"o", KEP_MODEL_DIRECTION::OUTPUT, {get_bit(width)}});
    m_model.write(module);
  }
}

KEP_MODEL_CELL ICEBOX_WRITER::make_mux_cell(const ICEBOX_SHAPE& shape, const ICEBOX_SHAPE_MUX& mux) const {
  const char* kind = mux.m_kind == ICEBOX_MUX_KIND::BUFFER ? "buffer" : "routing";
  const std::string wire = get_icebox_model_name(m_chip.m_names[shape.m_wires[mux.m_output].m_name]);
  KEP_MODEL_CELL cell{.m_name = fmt::format("{}.{}", kind, wire), .m_type = get_mux_key(mux.m_num_inputs)};
  if (mux.m_ordinal > 1) cell.m_name += fmt::format(".{}", mux.m_ordinal);
  // The instance has a header: its output is a routing node without a wire type.
  cell.m_attributes.push_back({"kep_inst_header", 1});
  cell.m_connections.reserve(mux.m_num_inputs + 1);
  for (std::uint32_t input = 0; input < mux.m_num_inputs; ++input)
    cell.m_connections.push_back(
        {fmt::format("i{}", input), {get_bit(shape.m_inputs[mux.m_first_input + input])}});
  cell.m_connections.push_back({"o", {get_bit(mux.m_output)}});
  return cell;
}

void ICEBOX_WRITER::write_tile(const ICEBOX_SHAPE& shape) {
  KEP_MODEL_MODULE module{.m_key = get_tile_key(m_chip, shape)};
  for (std::uint32_t wire = 0; wire < shape.m_wires.size(); ++wire) {
    const std::string name = get_icebox_model_name(m_chip.m_names[shape.m_wires[wire].m_name]);
    if (shape.m_wires[wire].m_port)
      module.m_ports.push_back({name, *shape.m_wires[wire].m_port, {get_bit(wire)}});
    module.m_netnames.push_back({name, {get_bit(wire)}});
  }
  for (const ICEBOX_SHAPE_MUX& mux : shape.m_muxes)
    module.m_cells.push_back(make_mux_cell(shape, mux));
  for (const ICEBOX_BEL& bel : m_bels.add_bels(shape)) {
    KEP_MODEL_CELL cell{.m_name = "bel." + bel.m_name, .m_type = m_bels.get_kinds()[bel.m_kind].m_key};
    for (const auto& [port, wire] : bel.m_pins)
      cell.m_connections.push_back({port, {get_bit(wire)}});
    module.m_cells.push_back(std::move(cell));
  }
  m_model.write(module);
}

void ICEBOX_WRITER::write_bels() {
  for (const ICEBOX_BEL_KIND& kind : m_bels.get_kinds()) {
    KEP_MODEL_MODULE module{.m_key = kind.m_key};
    for (const auto& [port, direction] : kind.m_ports) {
      module.m_ports.push_back(
          {port, direction, {FIRST_BIT + static_cast<std::int64_t>(module.m_ports.size())}});
      m_routing << fmt::format(R"({{"op":"add_inserted_node","module":"{}","port":"{}"}})"
                               "\n",
                               kind.m_key, port);
    }
    m_model.write(module);
  }
}

void ICEBOX_WRITER::write_top() {
  KEP_MODEL_MODULE top{.m_key = "top", .m_attributes = {{"top", 1}}};
  const ICEBOX_BY_TILE wires = get_wires_by_tile(m_chip);
  // Column by column, whatever the order of the file: what stands at like places is then equally far apart,
  // which a graph is folded by.
  std::vector<std::size_t> order(m_chip.m_tiles.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [this](std::size_t left, std::size_t right) {
    const ICEBOX_TILE& a = m_chip.m_tiles[left];
    const ICEBOX_TILE& b = m_chip.m_tiles[right];
    return std::tie(a.m_x, a.m_y) < std::tie(b.m_x, b.m_y);
  });
  for (const std::size_t tile : order) {
    const ICEBOX_TILE& place = m_chip.m_tiles[tile];
    KEP_MODEL_CELL cell{.m_name = fmt::format("{}_{}", place.m_x, place.m_y),
                        .m_type = get_tile_key(m_chip, m_folded.m_shapes[m_folded.m_shape_of_tile[tile]])};
    for (std::uint32_t i = wires.m_first[tile]; i < wires.m_first[tile + 1]; ++i) {
      const ICEBOX_WIRE& wire = m_chip.m_wires[wires.m_items[i]];
      if (m_chip.m_nets[wire.m_net].m_num_wires > 1)
        cell.m_connections.push_back(
            {get_icebox_model_name(m_chip.m_names[wire.m_name]), {get_bit(wire.m_net)}});
    }
    top.m_cells.push_back(std::move(cell));
  }
  for (std::uint32_t net = 0; net < m_chip.m_nets.size(); ++net)
    if (m_chip.m_nets[net].m_num_wires > 1)
      top.m_netnames.push_back({fmt::format("net.{}", m_chip.m_nets[net].m_number), {get_bit(net)}});
  m_model.write(top);
}

} // namespace

void write_icebox(const ICEBOX_CHIP& chip, const ICEBOX_FOLDED& folded, std::ostream& model,
                  std::ostream& routing) {
  ICEBOX_WRITER(chip, folded, model, routing).write();
}
