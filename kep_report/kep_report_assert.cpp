#include "kep_report/kep_report_assert.h"

#include "kep_report/kep_report_assertion_handler.h"
#include "kep_report/kep_report_format.h"
#include "kep_report/kep_report_thread_streams.h"

#include <cstdarg>
#include <mutex>
#include <utility>

KEP_REPORT_ASSERTION::KEP_REPORT_ASSERTION(std::string expression, std::string file, int line,
                                           const std::string& explanation)
    : m_expression(std::move(expression)), m_file(std::move(file)), m_line(line),
      m_text("Assertion failed: " + m_expression + " in " + m_file + "@" + std::to_string(m_line)) {
  if (!explanation.empty()) m_text += ": " + explanation;
}

KEP_REPORT_ASSERTION_FAILURE::KEP_REPORT_ASSERTION_FAILURE(const KEP_REPORT_ASSERTION& assertion)
    : m_assertion(assertion) {}

KEP_REPORT_ASSERTION_FAILURE::~KEP_REPORT_ASSERTION_FAILURE() = default;

const char* KEP_REPORT_ASSERTION_FAILURE::what() const noexcept {
  return m_assertion.get_text().c_str();
}

namespace KEP_REPORT {
namespace {

struct HANDLER_SLOT {
  std::mutex m_mutex;
  ASSERTION_HANDLER m_handler;
};

// Never destroyed: destructors of static objects may still assert.
HANDLER_SLOT& get_handler_slot() {
  static HANDLER_SLOT& slot = *new HANDLER_SLOT;
  return slot;
}

thread_local bool t_in_handler = false;

struct IN_HANDLER {
  IN_HANDLER() { t_in_handler = true; }
  ~IN_HANDLER() { t_in_handler = false; }
};

void call_handler(const KEP_REPORT_ASSERTION& assertion) {
  if (t_in_handler) return;
  ASSERTION_HANDLER handler;
  {
    HANDLER_SLOT& slot = get_handler_slot();
    std::lock_guard lock(slot.m_mutex);
    handler = slot.m_handler;
  }
  IN_HANDLER in_handler;
  if (handler) handler(assertion);
}

std::string text_of(const char* text) {
  return text ? text : "";
}

[[noreturn]] void fail(const char* expression, const char* file, int line, const std::string& explanation) {
  KEP_REPORT_ASSERTION assertion(text_of(expression), text_of(file), line, explanation);
  LINE_BUFFER& err_buffer = THREAD_STREAMS::get().get_buffer(STREAM::ERR);
  err_buffer.end_line();
  err_buffer.write(assertion.get_text() + '\n');
  call_handler(assertion);
  throw KEP_REPORT_ASSERTION_FAILURE(assertion);
}

} // namespace

ASSERTION_HANDLER set_assertion_handler(ASSERTION_HANDLER handler) {
  HANDLER_SLOT& slot = get_handler_slot();
  std::lock_guard lock(slot.m_mutex);
  return std::exchange(slot.m_handler, std::move(handler));
}

namespace detail {

void assert_at_line(const char* expression, const char* file, int line) {
  fail(expression, file, line, {});
}

void assert_at_line(const char* expression, const char* file, int line, const char* format, ...) {
  std::string explanation;
  if (format) {
    std::va_list arguments;
    va_start(arguments, format);
    explanation = format_text(format, arguments);
    va_end(arguments);
  }
  fail(expression, file, line, explanation);
}

} // namespace detail
} // namespace KEP_REPORT
