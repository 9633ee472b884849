#pragma once

#include "kep_io/model/kep_model_reader_warnings.h"
#include "kep_io/text/kep_json_value.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>

void kep_refuse_nul(std::string_view name, const KEP_JSON_PLACE& place);
/// Refuses a name that can't be one: empty, or with a NUL.
void kep_check_model_name(std::string_view name, const KEP_JSON_PLACE& place);

/// The same, and a name with a separator of full names. `remedy` says what the user can do about it.
void kep_check_separators(std::string_view name, std::string_view remedy, const KEP_JSON_PLACE& place);

/// A name of a cell or a net as the file has it.
struct KEP_MODEL_NAME {
  std::string_view m_text;
  bool m_has_separators;
};
/// Refuses what kep_check_model_name() refuses.
KEP_MODEL_NAME kep_read_model_name(std::string_view name, const KEP_JSON_PLACE& place);

/// The names in one list of a module, its cells or its nets. Yosys makes names up with file names in them, so
/// "/" and ":" become "."; two names that become alike are refused.
class KEP_MODEL_NAMES {
public:
  explicit KEP_MODEL_NAMES(KEP_MODEL_WARNINGS& warnings) : m_warnings(warnings) {}

  /// The name as the model has it; it lasts as long as this and the text of `name`.
  std::string_view get(const KEP_MODEL_NAME& name, const KEP_JSON_PLACE& list_place);
  /// Behind the last name: the list once more, in which names stand that were not changed, and a new one.
  void finish(const char* list_text, const KEP_JSON_PLACE& list_place);

private:
  KEP_MODEL_WARNINGS& m_warnings;
  std::map<std::string, std::string, std::less<>> m_changed; // to what they were
};
