#include "kep/model_building/kep_model_freezer.h"

#include "kep/model/kep_name_index.h"

#include <fmt/format.h>

#include <cstring>
#include <string>

namespace {

[[noreturn]] void fail(const std::string& place, const std::string& reason) {
  throw KEP_DB_ERROR(fmt::format("{}: {}", place, reason));
}

std::string place_of(const KEP_MODULE& module) {
  return std::string("modules.") + module.get_key();
}

/// Control characters, those beyond ASCII among them: they would break the lines and columns of a dump.
bool holds_control(const char* name) {
  unsigned char last = 0;
  for (; *name != '\0'; last = static_cast<unsigned char>(*name++)) {
    const auto byte = static_cast<unsigned char>(*name);
    if (byte < 0x20 || byte == 0x7F || (last == 0xC2 && byte >= 0x80 && byte < 0xA0)) return true;
  }
  return false;
}

/// `part` is where in the module the name stands: ".ports", or empty for the module's own.
void check_name(const KEP_MODULE& module, const char* part, const char* name) {
  const auto refuse = [&](const std::string& reason) { fail(place_of(module) + part, reason); };
  if (*name == '\0') refuse("the name is empty");
  if (std::strpbrk(name, "/:")) refuse(fmt::format(R"(the name "{}" holds "/" or ":")", name));
  if (holds_control(name)) refuse(fmt::format(R"(the name "{}" holds a control character)", name));
}

} // namespace

std::unique_ptr<KEP_DB> KEP_MODEL_FREEZER::freeze() {
  m_db.reset(new KEP_DB);
  m_storage = m_db->m_storage.get();
  m_storage->m_own_unfolding.m_db = m_db.get();
  m_db->m_unfolding = &m_storage->m_own_unfolding;
  m_storage->m_own_graph = std::make_unique<KEP_ROUTING::GRAPH>(m_db.get());
  m_db->m_graph = m_storage->m_own_graph.get();
  make_modules();
  join_equivalents();
  find_top();
  number_slots();
  lay_out_occurrences();
  m_storage->m_names = std::move(m_model.m_names);
  m_storage->m_names.freeze();
  return std::move(m_db);
}

void KEP_MODEL_FREEZER::make_modules() {
  std::unordered_map<std::string_view, std::uint32_t> keys;
  std::vector<KEP_MODULE*>& modules = m_storage->m_own_unfolding.m_modules;
  for (const MODEL::MODULE& from : m_model.m_modules) {
    auto& module = *m_storage->m_owned.emplace_back(std::make_unique<KEP_MODULE>());
    module.m_number = static_cast<unsigned>(modules.size());
    module.m_key = from.m_key;
    module.m_name = from.m_name;
    if (!keys.emplace(from.m_key, module.m_number).second)
      fail(place_of(module), "a module of that key stands before");
    check_name(module, "", from.m_name);
    module.m_unfolding = m_db->m_unfolding;
    module.m_view_type = from.m_properties.m_view_type;
    module.m_is_ip_root = from.m_properties.m_is_ip_root;
    module.m_has_trait_0 = from.m_properties.m_has_trait_0;
    module.m_is_blc_bidir_buffer = from.m_properties.m_is_blc_bidir_buffer;
    KEP_DB* db = m_db.get();
    if (from.m_properties.m_is_foreign) {
      if (!m_storage->m_foreign) {
        m_storage->m_foreign.reset(new KEP_DB);
        m_storage->m_foreign->m_unfolding = m_db->m_unfolding;
        m_storage->m_foreign->m_graph = m_db->m_graph;
      }
      db = m_storage->m_foreign.get();
    }
    module.m_db = db;
    db->m_storage->m_modules.push_back(&module);
    modules.push_back(&module);
    make_ports(from, module);
  }
  for (const auto& module : m_storage->m_owned) {
    const MODEL::MODULE& from = m_model.m_modules[module->m_number];
    m_storage->m_by_name[module->m_name].push_back(module.get());
    make_instances(from, *module);
    make_nets(from, *module);
    index_names(*module);
  }
}

void KEP_MODEL_FREEZER::make_ports(const MODEL::MODULE& from, KEP_MODULE& module) {
  std::vector<KEP_PORT*>& ports = m_storage->m_own_unfolding.m_ports;
  module.m_num_ports = static_cast<unsigned>(from.m_ports.size());
  module.m_ports = std::make_unique<KEP_PORT[]>(from.m_ports.size());
  for (unsigned i = 0; i != module.m_num_ports; ++i) {
    KEP_PORT& port = module.m_ports[i];
    check_name(module, ".ports", from.m_ports[i].m_name);
    port.m_parent = &module;
    port.m_name = from.m_ports[i].m_name;
    port.m_blc_icd_port_name = from.m_ports[i].m_blc_icd_port_name;
    port.m_blc_re_index = from.m_ports[i].m_blc_re_index;
    port.m_direction = from.m_ports[i].m_direction;
    port.m_index = i;
    port.m_number = static_cast<unsigned>(ports.size());
    ports.push_back(&port);
  }
  // A boundary node's identity keeps a port number, plus one, in 31 bits.
  if (ports.size() >= (std::size_t{1} << 31) - 1)
    fail(place_of(module),
         fmt::format("the ports up to here are {}, more than the 2147483646 that a model can have",
                     ports.size()));
}

