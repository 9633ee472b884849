#include "kep_io/kep_model_writer.h"

#include "kep_io/text/kep_json_text.h"

#include <fmt/format.h>

#include <iterator>

namespace {

void append_bits(std::string& out, const std::vector<std::int64_t>& bits) {
  out += '[';
  const char* separator = "";
  for (const std::int64_t bit : bits) {
    out += separator;
    separator = ",";
    if (bit == KEP_MODEL_UNCONNECTED_BIT)
      out += "\"x\"";
    else
      fmt::format_to(std::back_inserter(out), "{}", bit);
  }
  out += ']';
}

void append_attributes(std::string& out, const std::vector<KEP_MODEL_ATTRIBUTE>& attributes) {
  out += "\"attributes\":{";
  const char* separator = "";
  for (const KEP_MODEL_ATTRIBUTE& attribute : attributes) {
    out += separator;
    separator = ",";
    kep_append_json_text(out, attribute.m_name);
    out += ':';
    if (attribute.m_text.empty())
      fmt::format_to(std::back_inserter(out), "{}", attribute.m_number);
    else
      kep_append_json_text(out, attribute.m_text);
  }
  out += '}';
}

const char* direction_name(KEP_MODEL_DIRECTION direction) {
  switch (direction) {
  case KEP_MODEL_DIRECTION::INPUT:
    return "input";
  case KEP_MODEL_DIRECTION::OUTPUT:
    return "output";
  case KEP_MODEL_DIRECTION::INOUT:
    break;
  }
  return "inout";
}

/// Writes `"name": {` and the elements, each through `append`, one a line, and `}`.
template <class ELEMENTS, class APPEND>
void append_object(std::string& out, const char* name, const ELEMENTS& elements, APPEND append) {
  fmt::format_to(std::back_inserter(out), ",\n   \"{}\":{{", name);
  const char* separator = "\n    ";
  for (const auto& element : elements) {
    out += separator;
    separator = ",\n    ";
    kep_append_json_text(out, element.m_name);
    out += ":{";
    append(element);
    out += '}';
  }
  out += '}';
}

} // namespace

KEP_MODEL_WRITER::KEP_MODEL_WRITER(std::ostream& out, std::string_view creator) : m_out(out) {
  m_buffer = "{\n \"creator\":";
  kep_append_json_text(m_buffer, creator);
  m_buffer += ",\n \"modules\":{";
  m_out << m_buffer;
}

void KEP_MODEL_WRITER::write(const KEP_MODEL_MODULE& module) {
  begin_module(module);
  for (const KEP_MODEL_CELL& cell : module.m_cells)
    write_cell(cell);
  end_module(module);
}

void KEP_MODEL_WRITER::begin_module(const KEP_MODEL_MODULE& module) {
  std::string& out = m_buffer;
  out = m_is_first_module ? "\n  " : ",\n  ";
  m_is_first_module = false;
  m_is_first_cell = true;
  kep_append_json_text(out, module.m_key);
  out += ":{\n   ";
  append_attributes(out, module.m_attributes);
  append_object(out, "ports", module.m_ports, [&out](const KEP_MODEL_PORT& port) {
    fmt::format_to(std::back_inserter(out),
                   "\"direction\":\"{}\",\"bits\":", direction_name(port.m_direction));
    append_bits(out, port.m_bits);
  });
  out += ",\n   \"cells\":{";
  m_out << out;
}

void KEP_MODEL_WRITER::write_cell(const KEP_MODEL_CELL& cell) {
  std::string& out = m_buffer;
  out = m_is_first_cell ? "\n    " : ",\n    ";
  m_is_first_cell = false;
  kep_append_json_text(out, cell.m_name);
  out += ":{\"type\":";
  kep_append_json_text(out, cell.m_type);
  out += ',';
  append_attributes(out, cell.m_attributes);
  out += ",\"connections\":{";
  const char* separator = "";
  for (const auto& [port, bits] : cell.m_connections) {
    out += separator;
    separator = ",";
    kep_append_json_text(out, port);
    out += ':';
    append_bits(out, bits);
  }
  out += "}}";
  m_out << out;
}

void KEP_MODEL_WRITER::end_module(const KEP_MODEL_MODULE& module) {
  std::string& out = m_buffer;
  out = "}";
  append_object(out, "netnames", module.m_netnames, [&out](const KEP_MODEL_NETNAME& net) {
    out += "\"bits\":";
    append_bits(out, net.m_bits);
    out += ',';
    append_attributes(out, net.m_attributes);
  });
  out += '}';
  m_out << out;
}

void KEP_MODEL_WRITER::finish() {
  m_out << "}\n}\n" << std::flush;
}
