#pragma once

#include "kep_report/kep_report_sink.h"

#include <array>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace KEP_REPORT {

/// Gathers what one thread writes to one stream and delivers it line by line.
class LINE_BUFFER : public std::streambuf {
public:
  explicit LINE_BUFFER(STREAM stream) : m_stream(stream) {}

  /// Appends `text`; all lines that are complete then leave together, in one piece.
  void write(std::string_view text);

  /// Delivers what is held, as it stands.
  void flush();

  /// Ends the line if one is begun.
  void end_line();

protected:
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int sync() override;

private:
  STREAM m_stream;
  std::string m_text; // the line that is not ended yet
};

/// The four streams of one thread.
class THREAD_STREAMS {
public:
  /// Those of the calling thread. They can be used at any time in the life of the thread, after its
  /// thread-local objects were destroyed too; only unended text needs a flush of its own by then.
  static THREAD_STREAMS& get();

  THREAD_STREAMS(const THREAD_STREAMS&) = delete;
  THREAD_STREAMS& operator=(const THREAD_STREAMS&) = delete;

  LINE_BUFFER& get_buffer(STREAM stream) { return m_buffers[static_cast<std::size_t>(stream)]; }

  /// The std::ostream on that buffer, set back to the standard format.
  std::ostream& get_stream(STREAM stream);

  void flush();

private:
  THREAD_STREAMS();

  std::array<LINE_BUFFER, NUM_STREAMS> m_buffers;
  std::array<std::ostream, NUM_STREAMS> m_streams;
};

} // namespace KEP_REPORT
