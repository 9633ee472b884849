#include "kep_rg/nodes/kep_rg_mux_outputs.h"

KEP_RG_MUX_OUTPUTS::KEP_RG_MUX_OUTPUTS(const KEP_DB& db, const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache,
                                       const KEP_RG_PRIMITIVES& primitives)
    : m_modules(db.get_unfolding().get_modules().size()), m_num_below(m_modules.size(), UNKNOWN) {
  for (const KEP_MODULE* module : db.iter_modules(true)) {
    if (!cache.has_routing_muxes(module)) continue;
    const KEP_RG_PRIMITIVES::PORT_SET* listed = primitives.find_module_to_ports(module);
    OF_MODULE& outputs = m_modules[module->get_number()];
    for (const KEP_PORT* port : module->iter_ports()) {
      if (!cache.is_arc_output(port)) continue;
      const bool is_listed = listed && listed->contains(port);
      (is_listed ? outputs.m_listed : outputs.m_unlisted).push_back(port);
      if (is_listed && cache.is_arc_input(port)) outputs.m_arc_inputs.push_back(port);
    }
  }
}

std::uint64_t KEP_RG_MUX_OUTPUTS::get_num_below(const KEP_MODULE* module, const KEP_VIEW_TYPE_RANK& rank) {
  std::uint64_t& known = m_num_below[module->get_number()];
  if (known != UNKNOWN) return known;
  std::uint64_t total = 0;
  for (const KEP_INSTANCE* instance : module->iter_instances())
    if (const KEP_MODULE* master = rank.find_view(instance->get_module()))
      total += get(master).m_listed.size() + get(master).m_unlisted.size() + get_num_below(master, rank);
  return known = total;
}
