#include "kep/graph/kep_node_places.h"

#include "kep/graph/kep_node_word.h"

#include <algorithm>
#include <utility>

KEP_NODE_PLACES::KEP_NODE_PLACES(const KEP_UNFOLDING& unfolding,
                                 std::shared_ptr<const KEP_OCCURRENCE_PLACES> order,
                                 const KEP_NODE_CENSUS& census)
    : m_unfolding(&unfolding), m_order(std::move(order)),
      m_boundary_module(static_cast<std::uint32_t>(unfolding.get_modules().size())) {
  const std::uint32_t num_places = m_order->get_num_places();
  m_first_node.assign(num_places + std::size_t{1}, 0);
  for (std::uint32_t place = 0; place != num_places; ++place) {
    const std::uint32_t occurrence = m_order->get_occurrence(place);
    m_first_node[place + std::size_t{1}] =
        m_first_node[place] +
        (occurrence == KEP_OCCURRENCE_PLACES::NONE ? 0 : census.get_num_nodes(occurrence));
  }
  for (const std::vector<bool>& keys : census.get_keys())
    add_keys(keys);
  m_first_key.push_back(static_cast<std::uint32_t>(m_keys.size()));
  m_first_bucket.push_back(static_cast<std::uint32_t>(m_buckets.size()));

  list_ranks(census);
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
    m_has_hipi |= KEP_NODE_WORD::is_hipi(key); // no boundary node has that bit
    ++rank;
  }
  if (!is_key.empty()) m_buckets.push_back(rank);
}

/// Of places that lack a node of some rank.
void KEP_NODE_PLACES::list_ranks(const KEP_NODE_CENSUS& census) {
  for (std::uint32_t place = 0; place != get_num_places(); ++place) {
    if (get_num_nodes(place) == 0 || get_num_nodes(place) == get_num_ranks(place)) continue;
    m_lacking.resize(get_num_places() / KEP_MARK_BLOCK::NUM_BITS + std::size_t{1});
    m_lacking[place / KEP_MARK_BLOCK::NUM_BITS].set(place);
    m_first_ranks.push_back(static_cast<std::uint32_t>(m_ranks.size()));
    for (const std::uint32_t key : census.get_keys_of_lacking(m_order->get_occurrence(place)))
      m_ranks.push_back(find_rank(place, key));
  }
  for (std::size_t i = 1; i < m_lacking.size(); ++i)
    m_lacking[i].m_num_before = m_lacking[i - 1].m_num_before + m_lacking[i - 1].get_count();
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
  std::uint64_t bytes =
      sizeof(*this) + m_order->get_memory_bytes() + m_lacking.capacity() * sizeof(KEP_MARK_BLOCK);
  for (const auto* words : {&m_first_node, &m_near_places, &m_first_ranks, &m_ranks, &m_first_key, &m_keys,
                            &m_first_bucket, &m_buckets})
    bytes += words->capacity() * sizeof(std::uint32_t);
  return bytes;
}

std::uint32_t KEP_NUMBERED_PLACES::search_place(std::uint32_t number) const {
  const std::uint32_t near = number >> NEAR_BITS;
  const std::uint32_t* behind = std::upper_bound(
      m_first_nodes + m_near_places[near], m_first_nodes + m_near_places[near + std::size_t{1}] + 1, number);
  return static_cast<std::uint32_t>(behind - m_first_nodes) - 1;
}

const std::uint32_t* KEP_NUMBERED_PLACES::get_listed_ranks(std::uint32_t place) const {
  return m_ranks + m_first_ranks[m_lacking[place / KEP_MARK_BLOCK::NUM_BITS].get_rank(place)];
}

/// The place lacks so many ranks up to its last node, and at most as many before the rank.
std::uint32_t KEP_NUMBERED_PLACES::find_listed(std::uint32_t place, const std::uint32_t* ranks,
                                               std::uint32_t rank) const {
  const std::uint32_t num_nodes = get_num_nodes(place);
  const std::uint32_t last = ranks[num_nodes - 1];
  if (rank > last) return NONE;
  const std::uint32_t num_lacking = last + 1 - num_nodes;
  const std::uint32_t* found = std::lower_bound(ranks + (rank > num_lacking ? rank - num_lacking : 0),
                                                ranks + std::min(rank, num_nodes - 1), rank);
  return *found == rank ? m_first_nodes[place] + static_cast<std::uint32_t>(found - ranks) : NONE;
}
