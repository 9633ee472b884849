#pragma once

#include "kep_report/kep_report_sink.h"

#include <optional>
#include <string_view>
#include <utility>

/// Keeps the lines of one stream off the report while the object lives.
class QUIET_STREAM {
public:
  explicit QUIET_STREAM(KEP_REPORT::STREAM stream)
      : m_stream(stream), m_sink(KEP_REPORT::set_sink(stream, [](std::string_view) {})) {}
  ~QUIET_STREAM() { KEP_REPORT::set_sink(m_stream, std::move(m_sink)); }
  QUIET_STREAM(const QUIET_STREAM&) = delete;
  QUIET_STREAM& operator=(const QUIET_STREAM&) = delete;

private:
  KEP_REPORT::STREAM m_stream;
  KEP_REPORT::SINK m_sink;
};

/// Stands around calls of the library: keeps its report lines off standard output, unless they were asked
/// for. Warnings and errors pass.
class LIBRARY_REPORT {
public:
  explicit LIBRARY_REPORT(bool is_wanted) {
    if (is_wanted) return;
    m_info.emplace(KEP_REPORT::STREAM::INFO);
    m_debug.emplace(KEP_REPORT::STREAM::DEBUG);
  }

private:
  std::optional<QUIET_STREAM> m_info;
  std::optional<QUIET_STREAM> m_debug;
};
