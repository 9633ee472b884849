#include "kep_io/text/kep_json_text.h"

#include <fmt/format.h>

#include <iterator>

void kep_append_json_text(std::string& out, std::string_view text) {
  out += '"';
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      fmt::format_to(std::back_inserter(out), "\\u{:04x}", static_cast<unsigned>(c));
    } else {
      out += c;
    }
  }
  out += '"';
}

std::string kep_get_json_text(std::string_view text) {
  std::string json;
  kep_append_json_text(json, text);
  return json;
}
