#include "kep_io/kep_model_reader.h"

#include "kep_io/kep_io_error.h"
#include "kep_io/model/kep_model_reader_contents.h"
#include "kep_io/model/kep_model_reader_modules.h"
#include "kep_io/model/kep_model_reader_outline.h"
#include "kep_io/text/kep_io_file.h"
#include "kep_io/text/kep_json_fault.h"
#include "kep_report/kep_report_progress.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

/// Refuses a text that is no JSON, with line and column where they can be found.
void check_json(std::string_view text, const std::string& name) {
  if (text.empty()) throw KEP_IO_ERROR(fmt::format("{}: no JSON: the file is empty", name));
  const std::optional<KEP_JSON_FAULT> fault = kep_find_json_fault(text);
  if (!fault) return;
  const std::string_view before = text.substr(0, fault->m_offset);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t line_begin = before.rfind('\n') + 1; // 0 when there is none
  throw KEP_IO_ERROR(
      fmt::format("{}:{}:{}: {}", name, line, fault->m_offset - line_begin + 1, fault->m_reason));
}

void fill_builder(KEP_DB_BUILDER& builder, KEP_MODEL_WARNINGS& warnings, const simdjson::padded_string& text,
                  const std::string& name) {
  const KEP_MODEL_OUTLINE outline = kep_cut_model(text);
  const KEP_JSON_PLACE file(name);
  simdjson::dom::parser parser;
  simdjson::dom::element root;
  if (const auto error = parser.parse(outline.m_rest.data(), outline.m_rest.size(), false).get(root))
    file.refuse_file(error);
  const KEP_JSON_PLACE place(file, "modules");
  const simdjson::dom::object list =
      kep_json_object(kep_json_get(kep_json_object(root, file), "modules", file), place);
  const KEP_MODEL_MODULES modules(list, place, builder, warnings);
  KEP_MODEL_CONTENTS(modules, builder, text.size(), warnings).read(outline);
}

std::unique_ptr<KEP_DB> read_padded(simdjson::padded_string text, const std::string& name,
                                    std::vector<std::string>* lines) {
  const KEP_REPORT_PROGRESS progress("reading"); // by its steps, where it has any
  try {
    KEP_DB_BUILDER builder;
    KEP_MODEL_WARNINGS warnings;
    try {
      fill_builder(builder, warnings, text, name);
    } catch (const KEP_IO_ERROR&) {
      check_json(text, name); // a text that is no JSON is refused as such, whatever was met before
      throw;
    }
    text = simdjson::padded_string(); // before the model is frozen
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
