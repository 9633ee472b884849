#include "kep/kep_routing_graph.h"
#include "kep/kep_routing_primitive_cache.h"
#include "kep_io/kep_find_nodes.h"
#include "kep_report/kep_report.h"
#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_trace_edge.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/commands/node_words.h"
#include "tools/kep-rg/output/plain_output.h"

#include <memory>
#include <ostream>
#include <vector>

namespace {

using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;
using KEP_ROUTING::FWD_EDGE;
using KEP_ROUTING::NODE;

std::string get_net_text(const KEP_UNFOLDED_NET& net) {
  return net ? net.get_name(NAME_STYLE) : "none";
}

/// A line for each edge between the two: edges that run side by side have one trace, that of the first.
bool print_edges(const NODE& from, const NODE& to) {
  bool found = false;
  std::size_t place = 0;
  for (const FWD_EDGE& edge : from.iter_all_fanout()) {
    const bool is_real = place++ < from.get_num_real_edges();
    if (edge.get_fanout() != to) continue;
    info() << kep_rg_get_node_text(from) << " -> " << kep_rg_get_node_text(to) << ", "
           << (is_real ? "real" : "redundant");
    if (const KEP_UNFOLDED_INST_PORT mux_input = edge.get_mux_input())
      info() << ", through " << mux_input.get_name(NAME_STYLE);
    info() << std::endl;
    found = true;
  }
  return found;
}

class TRACE_PRINTER {
public:
  explicit TRACE_PRINTER(const KEP_DB& db) : m_cache(&db), m_tracer(&db, m_cache) {}

  /// The hops of the one trace; false when it does not verify and is to be told of as a finding.
  bool print(const NODE& from, const NODE& to) {
    OUTCOME outcome = from.is_boundary() ? OUTCOME::STARTS_AT_BOUNDARY
                      : to.is_boundary() ? OUTCOME::ENDS_AT_BOUNDARY
                                         : OUTCOME::NOT_FOUND;
    if (outcome == OUTCOME::NOT_FOUND && m_tracer.trace_edge(from, to, m_trace)) {
      outcome = m_tracer.check_trace(from, m_trace, m_hops);
      print_hops();
      if (outcome != OUTCOME::VERIFIED) print_rest();
    }
    if (outcome != OUTCOME::VERIFIED) info() << "  no trace: " << kep_rg_get_reason(outcome) << std::endl;
    return !kep_rg_find_kind(outcome);
  }

private:
  void print_hops() const {
    if (m_trace.empty()) info() << "  at the same place" << std::endl;
    for (const KEP_RG_TRACE_EDGE::HOP& hop : m_hops) {
      if (hop.m_is_arc)
        info() << "  mux " << hop.m_uip.get_unfolded_instance().get_name(NAME_STYLE);
      else
        info() << "  net " << get_net_text(hop.m_net);
      info() << " to " << hop.m_uip.get_name(NAME_STYLE) << std::endl;
    }
  }
  /// What the search left behind the last good hop, with the two nets of each uip.
  void print_rest() const {
    for (std::size_t i = m_hops.size(); i != m_trace.size(); ++i) {
      const KEP_UNFOLDED_INST_PORT& uip = m_trace[i];
      const KEP_UNFOLDED_PORT port = uip.get_unfolded_port(KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank);
      info() << "  ? to " << uip.get_name(NAME_STYLE)
             << " (net outside: " << get_net_text(uip.get_unfolded_net())
             << ", inside: " << get_net_text(port.get_unfolded_net()) << ")" << std::endl;
    }
  }

  KEP_DB_ROUTING_PRIMITIVE_CACHE m_cache;
  KEP_RG_TRACE_EDGE m_tracer;
  std::vector<KEP_UNFOLDED_INST_PORT> m_trace;
  std::vector<KEP_RG_TRACE_EDGE::HOP> m_hops;
};

/// Prints the traces of the edges between two nodes, hop by hop; a name stands for all nodes at its place, a
/// plain node and its hipi twin. False when there is no such edge and when the trace of one does not verify.
bool trace(const KEP_DB& db, const std::string& from_name, const std::string& to_name) {
  const std::vector<NODE> sources = kep_get_nodes(db, from_name);
  const std::vector<NODE> targets = kep_get_nodes(db, to_name);
  TRACE_PRINTER printer(db);
  bool found = false;
  bool clean = true;
  for (const NODE& from : sources)
    for (const NODE& to : targets)
      if (print_edges(from, to)) {
        found = true;
        clean &= printer.print(from, to);
      }
  if (!found) info() << "No edge from " << from_name << " to " << to_name << std::endl;
  return found && clean;
}

} // namespace

COMMAND add_trace_command(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("trace", "Build the routing graph of a device and print the way of an "
                                  "edge through the hierarchy, a line for each hop");
  const auto device = std::make_shared<DEVICE_OPTIONS>();
  const auto words = std::make_shared<NODE_WORDS>(std::vector<std::string>{"FROM", "TO"});
  words->add_to(*command,
                "The device model and its routing descriptions, or a device database, and the names of the "
                "two nodes as the dump has them: a/b:c, or :p for the boundary node of a port. A name stands "
                "for the plain "
                "node and for the hipi node at its place");
  add_device_options(*command, *device);
  command->footer(
      "Exit status: 0 the edge is there and its trace verifies, or it is an edge at a boundary node, "
      "which has none; 1 there is no such edge, or its trace does not verify; 2 bad input or bad use, a "
      "name without a node among it; 3 an internal failure.");
  return {command, [device, words] {
            const std::vector<std::string> names = words->take(*device);
            return answer_on_device(*device, [&](const KEP_DB& db) { return trace(db, names[0], names[1]); });
          }};
}
