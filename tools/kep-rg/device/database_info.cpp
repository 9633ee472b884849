#include "tools/kep-rg/device/database_info.h"

#include "kep_io/kep_io_error.h"
#include "kep_io/text/kep_json_text.h"
#include "kep_report/kep_report_number.h"
#include "tools/kep-rg/device/database_origin.h"
#include "tools/kep-rg/device/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace {

using ROW = std::vector<std::string>;

std::string to_hex(std::uint64_t checksum) {
  return fmt::format("{:016x}", checksum);
}

std::string get_bytes_text(std::uint64_t bytes) {
  return KEP_REPORT::group_digits(bytes) + " bytes";
}

void append_line(std::string& text, const std::string& line) {
  text += KEP_IO_ERROR(line).what(); // nothing in a name breaks the line
  text += '\n';
}

constexpr std::size_t NO_COLUMN = 100;

/// Rows under a title, each cell as wide as the widest of its column; those of one column are numbers, which
/// end below each other.
void append_table(std::string& text, const char* title, const std::vector<ROW>& rows,
                  std::size_t number_column) {
  if (rows.empty()) return;
  std::vector<std::size_t> widths(rows.front().size());
  for (const ROW& row : rows)
    for (std::size_t i = 0; i != row.size(); ++i)
      widths[i] = std::max(widths[i], row[i].size());
  text += fmt::format("\n{}\n", title);
  for (const ROW& row : rows) {
    std::string line;
    for (std::size_t i = 0; i != row.size(); ++i)
      line += i == number_column ? fmt::format("  {:>{}}", row[i], widths[i])
                                 : fmt::format("  {:<{}}", row[i], widths[i]);
    line.erase(line.find_last_not_of(' ') + 1);
    append_line(text, line);
  }
}

template <class NUMBERS>
std::vector<ROW> get_number_rows(const NUMBERS& numbers) {
  std::vector<ROW> rows;
  rows.reserve(numbers.size());
  for (const auto& [name, number] : numbers)
    rows.push_back({name, KEP_REPORT::group_digits(number)});
  return rows;
}

std::vector<ROW> get_input_rows(const KEP_DATABASE_ORIGIN& origin) {
  std::vector<ROW> rows;
  rows.reserve(origin.m_inputs.size());
  for (const KEP_DATABASE_INPUT& input : origin.m_inputs)
    if (has_checksum(input))
      rows.push_back(
          {input.m_role, input.m_name, get_bytes_text(input.m_num_bytes), to_hex(input.m_checksum)});
    else
      rows.push_back({input.m_role, input.m_name, "not known", ""});
  return rows;
}

std::vector<ROW> get_option_rows(const KEP_DATABASE_ORIGIN& origin) {
  std::vector<ROW> rows;
  rows.reserve(origin.m_options.size());
  for (const auto& [name, value] : origin.m_options)
    rows.push_back({name, value});
  return rows;
}

std::vector<ROW> get_section_rows(const KEP_DATABASE_INFO& info) {
  std::vector<ROW> rows;
  rows.reserve(info.m_sections.size());
  for (const KEP_DATABASE_INFO::SECTION& section : info.m_sections)
    rows.push_back({section.m_name, get_bytes_text(section.m_num_bytes), to_hex(section.m_checksum)});
  return rows;
}

/// The items in brackets, a line each.
std::string to_json(const char* brackets, const std::vector<std::string>& items) {
  return items.empty()
             ? brackets
             : fmt::format("{}\n    {}\n  {}", brackets[0], fmt::join(items, ",\n    "), brackets[1]);
}

template <class NUMBERS>
std::string get_numbers_json(const NUMBERS& numbers) {
  std::vector<std::string> items;
  items.reserve(numbers.size());
  for (const auto& [name, number] : numbers)
    items.push_back(fmt::format("{}: {}", kep_get_json_text(name), number));
  return to_json("{}", items);
}

std::string get_inputs_json(const KEP_DATABASE_ORIGIN& origin) {
  std::vector<std::string> items;
  items.reserve(origin.m_inputs.size());
  for (const KEP_DATABASE_INPUT& input : origin.m_inputs) {
    const std::string content = has_checksum(input) ? fmt::format("{}, \"checksum\": \"{}\"",
                                                                  input.m_num_bytes, to_hex(input.m_checksum))
                                                    : "null, \"checksum\": null";
    items.push_back(fmt::format("{{\"role\": {}, \"name\": {}, \"bytes\": {}}}",
                                kep_get_json_text(input.m_role), kep_get_json_text(input.m_name), content));
  }
  return to_json("[]", items);
}

std::string get_options_json(const KEP_DATABASE_ORIGIN& origin) {
  std::vector<std::string> items;
  items.reserve(origin.m_options.size());
  for (const auto& [name, value] : origin.m_options)
    items.push_back(fmt::format("{}: {}", kep_get_json_text(name), kep_get_json_text(value)));
  return to_json("{}", items);
}

std::string get_sections_json(const KEP_DATABASE_INFO& info) {
  std::vector<std::string> items;
  items.reserve(info.m_sections.size());
  for (const KEP_DATABASE_INFO::SECTION& section : info.m_sections)
    items.push_back(fmt::format("{{\"name\": {}, \"bytes\": {}, \"checksum\": \"{}\"}}",
                                kep_get_json_text(section.m_name), section.m_num_bytes,
                                to_hex(section.m_checksum)));
  return to_json("[]", items);
}

} // namespace

std::string format_text(const KEP_DATABASE_INFO& info, const std::string& path) {
  std::string text;
  append_line(text, fmt::format("device    {}", path));
  append_line(text, fmt::format("format    device database, version {}", info.m_version));
  const std::string size = format_bytes(info.m_num_bytes);
  const std::string bytes = get_bytes_text(info.m_num_bytes);
  append_line(text, "size      " + (size == bytes ? size : fmt::format("{} ({})", size, bytes)));
  append_line(text, fmt::format("checksum  {}", to_hex(info.m_checksum)));
  append_line(text, fmt::format("made by   {}", info.m_origin.m_made_by));
  append_table(text, "made from", get_input_rows(info.m_origin), 2);
  append_table(text, "with options", get_option_rows(info.m_origin), NO_COLUMN);
  append_table(text, "sections", get_section_rows(info), 1);
  append_table(text, "counts", get_number_rows(info.m_counts), 1);
  append_table(text, "counters of the build", get_number_rows(info.m_origin.m_counters), 1);
  return text;
}

std::string format_json(const KEP_DATABASE_INFO& info, const std::string& path) {
  const KEP_DATABASE_ORIGIN& origin = info.m_origin;
  std::string text = "{";
  const auto add = [&text](const char* name, const std::string& value) {
    text += fmt::format("{}\n  \"{}\": {}", text.size() == 1 ? "" : ",", name, value);
  };
  add("file", kep_get_json_text(path));
  add("version", std::to_string(info.m_version));
  add("bytes", std::to_string(info.m_num_bytes));
  add("checksum", kep_get_json_text(to_hex(info.m_checksum)));
  add("made_by", kep_get_json_text(origin.m_made_by));
  add("inputs", get_inputs_json(origin));
  add("options", get_options_json(origin));
  add("sections", get_sections_json(info));
  add("counts", get_numbers_json(info.m_counts));
  add("counters", get_numbers_json(origin.m_counters));
  return text + "\n}\n";
}
