#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// How a database file begins; docs/file-format.md tells the rest.
struct KEP_DATABASE_PREFIX {
  /// A text tool that changes the ends of lines, or one that cuts the eighth bit, is noticed by these bytes.
  static constexpr std::array<char, 8> MAGIC{'\xCB', 'K', 'D', 'B', '\r', '\n', '\x1A', '\n'};

  std::array<char, 8> m_magic = MAGIC;
  std::uint32_t m_version = 0;
  std::uint32_t m_header_bytes = 0;    ///< of the message of the header, which is next
  std::uint64_t m_header_checksum = 0; ///< of the same
};
static_assert(sizeof(KEP_DATABASE_PREFIX) == 24, "whole words");

/// The sections, in the order of the file.
inline constexpr std::array<const char*, 5> KEP_DATABASE_SECTIONS{"model", "positions", "description",
                                                                  "paths", "graph"};
