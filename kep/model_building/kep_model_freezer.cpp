#include "kep/model_building/kep_model_freezer.h"

#include "kep/model_building/kep_model_freezer_loop.h"

#include <fmt/format.h>

#include <array>
#include <cstring>
#include <string>

void KEP_MODEL_FREEZER::fail(const std::string& place, const std::string& reason) {
  throw KEP_DB_ERROR(fmt::format("{}: {}", place, reason));
}

std::string KEP_MODEL_FREEZER::place_of(const KEP_MODULE& module) {
  return std::string("modules.") + module.get_key();
}

namespace {

/// Control characters, those beyond ASCII among them: they would break the lines and columns of a dump.
bool holds_control(const char* name) {
  unsigned char last = 0;
  for (; *name != '\0'; last = static_cast<unsigned char>(*name++)) {
    const auto byte = static_cast<unsigned char>(*name);
    if (byte < 0x20 || byte == 0x7F || (last == 0xC2 && byte >= 0x80 && byte < 0xA0)) return true;
  }
  return false;
}

/// By byte: it may make a name a wrong one.
constexpr std::array<bool, 256> IS_DOUBTFUL = [] {
  std::array<bool, 256> is_doubtful{};
  for (std::size_t byte = 1; byte != 0x20; ++byte)
    is_doubtful[byte] = true;
  is_doubtful['/'] = is_doubtful[':'] = is_doubtful[0x7F] = is_doubtful[0xC2] = true;
  return is_doubtful;
}();

bool is_doubtful(const char* name) {
  bool doubtful = *name == '\0';
  for (; *name != '\0'; ++name)
    doubtful |= IS_DOUBTFUL[static_cast<unsigned char>(*name)];
  return doubtful;
}

} // namespace

void KEP_MODEL_FREEZER::check_name(const KEP_MODULE& module, const char* part, const char* name) {
  if (!is_doubtful(name)) return; // nearly all are not
  const auto refuse = [&](const std::string& reason) { fail(place_of(module) + part, reason); };
  if (*name == '\0') refuse("the name is empty");
  if (std::strpbrk(name, "/:")) refuse(fmt::format(R"(the name "{}" holds "/" or ":")", name));
  if (holds_control(name)) refuse(fmt::format(R"(the name "{}" holds a control character)", name));
}

std::unique_ptr<KEP_DB>
KEP_MODEL_FREEZER::freeze(std::optional<std::span<const KEP_OCCURRENCE>> occurrences) {
  m_db.reset(new KEP_DB);
  m_storage = m_db->m_storage.get();
  m_storage->m_own_unfolding.m_db = m_db.get();
  m_db->m_unfolding = &m_storage->m_own_unfolding;
  m_storage->m_own_graph = std::make_unique<KEP_ROUTING::GRAPH>(m_db.get());
  m_db->m_graph = m_storage->m_own_graph.get();
  m_model.m_names.freeze();
  make_modules();
  join_equivalents();
  find_top();
  number_slots();
  if (occurrences)
    take_occurrences(*occurrences);
  else
    lay_out_occurrences();
  m_storage->m_names = std::move(m_model.m_names);
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
  for (const auto& module : m_storage->m_owned)
    m_storage->m_by_name[module->m_name].push_back(module.get());
  kep_for_each_on_all_threads(
      modules.size(), [this](std::size_t i) { make_contents(m_model.m_modules[i], *m_storage->m_owned[i]); });
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

void KEP_MODEL_FREEZER::join_equivalents() {
  auto& groups = m_storage->m_equivalents;
  for (const auto& module : m_storage->m_owned) {
    module->m_views[static_cast<unsigned>(module->m_view_type)] = module.get();
    module->m_views[static_cast<unsigned>(KEP_VIEW_TYPE::DEFAULT_VIEW)] = module.get();
    const std::uint32_t number = m_model.m_modules[module->m_number].m_equivalents;
    if (number == MODEL::NONE) continue;
    while (groups.size() <= number)
      groups.push_back(std::make_unique<std::vector<KEP_MODULE*>>());
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
  for (const auto& group : groups) {
    std::array<KEP_MODULE*, KEP_NUM_MODULE_VIEWS> first_of_view{};
    for (KEP_MODULE* module : *group) {
      KEP_MODULE*& first = first_of_view[static_cast<unsigned>(module->m_view_type)];
      if (!first) first = module;
    }
    for (KEP_MODULE* module : *group)
      for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
        if (!module->m_views[view]) module->m_views[view] = first_of_view[view];
  }
}

void KEP_MODEL_FREEZER::find_top() {
  std::vector<bool> is_instantiated(m_storage->m_owned.size());
  std::vector<const KEP_MODULE*> designated;
  for (const auto& module : m_storage->m_owned) {
    if (m_model.m_modules[module->m_number].m_properties.m_is_designated_top)
      designated.push_back(module.get());
    for (const KEP_INSTANCE* instance : module->iter_instances())
      is_instantiated[instance->m_module->m_number] = true;
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
