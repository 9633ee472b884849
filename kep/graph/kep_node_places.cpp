#include "kep/graph/kep_node_places.h"

#include "kep/graph/kep_node_word.h"

#include <bit>
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

  list_ranks(get_node);
  list_near_places();
  m_keys.shrink_to_fit();
  m_buckets.shrink_to_fit();
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

/// Of places that lack a node of some rank.
void KEP_NODE_PLACES::list_ranks(const std::function<NODE(std::uint32_t)>& get_node) {
  for (std::uint32_t place = 0; place != get_num_places(); ++place) {
    if (get_num_nodes(place) == 0 || get_num_nodes(place) == get_num_ranks(place)) continue;
    m_lacking.resize(get_num_places() / 64 + std::size_t{1});
    m_lacking[place / 64].m_bits |= std::uint64_t{1} << place % 64;
    m_first_ranks.push_back(static_cast<std::uint32_t>(m_ranks.size()));
    for (std::uint32_t node = m_first_node[place]; node != m_first_node[place + 1]; ++node)
      m_ranks.push_back(find_rank(place, get_node(node).m_key));
  }
  for (std::size_t i = 1; i < m_lacking.size(); ++i)
    m_lacking[i].m_num_before =
        m_lacking[i - 1].m_num_before + static_cast<std::uint32_t>(std::popcount(m_lacking[i - 1].m_bits));
  m_first_ranks.shrink_to_fit();
  m_ranks.shrink_to_fit();
}

void KEP_NODE_PLACES::list_near_places() {
  constexpr std::uint32_t STEP = 1U << KEP_NUMBERED_PLACES::NEAR_BITS;
  if (get_num_nodes() == 0) return;
  m_near_places.reserve((get_num_nodes() - 1) / STEP + std::size_t{2});
  std::uint32_t place = 0;
  const auto list = [&](std::uint32_t node) {
    while (m_first_node[place + std::size_t{1}] <= node)
      ++place;
    m_near_places.push_back(place);
  };
  for (std::uint64_t node = 0; node < get_num_nodes(); node += STEP)
    list(static_cast<std::uint32_t>(node));
  list(get_num_nodes() - 1);
}

std::uint32_t KEP_NODE_PLACES::find_rank_in(std::uint32_t module, std::uint32_t key) const {
  const std::uint32_t bucket = m_first_bucket[module] + (key >> BUCKET_BITS);
  if (bucket + 1 >= m_first_bucket[module + 1]) return NONE;
  const std::uint32_t* keys = m_keys.data() + m_first_key[module];
  for (std::uint32_t rank = m_buckets[bucket]; rank != m_buckets[bucket + 1]; ++rank)
    if (keys[rank] == key) return rank;
  return NONE;
}

std::uint64_t KEP_NODE_PLACES::get_memory_bytes() const {
  std::uint64_t bytes = sizeof(*this) + m_order->get_memory_bytes() +
                        m_lacking.capacity() * sizeof(KEP_NUMBERED_PLACES::LACKING);
  for (const auto* words : {&m_first_node, &m_near_places, &m_first_ranks, &m_ranks, &m_first_key, &m_keys,
                            &m_first_bucket, &m_buckets})
    bytes += words->capacity() * sizeof(std::uint32_t);
  return bytes;
}
