#pragma once

#include "kep/graph/kep_node_places.h"
#include "kep/graph_building/kep_bundle_turner.h"
#include "kep/graph_building/kep_template_lists.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// The edges of a graph by pairs of places. A *bundle* is what leads from nodes of one place to nodes of
/// another: for each source, in order, the targets that it drives there. It does not tell where both stand,
/// so a regular device has few of them however large it is, and each is turned round once.
///
/// Whatever comes again is looked at once on the way there, too: runs of fanouts, and the lists that the
/// nodes of a place have.
class KEP_EDGE_BUNDLES {
public:
  /// One bundle, and where it leads, as seen from the place of its sources.
  struct WAY {
    KEP_SEEN_WORD m_direction; // of rank 0, none
    std::uint32_t m_bundle;
  };
  /// Some nodes of a place, and the ways of their edges: those of one distinct block.
  struct BLOCK {
    std::uint32_t m_place;
    std::uint32_t m_first_node;
    std::uint32_t m_ways;
  };

  /// `entries` are those of the lists of fanouts. No bundle and no block has more than `max_sources` sources,
  /// 65535 at most. By as many threads as the arena of the caller has.
  KEP_EDGE_BUNDLES(const KEP_NODE_PLACES& places, const KEP_TEMPLATE_LISTS& fanouts,
                   const std::vector<KEP_SEEN_WORD>& words, std::uint32_t num_top_occurrences,
                   std::uint32_t max_sources);

  /// Hipi nodes first, then the others; by place, and by node. The ways of a block from one place to another
  /// stand in the order of their sources.
  const std::vector<BLOCK>& get_blocks() const { return m_blocks; }
  const std::vector<WAY>& get_ways(const BLOCK& block) const { return m_ways[block.m_ways]; }
  using TARGET = KEP_TURNED_BUNDLE::TARGET;
  /// In order, each once.
  const std::vector<TARGET>& get_targets(std::uint32_t bundle) const { return m_turned[bundle].m_targets; }
  /// The list of a target: sources of one bundle, in order, as the lower halves of their words. The bit
  /// KEP_SEEN_WORD::ABSOLUTE says of all of the bundle that they are to be named absolutely.
  std::span<const std::uint32_t> get_sources(std::uint32_t list) const {
    return {m_lists.data() + list + 1, m_lists[list]};
  }

private:
  /// A node of a block, told like KEP_TURNED_BUNDLE tells sources, and its list of fanouts.
  struct BLOCK_ENTRY {
    std::uint32_t m_source;
    std::uint32_t m_list;

    std::uint64_t hash(std::uint64_t seed) const {
      return KEP_TEMPLATE_HASH::mix(std::uint64_t{m_source} << 32 | m_list, seed);
    }
  };
  class WAY_FINDER;

  void make_blocks();
  void add_blocks();
  void number_block(BLOCK& block, bool hipi, std::vector<BLOCK_ENTRY>& entries,
                    KEP_TEMPLATE_TABLE<BLOCK_ENTRY>::RECENT& recent);
  void find_ways(const KEP_FANOUT_RUNS& runs);
  void turn_bundles(const KEP_FANOUT_RUNS& runs);
  void join_lists(const std::vector<std::uint32_t>& bundles);

  const KEP_NODE_PLACES& m_places;
  const KEP_TEMPLATE_LISTS& m_fanouts;
  std::uint32_t m_num_top_occurrences;
  std::uint32_t m_max_sources;

  std::size_t m_num_hipi_blocks = 0;
  std::vector<BLOCK> m_blocks;
  KEP_TEMPLATE_TABLE<BLOCK_ENTRY> m_distinct_blocks;
  std::vector<std::vector<WAY>> m_ways; // by distinct block
  KEP_TEMPLATE_TABLE<KEP_BUNDLE_ENTRY> m_bundles;
  std::vector<KEP_TURNED_BUNDLE> m_turned; // by bundle
  std::vector<std::uint32_t> m_lists;      // of all bundles
};
