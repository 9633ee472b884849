#include "kep_io/model/kep_model_reader_piece.h"

#include "kep_io/kep_io_error.h"
#include "kep_io/model/kep_model_reader_attributes.h"
#include "kep_io/model/kep_model_reader_masters.h"

#include <limits>

namespace {

/// How many objects stand around a list of cells or nets.
constexpr std::size_t OUTER_DEPTH = 3;

/// Nothing counts on such a net, so nothing is refused there.
void check_attributes_of_other_net(simdjson::dom::object net, const KEP_JSON_PLACE& place,
                                   KEP_MODEL_ODD_ATTRIBUTES& odd) {
  simdjson::dom::object attributes;
  if (net["attributes"].get(attributes) != simdjson::SUCCESS) return;
  const KEP_JSON_PLACE attributes_place(place, "attributes");
  for (const auto [name, value] : attributes)
    kep_check_attribute(KEP_MODEL_OBJECT::OTHER_NET, name, KEP_JSON_PLACE(attributes_place, name), odd);
}

} // namespace

KEP_MODEL_PIECE::KEP_MODEL_PIECE(const KEP_MODEL_MODULES& modules)
    : m_modules(modules), m_last_cells(modules.get_num_ports()) {}

void KEP_MODEL_PIECE::read() {
  m_names.clear();
  m_cells.clear();
  m_nets.clear();
  m_bits.clear();
  m_odd.clear();
  m_refusal = nullptr;
  try {
    if (!m_text->m_members.empty()) read_members();
  } catch (...) {
    m_refusal = std::current_exception();
  }
}

void KEP_MODEL_PIECE::read_members() {
  const bool has_cells = m_text->m_list == KEP_MODEL_LIST::CELLS;
  const KEP_JSON_PLACE module_place(m_modules.get_place(), m_modules.get(m_text->m_module).m_key);
  const KEP_JSON_PLACE list_place(module_place, has_cells ? "cells" : "netnames");
  for (const auto [name, value] : parse(list_place)) {
    const KEP_JSON_PLACE place(list_place, name);
    const simdjson::dom::object object = kep_json_object(value, place);
    m_names.push_back(kep_read_model_name(name, place));
    if (has_cells)
      read_cell(object, place);
    else
      read_net(name, object, place);
  }
}

simdjson::dom::object KEP_MODEL_PIECE::parse(const KEP_JSON_PLACE& list_place) {
  const std::string_view members = m_text->m_members;
  m_padded.reserve(members.size() + 2 + simdjson::SIMDJSON_PADDING);
  m_padded.clear();
  m_padded += '{';
  m_padded += members;
  m_padded += '}';
  simdjson::error_code error = simdjson::SUCCESS;
  if (m_parser.capacity() == 0)
    error = m_parser.allocate(m_padded.size(), simdjson::DEFAULT_MAX_DEPTH - OUTER_DEPTH);
  simdjson::dom::object object;
  if (error == simdjson::SUCCESS) error = m_parser.parse(m_padded.data(), m_padded.size(), false).get(object);
  if (error != simdjson::SUCCESS) list_place.refuse_file(error);
  return object;
}

void KEP_MODEL_PIECE::read_cell(simdjson::dom::object cell, const KEP_JSON_PLACE& place) {
  const KEP_JSON_PLACE type_place(place, "type");
  const std::string_view type = kep_json_text(kep_json_get(cell, "type", place), type_place);
  const KEP_MODEL_MODULES::MODULE* master = m_modules.find(type);
  if (!master) type_place.refuse(kep_tell_unknown_master(type, cell));
  const KEP_INSTANCE_PROPERTIES properties = kep_read_instance_properties(cell, place, m_odd);
  read_connections(cell, *master, place);
  m_cells.push_back({m_modules.get_number(*master), properties, m_bits.size()});
}

void KEP_MODEL_PIECE::read_connections(simdjson::dom::object cell, const KEP_MODEL_MODULES::MODULE& master,
                                       const KEP_JSON_PLACE& cell_place) {
  ++m_num_cells;
  const auto connections = kep_json_find(cell, "connections", cell_place);
  if (!connections) return;
  const KEP_JSON_PLACE place(cell_place, "connections");
  for (const auto [name, value] : kep_json_object(*connections, place)) {
    const KEP_JSON_PLACE port_place(place, name);
    const KEP_MODEL_MODULES::PORT* port = master.find_port(name);
    if (!port) port_place.refuse(kep_tell_unknown_port(name, master.m_key));
    std::uint64_t& last_cell = m_last_cells[port->m_number];
    if (last_cell == m_num_cells) port_place.refuse("the port is connected twice");
    last_cell = m_num_cells;
    const KEP_MODEL_BITS bits(value, port_place);
    const unsigned width = bits.count();
    if (width == 0) continue; // Yosys writes an open port so
    if (width != port->m_width)
      port_place.refuse(kep_tell_other_width(width, port->m_width, master.m_key, cell));
    bits.for_each([&](unsigned index, std::uint64_t bit) { m_bits.push_back({port->m_first + index, bit}); });
  }
}

void KEP_MODEL_PIECE::read_net(std::string_view name, simdjson::dom::object object,
                               const KEP_JSON_PLACE& place) {
  const KEP_JSON_PLACE bits_place(place, "bits");
  const KEP_MODEL_BITS bits(kep_json_get(object, "bits", place), bits_place);
  NET net{};
  net.m_range = kep_read_bit_range(object, bits.count(), place);
  bits.for_each([&](unsigned index, std::uint64_t bit) { m_bits.push_back({index, bit}); });
  net.m_end = m_bits.size();
  net.m_port = m_modules.get(m_text->m_module).find_port(name);
  if (net.m_port)
    read_port_attributes(net, object, place);
  else
    check_attributes_of_other_net(object, place, m_odd);
  m_nets.push_back(net);
}

/// What a net that is named like a port tells of the port. It counts even where no net is on the port.
void KEP_MODEL_PIECE::read_port_attributes(NET& net, simdjson::dom::object object,
                                           const KEP_JSON_PLACE& place) {
  const KEP_MODEL_ATTRIBUTES attributes(object, KEP_MODEL_OBJECT::NET_OF_PORT, place, m_odd);
  const unsigned width = net.m_port->m_width;
  const std::int64_t max_re_index =
      std::numeric_limits<int>::max() - (width == 0 ? 0 : std::int64_t{width} - 1);
  net.m_re_index = attributes.find_number("kep_blc_re_index", std::numeric_limits<int>::min(), max_re_index);
  net.m_icd_port_name = attributes.find_text("kep_blc_icd_port_name");
}
