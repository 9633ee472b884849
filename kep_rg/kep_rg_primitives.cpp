#include "kep_rg/kep_rg_primitives.h"

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_exception.h"

#include <string_view>
#include <utility>

namespace {

KEP_INST_PORT* inst_port_of(KEP_INSTANCE* instance, const KEP_PORT* port) {
  return instance->get_inst_port_by_index(port->get_index());
}

KEP_RG_PRIMITIVES::PORT_SET corresponding_ports(const KEP_MODULE* equivalent,
                                                const KEP_RG_PRIMITIVES::PORT_SET& ports) {
  KEP_RG_PRIMITIVES::PORT_SET result;
  for (const KEP_PORT* port : ports) {
    if (const KEP_PORT* other = equivalent->get_port_by_index(port->get_index())) result.insert(other);
  }
  return result;
}

} // namespace

KEP_RG_PRIMITIVES::KEP_RG_PRIMITIVES(const KEP_DB* db, const KEP_DB_ROUTING_PRIMITIVE_CACHE* cache)
    : m_db(db), m_routing_primitive(db->get_routing_template_graph()->get_routing_primitive()),
      m_routing_primitive_cache(cache), m_port_flags(db->get_unfolding().get_ports().size()),
      m_module_flags(db->get_unfolding().get_modules().size()) {
  digest_flyovers();
  digest_muxes();
  digest_modules();
  digest_routing_roots();
  digest_blc_routing_roots();
  digest_non_template_muxes();
  digest_foreign_masters();
}

void KEP_RG_PRIMITIVES::digest_flyovers() {
  for (const KEP_ROUTING_FLYOVER* flyover : m_routing_primitive->iter_routing_flyovers(false)) {
    m_skip_path_sparerow_map.emplace(flyover->get_input(), flyover->get_output());
    set_flag(flyover->get_input(), SPARE_ROW);
  }
}

void KEP_RG_PRIMITIVES::digest_muxes() {
  for (const KEP_ROUTING_MUX* mux : m_routing_primitive->iter_routing_muxes(false)) {
    const KEP_MODULE* module = mux->get_module();
    const bool can_stop =
        !module->has_trait(KEP_MODULE::TRAIT::IP_ROOT) || module->get_view_type() == KEP_VIEW_TYPE::LOGICAL;
    if (!mux->get_skip() && can_stop) m_stop_modules.insert(module);
    for (const KEP_ROUTING_ARC* arc : mux->iter_routing_arcs())
      digest_arc(*mux, *arc);
  }
}

void KEP_RG_PRIMITIVES::digest_arc(const KEP_ROUTING_MUX& mux, const KEP_ROUTING_ARC& arc) {
  const KEP_PORT* in = arc.get_input();
  const KEP_PORT* out = arc.get_output();
  if (!mux.get_skip()) {
    PORT_SET& ports = m_module_to_ports[mux.get_module()];
    ports.insert(in);
    ports.insert(out);
    for (KEP_INSTANCE* instance : mux.iter_skip_exception_instances())
      add_skip_path_inst_port(inst_port_of(instance, in), inst_port_of(instance, out));
    return;
  }
  add_skip_path_port(in, out);
  if (!mux.has_skip_exception_instances()) {
    // No inserted port is known yet, so every such output is ignored; the tests say what the rule would be if
    // modules were digested first.
    if (!m_all_inserted_ports.contains(out)) add_ignored_port(out);
    if (!m_all_inserted_ports.contains(in) && in->get_parent()->has_trait(KEP_MODULE::TRAIT::TRAIT_0))
      add_ignored_port(out);
    return;
  }
  for (KEP_INSTANCE* instance : mux.iter_skip_exception_instances()) {
    m_inserted_inst_ports.insert(inst_port_of(instance, out));
    set_flag(inst_port_of(instance, out)->get_port(), INST_INSERTED);
    add_dont_skip_path_inst_port(inst_port_of(instance, in), inst_port_of(instance, out));
  }
}

void KEP_RG_PRIMITIVES::digest_modules() {
  for (const KEP_MODULE* module : m_db->iter_modules(true)) {
    if (module->get_is_blc_bidir_buffer()) {
      m_blc_bidir_buffers.insert(module);
      set_flag(module, BLC_BIDIR_BUFFER);
    }
    PORT_SET inserted;
    PORT_SET removed;
    for (const KEP_PORT* port : module->iter_ports()) {
      if (m_routing_primitive_cache->is_insert_node(port))
        inserted.insert(port);
      else if (m_routing_primitive_cache->is_remove_node(port))
        removed.insert(port);
    }
    if (inserted.empty() && removed.empty()) continue;
    enter_inserted_ports(module, inserted);
    enter_removed_ports(module, removed);
    if (module->get_view_type() == KEP_VIEW_TYPE::LOGICAL_TWIN) continue;
    for (const KEP_MODULE* twin : module->get_equivalent_modules(KEP_VIEW_TYPE::LOGICAL_TWIN)) {
      const PORT_SET twin_inserted = corresponding_ports(twin, inserted);
      const PORT_SET twin_removed = corresponding_ports(twin, removed);
      if (!twin_inserted.empty()) enter_inserted_ports(twin, twin_inserted);
      if (!twin_removed.empty()) enter_removed_ports(twin, twin_removed);
    }
  }
}

