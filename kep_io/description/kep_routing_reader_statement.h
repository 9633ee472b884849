#pragma once

#include <fmt/format.h>
#include <simdjson.h>

#include <array>
#include <string>
#include <string_view>
#include <utility>

/// Thrown when a statement is refused; the reader adds file and line.
struct KEP_ROUTING_REFUSAL {
  std::string m_reason;
};

template <class... ARGUMENTS>
[[noreturn]] void kep_routing_refuse(fmt::format_string<ARGUMENTS...> format, ARGUMENTS&&... arguments) {
  throw KEP_ROUTING_REFUSAL{fmt::format(format, std::forward<ARGUMENTS>(arguments)...)};
}

enum class KEP_ROUTING_OP : unsigned char {
  ADD_PORT_EDGE,
  ADD_ROUTING_FLYOVER,
  ADD_ROUTING_ROOT,
  ADD_INSERTED_NODE,
  ADD_REMOVE_NODE,
  ADD_TUNNEL_TYPE,
  ADD_MODULE_IS_NOT_TEMPLATE,
  DISABLE_MERGE,
  SET_SKIP_PATHS,
  ADD_SKIP_PATHS_TO_OUTPUT_PORT,
  SET_NON_TEMPLATE_MUX_SKIP_PATH_INST_NAME_PATTERN,
  ADD_WIRE_TYPE,
  SET_SPARE_ROW,
};

enum class KEP_ROUTING_FIELD : unsigned char {
  MODULE,
  VIEW,
  INPUT,
  OUTPUT,
  HIPI,
  FLAG,
  ROOT_VIEW,
  PORT,
  NAME,
  TUNNEL,
  SKIP,
  INSTANCE,
  PATTERN,
  FLAGS,
  PATH,
};
inline constexpr unsigned KEP_NUM_ROUTING_FIELDS = 15;

/// One statement of a routing description, its form checked: the operation is known, it has the fields that
/// it needs and no others, and they are of their types and in their ranges. Texts belong to the parser.
class KEP_ROUTING_STATEMENT {
public:
  /// Throws KEP_ROUTING_REFUSAL.
  explicit KEP_ROUTING_STATEMENT(simdjson::dom::element line);

  KEP_ROUTING_OP get_op() const { return m_op; }
  bool has(KEP_ROUTING_FIELD field) const { return m_given[static_cast<unsigned>(field)]; }
  /// "" when the field is not given, as are 0 and false.
  std::string_view get_text(KEP_ROUTING_FIELD field) const { return m_texts[static_cast<unsigned>(field)]; }
  unsigned char get_number(KEP_ROUTING_FIELD field) const { return m_numbers[static_cast<unsigned>(field)]; }
  bool get_bool(KEP_ROUTING_FIELD field) const { return get_number(field) != 0; }

private:
  void read_field(unsigned field, simdjson::dom::element value);

  KEP_ROUTING_OP m_op{};
  std::array<bool, KEP_NUM_ROUTING_FIELDS> m_given{};
  std::array<std::string_view, KEP_NUM_ROUTING_FIELDS> m_texts{};
  std::array<unsigned char, KEP_NUM_ROUTING_FIELDS> m_numbers{};
};
