#include "kep_io/kep_database_file.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/device/database_info.h"
#include "tools/kep-rg/output/plain_output.h"

#include <memory>
#include <ostream>
#include <string>

namespace {

/// What `kep-rg info` was asked for.
struct INFO_OPTIONS {
  std::string m_database;
  bool m_is_json = false;
};

} // namespace

COMMAND add_info_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "info", "Say what is in a device database and how it was made, without opening the device");
  const auto options = std::make_shared<INFO_OPTIONS>();
  add_text(*command, "DATABASE", options->m_database, "DEVICE.kdb", "The device database")->required();
  command->add_flag("--json", options->m_is_json, "Print one JSON object (docs/formats.md)");
  add_version(*command);
  return {command, [options] {
            const KEP_DATABASE_INFO info_of_file = kep_read_database_info(options->m_database);
            info() << (options->m_is_json ? format_json(info_of_file, options->m_database)
                                          : format_text(info_of_file, options->m_database))
                   << std::flush;
            return true;
          }};
}
