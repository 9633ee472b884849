#pragma once

#include "kep/kep_routing_graph.h"
#include "kep_io/kep_database_file.h"
#include "kep_rg/kep_rg_creation_stats.h"
#include "kep_rg/kep_rg_outputs_without_node.h"
#include "kep_rg/kep_rg_phase_clock.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What a run counted and how long it took.
struct BUILD_STATS {
  KEP_RG_NODE_CREATION_STATS m_nodes;
  KEP_RG_OUTPUTS_WITHOUT_NODE m_without_node;
  KEP_RG_EDGE_CREATION_STATS m_edges{0, 1};
  std::uint64_t m_counted_n = 0;
  std::uint64_t m_counted_boundary = 0;
  KEP_RG_PHASES m_phases;
  int m_num_threads = 1;
  /// How the device was made, when it was read from a database and not built in this run.
  std::optional<KEP_DATABASE_ORIGIN> m_origin;
  std::uint64_t m_database_checksum = 0; ///< of that database
};

/// The counters that hang on the device alone, and neither on clocks nor on threads: what a database keeps.
std::vector<std::pair<std::string, std::uint64_t>> get_device_counters(const BUILD_STATS& stats);
/// Takes over the origin of a database with those of its counters that are known.
void set_origin(BUILD_STATS& stats, KEP_DATABASE_ORIGIN origin);

/// Writes one JSON object: counters, phases, graph, threads and the peak memory of the process. The counters
/// of a device that was read from a database are those that it has.
void write_stats(const BUILD_STATS& stats, const KEP_ROUTING::GRAPH& graph, const std::string& path);
