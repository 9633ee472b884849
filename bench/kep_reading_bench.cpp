// What a router pays for a folded graph: waves and random expansions over KEP_ROUTING::NUMBERED_GRAPH, by
// NODE, and over a flat graph of the same edges in the same run.
//
//   kep_reading_bench [--nodes N[,N...]] [MODEL ROUTING]...
//
// Fabrics of these sizes are generated; devices are read from their files. A flat graph has compressed rows
// of 32-bit targets. A wave is Dijkstra's from a random node, by a binary heap, over 3000 nodes; an edge
// costs what its target's number tells, and marks stand in an array by number. A random expansion adds up the
// numbers of all fanouts of a random node. Each way takes its turn in each of the rounds; the least time
// counts.

#include "kep/kep_db.h"
#include "kep/kep_numbered_graph.h"
#include "kep_report/kep_report_capture.h"
#include "tools/kep-rg/device/load_device.h"
#include "tools/kep-rg/generate/generate.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using CLOCK = std::chrono::steady_clock;
using KEP_ROUTING::NUMBERED_FWD_EDGE;
using KEP_ROUTING::NUMBERED_GRAPH;

constexpr int NUM_WAVES = 20;
constexpr std::uint32_t NODES_OF_A_WAVE = 3000;
constexpr std::uint32_t NUM_EXPANSIONS = 100000;

struct FLAT_GRAPH {
  std::vector<std::uint32_t> m_first_edge{0}; // by node, and one more
  std::vector<std::uint32_t> m_targets;

  explicit FLAT_GRAPH(const NUMBERED_GRAPH& graph) {
    for (std::uint32_t node = 0; node != graph.get_num_nodes(); ++node) {
      for (const NUMBERED_FWD_EDGE& edge : graph.iter_all_fanout(node))
        m_targets.push_back(edge.get_fanout());
      m_first_edge.push_back(static_cast<std::uint32_t>(m_targets.size()));
    }
  }
  template <class VISIT>
  void visit(std::uint32_t node, const VISIT& visit) const {
    const std::uint32_t end = m_first_edge[node + std::size_t{1}];
    for (std::uint32_t edge = m_first_edge[node]; edge != end; ++edge)
      visit(m_targets[edge]);
  }
};

/// Dijkstra's waves; `expand(node, reach)` calls `reach` with each fanout.
class WAVES {
public:
  explicit WAVES(std::uint32_t num_nodes) : m_labels(num_nodes) {}

  /// The costs of all nodes that were taken.
  template <class EXPAND>
  std::uint64_t run(const std::vector<std::uint32_t>& starts, const EXPAND& expand) {
    std::uint64_t sum = 0;
    for (const std::uint32_t start : starts)
      sum += run(start, expand);
    return sum;
  }

private:
  struct LABEL {
    std::uint32_t m_wave = 0;
    std::uint32_t m_cost = 0;
  };

  template <class EXPAND>
  std::uint64_t run(std::uint32_t start, const EXPAND& expand) {
    std::uint64_t sum = 0;
    ++m_wave;
    m_heap.clear();
    reach(start, 0);
    for (std::uint32_t num_taken = 0; !m_heap.empty() && num_taken != NODES_OF_A_WAVE;) {
      const std::uint64_t top = m_heap.front();
      std::pop_heap(m_heap.begin(), m_heap.end(), std::greater<>());
      m_heap.pop_back();
      const auto node = static_cast<std::uint32_t>(top);
      const auto cost = static_cast<std::uint32_t>(top >> 32);
      if (cost != m_labels[node].m_cost) continue; // a cheaper way was found
      ++num_taken;
      sum += cost;
      expand(node, [this, cost](std::uint32_t to) { reach(to, cost + 1 + (to * 2654435761U >> 28)); });
    }
    return sum;
  }
  void reach(std::uint32_t node, std::uint32_t cost) {
    LABEL& label = m_labels[node];
    if (label.m_wave == m_wave && label.m_cost <= cost) return;
    label = {m_wave, cost};
    m_heap.push_back(std::uint64_t{cost} << 32 | node);
    std::push_heap(m_heap.begin(), m_heap.end(), std::greater<>());
  }

  std::vector<LABEL> m_labels;
  std::vector<std::uint64_t> m_heap;
  std::uint32_t m_wave = 0;
};

struct WAY {
  const char* m_name;
  std::function<std::uint64_t()> m_run;
  bool m_by_number = true; // what it gives is the same as by the other ways
  double m_best = 1e300;
};

/// In turns; the first is what the others are held against.
void compare(const char* what, double num_edges, int num_rounds, std::vector<WAY> ways) {
  const std::uint64_t expected = ways.front().m_run();
  for (int round = 0; round != num_rounds; ++round)
    for (WAY& way : ways) {
      const CLOCK::time_point start = CLOCK::now();
      const std::uint64_t sum = way.m_run();
      way.m_best = std::min(way.m_best, std::chrono::duration<double>(CLOCK::now() - start).count());
      if (way.m_by_number && sum != expected) throw std::runtime_error("two ways read different graphs");
    }
  const WAY& flat = ways.front();
  fmt::print("  {:<14} {} {:.2f} ns an edge", what, flat.m_name, flat.m_best * 1e9 / num_edges);
  for (std::size_t i = 1; i != ways.size(); ++i)
    fmt::print("; {} {:.2f}, {:.2f} times", ways[i].m_name, ways[i].m_best * 1e9 / num_edges,
               ways[i].m_best / flat.m_best);
  fmt::print("\n");
  std::fflush(stdout);
}

