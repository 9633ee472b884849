#include "kep/graph_building/kep_bundle_turner.h"

#include <algorithm>

KEP_TURNED_BUNDLE KEP_BUNDLE_TURNER::turn(const KEP_TEMPLATE_TABLE<KEP_BUNDLE_ENTRY>::LIST& bundle) {
  m_turned = {};
  m_long_lists.clear();
  group(bundle);
  pair();
  const PAIR* const end = m_pairs.data() + m_pairs.size();
  for (const PAIR *pair = m_pairs.data(), *next; pair != end; pair = next) {
    for (next = pair + 1; next != end && next->first == pair->first;)
      ++next;
    m_turned.m_targets.push_back({pair->first, find_list(pair, next)});
  }
  m_turned.m_targets.shrink_to_fit();
  m_turned.m_lists.shrink_to_fit();
  return std::move(m_turned);
}

/// Groups stand in the order of their first sources.
void KEP_BUNDLE_TURNER::group(const KEP_TEMPLATE_TABLE<KEP_BUNDLE_ENTRY>::LIST& bundle) {
  m_groups.clear();
  const KEP_BUNDLE_ENTRY* const end = bundle.m_entries + bundle.m_num_edges;
  for (const KEP_BUNDLE_ENTRY* entry = bundle.m_entries; entry != end; ++entry) {
    std::uint32_t& group = m_group_of_targets[entry->m_targets];
    if (group == NONE) {
      group = static_cast<std::uint32_t>(m_groups.size());
      m_groups.push_back({entry->m_targets, 0, 0, NONE});
    }
    ++m_groups[group].m_end; // how many at first
  }
  std::uint32_t begin = 0;
  for (GROUP& each : m_groups) {
    each.m_begin = begin;
    begin += std::exchange(each.m_end, begin);
  }
  m_sources.resize(begin);
  for (const KEP_BUNDLE_ENTRY* entry = bundle.m_entries; entry != end; ++entry)
    m_sources[m_groups[m_group_of_targets[entry->m_targets]].m_end++] = entry->m_source;
  for (const GROUP& each : m_groups)
    m_group_of_targets[each.m_targets] = NONE;
}

void KEP_BUNDLE_TURNER::pair() {
  m_pairs.clear();
  std::uint32_t least = NONE;
  std::uint32_t most = 0;
  for (std::uint32_t group = 0; group != m_groups.size(); ++group) {
    const std::uint32_t targets = m_groups[group].m_targets;
    for (std::uint32_t i = 0; i != m_runs.get_num_targets(targets); ++i) {
      const std::uint32_t target = m_runs.get_target(targets, i);
      least = std::min(least, target);
      most = std::max(most, target);
      m_pairs.emplace_back(target, group);
    }
  }
  sort_pairs(least, most);
}

/// Counts by target where that is less than to compare: a bundle may reach few targets that lie far apart.
void KEP_BUNDLE_TURNER::sort_pairs(std::uint32_t least, std::uint32_t most) {
  const std::size_t num_targets = most - least + std::size_t{1};
  if (num_targets > 8 * m_pairs.size()) return std::sort(m_pairs.begin(), m_pairs.end());
  m_unsorted.swap(m_pairs);
  m_pairs.resize(m_unsorted.size());
  m_next.assign(num_targets + 1, 0);
  for (const PAIR& each : m_unsorted)
    ++m_next[each.first - least + std::size_t{1}];
  for (std::size_t i = 1; i < num_targets; ++i)
    m_next[i] += m_next[i - 1];
  for (const PAIR& each : m_unsorted)
    m_pairs[m_next[each.first - least]++] = each;
}

/// Where the list of the groups of these pairs stands. Short ones are made as quickly as found, unless it is
/// a group as it is.
std::uint32_t KEP_BUNDLE_TURNER::find_list(const PAIR* pairs, const PAIR* end) {
  constexpr std::uint32_t LONG = 64;
  if (end - pairs == 1) {
    std::uint32_t& list = m_groups[pairs->second].m_list;
    if (list == NONE) list = add_list(pairs, end);
    return list;
  }
  std::uint32_t num_sources = 0;
  for (const PAIR* pair = pairs; pair != end; ++pair)
    num_sources += m_groups[pair->second].m_end - m_groups[pair->second].m_begin;
  return num_sources < LONG ? add_list(pairs, end) : find_long_list(pairs, end);
}

std::uint32_t KEP_BUNDLE_TURNER::find_long_list(const PAIR* pairs, const PAIR* end) {
  std::uint64_t hash = 0;
  for (const PAIR* pair = pairs; pair != end; ++pair)
    hash = KEP_TEMPLATE_HASH::mix(pair->second, hash);
  const auto [known, is_new] = m_long_lists.try_emplace(hash, KNOWN_LIST{pairs, end, NONE});
  if (is_new) known->second.m_list = add_list(pairs, end);
  const KNOWN_LIST& list = known->second;
  const bool is_same =
      std::equal(pairs, end, list.m_pairs, list.m_end,
                 [](const PAIR& left, const PAIR& right) { return left.second == right.second; });
  return is_same ? list.m_list : add_list(pairs, end);
}

/// A target may stand in several groups, and several times in one.
std::uint32_t KEP_BUNDLE_TURNER::add_list(const PAIR* pairs, const PAIR* end) {
  std::vector<std::uint32_t>& lists = m_turned.m_lists;
  const std::size_t begin = lists.size() + 1;
  lists.push_back(0);
  for (const PAIR* pair = pairs; pair != end; ++pair) {
    const GROUP& group = m_groups[pair->second];
    for (std::uint32_t source = group.m_begin; source != group.m_end; ++source)
      lists.push_back(m_sources[source]);
  }
  lists[begin - 1] = static_cast<std::uint32_t>(lists.size() - begin);
  const auto first = lists.begin() + static_cast<std::ptrdiff_t>(begin);
  if (!std::is_sorted(first, lists.end())) std::sort(first, lists.end());
  return static_cast<std::uint32_t>(begin - 1);
}