/// The first entry of a module stays; the set of all ports takes every port.
void KEP_RG_PRIMITIVES::enter_inserted_ports(const KEP_MODULE* module, const PORT_SET& ports) {
  const bool is_new = m_module_to_inserted_ports.emplace(module, ports).second;
  for (const KEP_PORT* port : ports) {
    m_all_inserted_ports.insert(port);
    set_flag(port, INSERTED);
    if (is_new) set_flag(port, INSERTED_IN_MODULE);
  }
}

void KEP_RG_PRIMITIVES::enter_removed_ports(const KEP_MODULE* module, const PORT_SET& ports) {
  const bool is_new = m_module_to_removed_ports.emplace(module, ports).second;
  for (const KEP_PORT* port : ports) {
    m_all_removed_ports.insert(port);
    if (is_new) set_flag(port, REMOVED_IN_MODULE);
  }
}

void KEP_RG_PRIMITIVES::digest_routing_roots() {
  for (const KEP_MODULE* module : m_routing_primitive->iter_routing_roots(false)) {
    m_routing_roots.insert(module);
    set_flag(module, ROUTING_ROOT);
  }
}

void KEP_RG_PRIMITIVES::digest_blc_routing_roots() {
  for (const KEP_MODULE* module : m_routing_roots) {
    if (module->get_view_type() != KEP_VIEW_TYPE::BLC) continue;
    PORT_SET ports;
    for (const KEP_PORT* port : module->iter_ports()) {
      const bool is_kept = port->get_blc_re_index() != -1 && !m_all_removed_ports.contains(port);
      if (is_kept || m_all_inserted_ports.contains(port)) ports.insert(port);
    }
    m_module_to_ports.emplace(module, std::move(ports)); // an entry made for its muxes stays
  }
}

void KEP_RG_PRIMITIVES::digest_non_template_muxes() {
  if (m_routing_primitive->get_non_template_mux_skip_path_inst_name_pattern().empty()) return;
  // A device has many such instances: what one of them needs is gathered here once.
  ARCS_BY_MODULE arcs(m_module_flags.size());
  for (const KEP_ROUTING_ARC* arc : m_routing_primitive->iter_routing_arcs(false))
    arcs[arc->get_input()->get_parent()->get_number()].push_back(arc);

  const KEP_MODULE* top = m_db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  std::set<const KEP_MODULE*> visited;
  add_non_template_skip_paths(top, visited, arcs);
  for (const KEP_VIEW_TYPE view : {KEP_VIEW_TYPE::LOGICAL_TWIN, KEP_VIEW_TYPE::LOGICAL}) {
    if (top->get_view_type() == view) continue;
    visited.clear();
    for (const KEP_MODULE* equivalent : top->get_equivalent_modules(view))
      add_non_template_skip_paths(equivalent, visited, arcs);
  }
}

/// Treats every module at and below `module` that is not yet in `visited`.
void KEP_RG_PRIMITIVES::add_non_template_skip_paths(const KEP_MODULE* module,
                                                    std::set<const KEP_MODULE*>& visited,
                                                    const ARCS_BY_MODULE& arcs) {
  const std::string pattern = m_routing_primitive->get_non_template_mux_skip_path_inst_name_pattern();
  std::vector<const KEP_MODULE*> pending;
  if (module && visited.insert(module).second) pending.push_back(module);
  while (!pending.empty()) {
    const KEP_MODULE* next = pending.back();
    pending.pop_back();
    for (KEP_INSTANCE* instance : next->iter_instances()) {
      const KEP_MODULE* master = instance->get_module();
      if (std::string_view(instance->get_plain_name()).find(pattern) != std::string_view::npos) {
        for (const KEP_ROUTING_ARC* arc : arcs[master->get_number()])
          add_skip_path_of_arc(instance, *arc);
      }
      if (visited.insert(master).second) pending.push_back(master);
    }
  }
}

