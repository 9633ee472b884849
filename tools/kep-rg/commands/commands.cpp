#include "tools/kep-rg/commands/commands.h"

std::vector<COMMAND> add_commands(CLI::App& app) {
  return {
      add_build_command(app),    add_check_command(app),    add_merge_command(app),
      add_view_command(app),     add_path_command(app),     add_nodes_command(app),
      add_net_command(app),      add_trace_command(app),    add_debug_command(app),
      add_next_command(app),     add_diff_command(app),     add_export_command(app),
      add_info_command(app),     add_describe_command(app), add_import_icebox_command(app),
      add_generate_command(app),
  };
}

void add_version(CLI::App& command) {
  command.set_version_flag("--version", "kep-rg " KEP_RG_VERSION);
}
