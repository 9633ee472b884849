#pragma once

#include "kep/kep_db.h"

#include <string>

/// Stores the paths of the wires below every routing root in the database, unless it has them, and writes
/// them, a line each: the root's name, a tab, the path as text, in the order of the table. The file appears
/// when it is complete.
void write_wire_paths(KEP_DB* db, const std::string& path);
