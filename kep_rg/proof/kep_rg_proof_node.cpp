#include "kep_rg/proof/kep_rg_proof_node.h"

#include <algorithm>

namespace {

using TUNNEL = KEP_ROUTING_PRIMITIVE_TUNNEL;

constexpr std::uint64_t NOWHERE = ~std::uint64_t{0};

std::uint64_t get_place(const KEP_UNFOLDED_INST_PORT& uip, bool is_hipi) {
  return uip.m_position << 32 | static_cast<std::uint64_t>(uip.m_object->get_number()) << 1 |
         (is_hipi ? 1U : 0U);
}
std::uint64_t get_place(const KEP_PORT* port) {
  return port->get_number();
}

} // namespace

KEP_RG_PROOF_NODE::EDGE KEP_RG_PROOF_NODE::make_edge(const KEP_ROUTING::FWD_EDGE& edge, bool is_redundant) {
  const KEP_ROUTING::NODE target = edge.get_fanout();
  const KEP_UNFOLDED_INST_PORT mux_input = edge.get_mux_input();
  if (!target) return {NOWHERE, 0, is_redundant}; // of a damaged graph
  const KEP_PORT* port = target.get_port();
  return {port ? get_place(port) : get_place(target.get_unfolded_inst_port(), target.is_hipi()),
          mux_input ? get_place(mux_input, false) : 0, is_redundant};
}

KEP_UNFOLDED_INST_PORT KEP_RG_PROOF_NODE::get_uip(std::uint64_t place) const {
  const auto occurrence = static_cast<std::uint32_t>(place >> 32);
  if (occurrence == KEP_UNFOLDING::ABOVE_TOP) return {};
  const KEP_MODULE* module = m_db->get_unfolding().get_module(occurrence);
  return {occurrence, module->get_inst_port_by_number(static_cast<std::uint32_t>(place) >> 1)};
}

KEP_ROUTING::NODE KEP_RG_PROOF_NODE::get_target(const EDGE& edge) const {
  if (edge.m_target == NOWHERE) return {};
  if (const KEP_UNFOLDED_INST_PORT uip = get_uip(edge.m_target))
    return KEP_ROUTING::NODE(uip, (edge.m_target & 1) != 0);
  return KEP_ROUTING::NODE(m_db->get_unfolding().get_ports()[edge.m_target]);
}

bool KEP_RG_PROOF_NODE::should_stand(const KEP_ROUTING::NODE& node) const {
  if (const KEP_PORT* port = node.get_port()) return m_nodes.is_boundary_node(port);
  const KEP_UNFOLDED_INST_PORT uip = node.get_unfolded_inst_port();
  return node.is_hipi() ? m_nodes.has_twin(uip) : m_nodes.is_node(uip);
}

/// False for a node from which no connection begins.
bool KEP_RG_PROOF_NODE::find_start(const KEP_ROUTING::NODE& node, START& start) const {
  if (node.is_hipi()) return false;
  start.m_uip = node.get_unfolded_inst_port();
  if (const KEP_PORT* port = node.get_port())
    start.m_port = m_db->get_top_unfolded_module(port->get_parent()->get_view_type())
                       .get_unfolded_port_by_index(port->get_index());
  else
    start.m_port = start.m_uip.get_unfolded_port(m_facts.get_rank());
  const bool drives_inward = start.m_uip || (start.m_port && !start.m_port.m_object->is_output());
  return start.m_port && drives_inward;
}

std::vector<KEP_RG_PROOF_NODE::EDGE>* KEP_RG_PROOF_NODE::find_edges(const KEP_ROUTING::NODE& node) {
  m_edges.clear();
  // A hipi node drives its plain node and nothing else.
  if (node.is_hipi()) add_edge(node.get_unfolded_inst_port(), {}, false, true);
  START start;
  if (!find_start(node, start)) return &m_edges;

  if (!follow(start, false, m_reached)) return nullptr;
  if (start.m_uip && m_steps.get_tunnel_type(start.m_uip) == TUNNEL::SOURCE) {
    follow(start, true, m_behind_tunnel); // in order, which is never too long
    for (const KEP_UNFOLDED_INST_PORT& end : m_behind_tunnel.m_ends)
      if (m_steps.get_tunnel_type(end) == TUNNEL::TARGET) m_reached.m_ends.push_back(end);
  }
  add_edges(start);
  return &m_edges;
}

