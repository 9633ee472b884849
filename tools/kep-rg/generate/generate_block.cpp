#include "tools/kep-rg/generate/generate_block.h"

#include "tools/kep-rg/generate/generate_muxes.h"

#include <fmt/format.h>

#include <string>
#include <utility>

namespace {

constexpr const char* LOCAL_MUX = "local_mux";

struct ATOM_PORT {
  const char* m_name;
  KEP_MODEL_DIRECTION m_direction;
  std::size_t m_width = 1;
};

struct ATOM {
  const char* m_key;
  std::vector<ATOM_PORT> m_ports;
};

const std::vector<ATOM>& atoms() {
  using enum KEP_MODEL_DIRECTION;
  static const std::vector<ATOM> all = {
      {"lut", {{"i", INPUT, 4}, {"o", OUTPUT}}},
      {"carry", {{"a", INPUT}, {"b", INPUT}, {"ci", INPUT}, {"co", OUTPUT}}},
      {"ff", {{"d", INPUT}, {"q", OUTPUT}}}};
  return all;
}

constexpr std::uint64_t PORTS_PER_SLICE = 3 + 5 + 4 + 2; // local mux, look-up table, carry, flip-flop

KEP_MODEL_CELL atom_cell(std::string name, const char* type,
                         std::vector<std::pair<std::string, std::vector<std::int64_t>>> connections) {
  KEP_MODEL_CELL cell{.m_name = std::move(name), .m_type = type};
  cell.m_attributes.push_back({"kep_blc_atom", 1});
  cell.m_connections = std::move(connections);
  return cell;
}

/// The shell: the ports alone.
KEP_MODEL_MODULE make_shell(const GENERATE_BLOCK& block) {
  using enum KEP_MODEL_DIRECTION;
  KEP_MODEL_MODULE module{.m_key = GENERATE_BLOCK::KEY};
  module.m_attributes = {{"kep_equivalents", 0, GENERATE_BLOCK::KEY}, {"kep_ip_root", 1}};
  std::int64_t bit = GENERATE_FIRST_BIT;
  const auto add_port = [&](const char* name, KEP_MODEL_DIRECTION direction, std::size_t width) {
    module.m_ports.push_back({name, direction, generate_bits(bit, width)});
    bit += static_cast<std::int64_t>(width);
  };
  add_port("i", INPUT, block.get_num_inputs());
  add_port("cin", INPUT, 1);
  add_port("o", OUTPUT, block.get_num_outputs());
  add_port("cout", OUTPUT, 1);
  return module;
}

void add_slices(KEP_MODEL_MODULE& module, std::uint32_t luts) {
  const std::vector<std::int64_t> i = module.m_ports[0].m_bits;
  const std::vector<std::int64_t> o = module.m_ports[2].m_bits;
  std::int64_t next_bit = module.m_ports[3].m_bits[0] + 1;
  std::int64_t carry = module.m_ports[1].m_bits[0];
  for (std::size_t k = 0; k < luts; ++k) {
    const std::int64_t chosen = next_bit++;
    const std::int64_t carry_out = k + 1 == luts ? module.m_ports[3].m_bits[0] : next_bit++;
    const std::int64_t lut_out = o[2 * k];
    const std::int64_t feedback = o[2 * ((k + luts - 1) % luts) + 1]; // the flip-flop before
    KEP_MODEL_CELL mux = generate_primitive_cell(fmt::format("choice{}", k), LOCAL_MUX);
    mux.m_connections = {{"i", {i[4 * k + 3], feedback}}, {"o", {chosen}}};
    module.m_cells.push_back(std::move(mux));
    module.m_cells.push_back(
        atom_cell(fmt::format("lut{}", k), "lut",
                  {{"i", {i[4 * k], i[4 * k + 1], i[4 * k + 2], chosen}}, {"o", {lut_out}}}));
    module.m_cells.push_back(
        atom_cell(fmt::format("carry{}", k), "carry",
                  {{"a", {i[4 * k]}}, {"b", {lut_out}}, {"ci", {carry}}, {"co", {carry_out}}}));
    module.m_cells.push_back(
        atom_cell(fmt::format("ff{}", k), "ff", {{"d", {lut_out}}, {"q", {o[2 * k + 1]}}}));
    carry = carry_out;
  }
}

/// The view that is walked. A port takes part in it by its index.
KEP_MODEL_MODULE make_blc(const GENERATE_BLOCK& block) {
  KEP_MODEL_MODULE module = make_shell(block);
  module.m_key += "_blc";
  module.m_attributes.push_back({"kep_name", 0, GENERATE_BLOCK::KEY});
  module.m_attributes.push_back({"kep_view", 0, "BLC"});
  std::int64_t index = 0;
  for (const KEP_MODEL_PORT& port : module.m_ports) {
    module.m_netnames.push_back({port.m_name, port.m_bits, {{"kep_blc_re_index", index}}});
    index += static_cast<std::int64_t>(port.m_bits.size());
  }
  add_slices(module, block.m_luts);
  return module;
}

} // namespace

std::uint64_t GENERATE_BLOCK::get_num_nodes() const {
  return get_num_inputs() + get_num_outputs() + 2 + PORTS_PER_SLICE * m_luts;
}

void GENERATE_BLOCK::add_modules(std::vector<KEP_MODEL_MODULE>& modules,
                                 GENERATE_DESCRIPTION& description) const {
  for (const ATOM& atom : atoms()) {
    KEP_MODEL_MODULE module{.m_key = atom.m_key};
    std::int64_t bit = GENERATE_FIRST_BIT;
    for (const ATOM_PORT& port : atom.m_ports) {
      module.m_ports.push_back({port.m_name, port.m_direction, generate_bits(bit, port.m_width)});
      bit += static_cast<std::int64_t>(port.m_width);
    }
    modules.push_back(std::move(module));
  }
  // The inputs of the local mux are nodes of their own, as all ports in this view: marked so, they go on to
  // its output.
  modules.push_back(generate_primitive_module(LOCAL_MUX, 2));
  for (std::size_t i = 0; i < 2; ++i) {
    const std::string input = generate_bit_name("i", 2, i);
    description.add_port_edge(LOCAL_MUX, input, "o");
    description.add_inserted_node(LOCAL_MUX, input);
  }
  modules.push_back(make_shell(*this));
  modules.push_back(make_blc(*this));
  description.add_routing_root(KEY, "BLC");
}
