#pragma once

#include "kep/kep_db.h"
#include "kep_rg/proof/kep_rg_proof_facts.h"
#include "kep_rg/proof/kep_rg_proof_nodes.h"

#include <cstdint>
#include <unordered_set>
#include <vector>

/// How a signal goes on from a net, as the description says it: the proof's own reading of the model.
class KEP_RG_PROOF_STEPS {
public:
  /// How a connection is followed. In a BLC it ends at routing nodes, elsewhere at inserted ports and stop
  /// modules.
  struct MODE {
    bool m_in_blc = false;
    bool m_through_tunnels = false; ///< instances of tunnel type 2 stop nothing
  };

  /// The point at which a connection begins, when the net at hand is the one that it begins on. One of the
  /// two is empty.
  struct ORIGIN {
    KEP_UNFOLDED_INST_PORT m_uip;
    KEP_UNFOLDED_PORT m_port;
  };

  /// A net that the signal reaches in one step.
  struct STEP {
    KEP_UNFOLDED_NET m_net;
    KEP_UNFOLDED_INST_PORT m_uip; ///< the point on that net by which it comes in,
    KEP_UNFOLDED_PORT m_port;     ///< or this one
  };

  /// Where a signal on a net gets to; appended to by each call.
  struct REACHED {
    std::vector<KEP_UNFOLDED_INST_PORT> m_ends; ///< where the connection ends
    std::vector<KEP_UNFOLDED_PORT> m_top_ports; ///< where it leaves the device
    std::vector<STEP> m_steps;                  ///< where it goes on, in the order of the net
    /// A net is entered at a two-way port of the instance that was just crossed, at which it could end or go
    /// back in. Whether it does depends on whether the net is entered there or elsewhere first.
    bool m_order_matters = false;
    void clear() {
      m_ends.clear();
      m_top_ports.clear();
      m_steps.clear();
      m_order_matters = false;
    }
  };

  /// Both must outlive the object.
  KEP_RG_PROOF_STEPS(const KEP_RG_PROOF_FACTS& facts, const KEP_RG_PROOF_NODES& nodes);

  /// From a net that was entered somewhere, in the ordinary mode.
  void expand(const KEP_UNFOLDED_NET& net, REACHED& reached) const;
  /// From a net in any mode, entered at the point of `entry`; with an origin where it is the first net.
  void expand(const STEP& entry, const ORIGIN* origin, const MODE& mode, REACHED& reached) const;
  /// Comes to a uip from the far side of its instance: an end, or a step to its net.
  void enter(const KEP_UNFOLDED_INST_PORT& uip, const MODE& mode, REACHED& reached) const;
  /// The ordinary mode reads such a net differently where a connection begins.
  bool has_bidir_buffer(const KEP_NET* net) const { return m_buffer_nets.contains(net); }

  const KEP_RG_PROOF_FACTS& get_facts() const { return m_facts; }
  const KEP_RG_PROOF_NODES& get_nodes() const { return m_nodes; }
  KEP_ROUTING_PRIMITIVE_TUNNEL get_tunnel_type(const KEP_UNFOLDED_INST_PORT& uip) const {
    return m_facts.get_store().get_tunnel_type(uip.m_object->get_inst()->get_module());
  }

private:
  /// What a point means to a signal that comes along its net.
  enum class POINT : unsigned char {
    PASSED_OVER, ///< an output, or a two-way buffer of a BLC away from the origin
    NODE,        ///< an end, whatever way the signal came
    LEAF,        ///< an end, but for a signal that just came out of it
    CROSSED,     ///< goes on behind a skip path or a flyover
    ENTERED,     ///< goes on inside the instance
    VARIES,      ///< depends on the instance; only in the table
  };

  void tabulate_points();
  bool is_end(const KEP_UNFOLDED_INST_PORT& uip, const MODE& mode) const;
  bool is_stopping(const KEP_MODULE* plain_master, const MODE& mode) const;
  bool is_transparent(const KEP_MODULE* plain_master, const MODE& mode) const;
  POINT read_point(const KEP_UNFOLDED_INST_PORT& uip, const ORIGIN* origin, const MODE& mode) const;
  POINT read_point(const KEP_UNFOLDED_INST_PORT& uip) const;
  bool append_crossing(const KEP_UNFOLDED_INST_PORT& uip, const MODE& mode, REACHED& reached) const;
  void go_on(POINT point, const KEP_UNFOLDED_INST_PORT& uip, const MODE& mode, REACHED& reached) const;
  void leave_module(const KEP_UNFOLDED_PORT& port, const MODE& mode, REACHED& reached) const;
  template <class VISIT>
  bool visit_crossing(const KEP_UNFOLDED_INST_PORT& uip, VISIT visit) const;

  const KEP_RG_PROOF_FACTS& m_facts;
  const KEP_RG_PROOF_NODES& m_nodes;
  KEP_VIEW_TYPE_RANK m_rank;
  std::vector<POINT> m_points; // by port number: an inst port away from the origin, in the ordinary mode
  std::unordered_set<const KEP_NET*> m_buffer_nets;
};
