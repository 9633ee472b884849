#pragma once

#include "kep/kep_routing_graph.h"

#include <string>
#include <vector>

/// The files of a graph as compressed sparse rows in this folder: csr.json, which describes the arrays, and
/// offsets.u64, targets.u32 and classes.u8, which hold nothing but their numbers.
std::vector<std::string> get_csr_files(const std::string& folder);

/// Writes them into the folder, which is made if needed. Nodes stand in the order of the graph, edges in that
/// of iter_all_fanout(). All threads write, each its part in its place, so that it takes some hundred kB a
/// thread whatever the graph. The files appear when all are complete. std::runtime_error names the one that
/// failed. `device` is what the graph was read from.
void write_csr(const KEP_ROUTING::GRAPH& graph, const std::string& device, const std::string& folder);
