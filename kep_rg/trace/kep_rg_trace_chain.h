#pragma once

#include "kep/detail/kep_unfolded_set.h"
#include "kep/kep_unfold_observer.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

/// Turns the depth-first walk of a leaf search into the one path from its start to where it stands. The
/// search takes all branches; the chain forgets a branch that led nowhere, back to the last branch point that
/// has a way left. The chain itself is a list of the caller's, and what a search left there stays in front.
class KEP_RG_TRACE_CHAIN {
public:
  using VISIT_TYPE = KEP_UNFOLD_OBSERVER::VISIT_TYPE;

  /// Gets ready for a search: no branch points, no dead ends.
  void start(std::vector<KEP_UNFOLDED_INST_PORT>* trace) {
    m_trace = trace;
    m_branches.clear();
    m_dead_ends.clear();
  }
  std::vector<KEP_UNFOLDED_INST_PORT>& get_trace() const { return *m_trace; }

  /// A net with more than two connection points is a branch point; the way in is not one of the ways to try.
  void start_net(const KEP_UNFOLDED_NET& net) {
    if (!net) return;
    const std::size_t points = count_points(net);
    if (points > 2) push_branch(points - 1);
  }
  /// Ends the branch when the walk does not go on from the uip. A dead end met again ends nothing.
  void leave(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) {
    if (type != VISIT_TYPE::TERMINATING && type != VISIT_TYPE::END) {
      const KEP_UNFOLDED_NET net = uip.get_unfolded_net();
      if (net && count_points(net) >= 2) return;
    }
    if (m_dead_ends.insert(uip)) rewind();
  }
  /// Cuts the trace back to the last branch point with a way left.
  void rewind();

  /// How much of the trace has stayed as it was since the last call.
  std::size_t take_unchanged() {
    return std::min(std::exchange(m_unchanged, std::numeric_limits<std::size_t>::max()), m_trace->size());
  }

private:
  struct BRANCH {
    std::size_t m_size;  // of the trace at the branch point
    std::size_t m_count; // the ways left
  };

  static std::size_t count_points(const KEP_UNFOLDED_NET& net) {
    return std::size_t{net.m_object->get_num_inst_ports()} + net.m_object->get_num_ports();
  }
  void push_branch(std::size_t count) { m_branches.push_back({m_trace->size(), count}); }

  std::vector<KEP_UNFOLDED_INST_PORT>* m_trace = nullptr;
  std::vector<BRANCH> m_branches;
  KEP_UNFOLDED_SET<KEP_UNFOLDED_INST_PORT> m_dead_ends; // keeps its storage from search to search
  std::size_t m_unchanged = 0;
};
