#pragma once

#include "kep_report/kep_report_assert.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_exception.h"

#include <regex>
#include <string>

/// The whole text with which `body` fails, the line number at the place replaced by "LINE" where it is a
/// number; or a text that says that it did not fail so.
inline std::string failure_text(const auto& body) {
  try {
    body();
  } catch (const KEP_RUNTIME_ERROR& error) {
    return std::regex_replace(error.what(), std::regex("@[1-9][0-9]*$"), "@LINE");
  }
  return "(no failure)";
}

/// The same for a failed assertion, without its announcement in the error stream.
inline std::string assertion_text(const auto& body) {
  KEP_REPORT_CAPTURE capture;
  try {
    body();
  } catch (const KEP_REPORT_ASSERTION_FAILURE& failure) {
    return std::regex_replace(failure.what(), std::regex("@[1-9][0-9]*(?=:|$)"), "@LINE");
  }
  return "(no assertion failed)";
}
