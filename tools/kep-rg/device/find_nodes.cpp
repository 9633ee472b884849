#include "tools/kep-rg/device/find_nodes.h"

#include "tools/kep-rg/device/closest_names.h"
#include "tools/kep-rg/output/plain_output.h"

#include <fmt/format.h>

#include <stdexcept>
#include <string_view>

namespace {

void append_boundary_nodes(const KEP_DB& db, std::string_view port_name,
                           std::vector<KEP_ROUTING::NODE>& nodes) {
  for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
    if (const KEP_MODULE* top = db.get_top_module(static_cast<KEP_VIEW_TYPE>(view)))
      if (const KEP_ROUTING::NODE node{top->find_port(port_name)}) nodes.push_back(node);
}

std::string get_closest_text(const KEP_ROUTING::GRAPH& graph, std::string_view name) {
  CLOSEST_NAMES closest(name);
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes())
    closest.offer(node.get_name(NAME_STYLE));
  const std::vector<std::string> names = closest.get_names();
  return names.empty() ? "the graph has no nodes" : fmt::format("closest: {}", fmt::join(names, ", "));
}

} // namespace

std::vector<KEP_UNFOLDED_INST_PORT> find_uips(const KEP_DB& db, const std::string& name) {
  std::vector<KEP_UNFOLDED_INST_PORT> uips;
  const std::size_t colon = name.rfind(NAME_STYLE.m_port_separator);
  if (colon == std::string::npos || colon == 0) return uips;
  for (const KEP_UNFOLDED_INSTANCE& instance : db.find_unfolded_instances(name.substr(0, colon)))
    if (const KEP_PORT* port = instance.m_object->get_module()->find_port(name.substr(colon + 1)))
      uips.push_back(instance.get_unfolded_inst_port_by_index(port->get_index()));
  return uips;
}

std::vector<KEP_ROUTING::NODE> find_nodes(const KEP_DB& db, const std::string& name) {
  std::vector<KEP_ROUTING::NODE> nodes;
  if (name.rfind(NAME_STYLE.m_port_separator) == 0) append_boundary_nodes(db, name.substr(1), nodes);
  for (const KEP_UNFOLDED_INST_PORT& uip : find_uips(db, name))
    for (const bool hipi : {false, true})
      if (const KEP_ROUTING::NODE node{uip, hipi}) nodes.push_back(node);
  if (!nodes.empty()) return nodes;
  throw std::runtime_error(
      fmt::format("no node \"{}\"; {}", name, get_closest_text(*db.get_routing_template_graph(), name)));
}
