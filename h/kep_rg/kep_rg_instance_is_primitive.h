#pragma once

#include "kep_report/kep_report_assert.h"
#include "kep_rg/detail/kep_rg_predicate.h"

/// Tells the leaf search what is a routing primitive while a graph is built: a walk ends at the leaves of the
/// description and at inserted ports (docs/glossary.md: predicate). What it answers as the predicate of
/// traces does stands in its base: the types of modules, `is_leaf`, `is_ignore_uip`,
/// `should_trace_thru_fanout` and `get_trace_thru_outputs`.
///
/// The database and the tables must outlive the predicate. Once it is made any number of threads may ask;
/// nothing is written, and the common answers take a few loads. A copy holds a classification of its own, so
/// a search, which copies its predicate, is made once and not for every walk.
class KEP_RG_EXPORT KEP_RG_INSTANCE_IS_PRIMITIVE : public KEP_RG_PREDICATE<KEP_RG_INSTANCE_IS_PRIMITIVE> {
  using BASE = KEP_RG_PREDICATE<KEP_RG_INSTANCE_IS_PRIMITIVE>;
  friend BASE;

public:
  /// The rank picks the master of an unfolded instance wherever the predicate looks at a module.
  KEP_RG_INSTANCE_IS_PRIMITIVE(const KEP_DB* db, const KEP_RG_PRIMITIVES& primitives,
                               const KEP_VIEW_TYPE_RANK& view_type_rank);

  bool is_inserted_node(const KEP_PORT* port) const { return m_primitives->has_inserted_port(port); }
  /// A port inserted in the master, on whichever instance, or an output of a skip mux on an exception
  /// instance.
  bool is_inserted_node(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS& params) const {
    if (!uip) return false;
    if (!is_inserted_node(uip.m_object->get_port()) && !m_primitives->is_inserted_inst_port(uip.m_object))
      return false; // nearly always, so it is asked before the tunnel
    return !is_transparent_tunnel(find_master(uip), params);
  }
  bool is_terminating_uip(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS& params) const {
    return is_inserted_node(uip, params);
  }

  bool is_ignore_port(const KEP_UNFOLDED_PORT&) const { return false; }
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
    case MODULE_TYPE::BLC_ROUTING_ROOT:
      return true;
    case MODULE_TYPE::ROUTING_ROOT:
    case MODULE_TYPE::IP_ROOT_NOT_ROUTED:
    case MODULE_TYPE::UNCLASSIFIED:
      return false;
    }
    KEP_ASSERT(false);
    return false;
  }
};
