#include "tools/kep-rg/output/walk_tree.h"

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "tools/kep-rg/output/plain_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>
#include <utility>

namespace {

constexpr unsigned MAX_INDENT = 30; // levels; a wire can cross more modules than a line has columns

const char* const OUT_OF_DEVICE = "out of the device";

std::string get_module_text(const KEP_UNFOLDED_MODULE& module) {
  if (!module) return "";
  const std::string name = module.m_object->get_name(NAME_STYLE);
  const KEP_VIEW_TYPE view = module.m_object->get_view_type();
  return view == KEP_VIEW_TYPE::LOGICAL ? name
                                        : fmt::format("{} ({})", name, kep_get_name_of_view_type(view));
}

std::string get_indent(unsigned depth) {
  const std::string indent(std::size_t{2} * std::min(depth, MAX_INDENT), ' ');
  return depth <= MAX_INDENT ? indent : fmt::format("{}[level {}] ", indent, depth);
}

} // namespace

void WALK_TREE::add_line(unsigned depth, std::string name, std::string text) {
  m_lines.push_back({depth, std::move(name), std::move(text)});
}

void WALK_TREE::start_uip(const KEP_UNFOLDED_INST_PORT& uip) {
  m_start = uip;
}

void WALK_TREE::finish_uip() {
  settle();
}

void WALK_TREE::start_net(const KEP_UNFOLDED_NET& net) {
  LINE& line = m_lines.back(); // the search that comes to the net
  line.m_text += ": net " + net.get_name(NAME_STYLE);
  line.m_is_of_net = true;
  m_open.push_back({line.m_depth, net});
  m_expects_net = false;
}

void WALK_TREE::visit(const KEP_UNFOLDED_PORT& port, VISIT_TYPE type) {
  if (type == VISIT_TYPE::SEARCH) {
    search(port);
  } else if (type == VISIT_TYPE::CROSS && std::exchange(m_is_at_start, false)) {
    return;
  } else if (type == VISIT_TYPE::CROSS) {
    settle();
    return_to(port.get_unfolded_net());
    add_line(get_depth(), port.get_name(NAME_STYLE), "up out of " + get_module_text(port.get_parent()));
    m_crossed_to_uip = port.get_unfolded_inst_port();
  } else if (type == VISIT_TYPE::END) {
    end(port);
  } else if (type == VISIT_TYPE::TARGET) {
    settle();
    add_target(port);
  }
}

void WALK_TREE::visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) {
  if (type == VISIT_TYPE::TERMINATING && uip == m_crossed_to_uip) {
    end_at_crossing(uip);
    return;
  }
  if (type != VISIT_TYPE::SEARCH) settle();
  switch (type) {
  case VISIT_TYPE::START:
    add_line(0, uip.get_name(NAME_STYLE), "");
    m_is_at_start = true;
    break;
  case VISIT_TYPE::SEARCH:
    search(uip);
    break;
  case VISIT_TYPE::CROSS:
    return_to(uip.get_unfolded_net());
    m_crossed_to_port = uip.get_unfolded_port(KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank);
    add_line(get_depth(), uip.get_name(NAME_STYLE),
             "down into " + get_module_text(m_crossed_to_port.get_parent()));
    break;
  case VISIT_TYPE::SKIP:
    skip(uip);
    break;
  case VISIT_TYPE::END:
  case VISIT_TYPE::TERMINATING:
    end(uip, type);
    break;
  case VISIT_TYPE::MUX_INPUT:
    m_result = find_end(uip);
    m_lines[m_result].m_end = END::MUX_INPUT;
    break;
  case VISIT_TYPE::MUX_OUTPUT:
    m_is_behind_mux = true;
    break;
  case VISIT_TYPE::TARGET:
    add_target(uip);
    break;
  default:
    break;
  }
}

/// Closes what lies above the net: the walk is through with it.
void WALK_TREE::return_to(const KEP_UNFOLDED_NET& net) {
  while (!m_open.empty() && !(m_open.back().m_net == net))
    m_open.pop_back();
}

/// The same for the innermost skip path that leads to this output next; false when there is none.
bool WALK_TREE::return_to_skip_path(const KEP_UNFOLDED_INST_PORT& output) {
  const auto leads_there = [&output](const OPEN& open) {
    return open.m_next_output != open.m_outputs.size() && open.m_outputs[open.m_next_output] == output;
  };
  const auto found = std::find_if(m_open.rbegin(), m_open.rend(), leads_there);
  if (found == m_open.rend()) return false;
  m_open.erase(found.base(), m_open.end());
  ++m_open.back().m_next_output;
  return true;
}

void WALK_TREE::search(const KEP_UNFOLDED_INST_PORT& uip) {
  if (m_crossed_to_uip == uip) { // the same point, seen from outside
    m_crossed_to_uip = {};
  } else {
    settle();
    m_is_at_start = false;
    if (return_to_skip_path(uip))
      add_line(get_depth(), uip.get_name(NAME_STYLE), m_open.back().m_text);
    else
      begin("outside");
  }
  expect_net(uip.get_unfolded_net());
}

