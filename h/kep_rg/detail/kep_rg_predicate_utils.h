#pragma once

#include "kep/kep_db.h"
#include "kep/kep_flat_utils.h"
#include "kep_rg/kep_rg_primitives.h"

#include <unordered_map>
#include <vector>

/// What the two predicates of the leaf search share. Included by their headers alone. All of it is const,
/// takes no lock, and is total on empty values.
namespace KEP_RG_PREDICATE_UTILS {

/// The module of a uip in the first view of the rank that has one, else null.
inline KEP_MODULE* find_master(const KEP_UNFOLDED_INST_PORT& uip, const KEP_VIEW_TYPE_RANK& rank) {
  return uip ? rank.find_view(uip.m_object->get_inst()->get_module()) : nullptr;
}

inline bool is_transparent_tunnel(const KEP_RG_PRIMITIVES& primitives, const KEP_MODULE* module,
                                  const KEP_GET_LEAF_PARAMS& params) {
  return params.m_honour_tunnels &&
         primitives.get_tunnel_type(module) == KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH;
}

/// The classification of the modules. Of several types that fit a module the first holds.
template <class MODULE_TYPE>
std::unordered_map<const KEP_MODULE*, MODULE_TYPE> classify_modules(const KEP_DB& db,
                                                                    const KEP_RG_PRIMITIVES& primitives) {
  std::unordered_map<const KEP_MODULE*, MODULE_TYPE> types;
  for (const KEP_MODULE* module : primitives.iter_stop_modules())
    types.emplace(module, MODULE_TYPE::STOP_MODULE);
  for (const KEP_INSTANCE* instance : primitives.iter_stop_instances())
    types.emplace(instance->get_module(), MODULE_TYPE::STOP_INSTANCE_MASTER);
  for (const KEP_MODULE* module : db.iter_modules(true)) {
    if (!module->has_trait(KEP_MODULE::TRAIT::IP_ROOT)) continue;
    if (!primitives.is_routing_root(module))
      types.emplace(module, MODULE_TYPE::IP_ROOT_NOT_ROUTED);
    else if (module->get_view_type() == KEP_VIEW_TYPE::BLC)
      types.emplace(module, MODULE_TYPE::BLC_ROUTING_ROOT);
    else
      types.emplace(module, MODULE_TYPE::ROUTING_ROOT);
  }
  return types;
}

/// The same by module number, for look-ups without hashing.
template <class MODULE_TYPE>
std::vector<MODULE_TYPE> order_by_number(const KEP_DB& db,
                                         const std::unordered_map<const KEP_MODULE*, MODULE_TYPE>& types) {
  std::vector<MODULE_TYPE> by_number(db.get_unfolding().get_modules().size(), MODULE_TYPE::UNCLASSIFIED);
  for (const auto& [module, type] : types)
    by_number[module->get_number()] = type;
  return by_number;
}

template <class MODULE_TYPE>
MODULE_TYPE get_module_type(const std::vector<MODULE_TYPE>& by_number, const KEP_MODULE* module) {
  return module && module->get_number() < by_number.size() ? by_number[module->get_number()]
                                                           : MODULE_TYPE::UNCLASSIFIED;
}

/// Two outputs on one net, the second being the point on which the caller stands.
inline bool is_output_on_same_net(const KEP_UNFOLDED_INST_PORT& uip,
                                  const KEP_UNFOLDED_INST_PORT& exclude_uip) {
  return uip && exclude_uip && uip.m_object->is_output() && exclude_uip.m_object->is_output() &&
         uip.get_unfolded_net() == exclude_uip.get_unfolded_net();
}

/// A BLC bidirectional buffer counts only for a walk that came to its net from the point on which the caller
/// stands; any other port is passed over when it is a second output on that point's net.
inline bool is_ignore_uip(const KEP_RG_PRIMITIVES& primitives, const KEP_UNFOLDED_INST_PORT& uip,
                          const KEP_UNFOLDED_INST_PORT& exclude_uip, const KEP_UNFOLDED_PORT& exclude_port,
                          const KEP_UNFOLDED_INST_PORT& cur_uip, const KEP_UNFOLDED_PORT& cur_port) {
  const KEP_MODULE* module = uip ? uip.m_object->get_inst()->get_module() : nullptr;
  if (!primitives.is_blc_bidir_buffer(module)) return is_output_on_same_net(uip, exclude_uip);
  if (cur_uip && !(cur_uip == exclude_uip)) return true;
  return cur_port && !(cur_port == exclude_port);
}

inline bool should_trace_thru_fanout(const KEP_UNFOLDED_INST_PORT& uip) {
  return uip && (uip.m_object->is_output() || uip.m_object->is_bidir());
}

/// The part of get_trace_thru_outputs for ports at which some path begins.
KEP_RG_EXPORT void append_outputs_of_paths(const KEP_RG_PRIMITIVES& primitives,
                                           const KEP_LEGACY_API& legacy_api,
                                           const KEP_UNFOLDED_INST_PORT& uip,
                                           std::vector<KEP_UNFOLDED_INST_PORT>& outputs);

/// The walk goes on from the uip by a flyover: its instance lies in a spare row, and no skip path begins
/// there.
KEP_RG_EXPORT bool takes_flyover(const KEP_RG_PRIMITIVES& primitives, const KEP_LEGACY_API& legacy_api,
                                 const KEP_UNFOLDED_INST_PORT& uip);

/// Appends where a skip path leads from the uip, or else a flyover if the instance lies in a spare row.
inline void get_trace_thru_outputs(const KEP_RG_PRIMITIVES& primitives, const KEP_LEGACY_API& legacy_api,
                                   const KEP_UNFOLDED_INST_PORT& uip,
                                   std::vector<KEP_UNFOLDED_INST_PORT>& outputs) {
  if (uip && primitives.begins_some_path(uip.m_object->get_port()))
    append_outputs_of_paths(primitives, legacy_api, uip, outputs);
}

} // namespace KEP_RG_PREDICATE_UTILS
