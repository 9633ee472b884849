#include "tools/kep-rg/checks/merge_findings.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

/// What `kep-rg merge` was asked for.
struct MERGE_OPTIONS {
  std::vector<std::string> m_files;
  std::vector<std::string> m_waive;
  bool m_is_quiet = false;
};

bool merge(const MERGE_OPTIONS& options) {
  const WAIVED_KINDS waived = get_waived_kinds(options.m_waive); // a wrong id is told before anything is read
  std::vector<FINDINGS_PART> parts;
  parts.reserve(options.m_files.size());
  for (const std::string& file : options.m_files)
    parts.push_back(read_findings(file));
  FINDINGS_PART whole = merge_findings(std::move(parts));
  whole.m_waived.insert(waived.begin(), waived.end());
  return report_findings(whole, options.m_is_quiet, std::cout);
}

} // namespace

COMMAND add_merge_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "merge", "Put together what the parts of a divided check found, and give the verdict");
  const auto options = std::make_shared<MERGE_OPTIONS>();
  add_text(*command, "FINDINGS", options->m_files, "FILE.json",
           "The findings of all parts, as kep-rg check --findings wrote them, in any order")
      ->required();
  add_waive(*command, options->m_waive);
  command->add_flag("-q", options->m_is_quiet, "Say nothing unless something was found");
  add_version(*command);
  command->footer(EXIT_STATUS_TEXT);
  return {command, [options] { return merge(*options); }};
}
