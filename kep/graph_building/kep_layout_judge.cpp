#include "kep/graph_building/kep_layout_judge.h"

#include "kep/graph_building/kep_template_entries.h"

#include <algorithm>

namespace {

// So many are looked at, about.
constexpr std::uint64_t MAX_SIBLINGS = 512;
constexpr std::uint64_t MAX_INST_PORTS = 1 << 12;
constexpr std::uint32_t MAX_LOADS = 64; // of one driver
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
  choose_sample(module, siblings);
  std::vector<std::uint32_t> sibling_of_instance(module.get_num_instances(), NO_SIBLING);
  for (std::uint32_t i = 0; i != siblings.size(); ++i)
    sibling_of_instance[module.get_slots()[siblings[i].m_slot].m_instance] = i;
  for (const KEP_INSTANCE* instance : module.iter_instances()) {
    const KEP_MODULE& master = *instance->get_module();
    if (sibling_of_instance[instance->get_index()] == NO_SIBLING || master.get_num_ports() == 0 ||
        !is_in_sample(*instance))
      continue;
    // The same ports of all instances, so that like connections are there to be found.
    const std::uint64_t past = master.get_port_by_index(0)->get_number() % m_port_step;
    for (std::uint64_t i = past == 0 ? 0 : m_port_step - past; i < master.get_num_ports(); i += m_port_step) {
      const KEP_INST_PORT& driver = *instance->get_inst_port_by_index(static_cast<unsigned>(i));
      if (driver.get_net() && !driver.is_input()) add_connections(sibling_of_instance, driver);
    }
  }
  std::vector<std::uint64_t> kinds;
  kinds.reserve(m_connections.size());
  for (const CONNECTION& each : m_connections)
    kinds.push_back(each.m_kind);
  m_num_kinds = count_distinct(kinds);
}

void KEP_LAYOUT_JUDGE::choose_sample(const KEP_MODULE& module, const std::vector<KEP_SIBLING>& siblings) {
  m_sibling_step = siblings.size() / MAX_SIBLINGS + 1;
  std::uint64_t num_inst_ports = 0;
  for (const KEP_SIBLING& sibling : siblings) {
    m_least_size += sibling.m_extent;
    num_inst_ports += module.get_slots()[sibling.m_slot].m_module->get_num_ports();
  }
  m_port_step = num_inst_ports / m_sibling_step / MAX_INST_PORTS + 1;
}

/// By the name: the same siblings in whatever order they are listed.
bool KEP_LAYOUT_JUDGE::is_in_sample(const KEP_INSTANCE& instance) const {
  if (m_sibling_step == 1) return true;
  std::uint64_t hash = 0;
  for (const char* at = instance.get_plain_name(); *at != 0; ++at)
    hash = KEP_TEMPLATE_HASH::mix(hash, static_cast<unsigned char>(*at));
  return hash % m_sibling_step == 0;
}

void KEP_LAYOUT_JUDGE::add_connections(const std::vector<std::uint32_t>& sibling_of_instance,
                                       const KEP_INST_PORT& driver) {
  const std::uint32_t from = sibling_of_instance[driver.get_inst()->get_index()];
  std::uint32_t num_loads = 0;
  for (const KEP_INST_PORT* load : driver.get_net()->iter_inst_ports()) {
    const std::uint32_t to = sibling_of_instance[load->get_inst()->get_index()];
    if (to == NO_SIBLING || to == from || load->is_output()) continue;
    m_connections.push_back(
        {from, to, KEP_TEMPLATE_HASH::mix(hash_port(*driver.get_port()), hash_port(*load->get_port()))});
    if (++num_loads == MAX_LOADS) return;
  }
}

bool KEP_LAYOUT_JUDGE::is_hard_to_beat(std::uint64_t cost) const {
  return static_cast<double>(cost) <= static_cast<double>(get_cost(m_num_kinds, m_least_size)) * HARD_TO_BEAT;
}

std::uint64_t KEP_LAYOUT_JUDGE::get_cost(const KEP_SIBLING_LAYOUT& layout) const {
  std::vector<std::uint64_t> differences;
  differences.reserve(m_connections.size());
  for (const CONNECTION& each : m_connections)
    differences.push_back(
        KEP_TEMPLATE_HASH::mix(each.m_kind, layout.m_offsets[each.m_to] - layout.m_offsets[each.m_from]));
  return get_cost(count_distinct(differences), layout.m_size);
}

/// Differences beyond the first of a kind come from some siblings, and others bring more of them.
std::uint64_t KEP_LAYOUT_JUDGE::get_cost(std::uint64_t num_differences, std::uint64_t size) const {
  return (m_num_kinds + (num_differences - m_num_kinds) * m_sibling_step) * m_port_step *
             BYTES_OF_DIFFERENCE +
         size * m_num_occurrences * BYTES_OF_PLACE;
}
