#include "kep_rg/kep_rg_uui_observer.h"

#include "kep/kep_design.h"
#include "kep_rg/common/kep_rg_report.h"

#include <locale>

using KEP_RG_REPORT::NAME_STYLE;

namespace {

std::string make_line(const char* kind, const std::string& name, const KEP_UNFOLDED_MODULE& module,
                      KEP_UNFOLD_OBSERVER::VISIT_TYPE type) {
  std::string line = kind + name + " ";
  if (module) line += kep_get_name_of_view_type(module.m_object->get_view_type());
  const std::string type_name = KEP_UNFOLD_OBSERVER::get_name_of_visit_type(type);
  if (!type_name.empty()) line += " -type " + type_name;
  return line + "\n";
}

} // namespace

KEP_RG_UUI_OBSERVER::KEP_RG_UUI_OBSERVER(const std::string& file_name, const KEP_VIEW_TYPE_RANK& rank)
    : m_view_type_rank(rank) {
  m_file.imbue(std::locale::classic()); // a name is written as it is, whatever locale a program sets
  m_file.open(file_name);
}

KEP_RG_UUI_OBSERVER::~KEP_RG_UUI_OBSERVER() = default;

void KEP_RG_UUI_OBSERVER::close() {
  m_file.close();
}

void KEP_RG_UUI_OBSERVER::finish_uip() {
  m_file.flush();
}

void KEP_RG_UUI_OBSERVER::visit(const KEP_UNFOLDED_PORT& port, VISIT_TYPE type) {
  m_file << get_line(port, type);
}

void KEP_RG_UUI_OBSERVER::visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) {
  m_file << get_line(uip, type, m_view_type_rank);
}

std::string KEP_RG_UUI_OBSERVER::get_line(const KEP_UNFOLDED_PORT& port, VISIT_TYPE type) {
  return make_line("port ", port.get_name(NAME_STYLE), port.get_parent(), type);
}

std::string KEP_RG_UUI_OBSERVER::get_line(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type,
                                          const KEP_VIEW_TYPE_RANK& rank) {
  return make_line("inst_port ", uip.get_name(NAME_STYLE), uip.get_unfolded_port(rank).get_parent(), type);
}
