#include "kep/graph/kep_node_census.h"

#include <algorithm>

KEP_NODE_CENSUS::KEP_NODE_CENSUS(const KEP_UNFOLDING& unfolding)
    : m_unfolding(unfolding), m_num_nodes(unfolding.size()),
      m_keys(unfolding.get_modules().size() + std::size_t{1}) {}

std::vector<bool>& KEP_NODE_CENSUS::use_keys(std::uint32_t occurrence) {
  std::vector<bool>& keys = m_keys[get_module(occurrence)];
  if (keys.empty())
    keys.resize(std::size_t{2} * (occurrence == KEP_UNFOLDING::ABOVE_TOP
                                      ? m_unfolding.get_ports().size()
                                      : m_unfolding.get_module(occurrence)->get_num_inst_ports()));
  return keys;
}

bool KEP_NODE_CENSUS::find_lacking() {
  std::vector<bool>& boundary = m_keys.back(); // of all ports of the design, nearly none
  while (!boundary.empty() && !boundary.back())
    boundary.pop_back();
  for (const std::vector<bool>& keys : m_keys)
    m_num_keys.push_back(static_cast<std::uint32_t>(std::count(keys.begin(), keys.end(), true)));
  std::size_t num_keys = 0;
  for (std::uint32_t occurrence = 0; occurrence != m_num_nodes.size(); ++occurrence) {
    if (!lacks_some(occurrence)) continue;
    m_lacking.push_back({occurrence, 0, num_keys});
    num_keys += m_num_nodes[occurrence];
  }
  m_keys_of_lacking.resize(num_keys);
  return num_keys != 0;
}

std::size_t KEP_NODE_CENSUS::find(std::uint32_t occurrence) const {
  const auto found = std::lower_bound(
      m_lacking.begin(), m_lacking.end(), occurrence,
      [](const LACKING& lacking, std::uint32_t wanted) { return lacking.m_occurrence < wanted; });
  return static_cast<std::size_t>(found - m_lacking.begin());
}

void KEP_NODE_CENSUS::add_lacking(std::uint32_t occurrence, std::uint32_t key) {
  if (m_lacking[m_last_lacking].m_occurrence != occurrence) m_last_lacking = find(occurrence);
  LACKING& lacking = m_lacking[m_last_lacking];
  m_keys_of_lacking[lacking.m_first_key + lacking.m_num_keys++] = key;
}

void KEP_NODE_CENSUS::sort_lacking() {
  for (const LACKING& lacking : m_lacking) {
    const auto first = m_keys_of_lacking.begin() + static_cast<std::ptrdiff_t>(lacking.m_first_key);
    if (!std::is_sorted(first, first + lacking.m_num_keys)) std::sort(first, first + lacking.m_num_keys);
  }
}

std::span<const std::uint32_t> KEP_NODE_CENSUS::get_keys_of_lacking(std::uint32_t occurrence) const {
  const LACKING& lacking = m_lacking[find(occurrence)];
  return {m_keys_of_lacking.data() + lacking.m_first_key, lacking.m_num_keys};
}
