#pragma once

#include "kep/kep_db.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

/// What makes tables sound; each throws KEP_DB_ERROR where they are not.
namespace KEP_TABLE_RULES {

/// The text is only made where it is needed.
inline void require(bool is_right, const char* reason) {
  if (!is_right) throw KEP_DB_ERROR(reason);
}

/// Runs a step; what it refuses begins with the section then.
template <class STEP>
void in_section(const char* section, const STEP& step) {
  try {
    step();
  } catch (const KEP_DB_ERROR& error) {
    throw KEP_DB_ERROR(std::string(section) + ": " + error.what());
  }
}

/// The names of a section, each of which ends in a NUL. Rows may share a name, but few bytes of names don't
/// stand for many bytes in all: long names are counted.
class NAMES {
public:
  NAMES(std::span<const char> bytes, std::size_t num_rows)
      : m_bytes(bytes), m_num_left(bytes.size() + LONG_NAME * num_rows) {
    require(!bytes.empty() && bytes.back() == '\0', "the last name has no end");
    for (std::size_t at = 0; bytes.size() - at > LONG_NAME && !m_has_long;) {
      const void* end = ::memrchr(bytes.data() + at, '\0', LONG_NAME);
      if (end) at = static_cast<std::size_t>(static_cast<const char*>(end) - bytes.data()) + 1;
      m_has_long = end == nullptr;
    }
  }
  /// The name that begins there.
  const char* get(std::uint32_t begin) {
    require(begin < m_bytes.size() && (begin == 0 || m_bytes[begin - std::size_t{1}] == '\0'),
            "no name begins where one is told");
    const char* name = m_bytes.data() + begin;
    if (m_has_long) {
      const std::size_t size = std::strlen(name);
      require(size <= m_num_left, "so few bytes can't tell so long names");
      m_num_left -= size;
    }
    return name;
  }

private:
  static constexpr std::size_t LONG_NAME = 1024;
  std::span<const char> m_bytes;
  std::size_t m_num_left;
  bool m_has_long = false;
};

/// Cuts tables that hold the rows of one thing after the other.
class CUTTER {
public:
  explicit CUTTER(std::size_t size) : m_size(size) {}
  /// Where the next so many rows begin.
  std::size_t cut(std::uint64_t count) {
    require(count <= m_size - m_at, "a table is too short");
    const std::size_t begin = m_at;
    m_at += static_cast<std::size_t>(count);
    return begin;
  }
  void finish() const { require(m_at == m_size, "a table is too long"); }

private:
  std::size_t m_size;
  std::size_t m_at = 0;
};

} // namespace KEP_TABLE_RULES
