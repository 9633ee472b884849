#include "kep_io/model/kep_model_reader_modules.h"

#include "kep_io/model/kep_model_reader_attributes.h"
#include "kep_io/model/kep_model_reader_masters.h"
#include "kep_io/model/kep_model_reader_names.h"
#include "kep_report/kep_report_progress.h"

#include <fmt/format.h>

#include <limits>

namespace {

constexpr std::uint64_t CELLS_PER_STEP = 10000;

KEP_PORT_DIRECTION read_direction(simdjson::dom::object port, const KEP_JSON_PLACE& place) {
  const KEP_JSON_PLACE direction_place(place, "direction");
  const std::string_view text = kep_json_text(kep_json_get(port, "direction", place), direction_place);
  if (text == "input") return KEP_PORT_DIRECTION::INPUT;
  if (text == "output") return KEP_PORT_DIRECTION::OUTPUT;
  if (text == "inout") return KEP_PORT_DIRECTION::BIDIR;
  direction_place.refuse(fmt::format("unknown direction \"{}\"", text));
}

/// Calls use(name, object, place) for each member of the member `name` of a module, if it has that.
template <class USE>
void for_each_object(simdjson::dom::object module, std::string_view name, const KEP_JSON_PLACE& module_place,
                     USE use) {
  const auto found = kep_json_find(module, name, module_place);
  if (!found) return;
  const KEP_JSON_PLACE list_place(module_place, name);
  for (const auto [key, value] : kep_json_object(*found, list_place)) {
    const KEP_JSON_PLACE place(list_place, key);
    use(key, kep_json_object(value, place), place);
  }
}

/// The same for cells and nets, with the name that the model has beside that of the file.
template <class USE>
void for_each_named_object(simdjson::dom::object module, std::string_view list, const KEP_JSON_PLACE& place,
                           KEP_MODEL_WARNINGS& warnings, USE use) {
  KEP_MODEL_NAMES names(warnings);
  for_each_object(
      module, list, place,
      [&](std::string_view key, simdjson::dom::object object, const KEP_JSON_PLACE& object_place) {
        use(names.read(key, object_place), key, object, object_place);
      });
  const KEP_JSON_PLACE list_place(place, list);
  if (const auto found = kep_json_find(module, list, place))
    names.check(kep_json_object(*found, list_place), list_place);
}

/// Nothing counts on such a net, so nothing is refused there.
void check_attributes_of_other_net(simdjson::dom::object net, const KEP_JSON_PLACE& place,
                                   KEP_MODEL_WARNINGS& warnings) {
  simdjson::dom::object attributes;
  if (net["attributes"].get(attributes) != simdjson::SUCCESS) return;
  const KEP_JSON_PLACE attributes_place(place, "attributes");
  for (const auto [name, value] : attributes)
    warnings.check_attribute(KEP_MODEL_OBJECT::OTHER_NET, name, KEP_JSON_PLACE(attributes_place, name));
}

} // namespace

KEP_MODEL_MODULES::PORT* KEP_MODEL_MODULES::MODULE::find_port(std::string_view name) {
  const auto found = m_port_numbers.find(name);
  return found == m_port_numbers.end() ? nullptr : &m_ports[found->second];
}

void KEP_MODEL_MODULES::read(simdjson::dom::object modules, const KEP_JSON_PLACE& place) {
  for (const auto [key, value] : modules) {
    const KEP_JSON_PLACE module_place(place, key);
    if (!m_module_numbers.emplace(key, m_modules.size()).second)
      module_place.refuse("a module of that key stands before");
    MODULE& module = m_modules.emplace_back();
    module.m_key = key;
    module.m_object = kep_json_object(value, module_place);
    module.m_id =
        m_builder.add_module(key, kep_read_module_properties(module.m_object, module_place, m_warnings));
    read_ports(module, module_place);
  }
  if (m_modules.empty()) place.refuse("there is no module");
  KEP_REPORT_PROGRESS progress("reading", count_cells());
  m_progress = &progress;
  for (MODULE& module : m_modules) {
    const KEP_JSON_PLACE module_place(place, module.m_key);
    m_nets.start(module.m_id);
    connect_ports(module, module_place);
    read_cells(module, module_place);
    read_netnames(module, module_place);
    m_nets.finish();
  }
}

/// As far as the file has them: what is no cell is refused later.
std::uint64_t KEP_MODEL_MODULES::count_cells() const {
  std::uint64_t count = 0;
  for (const MODULE& module : m_modules) {
    simdjson::dom::object cells;
    if (module.m_object["cells"].get(cells) == simdjson::SUCCESS) count += cells.size();
  }
  return count;
}

void KEP_MODEL_MODULES::read_ports(MODULE& module, const KEP_JSON_PLACE& place) {
  for_each_object(module.m_object, "ports", place,
                  [&](std::string_view name, simdjson::dom::object port, const KEP_JSON_PLACE& port_place) {
                    read_port(module, name, port, port_place);
                  });
}

void KEP_MODEL_MODULES::read_port(MODULE& module, std::string_view name, simdjson::dom::object port,
                                  const KEP_JSON_PLACE& place) {
  kep_check_separators(name, "rename the port", place);
  if (!module.m_port_numbers.emplace(name, module.m_ports.size()).second)
    place.refuse("a port of that name stands before");
  const KEP_PORT_DIRECTION direction = read_direction(port, place);
  const unsigned width =
      KEP_MODEL_BITS(kep_json_get(port, "bits", place), KEP_JSON_PLACE(place, "bits")).count();
  const unsigned first =
      module.m_ports.empty() ? 0 : module.m_ports.back().m_first + module.m_ports.back().m_width;
  module.m_ports.push_back({.m_name = name, .m_first = first, .m_width = width});
  KEP_MODEL_BIT_NAMES names(name, port, width, place);
  for (unsigned i = 0; i != width; ++i)
    m_builder.add_port(module.m_id, names.get(i), direction);
}

