#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

/// A command of the tool: its parser, and what it does with the options that this has parsed.
struct COMMAND {
  const CLI::App* m_parser;
  std::function<bool()> m_run; ///< false when it made a finding; what it refuses is an exception
};

// Each adds the command of that name to the parser of the tool.
COMMAND add_build_command(CLI::App& app);
COMMAND add_check_command(CLI::App& app);
COMMAND add_merge_command(CLI::App& app);
COMMAND add_trace_command(CLI::App& app);
COMMAND add_debug_command(CLI::App& app);
COMMAND add_next_command(CLI::App& app);
COMMAND add_path_command(CLI::App& app);
COMMAND add_nodes_command(CLI::App& app);
COMMAND add_net_command(CLI::App& app);
COMMAND add_diff_command(CLI::App& app);
COMMAND add_info_command(CLI::App& app);
COMMAND add_view_command(CLI::App& app);
COMMAND add_describe_command(CLI::App& app);
COMMAND add_import_icebox_command(CLI::App& app);
COMMAND add_export_command(CLI::App& app);
COMMAND add_generate_command(CLI::App& app);

/// All of them, in the order of the help.
std::vector<COMMAND> add_commands(CLI::App& app);

/// "--version", of the tool and of each command.
void add_version(CLI::App& command);

/// An option, or a word without a name of its own, that is a text and not an empty one: a path or a pattern.
template <class TEXT>
CLI::Option* add_text(CLI::App& command, const std::string& name, TEXT& text, const std::string& type,
                      const std::string& help) {
  return command.add_option(name, text, help)
      ->type_name(type)
      ->check([](const std::string& given) { return given.empty() ? "must not be empty" : ""; }, "");
}
