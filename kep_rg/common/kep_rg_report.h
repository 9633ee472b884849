#pragma once

#include "kep/kep_types.h"
#include "kep_report/kep_report.h"

#include <ostream>

/// The streams as this library uses them: always without a prefix. And the one style in which it prints
/// names.
namespace KEP_RG_REPORT {

inline std::ostream& info() {
  return KEP_REPORT::info(KEP_REPORT::PREFIX_VIEW::STANDARD);
}
inline std::ostream& debug() {
  return KEP_REPORT::debug(KEP_REPORT::PREFIX_VIEW::STANDARD);
}

inline constexpr KEP_NAME_STYLE NAME_STYLE{};

} // namespace KEP_RG_REPORT