void KEP_MODEL_FREEZER::make_instances(const MODEL::MODULE& from, KEP_MODULE& module) {
  module.m_num_instances = static_cast<unsigned>(from.m_instances.size());
  module.m_instances = std::make_unique<KEP_INSTANCE[]>(from.m_instances.size());
  std::uint64_t num_inst_ports = 0;
  for (const MODEL::INSTANCE& instance : from.m_instances)
    num_inst_ports += get_module(instance.m_master).m_num_ports;
  // A node's identity keeps an inst port number in 31 bits.
  if (num_inst_ports >= std::uint64_t{1} << 31)
    fail(place_of(module),
         fmt::format("the cells have {} ports, more than the 2147483647 that a module can have",
                     num_inst_ports));
  module.m_num_inst_ports = static_cast<unsigned>(num_inst_ports);
  module.m_inst_ports = std::make_unique<KEP_INST_PORT[]>(num_inst_ports);
  KEP_INST_PORT* next = module.m_inst_ports.get();
  for (unsigned i = 0; i != module.m_num_instances; ++i) {
    const MODEL::INSTANCE& given = from.m_instances[i];
    KEP_INSTANCE& instance = module.m_instances[i];
    check_name(module, ".cells", given.m_name);
    instance.m_parent = &module;
    instance.m_module = &get_module(given.m_master);
    instance.m_name = given.m_name;
    instance.m_has_inst_header = given.m_properties.m_has_inst_header;
    instance.m_has_trait_0 = given.m_properties.m_has_trait_0;
    instance.m_is_blc_atom = given.m_properties.m_is_blc_atom;
    instance.m_is_blc_inserted_buffer = given.m_properties.m_is_blc_inserted_buffer;
    instance.m_inst_ports = next;
    for (unsigned port = 0; port != instance.m_module->m_num_ports; ++port)
      (next++)->m_inst = &instance;
  }
}

void KEP_MODEL_FREEZER::make_nets(const MODEL::MODULE& from, KEP_MODULE& module) {
  struct COUNT {
    unsigned m_ports = 0;
    unsigned m_inst_ports = 0;
  };
  std::vector<COUNT> counts(from.m_nets.size());
  for (const MODEL::PORT& port : from.m_ports)
    if (port.m_net != MODEL::NONE) ++counts[port.m_net].m_ports;
  for (const std::uint32_t net : from.m_inst_port_nets)
    if (net != MODEL::NONE) ++counts[net].m_inst_ports;

  std::vector<std::uint32_t> net_numbers(from.m_nets.size(), MODEL::NONE);
  std::size_t num_ports = 0;
  std::size_t num_inst_ports = 0;
  for (std::size_t i = 0; i != counts.size(); ++i) {
    // A net that only one port of the module is on leads nowhere: nothing is behind that port.
    if (counts[i].m_inst_ports == 0 && counts[i].m_ports < 2) continue;
    net_numbers[i] = module.m_num_nets++;
    num_ports += counts[i].m_ports;
    num_inst_ports += counts[i].m_inst_ports;
  }
  module.m_nets = std::make_unique<KEP_NET[]>(module.m_num_nets);
  module.m_net_ports = std::make_unique<KEP_PORT*[]>(num_ports);
  module.m_net_inst_ports = std::make_unique<KEP_INST_PORT*[]>(num_inst_ports);
  KEP_PORT** ports = module.m_net_ports.get();
  KEP_INST_PORT** inst_ports = module.m_net_inst_ports.get();
  for (std::size_t i = 0; i != counts.size(); ++i) {
    if (net_numbers[i] == MODEL::NONE) continue;
    check_name(module, ".netnames", from.m_nets[i]);
    KEP_NET& net = module.m_nets[net_numbers[i]];
    net.m_parent = &module;
    net.m_name = from.m_nets[i];
    net.m_ports = ports;
    net.m_inst_ports = inst_ports;
    ports += counts[i].m_ports;
    inst_ports += counts[i].m_inst_ports;
  }
  fill_nets(from, module, net_numbers);
}

