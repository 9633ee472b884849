#include "kep_io/kep_routing_reader.h"

#include "kep/kep_routing_graph.h"
#include "kep_io/kep_io_error.h"
#include "kep_io/kep_io_file.h"
#include "kep_io/kep_json_fault.h"
#include "kep_io/kep_routing_reader_operations.h"
#include "kep_rg/kep_rg_exception.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>

namespace {

/// Lines of one description, which share a parser.
class LINES {
public:
  LINES(KEP_DB* db, KEP_RG_PARSE& parse, const std::string& name) : m_operations(db, parse), m_name(name) {}

  void read(const simdjson::padded_string& text);

private:
  void read_line(std::string_view line);
  [[noreturn]] void refuse(std::size_t number, const std::string& reason) const {
    throw KEP_IO_ERROR(fmt::format("{}:{}: {}", m_name, number, reason));
  }

  KEP_ROUTING_OPERATIONS m_operations;
  const std::string& m_name;
  simdjson::dom::parser m_parser;
};

void LINES::read(const simdjson::padded_string& text) {
  std::string_view rest(text.data(), text.size());
  for (std::size_t number = 1; !rest.empty(); ++number) {
    const std::size_t length = std::min(rest.find('\n'), rest.size());
    try {
      read_line(rest.substr(0, length));
    } catch (const KEP_ROUTING_REFUSAL& refusal) {
      refuse(number, refusal.m_reason);
    } catch (const KEP_EXCEPTION& refusal) {
      refuse(number, refusal.what());
    } catch (const KEP_DB_ERROR& refusal) {
      refuse(number, refusal.what());
    }
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
}

void LINES::read_line(std::string_view line) {
  if (line.starts_with('#') || line.find_first_not_of(" \t\r") == std::string_view::npos) return;
  // The lines behind this one, or the padding of the text, are what the parser may look at behind the end.
  simdjson::dom::element element;
  const simdjson::error_code error = m_parser.parse(line.data(), line.size(), false).get(element);
  if (error != simdjson::SUCCESS) {
    const std::optional<KEP_JSON_FAULT> fault = kep_find_json_fault(line);
    if (!fault) throw KEP_ROUTING_REFUSAL{fmt::format("no JSON: {}", simdjson::error_message(error))};
    throw KEP_ROUTING_REFUSAL{fmt::format("column {}: {}", fault->m_offset + 1, fault->m_reason)};
  }
  m_operations.carry_out(KEP_ROUTING_STATEMENT(element));
}

} // namespace

void kep_read_routing(KEP_DB* db, KEP_RG_PARSE& parse, const std::string& path) {
  const simdjson::padded_string text = kep_read_whole_file(path, std::numeric_limits<std::size_t>::max());
  LINES(db, parse, path).read(text);
  kep_describe_no_routing(db);
}

void kep_read_routing_text(KEP_DB* db, KEP_RG_PARSE& parse, std::string_view text, const std::string& name) {
  LINES(db, parse, name).read(simdjson::padded_string(text));
  kep_describe_no_routing(db);
}

void kep_describe_no_routing(KEP_DB* db) {
  db->get_routing_template_graph()->get_routing_primitive()->initialize();
}
