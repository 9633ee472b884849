#pragma once

#include <cstdarg>
#include <string>

namespace KEP_REPORT {

/// The text of a printf format and its arguments, whatever its length.
[[gnu::format(printf, 1, 0)]] std::string format_text(const char* format, std::va_list arguments);

} // namespace KEP_REPORT
