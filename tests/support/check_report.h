#pragma once

#include "kep_report/kep_report.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_post_checks.h"

#include <sstream>
#include <string>
#include <vector>

/// What a check gave, and what it said on the way.
namespace test_model {

struct CHECK_REPORT {
  bool m_result = false;
  std::vector<std::string> m_errors;
  std::vector<std::string> m_infos;
  std::string m_rest; ///< of the other streams

  bool is_silent() const { return m_errors.empty() && m_infos.empty() && m_rest.empty(); }
};

inline std::vector<std::string> split_lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    lines.push_back(line);
  return lines;
}

inline CHECK_REPORT report_of(const auto& body) {
  KEP_REPORT_CAPTURE capture;
  CHECK_REPORT report;
  report.m_result = body();
  report.m_errors = split_lines(capture.text(KEP_REPORT::STREAM::ERR));
  report.m_infos = split_lines(capture.text(KEP_REPORT::STREAM::INFO));
  report.m_rest = capture.text(KEP_REPORT::STREAM::WARN) + capture.text(KEP_REPORT::STREAM::DEBUG);
  return report;
}

using POST_CHECK = bool (KEP_RG_POST_CHECKS::*)();

/// One check by an object of its own.
inline CHECK_REPORT run_check(KEP_DB& db, POST_CHECK check, bool verbose = false) {
  KEP_RG_POST_CHECKS checks(&db, verbose);
  return report_of([&] { return (checks.*check)(); });
}

/// The line of a rule without arguments.
inline std::string rule_line(const char* code) {
  return KEP_REPORT::get_msg_db()->get(code)->to_printf();
}
/// The line of a rule, its arguments put in place of "%1%", "%2%", ...
inline std::string rule_line(const char* code, const std::vector<std::string>& arguments) {
  std::string line = KEP_REPORT::get_msg_db()->get(code)->to_boost();
  for (std::size_t i = 0; i != arguments.size(); ++i) {
    const std::string mark = "%" + std::to_string(i + 1) + "%";
    line.replace(line.find(mark), mark.size(), arguments[i]);
  }
  return line;
}

} // namespace test_model
