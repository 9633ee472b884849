#pragma once

#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_creation_stats.h"
#include "kep_rg/kep_rg_outputs_without_node.h"
#include "kep_rg/kep_rg_phase_clock.h"

#include <cstdint>
#include <string>

/// What a run counted and how long it took.
struct BUILD_STATS {
  KEP_RG_NODE_CREATION_STATS m_nodes;
  KEP_RG_OUTPUTS_WITHOUT_NODE m_without_node;
  KEP_RG_EDGE_CREATION_STATS m_edges{0, 1};
  std::uint64_t m_counted_n = 0;
  std::uint64_t m_counted_boundary = 0;
  KEP_RG_PHASES m_phases;
  int m_num_threads = 1;
};

/// Writes one JSON object: counters, phases, graph, threads and the peak memory of the process.
void write_stats(const BUILD_STATS& stats, const KEP_ROUTING::GRAPH& graph, const std::string& path);
