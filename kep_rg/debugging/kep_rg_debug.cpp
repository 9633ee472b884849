#include "kep_rg/kep_rg_debug.h"

#include "kep/kep_design.h"

std::string KEP_RG_DBG_NODE::get_name(const KEP_NAME_STYLE& style) const {
  if (m_uip || !m_port) return m_uip.get_name(style);
  return m_port->get_parent()->get_name(style) + style.m_port_separator + m_port->get_name(KEP_NAME_STYLE());
}
