#include "kep/graph_building/kep_fanout_runs.h"

#include "kep/common/kep_parts.h"

#include <numeric>

namespace {

constexpr std::size_t LISTS_AT_A_TIME = 256;

struct TARGET_ENTRY {
  std::uint32_t m_target;

  std::uint64_t hash(std::uint64_t seed) const { return KEP_TEMPLATE_HASH::mix(m_target, seed); }
};

std::uint64_t get_place_bits(KEP_SEEN_WORD word) {
  return word.m_bits & (~std::uint64_t{0} << 32 | KEP_SEEN_WORD::ABSOLUTE);
}

} // namespace

KEP_FANOUT_RUNS::KEP_FANOUT_RUNS(const KEP_TEMPLATE_LISTS& fanouts, const std::vector<KEP_SEEN_WORD>& words)
    : m_words(words) {
  find_runs(fanouts.m_templates);
  // Where each node has a list of its own, hardly any run comes again, and to look for one takes longest.
  if (2 * fanouts.m_templates.size() < fanouts.m_of_nodes.size()) share_targets();
}

/// Calls `visit(begin)` with the first position of each run of the list.
template <class VISIT>
void KEP_FANOUT_RUNS::visit_runs(const KEP_EDGE_TEMPLATE& list, const VISIT& visit) const {
  const std::uint32_t end = list.m_first_entry + list.m_num_edges;
  for (std::uint32_t entry = list.m_first_entry; entry != end;) {
    const std::uint32_t begin = entry;
    while (++entry != end && get_place_bits(m_words[entry]) == get_place_bits(m_words[begin])) {
    }
    visit(begin);
  }
}

void KEP_FANOUT_RUNS::find_runs(const std::vector<KEP_EDGE_TEMPLATE>& lists) {
  m_first_runs.assign(lists.size() + 1, 0);
  kep_for_parts(lists.size(), LISTS_AT_A_TIME, [&](std::size_t begin, std::size_t end) {
    for (std::size_t list = begin; list != end; ++list)
      visit_runs(lists[list], [&](std::uint32_t) { ++m_first_runs[list + 1]; });
  });
  std::partial_sum(m_first_runs.begin(), m_first_runs.end(), m_first_runs.begin());
  m_runs.resize(m_first_runs.back());
  m_first_entries.resize(m_runs.size() + 1);
  kep_for_parts(lists.size(), LISTS_AT_A_TIME, [&](std::size_t begin, std::size_t end) {
    KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>::RECENT recent;
    std::uint32_t run = m_first_runs[begin];
    for (std::size_t list = begin; list != end; ++list)
      visit_runs(lists[list], [&](std::uint32_t first) {
        const KEP_FANIN_ENTRY direction{{get_place_bits(m_words[first])}};
        m_runs[run] = {m_directions.add({&direction, 1, 1}, recent), run};
        m_first_entries[run++] = first;
      });
  });
  m_first_entries.back() = static_cast<std::uint32_t>(m_words.size());
}

/// Targets take the number of the first run that has the same.
void KEP_FANOUT_RUNS::share_targets() {
  KEP_TEMPLATE_TABLE<TARGET_ENTRY> table;
  kep_for_parts(m_runs.size(), LISTS_AT_A_TIME, [&](std::size_t begin, std::size_t end) {
    KEP_TEMPLATE_TABLE<TARGET_ENTRY>::RECENT recent;
    std::vector<TARGET_ENTRY> targets;
    for (std::size_t run = begin; run != end; ++run) {
      targets.clear();
      for (std::uint32_t entry = m_first_entries[run]; entry != m_first_entries[run + 1]; ++entry)
        targets.push_back({get_target(m_words[entry])});
      const auto count = static_cast<std::uint16_t>(targets.size());
      m_runs[run].m_targets = table.add({targets.data(), count, count}, recent);
    }
  });
  std::vector<std::uint32_t> first_runs(table.get_number_limit(), KEP_TEMPLATE_LISTS::NONE);
  for (std::uint32_t run = 0; run != m_runs.size(); ++run) {
    std::uint32_t& first_run = first_runs[m_runs[run].m_targets];
    if (first_run == KEP_TEMPLATE_LISTS::NONE) first_run = run;
    m_runs[run].m_targets = first_run;
  }
}
