#include "kep_report/kep_report_format.h"

#include <cstdio>

namespace KEP_REPORT {

std::string format_text(const char* format, std::va_list arguments) {
  char short_text[512];
  std::va_list second_arguments;
  va_copy(second_arguments, arguments);
  int size = std::vsnprintf(short_text, sizeof short_text, format, arguments);
  std::string text;
  if (size < 0) {
    text = format; // arguments that can't be printed: the format says at least which message it was
  } else if (static_cast<std::size_t>(size) < sizeof short_text) {
    text.assign(short_text, static_cast<std::size_t>(size));
  } else {
    text.resize(static_cast<std::size_t>(size));
    std::vsnprintf(text.data(), text.size() + 1, format, second_arguments);
  }
  va_end(second_arguments);
  return text;
}

} // namespace KEP_REPORT
