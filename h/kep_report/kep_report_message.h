#pragma once

/// @file
/// The texts of rules, by their codes.

#include "kep_report/kep_report_export.h"

#include <string>

/// One rule of the message database: a stable code and the text that tells a finding of that rule.
///
/// The text comes in two notations of equal meaning. A rule without arguments reads the same in both and
/// holds no
/// `%`, so it can be printed as it stands. Entries are constants: they may be read from any thread, and live,
/// with the texts they point to, as long as the process.
class KEP_REPORT_EXPORT KEP_REPORT_MESSAGE_CODE {
public:
  /// All three are constants of static storage duration.
  constexpr KEP_REPORT_MESSAGE_CODE(const char* code, const char* printf_text, const char* boost_text)
      : m_code(code), m_printf_text(printf_text), m_boost_text(boost_text) {}

  /// A rule without arguments; `text` holds no `%`.
  constexpr KEP_REPORT_MESSAGE_CODE(const char* code, const char* text)
      : KEP_REPORT_MESSAGE_CODE(code, text, text) {}

  /// The code itself, "RG-HIPI-CHECK-FAILED" for instance.
  const char* get_code() const { return m_code; }

  /// The text in printf notation.
  const char* to_printf() const;

  /// The text in the notation of Boost format, with positional placeholders.
  const char* to_boost() const;

private:
  const char* m_code;
  const char* m_printf_text;
  const char* m_boost_text;
};

/// The message database, keyed by rule code. There is one, which KEP_REPORT::get_msg_db() gives:
///
/// | Code | Arguments |
/// |---|---|
/// | RG-UNREACHABLE-ROUTING-NODES | number of nodes (`unsigned int`) |
/// | RG-ONE-REAL-EDGE-PER-NODE | number of real edges (`int`), name of the fanout node (string) |
/// | RG-HIPI-CHECK-FAILED | the condition that failed (string) |
/// | RG-NO-REAL-EDGE-FOR-REDUNDANT-EDGE | none |
/// | RG-REDUNDANT-EDGE-COUNT-PREREQUISITE | none |
class KEP_REPORT_EXPORT KEP_REPORT_MESSAGE_CODE_DB {
public:
  KEP_REPORT_MESSAGE_CODE_DB(const KEP_REPORT_MESSAGE_CODE_DB&) = delete;
  KEP_REPORT_MESSAGE_CODE_DB& operator=(const KEP_REPORT_MESSAGE_CODE_DB&) = delete;

  /// The entry of `code`, owned by the database and never null. A code that is not in the table is an
  /// assertion.
  KEP_REPORT_MESSAGE_CODE* get(const std::string& code) const;

  /// The one database there is; never null.
  static KEP_REPORT_MESSAGE_CODE_DB* get_instance();

private:
  constexpr KEP_REPORT_MESSAGE_CODE_DB() = default;
};
