#include "kep/kep_relative_path.h"

#include "kep/database/kep_db_storage.h"

KEP_RELATIVE_PATH KEP_RELATIVE_PATH::create(const std::vector<KEP_INSTANCE*>& chain, const KEP_PORT* port) {
  if (!port) return {};
  const KEP_MODULE* start = chain.empty() ? port->get_parent() : chain.front()->get_parent();
  std::uint64_t difference = 0;
  for (std::size_t i = 0; i != chain.size(); ++i) {
    const KEP_MODULE* below = i + 1 == chain.size() ? port->get_parent() : chain[i + 1]->get_parent();
    const unsigned slot = KEP_UNFOLDING::find_slot(chain[i], below);
    if (slot == KEP_UNFOLDING::NO_SLOT) return {};
    difference += chain[i]->get_parent()->get_slots()[slot].m_number;
  }
  return KEP_RELATIVE_PATH(start, difference, port);
}

KEP_PORT* KEP_RELATIVE_PATH::get_port(const KEP_DB* db) const {
  return *this ? db->get_unfolding().get_ports()[m_words[3] - 1] : nullptr;
}

KEP_MODULE* KEP_RELATIVE_PATH::get_module(const KEP_DB* db) const {
  return *this ? db->get_unfolding().get_modules()[m_words[0]] : nullptr;
}

std::vector<KEP_INSTANCE*> KEP_RELATIVE_PATH::get_instances(const KEP_DB* db) const {
  std::vector<KEP_INSTANCE*> chain;
  const KEP_MODULE* module = get_module(db);
  std::uint64_t difference = get_difference();
  while (module && difference != 0) {
    const KEP_SLOT& slot = module->get_slots()[KEP_UNFOLDING::find_slot_of_number(module, difference)];
    chain.push_back(module->get_instance_by_index(slot.m_instance));
    difference -= slot.m_number;
    module = slot.m_module;
  }
  return chain;
}

KEP_MODULE_RELATIVE_PATHS* KEP_RELATIVE_PATH_TABLE::find(const KEP_MODULE* module) {
  const auto found = m_index.find(module);
  return found == m_index.end() ? nullptr : found->second;
}

KEP_MODULE_RELATIVE_PATHS* KEP_RELATIVE_PATH_TABLE::find_or_create(const KEP_MODULE* module) {
  KEP_MODULE_RELATIVE_PATHS*& paths = m_index[module];
  if (!paths) {
    paths = &m_all.emplace_back();
    paths->m_module = module;
  }
  return paths;
}

KEP_MODULE_RELATIVE_PATH_MAP
KEP_INDEXED_RELATIVE_PATHS::find_path_mappings_for_module(const KEP_MODULE* module) const {
  return KEP_MODULE_RELATIVE_PATH_MAP(m_table ? m_table->find(module) : nullptr);
}

KEP_MODULE_RELATIVE_PATH_MAP
KEP_INDEXED_RELATIVE_PATHS::find_or_create_paths_for_module(const KEP_MODULE* module) {
  return KEP_MODULE_RELATIVE_PATH_MAP(m_table && module ? m_table->find_or_create(module) : nullptr);
}

std::vector<const KEP_MODULE*> KEP_INDEXED_RELATIVE_PATHS::get_modules() const {
  std::vector<const KEP_MODULE*> modules;
  if (m_table)
    for (const KEP_MODULE_RELATIVE_PATHS& paths : m_table->get_all())
      modules.push_back(paths.m_module);
  return modules;
}

void KEP_MODULE_RELATIVE_PATH_MAP::reserve(std::size_t count, bool) {
  if (m_paths) m_paths->m_index.reserve(m_paths->m_index.size() + count);
}

const KEP_PERSISTENT_RELATIVE_PATH*
KEP_MODULE_RELATIVE_PATH_MAP::add_path(const std::vector<KEP_INSTANCE*>& chain, const KEP_PORT* port) {
  const KEP_RELATIVE_PATH path = KEP_RELATIVE_PATH::create(chain, port);
  const KEP_MODULE* start =
      chain.empty() ? (port ? port->get_parent() : nullptr) : chain.front()->get_parent();
  if (!m_paths || !path || start != m_paths->m_module) return nullptr;
  const KEP_PERSISTENT_RELATIVE_PATH*& stored = m_paths->m_index[path];
  if (!stored) stored = &m_paths->m_paths.emplace_back(path);
  return stored;
}

std::size_t KEP_MODULE_RELATIVE_PATH_MAP::size() const {
  return m_paths ? m_paths->m_paths.size() : 0;
}

const KEP_PERSISTENT_RELATIVE_PATH* KEP_MODULE_RELATIVE_PATH_MAP::get_path(std::size_t i) const {
  return &m_paths->m_paths[i];
}
