#pragma once

#include "tests/support/random_fabric.h"

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// The routing graph of a random fabric by brute force: every occurrence spelled out, every connection
/// followed net by net, nothing shared or kept. Nodes and edges are lines as graph_text.h writes them.
namespace test_model {

class NAIVE_ROUTING {
public:
  explicit NAIVE_ROUTING(const RANDOM_FABRIC& fabric) : m_fabric(fabric) {
    const std::size_t top = fabric.modules().size() - 1;
    m_occurrences.push_back({top, 0, 0, "", {}});
    for (std::size_t i = 0; i != m_occurrences.size(); ++i)
      unfold(i);
    make_nodes(0);
    if (routes_top_ports())
      for (unsigned port = 0; port != fabric.top().m_ports.size(); ++port)
        m_nodes.push_back(":p" + std::to_string(port));
    make_edges();
  }

  // What the graph has to be, in no order.
  const std::vector<std::string>& nodes() const { return m_nodes; }
  const std::vector<std::string>& edges() const { return m_edges; }
  unsigned m_created = 0, m_inserted = 0, m_repeated = 0, m_eliminated = 0, m_twins = 0;
  std::uint64_t m_missing = 0; ///< targets without a node
  // What happened on the way.
  unsigned m_down = 0, m_up = 0, m_skipped = 0, m_redundant = 0, m_to_twin = 0, m_to_top = 0,
           m_through_own = 0;

private:
  struct OCCURRENCE {
    std::size_t m_module;
    std::size_t m_parent;
    unsigned m_instance; // in the parent
    std::string m_path;
    std::vector<std::size_t> m_children; // by instance
  };
  struct UIP {
    std::size_t m_occurrence;
    unsigned m_instance;
    unsigned m_port;
    auto operator<=>(const UIP&) const = default;
  };
  using NET = std::pair<std::size_t, int>; // an occurrence and a net of its module
  struct FOUND {
    std::vector<UIP> m_uips;
    std::vector<unsigned> m_top_ports;
  };

  const FABRIC_MODULE& module(std::size_t occurrence) const {
    return m_fabric.modules()[m_occurrences[occurrence].m_module];
  }
  const FABRIC_INSTANCE& instance(const UIP& uip) const {
    return module(uip.m_occurrence).m_instances[uip.m_instance];
  }
  const FABRIC_MODULE& master(const UIP& uip) const { return m_fabric.modules()[instance(uip).m_master]; }
  const FABRIC_PORT& port(const UIP& uip) const { return master(uip).m_ports[uip.m_port]; }
  NET outer(const UIP& uip) const { return {uip.m_occurrence, instance(uip).m_nets[uip.m_port]}; }
  NET inner(const UIP& uip) const {
    return {m_occurrences[uip.m_occurrence].m_children[uip.m_instance], port(uip).m_net};
  }
  bool is_skip(const UIP& uip) const { return master(uip).m_is_skip_mux != instance(uip).m_is_skip_path; }
  bool routes_top_ports() const { return m_fabric.db_type() == KEP_DB_TYPE::TOP_PORTS_ROUTED; }
  static bool has_twin(const FABRIC_PORT& port) { return port.m_hipi == 1 || port.m_hipi == 2; }

  std::string name(const UIP& uip) const {
    return m_occurrences[uip.m_occurrence].m_path + "i" + std::to_string(uip.m_instance) + ":p" +
           std::to_string(uip.m_port);
  }

  void unfold(std::size_t at) {
    for (unsigned i = 0; i != module(at).m_instances.size(); ++i) {
      m_occurrences[at].m_children.push_back(m_occurrences.size());
      m_occurrences.push_back({module(at).m_instances[i].m_master,
                               at,
                               i,
                               m_occurrences[at].m_path + "i" + std::to_string(i) + "/",
                               {}});
    }
  }

  // The outputs behind a port of a mux, on this instance.
  std::vector<UIP> arc_outputs(const UIP& uip) const {
    std::vector<UIP> outputs;
    for (const FABRIC_ARC& arc : master(uip).m_arcs)
      if (arc.m_input == uip.m_port) outputs.push_back({uip.m_occurrence, uip.m_instance, arc.m_output});
    return outputs;
  }

  void make_nodes(std::size_t at) {
    for (unsigned i = 0; i != module(at).m_instances.size(); ++i) {
      const FABRIC_MODULE& below = m_fabric.modules()[module(at).m_instances[i].m_master];
      for (unsigned p = 0; p != below.m_ports.size(); ++p)
        if (below.m_ports[p].m_is_inserted) make_node({at, i, p}, true);
      if (!below.is_stop()) {
        make_nodes(m_occurrences[at].m_children[i]);
        continue;
      }
      std::set<unsigned> outputs;
      for (const FABRIC_ARC& arc : below.m_arcs)
        outputs.insert(arc.m_output);
      for (const unsigned output : outputs)
        if (module(at).m_instances[i].m_has_header) make_node({at, i, output}, false);
    }
  }

  bool is_excluded(const UIP& uip) const {
    if (outer(uip).second < 0 && inner(uip).second < 0) return true;
    if (!is_skip(uip)) return false;
    const auto& arcs = master(uip).m_arcs;
    return std::any_of(arcs.begin(), arcs.end(), [&](const FABRIC_ARC& arc) {
      return arc.m_input == uip.m_port || arc.m_output == uip.m_port;
    });
  }

