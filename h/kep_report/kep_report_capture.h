#pragma once

/// @file
/// Keeping what is written to the streams, for tests.

#include "kep_report/kep_report_export.h"
#include "kep_report/kep_report_sink.h"

#include <array>
#include <mutex>
#include <string>
#include <string_view>

/// Keeps what is written to the four streams while the object lives, by all threads, and restores the
/// previous sinks at its end. Captures may be nested, the inner one ending first.
///
/// Text of the calling thread that stands in an unended line leaves at both ends: before the capture begins
/// to the previous sinks, before it ends into the capture.
class KEP_REPORT_EXPORT KEP_REPORT_CAPTURE {
public:
  KEP_REPORT_CAPTURE();
  ~KEP_REPORT_CAPTURE();
  KEP_REPORT_CAPTURE(const KEP_REPORT_CAPTURE&) = delete;
  KEP_REPORT_CAPTURE& operator=(const KEP_REPORT_CAPTURE&) = delete;

  /// All that has reached `stream` so far, line ends included. May be called from any thread.
  std::string text(KEP_REPORT::STREAM stream) const;

private:
  void add(KEP_REPORT::STREAM stream, std::string_view line);

  mutable std::mutex m_mutex;
  std::array<std::string, KEP_REPORT::NUM_STREAMS> m_texts;
  std::array<KEP_REPORT::SINK, KEP_REPORT::NUM_STREAMS> m_previous_sinks;
};
