#include "tools/kep-rg/device/find_plain_node.h"

#include "kep/kep_routing_primitive_cache.h"
#include "tools/kep-rg/device/find_nodes.h"

#include <stdexcept>
#include <vector>

namespace {

using KEP_ROUTING::NODE;

/// The uips of that name, one for each choice of views on the way; none for a name of another form.
std::vector<KEP_UNFOLDED_INST_PORT> find_uips(const KEP_DB& db, const std::string& name) {
  std::vector<KEP_UNFOLDED_INST_PORT> uips;
  const std::size_t colon = name.rfind(KEP_NAME_STYLE().m_port_separator);
  if (colon == std::string::npos || colon == 0) return uips;
  for (const KEP_UNFOLDED_INSTANCE& instance : db.find_unfolded_instances(name.substr(0, colon)))
    if (const KEP_PORT* port = instance.m_object->get_module()->find_port(name.substr(colon + 1)))
      uips.push_back(instance.get_unfolded_inst_port_by_index(port->get_index()));
  return uips;
}

std::string get_names(const KEP_UNFOLDED_INST_PORT& uip, const std::vector<const KEP_PORT*>& ports) {
  std::string names;
  for (const KEP_PORT* port : ports)
    names += (names.empty() ? "" : ", ") + uip.get_unfolded_instance()
                                               .get_unfolded_inst_port_by_index(port->get_index())
                                               .get_name(KEP_NAME_STYLE());
  return names;
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
    return "a port of " + port->get_parent()->get_name(KEP_NAME_STYLE()) + ", on no arc of a mux";
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
  const std::vector<KEP_UNFOLDED_INST_PORT> uips = find_uips(db, name);
  for (const KEP_UNFOLDED_INST_PORT& uip : uips)
    if (const NODE node{uip, false}) return node;
  if (is_nothing_described(db))
    throw std::runtime_error("no routing is described, so no node stands at " + name + " or any other uip");
  if (!uips.empty()) {
    const std::string reason = get_reason(db, uips[0]);
    throw std::runtime_error(name + " is not a routing node" + (reason.empty() ? "" : ": ") + reason);
  }
  find_nodes(db, name); // throws unless it is a port of the top
  throw std::runtime_error(name + " is a boundary node, and only the nodes of inst ports can be walked from");
}
