#include "tools/kep-rg/find_plain_node.h"

#include "kep/kep_routing_primitive_cache.h"
#include "tools/kep-rg/find_nodes.h"

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

/// An input of a mux has no node of its own: the outputs behind it have.
std::string get_outputs_text(const KEP_DB& db, const KEP_UNFOLDED_INST_PORT& uip) {
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  const auto* arcs = cache.find_arc_outputs(uip.m_object->get_port());
  if (!arcs) return "";
  std::string text = ": an input of a mux";
  std::string separator = " in front of ";
  for (const KEP_ROUTING_ARC* arc : *arcs) {
    const KEP_UNFOLDED_INST_PORT output =
        uip.get_unfolded_instance().get_unfolded_inst_port_by_index(arc->get_output()->get_index());
    text += separator + output.get_name(KEP_NAME_STYLE());
    separator = ", ";
  }
  return text;
}

} // namespace

NODE find_plain_node(const KEP_DB& db, const std::string& name) {
  const std::vector<KEP_UNFOLDED_INST_PORT> uips = find_uips(db, name);
  for (const KEP_UNFOLDED_INST_PORT& uip : uips)
    if (const NODE node{uip, false}) return node;
  if (!uips.empty())
    throw std::runtime_error(name + " is not a routing node" + get_outputs_text(db, uips[0]));
  find_nodes(db, name); // throws unless it is a port of the top
  throw std::runtime_error(name + " is a boundary node, and only the nodes of inst ports can be walked from");
}
