#include "kep_report/kep_report_thread_streams.h"

#include "kep_report/kep_report_output.h"

#include <cstddef>
#include <locale>
#include <new>
#include <utility>

namespace KEP_REPORT {

void LINE_BUFFER::write(std::string_view text) {
  m_text.append(text);
  auto line_end = text.rfind('\n');
  if (line_end == std::string_view::npos) return;
  // What a sink writes to this thread's streams in its turn starts with an empty buffer, so nothing leaves
  // twice.
  std::string rest(text.substr(line_end + 1));
  std::string lines = std::exchange(m_text, std::move(rest));
  lines.resize(lines.size() - m_text.size());
  deliver(m_stream, lines);
}

void LINE_BUFFER::flush() {
  if (m_text.empty()) return;
  deliver(m_stream, std::exchange(m_text, {}));
}

void LINE_BUFFER::end_line() {
  if (!m_text.empty()) write("\n");
}

LINE_BUFFER::int_type LINE_BUFFER::overflow(int_type character) {
  if (!traits_type::eq_int_type(character, traits_type::eof())) {
    char text = traits_type::to_char_type(character);
    write({&text, 1});
  }
  return traits_type::not_eof(character);
}

std::streamsize LINE_BUFFER::xsputn(const char* text, std::streamsize size) {
  write({text, static_cast<std::size_t>(size)});
  return size;
}

int LINE_BUFFER::sync() {
  flush();
  return 0;
}

THREAD_STREAMS::THREAD_STREAMS()
    : m_buffers{LINE_BUFFER(STREAM::ERR), LINE_BUFFER(STREAM::WARN), LINE_BUFFER(STREAM::INFO),
                LINE_BUFFER(STREAM::DEBUG)},
      m_streams{std::ostream(&m_buffers[0]), std::ostream(&m_buffers[1]), std::ostream(&m_buffers[2]),
                std::ostream(&m_buffers[3])} {
  for (std::ostream& stream : m_streams)
    stream.imbue(std::locale::classic());
}

namespace {

struct FLUSH_AT_THREAD_END {
  THREAD_STREAMS& m_streams;
  ~FLUSH_AT_THREAD_END() { m_streams.flush(); }
};

} // namespace

// The streams themselves are never destroyed: destructors of other thread-local objects, and those of static
// objects, run after that of the object that flushes, and may still report. Once flushed, the streams hold no
// memory.
THREAD_STREAMS& THREAD_STREAMS::get() {
  alignas(THREAD_STREAMS) static thread_local std::byte storage[sizeof(THREAD_STREAMS)];
  static thread_local THREAD_STREAMS* streams = nullptr;
  if (!streams) {
    streams = new (storage) THREAD_STREAMS;
    static thread_local FLUSH_AT_THREAD_END flush_at_end{*streams};
  }
  return *streams;
}

std::ostream& THREAD_STREAMS::get_stream(STREAM stream) {
  std::ostream& result = m_streams[static_cast<std::size_t>(stream)];
  result.clear();
  result.flags(std::ios_base::skipws | std::ios_base::dec);
  result.precision(6);
  result.width(0);
  result.fill(' ');
  // Numbers read the same whatever locale a tool sets.
  if (result.getloc() != std::locale::classic()) result.imbue(std::locale::classic());
  return result;
}

void THREAD_STREAMS::flush() {
  for (LINE_BUFFER& buffer : m_buffers)
    buffer.flush();
}

} // namespace KEP_REPORT
