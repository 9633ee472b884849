#include "kep_io/kep_complete_name.h"
#include "kep_io/kep_database_file.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/device/database_info.h"
#include "tools/kep-rg/output/plain_output.h"

#include <memory>
#include <optional>
#include <ostream>
#include <string>

namespace {

/// What `kep-rg info` was asked for.
struct INFO_OPTIONS {
  std::string m_database;
  bool m_is_json = false;
  std::optional<std::string> m_beginning; ///< of a name that is to be completed
};

/// What the beginning of a name can become, a line each: none where there are so many that nobody would read
/// them.
void print_names(const INFO_OPTIONS& options) {
  constexpr std::size_t MAX_NAMES = 5000;
  const std::unique_ptr<KEP_DB> db = kep_open_database(options.m_database, KEP_DATABASE_CHECKSUMS::SKIP);
  for (const std::string& name : kep_complete_node_name(*db, *options.m_beginning, MAX_NAMES))
    if (name.find('\n') == std::string::npos) info() << name << '\n';
  info() << std::flush;
}

} // namespace

COMMAND add_info_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "info", "Say what is in a device database and how it was made, without opening the device");
  const auto options = std::make_shared<INFO_OPTIONS>();
  add_text(*command, "DATABASE", options->m_database, "DEVICE.kdb", "The device database")->required();
  command->add_flag("--json", options->m_is_json, "Print one JSON object (docs/formats.md)");
  command
      ->add_option("--complete", options->m_beginning,
                   "Print what the beginning of a node's name can become, one level further, a line each: "
                   "a/b/, a/b: and a/b:c; nothing when that is more than 5000 lines. For shells")
      ->type_name("TEXT")
      ->excludes("--json");
  add_version(*command);
  return {command, [options] {
            if (options->m_beginning) {
              print_names(*options);
              return true;
            }
            const KEP_DATABASE_INFO info_of_file = kep_read_database_info(options->m_database);
            info() << (options->m_is_json ? format_json(info_of_file, options->m_database)
                                          : format_text(info_of_file, options->m_database))
                   << std::flush;
            return true;
          }};
}
