// Which nodes are made at one instance, by what its master is, and the making of one.

#include "kep_report/kep_report_progress.h"
#include "kep_rg/common/kep_rg_report.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/nodes/kep_rg_mux_outputs.h"
#include "kep_rg/nodes/kep_rg_node_plans.h"

using KEP_RG_REPORT::NAME_STYLE;

bool KEP_RG_BUILD::add_nodes_mux(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE* instance, KEP_MODULE* master,
                                 bool flag, bool debug) {
  const std::string pattern = m_db->get_routing_template_graph()
                                  ->get_routing_primitive()
                                  ->get_non_template_mux_skip_path_inst_name_pattern();
  if (!pattern.empty() && instance->get_name(NAME_STYLE).find(pattern) != std::string::npos) {
    count_without_node(WITHOUT_NODE::NAME_PATTERN, m_mux_outputs->get(master).m_listed, u_instance);
    return false;
  }
  count_without_node(WITHOUT_NODE::ARC_INPUT, m_mux_outputs->get(master).m_arc_inputs, u_instance);
  bool result = false;
  for (const KEP_PORT* port : m_primitives.get_module_to_ports(master)) {
    if (m_routing_primitive_cache->is_arc_input(port) || flag) continue;
    KEP_INST_PORT* inst_port = instance->get_inst_port_by_index(port->get_index());
    const KEP_UNFOLDED_INST_PORT uip = u_instance.get_unfolding_of_inst_port(inst_port);
    if (m_primitives.port_is_ignored(port) && !m_primitives.is_inserted_inst_port(inst_port)) {
      count_without_node(WITHOUT_NODE::SKIP, uip);
      continue;
    }
    // Without an inst header a port must have a wire type to become a node.
    if (!instance->get_inst_header()) {
      if (m_node_plans && m_primitives.has_wire_type_by_place(inst_port->get_port())) m_node_plans->ask();
      if (!m_primitives.find_wire_type(uip)) {
        count_without_node(WITHOUT_NODE::NO_HEADER, uip);
        continue;
      }
    }
    if (debug) KEP_RG_REPORT::debug() << "add_mux: " << uip.get_name(NAME_STYLE) << std::endl;
    result |= create_node(uip, CREATE_TYPE_PORT, debug);
  }
  return result;
}

bool KEP_RG_BUILD::create_nodes_of_ports(const KEP_RG_PRIMITIVES::PORT_SET& ports,
                                         KEP_UNFOLDED_INSTANCE u_instance, CREATE_TYPE type, bool debug) {
  bool result = false;
  for (const KEP_PORT* port : ports)
    result |= create_node(u_instance.get_unfolded_inst_port_by_index(port->get_index()), type, debug);
  return result;
}

bool KEP_RG_BUILD::add_nodes_blc(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE*, KEP_MODULE* master,
                                 bool debug) {
  bool result = add_nodes_inside_blc(get_master_for_routing(u_instance), debug);
  result |= create_nodes_of_ports(m_primitives.get_module_to_ports(master), u_instance, CREATE_TYPE_BLC_PORT,
                                  debug);
  return result;
}

bool KEP_RG_BUILD::add_nodes_inside_blc(KEP_UNFOLDED_MODULE u_module, bool debug) {
  const auto walk_here = [&] { return walk_inside_blc(u_module, debug); };
  if (!goes_by_plan(u_module)) return walk_here();
  return m_node_plans->add_nodes(u_module, KEP_RG_NODE_PLANS::WALK::INSIDE_BLC, nullptr, walk_here);
}

bool KEP_RG_BUILD::walk_inside_blc(KEP_UNFOLDED_MODULE u_module, bool debug) {
  bool result = false;
  for (const KEP_UNFOLDED_INSTANCE& u_instance : u_module.iter_instances()) {
    const KEP_INSTANCE* instance = u_instance.m_object;
    CREATE_TYPE type = CREATE_TYPE_INSIDE_BLC;
    if (instance->is_blc_atom())
      type = CREATE_TYPE_BLC_ATOM;
    else if (instance->has_trait(KEP_INSTANCE::TRAIT::TRAIT_0))
      type = CREATE_TYPE_BLC_TRAIT;
    if (m_dbg_u_instance && m_dbg_u_instance == u_instance)
      debug = true; // and stays so, as in add_nodes_module
    if (debug) {
      std::ostream& out = KEP_RG_REPORT::debug();
      out << "-------------------------------------------" << std::endl;
      out << " u_instance: " << u_instance.get_name(NAME_STYLE) << std::endl;
      out << "create_type: " << static_cast<int>(type) << std::endl;
    }
    for (const KEP_UNFOLDED_INST_PORT& uip : u_instance.iter_inst_ports())
      if (!m_primitives.is_removed_port(uip.m_object->get_port()))
        result |= create_node(uip, type, debug);
      else
        count_without_node(WITHOUT_NODE::REMOVED, uip);
    result |= add_nodes_inside_blc(get_master_for_routing(u_instance), debug);
  }
  return result;
}

bool KEP_RG_BUILD::add_nodes_inserted(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE*, KEP_MODULE* master,
                                      bool debug) {
  const KEP_RG_PRIMITIVES::PORT_SET* inserted = m_primitives.get_inserted_ports(master);
  if (!inserted) return false;
  bool result = false;
  for (const KEP_PORT* port : *inserted)
    if (port->get_parent()->get_view_type() != KEP_VIEW_TYPE::BLC)
      result |= create_node(u_instance.get_unfolded_inst_port_by_index(port->get_index()),
                            CREATE_TYPE_INSERTED, debug);
  return result;
}

bool KEP_RG_BUILD::add_nodes_from_boundary_nodes(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE*,
                                                 KEP_MODULE* master, bool debug) {
  return create_nodes_of_ports(m_primitives.get_module_to_ports(master), u_instance, CREATE_TYPE_PORT, debug);
}

bool KEP_RG_BUILD::create_node(KEP_UNFOLDED_INST_PORT uip, CREATE_TYPE type, bool debug) {
  if (const std::optional<WITHOUT_NODE> exclusion = find_exclusion(uip)) {
    ++m_node_stats.m_eliminated_num_nodes;
    if (type != CREATE_TYPE_INSERTED) count_without_node(*exclusion, uip);
    return true;
  }
  if (!m_disable_node_allocation) {
    if (m_node_cache.find_routing_node(uip)) {
      ++m_node_stats.m_repeated_num_nodes;
      return false;
    }
    m_node_cache.add_routing_node(KEP_ROUTING_BUILDER_NODE::allocate(m_builder_graph.get(), uip));
  } else if (debug) {
    m_dbg_uips.push_back(uip);
  }
  constexpr std::uint32_t STEP = KEP_RG_NODE_PLANS::NODES_PER_STEP;
  if (++m_node_stats.m_created_num_nodes % STEP == 0 && m_node_progress) m_node_progress->add(STEP);
  if (type == CREATE_TYPE_INSERTED) ++m_node_stats.m_created_num_nodes_inserted;
  if (type >= CREATE_TYPE_BLC_PORT) ++m_node_stats.m_created_num_nodes_blc;
  return true;
}

void KEP_RG_BUILD::create_node(KEP_PORT* port, bool debug) {
  if (!m_disable_node_allocation) {
    if (m_node_cache.find_routing_node(port)) {
      ++m_node_stats.m_repeated_num_nodes;
      return;
    }
    m_node_cache.add_routing_node(KEP_ROUTING_BUILDER_NODE::allocate(m_builder_graph.get(), port));
  } else if (debug) {
    m_dbg_ports.push_back(port);
  }
  ++m_node_stats.m_created_num_nodes_boundary;
}
