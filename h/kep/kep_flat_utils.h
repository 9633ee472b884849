#pragma once

#include "kep/detail/kep_leaf_search_frame.h"
#include "kep/detail/kep_unfolded_set.h"
#include "kep/kep_db.h"
#include "kep/kep_unfold_observer.h"
#include "kep_report/kep_report_assert.h"

#include <cstddef>
#include <cstdint>
#include <typeinfo>
#include <vector>

/// @file
/// The leaf search: from one port at one position, which ports does its connection reach, when the walk ends
/// at leaves that a predicate chooses (docs/glossary.md: leaf, predicate)? It walks one unfolded net at a
/// time, down into instances, up through the ports of the enclosing module and across skip paths.

/// Which ports a walk passes over.
enum class KEP_LEAF_DIRECTION : std::uint32_t {
  DRIVER_TO_LOADS = 0, ///< outputs of instances and inputs of modules
  LOAD_TO_DRIVERS = 1, ///< inputs of instances and outputs of modules
  BOTH = 2,            ///< none
};

/// How a search walks.
struct KEP_GET_LEAF_PARAMS {
  KEP_VIEW_TYPE_RANK m_view_type_rank; ///< the views to try when the search goes down into an instance
  KEP_LEAF_DIRECTION m_direction = KEP_LEAF_DIRECTION::DRIVER_TO_LOADS; ///< which ports it passes over
  bool m_honour_tunnels = false; ///< an instance of tunnel type 2 is neither a terminating point nor a leaf
  bool m_spare_flag = false;     ///< kept for callers that set it; no search looks at it
};

/// The nets that a search has walked.
class KEP_UNFOLDED_NET_SET : public KEP_UNFOLDED_SET<KEP_UNFOLDED_NET> {
public:
  /// In the order in which they came.
  const std::vector<KEP_UNFOLDED_NET>& get_nets() const { return get_values(); }
};

/// What a search found; the caller's, empty at the start. One record may serve several searches, which then
/// share the visited nets.
struct KEP_EXPORT KEP_LEAF_RESULTS {
  std::vector<KEP_UNFOLDED_INST_PORT> m_uips; ///< the leaves, in the order found; one may stand there twice
  std::vector<KEP_UNFOLDED_PORT> m_top_ports; ///< ports of the top where the connection leaves the device
  KEP_UNFOLDED_NET_SET m_visited_nets;        ///< every net walked so far
  KEP_UNFOLDED_MODULE m_top_module;           ///< the highest module noted

  /// Takes `module` unless the module noted so far is met on the way up from it.
  void note_module(const KEP_UNFOLDED_MODULE& module);
  /// Empties the record and keeps its storage.
  void clear();

private:
  template <class PREDICATE>
  friend class KEP_LEAF_SEARCH;
  // The search's own stack. Connections can be far longer than a thread's stack is deep.
  std::vector<KEP_LEAF_SEARCH_FRAME> m_frames;
  std::vector<KEP_UNFOLDED_INST_PORT> m_outputs;     // of all skip paths on the stack
  std::vector<KEP_UNFOLDED_INST_PORT> m_own_outputs; // of the inst port at hand
};

/// PREDICATE gives: is_terminating_uip(uip, params), is_leaf(uip, params), is_ignore_uip(uip, exclude_uip,
/// exclude_port, cur_uip, cur_port), is_ignore_port(port), get_trace_thru_outputs(uip, outputs) and
/// should_trace_thru_fanout(uip). The search keeps no state between calls, so one object serves any number
/// of threads if its observer does.
template <class PREDICATE>
class KEP_LEAF_SEARCH : public PREDICATE {
public:
  /// The observer must not be null and must outlive the search; a plain KEP_UNFOLD_OBSERVER does nothing.
  KEP_LEAF_SEARCH(const PREDICATE& predicate, KEP_UNFOLD_OBSERVER* observer)
      : PREDICATE(predicate), m_observer(observer),
        m_is_observed(typeid(*observer) != typeid(KEP_UNFOLD_OBSERVER)) {}

  /// Somebody sees what the search does.
  bool is_observed() const { return m_is_observed; }

  /// Searches from a uip or from a port; the other one is empty. The excludes are the point on which the
  /// caller stands: it is never a result and never reported. Results carry the order of the walk: the inst
  /// ports of a net before its ports, depth first.
  void find_leaves(const KEP_UNFOLDED_INST_PORT& cur_unfolded_inst_port,
                   const KEP_UNFOLDED_PORT& cur_unfolded_port, KEP_LEAF_RESULTS& results,
                   const KEP_GET_LEAF_PARAMS& params, KEP_UNFOLDED_INST_PORT exclude_unfolded_inst_port,
                   KEP_UNFOLDED_PORT exclude_unfolded_port) const {
    const WALK walk{results, params, exclude_unfolded_inst_port, exclude_unfolded_port,
                    results.m_frames.size()};
    enter(walk, cur_unfolded_inst_port, cur_unfolded_port, exclude_unfolded_inst_port);
    while (results.m_frames.size() > walk.m_bottom)
      step(walk);
  }

private:
  using FRAME = KEP_LEAF_SEARCH_FRAME;
  using VISIT_TYPE = KEP_UNFOLD_OBSERVER::VISIT_TYPE;

