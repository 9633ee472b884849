#include "kep_io/text/kep_json_fault.h"

#include <fmt/format.h>
#include <simdjson.h>

#include <charconv>
#include <cstdint>
#include <vector>

namespace {

/// Reads a text as JSON with nothing but the first fault in mind.
class JSON_SCANNER {
public:
  explicit JSON_SCANNER(std::string_view text) : m_text(text) {}

  void scan();

private:
  [[noreturn]] void fail(const std::string& reason) const { throw KEP_JSON_FAULT{m_at, reason}; }
  [[noreturn]] void fail_syntax(const std::string& expected) const {
    fail(fmt::format("no JSON: {}{} is expected", at_end() ? "the text ends where " : "", expected));
  }
  bool at_end() const { return m_at == m_text.size(); }
  unsigned char peek(std::size_t ahead = 0) const {
    return m_at + ahead < m_text.size() ? static_cast<unsigned char>(m_text[m_at + ahead]) : 0;
  }
  bool accept(char c) {
    if (at_end() || m_text[m_at] != c) return false;
    ++m_at;
    return true;
  }
  void skip_space() {
    while (!at_end() && (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r'))
      ++m_at;
  }

  bool opens_container();
  void close_containers();
  void scan_key();
  void scan_scalar();
  void scan_string();
  void scan_escape();
  std::uint32_t scan_hex();
  void scan_utf8();
  void scan_number();
  void scan_digits();

  std::string_view m_text;
  std::size_t m_at = 0;
  std::vector<char> m_closers; // of the containers around the current place, innermost last
};

/// A value, and in a container its neighbours, until nothing is open.
void JSON_SCANNER::scan() {
  do {
    skip_space();
    if (opens_container()) continue;
    close_containers();
  } while (!m_closers.empty());
  skip_space();
  if (!at_end()) fail("no JSON: there is text behind the end");
}

/// Reads a value, or the opening of a container that is not empty; true for the latter.
bool JSON_SCANNER::opens_container() {
  const char closer = peek() == '{' ? '}' : ']';
  if (!accept('{') && !accept('[')) {
    scan_scalar();
    return false;
  }
  skip_space();
  if (accept(closer)) return false;
  if (m_closers.size() + 2 > simdjson::DEFAULT_MAX_DEPTH)
    fail(fmt::format("nested deeper than {}", simdjson::DEFAULT_MAX_DEPTH));
  m_closers.push_back(closer);
  if (closer == '}') scan_key();
  return true;
}

/// Behind a value: all that ends here, then the separator before the next value.
void JSON_SCANNER::close_containers() {
  while (!m_closers.empty()) {
    skip_space();
    if (accept(',')) {
      skip_space();
      if (m_closers.back() == '}') scan_key();
      return;
    }
    if (!accept(m_closers.back())) fail_syntax(m_closers.back() == '}' ? "\",\" or \"}\"" : "\",\" or \"]\"");
    m_closers.pop_back();
  }
}

void JSON_SCANNER::scan_key() {
  if (peek() != '"') fail_syntax("a key");
  scan_string();
  skip_space();
  if (!accept(':')) fail_syntax("\":\"");
}

void JSON_SCANNER::scan_scalar() {
  if (peek() == '"') return scan_string();
  if (peek() == '-' || (peek() >= '0' && peek() <= '9')) return scan_number();
  for (const std::string_view word : {"true", "false", "null"})
    if (m_text.substr(m_at, word.size()) == word) {
      m_at += word.size();
      return;
    }
  fail_syntax("a value");
}

void JSON_SCANNER::scan_string() {
  ++m_at;
  while (!accept('"')) {
    if (at_end()) fail("no JSON: the text ends inside a string");
    if (peek() < 0x20) fail("no JSON: a control character stands in a string");
    if (accept('\\'))
      scan_escape();
    else
      scan_utf8();
  }
}

void JSON_SCANNER::scan_escape() {
  if (at_end()) fail("no JSON: the text ends inside a string");
  if (!accept('u')) {
    if (std::string_view("\"\\/bfnrt").find(m_text[m_at]) == std::string_view::npos)
      fail("no JSON: an escape that does not exist");
    ++m_at;
    return;
  }
  const std::uint32_t code = scan_hex();
  if (code < 0xD800 || code > 0xDFFF) return;
  const bool has_second = code < 0xDC00 && accept('\\') && accept('u');
  const std::uint32_t second = has_second ? scan_hex() : 0;
  if (second < 0xDC00 || second > 0xDFFF) fail("no JSON: half of a surrogate pair");
}

std::uint32_t JSON_SCANNER::scan_hex() {
  std::uint32_t code = 0;
  const std::string_view digits = m_text.substr(m_at, 4);
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
  if (error != std::errc() || end != digits.data() + 4) fail("no JSON: \\u without four hexadecimal digits");
  m_at += 4;
  return code;
}

/// One character of a string.
void JSON_SCANNER::scan_utf8() {
  const unsigned char lead = peek();
  const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (lead >= 0x80 &&
      (m_at + length > m_text.size() || !simdjson::validate_utf8(m_text.substr(m_at, length))))
    fail("no JSON: the text is no UTF-8");
  m_at += length;
}

void JSON_SCANNER::scan_number() {
  const std::size_t begin = m_at;
  accept('-');
  const bool has_leading_zero = accept('0');
  if (!has_leading_zero) scan_digits();
  if (has_leading_zero && peek() >= '0' && peek() <= '9') fail("no JSON: a number with a leading zero");
  bool is_integer = true;
  if (accept('.')) {
    is_integer = false;
    scan_digits();
  }
  if (accept('e') || accept('E')) {
    is_integer = false;
    if (!accept('+')) accept('-');
    scan_digits();
  }
  const char* first = m_text.data() + begin;
  const char* last = m_text.data() + m_at;
  const auto is_in_range = [&](auto number) {
    return std::from_chars(first, last, number).ec != std::errc::result_out_of_range;
  };
  const bool fits = !is_integer
                        ? is_in_range(0.0)
                        : (*first == '-' ? is_in_range(std::int64_t{}) : is_in_range(std::uint64_t{}));
  if (!fits) {
    m_at = begin;
    fail("a number that does not fit in 64 bits");
  }
}

void JSON_SCANNER::scan_digits() {
  if (peek() < '0' || peek() > '9') fail_syntax("a digit");
  while (peek() >= '0' && peek() <= '9')
    ++m_at;
}

} // namespace

std::optional<KEP_JSON_FAULT> kep_find_json_fault(std::string_view text) {
  try {
    JSON_SCANNER(text).scan();
  } catch (const KEP_JSON_FAULT& fault) {
    return fault;
  }
  return std::nullopt;
}
