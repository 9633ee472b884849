#include "kep/kep_db_cache.h"

KEP_DB_CACHE::KEP_DB_CACHE(KEP_VIEW_TYPE, bool) {}
KEP_DB_CACHE::~KEP_DB_CACHE() = default;

void KEP_DB_CACHE::initialize_unfolding(const KEP_DB*, const std::string&, bool) {}

KEP_INSTANCE* KEP_DB_CACHE::find_instance(const KEP_MODULE* module, const std::string& name) {
  return module->find_instance(name);
}

KEP_PORT* KEP_DB_CACHE::find_port(const KEP_MODULE* module, const std::string& name) {
  return module->find_port(name);
}

void KEP_DB_PARENTS_CACHE::initialize(KEP_DB* db) {
  const std::vector<KEP_MODULE*>& modules = db->get_unfolding().get_modules();
  m_parents.assign(modules.size(), {});
  unsigned slot_number = 0;
  for (const KEP_SLOT& slot : db->get_unfolding().get_top_slots())
    m_parents[slot.m_module->get_number()].push_back({nullptr, slot_number++});
  for (const KEP_MODULE* module : modules)
    for (unsigned slot = 0; slot != module->get_num_slots(); ++slot)
      m_parents[module->get_slots()[slot].m_module->get_number()].push_back({module, slot});
}

const std::vector<KEP_DB_PARENTS_CACHE::PARENT>&
KEP_DB_PARENTS_CACHE::get_parents(const KEP_MODULE* module) const {
  return m_parents[module->get_number()];
}

KEP_DB_REDUNDANCY_CACHE::KEP_DB_REDUNDANCY_CACHE(bool) {}

void KEP_DB_REDUNDANCY_CACHE::initialize(KEP_DB* db, const KEP_DB_PARENTS_CACHE* parents) {
  m_db = db;
  m_parents = parents;
}

namespace {

/// The occurrences of modules, found upward: those of a module are those of its parents, each with a slot
/// added.
class OCCURRENCES {
public:
  OCCURRENCES(const KEP_UNFOLDING& unfolding, const KEP_DB_PARENTS_CACHE& parents)
      : m_unfolding(unfolding), m_parents(parents), m_found(unfolding.get_modules().size()),
        m_is_known(unfolding.get_modules().size()) {}

  /// The positions of the module, as those of KEP_UNFOLDED_MODULE.
  const std::vector<std::uint64_t>& find(const KEP_MODULE* module) {
    // Parents first, on a stack of its own: hierarchies may be deep.
    std::vector<const KEP_MODULE*> stack{module};
    while (!stack.empty()) {
      const KEP_MODULE* next = stack.back();
      bool is_ready = true;
      for (const auto& parent : m_parents.get_parents(next))
        if (parent.m_module && !m_is_known[parent.m_module->get_number()]) {
          stack.push_back(parent.m_module);
          is_ready = false;
          break;
        }
      if (!is_ready) continue;
      stack.pop_back();
      collect(next);
    }
    return m_found[module->get_number()];
  }

private:
  void collect(const KEP_MODULE* module) {
    if (m_is_known[module->get_number()]) return;
    m_is_known[module->get_number()] = true;
    std::vector<std::uint64_t>& found = m_found[module->get_number()];
    for (const auto& parent : m_parents.get_parents(module)) {
      if (!parent.m_module) {
        found.push_back(KEP_SLOT_POSITION::pack(KEP_UNFOLDING::ABOVE_TOP, parent.m_slot));
        continue;
      }
      for (const std::uint64_t position : m_found[parent.m_module->get_number()]) {
        const std::uint32_t above = KEP_SLOT_POSITION::occurrence(position);
        const KEP_SLOT& own = m_unfolding.get_slot(above, KEP_SLOT_POSITION::slot(position));
        found.push_back(KEP_SLOT_POSITION::pack(m_unfolding.get_child(above, own), parent.m_slot));
      }
    }
  }

  const KEP_UNFOLDING& m_unfolding;
  const KEP_DB_PARENTS_CACHE& m_parents;
  std::vector<std::vector<std::uint64_t>> m_found; // by module number
  std::vector<bool> m_is_known;
};

/// True when the instance is held by `top` or stands below it: its numbers are those right behind that of
/// `top`.
bool is_below(const KEP_UNFOLDED_INSTANCE& instance, const KEP_UNFOLDED_MODULE& top) {
  const KEP_UNFOLDING& unfolding = *top.m_object->get_unfolding();
  const std::uint32_t above = KEP_SLOT_POSITION::occurrence(top.m_position);
  const KEP_SLOT& slot = unfolding.get_slot(above, KEP_SLOT_POSITION::slot(top.m_position));
  const std::uint64_t holder = unfolding.get(static_cast<std::uint32_t>(instance.m_position)).m_number;
  return holder - unfolding.get_number(above, slot) < top.m_object->get_size();
}

} // namespace

std::size_t KEP_DB_REDUNDANCY_CACHE::add_redundant_ports(KEP_UNFOLDED_INST_PORT_USET* uips,
                                                         KEP_UNFOLDED_MODULE top) const {
  const KEP_INDEXED_RELATIVE_PATHS table = m_db->get_relative_paths("redundancy");
  if (!table.valid() || !top) return 0;
  std::size_t num_added = 0;
  OCCURRENCES occurrences(m_db->get_unfolding(), *m_parents);
  for (const KEP_MODULE* module : table.get_modules()) {
    const KEP_MODULE_RELATIVE_PATH_MAP paths = table.find_path_mappings_for_module(module);
    for (const std::uint64_t position : occurrences.find(module)) {
      const KEP_UNFOLDED_MODULE start(position, const_cast<KEP_MODULE*>(module));
      for (std::size_t i = 0; i != paths.size(); ++i) {
        const KEP_RELATIVE_PATH& path = paths.get_path(i)->get_path();
        const KEP_UNFOLDED_INSTANCE instance = (start + path).get_unfolded_instance();
        if (!instance || !is_below(instance, top)) continue; // a port of the top has no uip
        KEP_INST_PORT* inst_port = instance.m_object->get_inst_port_for_port(path.get_port(m_db));
        if (uips->insert(instance.get_unfolding_of_inst_port(inst_port))) ++num_added;
      }
    }
  }
  return num_added;
}