  struct WALK { // the arguments of one call
    KEP_LEAF_RESULTS& m_results;
    const KEP_GET_LEAF_PARAMS& m_params;
    const KEP_UNFOLDED_INST_PORT& m_exclude_uip;
    const KEP_UNFOLDED_PORT& m_exclude_port;
    std::size_t m_bottom; // the frame of the start point; the excludes count there alone

    bool is_bottom() const { return m_results.m_frames.size() == m_bottom + 1; }
    bool is_excluded(const KEP_UNFOLDED_INST_PORT& uip) const { return is_bottom() && uip == m_exclude_uip; }
  };

  template <class POINT>
  void visit(const POINT& point, VISIT_TYPE type) const {
    if (m_is_observed) m_observer->visit(point, type);
  }
  void enter(const WALK& walk, const KEP_UNFOLDED_INST_PORT& cur_unfolded_inst_port,
             const KEP_UNFOLDED_PORT& cur_unfolded_port, const KEP_UNFOLDED_INST_PORT& exclude) const;
  void step(const WALK& walk) const;
  /// Those of the last skip path of the net.
  static void drop_outputs(KEP_LEAF_RESULTS& results, FRAME& frame) {
    if (results.m_outputs.size() == frame.m_first_output) return;
    results.m_outputs.erase(results.m_outputs.begin() + static_cast<std::ptrdiff_t>(frame.m_first_output),
                            results.m_outputs.end());
    frame.m_next_output = frame.m_first_output;
  }
  void walk_inst_port(const WALK& walk, const KEP_UNFOLDED_INST_PORT& uip) const;
  void descend(const WALK& walk, const KEP_UNFOLDED_INST_PORT& uip) const;
  void cross(const WALK& walk, const KEP_UNFOLDED_INST_PORT& output) const;
  void close_point(const WALK& walk, const KEP_UNFOLDED_INST_PORT& uip, bool terminating, bool ignored) const;
  void walk_port(const WALK& walk, const KEP_UNFOLDED_PORT& port) const;

  KEP_UNFOLD_OBSERVER* m_observer;
  bool m_is_observed;
};

/// Starts at a point: a terminating one is a result, any other puts its net on the stack unless it was walked
/// before.
template <class PREDICATE>
void KEP_LEAF_SEARCH<PREDICATE>::enter(const WALK& walk, const KEP_UNFOLDED_INST_PORT& cur_unfolded_inst_port,
                                       const KEP_UNFOLDED_PORT& cur_unfolded_port,
                                       const KEP_UNFOLDED_INST_PORT& exclude) const {
  KEP_LEAF_RESULTS& results = walk.m_results;
  KEP_UNFOLDED_NET net;
  if (cur_unfolded_inst_port) {
    KEP_ASSERT(!cur_unfolded_port);
    net = cur_unfolded_inst_port.get_unfolded_net();
    const bool terminating = !(cur_unfolded_inst_port == exclude) &&
                             this->is_terminating_uip(cur_unfolded_inst_port, walk.m_params);
    visit(cur_unfolded_inst_port, terminating ? VISIT_TYPE::TERMINATING : VISIT_TYPE::SEARCH);
    results.note_module(cur_unfolded_inst_port.get_unfolded_instance().get_parent());
    if (terminating) {
      results.m_uips.push_back(cur_unfolded_inst_port);
      return;
    }
  } else if (cur_unfolded_port) {
    net = cur_unfolded_port.get_unfolded_net();
    visit(cur_unfolded_port, VISIT_TYPE::SEARCH);
    results.note_module(cur_unfolded_port.get_parent());
  }
  if (!net || !results.m_visited_nets.insert(net)) return;
  if (m_is_observed) m_observer->start_net(net);
  FRAME frame;
  frame.m_cur_uip = cur_unfolded_inst_port;
  frame.m_cur_port = cur_unfolded_port;
  frame.m_net = net;
  frame.m_first_output = frame.m_next_output = results.m_outputs.size();
  results.m_frames.push_back(frame);
}

/// Takes one point of the net on top: the next output of the skip path at hand, else the next inst port, else
/// the next port. What a point leads to goes on the stack and is walked before the next one.
template <class PREDICATE>
void KEP_LEAF_SEARCH<PREDICATE>::step(const WALK& walk) const {
  KEP_LEAF_RESULTS& results = walk.m_results;
  FRAME& frame = results.m_frames.back();
  const KEP_NET& net = *frame.m_net.m_object;
  if (frame.m_next_output != results.m_outputs.size()) {
    const KEP_UNFOLDED_INST_PORT output = results.m_outputs[frame.m_next_output++];
    cross(walk, output);
  } else if (frame.m_next_inst_port != net.get_num_inst_ports()) {
    drop_outputs(results, frame);
    KEP_INST_PORT* inst_port = net.get_inst_ports()[frame.m_next_inst_port++];
    walk_inst_port(walk, KEP_UNFOLDED_INST_PORT(frame.m_net.m_position, inst_port));
  } else if (frame.m_next_port != net.get_num_ports()) {
    drop_outputs(results, frame);
    const std::uint64_t position = (*frame.m_net.iter_ports().begin()).m_position;
    walk_port(walk, KEP_UNFOLDED_PORT(position, net.get_ports()[frame.m_next_port++]));
  } else {
    drop_outputs(results, frame);
    results.m_frames.pop_back();
  }
}

