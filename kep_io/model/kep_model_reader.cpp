#include "kep_io/kep_model_reader.h"

#include "kep_io/kep_io_error.h"
#include "kep_io/model/kep_model_reader_modules.h"
#include "kep_io/text/kep_io_file.h"
#include "kep_io/text/kep_json_fault.h"
#include "kep_report/kep_report_progress.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

/// Why the parser refused the text, with line and column where they can be found.
[[noreturn]] void refuse_text(std::string_view text, const std::string& name, simdjson::error_code error) {
  if (text.empty()) throw KEP_IO_ERROR(fmt::format("{}: no JSON: the file is empty", name));
  if (error == simdjson::MEMALLOC)
    throw KEP_IO_ERROR(fmt::format("{}: can't be read: not enough memory", name));
  const std::optional<KEP_JSON_FAULT> fault = kep_find_json_fault(text);
  if (!fault) throw KEP_IO_ERROR(fmt::format("{}: no JSON: {}", name, simdjson::error_message(error)));
  const std::string_view before = text.substr(0, fault->m_offset);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t line_begin = before.rfind('\n') + 1; // 0 when there is none
  throw KEP_IO_ERROR(
      fmt::format("{}:{}:{}: {}", name, line, fault->m_offset - line_begin + 1, fault->m_reason));
}

void fill_builder(KEP_DB_BUILDER& builder, KEP_MODEL_WARNINGS& warnings, simdjson::padded_string text,
                  const std::string& name) {
  simdjson::dom::parser parser;
  simdjson::dom::element root;
  if (const simdjson::error_code error = parser.parse(text).get(root)) refuse_text(text, name, error);
  const std::size_t size = text.size();
  text = simdjson::padded_string(); // from here on the parser's own copy is used

  const KEP_JSON_PLACE file(name);
  const simdjson::dom::element modules = kep_json_get(kep_json_object(root, file), "modules", file);
  const KEP_JSON_PLACE place(file, "modules");
  KEP_MODEL_MODULES(builder, size, warnings).read(kep_json_object(modules, place), place);
}

std::unique_ptr<KEP_DB> read_padded(simdjson::padded_string text, const std::string& name,
                                    std::vector<std::string>* lines) {
  const KEP_REPORT_PROGRESS progress("reading"); // by its steps, where it has any
  try {
    KEP_DB_BUILDER builder;
    KEP_MODEL_WARNINGS warnings;
    // The parsed file is given up before the model is frozen.
    fill_builder(builder, warnings, std::move(text), name);
    std::unique_ptr<KEP_DB> db = KEP_DB_BUILDER::freeze(std::move(builder));
    if (lines) *lines = warnings.get_lines(*db, name);
    return db;
  } catch (const KEP_DB_ERROR& error) {
    throw KEP_IO_ERROR(fmt::format("{}: {}", name, error.what()));
  }
}

} // namespace

std::unique_ptr<KEP_DB> kep_read_model(const std::string& path, std::vector<std::string>* warnings) {
  return read_padded(kep_read_whole_file(path, simdjson::SIMDJSON_MAXSIZE_BYTES), kep_get_file_name(path),
                     warnings);
}

std::unique_ptr<KEP_DB> kep_read_model_text(std::string_view text, const std::string& name,
                                            std::vector<std::string>* warnings) {
  return read_padded(simdjson::padded_string(text), name, warnings);
}
