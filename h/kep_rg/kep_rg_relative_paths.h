#pragma once

/// @file
/// Tables of relative paths that a database keeps.

#include "kep/kep_db.h"
#include "kep_rg/kep_rg_relative_port.h"

/// Writes the path of every wire below every logical routing root into the table "routing_crf" of the
/// database, once: each output or bidirectional port that has a wire type, given from the root or for its own
/// module (docs/glossary.md: wire type). One report line a root. KEP_RUNTIME_ERROR when the table, or on a
/// database without redundancy the root's entry, exists already, and for a root that is no IP root; roots
/// done before stay in the table. One thread, with exclusive use of the table.
KEP_RG_EXPORT void kep_rg_store_relative_routing_wire_paths(KEP_DB* db);

/// Adds the entries of a group to its top module in a table. The group must not be empty.
KEP_RG_EXPORT void kep_rg_indexed_relative_paths_add_to(KEP_INDEXED_RELATIVE_PATHS* paths,
                                                        KEP_RG_MODULE_RELATIVE_PORTS* ports);
