#pragma once

/// @file
/// Where walks end while a graph is built.

#include "kep_report/kep_report_assert.h"
#include "kep_rg/detail/kep_rg_predicate_utils.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

/// Tells the leaf search what is a routing primitive while a graph is built: a walk ends at the leaves of the
/// description and at inserted ports (docs/glossary.md: predicate).
///
/// The database and the tables must outlive the predicate. Once it is made any number of threads may ask;
/// nothing is written, and the common answers take a few loads. A copy holds a classification of its own, so
/// a search, which copies its predicate, is made once and not for every walk.
class KEP_RG_EXPORT KEP_RG_INSTANCE_IS_PRIMITIVE {
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

  /// The rank picks the master of an unfolded instance wherever the predicate looks at a module.
  KEP_RG_INSTANCE_IS_PRIMITIVE(const KEP_DB* db, const KEP_RG_PRIMITIVES& primitives,
                               const KEP_VIEW_TYPE_RANK& view_type_rank);

  /// UNCLASSIFIED for null.
  MODULE_TYPE get_module_type(const KEP_MODULE* module) const {
    return KEP_RG_PREDICATE_UTILS::get_module_type(m_module_types_by_number, module);
  }

  ///@{
  /// A walk ends at the module, or at the uip because of its master.
  bool is_leaf(const KEP_MODULE* module, const KEP_GET_LEAF_PARAMS& params) const {
    return !KEP_RG_PREDICATE_UTILS::is_transparent_tunnel(*m_primitives, module, params) &&
           is_leaf_type(get_module_type(module));
  }
  bool is_leaf(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS& params) const {
    return is_leaf(KEP_RG_PREDICATE_UTILS::find_master(uip, m_view_type_rank), params);
  }
  ///@}

  /// The description inserts a node at the port.
  bool is_inserted_node(const KEP_PORT* port) const { return m_primitives->has_inserted_port(port); }
  /// A port inserted in the master, on whichever instance, or an output of a skip mux on an exception
  /// instance.
  bool is_inserted_node(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS& params) const {
    if (!uip) return false;
    if (!is_inserted_node(uip.m_object->get_port()) && !m_primitives->is_inserted_inst_port(uip.m_object))
      return false; // nearly always, so it is asked before the tunnel
    return !KEP_RG_PREDICATE_UTILS::is_transparent_tunnel(
        *m_primitives, KEP_RG_PREDICATE_UTILS::find_master(uip, m_view_type_rank), params);
  }
  /// A walk ends here, and the uip is a result: a node is inserted.
  bool is_terminating_uip(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS& params) const {
    return is_inserted_node(uip, params);
  }

  /// None is.
  bool is_ignore_port(const KEP_UNFOLDED_PORT&) const { return false; }
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
  /// These outputs are behind a flyover: the instance lies in a spare row, and no skip path begins there.
  bool takes_flyover(const KEP_UNFOLDED_INST_PORT& uip) const {
    return KEP_RG_PREDICATE_UTILS::takes_flyover(*m_primitives, *m_legacy_api, uip);
  }

protected:
  /// A walk ends at modules of that type.
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

private:
  friend class KEP_RG_TEST_ACCESS;

  const KEP_RG_PRIMITIVES* m_primitives;
  KEP_LEGACY_API* m_legacy_api;
  std::unordered_map<const KEP_MODULE*, MODULE_TYPE> m_module_types;
  KEP_VIEW_TYPE_RANK m_view_type_rank;
  std::vector<MODULE_TYPE> m_module_types_by_number; // the same, for look-ups without hashing
};
