#pragma once

#include <string>
#include <string_view>

/// A pattern for whole names, as a shell has it: `*` stands for any text, "/" and ":" among it, `?` for one
/// character, `[...]` for one of a set; a backslash takes the meaning from the next one. Since names hold
/// brackets, those of a pattern may stand for themselves, too: `m:i[1]` fits `m:i[1]` and `m:i1`.
class GLOB {
public:
  explicit GLOB(const std::string& pattern);

  bool matches(const char* name) const;
  /// What each name begins with that fits.
  std::string_view get_prefix() const { return std::string_view(m_pattern).substr(0, m_prefix_size); }

private:
  std::string m_pattern;
  std::string m_with_brackets; // for themselves; empty where there are none
  std::size_t m_prefix_size;
};
