#pragma once

#include "kep_report/kep_report_sink.h"

#include <string_view>
#include <utility>

/// Keeps the lines of one stream off the report while the object lives, where only a command's own answer is
/// wanted.
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
