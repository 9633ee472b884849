#pragma once

/// @file
/// Whoever wants to see a walk over the unfolded model.

#include "kep/kep_unfolded.h"

/// The base class through which a walk over the unfolded model tells what it does (docs/verification.md lists
/// what the points of a walk are). This one does nothing.
class KEP_EXPORT KEP_UNFOLD_OBSERVER {
public:
  /// What a point is to the walk.
  enum class VISIT_TYPE : int {
    START = 1,        ///< the node from which the walk starts
    TARGET = 2,       ///< where a fanout ends, or would end if a node stood there
    WALK = 3,         ///< a point on the way along a plain wire
    FOUND = 4,        ///< the node that such a way leads to
    MUX_INPUT = 5,    ///< a result that is an input of a mux
    MUX_OUTPUT = 6,   ///< an output of that mux
    SKIP = 8,         ///< the walk goes on through skip paths of this uip
    TERMINATING = 10, ///< a terminating point, which is a result
    END = 11,         ///< the walk ends here
    SEARCH = 12,      ///< the start of a search
    CROSS = 13,       ///< the walk crosses the hierarchy here
  };

  virtual ~KEP_UNFOLD_OBSERVER();
  /// No walk follows: what was seen can be written out.
  virtual void close();
  ///@{
  /// The search from one uip begins, and ends.
  virtual void start_uip(const KEP_UNFOLDED_INST_PORT& uip);
  virtual void finish_uip();
  ///@}
  /// A net is walked, for the first time in its search.
  virtual void start_net(const KEP_UNFOLDED_NET& net);
  ///@{
  /// The walk comes to a point.
  virtual void visit(const KEP_UNFOLDED_PORT& port, VISIT_TYPE type);
  virtual void visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type);
  ///@}

  /// The name of a visit type for a log: "start", "target", ...; empty for any other value.
  static const char* get_name_of_visit_type(VISIT_TYPE type);
};
