// What a whole router pays for a folded graph: the router of examples/ over KEP_ROUTING::NUMBERED_GRAPH, and
// the same one over a flat graph of the same edges, on the same random nets.
//
//   kep_router_bench [--nets N] [--rounds N] DEVICE.kdb...
//
// A flat graph has compressed rows of 32-bit targets. Both ways take turns; the least time counts. Trees and
// overuse must be the same after each round of negotiation.

#include "examples/random_nets.h"
#include "examples/router.h"
#include "kep/kep_numbered_graph.h"
#include "kep_io/kep_database_file.h"

#include <CLI/CLI.hpp>
#include <boost/range/iterator_range_core.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using CLOCK = std::chrono::steady_clock;
using KEP_ROUTING::NUMBERED_FWD_EDGE;
using KEP_ROUTING::NUMBERED_GRAPH;

constexpr unsigned MAX_NEGOTIATION = 100;

class FLAT_GRAPH {
public:
  struct EDGE {
    std::uint32_t m_fanout;
    std::uint32_t get_fanout() const { return m_fanout; }
  };

  explicit FLAT_GRAPH(const NUMBERED_GRAPH& graph) {
    const KEP_ROUTING::GRAPH& edges = graph.get_graph();
    m_edges.reserve(edges.get_num_real_edges() + edges.get_num_redundant_edges());
    m_first_edge.reserve(graph.get_num_nodes() + std::size_t{1});
    for (std::uint32_t node = 0; node != graph.get_num_nodes(); ++node) {
      for (const NUMBERED_FWD_EDGE& edge : graph.iter_all_fanout(node))
        m_edges.push_back({edge.get_fanout()});
      m_first_edge.push_back(static_cast<std::uint32_t>(m_edges.size()));
    }
  }
  std::uint32_t get_num_nodes() const { return static_cast<std::uint32_t>(m_first_edge.size() - 1); }
  boost::iterator_range<const EDGE*> iter_all_fanout(std::uint32_t node) const {
    return {m_edges.data() + m_first_edge[node], m_edges.data() + m_first_edge[node + std::size_t{1}]};
  }
  std::size_t get_memory_bytes() const {
    return m_first_edge.capacity() * sizeof(std::uint32_t) + m_edges.capacity() * sizeof(EDGE);
  }

private:
  std::vector<std::uint32_t> m_first_edge{0}; // by node, and one more
  std::vector<EDGE> m_edges;
};

/// Counts the edges that are asked for.
class COUNTING_GRAPH {
public:
  explicit COUNTING_GRAPH(const NUMBERED_GRAPH& graph) : m_graph(graph) {}
  std::uint32_t get_num_nodes() const { return m_graph.get_num_nodes(); }
  auto iter_all_fanout(std::uint32_t node) const {
    m_num_edges += m_graph.get_num_edges(node);
    return m_graph.iter_all_fanout(node);
  }
  double get_num_edges() const { return m_num_edges; }

private:
  const NUMBERED_GRAPH& m_graph;
  mutable double m_num_edges = 0;
};

/// The overuse after each round, and all trees at the end.
struct ROUTED {
  std::vector<std::uint64_t> m_overuse;
  std::vector<std::vector<std::uint32_t>> m_trees;
  bool operator==(const ROUTED&) const = default;
};

template <class GRAPH>
ROUTED route(const GRAPH& graph, const std::vector<NET>& nets, double& best_seconds) {
  ROUTER router(graph, nets);
  ROUTED routed;
  const CLOCK::time_point start = CLOCK::now();
  do
    routed.m_overuse.push_back(router.run_round());
  while (routed.m_overuse.back() != 0 && routed.m_overuse.size() != MAX_NEGOTIATION);
  best_seconds = std::min(best_seconds, std::chrono::duration<double>(CLOCK::now() - start).count());
  for (const NET& net : router.get_nets())
    routed.m_trees.push_back(net.m_tree);
  return routed;
}

void measure(const std::string& path, unsigned num_nets, int num_rounds) {
  const std::unique_ptr<KEP_DB> db = kep_open_database(path);
  const NUMBERED_GRAPH graph(*db->get_routing_template_graph());
  const FLAT_GRAPH flat(graph);
  const std::vector<NET> nets = RANDOM_NETS(graph, 1).choose(num_nets);
  const COUNTING_GRAPH counting(graph);
  double counting_seconds = 1e300, flat_seconds = 1e300, folded_seconds = 1e300;
  const ROUTED expected = route(counting, nets, counting_seconds);
  for (int round = 0; round != num_rounds; ++round)
    if (route(flat, nets, flat_seconds) != expected || route(graph, nets, folded_seconds) != expected)
      throw std::runtime_error("two ways route differently");
  fmt::print("{}: {} nets routed in {} rounds, overuse {} in the first and {} in the last\n",
             std::filesystem::path(path).filename().string(), num_nets, expected.m_overuse.size(),
             expected.m_overuse.front(), expected.m_overuse.back());
  const auto print = [&](const char* name, double seconds, std::size_t num_bytes) {
    fmt::print("  {:<7} {:.3f} s, {:.2f} ns an edge seen, {:.2f} MB\n", name, seconds,
               seconds * 1e9 / counting.get_num_edges(), static_cast<double>(num_bytes) / 1e6);
  };
  print("flat", flat_seconds, flat.get_memory_bytes());
  print("folded", folded_seconds, graph.get_graph().get_memory_bytes());
  fmt::print("  {:.2f} times\n", folded_seconds / flat_seconds);
}

} // namespace

int main(int argc, char** argv) {
  CLI::App app("A router over a folded graph, beside the same over a flat one");
  unsigned num_nets = 3000;
  int num_rounds = 2;
  std::vector<std::string> files;
  app.add_option("--nets", num_nets, "how many nets are routed");
  app.add_option("--rounds", num_rounds, "how often each way takes its turn");
  app.add_option("files", files, "device databases")->required();
  CLI11_PARSE(app, argc, argv);
  try {
    for (const std::string& file : files)
      measure(file, num_nets, num_rounds);
  } catch (const std::exception& failure) {
    fmt::print(stderr, "{}\n", failure.what());
    return 1;
  }
  return 0;
}
