#pragma once

#include "tests/kep_rg/proof/damage_subject.h"

#include <functional>
#include <set>
#include <string>
#include <vector>

/// The kinds of single damages that are done to sound graphs, and which detectors have to find them.
namespace test_model {

using PLACE = DAMAGE_SUBJECT::PLACE;

/// One kind of damage. It makes a single change to the lists and publishes them; false where the graph has no
/// place for it.
struct DAMAGE_KIND {
  const char* m_name;
  std::set<std::string> m_found_by; ///< always
  std::set<std::string> m_never_found_by;
  std::function<bool(DAMAGE_SUBJECT&)> m_apply;
};

inline bool publish(DAMAGE_SUBJECT& subject) {
  subject.graph().publish();
  return true;
}

inline bool double_real_edge(DAMAGE_SUBJECT& s, bool with_redundant_edges) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return !each.m_is_redundant && s.is_plain(each.m_from) &&
           s.node(each.m_from).m_redundant.empty() != with_redundant_edges;
  };
  if (!s.pick_edge(at, holds)) return false;
  s.list(at).push_back(s.edge(at));
  return publish(s);
}

inline bool drop_edge(DAMAGE_SUBJECT& s) {
  PLACE at{};
  if (!s.pick_edge(at, [&](const PLACE& each) { return s.is_plain(each.m_from) && s.is_only_edge(each); }))
    return false;
  s.erase(at);
  return publish(s);
}

inline bool add_edge(DAMAGE_SUBJECT& s, bool through_mux, bool from_mux) {
  std::size_t from = 0;
  std::size_t to = 0;
  if (!s.pick_node(from,
                   [&](std::size_t each) { return s.is_plain(each) && s.is_arc_output(each) == from_mux; }))
    return false;
  const auto holds = [&](std::size_t each) {
    return each != from && s.is_plain(each) && s.is_arc_output(each) && s.num_edges(from, each) == 0 &&
           !s.has_twin(each);
  };
  if (!s.pick_node(to, holds)) return false;
  KEP_UNFOLDED_INST_PORT input;
  if (through_mux) {
    std::vector<KEP_UNFOLDED_INST_PORT> inputs;
    for (const KEP_UNFOLDED_INST_PORT& each : s.node(to).m_uip.get_unfolded_instance().iter_inst_ports())
      if (s.is_arc_input(each) && !s.has_node(each)) inputs.push_back(each);
    if (inputs.empty()) return false;
    input = s.random().pick(inputs);
  }
  s.node(from).m_real.push_back({to, input});
  return publish(s);
}

inline bool redirect_edge(DAMAGE_SUBJECT& s, bool to_like_port) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return s.is_plain(each.m_from) && s.is_arc_output(each.m_from) && s.is_plain(s.edge(each).m_to) &&
           s.edge(each).m_mux_input && s.is_only_edge(each) && !s.has_twin(s.edge(each).m_to);
  };
  if (!s.pick_edge(at, holds)) return false;
  const EDITED_GRAPH::NODE& old = s.node(s.edge(at).m_to);
  std::size_t to = 0;
  const auto is_target = [&](std::size_t each) {
    return each != at.m_from && each != s.edge(at).m_to && s.is_plain(each) && s.is_arc_output(each) &&
           !s.has_twin(each) && s.num_edges(at.m_from, each) == 0 &&
           (to_like_port ? DAMAGE_SUBJECT::port(s.node(each)) == DAMAGE_SUBJECT::port(old)
                         : DAMAGE_SUBJECT::port(s.node(each))->get_parent() !=
                               DAMAGE_SUBJECT::port(old)->get_parent());
  };
  if (!s.pick_node(to, is_target)) return false;
  s.edge(at).m_to = to;
  return publish(s);
}

inline bool change_mux_input(DAMAGE_SUBJECT& s) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return s.is_plain(each.m_from) && s.is_arc_output(each.m_from) && s.edge(each).m_mux_input &&
           s.is_only_edge(each) && !s.wrong_mux_inputs(each).empty();
  };
  if (!s.pick_edge(at, holds)) return false;
  s.edge(at).m_mux_input = s.random().pick(s.wrong_mux_inputs(at));
  return publish(s);
}

inline bool drop_mux_input(DAMAGE_SUBJECT& s) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return s.is_plain(each.m_from) && s.is_arc_output(each.m_from) && s.edge(each).m_mux_input &&
           s.is_only_edge(each) && s.is_arc_output(s.edge(each).m_to) &&
           s.edge(each).m_mux_input != s.node(each.m_from).m_uip;
  };
  if (!s.pick_edge(at, holds)) return false;
  s.edge(at).m_mux_input = {};
  return publish(s);
}

