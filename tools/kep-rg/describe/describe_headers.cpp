#include "tools/kep-rg/describe/describe_headers.h"

#include <cctype>
#include <string>
#include <string_view>

namespace {

namespace json = simdjson::ondemand;

const std::string HEADER = R"("kep_inst_header": "00000000000000000000000000000001")";

/// The blanks and line ends behind the brace at the begin of an object.
std::string_view get_indent(std::string_view object) {
  std::size_t end = 1;
  while (std::isspace(static_cast<unsigned char>(object[end])))
    ++end;
  return object.substr(1, end - 1);
}

bool is_empty(std::string_view object) {
  return object[1 + get_indent(object).size()] == '}';
}

class COPIER {
public:
  COPIER(const simdjson::padded_string& text, std::ostream& out)
      : m_done(text.data()), m_end(text.data() + text.size()), m_out(out) {}

  void give_header(const char* cell, std::string_view attributes);
  void finish() { copy_to(m_end); }

private:
  void copy_to(const char* end) {
    m_out.write(m_done, end - m_done);
    m_done = end;
  }

  const char* m_done; // up to here all is copied
  const char* m_end;
  std::ostream& m_out;
  json::parser m_parser; // of attributes that have a header already
};

/// `attributes` is the text of the cell's attributes, empty if it has none.
void COPIER::give_header(const char* cell, std::string_view attributes) {
  if (attributes.empty()) {
    copy_to(cell + 1);
    m_out << "\"attributes\": {" << HEADER << "}, ";
    return;
  }
  const simdjson::padded_string_view padded(attributes.data(), attributes.size(),
                                            attributes.size() + simdjson::SIMDJSON_PADDING);
  json::document document = m_parser.iterate(padded);
  for (auto attribute : document.get_object()) {
    if (std::string_view(attribute.unescaped_key()) != "kep_inst_header") continue;
    const std::string_view value = attribute.value().raw_json_token();
    if (value.find_first_of("123456789") != std::string_view::npos) return;
    copy_to(value.data());
    m_out << '1';
    m_done += value.find_last_of("0\"") + 1;
    return;
  }
  copy_to(attributes.data() + 1);
  const std::string_view indent = get_indent(attributes);
  if (is_empty(attributes))
    m_out << HEADER;
  else
    m_out << indent << HEADER << (indent.empty() ? ", " : ",");
}

} // namespace

void copy_with_inst_headers(const simdjson::padded_string& text,
                            std::unordered_map<std::string_view, std::uint64_t>& num_cells,
                            std::ostream& out) {
  COPIER copier(text, out);
  const auto read_cell = [&](json::value cell) {
    const char* begin = cell.current_location();
    std::string_view type;
    std::string_view attributes;
    for (auto member : cell.get_object()) {
      const std::string_view key = member.unescaped_key();
      if (key == "type") type = member.value().get_string();
      if (key != "attributes") continue;
      json::object object = member.value().get_object();
      attributes = object.raw_json();
    }
    const auto master = num_cells.find(type);
    if (master == num_cells.end()) return;
    ++master->second;
    copier.give_header(begin, attributes);
  };
  json::parser parser;
  json::document document = parser.iterate(text);
  for (auto member : document.get_object()) {
    if (std::string_view(member.unescaped_key()) != "modules") continue;
    for (auto module : member.value().get_object())
      for (auto part : module.value().get_object()) {
        if (std::string_view(part.unescaped_key()) != "cells") continue;
        for (auto cell : part.value().get_object())
          read_cell(cell.value());
      }
  }
  copier.finish();
}
