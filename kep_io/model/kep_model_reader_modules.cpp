#include "kep_io/model/kep_model_reader_modules.h"

#include "kep_io/model/kep_model_reader_attributes.h"
#include "kep_io/model/kep_model_reader_bits.h"
#include "kep_io/model/kep_model_reader_names.h"

#include <fmt/format.h>

namespace {

KEP_PORT_DIRECTION read_direction(simdjson::dom::object port, const KEP_JSON_PLACE& place) {
  const KEP_JSON_PLACE direction_place(place, "direction");
  const std::string_view text = kep_json_text(kep_json_get(port, "direction", place), direction_place);
  if (text == "input") return KEP_PORT_DIRECTION::INPUT;
  if (text == "output") return KEP_PORT_DIRECTION::OUTPUT;
  if (text == "inout") return KEP_PORT_DIRECTION::BIDIR;
  direction_place.refuse(fmt::format("unknown direction \"{}\"", text));
}

} // namespace

const KEP_MODEL_MODULES::PORT* KEP_MODEL_MODULES::MODULE::find_port(std::string_view name) const {
  const auto found = m_port_numbers.find(name);
  return found == m_port_numbers.end() ? nullptr : &m_ports[found->second];
}

KEP_MODEL_MODULES::KEP_MODEL_MODULES(simdjson::dom::object modules, const KEP_JSON_PLACE& place,
                                     KEP_DB_BUILDER& builder, KEP_MODEL_WARNINGS& warnings)
    : m_place(place) {
  for (const auto [key, value] : modules) {
    const KEP_JSON_PLACE module_place(place, key);
    if (!m_module_numbers.emplace(key, m_modules.size()).second)
      module_place.refuse("a module of that key stands before");
    MODULE& module = m_modules.emplace_back();
    module.m_key = key;
    module.m_object = kep_json_object(value, module_place);
    module.m_id =
        builder.add_module(key, kep_read_module_properties(module.m_object, module_place, warnings));
    read_ports(module, builder);
  }
  if (m_modules.empty()) place.refuse("there is no module");
}

const KEP_MODEL_MODULES::MODULE* KEP_MODEL_MODULES::find(std::string_view key) const {
  const auto found = m_module_numbers.find(key);
  return found == m_module_numbers.end() ? nullptr : &m_modules[found->second];
}

void KEP_MODEL_MODULES::read_ports(MODULE& module, KEP_DB_BUILDER& builder) {
  const KEP_JSON_PLACE module_place(m_place, module.m_key);
  const auto ports = kep_json_find(module.m_object, "ports", module_place);
  if (!ports) return;
  const KEP_JSON_PLACE list_place(module_place, "ports");
  for (const auto [name, value] : kep_json_object(*ports, list_place)) {
    const KEP_JSON_PLACE place(list_place, name);
    read_port(module, name, kep_json_object(value, place), place, builder);
  }
}

void KEP_MODEL_MODULES::read_port(MODULE& module, std::string_view name, simdjson::dom::object port,
                                  const KEP_JSON_PLACE& place, KEP_DB_BUILDER& builder) {
  kep_check_separators(name, "rename the port", place);
  if (!module.m_port_numbers.emplace(name, module.m_ports.size()).second)
    place.refuse("a port of that name stands before");
  const KEP_PORT_DIRECTION direction = read_direction(port, place);
  const unsigned width =
      KEP_MODEL_BITS(kep_json_get(port, "bits", place), KEP_JSON_PLACE(place, "bits")).count();
  const unsigned first =
      module.m_ports.empty() ? 0 : module.m_ports.back().m_first + module.m_ports.back().m_width;
  module.m_ports.push_back({name, first, width, m_num_ports++});
  KEP_MODEL_BIT_NAMES names(name, kep_read_bit_range(port, width, place));
  for (unsigned i = 0; i != width; ++i)
    builder.add_port(module.m_id, names.get(i), direction);
}
