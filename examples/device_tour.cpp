// A tour of a device: builds its routing graph on all cores and shows what a newcomer would look at.
//
//   device_tour MODEL.json ROUTING.jsonl [REDUNDANCY.txt]

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_redundancy_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "kep_rg/kep_rg_phase_clock.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr KEP_NAME_STYLE STYLE{};

void show_phases(const KEP_RG_PHASES& phases) {
  fmt::print("\nWhere the time went\n");
  for (const auto& [name, seconds] : phases)
    fmt::print("  {:<17} {:8.3f} s\n", name, seconds);
}

void show_counts(const KEP_ROUTING::GRAPH& graph) {
  const std::uint64_t edges = graph.get_num_real_edges() + graph.get_num_redundant_edges();
  fmt::print("\nThe graph\n");
  fmt::print("  {:>12} nodes\n  {:>12} edges, {} of them redundant\n", graph.get_num_nodes(), edges,
             graph.get_num_redundant_edges());
  fmt::print("  {:>12.1f} MiB in memory\n", static_cast<double>(graph.get_memory_bytes()) / (1024 * 1024));
}

/// How often the modules directly below the top are used: what folding saves.
void show_sharing(const KEP_DB& db) {
  std::map<const KEP_MODULE*, unsigned> uses;
  const KEP_MODULE* top = db.get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  for (const KEP_INSTANCE* instance : top->iter_instances())
    ++uses[instance->get_module()];
  std::vector<std::pair<unsigned, const KEP_MODULE*>> sorted;
  for (const auto& [module, count] : uses)
    sorted.emplace_back(count, module);
  std::sort(sorted.begin(), sorted.end(), [](const auto& left, const auto& right) {
    return left.first != right.first ? left.first > right.first
                                     : left.second->get_number() < right.second->get_number();
  });
  fmt::print("\nTile modules: {} stand for {} tiles. The most shared:\n", sorted.size(),
             top->get_num_instances());
  for (std::size_t i = 0; i != std::min<std::size_t>(sorted.size(), 5); ++i)
    fmt::print("  {:>6} x {} ({} instances inside)\n", sorted[i].first, sorted[i].second->get_name(STYLE),
               sorted[i].second->get_num_instances());
}

/// Nodes by their number of fanouts, in powers of two.
void show_fanouts(const KEP_ROUTING::GRAPH& graph) {
  std::vector<std::uint64_t> counts;
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    std::size_t bucket = 0;
    for (unsigned fanouts = node.get_num_edges(); fanouts != 0; fanouts /= 2)
      ++bucket;
    if (bucket >= counts.size()) counts.resize(bucket + 1);
    ++counts[bucket];
  }
  fmt::print("\nFanouts of a node\n");
  const std::uint64_t most = counts.empty() ? 1 : *std::max_element(counts.begin(), counts.end());
  for (std::size_t bucket = 0; bucket != counts.size(); ++bucket) {
    const std::size_t low = bucket == 0 ? 0 : std::size_t{1} << (bucket - 1);
    const std::size_t high = bucket == 0 ? 0 : 2 * low - 1;
    const std::string range = low == high ? fmt::format("{}", low) : fmt::format("{}..{}", low, high);
    fmt::print("  {:>11} {:>9} {}\n", range, counts[bucket], std::string(counts[bucket] * 50 / most, '#'));
  }
}

void show_edges(const boost::iterator_range<KEP_ROUTING::EDGE_ITER<KEP_ROUTING::FWD_EDGE>>& edges,
                const char* kind) {
  for (const KEP_ROUTING::FWD_EDGE& edge : edges)
    fmt::print("    -> {}  through {}{}\n", edge.get_fanout().get_name(STYLE),
               edge.get_mux_input() ? edge.get_mux_input().get_name(STYLE) : "a plain wire", kind);
}

/// The first node with a handful of fanouts, redundant ones too where the device has any, each with the mux
/// input through which it is reached.
void show_one_node(const KEP_ROUTING::GRAPH& graph) {
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    if (node.get_num_edges() < 4 || node.get_num_edges() > 20) continue;
    if (graph.get_num_redundant_edges() != 0 && node.get_num_real_edges() == node.get_num_edges()) continue;
    fmt::print("\nOne node and what it drives\n  {}\n", node.get_name(STYLE));
    show_edges(node.iter_real_fanout(), "");
    show_edges(node.iter_redundant_fanout(), "  (redundant)");
    return;
  }
}

void tour(const std::string& model, const std::string& routing, const std::string& redundancy) {
  KEP_RG_PHASES phases;
  const std::unique_ptr<KEP_DB> db = [&] {
    const KEP_RG_PHASE_CLOCK clock(phases, "load");
    return kep_read_model(model);
  }();
  KEP_RG_PARSE parse(db.get());
  {
    const KEP_RG_PHASE_CLOCK clock(phases, "describe");
    kep_read_routing(db.get(), parse, routing);
  }
  const auto num_threads = static_cast<int>(std::thread::hardware_concurrency());
  if (!redundancy.empty()) {
    const KEP_RG_PHASE_CLOCK clock(phases, "redundancy");
    KEP_RG_PARSE_REDUNDANCY parser(db.get(), static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                   KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, num_threads);
    for (const KEP_REDUNDANCY_FAULT& fault : kep_read_redundancy(db.get(), parser, redundancy))
      std::cerr << redundancy << ":" << fault.m_line << ": can't be read: \"" << fault.m_text << "\"\n";
  }
  // A progress line for each range of nodes; on a device this small a second of work would pass in silence.
  KEP_RG_BUILD build(db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(num_threads).set_nodes_per_display(1));
  build.build();
  phases.insert(phases.end(), build.get_phase_seconds().begin(), build.get_phase_seconds().end());

  const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
  show_phases(phases);
  show_counts(graph);
  show_sharing(*db);
  show_fanouts(graph);
  show_one_node(graph);
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 3 && argc != 4) {
    std::cerr << "usage: device_tour MODEL.json ROUTING.jsonl [REDUNDANCY.txt]\n";
    return 2;
  }
  try {
    tour(argv[1], argv[2], argc == 4 ? argv[3] : "");
  } catch (const std::exception& error) {
    std::cerr << "device_tour: " << error.what() << "\n";
    return 2;
  }
}