/// False for a connection that is too long.
bool KEP_RG_PROOF_NODE::follow(const START& start, bool through_tunnels, REACHED& reached) {
  reached.clear();
  begin(start, through_tunnels, reached);
  const std::size_t num_ends = reached.m_ends.size();
  const ATTEMPT attempt = m_in_order ? ATTEMPT::ORDER_MATTERS : follow_groups(reached);
  if (attempt != ATTEMPT::ORDER_MATTERS) return attempt == ATTEMPT::DONE;
  reached.m_ends.resize(num_ends);
  reached.m_top_ports.clear();
  follow_nets(reached);
  return true;
}

void KEP_RG_PROOF_NODE::begin(const START& start, bool through_tunnels, REACHED& reached) {
  m_beginnings.clear();
  m_in_order = through_tunnels;
  if (!begin_behind_muxes(start, {false, through_tunnels}, reached)) begin_at_port(start, through_tunnels);
}

/// An input of muxes that is a node drives their outputs, and what is behind those that make no node.
bool KEP_RG_PROOF_NODE::begin_behind_muxes(const START& start, const MODE& mode, REACHED& reached) {
  KEP_PORT* port = start.m_port.m_object;
  const bool is_inserted_input = port->is_input() && m_facts.is_inserted(port) &&
                                 port->get_parent()->get_view_type() != KEP_VIEW_TYPE::BLC;
  const bool is_unconnected = start.m_uip && !start.m_uip.m_object->get_net() && !port->is_output();
  if (!is_inserted_input && !is_unconnected) return false;
  if (!m_facts.has_muxes(port->get_parent())) return false;
  if (!start.m_uip) return true;
  const KEP_UNFOLDED_INSTANCE instance = start.m_uip.get_unfolded_instance();
  for (const KEP_ROUTING_ARC* arc : m_facts.iter_arcs_from(port)) {
    const KEP_UNFOLDED_INST_PORT output =
        instance.get_unfolded_inst_port_by_index(arc->get_output()->get_index());
    if (!arc->is_skip(instance.m_object)) {
      reached.m_ends.push_back(output);
      continue;
    }
    m_steps.enter(output, mode, reached);
    m_in_order |= output.m_object->is_bidir();
    for (const STEP& step : reached.m_steps)
      m_beginnings.push_back({step, {}, false, mode});
    reached.m_steps.clear();
  }
  return true;
}

/// Inside the instance of the node, and outside of it; in a BLC first.
void KEP_RG_PROOF_NODE::begin_at_port(const START& start, bool through_tunnels) {
  const KEP_PORT* port = start.m_port.m_object;
  const auto begin = [&](const KEP_UNFOLDED_NET& net, const ORIGIN& origin, bool in_blc) {
    if (!net) return;
    m_beginnings.push_back({{net, origin.m_uip, origin.m_port}, origin, true, {in_blc, through_tunnels}});
    m_in_order |= in_blc || m_steps.has_bidir_buffer(net.m_object);
  };
  const auto begin_inside = [&](bool in_blc) {
    if (!port->is_output() && (port->get_parent()->get_view_type() == KEP_VIEW_TYPE::BLC) == in_blc)
      begin(start.m_port.get_unfolded_net(), {{}, start.m_port}, in_blc);
  };
  const auto begin_outside = [&](bool in_blc) {
    if (!start.m_uip || port->is_input()) return;
    const KEP_MODULE* parent = start.m_uip.m_object->get_inst()->get_parent();
    if ((parent->get_view_type() == KEP_VIEW_TYPE::BLC) != in_blc) return;
    // Where it begins, a connection does not end, and may go on through a path that begins at the same point.
    m_in_order |= m_facts.begins_some_path(start.m_uip.m_object->get_port());
    begin(start.m_uip.get_unfolded_net(), {start.m_uip, {}}, in_blc);
  };
  for (const bool in_blc : {true, false}) {
    begin_inside(in_blc);
    begin_outside(in_blc);
  }
}

/// From group to group, each once.
KEP_RG_PROOF_NODE::ATTEMPT KEP_RG_PROOF_NODE::follow_groups(REACHED& reached) {
  m_visited.clear();
  const auto visit = [this](const KEP_UNFOLDED_NET& net) {
    if (const KEP_UNFOLDED_NET group = find_group(net)) m_visited.insert(group);
  };
  for (const BEGINNING& beginning : m_beginnings)
    visit(beginning.m_step.m_net);
  for (std::size_t i = 0; i != m_visited.size(); ++i) {
    if (!m_groups && i == m_max_nets) return ATTEMPT::TOO_LONG;
    const KEP_UNFOLDED_NET group = m_visited.get_values()[i];
    KEP_UNFOLDED_NET net = group;
    do {
      m_steps.expand(net, reached);
      if (reached.m_order_matters) break;
      for (const STEP& step : reached.m_steps)
        visit(step.m_net);
      reached.m_steps.clear();
      if (m_groups) net = m_groups->get_next(net);
    } while (!(net == group));
    if (reached.m_order_matters) break;
  }
  reached.m_steps.clear();
  return std::exchange(reached.m_order_matters, false) ? ATTEMPT::ORDER_MATTERS : ATTEMPT::DONE;
}

