#pragma once

#include "kep/kep_routing_primitive_cache.h"
#include "tests/support/build_case.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/random_source.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace test_model {

/// A sound graph, and a source of chance.
class DAMAGE_SUBJECT {
public:
  DAMAGE_SUBJECT(BUILD_CASE& device, RANDOM_SOURCE& random)
      : m_graph(EDITED_GRAPH::read(*device.db())), m_random(random),
        m_cache(*device.parse().find_routing_primitive_cache()) {
    for (std::size_t i = 0; i != m_graph.nodes().size(); ++i)
      for (const bool redundant : {false, true})
        for (std::size_t edge = 0; edge != m_graph.nodes()[i].edges(redundant).size(); ++edge)
          m_edges.push_back({i, redundant, edge});
  }

  struct PLACE { // of an edge
    std::size_t m_from;
    bool m_is_redundant;
    std::size_t m_index;
  };

  EDITED_GRAPH& graph() { return m_graph; }
  EDITED_GRAPH::NODE& node(std::size_t index) { return m_graph.nodes()[index]; }
  RANDOM_SOURCE& random() { return m_random; }
  std::vector<EDITED_GRAPH::EDGE>& list(const PLACE& at) { return node(at.m_from).edges(at.m_is_redundant); }
  EDITED_GRAPH::EDGE& edge(const PLACE& at) { return list(at)[at.m_index]; }
  void erase(const PLACE& at) { list(at).erase(list(at).begin() + static_cast<std::ptrdiff_t>(at.m_index)); }

  /// A random edge of which this holds; false if there is none.
  bool pick_edge(PLACE& at, const std::function<bool(const PLACE&)>& holds) {
    std::vector<PLACE> fitting;
    std::copy_if(m_edges.begin(), m_edges.end(), std::back_inserter(fitting), holds);
    if (fitting.empty()) return false;
    at = m_random.pick(fitting);
    return true;
  }
  bool pick_node(std::size_t& index, const std::function<bool(std::size_t)>& holds) {
    std::vector<std::size_t> fitting;
    for (std::size_t i = 0; i != m_graph.nodes().size(); ++i)
      if (holds(i)) fitting.push_back(i);
    if (fitting.empty()) return false;
    index = m_random.pick(fitting);
    return true;
  }

  bool is_plain(std::size_t index) { return !node(index).m_is_hipi && !node(index).m_port; }
  /// The place of the twin of a plain node; the number of nodes if it has none.
  std::size_t twin_of(std::size_t index) {
    for (std::size_t i = 0; i != m_graph.nodes().size(); ++i)
      if (i != index && node(i).m_uip && node(i).m_uip == node(index).m_uip) return i;
    return m_graph.nodes().size();
  }
  bool has_twin(std::size_t index) { return twin_of(index) != m_graph.nodes().size(); }
  std::size_t num_edges(std::size_t from, std::size_t to) {
    std::size_t count = 0;
    for (const bool redundant : {false, true})
      for (const EDITED_GRAPH::EDGE& each : node(from).edges(redundant))
        count += each.m_to == to;
    return count;
  }
  bool is_only_edge(const PLACE& at) { return num_edges(at.m_from, edge(at).m_to) == 1; }
  std::size_t num_fanins(std::size_t to, bool real_only) {
    return static_cast<std::size_t>(std::count_if(m_edges.begin(), m_edges.end(), [&](const PLACE& at) {
      return edge(at).m_to == to && !(real_only && at.m_is_redundant);
    }));
  }
  bool has_two_real_edges_to_one_fanout(std::size_t from) {
    std::set<std::size_t> fanouts;
    for (const EDITED_GRAPH::EDGE& each : node(from).m_real)
      fanouts.insert(each.m_to);
    return fanouts.size() != node(from).m_real.size();
  }
  bool is_arc_output(std::size_t index) {
    return node(index).m_uip && m_cache.is_arc_output(node(index).m_uip.m_object->get_port());
  }
  bool is_arc_input(const KEP_UNFOLDED_INST_PORT& uip) {
    return m_cache.is_arc_input(uip.m_object->get_port());
  }
  bool has_node(const KEP_UNFOLDED_INST_PORT& uip) {
    return std::any_of(m_graph.nodes().begin(), m_graph.nodes().end(),
                       [&](const EDITED_GRAPH::NODE& each) { return each.m_uip == uip; });
  }
  static const KEP_PORT* port(const EDITED_GRAPH::NODE& node) { return node.m_uip.m_object->get_port(); }
  /// The inputs of the edge's mux at which no node stands and by which the source drives neither the target
  /// nor its twin.
  std::vector<KEP_UNFOLDED_INST_PORT> wrong_mux_inputs(const PLACE& at) {
    std::vector<KEP_UNFOLDED_INST_PORT> found;
    const std::size_t to = edge(at).m_to;
    for (const KEP_UNFOLDED_INST_PORT& uip : edge(at).m_mux_input.get_unfolded_instance().iter_inst_ports()) {
      bool is_used = has_node(uip) || !is_arc_input(uip);
      for (const bool redundant : {false, true})
        for (const EDITED_GRAPH::EDGE& each : node(at.m_from).edges(redundant))
          is_used |= node(each.m_to).m_uip == node(to).m_uip && each.m_mux_input == uip;
      if (!is_used) found.push_back(uip);
    }
    return found;
  }

private:
  EDITED_GRAPH m_graph;
  RANDOM_SOURCE& m_random;
  const KEP_DB_ROUTING_PRIMITIVE_CACHE& m_cache;
  std::vector<PLACE> m_edges;
};

} // namespace test_model