/// A node that something drives over real edges, now driven by itself alone: a cycle without a way in.
inline bool cut_off_as_cycle(DAMAGE_SUBJECT& s) {
  std::size_t node = 0;
  const auto holds = [&](std::size_t each) {
    return s.is_plain(each) && !s.has_twin(each) && s.num_fanins(each, true) != 0;
  };
  if (!s.pick_node(node, holds)) return false;
  for (EDITED_GRAPH::NODE& from : s.graph().nodes())
    std::erase_if(from.m_real, [&](const EDITED_GRAPH::EDGE& edge) { return edge.m_to == node; });
  s.node(node).m_real.push_back({node, {}});
  return publish(s);
}

inline bool make_only_real_edge_redundant(DAMAGE_SUBJECT& s) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return !each.m_is_redundant && s.is_plain(each.m_from) && s.is_only_edge(each) &&
           s.num_fanins(s.edge(each).m_to, true) == 1 && !s.has_two_real_edges_to_one_fanout(each.m_from);
  };
  if (!s.pick_edge(at, holds)) return false;
  s.node(at.m_from).m_redundant.push_back(s.edge(at));
  s.erase(at);
  return publish(s);
}

inline bool make_redundant_edge_real(DAMAGE_SUBJECT& s) {
  PLACE at{};
  if (!s.pick_edge(at, [&](const PLACE& each) { return each.m_is_redundant && s.is_only_edge(each); }))
    return false;
  s.node(at.m_from).m_real.push_back(s.edge(at));
  s.erase(at);
  return publish(s);
}

/// The edge of a twin to its plain node.
inline bool pick_twin_edge(DAMAGE_SUBJECT& s, PLACE& at) {
  return s.pick_edge(at, [&](const PLACE& each) { return s.node(each.m_from).m_is_hipi; });
}

inline bool drop_twin_edge(DAMAGE_SUBJECT& s) {
  PLACE at{};
  if (!pick_twin_edge(s, at)) return false;
  s.erase(at);
  return publish(s);
}

inline bool give_twin_to_other_node(DAMAGE_SUBJECT& s, bool in_addition) {
  PLACE at{};
  if (!pick_twin_edge(s, at)) return false;
  std::size_t to = 0;
  if (!s.pick_node(to, [&](std::size_t each) { return s.is_plain(each) && each != s.edge(at).m_to; }))
    return false;
  if (in_addition)
    s.list(at).push_back({to, {}});
  else
    s.edge(at).m_to = to;
  return publish(s);
}

inline bool put_twin_in_last_place(DAMAGE_SUBJECT& s) {
  PLACE at{};
  const auto holds = [&](const PLACE& each) {
    return s.node(each.m_from).m_is_hipi && s.num_fanins(s.edge(each).m_to, false) > 1;
  };
  if (!s.pick_edge(at, holds)) return false;
  s.graph().publish();
  const KEP_ROUTING::NODE node(s.node(s.edge(at).m_to).m_uip, false);
  STORAGE_DAMAGE(s.graph().db()).turn_fanins_round(node);
  return true;
}

enum class NODE_KIND { PLAIN, TWIN, BOUNDARY };

/// A node that no twin stands beside, unless it is to be a twin itself.
inline bool pick_node_of_kind(DAMAGE_SUBJECT& s, NODE_KIND kind, std::size_t& at) {
  return s.pick_node(at, [&](std::size_t each) {
    switch (kind) {
    case NODE_KIND::PLAIN:
      return s.is_plain(each) && !s.has_twin(each);
    case NODE_KIND::TWIN:
      return s.node(each).m_is_hipi;
    case NODE_KIND::BOUNDARY:
      return s.node(each).m_port != nullptr;
    }
    return false;
  });
}

inline bool drop_node(DAMAGE_SUBJECT& s, NODE_KIND kind) {
  std::size_t at = 0;
  if (!pick_node_of_kind(s, kind, at)) return false;
  s.graph().drop_node(at);
  return publish(s);
}

/// A plain node, at an inst port of an instance that has nodes, or a twin beside a node without one. Nothing
/// drives it and it drives nothing.
inline bool add_node(DAMAGE_SUBJECT& s, NODE_KIND kind) {
  std::size_t near = 0;
  if (!pick_node_of_kind(s, NODE_KIND::PLAIN, near)) return false;
  if (kind == NODE_KIND::TWIN) {
    s.graph().nodes().push_back({s.node(near).m_uip, nullptr, true});
    return publish(s);
  }
  std::vector<KEP_UNFOLDED_INST_PORT> places;
  for (const KEP_UNFOLDED_INSTANCE& instance :
       s.node(near).m_uip.get_unfolded_instance().get_parent().iter_instances())
    for (const KEP_UNFOLDED_INST_PORT& uip : instance.iter_inst_ports())
      if (!s.has_node(uip)) places.push_back(uip);
  if (places.empty()) return false;
  s.graph().nodes().push_back({s.random().pick(places)});
  return publish(s);
}

