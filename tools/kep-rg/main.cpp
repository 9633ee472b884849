#include "kep/kep_db.h"
#include "kep_io/files/kep_interrupts.h"
#include "kep_io/kep_io_error.h"
#include "kep_report/kep_report.h"
#include "kep_report/kep_report_assert.h"
#include "kep_rg/kep_rg_exception.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/output/standard_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

enum EXIT_STATUS { CLEAN = 0, FINDING = 1, BAD_INPUT = 2, INTERNAL_FAILURE = 3 };

int tell(EXIT_STATUS status, std::string line) {
  while (!line.empty() && line.back() == '\n')
    line.pop_back();
  std::cout << std::flush;
  std::cerr << "kep-rg: " << KEP_IO_ERROR(line).what() << std::endl; // one failure, one line
  return status;
}

/// Runs the command that the words ask for.
int run(int argc, char** argv) {
  CLI::App app("Routing graphs of programmable-logic devices", "kep-rg");
  add_version(app);
  app.require_subcommand(1);
  const std::vector<COMMAND> commands = add_commands(app);
  const std::string first = argc > 1 ? argv[1] : "";
  const bool is_command = std::any_of(commands.begin(), commands.end(), [&first](const COMMAND& command) {
    return command.m_parser->get_name() == first;
  });
  if (!first.empty() && first.front() != '-' && !is_command)
    return tell(BAD_INPUT, fmt::format("unknown command \"{}\" (see kep-rg --help)", first));
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& wish) { // help or version
    std::ostringstream text;
    app.exit(wish, text, text);
    KEP_REPORT::info("%s", text.str().c_str());
    return CLEAN;
  } catch (const CLI::ParseError& error) {
    return tell(BAD_INPUT,
                fmt::format("{} (see kep-rg {}--help)", error.what(), is_command ? first + " " : ""));
  }
  const auto chosen = std::find_if(commands.begin(), commands.end(),
                                   [](const COMMAND& command) { return command.m_parser->parsed(); });
  return chosen->m_run() ? CLEAN : FINDING;
}

int run_and_tell(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const KEP_REPORT_ASSERTION_FAILURE&) { // told already
    return INTERNAL_FAILURE;
  } catch (const KEP_EXCEPTION& error) {
    return tell(BAD_INPUT, kep_rg_get_reason(error));
  } catch (const std::bad_alloc&) {
    return tell(INTERNAL_FAILURE, "out of memory");
  } catch (const std::runtime_error& error) { // input that a reader, a writer or the database refused
    return tell(BAD_INPUT, error.what());
  } catch (const std::exception& error) {
    return tell(INTERNAL_FAILURE, error.what());
  }
}

} // namespace

int main(int argc, char** argv) {
  // A stream that is closed must not lend its number to a file that the tool writes. Nothing can be written
  // to these, which is told at the end.
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (::fcntl(stream, F_GETFD) == -1) ::open("/dev/null", O_RDONLY);
  kep_handle_interrupts();
  watch_standard_output();
  const int status = run_and_tell(argc, argv);
  const int lost = finish_standard_output();
  if (lost != 0 && (status == CLEAN || status == FINDING))
    return tell(BAD_INPUT, fmt::format("standard output: can't be written: {}; what was printed is lost, in "
                                       "whole or in part",
                                       std::strerror(lost)));
  return status;
}
