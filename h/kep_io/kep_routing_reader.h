#pragma once

/// @file
/// Routing descriptions from files and texts.

#include "kep/kep_db.h"
#include "kep_io/kep_io_export.h"

#include <string>
#include <string_view>
#include <vector>

class KEP_RG_PARSE;

/// Reads a routing description: JSON Lines, one statement a line, carried out in order on `parse` (which must
/// be on `db`) or straight in the store. Several files may be read one after the other. The store counts as
/// initialized afterwards, even when no statement was there.
///
/// KEP_IO_ERROR "FILE:LINE: REASON" at the first line that is refused, by the reader or by the operation
/// itself; what was carried out before stays.
///
/// Gives warnings, a line each: "FILE:LINE: ..." for an arc that begins at an output or ends at an input of
/// its module, which is carried out all the same; of many the first five, and how many more there are.
KEP_IO_EXPORT std::vector<std::string> kep_read_routing(KEP_DB* db, KEP_RG_PARSE& parse,
                                                        const std::string& path);

/// The same from a text in memory; `name` stands for the file in messages.
KEP_IO_EXPORT std::vector<std::string> kep_read_routing_text(KEP_DB* db, KEP_RG_PARSE& parse,
                                                             std::string_view text, const std::string& name);

/// Marks the description as there when no file has anything to say: then nothing is routing.
KEP_IO_EXPORT void kep_describe_no_routing(KEP_DB* db);