/// What has to be found and what can't be follows from what each check looks at: redundant edges, at real
/// edges of nodes with redundant ones; hipi, at fanins that are twins; connectivity, at real edges and at
/// whether there are fanins; a trace, at single edges and never at which are missing. A trace takes the first
/// of several edges between two nodes for all, knows ports of muxes but not their instances, and sets out
/// from a port on both sides, though only one of them is driven. The proof knows every node and
/// every edge, and no order of fanins.
inline const std::vector<DAMAGE_KIND> DAMAGE_KINDS = {
    {"real edge doubled beside redundant ones",
     {"redundant", "proof"},
     {"hipi", "connectivity", "trace"},
     [](DAMAGE_SUBJECT& s) { return double_real_edge(s, true); }},
    {"real edge doubled, no redundant ones",
     {"proof"},
     {"redundant", "hipi", "connectivity", "trace"},
     [](DAMAGE_SUBJECT& s) { return double_real_edge(s, false); }},
    {"edge dropped", {"proof"}, {"redundant", "hipi", "trace"}, drop_edge},
    {"edge added",
     {"trace", "proof"},
     {"redundant", "hipi"},
     [](DAMAGE_SUBJECT& s) { return add_edge(s, false, true); }},
    {"edge added through a mux input",
     {"trace", "proof"},
     {"redundant", "hipi"},
     [](DAMAGE_SUBJECT& s) { return add_edge(s, true, true); }},
    {"edge added behind an inserted node through a mux input",
     {"proof"},
     {"redundant", "hipi"},
     [](DAMAGE_SUBJECT& s) { return add_edge(s, true, false); }},
    {"edge led to another mux, same port",
     {"proof"},
     {"redundant", "hipi"},
     [](DAMAGE_SUBJECT& s) { return redirect_edge(s, true); }},
    {"edge led to another kind of mux",
     {"trace", "proof"},
     {"redundant", "hipi"},
     [](DAMAGE_SUBJECT& s) { return redirect_edge(s, false); }},
    {"wrong mux input", {"trace", "proof"}, {"redundant", "count", "hipi", "connectivity"}, change_mux_input},
    {"mux input missing", {"trace", "proof"}, {"redundant", "count", "hipi", "connectivity"}, drop_mux_input},
    {"cycle without a way in", {"connectivity", "proof"}, {"redundant", "hipi", "trace"}, cut_off_as_cycle},
    {"only real fanin made redundant",
     {"connectivity", "proof"},
     {"redundant", "count", "hipi", "trace"},
     make_only_real_edge_redundant},
    {"redundant edge made real",
     {"proof"},
     {"redundant", "hipi", "connectivity", "trace"},
     make_redundant_edge_real},
    {"twin drives nothing", {"hipi", "proof"}, {"redundant", "trace"}, drop_twin_edge},
    {"twin drives another node",
     {"hipi", "proof"},
     {"redundant", "count"},
     [](DAMAGE_SUBJECT& s) { return give_twin_to_other_node(s, false); }},
    {"twin drives another node, too",
     {"hipi", "proof"},
     {"redundant"},
     [](DAMAGE_SUBJECT& s) { return give_twin_to_other_node(s, true); }},
    {"node dropped with its edges",
     {"proof"},
     {"redundant", "hipi"},
     [](DAMAGE_SUBJECT& s) { return drop_node(s, NODE_KIND::PLAIN); }},
    {"twin dropped with its edges",
     {"proof"},
     {"redundant", "hipi"},
     [](DAMAGE_SUBJECT& s) { return drop_node(s, NODE_KIND::TWIN); }},
    {"boundary node dropped with its edges",
     {"proof"},
     {"redundant", "hipi"},
     [](DAMAGE_SUBJECT& s) { return drop_node(s, NODE_KIND::BOUNDARY); }},
    {"surplus node",
     {"proof"},
     {"redundant", "count", "hipi", "connectivity"},
     [](DAMAGE_SUBJECT& s) { return add_node(s, NODE_KIND::PLAIN); }},
    {"surplus twin",
     {"proof"},
     {"redundant", "count", "connectivity"},
     [](DAMAGE_SUBJECT& s) { return add_node(s, NODE_KIND::TWIN); }},
    {"twin in last place",
     {"hipi"},
     {"redundant", "count", "connectivity", "trace", "proof"},
     put_twin_in_last_place},
};

} // namespace test_model
