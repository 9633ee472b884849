#pragma once

#include <simdjson.h>

#include <cstddef>
#include <string>

/// The whole content of a file, a pipe too; of standard input for "-". KEP_IO_ERROR when it can't be read, or
/// is a folder, or holds more than `max_size` bytes, which is told before anything is read where the size is
/// known.
simdjson::padded_string kep_read_whole_file(const std::string& path, std::size_t max_size);