void WALK_TREE::search(const KEP_UNFOLDED_PORT& port) {
  if (m_crossed_to_port == port) { // the same point, seen from inside
    m_crossed_to_port = {};
  } else {
    settle();
    m_is_at_start = false;
    begin("inside " + get_module_text(port.get_parent()));
  }
  expect_net(port.get_unfolded_net());
}

/// A search from the start. From the source of a tunnel each of them is made twice: the second time it goes
/// through the tunnel.
void WALK_TREE::begin(std::string text) {
  m_open.clear();
  if (std::find(m_searches.begin(), m_searches.end(), text) != m_searches.end()) m_is_in_tunnel = true;
  if (m_is_in_tunnel)
    text += ", once more through the tunnel";
  else
    m_searches.push_back(text);
  add_line(1, "", std::move(text));
}

void WALK_TREE::expect_net(const KEP_UNFOLDED_NET& net) {
  m_expected_net = net;
  m_expects_net = true;
}

/// A search that did not start on its net: it has none, or the walk was there before.
void WALK_TREE::settle() {
  m_crossed_to_uip = {};
  m_crossed_to_port = {};
  if (!std::exchange(m_expects_net, false)) return;
  m_lines.back().m_text += m_expected_net
                               ? ": net " + m_expected_net.get_name(NAME_STYLE) + ", which is walked already"
                               : ": no net";
}

void WALK_TREE::skip(const KEP_UNFOLDED_INST_PORT& uip) {
  return_to(uip.get_unfolded_net());
  const bool flies = m_predicate.takes_flyover(uip);
  add_line(get_depth(), uip.get_name(NAME_STYLE), flies ? "flies over the spare row" : "into a skip path");
  OPEN open{m_lines.back().m_depth};
  open.m_text = flies ? "behind the spare row" : "out of the skip path";
  m_predicate.get_trace_thru_outputs(uip, open.m_outputs);
  m_open.push_back(std::move(open));
}

void WALK_TREE::end(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) {
  if (type == VISIT_TYPE::TERMINATING && return_to_skip_path(uip)) {
    add_line(get_depth(), uip.get_name(NAME_STYLE), m_open.back().m_text + ", ");
    set_end(uip, END::DROPPED);
    return;
  }
  return_to(uip.get_unfolded_net());
  add_line(get_depth(), uip.get_name(NAME_STYLE), "");
  const bool is_first_net = m_open.size() == 1;
  const bool is_ignored =
      uip.m_object->is_output() ||
      (m_primitives.is_blc_bidir_buffer(uip.m_object->get_inst()->get_module()) && !is_first_net);
  const KEP_GET_LEAF_PARAMS params{KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank,
                                   KEP_LEAF_DIRECTION::DRIVER_TO_LOADS, m_is_in_tunnel, false};
  const bool is_result = type == VISIT_TYPE::TERMINATING || m_predicate.is_leaf(uip, params);
  set_end(uip, is_ignored ? END::IGNORED : is_result ? END::DROPPED : END::NOTHING_INSIDE);
}

/// A node stands where the walk came up, and the line of the crossing tells its end.
void WALK_TREE::end_at_crossing(const KEP_UNFOLDED_INST_PORT& uip) {
  m_crossed_to_uip = {};
  m_lines.back().m_text += ": ";
  set_end(uip, END::DROPPED);
}

/// The last line is that of an end.
void WALK_TREE::set_end(const KEP_UNFOLDED_INST_PORT& uip, END end) {
  m_lines.back().m_uip = uip;
  m_lines.back().m_end = end;
}

void WALK_TREE::end(const KEP_UNFOLDED_PORT& port) {
  settle();
  const bool leaves_device = !port.get_unfolded_inst_port() && !port.m_object->is_input();
  if (leaves_device) { // told already as a crossing
    m_lines.back().m_text = OUT_OF_DEVICE;
    return;
  }
  return_to(port.get_unfolded_net());
  add_line(get_depth(), port.get_name(NAME_STYLE), "an input of its module: not followed");
}

/// The line of the end that gave this result. A result without one was taken from the arcs of the start's own
/// mux.
std::size_t WALK_TREE::find_end(const KEP_UNFOLDED_INST_PORT& uip) {
  for (std::size_t i = m_next_end; i != m_lines.size(); ++i) {
    if (m_lines[i].m_end != END::DROPPED || !(m_lines[i].m_uip == uip)) continue;
    m_next_end = i + 1;
    return i;
  }
  add_line(1, uip.get_name(NAME_STYLE), "through the arc of its mux, ");
  m_lines.back().m_uip = uip;
  return m_lines.size() - 1;
}

