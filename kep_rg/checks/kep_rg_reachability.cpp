#include "kep_rg/checks/kep_rg_reachability.h"

#include "kep/kep_cancelled.h"
#include "kep/kep_numbered_graph.h"

using KEP_ROUTING::NODE;
using KEP_ROUTING::NUMBERED_FWD_EDGE;
using KEP_ROUTING::NUMBERED_GRAPH;

namespace {

bool is_input(const NODE& node) {
  return node.get_num_fanin() == 0 && node.get_num_real_edges() != 0;
}

bool is_isolated(const NODE& node) {
  return node.get_num_fanin() == 0 && node.get_num_edges() == 0;
}

/// What lies in a BLC, or in a module that is also described as one, is none of the ordinary routing.
bool is_exempt(const NODE& node) {
  const KEP_MODULE* const module = node.is_boundary() ? node.get_port()->get_parent()
                                                      : node.get_unfolded_inst_port()
                                                            .get_unfolded_instance()
                                                            .get_module(KEP_VIEW_TYPE::DEFAULT_VIEW)
                                                            .m_object;
  return module->get_view_type() == KEP_VIEW_TYPE::BLC ||
         module->get_num_equivalent_modules(KEP_VIEW_TYPE::BLC) != 0;
}

} // namespace

KEP_RG_REACHABILITY::KEP_RG_REACHABILITY(const KEP_ROUTING::GRAPH& graph)
    : m_graph(graph), m_work_list(static_cast<std::uint32_t>(graph.get_num_nodes())),
      m_reached(graph.get_num_nodes()) {}

/// Puts a node on the work list the first time that it is met.
void KEP_RG_REACHABILITY::reach(std::uint32_t place) {
  if (m_reached[place]) return;
  m_reached[place] = true;
  m_work_list.insert(place);
}

std::uint32_t KEP_RG_REACHABILITY::mark_input_nodes() {
  std::uint32_t num_inputs = 0;
  std::uint32_t place = 0;
  for (const NODE& node : m_graph.iter_nodes()) {
    if (is_input(node)) {
      ++num_inputs;
      reach(place);
    }
    if (++place % NODES_PER_LOOK == 0) kep_throw_if_cancelled();
  }
  return num_inputs;
}

std::uint32_t KEP_RG_REACHABILITY::walk(KEP_REPORT_PROGRESS* progress) {
  constexpr std::uint32_t NODES_PER_STEP = 100000;
  const NUMBERED_GRAPH numbers(m_graph);
  std::uint32_t num_walked = 0;
  for (std::uint32_t place = 0; m_work_list.take(place);) {
    if (++num_walked % NODES_PER_STEP == 0) {
      if (progress) progress->add(NODES_PER_STEP);
      kep_throw_if_cancelled();
    }
    for (const NUMBERED_FWD_EDGE& edge : numbers.iter_real_fanout(place))
      if (edge.get_fanout() != NUMBERED_GRAPH::NONE) reach(edge.get_fanout()); // NONE in a damaged graph
  }
  return progress ? num_walked - num_walked % NODES_PER_STEP : 0;
}

bool KEP_RG_REACHABILITY::is_unreachable(std::uint32_t place) const {
  if (m_reached[place]) return false;
  const NODE node = m_graph.get_node(place);
  return !is_isolated(node) && !is_exempt(node);
}
