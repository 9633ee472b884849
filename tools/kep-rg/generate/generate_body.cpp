#include "tools/kep-rg/generate/generate_body.h"

#include "tools/kep-rg/generate/generate_muxes.h"

#include <utility>

namespace {

using BITS = std::vector<std::int64_t>;

} // namespace

GENERATE_BODY::GENERATE_BODY(const std::string& key, GENERATE_PARTS& parts)
    : m_parts(parts), m_module{.m_key = key}, m_next_bit(GENERATE_FIRST_BIT) {
  m_clock = add_input("clock", 1).front();
  m_chain = add_input("head", 1).front();
}

std::vector<std::int64_t> GENERATE_BODY::add_input(const std::string& name, std::size_t width) {
  BITS bits = generate_bits(m_next_bit, width);
  m_next_bit += static_cast<std::int64_t>(width);
  m_module.m_ports.push_back({name, KEP_MODEL_DIRECTION::INPUT, bits});
  return bits;
}

void GENERATE_BODY::add_output(const std::string& name, std::vector<std::int64_t> bits) {
  m_module.m_ports.push_back({name, KEP_MODEL_DIRECTION::OUTPUT, std::move(bits)});
}

void GENERATE_BODY::add_cell(const std::string& name, const std::string& master,
                             GENERATE_CONNECTIONS connections) {
  m_module.m_cells.push_back(generate_plain_cell(name, master, std::move(connections)));
}

void GENERATE_BODY::add_store(const std::string& name, std::int64_t d, std::int64_t q) {
  add_cell(name, GENERATE_STORE, {{"clock", {m_clock}}, {"d", {d}}, {"q", {q}}});
}

void GENERATE_BODY::add_link(const std::string& name, const std::string& master,
                             GENERATE_CONNECTIONS connections) {
  const std::int64_t tail = take();
  connections.insert(connections.end(), {{"clock", {m_clock}}, {"head", {m_chain}}, {"tail", {tail}}});
  m_chain = tail;
  add_cell(name, master, std::move(connections));
}

std::vector<std::int64_t> GENERATE_BODY::add_memory(const std::string& name, std::size_t bits) {
  BITS stored = generate_bits(m_next_bit, bits);
  m_next_bit += static_cast<std::int64_t>(bits);
  add_cell("memory_" + name, m_parts.use_memory(bits),
           {{"clock", {m_clock}}, {"head", {m_chain}}, {"q", stored}});
  m_chain = stored.back();
  return stored;
}

void GENERATE_BODY::add_mux(const std::string& name, const std::vector<std::int64_t>& sources,
                            std::int64_t output) {
  const BITS selects = add_memory(name, GENERATE_PARTS::get_num_selects(sources.size()));
  KEP_MODEL_CELL cell = generate_primitive_cell("mux_" + name, m_parts.use_mux(sources.size()));
  cell.m_connections = {{"i", sources}, {"s", selects}, {"o", {output}}};
  m_module.m_cells.push_back(std::move(cell));
  ++m_num_muxes;
}

void GENERATE_BODY::add_table(const std::string& name, const std::vector<std::int64_t>& selects,
                              std::int64_t output) {
  const BITS stored = add_memory(name, std::size_t{1} << selects.size());
  generate_gates(m_module, m_next_bit, stored, selects, output);
}

KEP_MODEL_MODULE GENERATE_BODY::finish() {
  add_output("tail", {m_chain});
  generate_sort_cells(m_module);
  return std::move(m_module);
}
