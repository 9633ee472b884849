#pragma once

/// @file
/// How readers and writers refuse what they are given.

#include "kep_io/kep_io_export.h"

#include <stdexcept>
#include <string>

/// Input that was refused. `what()` is one line that tells where and why: "FILE: PLACE: REASON" with the path
/// inside the file, "FILE:LINE: REASON", "FILE:LINE:COLUMN: REASON", or "FILE: REASON" when the whole file is
/// meant.
class KEP_IO_EXPORT KEP_IO_ERROR : public std::runtime_error {
public:
  /// Whatever in the text would break the line or a terminal is written as `\uXXXX`: names come from files.
  explicit KEP_IO_ERROR(const std::string& text);
};

/// What messages call the file of a path: the path, or "standard input" for "-", which every reader takes.
KEP_IO_EXPORT std::string kep_get_file_name(const std::string& path);
