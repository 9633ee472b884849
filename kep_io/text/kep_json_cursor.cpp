#include "kep_io/text/kep_json_cursor.h"

#include "kep_io/kep_io_error.h"

#include <simdjson.h>

#include <array>

namespace {

using CHARACTERS = std::array<bool, 256>;

constexpr CHARACTERS make_characters(std::string_view characters) {
  CHARACTERS set{};
  for (const char character : characters)
    set[static_cast<unsigned char>(character)] = true;
  set[0] = true; // the end of the text
  return set;
}

constexpr CHARACTERS ENDS_STRING = make_characters("\"\\");
constexpr CHARACTERS MATTERS_IN_CONTAINER = make_characters("\"{}[]");
constexpr CHARACTERS ENDS_SCALAR = make_characters(",]} \t\n\r");

const char* find(const CHARACTERS& set, const char* at) {
  while (!set[static_cast<unsigned char>(*at)])
    ++at;
  return at;
}

[[noreturn]] void refuse() {
  throw KEP_IO_ERROR("no JSON"); // the reader tells where
}

} // namespace

bool KEP_JSON_CURSOR::is_at_object() {
  skip_space();
  return *m_at == '{';
}

bool KEP_JSON_CURSOR::is_empty_object() {
  skip_space();
  pass('{');
  skip_space();
  if (*m_at != '}') return false;
  ++m_at;
  return true;
}

std::string_view KEP_JSON_CURSOR::pass_key() {
  skip_space();
  const char* begin = m_at;
  pass_string();
  const std::string_view key(begin, static_cast<std::size_t>(m_at - begin));
  skip_space();
  pass(':');
  return key;
}

bool KEP_JSON_CURSOR::has_next_member() {
  skip_space();
  const bool is_last = *m_at == '}';
  pass(is_last ? '}' : ',');
  return !is_last;
}

void KEP_JSON_CURSOR::pass_value() {
  skip_space();
  if (*m_at == '"')
    pass_string();
  else if (*m_at == '{' || *m_at == '[')
    pass_container();
  else
    m_at = find(ENDS_SCALAR, m_at);
}

void KEP_JSON_CURSOR::skip_space() {
  while (*m_at == ' ' || *m_at == '\n' || *m_at == '\t' || *m_at == '\r')
    ++m_at;
}

void KEP_JSON_CURSOR::pass_string() {
  pass('"');
  for (m_at = find(ENDS_STRING, m_at); *m_at == '\\'; m_at = find(ENDS_STRING, m_at)) {
    ++m_at;
    if (*m_at != '\0') ++m_at;
  }
  pass('"');
}

void KEP_JSON_CURSOR::pass_container() {
  std::size_t depth = 0;
  do {
    m_at = find(MATTERS_IN_CONTAINER, m_at);
    switch (*m_at) {
    case '"':
      pass_string();
      continue;
    case '\0':
      refuse();
    case '{':
    case '[':
      ++depth;
      break;
    default:
      --depth;
    }
    ++m_at;
  } while (depth != 0);
}

void KEP_JSON_CURSOR::pass(char expected) {
  if (*m_at != expected) refuse();
  ++m_at;
}

std::string kep_read_json_key(std::string_view quoted) {
  const std::string_view plain = quoted.substr(1, quoted.size() - 2);
  if (plain.find('\\') == std::string_view::npos) return std::string(plain);
  simdjson::dom::parser parser;
  std::string_view key;
  const bool is_json = parser.parse(quoted.data(), quoted.size()).get(key) == simdjson::SUCCESS;
  return std::string(is_json ? key : plain);
}
