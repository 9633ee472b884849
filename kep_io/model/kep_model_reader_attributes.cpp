#include "kep_io/model/kep_model_reader_attributes.h"

#include "kep_io/model/kep_model_reader_names.h"
#include "kep_io/text/kep_view_name.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace {

constexpr std::uint64_t TOO_LARGE = std::numeric_limits<std::uint64_t>::max();

/// TOO_LARGE for all that does not fit; none when the text is no binary number.
std::optional<std::uint64_t> parse_binary(std::string_view digits) {
  if (digits.empty() || digits.find_first_not_of("01") != std::string_view::npos) return std::nullopt;
  std::uint64_t number = 0;
  for (const char digit : digits) {
    if (number > TOO_LARGE / 2) return TOO_LARGE;
    number = number * 2 + static_cast<std::uint64_t>(digit - '0');
  }
  return number;
}

/// Yosys writes digits as they are, and a text of digits, or of nothing, with a blank behind it.
bool is_text_of_digits(std::string_view text) {
  const std::size_t behind = std::min(text.find_first_not_of("01xz"), text.size());
  return behind != text.size() && text.find_first_not_of(' ', behind) == std::string_view::npos;
}

std::string_view without_blank(std::string_view text) {
  if (is_text_of_digits(text)) text.remove_suffix(1);
  return text;
}

struct NUMBER {
  bool m_is_negative = false;
  std::uint64_t m_bits = 0; // two's complement
};

NUMBER read_number(simdjson::dom::element value, const KEP_JSON_PLACE& place) {
  if (value.is_string()) {
    const std::string_view text = kep_json_text(value, place);
    if (const auto number = parse_binary(text)) {
      // Yosys writes a number in 32 digits, a negative one in two's complement.
      const bool is_negative = text.size() == 32 && text.front() == '1';
      return {is_negative, is_negative ? *number | ~std::uint64_t{0xffffffff} : *number};
    }
    if (is_text_of_digits(text))
      place.refuse(fmt::format("the text \"{}\", no number: in Verilog a number stands without quotes",
                               without_blank(text)));
  } else if (std::int64_t number; value.get(number) == simdjson::SUCCESS) {
    return {number < 0, static_cast<std::uint64_t>(number)};
  } else if (std::uint64_t large; value.get(large) == simdjson::SUCCESS) {
    return {false, large};
  }
  place.refuse("neither an integer nor a text of 0s and 1s");
}

KEP_VIEW_TYPE read_view(std::string_view text, const KEP_JSON_PLACE& place) {
  if (const std::optional<KEP_VIEW_TYPE> view = kep_find_view(text)) return *view;
  place.refuse(fmt::format("unknown view \"{}\"", text));
}

} // namespace

KEP_MODEL_ATTRIBUTES::KEP_MODEL_ATTRIBUTES(simdjson::dom::object owner, KEP_MODEL_OBJECT kind,
                                           const KEP_JSON_PLACE& place, KEP_MODEL_ODD_ATTRIBUTES& odd)
    : m_place(place, "attributes") {
  const auto attributes = kep_json_find(owner, "attributes", place);
  if (!attributes) return;
  m_attributes = kep_json_object(*attributes, m_place);
  for (const auto [name, value] : *m_attributes)
    kep_check_attribute(kind, name, KEP_JSON_PLACE(m_place, name), odd);
}

std::optional<simdjson::dom::element> KEP_MODEL_ATTRIBUTES::find(std::string_view name) const {
  if (!m_attributes) return std::nullopt;
  return kep_json_find(*m_attributes, name, m_place);
}

bool KEP_MODEL_ATTRIBUTES::get_flag(std::string_view name) const {
  const auto value = find(name);
  return value && read_number(*value, KEP_JSON_PLACE(m_place, name)).m_bits != 0;
}

