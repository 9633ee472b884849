#include "kep/kep_design.h"

#include "kep/detail/kep_unfolding.h"
#include "kep/model/kep_name_index.h"

std::string KEP_PORT::get_name(KEP_NAME_STYLE) const {
  return m_name;
}

std::string KEP_INSTANCE::get_name(const KEP_NAME_STYLE&) const {
  return m_name;
}

KEP_INST_HEADER* KEP_INSTANCE::get_inst_header() const {
  // Nothing but its presence is known of a header, so one serves all instances that have one.
  static KEP_INST_HEADER header;
  return m_has_inst_header ? &header : nullptr;
}

std::string KEP_NET::get_name(const KEP_NAME_STYLE&) const {
  return m_name;
}

KEP_MODULE::KEP_MODULE() = default;
KEP_MODULE::~KEP_MODULE() = default;

std::string KEP_MODULE::get_name(const KEP_NAME_STYLE&) const {
  return m_name;
}

void KEP_MODULE::get_name(std::string& name, const KEP_NAME_STYLE&) const {
  name = m_name;
}

KEP_PORT* KEP_MODULE::find_port(std::string_view name) const {
  const unsigned found =
      KEP_NAME_INDEX::find(m_port_names, name, [this](unsigned i) { return m_ports[i].get_plain_name(); });
  return found ? m_ports.get() + found - 1 : nullptr;
}

KEP_INSTANCE* KEP_MODULE::find_instance(std::string_view name) const {
  const unsigned found = KEP_NAME_INDEX::find(m_instance_names, name,
                                              [this](unsigned i) { return m_instances[i].get_plain_name(); });
  return found ? m_instances.get() + found - 1 : nullptr;
}

std::vector<KEP_MODULE*> KEP_MODULE::get_equivalent_modules(KEP_VIEW_TYPE view) const {
  std::vector<KEP_MODULE*> equivalents;
  if (m_equivalents)
    for (KEP_MODULE* module : *m_equivalents)
      if (module != this && module->m_view_type == view) equivalents.push_back(module);
  return equivalents;
}

unsigned KEP_MODULE::get_num_equivalent_modules(KEP_VIEW_TYPE view) const {
  unsigned count = 0;
  if (m_equivalents)
    for (const KEP_MODULE* module : *m_equivalents)
      if (module != this && module->m_view_type == view) ++count;
  return count;
}
