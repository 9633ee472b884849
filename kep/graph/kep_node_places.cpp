#include "kep/graph/kep_node_places.h"

#include "kep/graph/kep_node_word.h"

#include <algorithm>
#include <utility>

KEP_NODE_PLACES::KEP_NODE_PLACES(const KEP_UNFOLDING& unfolding,
                                 std::shared_ptr<const KEP_OCCURRENCE_ORDER> order, std::uint32_t num_nodes,
                                 const std::function<NODE(std::uint32_t)>& get_node)
    : m_unfolding(&unfolding), m_order(std::move(order)),
      m_boundary_module(static_cast<std::uint32_t>(unfolding.get_modules().size())) {
  const std::uint32_t num_places = m_order->get_num_places();
  m_first_node.assign(num_places + std::size_t{1}, 0);
  std::vector<std::vector<bool>> is_key(m_boundary_module + std::size_t{1}); // by module, by key
  for (std::uint32_t node = 0; node != num_nodes; ++node) {
    const NODE at = get_node(node);
    ++m_first_node[at.m_place + std::size_t{1}];
    const std::uint32_t module = get_module(at.m_place);
    std::vector<bool>& keys = is_key[module];
    if (keys.empty() && module != m_boundary_module)
      keys.resize(std::size_t{2} * unfolding.get_modules()[module]->get_num_inst_ports());
    if (at.m_key >= keys.size()) keys.resize(at.m_key + std::size_t{1});
    keys[at.m_key] = true;
    m_has_hipi |= KEP_NODE_WORD::is_hipi(at.m_key); // no boundary node has that bit
  }
  for (std::uint32_t place = 0; place != num_places; ++place)
    m_first_node[place + std::size_t{1}] += m_first_node[place];
  for (std::vector<bool>& keys : is_key) {
    add_keys(keys);
    std::vector<bool>().swap(keys);
  }
  m_first_key.push_back(static_cast<std::uint32_t>(m_keys.size()));
  m_first_bucket.push_back(static_cast<std::uint32_t>(m_buckets.size()));

  m_listed.assign(num_places, NONE);
  for (std::uint32_t place = 0; place != num_places; ++place)
    if (get_num_nodes(place) != 0 && get_num_nodes(place) != get_num_ranks(place))
      list_ranks(place, get_node);
  m_keys.shrink_to_fit();
  m_buckets.shrink_to_fit();
  m_ranks.shrink_to_fit();
}

void KEP_NODE_PLACES::add_keys(const std::vector<bool>& is_key) {
  m_first_key.push_back(static_cast<std::uint32_t>(m_keys.size()));
  m_first_bucket.push_back(static_cast<std::uint32_t>(m_buckets.size()));
  std::uint32_t rank = 0;
  for (std::uint32_t key = 0; key != is_key.size(); ++key) {
    if ((key & ((1U << BUCKET_BITS) - 1)) == 0) m_buckets.push_back(rank);
    if (!is_key[key]) continue;
    m_keys.push_back(key);
    ++rank;
  }
  if (!is_key.empty()) m_buckets.push_back(rank);
}

void KEP_NODE_PLACES::list_ranks(std::uint32_t place, const std::function<NODE(std::uint32_t)>& get_node) {
  m_listed[place] = static_cast<std::uint32_t>(m_ranks.size());
  for (std::uint32_t node = m_first_node[place]; node != m_first_node[place + 1]; ++node)
    m_ranks.push_back(find_rank(place, get_node(node).m_key));
}

std::uint32_t KEP_NODE_PLACES::find_rank_in(std::uint32_t module, std::uint32_t key) const {
  const std::uint32_t bucket = m_first_bucket[module] + (key >> BUCKET_BITS);
  if (bucket + 1 >= m_first_bucket[module + 1]) return NONE;
  const std::uint32_t* keys = m_keys.data() + m_first_key[module];
  for (std::uint32_t rank = m_buckets[bucket]; rank != m_buckets[bucket + 1]; ++rank)
    if (keys[rank] == key) return rank;
  return NONE;
}

std::uint32_t KEP_NODE_PLACES::find_listed_node(std::uint32_t place, std::uint32_t rank) const {
  const std::uint32_t num_nodes = get_num_nodes(place);
  if (num_nodes == 0) return NONE;
  const std::uint32_t listed = m_listed[place];
  const std::uint32_t* first = m_ranks.data() + listed;
  const std::uint32_t* found = std::lower_bound(first, first + num_nodes, rank);
  if (found == first + num_nodes || *found != rank) return NONE;
  return m_first_node[place] + static_cast<std::uint32_t>(found - first);
}

std::uint32_t KEP_NODE_PLACES::find_place(std::uint32_t node) const {
  const auto behind = std::upper_bound(m_first_node.begin(), m_first_node.end(), node);
  return static_cast<std::uint32_t>(behind - m_first_node.begin()) - 1;
}

std::uint64_t KEP_NODE_PLACES::get_memory_bytes() const {
  std::uint64_t bytes = sizeof(*this) + m_order->get_memory_bytes();
  for (const auto* words :
       {&m_first_node, &m_listed, &m_ranks, &m_first_key, &m_keys, &m_first_bucket, &m_buckets})
    bytes += words->capacity() * sizeof(std::uint32_t);
  return bytes;
}
