// Outputs of muxes that become no node: counting them while nodes are made, and explaining a device on which
// there is no node at all.

#include "kep_rg/common/kep_rg_report.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/nodes/kep_rg_mux_outputs.h"

#include <string>

using KEP_RG_REPORT::NAME_STYLE;
using MODULE_TYPE = KEP_RG_INSTANCE_IS_PRIMITIVE::MODULE_TYPE;

/// An inserted port may have its node already, whatever else is said of it.
void KEP_RG_BUILD::count_without_node(WITHOUT_NODE reason, const KEP_UNFOLDED_INST_PORT& uip) {
  const KEP_PORT* port = uip.get_unfolded_port(m_view_type_rank).m_object;
  if (!m_routing_primitive_cache->is_arc_output(port)) return;
  if (m_primitives.has_inserted_port(port) && m_node_cache.find_routing_node(uip)) return;
  KEP_RG_OUTPUTS_WITHOUT_NODE::COUNT& count =
      m_outputs_without_node.m_counts[static_cast<std::size_t>(reason)];
  if (count.m_number++ == 0) count.m_example = uip.get_name(NAME_STYLE);
}

void KEP_RG_BUILD::count_without_node(WITHOUT_NODE reason, const std::vector<const KEP_PORT*>& outputs,
                                      const KEP_UNFOLDED_INSTANCE& u_instance) {
  for (const KEP_PORT* port : outputs)
    count_without_node(reason, u_instance.get_unfolded_inst_port_by_index(port->get_index()));
}

void KEP_RG_BUILD::count_below_without_node(WITHOUT_NODE reason, const KEP_UNFOLDED_INSTANCE& u_instance,
                                            const KEP_MODULE* master) {
  if (master->get_num_instances() == 0) return; // most muxes
  const std::uint64_t number = m_mux_outputs->get_num_below(master, m_view_type_rank);
  if (number == 0) return;
  KEP_RG_OUTPUTS_WITHOUT_NODE::COUNT& count =
      m_outputs_without_node.m_counts[static_cast<std::size_t>(reason)];
  if (count.m_number == 0) count.m_example = u_instance.get_name(NAME_STYLE);
  count.m_number += number;
}

void KEP_RG_BUILD::count_all_without_node(WITHOUT_NODE reason, const KEP_UNFOLDED_INSTANCE& u_instance,
                                          const KEP_MODULE* master) {
  count_without_node(reason, m_mux_outputs->get(master).m_listed, u_instance);
  count_without_node(reason, m_mux_outputs->get(master).m_unlisted, u_instance);
  count_below_without_node(reason, u_instance, master);
}

/// What the walk does not come to at an instance of that type.
void KEP_RG_BUILD::count_unseen(const KEP_UNFOLDED_INSTANCE& u_instance, const KEP_MODULE* master,
                                MODULE_TYPE type) {
  const bool is_not_routed = type == MODULE_TYPE::IP_ROOT_NOT_ROUTED;
  if (is_not_routed && !u_instance.m_object->get_inst_header())
    return count_all_without_node(WITHOUT_NODE::ROOT_NOT_ROUTED, u_instance, master);
  // A module whose arcs are all skip paths has no list of ports.
  count_without_node(WITHOUT_NODE::SKIP, m_mux_outputs->get(master).m_unlisted, u_instance);
  if (is_not_routed)
    count_below_without_node(WITHOUT_NODE::ROOT_NOT_ROUTED, u_instance, master);
  else if (type == MODULE_TYPE::STOP_MODULE || type == MODULE_TYPE::STOP_INSTANCE_MASTER)
    count_below_without_node(WITHOUT_NODE::INSIDE_MUX, u_instance, master);
}
