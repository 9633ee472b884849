#pragma once

#include "kep/kep_routing_builder.h"
#include "kep_report/kep_report_assert.h"
#include "kep_rg/detail/kep_rg_predicate.h"

/// Tells the leaf search where routing nodes are: a walk ends wherever one stands, and at the same leaves as
/// a build but for BLC routing roots (docs/glossary.md: predicate).
///
/// Base, lifetimes, threads and copies are as those of KEP_RG_INSTANCE_IS_PRIMITIVE; the node cache must be
/// complete and outlive the predicate.
class KEP_RG_EXPORT KEP_RG_TRACE_PREDICATE : public KEP_RG_PREDICATE<KEP_RG_TRACE_PREDICATE> {
  using BASE = KEP_RG_PREDICATE<KEP_RG_TRACE_PREDICATE>;
  friend BASE;

public:
  /// Without a node cache the finished graph of the database answers.
  KEP_RG_TRACE_PREDICATE(const KEP_DB* db, const KEP_RG_PRIMITIVES& primitives,
                         const KEP_VIEW_TYPE_RANK& view_type_rank,
                         const KEP_ROUTING_BUILDER_NODE_CACHE* node_cache);

  using BASE::is_leaf;
  /// Without tunnels every output ends the walk, too.
  bool is_leaf(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS& params) const {
    if (!params.m_honour_tunnels && uip && uip.m_object->is_output()) return true;
    return BASE::is_leaf(uip, params);
  }

  /// A plain node stands at the uip.
  bool is_terminating_uip(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS& params) const {
    if (!uip || is_transparent_tunnel(find_master(uip), params)) return false;
    if (m_node_cache) return m_node_cache->find_routing_node(uip) != nullptr;
    return static_cast<bool>(KEP_ROUTING::NODE(uip, false));
  }

  bool is_ignore_port(const KEP_UNFOLDED_PORT& port) const { return port && port.m_object->is_input(); }
  using BASE::is_ignore_uip;
  /// Must not be reached: the search knows where it stands and asks the long form.
  bool is_ignore_uip(const KEP_UNFOLDED_INST_PORT&, const KEP_UNFOLDED_INST_PORT&) const {
    KEP_ASSERT_EXPLAIN(false, "Reached wrong is_ignore_uip routine");
    return false;
  }

protected:
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
  const KEP_ROUTING_BUILDER_NODE_CACHE* m_node_cache;
};
