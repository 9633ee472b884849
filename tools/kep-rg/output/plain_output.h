#pragma once

#include "kep/kep_types.h"
#include "kep_report/kep_report.h"

#include <ostream>
#include <string>

/// The style in which the tool writes every name.
inline constexpr KEP_NAME_STYLE NAME_STYLE{};

/// The stream for what a command was asked for, without a prefix.
inline std::ostream& info() {
  return KEP_REPORT::info(KEP_REPORT::PREFIX_VIEW::STANDARD);
}

/// A line on standard error, whatever the text holds.
void warn(const std::string& line);
