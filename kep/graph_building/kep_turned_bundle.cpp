#include "kep/graph_building/kep_turned_bundle.h"

#include <algorithm>

/// Sources of the same targets, by their number; groups in the order of their first sources.
void KEP_TURNED_BUNDLE::WORK::group(const KEP_TEMPLATE_TABLE<KEP_BUNDLE_ENTRY>::LIST& bundle) {
  m_groups.clear();
  const KEP_BUNDLE_ENTRY* const end = bundle.m_entries + bundle.m_num_edges;
  for (const KEP_BUNDLE_ENTRY* entry = bundle.m_entries; entry != end; ++entry) {
    if (entry->m_targets >= m_group_of_targets.size())
      m_group_of_targets.resize(std::max<std::size_t>(entry->m_targets + 1, 2 * m_group_of_targets.size()),
                                NONE);
    std::uint32_t& group = m_group_of_targets[entry->m_targets];
    if (group == NONE) {
      group = static_cast<std::uint32_t>(m_groups.size());
      m_groups.push_back({entry->m_targets, 0, NONE});
    }
    ++m_groups[group].m_end; // how many at first
  }
  std::uint32_t begin = 0;
  for (GROUP& each : m_groups)
    begin += std::exchange(each.m_end, begin);
  m_sources.resize(bundle.m_num_edges);
  for (const KEP_BUNDLE_ENTRY* entry = bundle.m_entries; entry != end; ++entry)
    m_sources[m_groups[m_group_of_targets[entry->m_targets]].m_end++] = entry->m_source;
  for (const GROUP& each : m_groups)
    m_group_of_targets[each.m_targets] = NONE;
}

/// What each group drives, by target and then by group.
void KEP_TURNED_BUNDLE::WORK::pair(const KEP_TARGET_LISTS& targets) {
  m_pairs.clear();
  for (std::uint32_t group = 0; group != m_groups.size(); ++group) {
    const KEP_TARGET_LISTS::LIST& list = targets.get(m_groups[group].m_targets);
    for (std::uint32_t i = 0; i != list.m_num_edges; ++i)
      m_pairs.emplace_back(list.m_entries[i].m_target, group);
  }
  sort_pairs();
}

/// Counts by target where that is less than to compare: many bundles reach few targets that lie far apart.
void KEP_TURNED_BUNDLE::WORK::sort_pairs() {
  const auto [least, most] =
      std::minmax_element(m_pairs.begin(), m_pairs.end(),
                          [](const PAIR& left, const PAIR& right) { return left.first < right.first; });
  const std::uint32_t first = least->first;
  const std::size_t num_targets = most->first - first + std::size_t{1};
  if (num_targets > 8 * m_pairs.size()) return std::sort(m_pairs.begin(), m_pairs.end());
  m_unsorted.swap(m_pairs);
  m_pairs.resize(m_unsorted.size());
  m_next.assign(num_targets + 1, 0);
  for (const PAIR& each : m_unsorted)
    ++m_next[each.first - first + 1];
  for (std::size_t i = 1; i < num_targets; ++i)
    m_next[i] += m_next[i - 1];
  for (const PAIR& each : m_unsorted)
    m_pairs[m_next[each.first - first]++] = each;
}

/// Short ones are as quickly made as found, unless one group makes them.
std::uint32_t* KEP_TURNED_BUNDLE::WORK::find_list(const PAIR* pair, const PAIR* end) {
  constexpr std::uint32_t LONG = 64;
  if (end - pair == 1) return &m_groups[pair->second].m_list;
  std::uint32_t num_sources = 0;
  for (const PAIR* each = pair; each != end; ++each)
    num_sources += m_groups[each->second].m_end - get_begin(each->second);
  if (num_sources < LONG) return nullptr;
  std::vector<std::uint32_t> groups;
  for (; pair != end; ++pair)
    groups.push_back(pair->second);
  return &m_long_lists.try_emplace(std::move(groups), NONE).first->second;
}

KEP_TURNED_BUNDLE::KEP_TURNED_BUNDLE(const KEP_TEMPLATE_TABLE<KEP_BUNDLE_ENTRY>::LIST& bundle,
                                     const KEP_TARGET_LISTS& targets, WORK& work) {
  work.group(bundle);
  work.pair(targets);
  const WORK::PAIR* const end = work.m_pairs.data() + work.m_pairs.size();
  for (const WORK::PAIR *pair = work.m_pairs.data(), *next; pair != end; pair = next) {
    next = std::find_if(pair, end, [pair](const WORK::PAIR& each) { return each.first != pair->first; });
    std::uint32_t* known = work.find_list(pair, next);
    const std::uint32_t list = known && *known != WORK::NONE ? *known : add_list(work, pair, next);
    if (known) *known = list;
    m_targets.push_back({pair->first, list});
  }
  work.m_long_lists.clear();
  m_targets.shrink_to_fit();
  m_lists.shrink_to_fit();
}

/// A target may stand in several groups, and several times in one.
std::uint32_t KEP_TURNED_BUNDLE::add_list(const WORK& work, const WORK::PAIR* pair, const WORK::PAIR* end) {
  const auto list = static_cast<std::uint32_t>(m_lists.size());
  m_lists.push_back(0);
  for (; pair != end; ++pair) {
    m_lists.insert(m_lists.end(), work.m_sources.begin() + work.get_begin(pair->second),
                   work.m_sources.begin() + work.m_groups[pair->second].m_end);
  }
  m_lists[list] = static_cast<std::uint32_t>(m_lists.size()) - list - 1;
  if (!std::is_sorted(m_lists.begin() + list + 1, m_lists.end()))
    std::sort(m_lists.begin() + list + 1, m_lists.end());
  return list;
}

bool KEP_TURNED_BUNDLE::is_absolute() const {
  return (m_lists[1] & KEP_SEEN_WORD::ABSOLUTE) != 0;
}
