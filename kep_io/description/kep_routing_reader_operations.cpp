#include "kep_io/description/kep_routing_reader_operations.h"

#include "kep/kep_routing_graph.h"
#include "kep_io/text/kep_view_name.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace {

using FIELD = KEP_ROUTING_FIELD;

/// A name as the look-ups take it. No name of a model holds a NUL, so a text that does becomes no name at
/// all.
std::string as_name(std::string_view text) {
  return std::string(text.find('\0') == std::string_view::npos ? text : std::string_view());
}

std::vector<std::string_view> split_path(std::string_view path) {
  std::vector<std::string_view> segments;
  for (std::size_t begin = 0; (begin = path.find_first_not_of("/:", begin)) != std::string_view::npos;) {
    const std::size_t end = std::min(path.find_first_of("/:", begin), path.size());
    segments.push_back(path.substr(begin, end - begin));
    begin = end;
  }
  return segments;
}

/// The view of a module in which a path goes on; null if the rank has none of it.
const KEP_MODULE* view_for_path(const KEP_MODULE* module) {
  return module->has_trait(KEP_MODULE::TRAIT::IP_ROOT)
             ? KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank.find_view(module)
             : module;
}

/// A relative port below `top`: instances, which are tried first, and a port behind them. A path of one name
/// is a port of `top` itself; a longer one enters `top` as it enters every module on its way.
KEP_RELATIVE_PATH find_relative_path(const KEP_MODULE* top, std::string_view path) {
  const std::vector<std::string_view> segments = split_path(path);
  std::vector<KEP_INSTANCE*> chain;
  const KEP_MODULE* module = segments.size() > 1 ? view_for_path(top) : top;
  while (module && chain.size() != segments.size()) {
    KEP_INSTANCE* instance = module->find_instance(as_name(segments[chain.size()]).c_str());
    if (!instance) break;
    chain.push_back(instance);
    module = view_for_path(instance->get_module());
  }
  if (chain.size() == segments.size())
    kep_routing_refuse("no port \"{}\" below module \"{}\": the path names no port", path,
                       top->get_plain_name());
  const std::string_view segment = segments[chain.size()];
  const KEP_MODULE* last = chain.empty() ? top : chain.back()->get_module();
  if (chain.size() + 1 != segments.size())
    kep_routing_refuse("no port \"{}\" below module \"{}\": no instance \"{}\" in module \"{}\"", path,
                       top->get_plain_name(), segment, last->get_plain_name());
  const KEP_PORT* port = last->find_port(as_name(segment).c_str());
  if (!port)
    kep_routing_refuse("no port \"{}\" below module \"{}\": no port \"{}\" in module \"{}\"", path,
                       top->get_plain_name(), segment, last->get_plain_name());
  const KEP_RELATIVE_PATH relative_path = KEP_RELATIVE_PATH::create(chain, port);
  if (!relative_path)
    kep_routing_refuse("no port \"{}\" below module \"{}\": the path does not hang together", path,
                       top->get_plain_name());
  return relative_path;
}

/// A signal comes in at the input of an arc and goes out at its output.
std::string find_wrong_direction(const KEP_PORT* input, const KEP_PORT* output) {
  const bool begins_at_output = input->is_output();
  const bool ends_at_input = output->is_input();
  const char* module = input->get_parent()->get_plain_name();
  if (begins_at_output && ends_at_input)
    return fmt::format("the arc goes from an output to an input of module \"{}\": from \"{}\" to \"{}\"",
                       module, input->get_plain_name(), output->get_plain_name());
  if (begins_at_output)
    return fmt::format("the arc begins at \"{}\", an output of module \"{}\"", input->get_plain_name(),
                       module);
  if (ends_at_input)
    return fmt::format("the arc ends at \"{}\", an input of module \"{}\"", output->get_plain_name(), module);
  return {};
}

} // namespace

KEP_ROUTING_OPERATIONS::KEP_ROUTING_OPERATIONS(KEP_DB* db, KEP_RG_PARSE& parse)
    : m_db(db), m_parse(parse), m_store(db->get_routing_template_graph()->get_routing_primitive()) {}

void KEP_ROUTING_OPERATIONS::carry_out(const KEP_ROUTING_STATEMENT& statement) {
  m_warning.clear();
  switch (statement.get_op()) {
  case KEP_ROUTING_OP::ADD_PORT_EDGE:
    return add_port_edge(statement);
  case KEP_ROUTING_OP::ADD_ROUTING_FLYOVER:
    return m_parse.add_routing_flyover(get_port(statement, FIELD::INPUT), get_port(statement, FIELD::OUTPUT));
  case KEP_ROUTING_OP::ADD_ROUTING_ROOT:
    return add_routing_root(statement);
  case KEP_ROUTING_OP::ADD_INSERTED_NODE:
    return m_parse.add_inserted_node(std::string(statement.get_text(FIELD::NAME)),
                                     get_port(statement, FIELD::PORT));
  case KEP_ROUTING_OP::ADD_REMOVE_NODE:
    return m_store->add_remove_node(get_port(statement, FIELD::PORT));
  case KEP_ROUTING_OP::ADD_TUNNEL_TYPE:
    return m_parse.add_tunnel_type(get_module(statement), static_cast<KEP_ROUTING_PRIMITIVE_TUNNEL>(
                                                              statement.get_number(FIELD::TUNNEL)));
  case KEP_ROUTING_OP::ADD_MODULE_IS_NOT_TEMPLATE:
    return m_parse.add_module_is_not_template(get_module(statement));
  case KEP_ROUTING_OP::DISABLE_MERGE:
    return m_parse.disable_merge(get_port(statement, FIELD::PORT));
  case KEP_ROUTING_OP::SET_SKIP_PATHS:
    return set_skip_paths(statement);
  case KEP_ROUTING_OP::ADD_SKIP_PATHS_TO_OUTPUT_PORT:
    return m_parse.add_skip_paths_to_output_port(get_port(statement, FIELD::PORT));
  case KEP_ROUTING_OP::SET_NON_TEMPLATE_MUX_SKIP_PATH_INST_NAME_PATTERN:
    return m_parse.set_non_template_mux_skip_path_inst_name_pattern(
        std::string(statement.get_text(FIELD::PATTERN)));
  case KEP_ROUTING_OP::ADD_WIRE_TYPE:
    return add_wire_type(statement);
  case KEP_ROUTING_OP::SET_SPARE_ROW:
    return set_spare_row(statement);
  }
}

