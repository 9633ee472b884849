#include "tools/kep-rg/device/find_plain_node.h"

#include "kep/kep_routing_primitive_cache.h"
#include "kep_io/kep_find_nodes.h"
#include "tools/kep-rg/output/plain_output.h"

#include <fmt/format.h>

#include <stdexcept>
#include <vector>

namespace {

using KEP_ROUTING::NODE;

/// These ports at the instance of the uip.
std::string get_names(const KEP_UNFOLDED_INST_PORT& uip, const std::vector<const KEP_PORT*>& ports) {
  std::vector<std::string> names;
  names.reserve(ports.size());
  for (const KEP_PORT* port : ports)
    names.push_back(
        uip.get_unfolded_instance().get_unfolded_inst_port_by_index(port->get_index()).get_name(NAME_STYLE));
  return fmt::format("{}", fmt::join(names, ", "));
}

/// Of a port of a mux. Inputs have no node of their own, the outputs behind them have.
std::string get_mux_reason(const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache, const KEP_UNFOLDED_INST_PORT& uip) {
  std::vector<const KEP_PORT*> outputs;
  std::vector<const KEP_PORT*> skip_inputs;
  bool is_skip = false;
  if (const auto* arcs = cache.find_arc_outputs(uip.m_object->get_port()))
    for (const KEP_ROUTING_ARC* arc : *arcs) {
      outputs.push_back(arc->get_output());
      is_skip |= arc->is_skip(uip.m_object->get_inst());
    }
  if (!outputs.empty())
    return (is_skip ? "a skip path leads on from it to " : "an input of a mux in front of ") +
           get_names(uip, outputs);
  if (const auto* arcs = cache.find_arc_inputs(uip.m_object->get_port()))
    for (const KEP_ROUTING_ARC* arc : *arcs)
      if (arc->is_skip(uip.m_object->get_inst())) skip_inputs.push_back(arc->get_input());
  return skip_inputs.empty() ? "" : "a skip path leads to it from " + get_names(uip, skip_inputs);
}

/// Why no plain node stands at a uip, as far as that can be told.
std::string get_reason(const KEP_DB& db, const KEP_UNFOLDED_INST_PORT& uip) {
  const KEP_PORT* port = uip.m_object->get_port();
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  if (NODE(uip, true)) return "only a hipi node stands there";
  const KEP_MODULE* parent = uip.m_object->get_inst()->get_parent();
  if (cache.is_remove_node(port) && parent->get_view_type() == KEP_VIEW_TYPE::BLC)
    return "the description removes it"; // elsewhere the mark means nothing
  if (std::string reason = get_mux_reason(cache, uip); !reason.empty()) return reason;
  if (!uip.get_unfolded_net() &&
      !uip.get_unfolded_port(KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank).get_unfolded_net())
    return "no net is connected to it";
  if (!cache.is_arc_output(port))
    return fmt::format("a port of {}, on no arc of a mux", port->get_parent()->get_name(NAME_STYLE));
  return uip.m_object->get_inst()->get_inst_header()
             ? ""
             : "its mux has no inst header, and the port no wire type";
}

/// Nothing that could make a node at an inst port was stated.
bool is_nothing_described(const KEP_DB& db) {
  KEP_ROUTING::GRAPH& graph = *db.get_routing_template_graph();
  if (!graph.get_routing_primitive()->iter_routing_arcs(true).empty()) return false;
  for (const NODE& node : graph.iter_nodes())
    if (!node.is_boundary()) return false;
  return true;
}

} // namespace

NODE find_plain_node(const KEP_DB& db, const std::string& name) {
  const std::vector<KEP_UNFOLDED_INST_PORT> uips = kep_find_unfolded_inst_ports(db, name);
  for (const KEP_UNFOLDED_INST_PORT& uip : uips)
    if (const NODE node{uip, false}) return node;
  if (is_nothing_described(db))
    throw std::runtime_error(
        fmt::format("no routing is described, so no node stands at {} or any other uip", name));
  if (!uips.empty()) {
    const std::string reason = get_reason(db, uips[0]);
    throw std::runtime_error(
        fmt::format("{} is not a routing node{}{}", name, reason.empty() ? "" : ": ", reason));
  }
  kep_get_nodes(db, name); // throws unless it is a port of the top
  throw std::runtime_error(
      fmt::format("{} is a boundary node, and only the nodes of inst ports can be walked from", name));
}
