#include "kep_report/kep_report.h"

#include "kep_report/kep_report_assert.h"
#include "kep_report/kep_report_format.h"
#include "kep_report/kep_report_thread_streams.h"

#include <cstdarg>
#include <string>

namespace KEP_REPORT {
namespace {

std::ostream& get_stream(STREAM stream) {
  return THREAD_STREAMS::get().get_stream(stream);
}

void write(STREAM stream, const std::string& text) {
  THREAD_STREAMS::get().get_buffer(stream).write(text);
}

} // namespace

// There is one view so far, and it shows no prefix.
std::ostream& err(PREFIX_VIEW) {
  return get_stream(STREAM::ERR);
}
std::ostream& warn(PREFIX_VIEW) {
  return get_stream(STREAM::WARN);
}
std::ostream& info(PREFIX_VIEW) {
  return get_stream(STREAM::INFO);
}
std::ostream& debug(PREFIX_VIEW) {
  return get_stream(STREAM::DEBUG);
}

void err(const char* format, ...) {
  KEP_ASSERT(format);
  std::va_list arguments;
  va_start(arguments, format);
  std::string text = format_text(format, arguments);
  va_end(arguments);
  write(STREAM::ERR, text);
}

void info(const char* format, ...) {
  KEP_ASSERT(format);
  std::va_list arguments;
  va_start(arguments, format);
  std::string text = format_text(format, arguments);
  va_end(arguments);
  write(STREAM::INFO, text);
}

void print_error(const char* text) {
  KEP_ASSERT(text);
  write(STREAM::ERR, std::string(text) + '\n');
}

void print_info(const char* text) {
  KEP_ASSERT(text);
  write(STREAM::INFO, std::string(text) + '\n');
}

KEP_REPORT_MESSAGE_CODE_DB* get_msg_db() {
  return KEP_REPORT_MESSAGE_CODE_DB::get_instance();
}

} // namespace KEP_REPORT