void KEP_ROUTING_OPERATIONS::add_port_edge(const KEP_ROUTING_STATEMENT& statement) {
  KEP_PORT* input = get_port(statement, FIELD::INPUT);
  KEP_PORT* output = get_port(statement, FIELD::OUTPUT);
  m_warning = find_wrong_direction(input, output);
  m_parse.add_port_edge(input, output,
                        static_cast<KEP_ROUTING_PRIMITIVE_HIPI>(statement.get_number(FIELD::HIPI)),
                        statement.get_bool(FIELD::FLAG));
}

void KEP_ROUTING_OPERATIONS::add_routing_root(const KEP_ROUTING_STATEMENT& statement) {
  KEP_MODULE* module = get_module(statement);
  const std::string_view name = statement.get_text(FIELD::ROOT_VIEW);
  // The operation decides which views it takes, so every view that has a name is passed on.
  const std::optional<KEP_VIEW_TYPE> view =
      name == "DEFAULT_VIEW" ? std::optional(KEP_VIEW_TYPE::DEFAULT_VIEW) : kep_find_view(name);
  if (!view) kep_routing_refuse("unknown view \"{}\"", name);
  if (!module->has_trait(KEP_MODULE::TRAIT::IP_ROOT))
    kep_routing_refuse("module \"{}\" is no IP root, so it can't be a routing root",
                       module->get_plain_name());
  m_parse.add_routing_root(module, static_cast<unsigned char>(*view));
}

void KEP_ROUTING_OPERATIONS::set_skip_paths(const KEP_ROUTING_STATEMENT& statement) {
  KEP_MODULE* module = get_module(statement);
  const bool skip = statement.get_bool(FIELD::SKIP);
  if (!statement.has(FIELD::INSTANCE)) return m_parse.set_skip_paths(module, skip);
  const std::string_view name = statement.get_text(FIELD::INSTANCE);
  KEP_INSTANCE* instance = module->find_instance(as_name(name).c_str());
  if (!instance) kep_routing_refuse("no instance \"{}\" in module \"{}\"", name, module->get_plain_name());
  m_parse.set_skip_paths(instance, skip);
}

void KEP_ROUTING_OPERATIONS::add_wire_type(const KEP_ROUTING_STATEMENT& statement) {
  const KEP_RELATIVE_PATH path = find_relative_path(get_module(statement), statement.get_text(FIELD::PATH));
  m_store->add_wire_type(path, std::string(statement.get_text(FIELD::NAME)),
                         statement.get_number(FIELD::FLAGS));
}

void KEP_ROUTING_OPERATIONS::set_spare_row(const KEP_ROUTING_STATEMENT& statement) {
  const std::string_view path = statement.get_text(FIELD::INSTANCE);
  const std::vector<KEP_UNFOLDED_INSTANCE> instances = m_db->find_unfolded_instances(as_name(path));
  if (instances.empty()) kep_routing_refuse("no instance \"{}\" below the top", path);
  for (const KEP_UNFOLDED_INSTANCE& instance : instances)
    m_db->get_legacy_api()->set_spare_row(instance, true);
}

KEP_MODULE* KEP_ROUTING_OPERATIONS::get_module(const KEP_ROUTING_STATEMENT& statement) const {
  const std::string_view view_name =
      statement.has(FIELD::VIEW) ? statement.get_text(FIELD::VIEW) : std::string_view("LOGICAL");
  const std::optional<KEP_VIEW_TYPE> view = kep_find_view(view_name);
  if (!view) kep_routing_refuse("unknown view \"{}\"", view_name);
  const std::string_view name = statement.get_text(FIELD::MODULE);
  const std::vector<KEP_MODULE*> modules = m_db->find_modules(as_name(name).c_str(), *view, true);
  if (modules.empty()) kep_routing_refuse("no module \"{}\" in view {}", name, view_name);
  return modules.front();
}

KEP_PORT* KEP_ROUTING_OPERATIONS::get_port(const KEP_ROUTING_STATEMENT& statement,
                                           KEP_ROUTING_FIELD field) const {
  const KEP_MODULE* module = get_module(statement);
  const std::string_view name = statement.get_text(field);
  KEP_PORT* port = module->find_port(as_name(name).c_str());
  if (!port) kep_routing_refuse("no port \"{}\" in module \"{}\"", name, module->get_plain_name());
  return port;
}
