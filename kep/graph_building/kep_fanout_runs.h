#pragma once

#include "kep/graph_building/kep_template_lists.h"
#include "kep/kep_export.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// The lists of fanouts, cut where the place changes: a *run* are fanouts that stand side by side in a list
/// and at one place. Most runs of a regular device are alike but for where they lead, however unlike the
/// lists are.
class KEP_EXPORT KEP_FANOUT_RUNS {
public:
  struct RUN {
    std::uint32_t m_direction; ///< numbers of both
    std::uint32_t m_targets;
  };

  /// `words` are those of the lists. By as many threads as the arena of the caller has.
  KEP_FANOUT_RUNS(const KEP_TEMPLATE_LISTS& fanouts, const std::vector<KEP_SEEN_WORD>& words);

  /// In the order of the list.
  std::span<const RUN> get_runs(std::uint32_t list) const {
    return {m_runs.data() + m_first_runs[list], m_runs.data() + m_first_runs[list + std::size_t{1}]};
  }
  /// The place of the targets, as it is seen, without a rank.
  KEP_SEEN_WORD get_direction(std::uint32_t number) const {
    return m_directions.get(number).m_entries->m_node;
  }
  std::uint32_t get_direction_limit() const { return m_directions.get_number_limit(); }

  /// What a run drives. Equal numbers are equal targets; where lists come again, also the other way round.
  std::uint32_t get_num_targets(std::uint32_t number) const {
    return m_first_entries[number + std::size_t{1}] - m_first_entries[number];
  }
  /// The lower half of the word of one of them.
  std::uint32_t get_target(std::uint32_t number, std::uint32_t index) const {
    return get_target(m_words[m_first_entries[number] + index]);
  }
  std::uint32_t get_target_limit() const { return static_cast<std::uint32_t>(m_runs.size()); }

private:
  static std::uint32_t get_target(KEP_SEEN_WORD word) {
    return static_cast<std::uint32_t>(word.m_bits & ~KEP_SEEN_WORD::ABSOLUTE);
  }
  template <class VISIT>
  void visit_runs(const KEP_EDGE_TEMPLATE& list, const VISIT& visit) const;
  void find_runs(const std::vector<KEP_EDGE_TEMPLATE>& lists);
  void share_targets();

  const std::vector<KEP_SEEN_WORD>& m_words;
  KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY> m_directions; // each a list of one
  std::vector<std::uint32_t> m_first_runs;          // by list, and one more
  std::vector<RUN> m_runs;
  std::vector<std::uint32_t> m_first_entries; // by run, and one more
};
