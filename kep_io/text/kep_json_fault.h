#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Where a text stops being JSON that can be read, and why. It is looked for only after the parser has
/// refused the text, since the parser tells neither.
struct KEP_JSON_FAULT {
  std::size_t m_offset;
  std::string m_reason;
};

/// The first fault in the text; none when there is nothing to find.
std::optional<KEP_JSON_FAULT> kep_find_json_fault(std::string_view text);
