#pragma once

#include "fuzz/fuzz.h"

#include <cstddef>
#include <span>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

/// Bytes that can be opened under a path.
class MEMORY_FILE {
public:
  explicit MEMORY_FILE(std::span<const std::byte> bytes) : m_handle(memfd_create("database", MFD_CLOEXEC)) {
    const bool is_written = write(m_handle, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    require(m_handle >= 0 && is_written, "a file in memory");
  }
  ~MEMORY_FILE() { close(m_handle); }
  MEMORY_FILE(const MEMORY_FILE&) = delete;
  MEMORY_FILE& operator=(const MEMORY_FILE&) = delete;

  std::string get_path() const { return "/proc/self/fd/" + std::to_string(m_handle); }

private:
  int m_handle;
};