/// From net to net, the way of a signal: what is behind a point comes before the next point.
void KEP_RG_PROOF_NODE::follow_nets(REACHED& reached) {
  m_visited.clear();
  std::vector<STEP>& stack = reached.m_steps;
  for (const BEGINNING& beginning : m_beginnings) {
    const ORIGIN* origin = beginning.m_has_origin ? &beginning.m_origin : nullptr;
    stack.push_back(beginning.m_step);
    while (!stack.empty()) {
      const STEP step = stack.back();
      stack.pop_back();
      if (m_visited.insert(step.m_net)) {
        const auto bottom = static_cast<std::ptrdiff_t>(stack.size());
        m_steps.expand(step, origin, beginning.m_mode, reached);
        std::reverse(stack.begin() + bottom, stack.end());
      }
      origin = nullptr;
    }
  }
  reached.m_order_matters = false;
}

void KEP_RG_PROOF_NODE::add_edges(const START& start) {
  const bool is_from_tunnel = start.m_uip && m_steps.get_tunnel_type(start.m_uip) == TUNNEL::THROUGH;
  for (const KEP_UNFOLDED_INST_PORT& end : m_reached.m_ends)
    if (!(end == start.m_uip)) add_edges_to(start, end, is_from_tunnel);
  if (m_db->get_db_type() != KEP_DB_TYPE::TOP_PORTS_ROUTED) return;
  const KEP_PORT* own = start.m_uip ? nullptr : start.m_port.m_object;
  for (const KEP_UNFOLDED_PORT& port : m_reached.m_top_ports)
    if (port.m_object != own && m_nodes.is_boundary_node(port.m_object))
      m_edges.push_back({get_place(port.m_object), 0, false});
}

void KEP_RG_PROOF_NODE::add_edges_to(const START& start, const KEP_UNFOLDED_INST_PORT& end,
                                     bool is_from_tunnel) {
  if (is_from_tunnel && m_steps.get_tunnel_type(end) == TUNNEL::TARGET) return;
  KEP_PORT* port = end.m_object->get_port();
  const bool is_redundant = !port->is_output() && m_redundancy.is_redundant(end);
  const bool is_inserted = m_facts.ends_connections(port) || m_facts.is_inserted(end.m_object);
  const KEP_RG_PROOF_FACTS::ARCS arcs = m_facts.iter_arcs_from(port);
  if (!port->is_output() && !is_inserted && !arcs.empty()) { // a mux input: the edge runs through it
    for (const KEP_ROUTING_ARC* arc : arcs) {
      const KEP_UNFOLDED_INST_PORT output =
          end.get_unfolded_instance().get_unfolded_inst_port_by_index(arc->get_output()->get_index());
      if (!(output == start.m_uip)) add_edge(output, end, is_redundant, false);
    }
    return;
  }
  // Or through the mux of which the node itself is an input.
  const KEP_PORT* own = start.m_uip ? start.m_uip.m_object->get_port() : nullptr;
  bool is_own_mux = false;
  if (own && !own->is_output() && !port->is_input()) {
    const KEP_RG_PROOF_FACTS::ARCS own_arcs = m_facts.iter_arcs_from(own);
    is_own_mux = std::any_of(own_arcs.begin(), own_arcs.end(),
                             [port](const KEP_ROUTING_ARC* arc) { return arc->get_output() == port; });
  }
  add_edge(end, is_own_mux ? start.m_uip : KEP_UNFOLDED_INST_PORT(), is_redundant, is_inserted);
}

void KEP_RG_PROOF_NODE::add_edge(const KEP_UNFOLDED_INST_PORT& target,
                                 const KEP_UNFOLDED_INST_PORT& mux_input, bool is_redundant,
                                 bool is_inserted) {
  if (!m_nodes.is_node(target)) return; // it ends at no node
  const bool is_to_hipi = mux_input && !is_inserted && m_facts.is_hipi_tm(mux_input.m_object->get_port()) &&
                          m_nodes.has_twin(target);
  m_edges.push_back(
      {get_place(target, is_to_hipi), mux_input ? get_place(mux_input, false) : 0, is_redundant});
}
