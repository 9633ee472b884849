#pragma once

#include "kep/kep_db.h"
#include "tools/kep-rg/ask/node_filter.h"
#include "tools/kep-rg/output/table_output.h"

#include <string>
#include <vector>

/// The columns of the list.
std::vector<std::string> get_node_columns();

/// Lists the nodes that pass, in the order of the graph. std::runtime_error, with the closest names, for an
/// instance or a module that is not there.
void list_nodes(const KEP_DB& db, const NODE_QUERY& query, TABLE_OUTPUT& table);
