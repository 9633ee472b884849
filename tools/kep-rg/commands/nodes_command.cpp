#include "tools/kep-rg/ask/list_nodes.h"
#include "tools/kep-rg/ask/node_filter.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/output/table_output.h"

#include <memory>
#include <string>

namespace {

/// What `kep-rg nodes` was asked for.
struct NODES_OPTIONS {
  NODE_QUERY m_query;
  bool m_is_json = false;
};

void add_condition(CLI::App& command, const std::string& name, NUMBER_CONDITION& condition,
                   const std::string& help) {
  command
      .add_option_function<std::string>(
          name, [&condition](const std::string& text) { condition = *find_number_condition(text); }, help)
      ->type_name("CONDITION")
      ->check(
          [](const std::string& text) {
            return find_number_condition(text)
                       ? ""
                       : text +
                             " is no condition that a number can meet; such are '>100', '<=3', 5 and 10..20";
          },
          "");
}

void add_options(CLI::App& command, NODES_OPTIONS& options) {
  NODE_QUERY& query = options.m_query;
  add_text(command, "--under", query.m_under, "INSTANCE",
           "Nodes at the ports of this instance and below it, a/b");
  add_text(
      command, "--module", query.m_module, "MODULE",
      "Nodes at ports of instances of this module, the one in the column of that name; a pattern as that "
      "of --name. A boundary node belongs to the top");
  add_condition(command, "--fanout", query.m_fanout,
                "Nodes with so many fanouts, real and redundant: '>100', '>=100', '<100', '<=100', 100 or "
                "10..20");
  add_condition(command, "--fanin", query.m_fanin, "Nodes with so many fanins");
  command.add_option("--kind", query.m_kind, "Nodes of this kind: uip, hipi or boundary")
      ->type_name("uip|hipi|boundary")
      ->check(CLI::IsMember({"uip", "hipi", "boundary"}).description(""));
  add_text(command, "--name", query.m_name, "GLOB",
           "Nodes whose full name fits: * stands for any text, / and : too, ? for a character, [0-3] for one "
           "of a set; brackets may stand for themselves");
  command.add_flag("--json", options.m_is_json, "Print a JSON array, an object a line");
}

} // namespace

COMMAND add_nodes_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "nodes", "List nodes of a device with their fanouts and fanins: all, or those that meet conditions");
  const auto device = std::make_shared<DEVICE_OPTIONS>();
  const auto options = std::make_shared<NODES_OPTIONS>();
  add_device_files(*command, *device);
  add_options(*command, *options);
  add_device_options(*command, *device);
  command->footer("Several conditions must all be met. Exit status: 0 listed, be it none; 2 bad input or bad "
                  "use, an instance or a module that is not there among it; 3 an internal failure.");
  return {command, [device, options] {
            return answer_on_device(*device, [&](const KEP_DB& db) {
              TABLE_OUTPUT table(get_node_columns(), options->m_is_json);
              list_nodes(db, options->m_query, table);
              table.finish();
              return true;
            });
          }};
}
