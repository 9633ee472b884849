// Opens a device database, tells what is in it, and checks its graph by the rules that its readers rely on.
//
//   open_and_check DEVICE.kdb

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_io/kep_database_file.h"
#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_proof.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

namespace {

constexpr std::size_t MAX_SHOWN = 10; // of each kind

void show(const KEP_ROUTING::GRAPH& graph, const KEP_RG_FINDINGS& findings) {
  for (const KEP_RG_FINDINGS::PLACE& place : findings.m_first)
    std::cout << kep_rg_get_finding(graph, findings.m_kind, place).m_text << "\n";
  if (findings.m_num > findings.m_first.size())
    std::cout << findings.m_num - findings.m_first.size() << " more of the kind "
              << kep_rg_get_id(findings.m_kind) << "\n";
}

void check(const std::string& path) {
  KEP_DATABASE_INFO info;
  const std::unique_ptr<KEP_DB> db = kep_open_database(path, KEP_DATABASE_CHECKSUMS::TEST, &info);
  const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
  for (const KEP_DATABASE_INPUT& input : info.m_origin.m_inputs)
    std::cout << "made from " << input.m_role << " " << input.m_name << "\n";
  std::cout << graph.get_num_nodes() << " nodes, " << graph.get_num_real_edges() << " real edges, "
            << graph.get_num_redundant_edges() << " redundant ones\n";

  show(graph, kep_rg_find_no_node(graph));
  show(graph, kep_rg_find_hipi_order(graph, MAX_SHOWN));
  show(graph, kep_rg_find_doubled_edges(graph, MAX_SHOWN));
  show(graph, kep_rg_find_unreachable_nodes(graph, MAX_SHOWN));

  // Does the graph agree with the model, node by node and edge by edge?
  const int num_threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  const KEP_RG_PROOF::RESULT result = KEP_RG_PROOF(db.get()).run(num_threads, MAX_SHOWN);
  for (const KEP_RG_PROOF::NODE_FINDING& found : result.m_node_findings)
    std::cout << kep_rg_get_finding(found).m_text << "\n";
  for (const KEP_RG_PROOF::EDGE_FINDING& found : result.m_edge_findings)
    std::cout << kep_rg_get_finding(found).m_text << "\n";
  std::cout << (result.is_sound() ? "the graph agrees with the model\n" : "the graph is wrong\n");
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: open_and_check DEVICE.kdb\n";
    return 1;
  }
  try {
    check(argv[1]);
  } catch (const std::exception& error) {
    std::cerr << "open_and_check: " << error.what() << "\n";
    return 1;
  }
}