void WALK_TREE::add_target(const KEP_UNFOLDED_INST_PORT& uip) {
  if (!std::exchange(m_is_behind_mux, false)) {
    m_result = find_end(uip);
    m_lines[m_result].m_end = END::TARGET;
  }
  m_lines[m_result].m_targets.push_back(uip);
}

/// The ports of the top that are results come in the order of their lines, too.
void WALK_TREE::add_target(const KEP_UNFOLDED_PORT& port) {
  const std::string name = port.get_name(NAME_STYLE);
  const auto line =
      std::find_if(m_lines.begin() + static_cast<std::ptrdiff_t>(m_next_top_port), m_lines.end(),
                   [&](const LINE& each) { return each.m_text == OUT_OF_DEVICE && each.m_name == name; });
  if (line == m_lines.end()) return; // where the walk came from, which is told by the list of fanouts alone
  line->m_text += KEP_ROUTING::NODE(port.m_object) ? " -> boundary node" : ", no routing node there";
  m_next_top_port = static_cast<std::size_t>(line - m_lines.begin()) + 1;
}

/// Why nothing was made of a result.
std::string WALK_TREE::get_drop_reason(const KEP_UNFOLDED_INST_PORT& uip) const {
  if (uip == m_start) return "where the walk began";
  const KEP_MODULE* master = uip.m_object->get_inst()->get_module();
  return m_primitives.get_tunnel_type(master) == KEP_ROUTING_PRIMITIVE_TUNNEL::TARGET
             ? "dropped: a tunnel target behind a tunnel"
             : "dropped: no tunnel target";
}

std::string WALK_TREE::get_end_text(const LINE& line, const FANOUTS_BY_LEAF& fanouts) const {
  const auto has_twin = [&](const KEP_UNFOLDED_INST_PORT& target) {
    const auto found = fanouts.m_twins.find(line.m_uip);
    return found != fanouts.m_twins.end() &&
           std::find(found->second.begin(), found->second.end(), target) != found->second.end();
  };
  switch (line.m_end) {
  case END::NO_END:
    return "";
  case END::NOTHING_INSIDE:
    return m_primitives.find_skip_path_sparerow_map(line.m_uip.m_object->get_port())
               ? "in no spare row, so not flown over; nothing inside"
               : "nothing inside";
  case END::IGNORED:
    return line.m_uip.m_object->is_output()
               ? "an output: not followed"
               : "a two-way buffer, which counts only on the net where the walk began";
  case END::DROPPED:
    return get_drop_reason(line.m_uip);
  case END::TARGET:
    if (!KEP_ROUTING::NODE(line.m_uip, false)) return "no routing node there";
    return has_twin(line.m_uip) ? "target (hipi)" : "target";
  case END::MUX_INPUT:
    break;
  }
  std::string text = "mux input";
  std::string separator = " -> ";
  for (const KEP_UNFOLDED_INST_PORT& target : line.m_targets) {
    text += separator + target.get_name(NAME_STYLE);
    if (has_twin(target)) text += " (hipi)";
    if (!KEP_ROUTING::NODE(target, false)) text += " (no routing node)";
    separator = ", ";
  }
  if (!line.m_targets.empty()) return text;
  return text + (line.m_uip.get_unfolded_instance() == m_start.get_unfolded_instance()
                     ? " of the node's own mux"
                     : " without an arc");
}

void WALK_TREE::print(std::ostream& out, KEP_RG_DBG_FANOUTS& fanouts) const {
  FANOUTS_BY_LEAF by_leaf;
  for (const KEP_RG_DBG_FANOUT* fanout : fanouts.iter()) {
    if (fanout->get_routing_node()->is_boundary()) continue;
    const KEP_UNFOLDED_INST_PORT target = fanout->get_routing_node()->get_unfolded_inst_port();
    const KEP_UNFOLDED_INST_PORT mux_input = fanout->get_mux_input();
    const KEP_UNFOLDED_INST_PORT& leaf = mux_input && !(mux_input == m_start) ? mux_input : target;
    if (fanout->is_redundant()) by_leaf.m_redundant.insert(leaf);
    if (fanout->get_routing_node()->is_hipi()) by_leaf.m_twins[leaf].push_back(target);
  }
  for (std::size_t i = 0; i != m_lines.size(); ++i) {
    const LINE& line = m_lines[i];
    const bool is_last = i + 1 == m_lines.size() || m_lines[i + 1].m_depth <= line.m_depth;
    out << get_indent(line.m_depth) << line.m_name;
    std::string text = line.m_text + get_end_text(line, by_leaf);
    if (line.m_is_of_net && is_last) text += ", which leads nowhere else";
    if (!line.m_name.empty() && !text.empty()) out << "  ";
    const bool is_taken = line.m_end == END::MUX_INPUT || line.m_end == END::TARGET;
    out << text << (is_taken && by_leaf.m_redundant.contains(line.m_uip) ? ", redundant" : "") << std::endl;
  }
}