template <class PREDICATE>
void KEP_LEAF_SEARCH<PREDICATE>::walk_inst_port(const WALK& walk, const KEP_UNFOLDED_INST_PORT& uip) const {
  KEP_LEAF_RESULTS& results = walk.m_results;
  const FRAME& frame = results.m_frames.back();
  const bool terminating = !walk.is_excluded(uip) && this->is_terminating_uip(uip, walk.m_params);
  bool ignored = walk.is_bottom() ? this->is_ignore_uip(uip, walk.m_exclude_uip, walk.m_exclude_port,
                                                        frame.m_cur_uip, frame.m_cur_port)
                                  : this->is_ignore_uip(uip, {}, {}, frame.m_cur_uip, frame.m_cur_port);
  if (!ignored) {
    // The direction is that of the port in the default view, which is the one that the inst port mirrors.
    if (walk.m_params.m_direction == KEP_LEAF_DIRECTION::DRIVER_TO_LOADS)
      ignored = uip.m_object->is_output();
    else if (walk.m_params.m_direction == KEP_LEAF_DIRECTION::LOAD_TO_DRIVERS)
      ignored = uip.m_object->is_input();
  }
  std::vector<KEP_UNFOLDED_INST_PORT>& outputs = results.m_own_outputs;
  outputs.clear();
  if (!terminating && !ignored) this->get_trace_thru_outputs(uip, outputs);
  const bool crosses = !outputs.empty();
  results.m_outputs.insert(results.m_outputs.end(), outputs.begin(), outputs.end());
  if (terminating || ignored || (!crosses && !(uip == frame.m_cur_uip) && this->is_leaf(uip, walk.m_params)))
    close_point(walk, uip, terminating, ignored);
  else if (crosses)
    visit(uip, VISIT_TYPE::SKIP); // the outputs are the next steps
  else
    descend(walk, uip);
}

template <class PREDICATE>
void KEP_LEAF_SEARCH<PREDICATE>::descend(const WALK& walk, const KEP_UNFOLDED_INST_PORT& uip) const {
  if (uip == walk.m_results.m_frames.back().m_cur_uip) return;
  const KEP_UNFOLDED_PORT inner = uip.get_unfolded_port(walk.m_params.m_view_type_rank);
  if (!inner) return;
  if (!inner.m_object->get_net()) {
    visit(uip, VISIT_TYPE::END);
    return;
  }
  visit(uip, VISIT_TYPE::CROSS);
  enter(walk, {}, inner, {});
}

template <class PREDICATE>
void KEP_LEAF_SEARCH<PREDICATE>::cross(const WALK& walk, const KEP_UNFOLDED_INST_PORT& output) const {
  if (!this->is_terminating_uip(output, walk.m_params) && this->should_trace_thru_fanout(output)) {
    enter(walk, output, {}, {});
  } else { // an input on the far side of a skip path is a result, too
    walk.m_results.m_uips.push_back(output);
    visit(output, VISIT_TYPE::TERMINATING);
  }
}

template <class PREDICATE>
void KEP_LEAF_SEARCH<PREDICATE>::close_point(const WALK& walk, const KEP_UNFOLDED_INST_PORT& uip,
                                             bool terminating, bool ignored) const {
  if (walk.is_excluded(uip)) return;
  if (!ignored) walk.m_results.m_uips.push_back(uip);
  if (!(uip == walk.m_results.m_frames.back().m_cur_uip))
    visit(uip, terminating ? VISIT_TYPE::TERMINATING : VISIT_TYPE::END);
}

template <class PREDICATE>
void KEP_LEAF_SEARCH<PREDICATE>::walk_port(const WALK& walk, const KEP_UNFOLDED_PORT& port) const {
  if (walk.is_bottom() && port == walk.m_exclude_port) return;
  const KEP_LEAF_DIRECTION direction = walk.m_params.m_direction;
  const bool is_current = port == walk.m_results.m_frames.back().m_cur_port;
  if (this->is_ignore_port(port) ||
      (direction == KEP_LEAF_DIRECTION::DRIVER_TO_LOADS && port.m_object->is_input()) ||
      (direction == KEP_LEAF_DIRECTION::LOAD_TO_DRIVERS && port.m_object->is_output())) {
    if (!is_current) visit(port, VISIT_TYPE::END);
    return;
  }
  if (!is_current) visit(port, VISIT_TYPE::CROSS);
  const KEP_UNFOLDED_INST_PORT outer = port.get_unfolded_inst_port();
  if (outer) {
    if (!is_current) enter(walk, outer, {}, {});
  } else if (port.m_object->get_parent()->is_top_module_or_equiv()) {
    if (!is_current) visit(port, VISIT_TYPE::END);
    walk.m_results.m_top_ports.push_back(port);
  }
}
