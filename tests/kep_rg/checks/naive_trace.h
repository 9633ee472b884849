#pragma once

#include "kep/kep_flat_utils.h"
#include "kep_rg/kep_rg_trace_predicate.h"
#include "tests/support/check_report.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The edge trace once more: each search is written down as it runs, and read afterwards edge by edge.
namespace test_model {

class NAIVE_TRACE {
public:
  NAIVE_TRACE(KEP_DB& db, const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache)
      : m_cache(cache), m_primitives(&db, &cache),
        m_rank(db.get_routing_template_graph()->find_routing_primitive()->get_view_type_rank()),
        m_predicate(&db, m_primitives, m_rank, nullptr) {}

  using UIPS = std::vector<KEP_UNFOLDED_INST_PORT>;

  /// Of an edge between nodes that are none of the boundary; `mux_input` is that of the first edge between
  /// them.
  std::optional<UIPS> trace(const KEP_ROUTING::NODE& from, const KEP_ROUTING::NODE& to,
                            const KEP_UNFOLDED_INST_PORT& mux_input) const {
    const KEP_UNFOLDED_INST_PORT source = from.get_unfolded_inst_port();
    const KEP_UNFOLDED_INST_PORT target = to.get_unfolded_inst_port();
    const bool tunnel = tunnel_type(source) == 1 && tunnel_type(target) == 3;
    UIPS found;
    if (read(walk(source, source, {}, tunnel), source, target, mux_input, found)) return found;
    if (read(walk(source, {}, source.get_unfolded_port(m_rank), false), source, target, mux_input, found))
      return found;
    return std::nullopt;
  }

  /// What is wrong with the trace, as the line that tells it; "" for nothing, "uip_net" for that assertion.
  std::string follow(const KEP_ROUTING::NODE& from, const UIPS& trace) const {
    const KEP_UNFOLDED_INST_PORT source = from.get_unfolded_inst_port();
    const KEP_UNFOLDED_NET outer = source.get_unfolded_net();
    const KEP_UNFOLDED_NET inner = source.get_unfolded_port(m_rank).get_unfolded_net();
    KEP_UNFOLDED_NET here;
    KEP_UNFOLDED_INST_PORT before = source;
    bool is_first = true;
    const auto text = [](const auto& value) { return value.get_name(KEP_NAME_STYLE()); };
    for (const KEP_UNFOLDED_INST_PORT& at : trace) {
      const KEP_UNFOLDED_NET sides[2] = {at.get_unfolded_net(),
                                         at.get_unfolded_port(m_rank).get_unfolded_net()};
      const std::string start = "UIP " + text(at) + ": ";
      if (m_cache.is_arc_output(at.m_object->get_port())) {
        if (!m_cache.find_routing_arc(before.m_object->get_port(), at.m_object->get_port()))
          return start + "Arc output, but no arc to previous uip " + text(before);
        here = sides[0];
      } else {
        if (!sides[0]) return "uip_net";
        const auto may_enter = [&](const KEP_UNFOLDED_NET& net) {
          if (is_first) return net && (net == outer || net == inner);
          return net == here;
        };
        if (may_enter(sides[0]))
          here = sides[1];
        else if (may_enter(sides[1]))
          here = sides[0];
        else if (is_first)
          return start + "Mismatching uip/port nets " + text(sides[0]) + " / " + text(sides[1]) +
                 ". Should have been " + text(outer) + " or " + text(inner);
        else
          return start + "Mismatching net " + text(sides[0]) + ". Should have been " + text(here);
        is_first = false;
      }
      before = at;
    }
    return "";
  }

  /// What verifying all edges of the graph says: nothing, its two lines, one line, or the expression of the
  /// assertion that fails.
  std::vector<std::string> verify_all(const KEP_DB& db) const {
    for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes())
      for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout()) {
        const KEP_ROUTING::NODE to = edge.get_fanout();
        const std::string ends = node.get_name({}) + " to " + to.get_name({});
        if (node.is_boundary()) return {"0"};
        std::optional<UIPS> found;
        if (!to.is_boundary()) found = trace(node, to, first_mux_input(node, to));
        if (!found) return {"Issue determining trace from " + ends};
        const std::string line = follow(node, *found);
        if (line == "uip_net") return {line};
        if (!line.empty()) return {line, "Issue validating trace from " + ends};
      }
    return {};
  }

  static KEP_UNFOLDED_INST_PORT first_mux_input(const KEP_ROUTING::NODE& from, const KEP_ROUTING::NODE& to) {
    for (const KEP_ROUTING::FWD_EDGE& edge : from.iter_all_fanout())
      if (edge.get_fanout() == to) return edge.get_mux_input();
    return {};
  }

