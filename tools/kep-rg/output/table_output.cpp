#include "tools/kep-rg/output/table_output.h"

#include "kep_io/text/kep_json_text.h"
#include "tools/kep-rg/output/plain_output.h"

#include <fmt/format.h>

#include <iterator>
#include <ostream>
#include <utility>

namespace {

constexpr std::size_t TEXT_BYTES = 1 << 16; // printed at once

} // namespace

const char* get_kind_text(const KEP_ROUTING::NODE& node) {
  return node.is_boundary() ? "boundary" : node.is_hipi() ? "hipi" : "uip";
}

const KEP_MODULE* get_module(const KEP_ROUTING::NODE& node) {
  if (const KEP_PORT* port = node.get_port()) return port->get_parent();
  return node.get_unfolded_inst_port().m_object->get_inst()->get_module();
}

TABLE_OUTPUT::TABLE_OUTPUT(std::vector<std::string> columns, bool is_json)
    : m_columns(std::move(columns)), m_is_json(is_json) {
  if (is_json) {
    m_text += '[';
    for (std::string& column : m_columns)
      column = kep_get_json_text(column);
  } else {
    m_text = fmt::format("{}\n", fmt::join(m_columns, "\t"));
  }
}

void TABLE_OUTPUT::begin_cell() {
  if (!m_is_json) {
    if (m_column != 0) m_text += '\t';
    return;
  }
  const char* const before = m_column != 0 ? ", " : m_has_rows ? ",\n{" : "\n{";
  fmt::format_to(std::back_inserter(m_text), "{}{}: ", before, m_columns[m_column]);
}

void TABLE_OUTPUT::end_cell() {
  if (++m_column != m_columns.size()) return;
  m_column = 0;
  m_has_rows = true;
  m_text += m_is_json ? '}' : '\n';
  if (m_text.size() > TEXT_BYTES) print();
}

void TABLE_OUTPUT::add(std::string_view text) {
  begin_cell();
  if (m_is_json)
    kep_append_json_text(m_text, text);
  else
    m_text += text;
  end_cell();
}

void TABLE_OUTPUT::add(std::uint64_t number) {
  begin_cell();
  fmt::format_to(std::back_inserter(m_text), "{}", number);
  end_cell();
}

void TABLE_OUTPUT::finish() {
  if (m_is_json && m_has_rows) m_text += '\n';
  if (m_is_json) m_text += "]\n";
  print();
}

/// The stream keeps a line that is not complete: on a terminal the progress may be drawn in between.
void TABLE_OUTPUT::print() {
  info() << m_text;
  m_text.clear();
}
