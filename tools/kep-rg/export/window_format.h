#pragma once

#include "kep/kep_routing_graph.h"
#include "tools/kep-rg/export/window.h"

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

/// The formats in which a window can be written.
enum class WINDOW_FORMAT : unsigned char { DOT, GRAPHML, JSON, CSV };

/// Writes the nodes of a window and all edges among them, in the order of the graph. A node is told by its
/// number, since a plain node and its hipi twin have one name.
///
/// DOT and GraphML are written here, as Boost.Graph writes some names so that nobody reads them: a keyword as
/// a value of DOT, and a text that ends in a backslash.
void write_window(const KEP_ROUTING::GRAPH& graph, const std::vector<WINDOW_NODE>& nodes,
                  WINDOW_FORMAT format, std::ostream& out);
