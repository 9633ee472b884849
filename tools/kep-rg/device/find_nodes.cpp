#include "tools/kep-rg/device/find_nodes.h"

#include "tools/kep-rg/device/closest_names.h"
#include "tools/kep-rg/output/plain_output.h"

#include <stdexcept>
#include <string_view>

namespace {

void append_boundary_nodes(const KEP_DB& db, std::string_view port_name,
                           std::vector<KEP_ROUTING::NODE>& nodes) {
  for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
    if (const KEP_MODULE* top = db.get_top_module(static_cast<KEP_VIEW_TYPE>(view)))
      if (const KEP_ROUTING::NODE node{top->find_port(port_name)}) nodes.push_back(node);
}

void append_nodes_of_uips(const KEP_DB& db, const std::string& path, std::string_view port_name,
                          std::vector<KEP_ROUTING::NODE>& nodes) {
  for (const KEP_UNFOLDED_INSTANCE& instance : db.find_unfolded_instances(path)) {
    const KEP_PORT* port = instance.m_object->get_module()->find_port(port_name);
    if (!port) continue;
    const KEP_UNFOLDED_INST_PORT uip = instance.get_unfolded_inst_port_by_index(port->get_index());
    for (const bool hipi : {false, true})
      if (const KEP_ROUTING::NODE node{uip, hipi}) nodes.push_back(node);
  }
}

std::string get_closest_text(const KEP_ROUTING::GRAPH& graph, std::string_view name) {
  CLOSEST_NAMES closest(name);
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes())
    closest.offer(node.get_name(NAME_STYLE));
  std::string text;
  for (const std::string& each : closest.get_names())
    text += (text.empty() ? "; closest: " : ", ") + each;
  return text.empty() ? "; the graph has no nodes" : text;
}

} // namespace

std::vector<KEP_ROUTING::NODE> find_nodes(const KEP_DB& db, const std::string& name) {
  std::vector<KEP_ROUTING::NODE> nodes;
  const std::size_t colon = name.rfind(NAME_STYLE.m_port_separator);
  if (colon == 0)
    append_boundary_nodes(db, name.substr(1), nodes);
  else if (colon != std::string::npos)
    append_nodes_of_uips(db, name.substr(0, colon), name.substr(colon + 1), nodes);
  if (!nodes.empty()) return nodes;
  throw std::runtime_error("no node \"" + name + "\"" +
                           get_closest_text(*db.get_routing_template_graph(), name));
}