/// Members in the order of the model: ports, then inst ports by instance and port.
void KEP_MODEL_FREEZER::fill_nets(const MODEL::MODULE& from, KEP_MODULE& module,
                                  const std::vector<std::uint32_t>& net_numbers) {
  const auto net_of = [&](std::uint32_t number) -> KEP_NET* {
    if (number == MODEL::NONE || net_numbers[number] == MODEL::NONE) return nullptr;
    return &module.m_nets[net_numbers[number]];
  };
  for (unsigned i = 0; i != module.m_num_ports; ++i)
    if (KEP_NET* net = net_of(from.m_ports[i].m_net)) {
      module.m_ports[i].m_net = net;
      const_cast<KEP_PORT**>(net->m_ports)[net->m_num_ports++] = &module.m_ports[i];
    }
  for (unsigned i = 0; i != module.m_num_instances; ++i) {
    const MODEL::INSTANCE& instance = from.m_instances[i];
    for (unsigned port = 0; port != instance.m_num_nets; ++port)
      if (KEP_NET* net = net_of(from.m_inst_port_nets[instance.m_first_net + port])) {
        KEP_INST_PORT& inst_port = module.m_instances[i].m_inst_ports[port];
        inst_port.m_net = net;
        const_cast<KEP_INST_PORT**>(net->m_inst_ports)[net->m_num_inst_ports++] = &inst_port;
      }
  }
}

void KEP_MODEL_FREEZER::index_names(KEP_MODULE& module) {
  const auto port_name = [&module](unsigned i) { return module.m_ports[i].m_name; };
  const auto instance_name = [&module](unsigned i) { return module.m_instances[i].m_name; };
  const unsigned port = KEP_NAME_INDEX::build(module.m_port_names, module.m_num_ports, port_name);
  if (port != module.m_num_ports)
    fail(place_of(module) + ".ports." + port_name(port), "a port of that name stands before");
  const unsigned instance =
      KEP_NAME_INDEX::build(module.m_instance_names, module.m_num_instances, instance_name);
  if (instance != module.m_num_instances)
    fail(place_of(module) + ".cells." + instance_name(instance), "a cell of that name stands before");
}

void KEP_MODEL_FREEZER::join_equivalents() {
  auto& groups = m_storage->m_equivalents;
  for (std::size_t i = 0; i != m_model.m_groups.size(); ++i)
    groups.push_back(std::make_unique<std::vector<KEP_MODULE*>>());
  for (const auto& module : m_storage->m_owned) {
    module->m_views[static_cast<unsigned>(module->m_view_type)] = module.get();
    module->m_views[static_cast<unsigned>(KEP_VIEW_TYPE::DEFAULT_VIEW)] = module.get();
    const std::uint32_t number = m_model.m_modules[module->m_number].m_equivalents;
    if (number == MODEL::NONE) continue;
    std::vector<KEP_MODULE*>& group = *groups[number];
    if (!group.empty()) {
      const KEP_MODULE& first = *group.front();
      const auto differs = [](const KEP_PORT& left, const KEP_PORT& right) {
        return left.m_direction != right.m_direction || std::strcmp(left.m_name, right.m_name) != 0;
      };
      bool same = first.m_num_ports == module->m_num_ports;
      for (unsigned i = 0; same && i != module->m_num_ports; ++i)
        same = !differs(first.m_ports[i], module->m_ports[i]);
      if (!same)
        fail(place_of(*module),
             fmt::format(R"(the ports differ from those of its equivalent "{}")", first.m_key));
    }
    group.push_back(module.get());
    module->m_equivalents = &group;
  }
  for (const auto& group : groups)
    for (KEP_MODULE* module : *group)
      for (KEP_MODULE* equivalent : *group) {
        KEP_MODULE*& view = module->m_views[static_cast<unsigned>(equivalent->m_view_type)];
        if (!view) view = equivalent;
      }
}

void KEP_MODEL_FREEZER::find_top() {
  std::vector<bool> is_instantiated(m_storage->m_owned.size());
  std::vector<const KEP_MODULE*> designated;
  for (const MODEL::MODULE& module : m_model.m_modules) {
    if (module.m_properties.m_is_designated_top)
      designated.push_back(
          m_storage->m_owned[static_cast<std::size_t>(&module - m_model.m_modules.data())].get());
    for (const MODEL::INSTANCE& instance : module.m_instances)
      is_instantiated[instance.m_master] = true;
  }
  std::vector<const KEP_MODULE*> tops = designated;
  if (tops.empty())
    for (const auto& module : m_storage->m_owned)
      if (!is_instantiated[module->m_number]) tops.push_back(module.get());
  if (tops.empty()) fail("modules", "no top: every module is instantiated");
  if (tops.size() > 1)
    fail("modules", fmt::format(R"(several tops: "{}" and "{}")", tops[0]->m_key, tops[1]->m_key));
  KEP_MODULE& top = get_module(tops.front()->m_number);
  m_storage->m_top = &top;
  top.m_is_top_module_or_equiv = true;
  if (top.m_equivalents)
    for (KEP_MODULE* module : *top.m_equivalents)
      module->m_is_top_module_or_equiv = true;
  const KEP_MODULE_PROPERTIES& properties = m_model.m_modules[top.m_number].m_properties;
  if (properties.m_db_type > KEP_DB_TYPE::REDUNDANCY)
    fail(place_of(top) + ".attributes.kep_db_type", "no number from 0 to 2");
  m_db->m_db_type = properties.m_db_type;
  m_db->m_is_device_top = properties.m_is_device_top;
}
