#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/describe/describe.h"

#include <memory>

COMMAND add_describe_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand("describe", "Describe modules as muxes by their names and ports");
  const auto options = std::make_shared<DESCRIBE_OPTIONS>();
  add_text(*command, "MODEL", options->m_model, "MODEL.json",
           "The device model, a hierarchical netlist in JSON")
      ->required();
  add_text(*command, "--mux", options->m_muxes, "'GLOB:IN>OUT'",
           "Modules whose names fit GLOB (*, ?, [...]) are muxes: an arc leads from every bit of port IN "
           "to every bit of port OUT, and their cells get inst headers. May be given more than once")
      ->required()
      ->allow_extra_args(false);
  add_text(*command, "--model", options->m_new_model, "OUT.json",
           "The device model with inst headers to write")
      ->required();
  add_text(*command, "--routing", options->m_routing, "OUT.jsonl", "The routing description to write")
      ->required();
  add_version(*command);
  return {command, [options] {
            describe(*options);
            return true;
          }};
}
