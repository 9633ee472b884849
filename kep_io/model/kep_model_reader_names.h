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

/// The names in one list of a module, its cells or its nets. Yosys makes names up with file names in them, so
/// "/" and ":" become "."; two names that become alike are refused.
class KEP_MODEL_NAMES {
public:
  explicit KEP_MODEL_NAMES(KEP_MODEL_WARNINGS& warnings) : m_warnings(warnings) {}

  /// The name as the model has it; it lasts as long as this and `name`.
  std::string_view read(std::string_view name, const KEP_JSON_PLACE& place);
  /// Behind the last name: the list once more, in which names stand that were not changed.
  void check(simdjson::dom::object list, const KEP_JSON_PLACE& place) const;

private:
  KEP_MODEL_WARNINGS& m_warnings;
  std::map<std::string, std::string_view, std::less<>> m_changed; // to what they were
};
