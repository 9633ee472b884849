#include "tools/kep-rg/walk_tree.h"

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_predicate_utils.h"

#include <algorithm>
#include <ostream>
#include <unordered_set>
#include <utility>

namespace {

constexpr KEP_NAME_STYLE NAME_STYLE{};
constexpr unsigned MAX_INDENT = 30; // levels; a wire can cross more modules than a line has columns

const char* const OUT_OF_DEVICE = "out of the device";

std::string get_module_text(const KEP_UNFOLDED_MODULE& module) {
  if (!module) return "";
  std::string text = module.m_object->get_name(NAME_STYLE);
  const KEP_VIEW_TYPE view = module.m_object->get_view_type();
  if (view != KEP_VIEW_TYPE::LOGICAL) text += std::string(" (") + kep_get_name_of_view_type(view) + ")";
  return text;
}

std::string get_indent(unsigned depth) {
  if (depth <= MAX_INDENT) return std::string(std::size_t{2} * depth, ' ');
  return std::string(std::size_t{2} * MAX_INDENT, ' ') + "[level " + std::to_string(depth) + "] ";
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
    if (return_to_skip_path(uip)) {
      add_line(get_depth(), uip.get_name(NAME_STYLE), "out of the skip path");
    } else {
      m_open.clear();
      if (uip == m_start)
        add_line(1, "", "outside");
      else
        add_line(1, uip.get_name(NAME_STYLE), "through the skip arc of its mux");
    }
  }
  expect_net(uip.get_unfolded_net());
}

void WALK_TREE::search(const KEP_UNFOLDED_PORT& port) {
  if (m_crossed_to_port == port) { // the same point, seen from inside
    m_crossed_to_port = {};
  } else {
    settle();
    m_is_at_start = false;
    m_open.clear();
    add_line(1, "", "inside " + get_module_text(port.get_parent()));
  }
  expect_net(port.get_unfolded_net());
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
  add_line(get_depth(), uip.get_name(NAME_STYLE), "into a skip path");
  OPEN open{m_lines.back().m_depth};
  KEP_RG_PREDICATE_UTILS::get_trace_thru_outputs(m_primitives, m_legacy_api, uip, open.m_outputs);
  m_open.push_back(std::move(open));
}

void WALK_TREE::end(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) {
  const bool is_behind_skip_path = type == VISIT_TYPE::TERMINATING && return_to_skip_path(uip);
  if (!is_behind_skip_path) return_to(uip.get_unfolded_net());
  add_line(get_depth(), uip.get_name(NAME_STYLE), is_behind_skip_path ? "out of the skip path, " : "");
  m_lines.back().m_uip = uip;
  m_lines.back().m_end = END::UNUSED;
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
    if (m_lines[i].m_end != END::UNUSED || !(m_lines[i].m_uip == uip)) continue;
    m_next_end = i + 1;
    return i;
  }
  add_line(1, uip.get_name(NAME_STYLE), "through the arc of its mux, ");
  m_lines.back().m_uip = uip;
  return m_lines.size() - 1;
}

void WALK_TREE::add_target(const KEP_UNFOLDED_INST_PORT& uip) {
  std::string text = KEP_ROUTING::NODE(uip, false) ? "" : "no routing node";
  if (std::exchange(m_is_behind_mux, false)) {
    if (!text.empty()) text = " (" + text + ")";
    m_lines[m_result].m_targets.push_back(uip.get_name(NAME_STYLE) + text);
    return;
  }
  m_result = find_end(uip);
  m_lines[m_result].m_end = END::TARGET;
  m_lines[m_result].m_text += text.empty() ? "target" : text + " there";
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

std::string WALK_TREE::get_end_text(const LINE& line) const {
  const KEP_UNFOLDED_INST_PORT& uip = line.m_uip;
  if (line.m_end == END::MUX_INPUT) {
    std::string text = "mux input";
    for (std::size_t i = 0; i != line.m_targets.size(); ++i)
      text += (i == 0 ? " -> " : ", ") + line.m_targets[i];
    if (!line.m_targets.empty()) return text;
    return text + (uip.get_unfolded_instance() == m_start.get_unfolded_instance() ? " of the node's own mux"
                                                                                  : " without an arc");
  }
  if (line.m_end == END::TARGET || line.m_end == END::NO_END) return "";
  if (uip == m_start) return "where the walk began";
  if (uip.m_object->is_output()) return "an output: not followed";
  const KEP_UNFOLDED_PORT inner = uip.get_unfolded_port(KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank);
  return inner && !inner.m_object->get_net() ? "nothing inside" : "not taken";
}

void WALK_TREE::print(std::ostream& out, KEP_RG_DBG_FANOUTS& fanouts) const {
  std::unordered_set<KEP_UNFOLDED_INST_PORT> redundant;
  for (const KEP_RG_DBG_FANOUT* fanout : fanouts.iter())
    if (fanout->is_redundant())
      redundant.insert(fanout->get_mux_input() ? fanout->get_mux_input()
                                               : fanout->get_routing_node()->get_unfolded_inst_port());
  for (const LINE& line : m_lines) {
    out << get_indent(line.m_depth) << line.m_name;
    const std::string text = line.m_text + get_end_text(line);
    if (!line.m_name.empty() && !text.empty()) out << "  ";
    out << text << (line.m_uip && redundant.contains(line.m_uip) ? ", redundant" : "") << std::endl;
  }
}
