#include "tools/kep-rg/ask/list_nodes.h"

#include "kep_io/text/kep_closest_names.h"
#include "kep_report/kep_report_progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace {

using KEP_ROUTING::GRAPH;
using KEP_ROUTING::NODE;
using NUMBERS = std::pair<std::uint32_t, std::uint32_t>; // from the first up to the second

constexpr std::uint32_t NODES_PER_STEP = 10000; // of the progress

/// Of the instances where the path leaves the device, those that stand beside the one that is missing.
[[noreturn]] void refuse_instance(const KEP_DB& db, const std::string& path) {
  std::string parent = path;
  std::vector<KEP_UNFOLDED_INSTANCE> found;
  while (found.empty() && !parent.empty()) {
    const std::size_t end = parent.rfind('/');
    parent.resize(end == std::string::npos ? 0 : end);
    found = db.find_unfolded_instances(parent);
  }
  KEP_CLOSEST_NAMES closest(path);
  const auto offer = [&](const KEP_MODULE* module) {
    for (const KEP_INSTANCE* instance : module->iter_instances())
      closest.offer((parent.empty() ? "" : parent + "/") + instance->get_plain_name());
  };
  for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view) {
    const auto type = static_cast<KEP_VIEW_TYPE>(view);
    if (parent.empty() && db.get_top_module(type)) offer(db.get_top_module(type));
    for (const KEP_UNFOLDED_INSTANCE& instance : found)
      if (const KEP_MODULE* module = instance.m_object->get_module(type)) offer(module);
  }
  const std::vector<std::string> names = closest.get_names();
  throw std::runtime_error(fmt::format("no instance \"{}\"; {}", path,
                                       names.empty()
                                           ? (parent.empty() ? "the top" : parent) + " has none inside"
                                           : fmt::format("closest: {}", fmt::join(names, ", "))));
}

/// Of the nodes at the ports of an instance, and of those inside of each of its views.
void add_numbers(const GRAPH& graph, const KEP_UNFOLDED_INSTANCE& instance, std::vector<NUMBERS>& numbers) {
  for (const KEP_UNFOLDED_INST_PORT& uip : instance.iter_inst_ports())
    for (const bool is_hipi : {false, true})
      if (const NODE node{uip, is_hipi}) {
        const std::uint32_t number = graph.get_index(node);
        numbers.emplace_back(number, number + 1);
      }
  for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
    numbers.push_back(graph.find_numbers_below(instance.get_module(static_cast<KEP_VIEW_TYPE>(view))));
}

/// The numbers of all nodes that can be meant, in order.
std::vector<NUMBERS> find_numbers(const KEP_DB& db, const NODE_FILTER& filter, bool is_asked) {
  const GRAPH& graph = *db.get_routing_template_graph();
  const std::string path = filter.get_instance();
  if (path.empty()) return {{0, static_cast<std::uint32_t>(graph.get_num_nodes())}};
  const std::vector<KEP_UNFOLDED_INSTANCE> instances = db.find_unfolded_instances(path);
  if (instances.empty() && is_asked) refuse_instance(db, path);
  std::vector<NUMBERS> numbers;
  for (const KEP_UNFOLDED_INSTANCE& instance : instances)
    add_numbers(graph, instance, numbers);
  std::sort(numbers.begin(), numbers.end());
  std::uint32_t end = 0;
  for (NUMBERS& each : numbers) { // those of one place may come from several views
    each.first = std::max(each.first, end);
    end = each.second = std::max(each.first, each.second);
  }
  return numbers;
}

} // namespace

std::vector<std::string> get_node_columns() {
  return {"node", "kind", "module", "fanout", "real", "fanin"};
}

void list_nodes(const KEP_DB& db, const NODE_QUERY& query, TABLE_OUTPUT& table) {
  const GRAPH& graph = *db.get_routing_template_graph();
  const NODE_FILTER filter(db, query);
  const std::vector<NUMBERS> numbers = find_numbers(db, filter, !query.m_under.empty());
  std::uint64_t num_nodes = 0;
  for (const auto& [first, end] : numbers)
    num_nodes += end - first;
  KEP_REPORT_PROGRESS progress("nodes", num_nodes);
  std::uint32_t num_done = 0;
  std::string name;
  for (const auto& [first, end] : numbers) {
    if (first == end) continue;
    for (const NODE& node : graph.iter_nodes_with_grain(1, first, end)) {
      if (++num_done % NODES_PER_STEP == 0) progress.add(NODES_PER_STEP);
      if (!filter.passes(node, name)) continue;
      table.add(name);
      table.add(get_kind_text(node));
      table.add(get_module(node)->get_plain_name());
      for (const unsigned short number :
           {node.get_num_edges(), node.get_num_real_edges(), node.get_num_fanin()})
        table.add(std::uint64_t{number});
    }
  }
}
