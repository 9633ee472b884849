#include "kep_rg/redundancy/kep_rg_redundancy_fixup_tables.h"

#include "kep/kep_design.h"

#include <algorithm>

KEP_RG_REDUNDANCY_FIXUP_TABLES::KEP_RG_REDUNDANCY_FIXUP_TABLES(KEP_ROUTING_PRIMITIVE* routing_primitive)
    : m_routing_primitive(routing_primitive) {
  find_mux_modules();
  fill_inner_to_outer();
  fill_output_to_input();
}

void KEP_RG_REDUNDANCY_FIXUP_TABLES::find_mux_modules() {
  for (const KEP_ROUTING_ARC* arc : m_routing_primitive->iter_routing_arcs(false)) {
    if (!arc->get_parent() || arc->is_always_skip() || arc->get_parent()->has_skip_exception_instances())
      continue;
    m_mux_modules.insert(arc->get_input()->get_parent());
  }
}

void KEP_RG_REDUNDANCY_FIXUP_TABLES::fill_inner_to_outer() {
  // In the order of the design: the first value of a key stays, and that must not hang on where modules lie
  // in memory.
  std::vector<KEP_MODULE*> modules(m_mux_modules.begin(), m_mux_modules.end());
  std::sort(modules.begin(), modules.end(), [](const KEP_MODULE* left, const KEP_MODULE* right) {
    return left->get_number() < right->get_number();
  });
  for (const KEP_MODULE* module : modules)
    for (KEP_PORT* outer : module->iter_ports())
      descend(outer, outer);
}

void KEP_RG_REDUNDANCY_FIXUP_TABLES::descend(const KEP_PORT* port, KEP_PORT* outer) {
  const KEP_NET* net = port->get_net();
  if (!net) return;
  for (const KEP_INST_PORT* inst_port : net->iter_inst_ports()) {
    KEP_PORT* inner = inst_port->get_port();
    m_instance_stack.push_back(inst_port->get_inst());
    if (m_mux_modules.contains(inst_port->get_inst()->get_module())) {
      const KEP_RG_RELATIVE_PORT key(m_instance_stack, inner);
      m_inner_to_outer.add(&key, outer);
    } else {
      descend(inner, outer);
    }
    m_instance_stack.pop_back();
  }
}

void KEP_RG_REDUNDANCY_FIXUP_TABLES::fill_output_to_input() {
  for (const KEP_ROUTING_ARC* arc : m_routing_primitive->iter_routing_arcs(false)) {
    if (!arc->get_parent()) continue;
    const KEP_RG_RELATIVE_PORT key({}, arc->get_output());
    m_output_to_input.add(&key, arc->get_input());
  }
}
