#pragma once

/// @file
/// Redundancy data from files and texts.

#include "kep/kep_db.h"
#include "kep_io/kep_io_export.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

class KEP_RG_PARSE_REDUNDANCY;

/// A port of redundancy data that names nothing below the module of the data.
struct KEP_REDUNDANCY_FAULT {
  std::size_t m_line; ///< from 1
  std::string m_text; ///< the port as it stands there
};

/// Reads redundancy data with `parser`, which must be on `db`, moves its ports to the level that the graph
/// needs and adds them to the table of relative paths named "redundancy". Gives what could not be read, in
/// the order of the file; the rest is used. Several files may be read one after the other.
///
/// KEP_IO_ERROR "FILE: REASON" when the keyword is missing, the module is unknown, or the text ends behind
/// the keyword or in the middle of a pair; nothing of the file is then used.
KEP_IO_EXPORT std::vector<KEP_REDUNDANCY_FAULT>
kep_read_redundancy(KEP_DB* db, KEP_RG_PARSE_REDUNDANCY& parser, const std::string& path);

/// The same from a text in memory; `name` stands for the file in messages.
KEP_IO_EXPORT std::vector<KEP_REDUNDANCY_FAULT> kep_read_redundancy_text(KEP_DB* db,
                                                                         KEP_RG_PARSE_REDUNDANCY& parser,
                                                                         std::string_view text,
                                                                         const std::string& name);