private:
  struct EVENT {
    KEP_UNFOLDED_NET m_net;       // of a net that is begun
    KEP_UNFOLDED_INST_PORT m_uip; // else of a uip that is visited; a port is not kept
    int m_type = 0;
  };
  class RECORDER : public KEP_UNFOLD_OBSERVER {
  public:
    void start_net(const KEP_UNFOLDED_NET& net) override { m_events.push_back({net, {}, 0}); }
    void visit(const KEP_UNFOLDED_PORT&, VISIT_TYPE type) override {
      m_events.push_back({{}, {}, static_cast<int>(type)});
    }
    void visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) override {
      m_events.push_back({{}, uip, static_cast<int>(type)});
    }
    std::vector<EVENT> m_events;
  };

  int tunnel_type(const KEP_UNFOLDED_INST_PORT& uip) const {
    return static_cast<int>(m_primitives.get_tunnel_type(uip.m_object->get_port()->get_parent()));
  }
  static std::size_t num_points(const KEP_UNFOLDED_NET& net) {
    return net ? net.m_object->get_num_ports() + std::size_t{net.m_object->get_num_inst_ports()} : 0;
  }

  std::vector<EVENT> walk(const KEP_UNFOLDED_INST_PORT& source, const KEP_UNFOLDED_INST_PORT& uip,
                          const KEP_UNFOLDED_PORT& port, bool tunnel) const {
    RECORDER recorder;
    KEP_LEAF_RESULTS results;
    KEP_GET_LEAF_PARAMS params;
    params.m_view_type_rank = m_rank;
    params.m_honour_tunnels = tunnel;
    KEP_LEAF_SEARCH<KEP_RG_TRACE_PREDICATE>(m_predicate, &recorder)
        .find_leaves(uip, port, results, params, source, {});
    return recorder.m_events;
  }

  /// Whether the target is met on the way, and the chain to it behind what `trace` holds.
  static bool read(const std::vector<EVENT>& events, const KEP_UNFOLDED_INST_PORT& source,
                   const KEP_UNFOLDED_INST_PORT& target, const KEP_UNFOLDED_INST_PORT& mux_input,
                   UIPS& trace) {
    std::vector<std::pair<std::size_t, std::size_t>> branches; // length of the trace, ways left
    std::vector<KEP_UNFOLDED_INST_PORT> dead_ends;
    const auto rewind = [&] {
      while (!branches.empty()) {
        auto& [length, ways] = branches.back();
        trace.resize(length);
        if (ways-- > 1) return;
        branches.pop_back();
      }
    };
    for (const EVENT& event : events) {
      if (event.m_net) {
        if (num_points(event.m_net) > 2) branches.push_back({trace.size(), num_points(event.m_net) - 1});
      } else if (!event.m_uip) {
        if (event.m_type == 11) rewind();
      } else {
        const bool is_mux_input = event.m_uip == mux_input;
        if (is_mux_input || (event.m_type != 11 && !(event.m_uip == source))) trace.push_back(event.m_uip);
        if (is_mux_input) trace.push_back(target);
        if (is_mux_input || event.m_uip == target) return true;
        const bool goes_on =
            event.m_type != 10 && event.m_type != 11 && num_points(event.m_uip.get_unfolded_net()) >= 2;
        if (goes_on || std::find(dead_ends.begin(), dead_ends.end(), event.m_uip) != dead_ends.end())
          continue;
        dead_ends.push_back(event.m_uip);
        rewind();
      }
    }
    return false;
  }

  const KEP_DB_ROUTING_PRIMITIVE_CACHE& m_cache;
  KEP_RG_PRIMITIVES m_primitives;
  KEP_VIEW_TYPE_RANK m_rank;
  KEP_RG_TRACE_PREDICATE m_predicate;
};

} // namespace test_model