void compare_waves(const NUMBERED_GRAPH& graph, const FLAT_GRAPH& flat, int num_rounds) {
  std::mt19937 random(1);
  std::vector<std::uint32_t> starts(NUM_WAVES);
  for (std::uint32_t& start : starts)
    start = static_cast<std::uint32_t>(random() % graph.get_num_nodes());
  WAVES waves(graph.get_num_nodes());
  double num_edges = 0;
  waves.run(starts, [&](std::uint32_t node, const auto& reach) {
    num_edges += graph.get_num_edges(node);
    flat.visit(node, reach);
  });
  compare("waves", num_edges, num_rounds,
          {{"flat",
            [&] {
              return waves.run(starts,
                               [&](std::uint32_t node, const auto& reach) { flat.visit(node, reach); });
            }},
           {"by number", [&] {
              return waves.run(starts, [&](std::uint32_t node, const auto& reach) {
                for (const NUMBERED_FWD_EDGE& edge : graph.iter_all_fanout(node))
                  reach(edge.get_fanout());
              });
            }}});
}

/// Adds up what `expand(node)` gives.
template <class EXPAND>
std::uint64_t add_up(const auto& nodes, const EXPAND& expand) {
  std::uint64_t sum = 0;
  for (const auto& node : nodes)
    sum += expand(node);
  return sum;
}

void compare_expansions(const NUMBERED_GRAPH& graph, const FLAT_GRAPH& flat, int num_rounds) {
  std::mt19937 random(2);
  std::vector<std::uint32_t> numbers(NUM_EXPANSIONS);
  std::vector<KEP_ROUTING::NODE> nodes;
  double num_edges = 0;
  for (std::uint32_t& number : numbers) {
    number = static_cast<std::uint32_t>(random() % graph.get_num_nodes());
    num_edges += graph.get_num_edges(number);
    nodes.push_back(graph.get_graph().get_node(number));
  }
  const auto by_row = [&](std::uint32_t node) {
    std::uint64_t sum = 0;
    flat.visit(node, [&](std::uint32_t to) { sum += to; });
    return sum;
  };
  const auto by_number = [&](std::uint32_t node) {
    std::uint64_t sum = 0;
    for (const NUMBERED_FWD_EDGE& edge : graph.iter_all_fanout(node))
      sum += edge.get_fanout();
    return sum;
  };
  const auto by_numbers_of_nodes = [&](std::uint32_t node) {
    std::uint64_t sum = 0;
    for (const KEP_ROUTING::FWD_EDGE& edge : graph.get_graph().get_node(node).iter_all_fanout())
      sum += graph.get_graph().get_index(edge.get_fanout());
    return sum;
  };
  const auto by_nodes = [&](const KEP_ROUTING::NODE& node) {
    std::uint64_t sum = 0;
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout())
      sum += edge.get_fanout().hash();
    return sum;
  };
  compare("random nodes", num_edges, num_rounds,
          {{"flat", [&] { return add_up(numbers, by_row); }},
           {"by number", [&] { return add_up(numbers, by_number); }},
           {"get_node and get_index", [&] { return add_up(numbers, by_numbers_of_nodes); }},
           {"by NODE alone", [&] { return add_up(nodes, by_nodes); }, false}});
}

void measure(const std::string& name, const DEVICE_OPTIONS& options, int num_rounds) {
  const KEP_REPORT_CAPTURE quiet;
  BUILD_STATS stats;
  const std::unique_ptr<KEP_DB> db = read_device(options, stats);
  build_graph(db.get(), options, stats);
  const NUMBERED_GRAPH graph(*db->get_routing_template_graph());
  const FLAT_GRAPH flat(graph);
  fmt::print("{}: {} nodes, {} edges, {:.2f} MB\n", name, graph.get_num_nodes(), flat.m_targets.size(),
             static_cast<double>(graph.get_graph().get_memory_bytes()) / 1e6);
  compare_waves(graph, flat, num_rounds);
  compare_expansions(graph, flat, num_rounds);
}

void measure_fabric(std::uint64_t num_nodes, DEVICE_OPTIONS device, int num_rounds) {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("kep_reading_bench." + std::to_string(::getpid()));
  std::filesystem::create_directory(folder);
  GENERATE_OPTIONS options;
  options.m_nodes = num_nodes;
  options.m_model = device.m_model = folder / "model.json";
  options.m_routing = folder / "routing.jsonl";
  device.m_routing = {options.m_routing};
  {
    const KEP_REPORT_CAPTURE quiet;
    generate(options);
  }
  measure(fmt::format("fabric of {}", num_nodes), device, num_rounds);
  std::filesystem::remove_all(folder);
}

} // namespace

int main(int argc, char** argv) {
  CLI::App app("Reading a folded graph as a router does, beside a flat one");
  std::vector<std::uint64_t> nodes;
  std::vector<std::string> files;
  int num_rounds = 50;
  app.add_option("--nodes", nodes, "sizes of generated fabrics")->delimiter(',');
  app.add_option("--rounds", num_rounds, "how often each way takes its turn");
  app.add_option("files", files, "devices: a model and its routing description, each");
  CLI11_PARSE(app, argc, argv);
  try {
    DEVICE_OPTIONS device;
    device.m_num_threads = 2;
    device.m_quiet = true;
    for (std::size_t i = 0; i + 1 < files.size(); i += 2) {
      device.m_model = files[i];
      device.m_routing = {files[i + 1]};
      measure(std::filesystem::path(files[i]).filename(), device, num_rounds);
    }
    for (const std::uint64_t size : nodes)
      measure_fabric(size, device, num_rounds);
  } catch (const std::exception& failure) {
    fmt::print(stderr, "{}\n", failure.what());
    return 1;
  }
  return 0;
}