  void make_node(const UIP& uip, bool inserted) {
    if (is_excluded(uip)) {
      ++m_eliminated;
    } else if (!m_uips.insert(uip).second) {
      ++m_repeated;
    } else {
      ++m_created;
      m_inserted += inserted;
      m_nodes.push_back(name(uip));
      if (!has_twin(port(uip))) return;
      ++m_twins;
      m_nodes.push_back(name(uip) + "*");
    }
  }

  void make_edges() {
    for (const UIP& uip : m_uips) {
      if (has_twin(port(uip))) m_edges.push_back(name(uip) + "* -> " + name(uip));
      connect(&uip, 0, search(uip));
    }
    if (!routes_top_ports()) return;
    for (unsigned p = 0; p != m_fabric.top().m_ports.size(); ++p)
      if (!m_fabric.top().m_ports[p].is_output())
        connect(nullptr, p, follow({{0, m_fabric.top().m_ports[p].m_net}}));
  }

  FOUND search(const UIP& uip) {
    if (port(uip).is_input() && !master(uip).m_arcs.empty()) return {arc_outputs(uip), {}};
    std::deque<NET> nets;
    if (!port(uip).is_output()) nets.push_back(inner(uip));
    if (!port(uip).is_input()) nets.push_back(outer(uip));
    return follow(nets);
  }

  FOUND follow(std::deque<NET> nets) {
    FOUND found;
    std::set<NET> seen;
    for (; !nets.empty(); nets.pop_front()) {
      const NET net = nets.front();
      if (net.second < 0 || !seen.insert(net).second) continue;
      for (unsigned i = 0; i != module(net.first).m_instances.size(); ++i)
        for (unsigned p = 0; p != module(net.first).m_instances[i].m_nets.size(); ++p)
          if (module(net.first).m_instances[i].m_nets[p] == net.second)
            arrive({net.first, i, p}, found, nets);
      for (unsigned p = 0; p != module(net.first).m_ports.size(); ++p)
        if (module(net.first).m_ports[p].m_net == net.second && !module(net.first).m_ports[p].is_input())
          leave(net.first, p, found, nets);
    }
    return found;
  }

  void arrive(const UIP& uip, FOUND& found, std::deque<NET>& nets) {
    if (port(uip).is_output()) return;
    if (port(uip).m_is_inserted) {
      found.m_uips.push_back(uip);
      return;
    }
    const std::vector<UIP> outputs = is_skip(uip) ? arc_outputs(uip) : std::vector<UIP>();
    for (const UIP& output : outputs) {
      ++m_skipped;
      if (port(output).m_is_inserted)
        found.m_uips.push_back(output);
      else
        nets.push_back(outer(output));
    }
    if (!outputs.empty()) return;
    if (master(uip).is_stop()) {
      found.m_uips.push_back(uip);
    } else if (inner(uip).second >= 0) {
      ++m_down;
      nets.push_back(inner(uip));
    }
  }

  void leave(std::size_t at, unsigned p, FOUND& found, std::deque<NET>& nets) {
    if (at == 0) {
      found.m_top_ports.push_back(p);
      return;
    }
    ++m_up;
    const UIP outside{m_occurrences[at].m_parent, m_occurrences[at].m_instance, p};
    if (port(outside).m_is_inserted)
      found.m_uips.push_back(outside);
    else
      nets.push_back(outer(outside));
  }

  // `source` is null for a port of the top.
  void connect(const UIP* source, unsigned top_port, const FOUND& found) {
    const std::string from = source ? name(*source) : ":p" + std::to_string(top_port);
    for (const UIP& leaf : found.m_uips) {
      if (source && leaf == *source) continue;
      const bool load = !port(leaf).is_output();
      const bool redundant = load && m_fabric.db_type() != KEP_DB_TYPE::NO_REDUNDANCY &&
                             instance(leaf).m_is_redundant[leaf.m_port];
      const std::vector<UIP> outputs =
          load && !port(leaf).m_is_inserted ? arc_outputs(leaf) : std::vector<UIP>();
      for (const UIP& output : outputs)
        if (!source || output != *source) add_edge(from, redundant, output, &leaf, false);
      if (!outputs.empty()) continue;
      const bool own = source && is_arc(*source, leaf);
      m_through_own += own;
      add_edge(from, redundant, leaf, own ? source : nullptr, port(leaf).m_is_inserted);
    }
    if (!routes_top_ports()) return;
    for (const unsigned p : found.m_top_ports) {
      if (!source && p == top_port) continue;
      ++m_to_top;
      m_edges.push_back(from + " -> :p" + std::to_string(p));
    }
  }

  bool is_arc(const UIP& input, const UIP& output) const {
    if (instance(input).m_master != instance(output).m_master) return false;
    const auto& arcs = master(input).m_arcs;
    return std::any_of(arcs.begin(), arcs.end(), [&](const FABRIC_ARC& arc) {
      return arc.m_input == input.m_port && arc.m_output == output.m_port;
    });
  }

  void add_edge(const std::string& from, bool redundant, const UIP& to, const UIP* mux_input, bool inserted) {
    if (!m_uips.contains(to)) {
      ++m_missing;
      return;
    }
    const bool twin = !inserted && mux_input && has_twin(port(*mux_input)) && has_twin(port(to));
    m_to_twin += twin;
    m_redundant += redundant;
    m_edges.push_back(from + (redundant ? " ~> " : " -> ") + name(to) + (twin ? "*" : "") +
                      (mux_input ? " via " + name(*mux_input) : ""));
  }

  const RANDOM_FABRIC& m_fabric;
  std::vector<OCCURRENCE> m_occurrences; // the top first
  std::set<UIP> m_uips;                  // that have nodes
  std::vector<std::string> m_nodes;
  std::vector<std::string> m_edges;
};

} // namespace test_model
