#pragma once

#include "kep/kep_db.h"
#include "kep_io/kep_io_export.h"

#include <cstddef>
#include <string>
#include <vector>

/// @file
/// How the beginning of a name can go on, for shells and other programs in which users type names.

/// What the beginning of a node's name can become, one level further, as folders and files do: "a/b/" for an
/// instance with something inside, "a/b:" for one at which nodes stand, "a/b:c" and ":p" for nodes. Each
/// begins with the text and comes once, in the order of bytes. None at all if there are more than so many,
/// and none for a text with which no name begins.
///
/// Looks at one level alone, so it takes time that goes with the instances there, and not with the device.
/// Any number of threads may ask at once.
KEP_IO_EXPORT std::vector<std::string> kep_complete_node_name(const KEP_DB& db, const std::string& text,
                                                              std::size_t max_names);
