// How many nodes there will be about: what is counted before the first one is made, so that tables are sized
// once. It is an estimate: what is excluded, repeated or skipped where nodes are made counts here.

#include "kep_rg/kep_rg_build.h"

std::size_t KEP_RG_BUILD::count(std::size_t& boundary_count) {
  const std::size_t n = count_module(m_db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW));
  if (m_db->get_db_type() == KEP_DB_TYPE::TOP_PORTS_ROUTED) {
    KEP_MODULE* top = m_db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
    boundary_count = top->get_num_ports();
    m_module_counts.emplace(top, n + boundary_count);
  }
  return n;
}

std::size_t KEP_RG_BUILD::count_inserted(KEP_MODULE* module) const {
  const KEP_RG_PRIMITIVES::PORT_SET* inserted = m_primitives.get_inserted_ports(module);
  return inserted ? inserted->size() : 0;
}

std::size_t KEP_RG_BUILD::count_mux(KEP_MODULE* module, bool flag) const {
  std::size_t total = 0;
  for (const KEP_PORT* port : m_primitives.get_module_to_ports(module))
    if (!m_routing_primitive_cache->is_arc_input(port) && !flag && !m_primitives.port_is_ignored(port))
      ++total;
  return total;
}

std::size_t KEP_RG_BUILD::count_blc(KEP_MODULE* module) const {
  return count_inside_blc(module) + m_primitives.get_module_to_ports(module).size();
}

std::size_t KEP_RG_BUILD::count_inside_blc(KEP_MODULE* module) const {
  std::size_t total = 0;
  for (const KEP_INSTANCE* instance : module->iter_instances()) {
    KEP_MODULE* master = instance->get_module();
    total += master->get_num_ports() + count_inside_blc(master);
  }
  return total;
}
