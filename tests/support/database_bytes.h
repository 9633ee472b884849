#pragma once

#include "kep_io/database/kep_database_writer.h"
#include "kep_io/kep_database_file.h"

#include <cstddef>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

/// Database files that are at hand as bytes.
namespace test_model {

inline std::string bytes_of(const KEP_DB& db,
                            std::size_t max_chunk_bytes = KEP_MESSAGE_TABLES::MAX_CHUNK_BYTES) {
  std::ostringstream out;
  kep_write_database_to(out, db,
                        {"test 1.0", {{"model", "m.json", 3, 4}}, {{"name", "value"}}, {{"count", 5}}},
                        max_chunk_bytes);
  return out.str();
}

/// As a file of these bytes. What opening it refuses is told by KEP_IO_ERROR.
inline std::unique_ptr<KEP_DB> open_bytes(const std::string& bytes,
                                          KEP_DATABASE_CHECKSUMS checksums = KEP_DATABASE_CHECKSUMS::TEST) {
  struct MEMORY_FILE {
    ~MEMORY_FILE() { close(m_handle); }
    int m_handle = memfd_create("database", MFD_CLOEXEC);
  } file;
  if (write(file.m_handle, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
    throw std::runtime_error("a file in memory can't be written");
  return kep_open_database("/proc/self/fd/" + std::to_string(file.m_handle), checksums);
}

} // namespace test_model
