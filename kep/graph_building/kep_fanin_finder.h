#pragma once

#include "kep/graph/kep_node_places.h"
#include "kep/graph_building/kep_template_lists.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

/// Turns the edges of a graph round: finds the fanins of each node and their templates. The edges are never
/// listed all at once: the nodes are cut into parts, and the sources of one part are gathered in a pass over
/// the edges of the places that reach it. Parts are gathered side by side, by as many threads as the arena of
/// the caller has.
class KEP_FANIN_FINDER {
public:
  /// `words` are those of the lists of fanouts.
  KEP_FANIN_FINDER(const KEP_NODE_PLACES& places, const KEP_TEMPLATE_LISTS& fanouts,
                   const std::vector<KEP_SEEN_WORD>& words, std::uint32_t num_top_occurrences)
      : m_places(places), m_fanouts(fanouts), m_words(words), m_num_top_occurrences(num_top_occurrences) {}

  /// Enters the lists of fanins in the table and gives the number of that of each node,
  /// KEP_TEMPLATE_LISTS::NONE without fanins. Hipi fanins come first, then all in the order of their nodes. A
  /// thread gathers so many of them at a time; 0 leaves the number to the finder.
  std::vector<std::uint32_t> find(KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>& table, std::uint64_t at_a_time);
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};

  /// A node with more fanins than a node can have, or NONE; and how many it has.
  std::uint32_t get_overfull_node() const { return m_overfull_node; }
  std::uint32_t get_overfull_count() const { return m_overfull_count; }

private:
  struct PART {
    std::uint32_t m_begin; // nodes
    std::uint32_t m_end;
    std::uint64_t m_num_edges;
  };
  /// The places at which edges end, first and last; none if the last comes first.
  struct REACH {
    std::uint32_t m_first = NONE;
    std::uint32_t m_last = 0;

    bool meets(std::uint32_t first, std::uint32_t last) const { return m_first <= last && m_last >= first; }
    void add(const REACH& other) {
      m_first = std::min(m_first, other.m_first);
      m_last = std::max(m_last, other.m_last);
    }
  };
  /// What is told by differences and what by place, apart: they lie far from each other.
  struct PLACE_REACH {
    REACH m_relative;
    REACH m_absolute;

    bool meets(std::uint32_t first, std::uint32_t last) const {
      return m_relative.meets(first, last) || m_absolute.meets(first, last);
    }
  };

  /// Of one list: of its differences of places, and of the places that it names.
  struct LIST_REACH {
    std::int32_t m_nearest = std::numeric_limits<std::int32_t>::max();
    std::int32_t m_farthest = std::numeric_limits<std::int32_t>::min();
    REACH m_absolute;

    bool meets(std::uint32_t own, std::uint32_t first, std::uint32_t last) const {
      const std::int64_t place = own;
      return (place + m_nearest <= last && place + m_farthest >= first) || m_absolute.meets(first, last);
    }
  };

  void find_reaches();
  void count(std::vector<std::uint32_t>& num_fanins);
  std::vector<PART> cut(const std::vector<std::uint32_t>& num_fanins, std::uint64_t at_a_time) const;
  /// Replaces the numbers of fanins of the part's nodes by those of their templates.
  void gather(const PART& part, KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>& table,
              std::vector<std::uint32_t>& of_nodes) const;
  /// Puts the sources of the part's nodes, hipi twins or all others, where the next one of each node goes.
  void collect(const PART& part, bool hipi, std::vector<std::uint32_t>& next,
               std::vector<KEP_FANIN_ENTRY>& sources) const;
  template <class BEGIN>
  void visit_edges(std::uint32_t first_place, std::uint32_t last_place, const BEGIN& begin) const;

  const KEP_NODE_PLACES& m_places;
  const KEP_TEMPLATE_LISTS& m_fanouts;
  const std::vector<KEP_SEEN_WORD>& m_words;
  std::uint32_t m_num_top_occurrences;
  std::vector<LIST_REACH> m_list_reaches;   // by template
  std::vector<PLACE_REACH> m_reaches;       // of the edges from a place, by place
  std::vector<PLACE_REACH> m_block_reaches; // of so many places together
  static constexpr std::uint32_t BLOCK = 256;
  bool m_has_hipi = false;
  std::uint32_t m_overfull_node = NONE;
  std::uint32_t m_overfull_count = 0;
};
