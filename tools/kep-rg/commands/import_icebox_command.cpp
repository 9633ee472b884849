#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/import_icebox/import_icebox.h"

#include <memory>
#include <string>

namespace {

/// What `kep-rg import-icebox` was asked for.
struct IMPORT_ICEBOX_OPTIONS {
  std::string m_chipdb;
  std::string m_model;
  std::string m_routing;
};

} // namespace

COMMAND add_import_icebox_command(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("import-icebox", "Make a device model from a chip database in text form");
  const auto options = std::make_shared<IMPORT_ICEBOX_OPTIONS>();
  command->add_option("CHIPDB", options->m_chipdb, "The chip database")->required()->type_name("CHIPDB.txt");
  command->add_option("--model", options->m_model, "The device model to write")
      ->required()
      ->type_name("MODEL.json");
  command->add_option("--routing", options->m_routing, "The routing description to write")
      ->required()
      ->type_name("ROUTING.jsonl");
  add_version(*command);
  return {command, [options] {
            import_icebox(options->m_chipdb, options->m_model, options->m_routing);
            return true;
          }};
}
