#include "kep_rg/detail/kep_rg_redundancy_marks.h"

KEP_RG_REDUNDANCY_MARKS::KEP_RG_REDUNDANCY_MARKS(const KEP_DB& db, const UIPS& uips) : m_uips(&uips) {
  if (uips.empty()) return;
  const KEP_UNFOLDING& unfolding = db.get_unfolding();
  std::uint64_t num_inst_ports = 0;
  for (const KEP_MODULE* module : unfolding.get_modules()) {
    m_first_mark.push_back(num_inst_ports);
    num_inst_ports += module->get_num_inst_ports();
  }
  std::vector<std::uint32_t> num_places(unfolding.get_modules().size());
  for (std::uint32_t occurrence = 0; occurrence != unfolding.size(); ++occurrence)
    if (const KEP_MODULE* module = unfolding.get_module(occurrence)) ++num_places[module->get_number()];
  std::vector<std::uint32_t> num_marked(num_inst_ports);
  m_marks.assign(num_inst_ports, MARK::NOWHERE);
  for (const KEP_UNFOLDED_INST_PORT& uip : uips) {
    const unsigned parent = uip.m_object->get_inst()->get_parent()->get_number();
    const std::uint64_t at = m_first_mark[parent] + uip.m_object->get_number();
    m_marks[at] = ++num_marked[at] == num_places[parent] ? MARK::EVERYWHERE : MARK::SOMEWHERE;
  }
}
