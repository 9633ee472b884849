#include "kep/graph/kep_node_places.h"

#include "kep/graph/kep_node_word.h"

#include <algorithm>
#include <utility>

KEP_NODE_PLACES::KEP_NODE_PLACES(const KEP_UNFOLDING& unfolding,
                                 std::shared_ptr<const KEP_OCCURRENCE_PLACES> order,
                                 const KEP_NODE_CENSUS& census)
    : m_unfolding(&unfolding), m_order(std::move(order)) {
  add_up_nodes(census);
  list_keys(census);
  list_buckets();
  list_ranks(census);
  list_near_places();
}

KEP_NODE_PLACES::KEP_NODE_PLACES(const KEP_UNFOLDING& unfolding,
                                 std::shared_ptr<const KEP_OCCURRENCE_PLACES> order, TABLES tables)
    : m_unfolding(&unfolding), m_order(std::move(order)), m_tables(std::move(tables)) {
  list_buckets();
}

void KEP_NODE_PLACES::add_up_nodes(const KEP_NODE_CENSUS& census) {
  const std::uint32_t num_places = m_order->get_num_places();
  std::vector<std::uint32_t> first_nodes(num_places + std::size_t{1});
  for (std::uint32_t place = 0; place != num_places; ++place) {
    const std::uint32_t occurrence = m_order->get_occurrence(place);
    first_nodes[place + std::size_t{1}] =
        first_nodes[place] +
        (occurrence == KEP_OCCURRENCE_PLACES::NONE ? 0 : census.get_num_nodes(occurrence));
  }
  m_tables.m_first_nodes = std::move(first_nodes);
}

void KEP_NODE_PLACES::list_keys(const KEP_NODE_CENSUS& census) {
  std::vector<std::uint32_t> first_keys;
  std::vector<std::uint32_t> keys;
  first_keys.reserve(census.get_keys().size() + 1);
  for (const std::vector<bool>& is_key : census.get_keys()) {
    first_keys.push_back(static_cast<std::uint32_t>(keys.size()));
    for (std::uint32_t key = 0; key != is_key.size(); ++key)
      if (is_key[key]) keys.push_back(key);
  }
  first_keys.push_back(static_cast<std::uint32_t>(keys.size()));
  keys.shrink_to_fit();
  m_tables.m_first_keys = std::move(first_keys);
  m_tables.m_keys = std::move(keys);
}

/// Of modules with keys alone, up to the bucket of the last key.
void KEP_NODE_PLACES::list_buckets() {
  const std::size_t num_modules = m_tables.m_first_keys.size() - 1;
  m_first_bucket.reserve(num_modules + 1);
  for (std::size_t module = 0; module != num_modules; ++module) {
    m_first_bucket.push_back(static_cast<std::uint32_t>(m_buckets.size()));
    const std::size_t first = m_tables.m_first_keys[module];
    const std::size_t end = m_tables.m_first_keys[module + 1];
    if (first == end) continue;
    std::uint32_t num_buckets = 0;
    for (std::size_t i = first; i != end; ++i) {
      const std::uint32_t key = m_tables.m_keys[i];
      for (; num_buckets <= key >> BUCKET_BITS; ++num_buckets)
        m_buckets.push_back(static_cast<std::uint32_t>(i - first));
      m_has_hipi |= KEP_NODE_WORD::is_hipi(key); // no boundary node has that bit
    }
    m_buckets.push_back(static_cast<std::uint32_t>(end - first));
  }
  m_first_bucket.push_back(static_cast<std::uint32_t>(m_buckets.size()));
  m_buckets.shrink_to_fit();
}

/// Of places that lack a node of some rank.
void KEP_NODE_PLACES::list_ranks(const KEP_NODE_CENSUS& census) {
  std::vector<KEP_MARK_BLOCK> lacking;
  std::vector<std::uint32_t> first_ranks;
  std::vector<std::uint32_t> ranks;
  for (std::uint32_t place = 0; place != get_num_places(); ++place) {
    if (get_num_nodes(place) == 0 || get_num_nodes(place) == get_num_ranks(place)) continue;
    lacking.resize(get_num_places() / KEP_MARK_BLOCK::NUM_BITS + std::size_t{1});
    lacking[place / KEP_MARK_BLOCK::NUM_BITS].set(place);
    first_ranks.push_back(static_cast<std::uint32_t>(ranks.size()));
    for (const std::uint32_t key : census.get_keys_of_lacking(m_order->get_occurrence(place)))
      ranks.push_back(find_rank(place, key));
  }
  for (std::size_t i = 1; i < lacking.size(); ++i)
    lacking[i].m_num_before = lacking[i - 1].m_num_before + lacking[i - 1].get_count();
  first_ranks.shrink_to_fit();
  ranks.shrink_to_fit();
  m_tables.m_lacking = std::move(lacking);
  m_tables.m_first_ranks = std::move(first_ranks);
  m_tables.m_ranks = std::move(ranks);
}

void KEP_NODE_PLACES::list_near_places() {
  constexpr std::uint32_t STEP = 1U << KEP_NUMBERED_PLACES::NEAR_BITS;
  if (get_num_nodes() == 0) return;
  std::vector<std::uint32_t> near_places;
  near_places.reserve((get_num_nodes() - 1) / STEP + std::size_t{2});
  std::uint32_t place = 0;
  const auto list = [&](std::uint32_t node) {
    while (m_tables.m_first_nodes[place + std::size_t{1}] <= node)
      ++place;
    near_places.push_back(place);
  };
  for (std::uint64_t node = 0; node < get_num_nodes(); node += STEP)
    list(static_cast<std::uint32_t>(node));
  list(get_num_nodes() - 1);
  m_tables.m_near_places = std::move(near_places);
}

std::uint32_t KEP_NODE_PLACES::find_rank_in(std::uint32_t module, std::uint32_t key) const {
  const std::uint32_t bucket = m_first_bucket[module] + (key >> BUCKET_BITS);
  if (bucket + 1 >= m_first_bucket[module + 1]) return NONE;
  const std::uint32_t* keys = m_tables.m_keys.data() + m_tables.m_first_keys[module];
  for (std::uint32_t rank = m_buckets[bucket]; rank != m_buckets[bucket + 1]; ++rank)
    if (keys[rank] == key) return rank;
  return NONE;
}

std::uint64_t KEP_NODE_PLACES::get_memory_bytes() const {
  std::uint64_t bytes = sizeof(*this) + m_order->get_memory_bytes() + m_tables.m_lacking.get_memory_bytes() +
                        (m_first_bucket.capacity() + m_buckets.capacity()) * sizeof(std::uint32_t);
  for (const auto* words : {&m_tables.m_first_nodes, &m_tables.m_near_places, &m_tables.m_first_ranks,
                            &m_tables.m_ranks, &m_tables.m_first_keys, &m_tables.m_keys})
    bytes += words->get_memory_bytes();
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
