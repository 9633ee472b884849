#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_options.h"

#include <memory>

COMMAND add_generate_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand("generate", "Make a synthetic fabric of any size");
  const auto options = std::make_shared<GENERATE_OPTIONS>();
  add_generate_options(*command, *options);
  add_version(*command);
  return {command, [options] {
            generate(*options);
            return true;
          }};
}
