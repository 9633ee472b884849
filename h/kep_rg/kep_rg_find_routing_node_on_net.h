#pragma once

/// @file
/// From one node to the next along a plain wire.

#include "kep/kep_routing_graph.h"
#include "kep/kep_unfold_observer.h"
#include "kep_rg/kep_rg_export.h"

#include <unordered_set>

/// From one routing node the next one along a plain wire (docs/glossary.md): follows the nets through the
/// hierarchy for as long as each has only one way on. Of an inst port and a port on one net the inst port is
/// taken if it leads anywhere.
///
/// The observer is told of each point of the way, as WALK, and of the node at its end, as FOUND. An object
/// keeps no state between calls; threads may share one if the observer stands it.
class KEP_RG_EXPORT KEP_RG_FIND_ROUTING_NODE_ON_NET {
public:
  /// The rank, which must outlive the object, leads from an inst port into its master. The observer must not
  /// be null; a plain KEP_UNFOLD_OBSERVER does nothing.
  KEP_RG_FIND_ROUTING_NODE_ON_NET(const KEP_VIEW_TYPE_RANK& rank, KEP_UNFOLD_OBSERVER* observer)
      : m_view_type_rank(rank), m_observer(observer) {}

  /// From a node at a uip, by the net outside. The null node where the wire branches, ends or comes back to a
  /// net of its own, and for a boundary node.
  KEP_ROUTING::NODE find_routing_node(const KEP_ROUTING::NODE& node) const;

private:
  using NETS = std::unordered_set<KEP_UNFOLDED_NET>;
  /// Where the way comes to a net: one of port and uip is empty, the other is no way on.
  struct POINT {
    KEP_UNFOLDED_PORT m_port;
    KEP_UNFOLDED_INST_PORT m_uip;
    KEP_UNFOLDED_NET m_net;
  };

  KEP_ROUTING::NODE find_routing_node_sub(KEP_UNFOLDED_PORT port, KEP_UNFOLDED_INST_PORT uip,
                                          KEP_UNFOLDED_NET net, NETS& visited) const;
  bool follow_inst_port(const KEP_UNFOLDED_INST_PORT& other, POINT& at, KEP_ROUTING::NODE& found) const;
  bool follow_port(const KEP_UNFOLDED_PORT& other, const NETS& visited, POINT& at,
                   KEP_ROUTING::NODE& found) const;

  const KEP_VIEW_TYPE_RANK& m_view_type_rank;
  KEP_UNFOLD_OBSERVER* m_observer;
};
