// The cheapest path between two nodes of a device by Boost.Graph, on the folded graph as it lies.
//
//   shortest_path DEVICE.kdb FROM TO

#include "kep/kep_boost_graph.h"
#include "kep/kep_db.h"
#include "kep_io/kep_database_file.h"
#include "kep_io/kep_find_nodes.h"

#include <boost/graph/dijkstra_shortest_paths.hpp>
#include <boost/property_map/function_property_map.hpp>

#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using KEP_ROUTING::BOOST_GRAPH_EDGE;
using KEP_ROUTING::NUMBERED_GRAPH;

constexpr KEP_NAME_STYLE STYLE{};

/// The edges of the cheapest path, the last one first.
std::vector<BOOST_GRAPH_EDGE> find_path(const NUMBERED_GRAPH& graph, std::uint32_t from, std::uint32_t to) {
  const auto weight = boost::make_function_property_map<BOOST_GRAPH_EDGE>(
      [](const BOOST_GRAPH_EDGE& edge) { return edge.is_redundant() ? 10U : 1U; });
  std::vector<std::uint32_t> previous(num_vertices(graph));
  const auto by_number = boost::make_iterator_property_map(previous.begin(), get(boost::vertex_index, graph));
  boost::dijkstra_shortest_paths(graph, from, boost::predecessor_map(by_number).weight_map(weight));
  std::vector<BOOST_GRAPH_EDGE> path;
  for (; to != from; to = previous[to]) {
    if (previous[to] == to) throw std::runtime_error("there is no path");
    path.push_back(edge(previous[to], to, graph).first); // real ones come first
  }
  return path;
}

void show_path(const std::string& path, const std::string& from_name, const std::string& to_name) {
  const std::unique_ptr<KEP_DB> db = kep_open_database(path);
  const KEP_ROUTING::GRAPH& nodes = *db->get_routing_template_graph();
  const std::uint32_t from = nodes.get_index(kep_get_nodes(*db, from_name).front());
  const std::uint32_t to = nodes.get_index(kep_get_nodes(*db, to_name).front());

  const std::vector<BOOST_GRAPH_EDGE> edges = find_path(NUMBERED_GRAPH(nodes), from, to);
  std::cout << from_name << "\n";
  for (auto edge = edges.rbegin(); edge != edges.rend(); ++edge) {
    std::cout << "  -> " << nodes.get_node(edge->get_target()).get_name(STYLE);
    if (const KEP_UNFOLDED_INST_PORT input = edge->get_mux_input())
      std::cout << " through " << input.get_name(STYLE);
    std::cout << (edge->is_redundant() ? " (redundant)\n" : "\n");
  }
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: shortest_path DEVICE.kdb FROM TO\n";
    return 1;
  }
  try {
    show_path(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::cerr << "shortest_path: " << error.what() << "\n";
    return 1;
  }
}
