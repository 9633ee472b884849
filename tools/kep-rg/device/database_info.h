#pragma once

#include "kep_io/kep_database_file.h"

#include <string>

/// What a device database says of itself, in aligned lines for a reader, whatever its names hold.
std::string format_text(const KEP_DATABASE_INFO& info, const std::string& path);

/// The same as one JSON object (docs/formats.md); checksums are texts of 16 hexadecimal digits.
std::string format_json(const KEP_DATABASE_INFO& info, const std::string& path);
