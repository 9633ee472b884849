#include "kep/kep_flat_utils.h"

#include <algorithm>

std::size_t KEP_UNFOLDED_NET_SET::find_bucket(const KEP_UNFOLDED_NET& net) const {
  std::size_t bucket = net.hash() & (m_buckets.size() - 1);
  while (m_buckets[bucket] && !(m_nets[m_buckets[bucket] - 1] == net))
    bucket = (bucket + 1) & (m_buckets.size() - 1);
  return bucket;
}

bool KEP_UNFOLDED_NET_SET::contains(const KEP_UNFOLDED_NET& net) const {
  if (m_nets.size() <= LINEAR) return std::find(m_nets.begin(), m_nets.end(), net) != m_nets.end();
  return m_buckets[find_bucket(net)] != 0;
}

bool KEP_UNFOLDED_NET_SET::insert(const KEP_UNFOLDED_NET& net) {
  if (contains(net)) return false;
  m_nets.push_back(net);
  if (m_nets.size() <= LINEAR) return true;
  if (m_nets.size() == LINEAR + 1 || m_nets.size() * 2 > m_buckets.size())
    rehash(std::max<std::size_t>(LINEAR * 4, m_nets.size() * 4));
  else
    m_buckets[find_bucket(net)] = static_cast<std::uint32_t>(m_nets.size());
  return true;
}

void KEP_UNFOLDED_NET_SET::rehash(std::size_t buckets) {
  std::size_t power = 1;
  while (power < buckets)
    power *= 2;
  m_buckets.assign(power, 0);
  for (std::size_t i = 0; i != m_nets.size(); ++i) {
    std::size_t bucket = m_nets[i].hash() & (power - 1);
    while (m_buckets[bucket])
      bucket = (bucket + 1) & (power - 1);
    m_buckets[bucket] = static_cast<std::uint32_t>(i + 1);
  }
}

void KEP_UNFOLDED_NET_SET::clear() {
  m_nets.clear();
}

void KEP_LEAF_RESULTS::note_module(const KEP_UNFOLDED_MODULE& module) {
  if (m_top_module) {
    for (KEP_UNFOLDED_MODULE above = module; above; above = above.get_unfolded_instance().get_parent())
      if (above == m_top_module) return;
  }
  m_top_module = module;
}

void KEP_LEAF_RESULTS::clear() {
  m_uips.clear();
  m_top_ports.clear();
  m_visited_nets.clear();
  m_top_module = {};
  m_frames.clear();
  m_outputs.clear();
}
