#include "kep_io/kep_routing_reader.h"

#include "kep/kep_cancelled.h"
#include "kep/kep_routing_graph.h"
#include "kep_io/description/kep_routing_reader_operations.h"
#include "kep_io/kep_io_error.h"
#include "kep_io/text/kep_io_file.h"
#include "kep_io/text/kep_json_fault.h"
#include "kep_report/kep_report_progress.h"
#include "kep_rg/kep_rg_exception.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

namespace {

/// How many odd lines of a file are told one by one.
constexpr std::size_t MAX_WARNINGS = 5;
constexpr std::size_t LINES_PER_STEP = 10000;

/// Lines of one description, which share a parser.
class LINES {
public:
  LINES(KEP_DB* db, KEP_RG_PARSE& parse, const std::string& name) : m_operations(db, parse), m_name(name) {}

  std::vector<std::string> read(const simdjson::padded_string& text);

private:
  bool read_line(std::string_view line, std::size_t number);
  void gather_warning(std::size_t number);
  [[noreturn]] void refuse(std::size_t number, const std::string& reason) const {
    throw KEP_IO_ERROR(fmt::format("{}:{}: {}", m_name, number, reason));
  }

  KEP_ROUTING_OPERATIONS m_operations;
  const std::string& m_name;
  simdjson::dom::parser m_parser;
  std::vector<std::string> m_warnings;
  std::size_t m_num_warnings = 0;
};

std::vector<std::string> LINES::read(const simdjson::padded_string& text) {
  std::string_view rest(text.data(), text.size());
  KEP_REPORT_PROGRESS progress("reading", text.size());
  for (std::size_t number = 1; !rest.empty(); ++number) {
    const std::size_t length = std::min(rest.find('\n'), rest.size());
    try {
      if (read_line(rest.substr(0, length), number)) gather_warning(number);
    } catch (const KEP_ROUTING_REFUSAL& refusal) {
      refuse(number, refusal.m_reason);
    } catch (const KEP_EXCEPTION& refusal) {
      refuse(number, kep_rg_get_reason(refusal));
    } catch (const KEP_DB_ERROR& refusal) {
      refuse(number, refusal.what());
    }
    rest.remove_prefix(std::min(length + 1, rest.size()));
    if (number % LINES_PER_STEP != 0) continue;
    progress.add(text.size() - rest.size() - progress.get_done());
    kep_throw_if_cancelled();
  }
  if (const std::size_t more = m_num_warnings - m_warnings.size())
    m_warnings.push_back(fmt::format("{}: {} more {} at an output or {} at an input", m_name, more,
                                     more == 1 ? "arc begins" : "arcs begin", more == 1 ? "ends" : "end"));
  return std::move(m_warnings);
}

void LINES::gather_warning(std::size_t number) {
  if (m_operations.get_warning().empty()) return;
  if (++m_num_warnings <= MAX_WARNINGS)
    m_warnings.push_back(
        KEP_IO_ERROR(fmt::format("{}:{}: {}", m_name, number, m_operations.get_warning())).what());
}

/// False for a line that holds no statement.
bool LINES::read_line(std::string_view line, std::size_t number) {
  if (line.starts_with('#') || line.find_first_not_of(" \t\r") == std::string_view::npos) return false;
  // The lines behind this one, or the padding of the text, are what the parser may look at behind the end.
  simdjson::dom::element element;
  const simdjson::error_code error = m_parser.parse(line.data(), line.size(), false).get(element);
  if (error != simdjson::SUCCESS) {
    const std::optional<KEP_JSON_FAULT> fault = kep_find_json_fault(line);
    if (!fault) kep_routing_refuse("no JSON: {}", simdjson::error_message(error));
    throw KEP_IO_ERROR(fmt::format("{}:{}:{}: {}", m_name, number, fault->m_offset + 1, fault->m_reason));
  }
  m_operations.carry_out(KEP_ROUTING_STATEMENT(element));
  return true;
}

std::vector<std::string> read_description(KEP_DB* db, KEP_RG_PARSE& parse,
                                          const simdjson::padded_string& text, const std::string& name) {
  std::vector<std::string> warnings = LINES(db, parse, name).read(text);
  kep_describe_no_routing(db);
  return warnings;
}

} // namespace

std::vector<std::string> kep_read_routing(KEP_DB* db, KEP_RG_PARSE& parse, const std::string& path) {
  return read_description(db, parse, kep_read_whole_file(path, std::numeric_limits<std::size_t>::max()),
                          kep_get_file_name(path));
}

std::vector<std::string> kep_read_routing_text(KEP_DB* db, KEP_RG_PARSE& parse, std::string_view text,
                                               const std::string& name) {
  return read_description(db, parse, simdjson::padded_string(text), name);
}

void kep_describe_no_routing(KEP_DB* db) {
  db->get_routing_template_graph()->get_routing_primitive()->initialize();
}
