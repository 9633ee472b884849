#include "kep_io/model/kep_model_reader_names.h"

#include "kep_io/text/kep_json_cursor.h"

#include <fmt/format.h>

namespace {

constexpr std::string_view SEPARATORS = "/:";

bool has_separators(std::string_view name) {
  return name.find_first_of(SEPARATORS) != std::string_view::npos;
}

} // namespace

void kep_refuse_nul(std::string_view name, const KEP_JSON_PLACE& place) {
  if (name.find('\0') != std::string_view::npos) place.refuse("the name holds a NUL");
}

void kep_check_model_name(std::string_view name, const KEP_JSON_PLACE& place) {
  if (name.empty()) place.refuse("the name is empty");
  kep_refuse_nul(name, place);
}

void kep_check_separators(std::string_view name, std::string_view remedy, const KEP_JSON_PLACE& place) {
  kep_check_model_name(name, place);
  if (has_separators(name))
    place.refuse(fmt::format("the name \"{}\" holds \"/\" or \":\": {}", name, remedy));
}

KEP_MODEL_NAME kep_read_model_name(std::string_view name, const KEP_JSON_PLACE& place) {
  kep_check_model_name(name, place);
  return {name, has_separators(name)};
}

std::string_view KEP_MODEL_NAMES::get(const KEP_MODEL_NAME& name, const KEP_JSON_PLACE& list_place) {
  if (!name.m_has_separators) return name.m_text;
  const KEP_JSON_PLACE place(list_place, name.m_text);
  m_warnings.add_changed_name(place);
  std::string changed(name.m_text);
  for (char& letter : changed)
    if (SEPARATORS.find(letter) != std::string_view::npos) letter = '.';
  const auto [entry, is_new] = m_changed.emplace(std::move(changed), name.m_text);
  if (!is_new && entry->second != name.m_text)
    place.refuse(fmt::format("\"/\" and \":\" become \".\", and so \"{}\" is the name of \"{}\", too",
                             entry->first, entry->second));
  return entry->first;
}

void KEP_MODEL_NAMES::finish(const char* list_text, const KEP_JSON_PLACE& list_place) {
  if (m_changed.empty()) return;
  KEP_JSON_CURSOR cursor(list_text);
  cursor.for_each_member([&](std::string_view key) {
    const std::string name = kep_read_json_key(key);
    if (const auto found = m_changed.find(name); found != m_changed.end())
      KEP_JSON_PLACE(list_place, found->second)
          .refuse(fmt::format("\"/\" and \":\" become \".\", and another one is named \"{}\" already", name));
    cursor.pass_value();
  });
  m_changed.clear();
}
