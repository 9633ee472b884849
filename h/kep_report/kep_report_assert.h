#pragma once

/// @file
/// Assertions: conditions that only a fault in the calling code can break.

#include "kep_report/kep_report_export.h"

#include <exception>
#include <string>

/// States a condition that only a fault in the calling code can break. It is checked in every kind of build;
/// the expression is evaluated once, and told as it is spelled. An expression with a comma outside
/// parentheses needs a pair of its own.
#define KEP_ASSERT(expression)                                                                               \
  do {                                                                                                       \
    if (__builtin_expect(!(expression), 0))                                                                  \
      ::KEP_REPORT::detail::assert_at_line(#expression, __FILE__, __LINE__);                                 \
  } while (false)

/// The same with an explanation: a printf format and its arguments, which are evaluated only when the
/// condition fails.
#define KEP_ASSERT_EXPLAIN(expression, ...)                                                                  \
  do {                                                                                                       \
    if (__builtin_expect(!(expression), 0))                                                                  \
      ::KEP_REPORT::detail::assert_at_line(#expression, __FILE__, __LINE__, __VA_ARGS__);                    \
  } while (false)

/// What is known of a failed assertion. A value: it owns its texts.
class KEP_REPORT_EXPORT KEP_REPORT_ASSERTION {
public:
  /// The explanation may be empty.
  KEP_REPORT_ASSERTION(std::string expression, std::string file, int line, const std::string& explanation);

  ///@{
  /// The condition as the source spells it, and its place.
  const std::string& get_expression() const { return m_expression; }
  const std::string& get_file() const { return m_file; }
  int get_line() const { return m_line; }
  ///@}

  /// The whole text, without line end: "Assertion failed: EXPRESSION in FILE@LINE", and ": EXPLANATION"
  /// behind it where there is one.
  const std::string& get_text() const { return m_text; }

private:
  std::string m_expression;
  std::string m_file;
  int m_line;
  std::string m_text;
};

/// Thrown when an assertion fails and no handler has left in another way. It is a fault of the program and
/// not of its input, hence no relative of the exceptions that tell unusable input. `what()` is the whole
/// text.
class KEP_REPORT_EXPORT KEP_REPORT_ASSERTION_FAILURE : public std::exception {
public:
  /// Keeps a copy.
  explicit KEP_REPORT_ASSERTION_FAILURE(const KEP_REPORT_ASSERTION& assertion);
  ~KEP_REPORT_ASSERTION_FAILURE() override;

  ///@{
  /// What failed, as one text and as its parts. They live as long as the exception.
  const char* what() const noexcept override;
  const KEP_REPORT_ASSERTION& get_assertion() const { return m_assertion; }
  ///@}

private:
  KEP_REPORT_ASSERTION m_assertion;
};

namespace KEP_REPORT::detail {

/// Tells a failed assertion and never returns: the text goes to `err` as a line of its own, then the handler
/// of the process is called, if there is one (kep_report_assertion_handler.h). If it returns, or there is
/// none, KEP_REPORT_ASSERTION_FAILURE is thrown. `expression` is the condition as spelled in the source,
/// `file` and `line` its place. May be called from any thread.
[[noreturn, gnu::cold]] KEP_REPORT_EXPORT void assert_at_line(const char* expression, const char* file,
                                                              int line);

/// The same with an explanation in printf style, which needs no line end.
[[noreturn, gnu::cold, gnu::format(printf, 4, 5)]] KEP_REPORT_EXPORT void
assert_at_line(const char* expression, const char* file, int line, const char* format, ...);

} // namespace KEP_REPORT::detail
