#include "tools/kep-rg/generate/generate_muxes.h"

#include <fmt/format.h>

#include <numeric>

std::string generate_bit_name(const std::string& port, std::size_t width, std::size_t index) {
  return width == 1 ? port : fmt::format("{}[{}]", port, index);
}

std::vector<std::int64_t> generate_bits(std::int64_t first, std::size_t width) {
  std::vector<std::int64_t> bits(width);
  std::iota(bits.begin(), bits.end(), first);
  return bits;
}

std::string GENERATE_MUX_KIND::get_key() const {
  std::string key = fmt::format("mux_{}", m_inputs);
  if (m_redundant != 0) key += fmt::format("_r{}", m_redundant);
  if (m_hipi != 0) key += fmt::format("_h{}", m_hipi);
  return key;
}

std::uint32_t generate_redundant_inputs(std::uint32_t percent, std::uint32_t inputs, std::uint32_t number) {
  const auto before = [&](std::uint64_t muxes) {
    return (muxes * inputs * percent + (99 - percent)) / (100 - percent); // rounded up
  };
  return static_cast<std::uint32_t>(before(std::uint64_t{number} + 1) - before(number));
}

KEP_MODEL_CELL generate_primitive_cell(const std::string& name, const std::string& master) {
  KEP_MODEL_CELL cell{.m_name = name, .m_type = master};
  cell.m_attributes.push_back({"kep_inst_header", 1});
  return cell;
}

KEP_MODEL_MODULE generate_primitive_module(const std::string& key, std::size_t inputs) {
  KEP_MODEL_MODULE module{.m_key = key};
  module.m_ports.push_back({"i", KEP_MODEL_DIRECTION::INPUT, generate_bits(GENERATE_FIRST_BIT, inputs)});
  module.m_ports.push_back(
      {"o", KEP_MODEL_DIRECTION::OUTPUT, {GENERATE_FIRST_BIT + static_cast<std::int64_t>(inputs)}});
  return module;
}

KEP_MODEL_CELL GENERATE_MUXES::make_cell(const std::string& name, const std::vector<std::int64_t>& sources,
                                         std::uint32_t redundant, std::uint32_t rotation, std::uint32_t hipi,
                                         std::int64_t output) {
  const GENERATE_MUX_KIND kind{static_cast<std::uint32_t>(sources.size()), redundant, hipi};
  m_kinds.insert(kind);
  KEP_MODEL_CELL cell = generate_primitive_cell(name, kind.get_key());
  cell.m_connections.push_back({"i", sources});
  if (redundant != 0) {
    // They repeat inputs of the hipi half only: both then end on the same node, whatever the type.
    std::vector<std::int64_t> repeated;
    for (std::uint32_t i = 0; i < redundant; ++i)
      repeated.push_back(sources[(rotation + i) % kind.get_hipi_inputs()]);
    cell.m_connections.push_back({"r", std::move(repeated)});
  }
  cell.m_connections.push_back({"o", {output}});
  return cell;
}

void GENERATE_MUXES::add_modules(std::vector<KEP_MODEL_MODULE>& modules,
                                 GENERATE_DESCRIPTION& description) const {
  for (const GENERATE_MUX_KIND& kind : m_kinds) {
    const std::string key = kind.get_key();
    KEP_MODEL_MODULE module = generate_primitive_module(key, kind.m_inputs);
    for (std::uint32_t i = 0; i < kind.m_inputs; ++i)
      description.add_port_edge(key, generate_bit_name("i", kind.m_inputs, i), "o",
                                i < kind.get_hipi_inputs() ? kind.m_hipi : 0);
    if (kind.m_redundant != 0)
      module.m_ports.insert(module.m_ports.begin() + 1,
                            {"r", KEP_MODEL_DIRECTION::INPUT,
                             generate_bits(GENERATE_FIRST_BIT + kind.m_inputs + 1, kind.m_redundant)});
    for (std::uint32_t i = 0; i < kind.m_redundant; ++i)
      description.add_port_edge(key, generate_bit_name("r", kind.m_redundant, i), "o", kind.m_hipi);
    modules.push_back(std::move(module));
  }
}
