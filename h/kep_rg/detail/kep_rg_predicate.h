#pragma once

#include "kep/kep_db.h"
#include "kep/kep_flat_utils.h"
#include "kep_rg/kep_rg_primitives.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

/// Where a walk goes on from a uip across the instance: appends the outputs of its skip paths or else, if the
/// instance lies in a spare row, that of its flyover; and whether it is a flyover that is taken.
KEP_RG_EXPORT void kep_rg_append_outputs_of_paths(const KEP_RG_PRIMITIVES& primitives,
                                                  const KEP_LEGACY_API& legacy_api,
                                                  const KEP_UNFOLDED_INST_PORT& uip,
                                                  std::vector<KEP_UNFOLDED_INST_PORT>& outputs);
KEP_RG_EXPORT bool kep_rg_takes_flyover(const KEP_RG_PRIMITIVES& primitives, const KEP_LEGACY_API& legacy_api,
                                        const KEP_UNFOLDED_INST_PORT& uip);

/// What the two predicates of the leaf search answer alike. `PREDICATE` is the one that derives from it; it
/// says by `is_leaf_type` which types of modules are leaves. Nothing is virtual: a search asks at every step,
/// and every answer is to be inlined. All of it is const, takes no lock, and is total on empty values.
template <class PREDICATE>
class KEP_RG_PREDICATE {
public:
  enum class MODULE_TYPE : std::uint32_t {
    STOP_MODULE = 0,
    STOP_INSTANCE_MASTER = 1, ///< the master of a stop instance
    BLC_ROUTING_ROOT = 2,
    ROUTING_ROOT = 3, ///< in any other view
    IP_ROOT_NOT_ROUTED = 4,
    UNCLASSIFIED = 5, ///< everything else
  };

  MODULE_TYPE get_module_type(const KEP_MODULE* module) const {
    return module && module->get_number() < m_module_types_by_number.size()
               ? m_module_types_by_number[module->get_number()]
               : MODULE_TYPE::UNCLASSIFIED;
  }

  bool is_leaf(const KEP_MODULE* module, const KEP_GET_LEAF_PARAMS& params) const {
    return !is_transparent_tunnel(module, params) && PREDICATE::is_leaf_type(get_module_type(module));
  }
  bool is_leaf(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS& params) const {
    return is_leaf(find_master(uip), params);
  }

  /// A BLC bidirectional buffer counts only for a walk that came to its net from the point on which the
  /// caller stands; any other port is passed over when it is a second output on that point's net.
  bool is_ignore_uip(const KEP_UNFOLDED_INST_PORT& uip, const KEP_UNFOLDED_INST_PORT& exclude_uip,
                     const KEP_UNFOLDED_PORT& exclude_port, const KEP_UNFOLDED_INST_PORT& cur_uip,
                     const KEP_UNFOLDED_PORT& cur_port) const {
    const KEP_MODULE* module = uip ? uip.m_object->get_inst()->get_module() : nullptr;
    if (!m_primitives->is_blc_bidir_buffer(module)) return is_output_on_same_net(uip, exclude_uip);
    if (cur_uip && !(cur_uip == exclude_uip)) return true;
    return cur_port && !(cur_port == exclude_port);
  }

  bool should_trace_thru_fanout(const KEP_UNFOLDED_INST_PORT& uip) const {
    return uip && (uip.m_object->is_output() || uip.m_object->is_bidir());
  }
  /// Appends where the walk goes on from the uip across skip paths and flyovers.
  void get_trace_thru_outputs(const KEP_UNFOLDED_INST_PORT& uip,
                              std::vector<KEP_UNFOLDED_INST_PORT>& outputs) const {
    if (uip && m_primitives->begins_some_path(uip.m_object->get_port()))
      kep_rg_append_outputs_of_paths(*m_primitives, *m_legacy_api, uip, outputs);
  }
  /// These outputs are behind a flyover: the instance lies in a spare row, and no skip path begins there.
  bool takes_flyover(const KEP_UNFOLDED_INST_PORT& uip) const {
    return kep_rg_takes_flyover(*m_primitives, *m_legacy_api, uip);
  }

private:
  friend PREDICATE;
  friend class KEP_RG_TEST_ACCESS;

  KEP_RG_PREDICATE(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives, const KEP_VIEW_TYPE_RANK& rank)
      : m_primitives(&primitives), m_legacy_api(db.get_legacy_api()), m_view_type_rank(rank),
        m_module_types_by_number(db.get_unfolding().get_modules().size(), MODULE_TYPE::UNCLASSIFIED) {
    classify_modules(db);
    for (const auto& [module, type] : m_module_types)
      m_module_types_by_number[module->get_number()] = type;
  }

  /// Of several types that fit a module the first holds.
  void classify_modules(const KEP_DB& db) {
    for (const KEP_MODULE* module : m_primitives->iter_stop_modules())
      m_module_types.emplace(module, MODULE_TYPE::STOP_MODULE);
    for (const KEP_INSTANCE* instance : m_primitives->iter_stop_instances())
      m_module_types.emplace(instance->get_module(), MODULE_TYPE::STOP_INSTANCE_MASTER);
    for (const KEP_MODULE* module : db.iter_modules(true)) {
      if (!module->has_trait(KEP_MODULE::TRAIT::IP_ROOT)) continue;
      if (!m_primitives->is_routing_root(module))
        m_module_types.emplace(module, MODULE_TYPE::IP_ROOT_NOT_ROUTED);
      else if (module->get_view_type() == KEP_VIEW_TYPE::BLC)
        m_module_types.emplace(module, MODULE_TYPE::BLC_ROUTING_ROOT);
      else
        m_module_types.emplace(module, MODULE_TYPE::ROUTING_ROOT);
    }
  }

  /// The module of a uip in the first view of the rank that has one, else null.
  KEP_MODULE* find_master(const KEP_UNFOLDED_INST_PORT& uip) const {
    return uip ? m_view_type_rank.find_view(uip.m_object->get_inst()->get_module()) : nullptr;
  }
  bool is_transparent_tunnel(const KEP_MODULE* module, const KEP_GET_LEAF_PARAMS& params) const {
    return params.m_honour_tunnels &&
           m_primitives->get_tunnel_type(module) == KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH;
  }
  /// Two outputs on one net, the second being the point on which the caller stands.
  static bool is_output_on_same_net(const KEP_UNFOLDED_INST_PORT& uip,
                                    const KEP_UNFOLDED_INST_PORT& exclude_uip) {
    return uip && exclude_uip && uip.m_object->is_output() && exclude_uip.m_object->is_output() &&
           uip.get_unfolded_net() == exclude_uip.get_unfolded_net();
  }

  const KEP_RG_PRIMITIVES* m_primitives;
  KEP_LEGACY_API* m_legacy_api;
  std::unordered_map<const KEP_MODULE*, MODULE_TYPE> m_module_types; // without the unclassified
  KEP_VIEW_TYPE_RANK m_view_type_rank;
  std::vector<MODULE_TYPE> m_module_types_by_number; // of all modules, for look-ups without hashing
};
