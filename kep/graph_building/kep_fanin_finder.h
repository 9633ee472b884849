#pragma once

#include "kep/graph/kep_node_places.h"
#include "kep/graph_building/kep_edge_bundles.h"
#include "kep/graph_building/kep_template_lists.h"

#include <tbb/spin_mutex.h>

#include <cstddef>
#include <cstdint>
#include <vector>

/// Turns the edges of a graph round: finds the fanins of each node and their templates. Edges come in bundles
/// that were turned round already. What a place gets is a row of them, and places of the same row have the
/// same fanins: one of them puts the lists of its nodes together, the others take its numbers. So the edges
/// are never listed one by one, unless no two places are alike. By as many threads as the arena of the caller
/// has.
class KEP_FANIN_FINDER {
public:
  /// `words` are those of the lists of fanouts.
  KEP_FANIN_FINDER(const KEP_NODE_PLACES& places, const KEP_TEMPLATE_LISTS& fanouts,
                   const std::vector<KEP_SEEN_WORD>& words, std::uint32_t num_top_occurrences)
      : m_places(places), m_fanouts(fanouts), m_words(words), m_num_top_occurrences(num_top_occurrences) {}

  /// Enters the lists of fanins in the table and gives the number of that of each node,
  /// KEP_TEMPLATE_LISTS::NONE without fanins. Hipi fanins come first, then all in the order of their nodes. A
  /// bundle has at most so many sources, and a thread has about so many pieces of lists at hand; 0 leaves the
  /// number to the finder.
  std::vector<std::uint32_t> find(KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>& table, std::uint32_t at_a_time);
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};

  /// The first node with more fanins than a node can have, or NONE; and how many it has.
  std::uint32_t get_overfull_node() const { return m_overfull_node; }
  std::uint32_t get_overfull_count() const { return m_overfull_count; }

private:
  /// A bundle that ends at a place. `m_seen_place` is the place of its sources, seen from there or absolute.
  struct ARRIVAL {
    std::uint32_t m_seen_place;
    std::uint32_t m_bundle;

    std::uint64_t hash(std::uint64_t seed) const {
      return KEP_TEMPLATE_HASH::mix(std::uint64_t{m_seen_place} << 32 | m_bundle, seed);
    }
  };
  /// Some targets of a place, by their ranks plus one.
  struct PART {
    std::uint32_t m_place;
    std::uint32_t m_begin;
    std::uint32_t m_end;
  };
  class GATHERER;

  void find_arrivals(const KEP_EDGE_BUNDLES& bundles);
  void find_models();
  std::vector<PART> cut(const KEP_EDGE_BUNDLES& bundles, std::uint32_t at_a_time) const;
  void take_from_model(std::uint32_t place, std::vector<std::uint32_t>& of_nodes) const;
  void tell_overfull(std::uint32_t node, std::uint32_t count);

  const KEP_NODE_PLACES& m_places;
  const KEP_TEMPLATE_LISTS& m_fanouts;
  const std::vector<KEP_SEEN_WORD>& m_words;
  std::uint32_t m_num_top_occurrences;

  std::vector<std::size_t> m_first_arrival; // by place, and one more
  std::vector<ARRIVAL> m_arrivals;          // place after place, in the order of their sources
  std::vector<std::uint32_t> m_models;      // by place: the first place of the same row, NONE without a row
  tbb::spin_mutex m_overfull_mutex;
  std::uint32_t m_overfull_node = NONE;
  std::uint32_t m_overfull_count = 0;
};
