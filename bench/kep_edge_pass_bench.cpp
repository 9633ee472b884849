// A pass over all edges of a device by visit_edges(), in one thread: what reading them from another language
// (bench/python_edges.py), is held against.
//
//   kep_edge_pass_bench DEVICE.kdb [ROUNDS]
//
// Prints the times of the rounds in seconds, a line each: a sum of the targets' numbers, of what names them
// alone, and of the numbers again, by NUMBERED_GRAPH.

#include "kep/kep_db.h"
#include "kep/kep_numbered_graph.h"
#include "kep/kep_routing_graph.h"
#include "kep_io/kep_database_file.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>

namespace {

template <class WORK>
double measure(const WORK& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    fmt::print(stderr, "usage: kep_edge_pass_bench DEVICE.kdb [ROUNDS]\n");
    return 2;
  }
  try {
    const std::unique_ptr<KEP_DB> db = kep_open_database(argv[1]);
    const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
    const KEP_ROUTING::NUMBERED_GRAPH numbers(graph);
    std::uint64_t sum = 0;
    for (int round = argc > 2 ? std::atoi(argv[2]) : 20; round != 0; --round) {
      const double by_number = measure([&] {
        graph.visit_edges(graph.iter_nodes(), [&](const KEP_ROUTING::NODE&, const KEP_ROUTING::NODE& to) {
          sum += graph.get_index(to);
        });
      });
      const double by_name = measure([&] {
        graph.visit_edges(graph.iter_nodes(),
                          [&](const KEP_ROUTING::NODE&, const KEP_ROUTING::NODE& to) { sum += to.hash(); });
      });
      const double numbered = measure([&] {
        numbers.visit_edges(
            0, numbers.get_num_nodes(),
            [&](std::uint32_t, const KEP_ROUTING::NUMBERED_FWD_EDGE& edge) { sum += edge.get_fanout(); });
      });
      fmt::print("{} {} {}\n", by_number, by_name, numbered);
    }
    return sum == 0 ? 1 : 0;
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}\n", error.what());
    return 1;
  }
}
