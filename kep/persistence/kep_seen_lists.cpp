#include "kep/persistence/kep_seen_lists.h"

#include "kep/persistence/kep_table_rules.h"

#include <algorithm>

using KEP_TABLE_RULES::require;

namespace {

constexpr const char* NO_TARGET = "an edge leads where no node stands";

} // namespace

KEP_SEEN_LISTS::ADDED KEP_SEEN_LISTS::add(std::uint32_t first, std::uint32_t count, std::uint32_t place) {
  require(first <= m_size && count <= m_size - first, "edges of a node are not there");
  if (count == 0) return {};
  if (const LIST* known = find(first, count)) return known->m_added;
  m_num_words += count;
  require(m_num_words <= m_size, "lists of edges overlap");
  ADDED added;
  added.m_has_absolute = read(first, count, place);
  added.m_set = find_or_make_set();
  DIRECTION* direction = m_directions.data() + m_ends[added.m_set];
  for (const DIRECTION& each : m_read) {
    direction->m_max_rank = std::max(direction->m_max_rank, each.m_max_rank);
    ++direction;
  }
  m_lists.push_back({first, count, added});
  return added;
}

/// One is behind all or known, unless lists come in no order.
const KEP_SEEN_LISTS::LIST* KEP_SEEN_LISTS::find(std::uint32_t first, std::uint32_t count) const {
  if (m_lists.empty() || m_lists.back().m_first < first) return nullptr;
  const auto known =
      std::lower_bound(m_lists.begin(), m_lists.end(), first,
                       [](const LIST& list, std::uint32_t wanted) { return list.m_first < wanted; });
  const bool is_known = known != m_lists.end() && known->m_first == first && known->m_count == count;
  return is_known ? &*known : nullptr;
}

/// The directions of a list. True where some words are told absolutely.
bool KEP_SEEN_LISTS::read(std::uint32_t first, std::uint32_t count, std::uint32_t place) {
  m_read.clear();
  bool has_absolute = false;
  for (std::uint32_t i = first; i != first + count; ++i) {
    const KEP_SEEN_WORD word = m_words[i];
    const std::uint32_t difference = kep_get_seen_place(word);
    const std::uint32_t rank = kep_get_seen_rank(word);
    if (word.is_absolute()) {
      has_absolute = true;
      require(m_kinds.has_node(m_kinds.find_kind(difference), rank), NO_TARGET);
      continue;
    }
    if (m_read.empty() || m_read.back().m_difference != difference)
      m_read.push_back({difference, m_kinds.get_num_full_ranks(m_kinds.find_kind(place + difference)), rank});
    else
      m_read.back().m_max_rank = std::max(m_read.back().m_max_rank, rank);
  }
  return has_absolute;
}

std::uint32_t KEP_SEEN_LISTS::find_or_make_set() {
  // No file can tell beforehand which sets have one hash.
  std::uint64_t hash = reinterpret_cast<std::uintptr_t>(this);
  for (const DIRECTION& direction : m_read) {
    hash =
        (hash ^ (std::uint64_t{direction.m_num_ranks} << 32 | direction.m_difference)) * 0x9e3779b97f4a7c15U;
    hash ^= hash >> 29;
  }
  const auto [first, last] = m_set_by_hash.equal_range(hash);
  const auto known = std::find_if(first, last, [this](const auto& each) {
    return std::equal(m_read.begin(), m_read.end(), begin(each.second), end(each.second),
                      [](const DIRECTION& left, const DIRECTION& right) {
                        return left.m_difference == right.m_difference &&
                               left.m_num_ranks == right.m_num_ranks;
                      });
  });
  if (known != last) return known->second;
  const std::uint32_t set = get_num_sets();
  m_directions.insert(m_directions.end(), m_read.begin(), m_read.end());
  m_ends.push_back(static_cast<std::uint32_t>(m_directions.size()));
  m_set_by_hash.emplace(hash, set);
  return set;
}

void KEP_SEEN_LISTS::check(std::uint32_t first, std::uint32_t count, std::uint32_t place) const {
  visit(first, count, [&](std::uint32_t difference, std::uint32_t rank) {
    require(m_kinds.has_node(m_kinds.find_kind(place + difference), rank), NO_TARGET);
  });
}
