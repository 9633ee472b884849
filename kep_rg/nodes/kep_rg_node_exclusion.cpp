// Which ports become no node although their module has them: unconnected ones, those in spare rows, those
// that a BLC leaves out and those on skip paths.

#include "kep_rg/kep_rg_build.h"
#include "kep_rg/nodes/kep_rg_node_plans.h"

/// Why the port must not become a node, if so; the first reason that holds.
std::optional<KEP_RG_BUILD::WITHOUT_NODE>
KEP_RG_BUILD::find_exclusion(const KEP_UNFOLDED_INST_PORT& uip) const {
  if (!uip.get_unfolded_net() && !uip.get_unfolded_port(m_view_type_rank).get_unfolded_net())
    return WITHOUT_NODE::UNCONNECTED;
  if (is_excluded_in_spare_row(uip)) return WITHOUT_NODE::SPARE_ROW;
  const KEP_INSTANCE* instance = uip.m_object->get_inst();
  const KEP_MODULE* master = m_view_type_rank.find_view(instance->get_module());
  if (master && master->get_view_type() == KEP_VIEW_TYPE::BLC &&
      master->has_trait(KEP_MODULE::TRAIT::TRAIT_0) &&
      (uip.m_object->is_input() || instance->get_blc_is_inserted_buffer()))
    return WITHOUT_NODE::BLC_TRAIT;
  if (m_routing_primitive_cache->has_routing_muxes(master) && is_on_skip_arc(uip)) return WITHOUT_NODE::SKIP;
  return std::nullopt;
}

/// In a spare row only a wire type with bit 1 in its flags keeps a port.
bool KEP_RG_BUILD::is_excluded_in_spare_row(const KEP_UNFOLDED_INST_PORT& uip) const {
  constexpr unsigned char STAYS_IN_SPARE_ROW = 2;
  if (!m_legacy_api->has_instance_attributes()) return false;
  const KEP_UNFOLDED_INSTANCE root = uip.get_unfolded_instance().get_ip_root_instance();
  if (!root) return false;
  if (m_node_plans && m_legacy_api->has_attributes_somewhere(root.m_object)) m_node_plans->ask();
  const KEP_UNFOLDED_INSTANCE_ATTRIBUTES* attributes = m_legacy_api->get_attributes(root);
  if (!attributes || !attributes->is_spare_row()) return false;
  const KEP_WIRE_TYPE* type = m_primitives.find_wire_type(uip);
  return !type || !(type->get_flags() & STAYS_IN_SPARE_ROW);
}

/// Whether what stands at the instance lies in a spare row hangs on the place.
bool KEP_RG_BUILD::asks_for_spare_row(const KEP_UNFOLDED_INSTANCE& u_instance) const {
  if (!m_legacy_api->has_instance_attributes()) return false;
  const KEP_UNFOLDED_INSTANCE root = u_instance.get_ip_root_instance();
  return root && m_legacy_api->has_attributes_somewhere(root.m_object);
}

/// The port lies on an arc that is a skip path on this very instance; a search goes through such an arc.
bool KEP_RG_BUILD::is_on_skip_arc(const KEP_UNFOLDED_INST_PORT& uip) const {
  const KEP_PORT* port = uip.get_unfolded_port(m_view_type_rank).m_object;
  KEP_INSTANCE* instance = uip.m_object->get_inst();
  for (const auto* arcs :
       {m_routing_primitive_cache->find_arc_inputs(port), m_routing_primitive_cache->find_arc_outputs(port)})
    if (arcs)
      for (const KEP_ROUTING_ARC* arc : *arcs)
        if (arc->is_skip(instance)) return true;
  return false;
}
