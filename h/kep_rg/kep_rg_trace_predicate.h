#pragma once

/// @file
/// Where walks end while an edge is traced.

#include "kep/kep_routing_builder.h"
#include "kep_report/kep_report_assert.h"
#include "kep_rg/detail/kep_rg_predicate_utils.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

/// Tells the leaf search where routing nodes are: a walk ends wherever one stands, and at the same leaves as
/// a build but for BLC routing roots (docs/glossary.md: predicate).
///
/// Lifetimes, threads and copies are those of KEP_RG_INSTANCE_IS_PRIMITIVE; the node cache must be complete
/// and outlive the predicate.
class KEP_RG_EXPORT KEP_RG_TRACE_PREDICATE {
public:
  /// What a module is to a walk; of several that fit, the first.
  enum class MODULE_TYPE : std::uint32_t {
    STOP_MODULE = 0,          ///< a walk ends at its instances
    STOP_INSTANCE_MASTER = 1, ///< the master of a stop instance
    BLC_ROUTING_ROOT = 2,     ///< a routing root in the BLC view
    ROUTING_ROOT = 3,         ///< in any other view
    IP_ROOT_NOT_ROUTED = 4,   ///< an IP root that is no routing root
    UNCLASSIFIED = 5,         ///< everything else
  };

  /// Without a node cache the finished graph of the database answers.
  KEP_RG_TRACE_PREDICATE(const KEP_DB* db, const KEP_RG_PRIMITIVES& primitives,
                         const KEP_VIEW_TYPE_RANK& view_type_rank,
                         const KEP_ROUTING_BUILDER_NODE_CACHE* node_cache);

  /// UNCLASSIFIED for null.
  MODULE_TYPE get_module_type(const KEP_MODULE* module) const {
    return KEP_RG_PREDICATE_UTILS::get_module_type(m_module_types_by_number, module);
  }

  /// A walk ends at the module.
  bool is_leaf(const KEP_MODULE* module, const KEP_GET_LEAF_PARAMS& params) const {
    return !KEP_RG_PREDICATE_UTILS::is_transparent_tunnel(*m_primitives, module, params) &&
           is_leaf_type(get_module_type(module));
  }
  /// Without tunnels every output ends the walk, too.
  bool is_leaf(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS& params) const {
    if (!params.m_honour_tunnels && uip && uip.m_object->is_output()) return true;
    return is_leaf(KEP_RG_PREDICATE_UTILS::find_master(uip, m_view_type_rank), params);
  }

  /// A plain node stands at the uip.
  bool is_terminating_uip(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS& params) const {
    if (!uip) return false;
    if (KEP_RG_PREDICATE_UTILS::is_transparent_tunnel(
            *m_primitives, KEP_RG_PREDICATE_UTILS::find_master(uip, m_view_type_rank), params))
      return false;
    if (m_node_cache) return m_node_cache->find_routing_node(uip) != nullptr;
    return static_cast<bool>(KEP_ROUTING::NODE(uip, false));
  }

  /// Inputs are: a trace goes up through outputs alone.
  bool is_ignore_port(const KEP_UNFOLDED_PORT& port) const { return port && port.m_object->is_input(); }
  /// Must not be reached: the search knows where it stands and asks the form below.
  bool is_ignore_uip(const KEP_UNFOLDED_INST_PORT&, const KEP_UNFOLDED_INST_PORT&) const {
    KEP_ASSERT_EXPLAIN(false, "Reached wrong is_ignore_uip routine");
    return false;
  }
  /// The walk passes over the uip: a second output on the net on which the caller stands, or a BLC
  /// bidirectional buffer that the walk did not come to from there.
  bool is_ignore_uip(const KEP_UNFOLDED_INST_PORT& uip, const KEP_UNFOLDED_INST_PORT& exclude_uip,
                     const KEP_UNFOLDED_PORT& exclude_port, const KEP_UNFOLDED_INST_PORT& cur_uip,
                     const KEP_UNFOLDED_PORT& cur_port) const {
    return KEP_RG_PREDICATE_UTILS::is_ignore_uip(*m_primitives, uip, exclude_uip, exclude_port, cur_uip,
                                                 cur_port);
  }

  /// A walk that came out of a skip path or flyover here goes on: the uip is no input.
  bool should_trace_thru_fanout(const KEP_UNFOLDED_INST_PORT& uip) const {
    return KEP_RG_PREDICATE_UTILS::should_trace_thru_fanout(uip);
  }
  /// Appends where the walk goes on from the uip across skip paths and flyovers.
  void get_trace_thru_outputs(const KEP_UNFOLDED_INST_PORT& uip,
                              std::vector<KEP_UNFOLDED_INST_PORT>& outputs) const {
    KEP_RG_PREDICATE_UTILS::get_trace_thru_outputs(*m_primitives, *m_legacy_api, uip, outputs);
  }

protected:
  /// A walk ends at modules of that type.
  static bool is_leaf_type(MODULE_TYPE type) {
    switch (type) {
    case MODULE_TYPE::STOP_MODULE:
    case MODULE_TYPE::STOP_INSTANCE_MASTER:
      return true;
    case MODULE_TYPE::BLC_ROUTING_ROOT:
    case MODULE_TYPE::ROUTING_ROOT:
    case MODULE_TYPE::IP_ROOT_NOT_ROUTED:
    case MODULE_TYPE::UNCLASSIFIED:
      return false;
    }
    KEP_ASSERT(false);
    return false;
  }

private:
  const KEP_RG_PRIMITIVES* m_primitives;
  KEP_LEGACY_API* m_legacy_api;
  std::unordered_map<const KEP_MODULE*, MODULE_TYPE> m_module_types;
  KEP_VIEW_TYPE_RANK m_view_type_rank;
  const KEP_ROUTING_BUILDER_NODE_CACHE* m_node_cache;
  std::vector<MODULE_TYPE> m_module_types_by_number; // the same, for look-ups without hashing
};
