#pragma once

#include "kep/graph_building/kep_fanout_runs.h"
#include "kep/graph_building/kep_template_table.h"
#include "kep/kep_export.h"

#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

/// A source of a bundle: the lower half of its word, with the bit KEP_SEEN_WORD::ABSOLUTE where its targets
/// are to name it absolutely; and what it drives, as KEP_FANOUT_RUNS numbers it.
struct KEP_BUNDLE_ENTRY {
  std::uint32_t m_source;
  std::uint32_t m_targets;

  std::uint64_t hash(std::uint64_t seed) const {
    return KEP_TEMPLATE_HASH::mix(std::uint64_t{m_source} << 32 | m_targets, seed);
  }
};

/// A bundle of edges as its targets see it. Targets of the same sources share their list if it is long, so a
/// net with n drivers and n readers takes n words and not n * n.
struct KEP_TURNED_BUNDLE {
  struct TARGET {
    std::uint32_t m_target;
    std::uint32_t m_list;
  };

  std::vector<TARGET> m_targets;      ///< in order, each once
  std::vector<std::uint32_t> m_lists; ///< their sources in order; before each list its size
};

/// Turns bundles round, one after another.
class KEP_EXPORT KEP_BUNDLE_TURNER {
public:
  explicit KEP_BUNDLE_TURNER(const KEP_FANOUT_RUNS& runs)
      : m_runs(runs), m_group_of_targets(runs.get_target_limit(), NONE) {}

  KEP_TURNED_BUNDLE turn(const KEP_TEMPLATE_TABLE<KEP_BUNDLE_ENTRY>::LIST& bundle);

private:
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};
  struct GROUP { // sources of the same targets
    std::uint32_t m_targets;
    std::uint32_t m_begin; // of its sources
    std::uint32_t m_end;
    std::uint32_t m_list; // where it stands as a list, or NONE
  };
  using PAIR = std::pair<std::uint32_t, std::uint32_t>; // a target and a group that drives it
  struct KNOWN_LIST {
    const PAIR* m_pairs;
    const PAIR* m_end;
    std::uint32_t m_list;
  };

  void group(const KEP_TEMPLATE_TABLE<KEP_BUNDLE_ENTRY>::LIST& bundle);
  void pair();
  void sort_pairs(std::uint32_t least, std::uint32_t most);
  std::uint32_t find_list(const PAIR* pairs, const PAIR* end);
  std::uint32_t find_long_list(const PAIR* pairs, const PAIR* end);
  std::uint32_t add_list(const PAIR* pairs, const PAIR* end);

  const KEP_FANOUT_RUNS& m_runs;
  KEP_TURNED_BUNDLE m_turned;
  std::vector<std::uint32_t> m_group_of_targets; // NONE between bundles
  std::vector<GROUP> m_groups;
  std::vector<std::uint32_t> m_sources; // group after group
  std::vector<PAIR> m_pairs;            // by target, then by group
  std::vector<PAIR> m_unsorted;
  std::vector<std::uint32_t> m_next;
  std::unordered_map<std::uint64_t, KNOWN_LIST> m_long_lists; // by the hash of their groups
};
