#pragma once

/// @file
/// Numbers as messages have them.

#include <cstdint>
#include <string>

namespace KEP_REPORT {

/// The number with a comma before each three digits, as messages have it: 332,224.
inline std::string group_digits(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t i = text.size(); i > 3; i -= 3)
    text.insert(i - 3, 1, ',');
  return text;
}

} // namespace KEP_REPORT
