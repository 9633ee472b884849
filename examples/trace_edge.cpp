// The way of an edge through the hierarchy of a device: each net and mux between two nodes.
//
//   trace_edge DEVICE.kdb FROM TO

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_io/kep_database_file.h"
#include "kep_io/kep_find_nodes.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_trace_edge.h"

#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr KEP_NAME_STYLE STYLE{};

void trace(const std::string& path, const std::string& from_name, const std::string& to_name) {
  const std::unique_ptr<KEP_DB> db = kep_open_database(path);
  // A name may stand for a plain node and its hipi twin; the plain one comes first.
  const KEP_ROUTING::NODE from = kep_get_nodes(*db, from_name).front();
  const KEP_ROUTING::NODE to = kep_get_nodes(*db, to_name).front();
  if (from.is_boundary() || to.is_boundary())
    throw std::runtime_error("an edge at a port of the top has no trace");

  const KEP_DB_CACHE names(KEP_VIEW_TYPE::LOGICAL, false);
  const KEP_DB_ROUTING_PRIMITIVE_CACHE description(db.get());
  KEP_RG_TRACE_EDGE tracer(db.get(), names, description);
  std::vector<KEP_UNFOLDED_INST_PORT> trace;
  const KEP_REPORT_CAPTURE quiet; // it also tells why there is none
  if (!tracer.trace_edge(from, to, trace))
    throw std::runtime_error("no trace from " + from_name + " to " + to_name);

  // Each hop is held to the nets and arcs of the model.
  std::vector<KEP_RG_TRACE_EDGE::HOP> hops;
  const KEP_RG_TRACE_EDGE::OUTCOME outcome = tracer.check_trace(from, trace, hops);
  std::cout << from.get_name(STYLE) << "\n";
  for (const KEP_RG_TRACE_EDGE::HOP& hop : hops) {
    if (hop.m_is_arc)
      std::cout << "  through mux " << hop.m_uip.get_unfolded_instance().get_name(STYLE);
    else
      std::cout << "  by net " << (hop.m_net ? hop.m_net.get_name(STYLE) : "none");
    std::cout << " to " << hop.m_uip.get_name(STYLE) << "\n";
  }
  if (outcome != KEP_RG_TRACE_EDGE::OUTCOME::VERIFIED)
    std::cout << "  and no further: " << kep_rg_get_reason(outcome) << "\n";
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: trace_edge DEVICE.kdb FROM TO\n";
    return 1;
  }
  try {
    trace(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::cerr << "trace_edge: " << error.what() << "\n";
    return 1;
  }
}
