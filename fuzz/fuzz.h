#pragma once

#include "kep_io/kep_io_error.h"
#include "tools/kep-rg/output/quiet.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

/// What fuzzing targets share. A target gets any bytes and comes back: they are refused in one line or read,
/// and what was read agrees with itself. Whatever else happens ends the process: a crash, an exception that
/// nobody catches, or a requirement that doesn't hold.

inline std::string_view as_text(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

inline void require(bool holds, const std::string& what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what.c_str());
  std::abort();
}

inline void require_equal(const std::string& left, const std::string& right, const std::string& what) {
  require(left == right, what + "\n--- one:\n" + left + "\n--- the other:\n" + right);
}

/// The line with which a call refused its input, which begins with the name of the file; "" when it took it.
template <class CALL>
std::string refusal_of(const std::string& name, CALL call) {
  try {
    call();
    return "";
  } catch (const KEP_IO_ERROR& error) {
    const std::string line = error.what();
    const auto breaks_line = [](char c) { return static_cast<unsigned char>(c) < 0x20; };
    require(line.starts_with(name + ":"), "the line begins with the file: " + line);
    require(std::none_of(line.begin(), line.end(), breaks_line), "one line: " + line);
    return line;
  }
}

/// Keeps the lines of the libraries off the report, but for failures.
inline void silence_reports() {
  static const QUIET_STREAM info(KEP_REPORT::STREAM::INFO);
  static const QUIET_STREAM debug(KEP_REPORT::STREAM::DEBUG);
  static const QUIET_STREAM warnings(KEP_REPORT::STREAM::WARN);
}
