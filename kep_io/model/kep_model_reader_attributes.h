#pragma once

#include "kep/kep_db_builder.h"
#include "kep_io/model/kep_model_reader_warnings.h"
#include "kep_io/text/kep_json_value.h"

#include <cstdint>
#include <optional>

/// The attributes of one object of a model: a module, a cell or a net. A number may be written as such or as
/// a text of 0s and 1s, its binary digits. Attributes that nobody asks for are passed over, whatever they
/// hold.
class KEP_MODEL_ATTRIBUTES {
public:
  /// `owner` is the object that may have a member `attributes`; its place must outlive this. Odd ones are
  /// appended to `odd`.
  KEP_MODEL_ATTRIBUTES(simdjson::dom::object owner, KEP_MODEL_OBJECT kind, const KEP_JSON_PLACE& place,
                       KEP_MODEL_ODD_ATTRIBUTES& odd);

  bool has(std::string_view name) const { return find(name).has_value(); }
  /// The attribute is there and not 0.
  bool get_flag(std::string_view name) const;
  /// Refused when it is no number; for one that is not from `least` to `most`, too, unless there is a value
  /// to give then.
  std::optional<std::int64_t> find_number(std::string_view name, std::int64_t least, std::int64_t most,
                                          std::optional<std::int64_t> else_value = std::nullopt) const;
  /// Yosys puts a blank behind a text that would look like digits; it is taken off.
  std::optional<std::string_view> find_text(std::string_view name) const;
  const KEP_JSON_PLACE& get_place() const { return m_place; }

private:
  std::optional<simdjson::dom::element> find(std::string_view name) const;

  KEP_JSON_PLACE m_place;
  std::optional<simdjson::dom::object> m_attributes;
};

KEP_MODULE_PROPERTIES kep_read_module_properties(simdjson::dom::object module, const KEP_JSON_PLACE& place,
                                                 KEP_MODEL_WARNINGS& warnings);
KEP_INSTANCE_PROPERTIES kep_read_instance_properties(simdjson::dom::object cell, const KEP_JSON_PLACE& place,
                                                     KEP_MODEL_ODD_ATTRIBUTES& odd);
