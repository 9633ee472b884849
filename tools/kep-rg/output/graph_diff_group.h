#pragma once

#include "kep/kep_graph_diff.h"

#include <string>

/// "2 nodes, 30 edges (4 redundant)"; "nothing" where there is nothing.
std::string format_counts(const KEP_GRAPH_DIFF_COUNTS& counts);

/// A group in one line: "mux m3 of TILE lost input i4: 1,156 edges".
std::string format_group(const KEP_GRAPH_DIFF_GROUP& group);

/// A group as one JSON object.
std::string get_group_json(const KEP_GRAPH_DIFF_GROUP& group);
std::string get_counts_json(const KEP_GRAPH_DIFF_COUNTS& counts);
