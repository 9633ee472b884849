#pragma once

#include "kep/kep_routing_graph.h"

#include <string>
#include <vector>

/// The two files of a dump in this folder: nodes.tsv and edges.tsv.
std::vector<std::string> get_dump_files(const std::string& folder);

/// Writes them into the folder, which is made if needed: every node and every edge by name,
/// in the order of the graph. Both files appear when both are complete. std::runtime_error names the file
/// that failed.
void write_dump(const KEP_ROUTING::GRAPH& graph, const std::string& folder);
