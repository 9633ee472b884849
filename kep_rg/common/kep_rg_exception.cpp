#include "kep_rg/kep_rg_exception.h"

#include <locale>
#include <sstream>

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

void throw_at_line(const std::string& message, const char* function, const char* file, int line) {
  std::stringstream text;
  text.imbue(std::locale::classic()); // the line reads the same whatever locale a program sets
  text << message << " from function " << function << " in " << file << "@" << line;
  throw KEP_RUNTIME_ERROR(text.str().c_str());
}