std::optional<std::int64_t> KEP_MODEL_ATTRIBUTES::find_number(std::string_view name, std::int64_t least,
                                                              std::int64_t most,
                                                              std::optional<std::int64_t> else_value) const {
  const auto value = find(name);
  if (!value) return std::nullopt;
  const KEP_JSON_PLACE place(m_place, name);
  const NUMBER number = read_number(*value, place);
  const auto result = static_cast<std::int64_t>(number.m_bits);
  const bool fits_at_all = number.m_is_negative == (result < 0);
  if (fits_at_all && result >= least && result <= most) return result;
  if (!else_value) place.refuse(fmt::format("no number from {} to {}", least, most));
  return else_value;
}

std::optional<std::string_view> KEP_MODEL_ATTRIBUTES::find_text(std::string_view name) const {
  const auto value = find(name);
  if (!value) return std::nullopt;
  const KEP_JSON_PLACE place(m_place, name);
  const std::string_view text = kep_json_text(*value, place);
  if (text.find('\0') != std::string_view::npos) place.refuse("the text holds a NUL");
  return without_blank(text);
}

KEP_MODULE_PROPERTIES kep_read_module_properties(simdjson::dom::object module, const KEP_JSON_PLACE& place,
                                                 KEP_MODEL_WARNINGS& warnings) {
  KEP_MODEL_ODD_ATTRIBUTES odd;
  const KEP_MODEL_ATTRIBUTES attributes(module, KEP_MODEL_OBJECT::MODULE, place, odd);
  warnings.add(odd);
  const KEP_JSON_PLACE& attributes_place = attributes.get_place();
  KEP_MODULE_PROPERTIES properties;
  kep_refuse_nul(place.get_name(), place);
  if (const auto name = attributes.find_text("kep_name")) {
    kep_check_separators(*name, "choose another one", KEP_JSON_PLACE(attributes_place, "kep_name"));
    properties.m_name = *name;
  } else {
    kep_check_separators(place.get_name(), "give the module another one with the attribute kep_name", place);
  }
  if (const auto view = attributes.find_text("kep_view"))
    properties.m_view_type = read_view(*view, KEP_JSON_PLACE(attributes_place, "kep_view"));
  if (const auto group = attributes.find_text("kep_equivalents")) {
    if (group->empty()) KEP_JSON_PLACE(attributes_place, "kep_equivalents").refuse("the group has no name");
    properties.m_equivalents = *group;
  }
  properties.m_is_designated_top = attributes.get_flag("top");
  properties.m_is_ip_root = attributes.get_flag("kep_ip_root");
  properties.m_has_trait_0 = attributes.get_flag("kep_trait_0");
  properties.m_is_blc_bidir_buffer = attributes.get_flag("kep_blc_bidir_buffer");
  properties.m_is_foreign = attributes.get_flag("kep_foreign");
  // It counts on the top alone, which is known when the model is whole: freezing refuses what is no type.
  constexpr std::int64_t NO_TYPE = 3;
  if (const auto db_type = attributes.find_number("kep_db_type", 0, 2, NO_TYPE))
    properties.m_db_type = static_cast<KEP_DB_TYPE>(*db_type);
  properties.m_is_device_top = attributes.get_flag("kep_device_top");
  for (const std::string_view name : {"kep_db_type", "kep_device_top"})
    if (attributes.has(name))
      warnings.add_top_attribute(place.get_name(), KEP_JSON_PLACE(attributes_place, name));
  return properties;
}

KEP_INSTANCE_PROPERTIES kep_read_instance_properties(simdjson::dom::object cell, const KEP_JSON_PLACE& place,
                                                     KEP_MODEL_ODD_ATTRIBUTES& odd) {
  const KEP_MODEL_ATTRIBUTES attributes(cell, KEP_MODEL_OBJECT::CELL, place, odd);
  return {.m_has_inst_header = attributes.get_flag("kep_inst_header"),
          .m_has_trait_0 = attributes.get_flag("kep_trait_0"),
          .m_is_blc_atom = attributes.get_flag("kep_blc_atom"),
          .m_is_blc_inserted_buffer = attributes.get_flag("kep_blc_inserted_buffer")};
}
