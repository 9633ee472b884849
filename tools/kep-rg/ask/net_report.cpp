#include "tools/kep-rg/ask/net_report.h"

#include "kep/kep_joined_nets.h"
#include "kep/kep_routing_graph.h"
#include "kep_io/kep_find_nodes.h"
#include "tools/kep-rg/output/plain_output.h"

#include <algorithm>
#include <utility>

namespace {

using KEP_ROUTING::NODE;

const KEP_VIEW_TYPE_RANK& RANK = KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank;
constexpr const char* ROLES[NUM_NET_ROLES] = {"drives", "both", "reads", "open", "joins"};

/// A port of the top is seen from inside, where an input drives.
NET_ROLE get_direction(const KEP_PORT& port, bool is_inside) {
  if (port.is_bidir()) return NET_ROLE::BOTH;
  return port.is_output() != is_inside ? NET_ROLE::DRIVES : NET_ROLE::READS;
}

std::string get_node_kinds(const NODE& node, const NODE& twin) {
  std::string kinds = node ? get_kind_text(node) : "";
  if (twin) kinds += kinds.empty() ? "hipi" : "+hipi";
  return kinds;
}

} // namespace

NET_REPORT::NET_REPORT(const KEP_DB& db, std::vector<KEP_UNFOLDED_NET> nets)
    : m_cache(&db), m_nets(std::move(nets)) {
  visit([this](const POINT& point) {
    ++m_numbers[static_cast<std::size_t>(point.m_role)];
    m_num_mux_inputs += is_mux_input(point);
  });
}

/// A port between two nets is told where it stands on the outer one.
void NET_REPORT::visit(const std::function<void(const POINT&)>& visit) const {
  for (const KEP_UNFOLDED_NET& net : m_nets) {
    for (const KEP_UNFOLDED_PORT& port : net.iter_ports()) {
      const KEP_UNFOLDED_INST_PORT outer = port.get_unfolded_inst_port();
      if (!outer)
        visit({get_direction(*port.m_object, true), {}, port, net, {}});
      else if (!outer.get_unfolded_net())
        visit({NET_ROLE::OPEN, outer, {}, net, {}});
    }
    for (const KEP_UNFOLDED_INST_PORT& uip : net.iter_inst_ports()) {
      const KEP_UNFOLDED_NET inner = uip.get_unfolded_port(RANK).get_unfolded_net();
      visit({inner ? NET_ROLE::JOINS : get_role(uip), uip, {}, net, inner});
    }
  }
}

/// Of one without a net inside. Where the instance holds something it ends there, unless it is a node or a
/// mux's.
NET_ROLE NET_REPORT::get_role(const KEP_UNFOLDED_INST_PORT& uip) const {
  const KEP_PORT* port = uip.m_object->get_port();
  const KEP_UNFOLDED_MODULE master = uip.get_unfolded_instance().get_module(RANK);
  if (master && master.m_object->is_inner() && !m_cache.is_arc_input(port) && !m_cache.is_arc_output(port) &&
      !NODE(uip, false) && !NODE(uip, true))
    return NET_ROLE::OPEN;
  return get_direction(*port, false);
}

bool NET_REPORT::is_mux_input(const POINT& point) const {
  return (point.m_role == NET_ROLE::READS || point.m_role == NET_ROLE::BOTH) && point.m_uip &&
         m_cache.is_arc_input(point.m_uip.m_object->get_port());
}

std::vector<std::string> NET_REPORT::get_columns() {
  return {"role", "name", "module", "node", "leads_to", "net"};
}

void NET_REPORT::list(TABLE_OUTPUT& table) const {
  for (const KEP_UNFOLDED_NET& net : m_nets) {
    const std::string name = net.get_name(NAME_STYLE);
    for (const std::string& text :
         {std::string("net"), name, net.m_object->get_parent()->get_name(NAME_STYLE), std::string(),
          std::string(), name})
      table.add(text);
  }
  for (std::size_t role = 0; role != NUM_NET_ROLES; ++role)
    if (m_numbers[role] != 0)
      visit([&](const POINT& point) {
        if (point.m_role == static_cast<NET_ROLE>(role)) list_point(point, table);
      });
}

void NET_REPORT::list_point(const POINT& point, TABLE_OUTPUT& table) const {
  table.add(ROLES[static_cast<std::size_t>(point.m_role)]);
  if (point.m_uip) {
    table.add(point.m_uip.get_name(NAME_STYLE));
    table.add(point.m_uip.m_object->get_inst()->get_module()->get_plain_name());
    table.add(get_node_kinds(NODE(point.m_uip, false), NODE(point.m_uip, true)));
  } else {
    table.add(point.m_port.get_name(NAME_STYLE));
    table.add(point.m_port.m_object->get_parent()->get_plain_name());
    table.add(get_node_kinds(NODE(point.m_port.m_object), NODE()));
  }
  table.add(get_leads_to(point));
  table.add(point.m_net.get_name(NAME_STYLE));
}

/// The net inside, or the outputs of a mux.
std::string NET_REPORT::get_leads_to(const POINT& point) const {
  if (point.m_inner) return point.m_inner.get_name(NAME_STYLE);
  std::string text;
  if (!is_mux_input(point)) return text;
  for (const KEP_ROUTING_ARC* arc : *m_cache.find_arc_outputs(point.m_uip.m_object->get_port())) {
    if (!text.empty()) text += ',';
    text += point.m_uip.get_unfolded_instance()
                .get_unfolded_inst_port_by_index(arc->get_output()->get_index())
                .get_name(NAME_STYLE);
  }
  return text;
}

std::vector<KEP_UNFOLDED_NET> get_nets(const KEP_DB& db, const std::string& name) {
  const std::size_t colon = name.rfind(NAME_STYLE.m_port_separator);
  if (colon == std::string::npos) return kep_get_unfolded_nets(db, name);
  std::vector<KEP_UNFOLDED_NET> nets;
  const auto add = [&nets](const KEP_UNFOLDED_NET& net) {
    if (net) nets.push_back(net);
  };
  bool is_there = false;
  for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS && colon == 0; ++view) {
    const KEP_UNFOLDED_MODULE top = db.get_top_unfolded_module(static_cast<KEP_VIEW_TYPE>(view));
    const KEP_PORT* port = top ? top.m_object->find_port(name.substr(1)) : nullptr;
    is_there |= port != nullptr;
    if (port) add(top.get_unfolded_port_by_index(port->get_index()).get_unfolded_net());
  }
  for (const KEP_UNFOLDED_INST_PORT& uip : kep_find_unfolded_inst_ports(db, name)) {
    is_there = true;
    add(uip.get_unfolded_net());
    add(uip.get_unfolded_port(RANK).get_unfolded_net());
  }
  if (!is_there) kep_get_nodes(db, name); // throws
  return nets;
}

std::vector<std::vector<KEP_UNFOLDED_NET>> find_joined_groups(const std::vector<KEP_UNFOLDED_NET>& nets) {
  std::vector<std::vector<KEP_UNFOLDED_NET>> groups;
  for (const KEP_UNFOLDED_NET& net : nets) {
    const bool is_known = std::any_of(groups.begin(), groups.end(), [&net](const auto& group) {
      return std::binary_search(group.begin(), group.end(), net);
    });
    if (!is_known) groups.push_back(kep_find_joined_nets({net}, RANK));
  }
  return groups;
}
