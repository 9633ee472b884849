#pragma once

#include "kep_rg/kep_rg_export.h"

#include <cstdint>
#include <string>

/// @file
/// What a build counted: one record for nodes, written by one thread, and one for edges, a copy a worker
/// thread. Plain values. A cdrn cache is a fanout cache (docs/glossary.md).

/// What became of ports while nodes were made.
struct KEP_RG_NODE_CREATION_STATS {
  std::uint32_t m_eliminated_num_nodes = 0;       ///< ports that were excluded, each time they were reached
  std::uint32_t m_created_num_nodes = 0;          ///< nodes of a uip, hipi twins left out
  std::uint32_t m_created_num_nodes_blc = 0;      ///< those of them on and in a BLC
  std::uint32_t m_created_num_nodes_inserted = 0; ///< those of them at inserted ports
  std::uint32_t m_created_num_nodes_hipi = 0;     ///< hipi twins
  std::uint32_t m_repeated_num_nodes = 0;         ///< ports reached that had a node already
  std::uint32_t m_created_num_nodes_boundary = 0; ///< nodes of ports of the top
};

/// What was found and stored while edges were made.
struct KEP_RG_EXPORT KEP_RG_EDGE_CREATION_STATS {
  /// Starts the clocks.
  KEP_RG_EDGE_CREATION_STATS(unsigned node_count, const std::int32_t& nodes_per_display);

  std::uint64_t n_skip_port = 0;         ///< targets without a node
  std::uint64_t n_nodes;                 ///< nodes to do
  std::uint64_t nodes_per_display;       ///< step of the progress line
  std::uint64_t n_nodes_done = 0;        ///< nodes finished
  std::uint64_t n_get_leaf_calls = 0;    ///< 2 for a node that missed the cache, 1 for one that hit it
  std::uint64_t n_get_leaf_fanouts = 0;  ///< leaves found
  std::uint64_t n_edges = 0;             ///< real edges
  std::uint64_t n_redundant_edges = 0;   ///< redundant edges
  std::uint64_t n_cdrn_cache_hits = 0;   ///< nodes answered by the cache
  std::uint64_t n_cdrn_cache_misses = 0; ///< nodes that were searched
  std::int32_t cpu_start;                ///< processor time at the start, in milliseconds
  std::int64_t wall_start;               ///< wall time at the start, in ticks of 100 nanoseconds

  /// Adds up the counters of work done; what is to do, the step and the clocks stay.
  void add(const KEP_RG_EDGE_CREATION_STATS& other);
  /// The same as a new record, which has the step and the clocks of the left one.
  friend KEP_RG_EDGE_CREATION_STATS operator+(KEP_RG_EDGE_CREATION_STATS left,
                                              const KEP_RG_EDGE_CREATION_STATS& right) {
    left.add(right);
    return left;
  }
  /// Processor time since the start, in seconds.
  double get_cpu_seconds() const;
  /// Wall time since the start, in whole seconds.
  std::int64_t get_wall_seconds() const;
};

namespace KEP_RG {

/// Seconds as hours, minutes and seconds without leading zeros: 3725 reads 1h:2m:5s.
KEP_RG_EXPORT std::string format_time(int seconds);

/// The closing block of the edge phase, line by line to the information stream.
KEP_RG_EXPORT void print_stats(const KEP_RG_EDGE_CREATION_STATS& total);

/// The line that tells how far the edge phase is, when a range of `count` nodes is done and `total` holds
/// what was done before it; empty when none is due. One is due when a multiple of the step is crossed and,
/// unless the step is 1, more than a second of processor time has passed.
KEP_RG_EXPORT std::string format_progress(const KEP_RG_EDGE_CREATION_STATS& total, std::uint64_t count,
                                          double cpu_seconds, std::int64_t wall_seconds);

} // namespace KEP_RG
