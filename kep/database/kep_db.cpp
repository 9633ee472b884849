#include "kep/kep_db.h"

#include "kep/database/kep_db_storage.h"

KEP_LEGACY_API::KEP_LEGACY_API() : m_table(std::make_unique<TABLE>()) {}
KEP_LEGACY_API::~KEP_LEGACY_API() = default;

bool KEP_LEGACY_API::has_instance_attributes() const {
  return !m_table->m_attributes.empty();
}

KEP_UNFOLDED_INSTANCE_ATTRIBUTES*
KEP_LEGACY_API::get_attributes(const KEP_UNFOLDED_INSTANCE& instance) const {
  if (m_table->m_attributes.empty()) return nullptr;
  const auto found = m_table->m_attributes.find(instance);
  return found == m_table->m_attributes.end() ? nullptr : &found->second;
}

bool KEP_LEGACY_API::has_attributes_somewhere(const KEP_INSTANCE* instance) const {
  return m_table->m_instances.contains(instance);
}

void KEP_LEGACY_API::set_spare_row(const KEP_UNFOLDED_INSTANCE& instance, bool is_spare_row) {
  if (!instance) return;
  m_table->m_attributes[instance].m_is_spare_row = is_spare_row;
  m_table->m_instances.insert(instance.m_object);
}

KEP_DB::KEP_DB() : m_storage(std::make_unique<STORAGE>()), m_legacy_api(std::make_unique<KEP_LEGACY_API>()) {}
KEP_DB::~KEP_DB() = default;

KEP_MODULE* KEP_DB::get_top_module(KEP_VIEW_TYPE view) const {
  return m_storage->m_top ? m_storage->m_top->find_view(view) : nullptr;
}

KEP_UNFOLDED_MODULE KEP_DB::get_top_unfolded_module(KEP_VIEW_TYPE view) const {
  KEP_MODULE* top = get_top_module(view);
  const std::vector<KEP_SLOT>& slots = m_unfolding->get_top_slots();
  for (std::uint32_t slot = 0; top && slot != slots.size(); ++slot)
    if (slots[slot].m_module == top) return {KEP_SLOT_POSITION::pack(KEP_UNFOLDING::ABOVE_TOP, slot), top};
  return {};
}

boost::iterator_range<KEP_DB_MODULE_ITER> KEP_DB::iter_modules(bool all) const {
  return kep_pointer_range<KEP_DB_MODULE_ITER>(all ? m_unfolding->get_modules() : m_storage->m_modules);
}

std::vector<KEP_MODULE*> KEP_DB::find_modules(std::string_view name, KEP_VIEW_TYPE view, bool all) const {
  std::vector<KEP_MODULE*> found;
  const auto modules = m_storage->m_by_name.find(name);
  if (modules == m_storage->m_by_name.end()) return found;
  for (KEP_MODULE* module : modules->second)
    if (module->get_view_type() == view && (all || module->get_db() == this)) found.push_back(module);
  return found;
}

std::vector<KEP_UNFOLDED_INSTANCE> KEP_DB::find_unfolded_instances(const std::string& path) const {
  std::vector<KEP_UNFOLDED_MODULE> modules;
  const std::vector<KEP_SLOT>& tops = m_unfolding->get_top_slots();
  for (std::uint32_t slot = 0; slot != tops.size(); ++slot)
    modules.emplace_back(KEP_SLOT_POSITION::pack(KEP_UNFOLDING::ABOVE_TOP, slot), tops[slot].m_module);
  for (std::size_t begin = 0;;) {
    const std::size_t end = path.find('/', begin);
    const std::string name = path.substr(begin, end == std::string::npos ? end : end - begin);
    std::vector<KEP_UNFOLDED_INSTANCE> instances;
    for (const KEP_UNFOLDED_MODULE& module : modules)
      if (KEP_INSTANCE* instance = module.m_object->find_instance(name))
        instances.emplace_back((*module.iter_instances().begin()).m_position, instance);
    if (end == std::string::npos) return instances;
    begin = end + 1;
    modules.clear();
    for (const KEP_UNFOLDED_INSTANCE& instance : instances)
      for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
        if (const KEP_UNFOLDED_MODULE module = instance.get_module(static_cast<KEP_VIEW_TYPE>(view)))
          modules.push_back(module);
  }
}

KEP_INDEXED_RELATIVE_PATHS KEP_DB::get_relative_paths(const char* name) const {
  const auto found = m_storage->m_tables.find(std::string_view(name));
  return KEP_INDEXED_RELATIVE_PATHS(found == m_storage->m_tables.end() ? nullptr : &found->second);
}

KEP_INDEXED_RELATIVE_PATHS KEP_DB::find_or_create_relative_paths(const char* name) {
  return KEP_INDEXED_RELATIVE_PATHS(&m_storage->m_tables[name]);
}