void KEP_MODEL_MODULES::connect_ports(MODULE& module, const KEP_JSON_PLACE& place) {
  const PORT* port = module.m_ports.data();
  for_each_object(module.m_object, "ports", place,
                  [&](std::string_view, simdjson::dom::object object, const KEP_JSON_PLACE& port_place) {
                    const KEP_JSON_PLACE bits_place(port_place, "bits");
                    const KEP_MODEL_BITS bits(kep_json_get(object, "bits", port_place), bits_place);
                    bits.for_each([&](unsigned index, std::uint64_t bit) {
                      m_builder.connect(module.m_id, port->m_first + index, m_nets.get(bit));
                    });
                    ++port;
                  });
}

void KEP_MODEL_MODULES::read_cells(MODULE& module, const KEP_JSON_PLACE& place) {
  for_each_named_object(module.m_object, "cells", place, m_warnings,
                        [&](std::string_view name, std::string_view, simdjson::dom::object cell,
                            const KEP_JSON_PLACE& cell_place) { read_cell(module, name, cell, cell_place); });
}

void KEP_MODEL_MODULES::read_cell(MODULE& module, std::string_view name, simdjson::dom::object cell,
                                  const KEP_JSON_PLACE& place) {
  const KEP_JSON_PLACE type_place(place, "type");
  const std::string_view type = kep_json_text(kep_json_get(cell, "type", place), type_place);
  const auto master = m_module_numbers.find(type);
  if (master == m_module_numbers.end()) type_place.refuse(kep_tell_unknown_master(type, cell));
  MODULE& master_module = m_modules[master->second];
  const KEP_INSTANCE_ID instance = m_builder.add_instance(
      module.m_id, name, master_module.m_id, kep_read_instance_properties(cell, place, m_warnings));
  if (++m_num_cells % CELLS_PER_STEP == 0) m_progress->add(CELLS_PER_STEP);
  connect_cell(module, instance, master_module, cell, place);
}

void KEP_MODEL_MODULES::connect_cell(MODULE& module, KEP_INSTANCE_ID instance, MODULE& master,
                                     simdjson::dom::object cell, const KEP_JSON_PLACE& cell_place) {
  const auto connections = kep_json_find(cell, "connections", cell_place);
  if (!connections) return;
  const KEP_JSON_PLACE place(cell_place, "connections");
  for (const auto [name, value] : kep_json_object(*connections, place)) {
    const KEP_JSON_PLACE port_place(place, name);
    PORT* port = master.find_port(name);
    if (!port) port_place.refuse(kep_tell_unknown_port(name, master.m_key));
    if (port->m_last_cell == m_num_cells) port_place.refuse("the port is connected twice");
    port->m_last_cell = m_num_cells;
    const KEP_MODEL_BITS bits(value, port_place);
    const unsigned width = bits.count();
    if (width == 0) continue; // Yosys writes an open port so
    if (width != port->m_width)
      port_place.refuse(kep_tell_other_width(width, port->m_width, master.m_key, cell));
    bits.for_each([&](unsigned index, std::uint64_t bit) {
      m_builder.connect(module.m_id, instance, port->m_first + index, m_nets.get(bit));
    });
  }
}

void KEP_MODEL_MODULES::read_netnames(MODULE& module, const KEP_JSON_PLACE& place) {
  for_each_named_object(
      module.m_object, "netnames", place, m_warnings,
      [&](std::string_view name, std::string_view key, simdjson::dom::object net,
          const KEP_JSON_PLACE& net_place) {
        const KEP_JSON_PLACE bits_place(net_place, "bits");
        const KEP_MODEL_BITS bits(kep_json_get(net, "bits", net_place), bits_place);
        KEP_MODEL_BIT_NAMES names(name, net, bits.count(), net_place);
        bits.for_each([&](unsigned index, std::uint64_t bit) { m_nets.set_name(bit, names.get(index)); });
        if (PORT* port = module.find_port(key))
          read_port_attributes(module, *port, net, net_place);
        else
          check_attributes_of_other_net(net, net_place, m_warnings);
      });
}

/// What a net that is named like a port tells of the port. It counts even where no net is on the port.
void KEP_MODEL_MODULES::read_port_attributes(MODULE& module, PORT& port, simdjson::dom::object net,
                                             const KEP_JSON_PLACE& place) {
  const KEP_MODEL_ATTRIBUTES attributes(net, KEP_MODEL_OBJECT::NET_OF_PORT, place, m_warnings);
  const std::int64_t max_re_index =
      std::numeric_limits<int>::max() - (port.m_width == 0 ? 0 : std::int64_t{port.m_width} - 1);
  const auto re_index =
      attributes.find_number("kep_blc_re_index", std::numeric_limits<int>::min(), max_re_index);
  const auto icd_port_name = attributes.find_text("kep_blc_icd_port_name");
  if (!re_index && !icd_port_name) return;
  if (port.m_has_net_attributes) place.refuse("attributes of that port stand before");
  port.m_has_net_attributes = true;
  for (unsigned i = 0; i != port.m_width; ++i) {
    const bool has_index = re_index && *re_index != -1;
    m_builder.set_port_blc(module.m_id, port.m_first + i, has_index ? static_cast<int>(*re_index + i) : -1,
                           icd_port_name.value_or(std::string_view()));
  }
}
