#include "kep_report/kep_report_capture.h"

#include "kep_report/kep_report_thread_streams.h"

#include <utility>

using KEP_REPORT::STREAM;

KEP_REPORT_CAPTURE::KEP_REPORT_CAPTURE() {
  KEP_REPORT::THREAD_STREAMS::get().flush();
  for (std::size_t i = 0; i < m_texts.size(); ++i) {
    auto stream = static_cast<STREAM>(i);
    m_previous_sinks[i] =
        KEP_REPORT::set_sink(stream, [this, stream](std::string_view line) { add(stream, line); });
  }
}

KEP_REPORT_CAPTURE::~KEP_REPORT_CAPTURE() {
  KEP_REPORT::THREAD_STREAMS::get().flush();
  for (std::size_t i = 0; i < m_texts.size(); ++i)
    KEP_REPORT::set_sink(static_cast<STREAM>(i), std::move(m_previous_sinks[i]));
}

std::string KEP_REPORT_CAPTURE::text(STREAM stream) const {
  std::lock_guard lock(m_mutex);
  return m_texts[static_cast<std::size_t>(stream)];
}

void KEP_REPORT_CAPTURE::add(STREAM stream, std::string_view line) {
  std::lock_guard lock(m_mutex);
  m_texts[static_cast<std::size_t>(stream)] += line;
}
