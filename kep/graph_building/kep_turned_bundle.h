#pragma once

#include "kep/graph_building/kep_template_table.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

/// A target of a bundle: the lower half of its word.
struct KEP_TARGET_ENTRY {
  std::uint32_t m_target;

  std::uint64_t hash(std::uint64_t seed) const { return KEP_TEMPLATE_HASH::mix(m_target, seed); }
};
using KEP_TARGET_LISTS = KEP_TEMPLATE_TABLE<KEP_TARGET_ENTRY>;

/// A source of a bundle: the lower half of its word, with the bit KEP_SEEN_WORD::ABSOLUTE where its targets
/// are to name it absolutely; and what it drives, by the number of the list.
struct KEP_BUNDLE_ENTRY {
  std::uint32_t m_source;
  std::uint32_t m_targets;

  std::uint64_t hash(std::uint64_t seed) const {
    return KEP_TEMPLATE_HASH::mix(std::uint64_t{m_source} << 32 | m_targets, seed);
  }
};

/// A bundle of edges as its targets see it: lists of sources, each in order. Targets of the same sources
/// share their list if it is long, so a net with n drivers and n readers takes n words and not n * n.
class KEP_TURNED_BUNDLE {
public:
  struct TARGET {
    std::uint32_t m_target;
    std::uint32_t m_list;
  };
  struct LIST {
    const std::uint32_t* m_sources;
    std::uint32_t m_size;
  };

  /// What turning takes on the way; keeps its memory from bundle to bundle.
  class WORK {
    friend class KEP_TURNED_BUNDLE;
    static constexpr std::uint32_t NONE = ~std::uint32_t{0};
    struct GROUP { // sources of the same targets
      std::uint32_t m_targets;
      std::uint32_t m_end; // of its sources, which stand behind those of the group before
      std::uint32_t m_list;
    };
    using PAIR = std::pair<std::uint32_t, std::uint32_t>; // a target and a group that drives it

    std::uint32_t get_begin(std::uint32_t group) const { return group == 0 ? 0 : m_groups[group - 1].m_end; }
    void group(const KEP_TEMPLATE_TABLE<KEP_BUNDLE_ENTRY>::LIST& bundle);
    void pair(const KEP_TARGET_LISTS& targets);
    void sort_pairs();
    /// Where the list of the groups of these pairs stands, to be set if it is new; null for one to forget.
    std::uint32_t* find_list(const PAIR* pair, const PAIR* end);

    std::vector<std::uint32_t> m_group_of_targets; // by number of the list, NONE between bundles
    std::vector<GROUP> m_groups;
    std::vector<std::uint32_t> m_sources; // group after group
    std::vector<PAIR> m_pairs;
    std::vector<PAIR> m_unsorted;
    std::vector<std::uint32_t> m_next;
    std::map<std::vector<std::uint32_t>, std::uint32_t> m_long_lists; // by their groups
  };

  KEP_TURNED_BUNDLE() = default;
  KEP_TURNED_BUNDLE(const KEP_TEMPLATE_TABLE<KEP_BUNDLE_ENTRY>::LIST& bundle, const KEP_TARGET_LISTS& targets,
                    WORK& work);

  /// In order, each once.
  const std::vector<TARGET>& get_targets() const { return m_targets; }
  LIST get_list(std::uint32_t list) const { return {m_lists.data() + list + 1, m_lists[list]}; }
  /// Its sources are to be named absolutely.
  bool is_absolute() const;

private:
  std::uint32_t add_list(const WORK& work, const WORK::PAIR* pair, const WORK::PAIR* end);

  std::vector<TARGET> m_targets;
  std::vector<std::uint32_t> m_lists; // before each its size
};
