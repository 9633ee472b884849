#include "kep/graph_building/kep_layout_judge.h"

#include "kep/graph_building/kep_template_entries.h"

#include <algorithm>

namespace {

// So many inst ports are looked at, about.
constexpr std::uint64_t SAMPLE = 1 << 12;
// What one more difference costs: a list of fanouts, one of fanins, and the shapes of nodes that have them.
constexpr std::uint64_t BYTES_OF_DIFFERENCE = 256;
constexpr std::uint64_t BYTES_OF_PLACE = 16;
constexpr double HARD_TO_BEAT = 1.02;

constexpr std::uint32_t NO_SIBLING = ~std::uint32_t{0};

std::uint64_t hash_port(const KEP_PORT& port) {
  return KEP_TEMPLATE_HASH::mix(port.get_number(), 0);
}

std::uint64_t count_distinct(std::vector<std::uint64_t>& values) {
  std::sort(values.begin(), values.end());
  return static_cast<std::uint64_t>(std::unique(values.begin(), values.end()) - values.begin());
}

} // namespace

KEP_LAYOUT_JUDGE::KEP_LAYOUT_JUDGE(const KEP_MODULE& module, const std::vector<KEP_SIBLING>& siblings,
                                   std::uint32_t num_occurrences)
    : m_num_occurrences(num_occurrences) {
  std::vector<std::uint32_t> sibling_of_instance(module.get_num_instances(), NO_SIBLING);
  std::uint64_t num_inst_ports = 0;
  for (std::uint32_t i = 0; i != siblings.size(); ++i) {
    const unsigned instance = module.get_slots()[siblings[i].m_slot].m_instance;
    if (sibling_of_instance[instance] != NO_SIBLING) continue; // in another view
    sibling_of_instance[instance] = i;
    num_inst_ports += module.get_instance_by_index(instance)->get_module()->get_num_ports();
  }
  m_stands_for = num_inst_ports / SAMPLE + 1;
  std::vector<bool> is_known(module.get_num_nets());
  for (const KEP_INSTANCE* instance : module.iter_instances()) {
    if (sibling_of_instance[instance->get_index()] == NO_SIBLING) continue;
    const KEP_MODULE& master = *instance->get_module();
    if (master.get_num_ports() == 0) continue;
    // Ports of equal numbers of whatever instance, so that all connections of a kind are there or none.
    const std::uint64_t past = master.get_port_by_index(0)->get_number() % m_stands_for;
    for (std::uint64_t i = past == 0 ? 0 : m_stands_for - past; i < master.get_num_ports();
         i += m_stands_for) {
      const KEP_PORT& port = *master.get_port_by_index(static_cast<unsigned>(i));
      if (port.is_input()) continue;
      const KEP_INST_PORT& driver = *instance->get_inst_port_by_index(port.get_index());
      const KEP_NET* net = driver.get_net();
      if (!net || is_known[net->get_index()]) continue;
      is_known[net->get_index()] = true;
      add_connections(sibling_of_instance, driver, *net);
    }
  }
}

void KEP_LAYOUT_JUDGE::add_connections(const std::vector<std::uint32_t>& sibling_of_instance,
                                       const KEP_INST_PORT& driver, const KEP_NET& net) {
  const std::uint32_t from = sibling_of_instance[driver.get_inst()->get_index()];
  for (const KEP_INST_PORT* load : net.iter_inst_ports()) {
    const std::uint32_t to = sibling_of_instance[load->get_inst()->get_index()];
    if (to != NO_SIBLING && to != from && !load->is_output())
      m_connections.push_back(
          {from, to, KEP_TEMPLATE_HASH::mix(hash_port(*driver.get_port()), hash_port(*load->get_port()))});
  }
}

bool KEP_LAYOUT_JUDGE::is_hard_to_beat(const KEP_SIBLING_LAYOUT& layout) const {
  if (m_connections.empty()) return true;
  std::vector<std::uint64_t> kinds;
  kinds.reserve(m_connections.size());
  for (const CONNECTION& each : m_connections)
    kinds.push_back(each.m_kind);
  return static_cast<double>(get_cost(layout)) <=
         static_cast<double>(get_cost(count_distinct(kinds), layout.m_size)) * HARD_TO_BEAT;
}

std::uint64_t KEP_LAYOUT_JUDGE::get_cost(const KEP_SIBLING_LAYOUT& layout) const {
  std::vector<std::uint64_t> differences;
  differences.reserve(m_connections.size());
  for (const CONNECTION& each : m_connections)
    differences.push_back(
        KEP_TEMPLATE_HASH::mix(each.m_kind, layout.m_offsets[each.m_to] - layout.m_offsets[each.m_from]));
  return get_cost(count_distinct(differences), layout.m_size);
}

std::uint64_t KEP_LAYOUT_JUDGE::get_cost(std::uint64_t num_differences, std::uint64_t size) const {
  return num_differences * m_stands_for * BYTES_OF_DIFFERENCE + size * m_num_occurrences * BYTES_OF_PLACE;
}
