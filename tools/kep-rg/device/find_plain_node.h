#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"

#include <string>

/// The plain node at the inst port of that name, "a/b:c". Throws std::runtime_error when there is none; its
/// one line tells what stands there instead, or the closest names.
KEP_ROUTING::NODE find_plain_node(const KEP_DB& db, const std::string& name);
