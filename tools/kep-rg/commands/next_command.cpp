#include "kep/kep_routing_primitive_cache.h"
#include "kep_report/kep_report.h"
#include "kep_rg/kep_rg_find_routing_node_on_net.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/commands/node_words.h"
#include "tools/kep-rg/device/find_plain_node.h"
#include "tools/kep-rg/output/plain_output.h"

#include <fmt/format.h>

#include <memory>
#include <ostream>
#include <string>
#include <unordered_set>
#include <vector>

namespace {

using KEP_ROUTING::NODE;

constexpr std::size_t MAX_WAYS = 10;

/// Watches a search: prints each net with the point by which the way leaves it, and knows at the end where
/// the way stands.
class WAY : public KEP_UNFOLD_OBSERVER {
public:
  void visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) override {
    const KEP_UNFOLDED_NET net = uip.get_unfolded_net();
    if (m_net && net == m_net) {
      m_left_by_uip = uip;
      if (type == VISIT_TYPE::WALK) return;
    } else if (type == VISIT_TYPE::WALK) {
      enter(net, uip, {});
      return;
    }
    print_step(uip.get_name(NAME_STYLE));
  }
  void visit(const KEP_UNFOLDED_PORT& port, VISIT_TYPE) override {
    if (port == m_from_port) return; // told once more
    const KEP_UNFOLDED_NET net = port.get_unfolded_net();
    if (net == m_net)
      m_left_by_port = port;
    else
      enter(net, {}, port);
  }
  /// Why the way ends where it stands.
  std::string get_reason(const KEP_DB& db) const;

private:
  void enter(const KEP_UNFOLDED_NET& net, const KEP_UNFOLDED_INST_PORT& uip, const KEP_UNFOLDED_PORT& port) {
    if (m_net)
      print_step((uip ? uip.get_name(NAME_STYLE) : port.get_name(NAME_STYLE)) + (uip ? ", up" : ", down"));
    m_is_loop = !m_nets.insert(net).second;
    m_net = net;
    m_from_uip = uip;
    m_from_port = port;
    m_left_by_uip = {};
    m_left_by_port = {};
  }
  void print_step(const std::string& to) const {
    info() << "  net " << m_net.get_name(NAME_STYLE) << " to " << to << std::endl;
  }

  std::unordered_set<KEP_UNFOLDED_NET> m_nets;
  KEP_UNFOLDED_NET m_net;            // on which the way stands
  KEP_UNFOLDED_INST_PORT m_from_uip; // by which it came there, this or the next
  KEP_UNFOLDED_PORT m_from_port;
  KEP_UNFOLDED_INST_PORT m_left_by_uip; // the other inst port and the other port that were tried
  KEP_UNFOLDED_PORT m_left_by_port;
  bool m_is_loop = false;
};

/// The first few points of a net beside the one by which the way came; how many there are.
template <class RANGE, class POINT>
std::size_t append_others(const RANGE& points, const POINT& from, std::string& text) {
  std::size_t count = 0;
  for (const POINT& point : points) {
    if (point == from) continue;
    ++count;
    if (count <= MAX_WAYS) text += (text.empty() ? "" : ", ") + point.get_name(NAME_STYLE);
    if (count == MAX_WAYS + 1) text += ", ...";
  }
  return count;
}

std::string WAY::get_reason(const KEP_DB& db) const {
  if (!m_net) return "it has no net";
  const std::string name = m_net.get_name(NAME_STYLE);
  if (m_is_loop) return fmt::format("the way comes back to net {}, a loop", name);
  std::string others;
  if (append_others(m_net.iter_inst_ports(), m_from_uip, others) > 1)
    return fmt::format("net {} branches: {}", name, others);
  std::string ports;
  if (append_others(m_net.iter_ports(), m_from_port, ports) > 1)
    return fmt::format("net {} branches: {} of its module", name, ports);
  if (m_left_by_port) {
    const KEP_UNFOLDED_INST_PORT outer = m_left_by_port.get_unfolded_inst_port();
    const std::string port_name = m_left_by_port.get_name(NAME_STYLE);
    if (!outer) return fmt::format("net {} leaves the device at {}", name, port_name);
    if (!outer.get_unfolded_net())
      return fmt::format("net {} ends at {}, which has no net outside", name, port_name);
    return fmt::format("the way comes back to net {}, a loop", outer.get_unfolded_net().get_name(NAME_STYLE));
  }
  if (!m_left_by_uip) return fmt::format("net {} leads nowhere else", name);
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  return fmt::format("net {} ends at {}, {}", name, others,
                     cache.is_arc_input(m_left_by_uip.m_object->get_port()) ? "an input of a mux"
                                                                            : "which has no net inside");
}

/// Looks for the next routing node from a node along a plain wire and prints the way. False when there is
/// none, which is told with the reason.
bool next(const KEP_DB& db, const std::string& uip) {
  const NODE node = find_plain_node(db, uip);
  info() << node.get_name(NAME_STYLE) << std::endl;
  WAY way;
  const KEP_RG_FIND_ROUTING_NODE_ON_NET finder(KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, &way);
  const NODE found = finder.find_routing_node(node);
  if (found)
    info() << "Next routing node: " << found.get_name(NAME_STYLE) << (found == node ? ", where it began" : "")
           << std::endl;
  else
    info() << "No next routing node: " << way.get_reason(db) << std::endl;
  return static_cast<bool>(found);
}

} // namespace

COMMAND add_next_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "next", "Build the routing graph of a device and follow a plain wire from one node to the next");
  const auto device = std::make_shared<DEVICE_OPTIONS>();
  const auto words = std::make_shared<NODE_WORDS>(std::vector<std::string>{"UIP"});
  words->add_to(*command, NODE_WORDS::UIP_TEXT);
  add_device_options(*command, *device);
  command->footer(
      "Exit status: 0 there is a next node; 1 there is none, and it is told why; 2 bad input or bad "
      "use, a name without a node among it; 3 an internal failure.");
  return {command, [device, words] {
            const std::string uip = words->take(*device)[0];
            return answer_on_device(*device, [&](const KEP_DB& db) { return next(db, uip); });
          }};
}
