#include "tools/kep-rg/describe/describe_pattern.h"

#include <fmt/format.h>

#include <fnmatch.h>
#include <stdexcept>

bool MUX_PATTERN::fits(const std::string& module_name) const {
  return ::fnmatch(m_glob.c_str(), module_name.c_str(), FNM_NOESCAPE) == 0;
}

MUX_PATTERN read_mux_pattern(const std::string& text) {
  const auto fail = [&text](const char* reason) {
    throw std::runtime_error(fmt::format(
        "--mux '{}': {}; a pattern is GLOB:IN>OUT, for example --mux 'mux_*:in>out'", text, reason));
  };
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) fail("no \":\" stands before the ports");
  const std::size_t arrow = text.find('>', colon);
  if (arrow == std::string::npos) fail("no \">\" stands between the ports");
  MUX_PATTERN pattern{text, text.substr(0, colon), text.substr(colon + 1, arrow - colon - 1),
                      text.substr(arrow + 1)};
  if (pattern.m_glob.empty()) fail("nothing says which modules");
  if (pattern.m_in.empty() || pattern.m_out.empty()) fail("a port has no name");
  if (pattern.m_in == pattern.m_out) fail("both ports are one");
  return pattern;
}
