#include "kep_rg/proof/kep_rg_proof_redundancy.h"

KEP_RG_PROOF_REDUNDANCY::KEP_RG_PROOF_REDUNDANCY(const KEP_DB* db) : m_db(db) {
  const KEP_INDEXED_RELATIVE_PATHS table = db->get_relative_paths("redundancy");
  if (db->get_db_type() == KEP_DB_TYPE::NO_REDUNDANCY || !table.valid()) return;
  const KEP_UNFOLDING& unfolding = db->get_unfolding();
  const KEP_UNFOLDED_MODULE top = db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  m_top_number = unfolding.get_number(KEP_UNFOLDING::ABOVE_TOP,
                                      unfolding.get_top_slots()[KEP_SLOT_POSITION::slot(top.m_position)]);
  m_top_size = top.m_object->get_size();
  std::uint64_t num_inst_ports = 0;
  for (const KEP_MODULE* module : unfolding.get_modules()) {
    m_first_mark.push_back(num_inst_ports);
    num_inst_ports += module->get_num_inst_ports();
  }
  m_marks.assign(num_inst_ports, 0);
  for (const KEP_MODULE* module : table.get_modules()) {
    const KEP_MODULE_RELATIVE_PATH_MAP paths = table.find_path_mappings_for_module(module);
    for (std::size_t i = 0; i != paths.size(); ++i)
      add(module, paths.get_path(i)->get_path());
  }
  m_instances = {};
}

void KEP_RG_PROOF_REDUNDANCY::add(const KEP_MODULE* module, const KEP_RELATIVE_PATH& path) {
  const unsigned port = path.get_port(m_db)->get_index();
  const std::vector<KEP_INSTANCE*> instances = path.get_instances(m_db);
  if (instances.empty()) { // a port of the module itself: of every instance whose master it is in some view
    for (const KEP_INSTANCE* instance : find_instances(module))
      mark(instance->get_inst_port_by_index(port), EVERYWHERE);
    return;
  }
  const KEP_INST_PORT* inst_port = instances.back()->get_inst_port_by_index(port);
  if (instances.size() == 1) {
    mark(inst_port, EVERYWHERE);
    return;
  }
  mark(inst_port, BELOW_CHAINS);
  add_chain(inst_port, instances);
}

void KEP_RG_PROOF_REDUNDANCY::add_chain(const KEP_INST_PORT* inst_port,
                                        const std::vector<KEP_INSTANCE*>& instances) {
  const auto go_on = [this](auto& points, const auto& key) {
    const auto [entry, is_new] = points.emplace(key, static_cast<std::uint32_t>(m_ends_chain.size()));
    if (is_new) m_ends_chain.push_back(false);
    return entry->second;
  };
  std::uint32_t point = go_on(m_first_points, inst_port);
  for (auto instance = instances.rbegin() + 1; instance != instances.rend(); ++instance)
    point = go_on(m_branches, BRANCH{point, *instance});
  m_ends_chain[point] = true;
}

const std::vector<const KEP_INSTANCE*>& KEP_RG_PROOF_REDUNDANCY::find_instances(const KEP_MODULE* module) {
  if (m_instances.empty()) {
    m_instances.resize(m_db->get_unfolding().get_modules().size());
    for (const KEP_MODULE* parent : m_db->get_unfolding().get_modules())
      for (unsigned i = 0; i != parent->get_num_slots(); ++i) {
        const KEP_SLOT& slot = parent->get_slots()[i];
        m_instances[slot.m_module->get_number()].push_back(parent->get_instance_by_index(slot.m_instance));
      }
  }
  return m_instances[module->get_number()];
}

void KEP_RG_PROOF_REDUNDANCY::mark(const KEP_INST_PORT* inst_port, unsigned char where) {
  const unsigned module = inst_port->get_inst()->get_parent()->get_number();
  unsigned char& own = m_marks[m_first_mark[module] + inst_port->get_number()];
  own = static_cast<unsigned char>(own | where);
}

bool KEP_RG_PROOF_REDUNDANCY::find(const KEP_UNFOLDED_INST_PORT& uip) const {
  const auto occurrence = static_cast<std::uint32_t>(uip.m_position);
  const KEP_OCCURRENCE& at = m_db->get_unfolding().get(occurrence);
  const unsigned char where = m_marks[m_first_mark[at.m_module] + uip.m_object->get_number()];
  if (where == 0 || at.m_number - m_top_number >= m_top_size) return false;
  if (where & EVERYWHERE) return true;
  return stands_below_chain(occurrence, m_first_points.find(uip.m_object)->second);
}

bool KEP_RG_PROOF_REDUNDANCY::stands_below_chain(std::uint32_t occurrence, std::uint32_t point) const {
  const KEP_UNFOLDING& unfolding = m_db->get_unfolding();
  while (!m_ends_chain[point]) {
    const KEP_OCCURRENCE& at = unfolding.get(occurrence);
    if (at.m_parent == KEP_UNFOLDING::ABOVE_TOP) return false;
    const KEP_SLOT& slot = unfolding.get_slot(at.m_parent, at.m_slot);
    const KEP_MODULE* parent = unfolding.get_module(at.m_parent);
    const auto branch = m_branches.find({point, parent->get_instance_by_index(slot.m_instance)});
    if (branch == m_branches.end()) return false;
    point = branch->second;
    occurrence = at.m_parent;
  }
  return true;
}
