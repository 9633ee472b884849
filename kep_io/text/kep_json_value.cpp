#include "kep_io/text/kep_json_value.h"

#include "kep_io/kep_io_error.h"

#include <fmt/format.h>

void KEP_JSON_PLACE::refuse(const std::string& reason) const {
  throw KEP_IO_ERROR(get_line(reason));
}

void KEP_JSON_PLACE::refuse_file(simdjson::error_code error) const {
  if (error == simdjson::MEMALLOC)
    throw KEP_IO_ERROR(fmt::format("{}: can't be read: not enough memory", get_file()));
  throw KEP_IO_ERROR(fmt::format("{}: no JSON: {}", get_file(), simdjson::error_message(error)));
}

std::string KEP_JSON_PLACE::get_line(const std::string& reason) const {
  return m_above ? fmt::format("{}: {}: {}", get_file(), get_path(), reason)
                 : fmt::format("{}: {}", get_file(), reason);
}

std::string_view KEP_JSON_PLACE::get_file() const {
  const KEP_JSON_PLACE* file = this;
  while (file->m_above)
    file = file->m_above;
  return file->m_name;
}

std::string KEP_JSON_PLACE::get_path() const {
  const bool is_outermost = !m_above->m_above;
  return is_outermost ? std::string(m_name) : fmt::format("{}.{}", m_above->get_path(), m_name);
}

simdjson::dom::object kep_json_object(simdjson::dom::element value, const KEP_JSON_PLACE& place) {
  simdjson::dom::object object;
  if (value.get(object) != simdjson::SUCCESS) place.refuse("not a JSON object");
  return object;
}

simdjson::dom::array kep_json_array(simdjson::dom::element value, const KEP_JSON_PLACE& place) {
  simdjson::dom::array array;
  if (value.get(array) != simdjson::SUCCESS) place.refuse("not a JSON array");
  return array;
}

std::string_view kep_json_text(simdjson::dom::element value, const KEP_JSON_PLACE& place) {
  std::string_view text;
  if (value.get(text) != simdjson::SUCCESS) place.refuse("not a text");
  return text;
}

std::optional<simdjson::dom::element> kep_json_find(simdjson::dom::object object, std::string_view name,
                                                    const KEP_JSON_PLACE& place) {
  std::optional<simdjson::dom::element> found;
  for (const auto [key, value] : object) {
    if (key != name) continue;
    if (found) KEP_JSON_PLACE(place, name).refuse("it stands there twice");
    found = value;
  }
  return found;
}

simdjson::dom::element kep_json_get(simdjson::dom::object object, std::string_view name,
                                    const KEP_JSON_PLACE& place) {
  const std::optional<simdjson::dom::element> found = kep_json_find(object, name, place);
  if (!found) KEP_JSON_PLACE(place, name).refuse("it is missing");
  return *found;
}
