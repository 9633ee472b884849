#include "tools/kep-rg/find_nodes.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

constexpr KEP_NAME_STYLE NAME_STYLE{};
constexpr std::size_t MAX_CLOSEST = 3;

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

/// The names nearest to the one that is not there, the nearest first and else in the graph's order.
std::vector<std::string> find_closest_names(const KEP_ROUTING::GRAPH& graph, const std::string& name) {
  std::vector<std::pair<unsigned, std::string>> closest;
  auto limit = static_cast<unsigned>(std::max<std::size_t>(3, name.size() / 3 + 1));
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    if (node.is_hipi() && KEP_ROUTING::NODE(node.get_unfolded_inst_port(), false)) continue; // same name
    std::string other = node.get_name(NAME_STYLE);
    const unsigned distance = get_edit_distance(name, other, limit);
    if (distance >= limit) continue;
    const auto behind = std::upper_bound(closest.begin(), closest.end(), distance,
                                         [](unsigned left, const auto& right) { return left < right.first; });
    closest.emplace(behind, distance, std::move(other));
    if (closest.size() > MAX_CLOSEST) closest.pop_back();
    if (closest.size() == MAX_CLOSEST) limit = closest.back().first; // only a nearer one is of use
  }
  std::vector<std::string> names;
  names.reserve(closest.size());
  for (auto& entry : closest)
    names.push_back(std::move(entry.second));
  return names;
}

} // namespace

unsigned get_edit_distance(std::string_view left, std::string_view right, unsigned limit) {
  if (std::max(left.size(), right.size()) - std::min(left.size(), right.size()) >= limit) return limit;
  thread_local std::vector<unsigned> row;
  row.resize(right.size() + 1);
  for (std::size_t j = 0; j != row.size(); ++j)
    row[j] = static_cast<unsigned>(j);
  for (std::size_t i = 0; i != left.size(); ++i) {
    unsigned diagonal = row[0];
    unsigned best = row[0] = static_cast<unsigned>(i + 1);
    for (std::size_t j = 1; j != row.size(); ++j) {
      const unsigned change = diagonal + (left[i] == right[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({change, row[j] + 1, row[j - 1] + 1});
      best = std::min(best, row[j]);
    }
    if (best >= limit) return limit;
  }
  return std::min(row.back(), limit);
}

std::vector<KEP_ROUTING::NODE> find_nodes(const KEP_DB& db, const std::string& name) {
  std::vector<KEP_ROUTING::NODE> nodes;
  const std::size_t colon = name.rfind(NAME_STYLE.m_port_separator);
  if (colon == 0)
    append_boundary_nodes(db, name.substr(1), nodes);
  else if (colon != std::string::npos)
    append_nodes_of_uips(db, name.substr(0, colon), name.substr(colon + 1), nodes);
  if (!nodes.empty()) return nodes;
  std::string text = "no node \"" + name + "\"";
  const std::vector<std::string> closest = find_closest_names(*db.get_routing_template_graph(), name);
  for (std::size_t i = 0; i != closest.size(); ++i)
    text += (i == 0 ? "; closest: " : ", ") + closest[i];
  throw std::runtime_error(text);
}
