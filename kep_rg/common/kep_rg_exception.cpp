#include "kep_rg/kep_rg_exception.h"

#include <fmt/format.h>

KEP_EXCEPTION::KEP_EXCEPTION(const char* message) : m_message(message) {}

// Destructors are defined here so that every library shares one type information of these classes.
KEP_EXCEPTION::~KEP_EXCEPTION() = default;
KEP_RUNTIME_ERROR::~KEP_RUNTIME_ERROR() = default;

const char* KEP_EXCEPTION::what() const noexcept {
  return m_message.c_str();
}

std::string kep_rg_get_reason(const KEP_EXCEPTION& error) {
  const std::string text = error.what();
  return text.substr(0, text.rfind(" from function "));
}

void KEP_RG::throw_at_line(const std::string& message, const char* function, const char* file, int line) {
  const std::string text = fmt::format("{} from function {} in {}@{}", message, function, file, line);
  throw KEP_RUNTIME_ERROR(text.c_str()); // up to its first NUL
}
