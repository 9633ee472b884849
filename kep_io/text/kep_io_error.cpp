#include "kep_io/kep_io_error.h"

#include <fmt/format.h>

#include <iterator>

namespace {

/// The code point at `i` if it is one of those beyond ASCII that end a line or control a terminal: C1
/// controls and the separators of lines and paragraphs. Else 0.
unsigned control_beyond_ascii(const std::string& text, std::size_t i) {
  const auto byte = [&](std::size_t k) {
    return k < text.size() ? static_cast<unsigned>(static_cast<unsigned char>(text[k])) : 0U;
  };
  if (byte(i) == 0xC2 && byte(i + 1) >= 0x80 && byte(i + 1) < 0xA0) return byte(i + 1);
  if (byte(i) == 0xE2 && byte(i + 1) == 0x80 && (byte(i + 2) == 0xA8 || byte(i + 2) == 0xA9))
    return 0x2000 + (byte(i + 2) - 0x80);
  return 0;
}

std::string on_one_line(const std::string& text) {
  std::string line;
  for (std::size_t i = 0; i != text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x20 || byte == 0x7F) {
      fmt::format_to(std::back_inserter(line), "\\u{:04x}", static_cast<unsigned>(byte));
    } else if (const unsigned control = control_beyond_ascii(text, i)) {
      fmt::format_to(std::back_inserter(line), "\\u{:04x}", control);
      i += control < 0x100 ? 1 : 2;
    } else {
      line += text[i];
    }
  }
  return line;
}

} // namespace

KEP_IO_ERROR::KEP_IO_ERROR(const std::string& text) : std::runtime_error(on_one_line(text)) {}

std::string kep_get_file_name(const std::string& path) {
  return path == "-" ? "standard input" : path;
}