void KEP_RG_PRIMITIVES::add_skip_paths(KEP_INSTANCE* instance) {
  for (const KEP_ROUTING_ARC* arc : m_routing_primitive->iter_routing_arcs(false)) {
    if (arc->get_input()->get_parent() == instance->get_module()) add_skip_path_of_arc(instance, *arc);
  }
}

void KEP_RG_PRIMITIVES::add_skip_path_of_arc(KEP_INSTANCE* instance, const KEP_ROUTING_ARC& arc) {
  const KEP_ROUTING_MUX* mux = arc.get_parent();
  if (!mux || arc.is_skip(instance) || mux->has_skip_exception_instances()) return;
  add_skip_path(inst_port_of(instance, arc.get_input()), inst_port_of(instance, arc.get_output()));
}

void KEP_RG_PRIMITIVES::digest_foreign_masters() {
  if (!m_db->is_device_top()) return;
  for (const KEP_MODULE* module : m_db->iter_modules(true)) {
    for (const KEP_INSTANCE* instance : module->iter_instances()) {
      if (instance->module_in_same_db()) continue;
      KEP_MODULE* master = instance->get_module(module->get_view_type());
      if (!master || m_stop_modules.contains(master)) continue;
      add_stop_module_and_ports_internal(master);
      for (const KEP_VIEW_TYPE view : {KEP_VIEW_TYPE::LOGICAL, KEP_VIEW_TYPE::BLC}) {
        if (view == module->get_view_type()) continue;
        for (KEP_MODULE* equivalent : master->get_equivalent_modules(view)) {
          if (!m_stop_modules.contains(equivalent)) add_stop_module_and_ports_internal(equivalent);
        }
      }
    }
  }
}

void KEP_RG_PRIMITIVES::add_stop_module_and_ports_internal(KEP_MODULE* module) {
  m_stop_modules.insert(module);
  PORT_SET& ports = m_module_to_ports[module];
  for (const KEP_PORT* port : module->iter_ports())
    ports.insert(port);
}

void KEP_RG_PRIMITIVES::add_ignored_port(const KEP_PORT* port) {
  m_ignored_ports.insert(port);
  set_flag(port, IGNORED);
}

void KEP_RG_PRIMITIVES::add_skip_path_port(const KEP_PORT* input, const KEP_PORT* output) {
  m_skip_path_ports[input].push_back(output);
  set_flag(input, SKIP_PATH);
}

void KEP_RG_PRIMITIVES::add_skip_path_inst_port(const KEP_INST_PORT* input, const KEP_INST_PORT* output) {
  m_skip_path_inst_ports[input].push_back(output);
  set_flag(input->get_port(), INST_PATH);
}

void KEP_RG_PRIMITIVES::add_dont_skip_path_inst_port(const KEP_INST_PORT* input,
                                                     const KEP_INST_PORT* output) {
  m_dont_skip_path_inst_ports[input].push_back(output);
  set_flag(input->get_port(), INST_PATH);
}

void KEP_RG_PRIMITIVES::add_skip_path(KEP_INST_PORT* input, KEP_INST_PORT* output) {
  if (!input)
    KEP_RG_THROW("KEP_RG_PRIMITIVES::add_skip_path", "add_skip_path failed because input_inst_port is NULL");
  if (!output)
    KEP_RG_THROW("KEP_RG_PRIMITIVES::add_skip_path", "add_skip_path failed because output_inst_port is NULL");
  add_skip_path_inst_port(input, output);
}

const KEP_RG_PRIMITIVES::PORT_SET* KEP_RG_PRIMITIVES::get_inserted_ports(const KEP_MODULE* module) const {
  const auto found = m_module_to_inserted_ports.find(module);
  return found == m_module_to_inserted_ports.end() ? nullptr : &found->second;
}

const KEP_RG_PRIMITIVES::PORT_SET* KEP_RG_PRIMITIVES::get_removed_ports(const KEP_MODULE* module) const {
  const auto found = m_module_to_removed_ports.find(module);
  return found == m_module_to_removed_ports.end() ? nullptr : &found->second;
}

const KEP_RG_PRIMITIVES::PORT_SET& KEP_RG_PRIMITIVES::get_module_to_ports(KEP_MODULE* module) const {
  const auto found = m_module_to_ports.find(module);
  if (found == m_module_to_ports.end()) {
    const std::string name = module ? module->get_plain_name() : "";
    KEP_RG_THROW("KEP_RG_PRIMITIVES::get_module_to_ports",
                 "No port list found in map for primitive module " + name);
  }
  return found->second;
}

std::string KEP_RG_PRIMITIVES::get_blc_icd_port_name(const KEP_PORT* port) const {
  if (!port) return {};
  std::string name = port->get_blc_icd_port_name();
  return name.empty() ? port->get_plain_name() : name;
}
