#pragma once

/// @file
/// Device models from files and texts.

#include "kep/kep_db.h"
#include "kep_io/kep_io_export.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// Reads a device model: a hierarchical netlist in the JSON form of Yosys. Everything keeps the order of the
/// file. What the model does not need is passed over, but must be JSON.
///
/// `warnings`, if given, gets what is odd about a file that is taken all the same, a line each, "FILE: PLACE:
/// REASON": names that were changed, attributes that begin with kep_ and don't count where they stand.
///
/// Parts of a file are read side by side, by all threads or those of the caller's tbb::task_arena; what comes
/// out is the same for any number.
///
/// KEP_IO_ERROR when the file can't be read, is larger than 4 GB, is no JSON, or breaks a rule of the format
/// or of the model; nothing is built then.
KEP_IO_EXPORT std::unique_ptr<KEP_DB> kep_read_model(const std::string& path,
                                                     std::vector<std::string>* warnings = nullptr);

/// The same from a text in memory; `name` stands for the file in messages.
KEP_IO_EXPORT std::unique_ptr<KEP_DB> kep_read_model_text(std::string_view text, const std::string& name,
                                                          std::vector<std::string>* warnings = nullptr);
