#pragma once

#include <simdjson.h>

#include <optional>
#include <string>
#include <string_view>

/// A place inside a JSON file, for messages: a chain from a value up to the file, kept on the stack of the
/// functions that walk down, and spelled out only when something is refused.
class KEP_JSON_PLACE {
public:
  explicit KEP_JSON_PLACE(std::string_view file) : m_above(nullptr), m_name(file) {}
  /// `above` and the text of `name` must outlive the place.
  KEP_JSON_PLACE(const KEP_JSON_PLACE& above, std::string_view name) : m_above(&above), m_name(name) {}

  /// KEP_IO_ERROR "FILE: PLACE: REASON".
  [[noreturn]] void refuse(const std::string& reason) const;
  /// KEP_IO_ERROR "FILE: REASON", the reason for which the parser took no value.
  [[noreturn]] void refuse_file(simdjson::error_code error) const;
  /// "FILE: PLACE: REASON".
  std::string get_line(const std::string& reason) const;
  /// The place without the file, which must not be the whole file.
  std::string get_path() const;
  std::string_view get_name() const { return m_name; }

private:
  std::string_view get_file() const;

  const KEP_JSON_PLACE* m_above;
  std::string_view m_name;
};

/// These refuse a value that is of another kind.
simdjson::dom::object kep_json_object(simdjson::dom::element value, const KEP_JSON_PLACE& place);
simdjson::dom::array kep_json_array(simdjson::dom::element value, const KEP_JSON_PLACE& place);
std::string_view kep_json_text(simdjson::dom::element value, const KEP_JSON_PLACE& place);

/// A member of the object at `place`. Refused when it stands there twice.
std::optional<simdjson::dom::element> kep_json_find(simdjson::dom::object object, std::string_view name,
                                                    const KEP_JSON_PLACE& place);
/// The same; refused when it is missing.
simdjson::dom::element kep_json_get(simdjson::dom::object object, std::string_view name,
                                    const KEP_JSON_PLACE& place);
