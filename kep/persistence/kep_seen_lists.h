#pragma once

#include "kep/detail/kep_edge_tables.h"
#include "kep/persistence/kep_place_kinds.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

// Of a seen word, whether its flag is set or not.
inline std::uint32_t kep_get_seen_rank(KEP_SEEN_WORD word) {
  return static_cast<std::uint32_t>(word.m_bits & ~KEP_SEEN_WORD::ABSOLUTE) - 1;
}
inline std::uint32_t kep_get_seen_place(KEP_SEEN_WORD word) {
  return static_cast<std::uint32_t>(word.m_bits >> 32);
}

/// The lists of one end of the edges of a graph in a file, and whether the nodes that they name are there. A
/// list leads in some *directions*, differences of places. Lists that lead in the same ones, to places of as
/// many nodes, are a *set*, of which real devices have few. All of a set are sound as a place sees them where
/// nodes of all ranks stand up to the highest that any of them names; only where that can't be told, a list
/// is tested word by word.
class KEP_SEEN_LISTS {
public:
  struct DIRECTION {
    std::uint32_t m_difference; ///< modulo 2^32
    std::uint32_t m_num_ranks;  ///< at the first place that it was seen to lead to
    std::uint32_t m_max_rank;
  };
  struct ADDED {
    std::uint32_t m_set = 0; ///< 0 without edges
    bool m_has_absolute = false;
  };

  /// `words` are so many.
  KEP_SEEN_LISTS(const KEP_PLACE_KINDS& kinds, const KEP_FOLDED_WORDS& words, std::size_t size)
      : m_kinds(kinds), m_words(words), m_size(size) {}

  /// A list, and a place that has it. One that comes again is known where lists come in the order of their
  /// words, as in a graph that was built. Tests what is told absolutely. KEP_DB_ERROR where a list is not
  /// there, or not sound.
  ADDED add(std::uint32_t first, std::uint32_t count, std::uint32_t place);
  /// Those with words, each once.
  std::uint64_t get_num_lists() const { return m_lists.size(); }

  // Behind the last list, by any number of threads at a time.
  std::uint32_t get_num_sets() const { return static_cast<std::uint32_t>(m_ends.size() - 1); }
  const DIRECTION* begin(std::uint32_t set) const { return m_directions.data() + m_ends[set]; }
  const DIRECTION* end(std::uint32_t set) const { return m_directions.data() + m_ends[set + std::size_t{1}]; }
  bool is_sound(std::uint32_t set, std::uint32_t place) const {
    const DIRECTION* const last = end(set);
    for (const DIRECTION* direction = begin(set); direction != last; ++direction)
      if (direction->m_max_rank >=
          m_kinds.get_num_full_ranks(m_kinds.find_kind(place + direction->m_difference)))
        return false;
    return true;
  }
  /// Calls `use` with the differences and ranks that a list names.
  template <class USE>
  void visit(std::uint32_t first, std::uint32_t count, const USE& use) const;
  /// Tests a list word by word. KEP_DB_ERROR where it is not sound.
  void check(std::uint32_t first, std::uint32_t count, std::uint32_t place) const;

private:
  struct LIST {
    std::uint32_t m_first;
    std::uint32_t m_count;
    ADDED m_added;
  };

  const LIST* find(std::uint32_t first, std::uint32_t count) const;
  bool read(std::uint32_t first, std::uint32_t count, std::uint32_t place);
  std::uint32_t find_or_make_set();

  const KEP_PLACE_KINDS& m_kinds;
  KEP_FOLDED_WORDS m_words;
  std::size_t m_size;
  std::vector<LIST> m_lists;
  std::size_t m_num_words = 0;
  std::vector<DIRECTION> m_directions;     // set by set
  std::vector<std::uint32_t> m_ends{0, 0}; // of the sets before each, and of the last
  std::unordered_multimap<std::uint64_t, std::uint32_t> m_set_by_hash;
  std::vector<DIRECTION> m_read; // of the list that is added
};

template <class USE>
void KEP_SEEN_LISTS::visit(std::uint32_t first, std::uint32_t count, const USE& use) const {
  for (std::uint32_t i = first; i != first + count; ++i)
    if (const KEP_SEEN_WORD word = m_words[i]; !word.is_absolute())
      use(kep_get_seen_place(word), kep_get_seen_rank(word));
}
