#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"

#include <string>
#include <vector>

/// The uips of a name, "a/b:c", one for each choice of views on the way; none for a name of another form.
std::vector<KEP_UNFOLDED_INST_PORT> find_uips(const KEP_DB& db, const std::string& name);

/// The nodes of a name as the dump has it, the plain node before its hipi twin. Throws std::runtime_error
/// when there is none; its one line tells the closest names.
std::vector<KEP_ROUTING::NODE> find_nodes(const KEP_DB& db, const std::string& name);
