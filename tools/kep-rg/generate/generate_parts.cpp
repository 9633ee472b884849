#include "tools/kep-rg/generate/generate_parts.h"

#include "tools/kep-rg/generate/generate_muxes.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <initializer_list>

namespace {

using BITS = std::vector<std::int64_t>;
using enum KEP_MODEL_DIRECTION;

constexpr const char* GATE = "gate";
constexpr const char* BUFFER = "buffer";

std::string mux_key(std::size_t inputs) {
  return fmt::format("mux_{}", inputs);
}

std::string memory_key(std::size_t bits) {
  return fmt::format("memory_{}", bits);
}

KEP_MODEL_MODULE make_leaf(const char* key, std::initializer_list<const char*> inputs, const char* output) {
  KEP_MODEL_MODULE module{.m_key = key};
  std::int64_t bit = GENERATE_FIRST_BIT;
  for (const char* input : inputs)
    module.m_ports.push_back({input, INPUT, {bit++}});
  module.m_ports.push_back({output, OUTPUT, {bit}});
  return module;
}

KEP_MODEL_MODULE make_mux(std::size_t inputs) {
  KEP_MODEL_MODULE module{.m_key = mux_key(inputs)};
  const std::size_t selects = GENERATE_PARTS::get_num_selects(inputs);
  const BITS i = generate_bits(GENERATE_FIRST_BIT, inputs);
  const BITS s = generate_bits(i.back() + 1, selects);
  const std::int64_t o = s.back() + 1;
  module.m_ports = {{"i", INPUT, i}, {"s", INPUT, s}, {"o", OUTPUT, {o}}};
  std::int64_t next_bit = o + 1;
  generate_gates(module, next_bit, i, s, o);
  generate_sort_cells(module);
  return module;
}

KEP_MODEL_MODULE make_memory(std::size_t bits) {
  KEP_MODEL_MODULE module{.m_key = memory_key(bits)};
  const std::int64_t clock = GENERATE_FIRST_BIT;
  std::int64_t before = clock + 1;
  const BITS q = generate_bits(before + 1, bits);
  module.m_ports = {{"clock", INPUT, {clock}}, {"head", INPUT, {before}}, {"q", OUTPUT, q}};
  for (std::size_t i = 0; i < bits; ++i) {
    module.m_cells.push_back(generate_plain_cell(fmt::format("store_{}_", i), GENERATE_STORE,
                                                 {{"clock", {clock}}, {"d", {before}}, {"q", {q[i]}}}));
    before = q[i];
  }
  generate_sort_cells(module);
  return module;
}

} // namespace

std::string GENERATE_PARTS::use_mux(std::size_t inputs) {
  m_muxes.insert(inputs);
  return mux_key(inputs);
}

std::string GENERATE_PARTS::use_memory(std::size_t bits) {
  m_memories.insert(bits);
  return memory_key(bits);
}

std::size_t GENERATE_PARTS::get_num_selects(std::size_t inputs) {
  return std::max<std::size_t>(1, static_cast<std::size_t>(std::bit_width(inputs - 1)));
}

void GENERATE_PARTS::add_modules(std::vector<KEP_MODEL_MODULE>& modules,
                                 GENERATE_DESCRIPTION& description) const {
  modules.push_back(make_leaf(GATE, {"a", "b", "s"}, "o"));
  modules.push_back(make_leaf(BUFFER, {"i"}, "o"));
  modules.push_back(make_leaf(GENERATE_STORE, {"clock", "d"}, "q"));
  for (const std::size_t bits : m_memories)
    modules.push_back(make_memory(bits));
  for (const std::size_t inputs : m_muxes) {
    modules.push_back(make_mux(inputs));
    for (std::size_t i = 0; i < inputs; ++i)
      description.add_port_edge(mux_key(inputs), generate_bit_name("i", inputs, i), "o");
  }
}

KEP_MODEL_CELL generate_plain_cell(const std::string& name, const std::string& master,
                                   GENERATE_CONNECTIONS connections) {
  KEP_MODEL_CELL cell{.m_name = name, .m_type = master};
  cell.m_connections = std::move(connections);
  return cell;
}

void generate_gates(KEP_MODEL_MODULE& module, std::int64_t& next_bit, std::vector<std::int64_t> inputs,
                    const std::vector<std::int64_t>& selects, std::int64_t output) {
  for (std::size_t level = 0; inputs.size() > 1; ++level) {
    BITS chosen;
    for (std::size_t i = 0; i + 1 < inputs.size(); i += 2) {
      chosen.push_back(next_bit++);
      module.m_cells.push_back(generate_plain_cell(
          fmt::format("gate_{}__{}_", level, i / 2), GATE,
          {{"a", {inputs[i]}}, {"b", {inputs[i + 1]}}, {"s", {selects[level]}}, {"o", {chosen.back()}}}));
    }
    if (inputs.size() % 2 != 0) chosen.push_back(inputs.back());
    inputs = std::move(chosen);
  }
  module.m_cells.push_back(generate_plain_cell("buffer", BUFFER, {{"i", inputs}, {"o", {output}}}));
}

void generate_sort_cells(KEP_MODEL_MODULE& module) {
  std::ranges::sort(module.m_cells, {}, &KEP_MODEL_CELL::m_name);
}
