// What algorithms of Boost.Graph pay for a folded graph: on KEP_ROUTING::NUMBERED_GRAPH as it lies, and on
// Boost's own compressed rows of the same edges, with 32-bit numbers, in the same run.
//
//   kep_boost_graph_bench [--rounds N] DEVICE.kdb...
//
// A breadth-first search and Dijkstra's begin at the vertex of the most edges; a weight hangs on the number
// of the target. Each way takes its turn in each of the rounds; the least time counts.

#include "kep/kep_boost_graph.h"
#include "kep_io/kep_database_file.h"

#include <CLI/CLI.hpp>
#include <boost/graph/breadth_first_search.hpp>
#include <boost/graph/compressed_sparse_row_graph.hpp>
#include <boost/graph/dijkstra_shortest_paths.hpp>
#include <boost/graph/strong_components.hpp>
#include <boost/property_map/function_property_map.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using CLOCK = std::chrono::steady_clock;
using KEP_ROUTING::NUMBERED_GRAPH;
using ROWS = boost::compressed_sparse_row_graph<boost::directedS, boost::no_property, boost::no_property,
                                                boost::no_property, std::uint32_t, std::uint32_t>;
using NUMBERS = std::vector<std::uint32_t>;

ROWS make_rows(const NUMBERED_GRAPH& graph) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> ends;
  ends.reserve(num_edges(graph));
  for (auto [at, end] = edges(graph); at != end; ++at)
    ends.emplace_back(source(*at, graph), target(*at, graph));
  return ROWS(boost::edges_are_sorted, ends.begin(), ends.end(), num_vertices(graph));
}

template <class MAP>
auto by_number(NUMBERS& values, const MAP& graph) {
  return boost::make_iterator_property_map(values.begin(), get(boost::vertex_index, graph));
}

template <class MAP>
void run_breadth_first(const MAP& graph, std::uint32_t start, NUMBERS& steps) {
  const auto visitor = boost::record_distances(by_number(steps, graph), boost::on_tree_edge());
  breadth_first_search(graph, start, boost::visitor(boost::make_bfs_visitor(visitor)));
}
template <class MAP>
void run_dijkstra(const MAP& graph, std::uint32_t start, NUMBERS& distances) {
  using EDGE = typename boost::graph_traits<MAP>::edge_descriptor;
  const auto weights = boost::make_function_property_map<EDGE>([&graph](const EDGE& edge) {
    return 1 + (static_cast<std::uint32_t>(target(edge, graph)) * 2654435761U >> 28);
  });
  dijkstra_shortest_paths(graph, start, boost::weight_map(weights).distance_map(by_number(distances, graph)));
}
template <class MAP>
void run_strong_components(const MAP& graph, std::uint32_t, NUMBERS& components) {
  strong_components(graph, by_number(components, graph));
}

/// The values that `run` leaves at the vertices.
template <class MAP, class RUN>
NUMBERS measure(const MAP& graph, std::uint32_t start, const RUN& run, double& best) {
  NUMBERS values(num_vertices(graph));
  const CLOCK::time_point begin = CLOCK::now();
  run(graph, start, values);
  best = std::min(best, std::chrono::duration<double>(CLOCK::now() - begin).count());
  return values;
}

template <class RUN>
void compare(const char* what, const NUMBERED_GRAPH& graph, const ROWS& rows, int num_rounds,
             const RUN& run) {
  std::uint32_t start = 0;
  for (std::uint32_t vertex = 0; vertex != num_vertices(graph); ++vertex)
    if (out_degree(vertex, graph) > out_degree(start, graph)) start = vertex;
  double folded = 1e300, flat = 1e300;
  for (int round = 0; round != num_rounds; ++round)
    if (measure(graph, start, run, folded) != measure(rows, start, run, flat))
      throw std::runtime_error("two ways answer differently");
  const auto num = static_cast<double>(num_edges(graph));
  fmt::print("  {:<18} flat {:.2f}, folded {:.2f} ns an edge, {:.2f} times\n", what, flat * 1e9 / num,
             folded * 1e9 / num, folded / flat);
}

void measure_device(const std::string& path, int num_rounds) {
  const std::unique_ptr<KEP_DB> db = kep_open_database(path);
  const NUMBERED_GRAPH graph(*db->get_routing_template_graph());
  if (num_vertices(graph) == 0) throw std::runtime_error(path + ": no nodes");
  const ROWS rows = make_rows(graph);
  fmt::print("{}: {} vertices, {} edges\n", std::filesystem::path(path).filename().string(),
             num_vertices(graph), num_edges(graph));
  compare(
      "breadth first", graph, rows, num_rounds,
      [](const auto& map, std::uint32_t start, NUMBERS& values) { run_breadth_first(map, start, values); });
  compare("dijkstra", graph, rows, num_rounds,
          [](const auto& map, std::uint32_t start, NUMBERS& values) { run_dijkstra(map, start, values); });
  compare("strong components", graph, rows, num_rounds,
          [](const auto& map, std::uint32_t start, NUMBERS& values) {
            run_strong_components(map, start, values);
          });
}

} // namespace

int main(int argc, char** argv) {
  CLI::App app("Algorithms of Boost.Graph on a folded graph, beside compressed rows");
  std::vector<std::string> files;
  int num_rounds = 10;
  app.add_option("--rounds", num_rounds, "how often each way takes its turn");
  app.add_option("files", files, "device databases")->required();
  CLI11_PARSE(app, argc, argv);
  try {
    for (const std::string& file : files)
      measure_device(file, num_rounds);
  } catch (const std::exception& failure) {
    fmt::print(stderr, "{}\n", failure.what());
    return 1;
  }
  return 0;
}
