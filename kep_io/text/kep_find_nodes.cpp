#include "kep_io/kep_find_nodes.h"

#include "kep/kep_cancelled.h"
#include "kep_io/kep_io_error.h"
#include "kep_io/text/kep_closest_names.h"

#include <fmt/format.h>

#include <cstdint>
#include <string_view>

namespace {

constexpr KEP_NAME_STYLE STYLE{};
constexpr std::uint64_t NODES_PER_STEP = 10000;

void append_boundary_nodes(const KEP_DB& db, std::string_view port_name,
                           std::vector<KEP_ROUTING::NODE>& nodes) {
  for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
    if (const KEP_MODULE* top = db.get_top_module(static_cast<KEP_VIEW_TYPE>(view)))
      if (const KEP_ROUTING::NODE node{top->find_port(port_name)}) nodes.push_back(node);
}

std::string get_closest_text(const KEP_ROUTING::GRAPH& graph, std::string_view name) {
  KEP_CLOSEST_NAMES closest(name);
  std::uint64_t num_nodes = 0;
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    if (++num_nodes % NODES_PER_STEP == 0) kep_throw_if_cancelled();
    closest.offer(node.get_name(STYLE));
  }
  const std::vector<std::string> names = closest.get_names();
  return names.empty() ? "the graph has no nodes" : fmt::format("closest: {}", fmt::join(names, ", "));
}

} // namespace

std::vector<KEP_UNFOLDED_INST_PORT> kep_find_unfolded_inst_ports(const KEP_DB& db, const std::string& name) {
  std::vector<KEP_UNFOLDED_INST_PORT> uips;
  const std::size_t colon = name.rfind(STYLE.m_port_separator);
  if (colon == std::string::npos || colon == 0) return uips;
  for (const KEP_UNFOLDED_INSTANCE& instance : db.find_unfolded_instances(name.substr(0, colon)))
    if (const KEP_PORT* port = instance.m_object->get_module()->find_port(name.substr(colon + 1)))
      uips.push_back(instance.get_unfolded_inst_port_by_index(port->get_index()));
  return uips;
}

std::vector<KEP_ROUTING::NODE> kep_find_nodes(const KEP_DB& db, const std::string& name) {
  std::vector<KEP_ROUTING::NODE> nodes;
  if (name.rfind(STYLE.m_port_separator) == 0) append_boundary_nodes(db, name.substr(1), nodes);
  for (const KEP_UNFOLDED_INST_PORT& uip : kep_find_unfolded_inst_ports(db, name))
    for (const bool hipi : {false, true})
      if (const KEP_ROUTING::NODE node{uip, hipi}) nodes.push_back(node);
  return nodes;
}

std::vector<KEP_ROUTING::NODE> kep_get_nodes(const KEP_DB& db, const std::string& name) {
  std::vector<KEP_ROUTING::NODE> nodes = kep_find_nodes(db, name);
  if (nodes.empty())
    throw KEP_IO_ERROR(
        fmt::format("no node \"{}\"; {}", name, get_closest_text(*db.get_routing_template_graph(), name)));
  return nodes;
}
