#include "tools/kep-rg/ask/glob.h"

#include <algorithm>
#include <fnmatch.h>

GLOB::GLOB(const std::string& pattern)
    : m_pattern(pattern), m_prefix_size(std::min(pattern.find_first_of("*?[\\"), pattern.size())) {
  if (pattern.find('[') == std::string::npos) return;
  bool is_taken = false; // by a backslash before it
  for (const char c : pattern) {
    if (c == '[' && !is_taken) m_with_brackets += '\\';
    m_with_brackets += c;
    is_taken = c == '\\' && !is_taken;
  }
}

bool GLOB::matches(const char* name) const {
  return ::fnmatch(m_pattern.c_str(), name, 0) == 0 ||
         (!m_with_brackets.empty() && ::fnmatch(m_with_brackets.c_str(), name, 0) == 0);
}
