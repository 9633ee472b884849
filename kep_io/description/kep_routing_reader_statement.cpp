#include "kep_io/description/kep_routing_reader_statement.h"

#include <cstdint>
#include <initializer_list>
#include <optional>

namespace {

using FIELD = KEP_ROUTING_FIELD;

enum class TYPE : unsigned char { TEXT, BOOL, NUMBER };

struct FIELD_INFO {
  std::string_view m_name;
  TYPE m_type = TYPE::TEXT;
  unsigned m_max = 0; // of a number
};

constexpr FIELD_INFO FIELDS[KEP_NUM_ROUTING_FIELDS] = {
    {"module"},
    {"view"},
    {"input"},
    {"output"},
    {"hipi", TYPE::NUMBER, 3},
    {"flag", TYPE::BOOL},
    {"root_view"},
    {"port"},
    {"name"},
    {"tunnel", TYPE::NUMBER, 3},
    {"skip", TYPE::BOOL},
    {"instance"},
    {"pattern"},
    {"flags", TYPE::NUMBER, 255},
    {"path"},
};

/// A set of fields, one bit each.
class FIELD_SET {
public:
  constexpr FIELD_SET(std::initializer_list<FIELD> fields) {
    for (const FIELD field : fields)
      m_bits |= 1U << static_cast<unsigned>(field);
  }
  constexpr bool has(unsigned field) const { return (m_bits >> field & 1U) != 0; }

private:
  unsigned m_bits = 0;
};

struct OP_INFO {
  std::string_view m_name;
  KEP_ROUTING_OP m_op;
  FIELD_SET m_required;
  FIELD_SET m_optional;
};

constexpr OP_INFO OPS[] = {
    {"add_port_edge",
     KEP_ROUTING_OP::ADD_PORT_EDGE,
     {FIELD::MODULE, FIELD::INPUT, FIELD::OUTPUT},
     {FIELD::VIEW, FIELD::HIPI, FIELD::FLAG}},
    {"add_routing_flyover",
     KEP_ROUTING_OP::ADD_ROUTING_FLYOVER,
     {FIELD::MODULE, FIELD::INPUT, FIELD::OUTPUT},
     {FIELD::VIEW}},
    {"add_routing_root", KEP_ROUTING_OP::ADD_ROUTING_ROOT, {FIELD::MODULE, FIELD::ROOT_VIEW}, {FIELD::VIEW}},
    {"add_inserted_node",
     KEP_ROUTING_OP::ADD_INSERTED_NODE,
     {FIELD::MODULE, FIELD::PORT},
     {FIELD::VIEW, FIELD::NAME}},
    {"add_remove_node", KEP_ROUTING_OP::ADD_REMOVE_NODE, {FIELD::MODULE, FIELD::PORT}, {FIELD::VIEW}},
    {"add_tunnel_type", KEP_ROUTING_OP::ADD_TUNNEL_TYPE, {FIELD::MODULE, FIELD::TUNNEL}, {FIELD::VIEW}},
    {"add_module_is_not_template",
     KEP_ROUTING_OP::ADD_MODULE_IS_NOT_TEMPLATE,
     {FIELD::MODULE},
     {FIELD::VIEW}},
    {"disable_merge", KEP_ROUTING_OP::DISABLE_MERGE, {FIELD::MODULE, FIELD::PORT}, {FIELD::VIEW}},
    {"set_skip_paths",
     KEP_ROUTING_OP::SET_SKIP_PATHS,
     {FIELD::MODULE, FIELD::SKIP},
     {FIELD::VIEW, FIELD::INSTANCE}},
    {"add_skip_paths_to_output_port",
     KEP_ROUTING_OP::ADD_SKIP_PATHS_TO_OUTPUT_PORT,
     {FIELD::MODULE, FIELD::PORT},
     {FIELD::VIEW}},
    {"set_non_template_mux_skip_path_inst_name_pattern",
     KEP_ROUTING_OP::SET_NON_TEMPLATE_MUX_SKIP_PATH_INST_NAME_PATTERN,
     {FIELD::PATTERN},
     {}},
    {"add_wire_type",
     KEP_ROUTING_OP::ADD_WIRE_TYPE,
     {FIELD::NAME, FIELD::MODULE, FIELD::PATH},
     {FIELD::FLAGS, FIELD::VIEW}},
    {"set_spare_row", KEP_ROUTING_OP::SET_SPARE_ROW, {FIELD::INSTANCE}, {}},
};

const OP_INFO& find_op(simdjson::dom::object statement) {
  std::optional<simdjson::dom::element> op;
  for (const auto [key, value] : statement) {
    if (key != "op") continue;
    if (op) kep_routing_refuse("\"op\" stands there twice");
    op = value;
  }
  if (!op) kep_routing_refuse("\"op\" is missing");
  std::string_view name;
  if (op->get(name) != simdjson::SUCCESS) kep_routing_refuse("\"op\" is no text");
  for (const OP_INFO& info : OPS)
    if (info.m_name == name) return info;
  kep_routing_refuse("unknown op \"{}\"", name);
}

unsigned find_field(const OP_INFO& op, std::string_view name) {
  for (unsigned field = 0; field != KEP_NUM_ROUTING_FIELDS; ++field)
    if (FIELDS[field].m_name == name && (op.m_required.has(field) || op.m_optional.has(field))) return field;
  kep_routing_refuse("{} has no field \"{}\"", op.m_name, name);
}

} // namespace

KEP_ROUTING_STATEMENT::KEP_ROUTING_STATEMENT(simdjson::dom::element line) {
  simdjson::dom::object object;
  if (line.get(object) != simdjson::SUCCESS) kep_routing_refuse("no JSON object");
  const OP_INFO& op = find_op(object);
  m_op = op.m_op;
  for (const auto [key, value] : object)
    if (key != "op") read_field(find_field(op, key), value);
  for (unsigned field = 0; field != KEP_NUM_ROUTING_FIELDS; ++field)
    if (op.m_required.has(field) && !m_given[field])
      kep_routing_refuse("{}: \"{}\" is missing", op.m_name, FIELDS[field].m_name);
}

void KEP_ROUTING_STATEMENT::read_field(unsigned field, simdjson::dom::element value) {
  const FIELD_INFO& info = FIELDS[field];
  if (m_given[field]) kep_routing_refuse("\"{}\" stands there twice", info.m_name);
  m_given[field] = true;
  switch (info.m_type) {
  case TYPE::TEXT:
    if (value.get(m_texts[field]) != simdjson::SUCCESS) kep_routing_refuse("\"{}\" is no text", info.m_name);
    break;
  case TYPE::BOOL: {
    bool flag = false;
    if (value.get(flag) != simdjson::SUCCESS)
      kep_routing_refuse("\"{}\" is neither true nor false", info.m_name);
    m_numbers[field] = flag;
    break;
  }
  case TYPE::NUMBER: {
    std::uint64_t number = 0;
    if (value.get(number) != simdjson::SUCCESS || number > info.m_max)
      kep_routing_refuse("\"{}\" is no integer from 0 to {}", info.m_name, info.m_max);
    m_numbers[field] = static_cast<unsigned char>(number);
    break;
  }
  }
}
