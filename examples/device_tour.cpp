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

#include <algorithm>
#include <exception>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr KEP_NAME_STYLE STYLE{};

void show_graph(const KEP_ROUTING::GRAPH& graph) {
  std::cout << "\nThe graph\n  " << graph.get_num_nodes() << " nodes\n  " << graph.get_num_real_edges()
            << " real and " << graph.get_num_redundant_edges() << " redundant edges\n  "
            << graph.get_memory_bytes() << " bytes\n";
}

/// How often the modules directly below the top are used: what folding saves.
void show_sharing(const KEP_DB& db) {
  const KEP_MODULE* top = db.get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  std::map<std::string, unsigned> uses;
  for (const KEP_INSTANCE* instance : top->iter_instances())
    ++uses[instance->get_module()->get_name(STYLE)];
  std::vector<std::pair<unsigned, std::string>> most;
  for (const auto& [module, count] : uses)
    most.emplace_back(count, module);
  std::sort(most.rbegin(), most.rend());
  std::cout << "\nTile modules: " << most.size() << " stand for " << top->get_num_instances()
            << " tiles. The most shared:\n";
  for (std::size_t i = 0; i != std::min<std::size_t>(most.size(), 5); ++i)
    std::cout << std::setw(8) << most[i].first << " x " << most[i].second << "\n";
}

/// The first node with a handful of fanouts, redundant ones too where the device has any.
void show_one_node(const KEP_ROUTING::GRAPH& graph) {
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    if (node.get_num_edges() < 4 || node.get_num_edges() > 20) continue;
    if (graph.get_num_redundant_edges() != 0 && node.get_num_real_edges() == node.get_num_edges()) continue;
    std::cout << "\nOne node and what it drives\n  " << node.get_name(STYLE) << "\n";
    unsigned place = 0; // real edges come first
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout())
      std::cout << "    -> " << edge.get_fanout().get_name(STYLE) << "  through "
                << (edge.get_mux_input() ? edge.get_mux_input().get_name(STYLE) : "a plain wire")
                << (place++ < node.get_num_real_edges() ? "\n" : "  (redundant)\n");
    return;
  }
}

void tour(const std::string& model, const std::string& routing, const std::string& redundancy) {
  const std::unique_ptr<KEP_DB> db = kep_read_model(model);
  KEP_RG_PARSE parse(db.get());
  kep_read_routing(db.get(), parse, routing);
  const int num_threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  if (!redundancy.empty()) {
    KEP_RG_PARSE_REDUNDANCY parser(db.get(), static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                   KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, num_threads);
    for (const KEP_REDUNDANCY_FAULT& fault : kep_read_redundancy(db.get(), parser, redundancy))
      std::cerr << redundancy << ":" << fault.m_line << ": can't be read: \"" << fault.m_text << "\"\n";
  }
  KEP_RG_BUILD build(db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(num_threads));
  build.build();
  std::cout << "\nWhere the time went\n";
  for (const auto& [name, seconds] : build.get_phase_seconds())
    std::cout << "  " << std::setw(17) << std::left << name << std::right << seconds << " s\n";
  show_graph(*db->get_routing_template_graph());
  show_sharing(*db);
  show_one_node(*db->get_routing_template_graph());
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 3 && argc != 4) {
    std::cerr << "usage: device_tour MODEL.json ROUTING.jsonl [REDUNDANCY.txt]\n";
    return 1;
  }
  try {
    tour(argv[1], argv[2], argc == 4 ? argv[3] : "");
  } catch (const std::exception& error) {
    std::cerr << "device_tour: " << error.what() << "\n";
    return 1;
  }
}
