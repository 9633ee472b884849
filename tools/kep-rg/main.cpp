#include "kep/kep_db.h"
#include "kep_io/kep_io_error.h"
#include "kep_report/kep_report.h"
#include "kep_report/kep_report_assert.h"
#include "kep_rg/kep_rg_exception.h"
#include "tools/kep-rg/commands/build_command.h"
#include "tools/kep-rg/commands/check_command.h"
#include "tools/kep-rg/commands/debug_command.h"
#include "tools/kep-rg/commands/next_command.h"
#include "tools/kep-rg/commands/trace_command.h"
#include "tools/kep-rg/commands/word_options.h"
#include "tools/kep-rg/describe/describe.h"
#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_options.h"
#include "tools/kep-rg/import_icebox/import_icebox.h"
#include "tools/kep-rg/output/interrupts.h"
#include "tools/kep-rg/output/progress_line.h"
#include "tools/kep-rg/output/standard_output.h"

#include <CLI/CLI.hpp>
#include <tbb/global_control.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <limits>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int MAX_THREADS = 256; // as many as the thread library is sure to start

enum EXIT_STATUS { CLEAN = 0, FINDING = 1, BAD_INPUT = 2, INTERNAL_FAILURE = 3 };

constexpr const char* VERSION = "kep-rg " KEP_RG_VERSION;

int tell(EXIT_STATUS status, std::string line) {
  while (!line.empty() && line.back() == '\n')
    line.pop_back();
  std::cout << std::flush;
  std::cerr << "kep-rg: " << KEP_IO_ERROR(line).what() << std::endl; // one failure, one line
  return status;
}

struct IMPORT_OPTIONS {
  std::string m_chipdb;
  std::string m_model;
  std::string m_routing;
};

const CLI::Validator
    NOT_EMPTY([](const std::string& text) { return text.empty() ? "must not be empty" : ""; }, "");

const char* const EXIT_STATUS_TEXT =
    "Exit status: 0 clean; 1 a check made a finding; 2 bad input or bad use; 3 an internal failure.";

/// Runs a command on a device: with as many threads as were asked for, and showing how far it is to whoever
/// sits at a terminal and reads no report there.
template <class COMMAND>
EXIT_STATUS run_on_device(DEVICE_OPTIONS& options, const COMMAND& command) {
  options.m_num_threads = std::min(options.m_num_threads, MAX_THREADS);
  // Otherwise the thread library warns of threads that it will not start.
  const tbb::global_control threads(tbb::global_control::max_allowed_parallelism,
                                    static_cast<std::size_t>(options.m_num_threads));
  std::optional<PROGRESS_LINE> progress;
  if (!options.shows_report() && !options.m_quiet) progress.emplace(STDERR_FILENO);
  return command() ? CLEAN : FINDING;
}

void add_device_files(CLI::App& command, DEVICE_OPTIONS& options) {
  command
      .add_option("DEVICE", options.m_model,
                  "The device model, a hierarchical netlist in JSON; - for standard input")
      ->required();
  command.add_option("ROUTING", options.m_routing,
                     "Routing descriptions, one statement a line, read in this order");
}

void add_device_options(CLI::App& command, DEVICE_OPTIONS& options) {
  command.add_option("--redundancy", options.m_redundancy, "Redundancy data; may be given more than once")
      ->type_name("FILE")
      ->check(NOT_EMPTY)
      ->allow_extra_args(false);
  options.m_num_threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  command.add_option("-j", options.m_num_threads, "Threads; what comes out is the same for any number")
      ->type_name("N")
      ->check(CLI::Range(1, 4096))
      ->capture_default_str();
  command
      .add_option("--nodes-per-display", options.m_nodes_per_display,
                  "Step of the report's progress line, in nodes")
      ->type_name("N")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()))
      ->capture_default_str();
  command
      .add_option(
          "--stats", options.m_stats,
          "Write counters, times and sizes as JSON; - for standard output, where nothing else goes there")
      ->type_name("FILE.json")
      ->check(NOT_EMPTY);
  command.add_flag("--report", options.m_report, "Print the report lines of the library");
  command.add_flag("--verbose", options.m_verbose,
                   "Print these, a line for each target that has no node, and all findings of checks");
  command.add_flag("-q", options.m_quiet, "No summary and no progress");
  command.set_version_flag("--version", VERSION);
}

void add_verification(CLI::App& command, VERIFICATION& asked) {
  command.add_flag("--trace", asked.m_trace,
                   "Trace every edge through the model, too, and verify the trace. Traces of sound edges may "
                   "fail (docs/verification.md says where); edges at boundary nodes have none");
  command
      .add_option(
          "--waive", asked.m_waive,
          "Show findings of this kind, but let them not decide the exit status; may be given more than "
          "once")
      ->type_name("ID")
      ->allow_extra_args(false);
}

void add_build(CLI::App& app, BUILD_OPTIONS& options, EXIT_STATUS& status) {
  CLI::App* build = app.add_subcommand("build", "Build the routing graph of a device");
  add_device_files(*build, options.m_device);
  add_device_options(*build, options.m_device);
  build->add_option("--wire-paths", options.m_wire_paths, "Write the paths of the wires below routing roots")
      ->type_name("FILE")
      ->check(NOT_EMPTY);
  build->add_flag("--check", options.m_verification.m_check,
                  "Hold every node and edge against the model, and run the post checks of the graph");
  add_verification(*build, options.m_verification);
  build->add_option("--dump", options.m_dump, "Write nodes.tsv and edges.tsv into this folder")
      ->type_name("DIR")
      ->check(NOT_EMPTY);
  build->footer(EXIT_STATUS_TEXT);
  build->callback([&options, &status] {
    status = run_on_device(options.m_device, [&] { return build_command(options); });
  });
}

void add_check(CLI::App& app, CHECK_OPTIONS& options, EXIT_STATUS& status) {
  CLI::App* check = app.add_subcommand(
      "check", "Build the routing graph of a device, hold every node and edge against the model, "
               "and run the post checks");
  add_device_files(*check, options.m_device);
  add_device_options(*check, options.m_device);
  add_verification(*check, options.m_verification);
  check->footer(EXIT_STATUS_TEXT);
  check->callback([&options, &status] {
    status = run_on_device(options.m_device, [&] { return check_command(options); });
  });
}

void add_trace(CLI::App& app, TRACE_OPTIONS& options, NODE_WORDS& words, EXIT_STATUS& status) {
  CLI::App* trace = app.add_subcommand("trace", "Build the routing graph of a device and print the way of an "
                                                "edge through the hierarchy, a line for each hop");
  words.add_to(*trace,
               "The device model, its routing descriptions, and the names of the two nodes as the dump "
               "has them: a/b:c, or :p for the boundary node of a port. A name stands for the plain "
               "node and for the hipi node at its place");
  add_device_options(*trace, options.m_device);
  trace->footer(
      "Exit status: 0 the edge is there and its trace verifies, or it is an edge at a boundary node, "
      "which has none; 1 there is no such edge, or its trace does not verify; 2 bad input or bad use, a "
      "name without a node among it; 3 an internal failure.");
  trace->callback([&options, &words, &status] {
    const std::vector<std::string> names = words.take(options.m_device);
    options.m_from = names[0];
    options.m_to = names[1];
    status = run_on_device(options.m_device, [&] { return trace_command(options); });
  });
}

const char* const UIP_TEXT = "The device model, its routing descriptions, and the uip of a plain node, the "
                             "name that the dump has for it: a/b:c";

void add_debug(CLI::App& app, DEBUG_OPTIONS& options, NODE_WORDS& words, EXIT_STATUS& status) {
  CLI::App* debug =
      app.add_subcommand("debug", "Build the routing graph of a device, walk once more from one "
                                  "node and list the fanouts that this gives, as the dump does");
  words.add_to(*debug, UIP_TEXT);
  add_device_options(*debug, options.m_device);
  debug
      ->add_option("--log", options.m_log,
                   "Write each point of the walk into this file, a line a point; or draw the walk as a tree "
                   "before the fanouts, for -")
      ->type_name("FILE")
      ->check(NOT_EMPTY);
  debug->footer(
      "Exit status: 0 clean; 2 bad input or bad use, a name without a node among it; 3 an internal failure.");
  debug->callback([&options, &words, &status] {
    options.m_uip = words.take(options.m_device)[0];
    status = run_on_device(options.m_device, [&] {
      debug_command(options);
      return true;
    });
  });
}

void add_next(CLI::App& app, NEXT_OPTIONS& options, NODE_WORDS& words, EXIT_STATUS& status) {
  CLI::App* next = app.add_subcommand(
      "next", "Build the routing graph of a device and follow a plain wire from one node to the next");
  words.add_to(*next, UIP_TEXT);
  add_device_options(*next, options.m_device);
  next->footer("Exit status: 0 there is a next node; 1 there is none, and it is told why; 2 bad input or bad "
               "use, a name without a node among it; 3 an internal failure.");
  next->callback([&options, &words, &status] {
    options.m_uip = words.take(options.m_device)[0];
    status = run_on_device(options.m_device, [&] { return next_command(options); });
  });
}

void add_describe(CLI::App& app, DESCRIBE_OPTIONS& options) {
  CLI::App* describe = app.add_subcommand("describe", "Describe modules as muxes by their names and ports");
  describe->add_option("MODEL", options.m_model, "The device model, a hierarchical netlist in JSON")
      ->required()
      ->check(NOT_EMPTY)
      ->type_name("MODEL.json");
  describe
      ->add_option(
          "--mux", options.m_muxes,
          "Modules whose names fit GLOB (*, ?, [...]) are muxes: an arc leads from every bit of port IN "
          "to every bit of port OUT, and their cells get inst headers. May be given more than once")
      ->required()
      ->type_name("'GLOB:IN>OUT'")
      ->check(NOT_EMPTY)
      ->allow_extra_args(false);
  describe->add_option("--model", options.m_new_model, "The device model with inst headers to write")
      ->required()
      ->type_name("OUT.json")
      ->check(NOT_EMPTY);
  describe->add_option("--routing", options.m_routing, "The routing description to write")
      ->required()
      ->type_name("OUT.jsonl")
      ->check(NOT_EMPTY);
  describe->set_version_flag("--version", VERSION);
  describe->callback([&options] { ::describe(options); });
}

void add_import(CLI::App& app, IMPORT_OPTIONS& options) {
  CLI::App* command =
      app.add_subcommand("import-icebox", "Make a device model from a chip database in text form");
  command->add_option("CHIPDB", options.m_chipdb, "The chip database")->required()->type_name("CHIPDB.txt");
  command->add_option("--model", options.m_model, "The device model to write")
      ->required()
      ->type_name("MODEL.json");
  command->add_option("--routing", options.m_routing, "The routing description to write")
      ->required()
      ->type_name("ROUTING.jsonl");
  command->set_version_flag("--version", VERSION);
  command->callback([&options] { import_icebox(options.m_chipdb, options.m_model, options.m_routing); });
}

void add_generate(CLI::App& app, GENERATE_OPTIONS& options) {
  CLI::App* command = app.add_subcommand("generate", "Make a synthetic fabric of any size");
  add_generate_options(*command, options);
  command->set_version_flag("--version", VERSION);
  command->callback([&options] { generate(options, options.model, options.routing); });
}

bool is_command(const CLI::App& app, const std::string& word) {
  return !app.get_subcommands([&word](const CLI::App* command) { return command->get_name() == word; })
              .empty();
}

int run(int argc, char** argv) {
  CLI::App app("Routing graphs of programmable-logic devices", "kep-rg");
  app.set_version_flag("--version", VERSION);
  app.require_subcommand(1);
  EXIT_STATUS status = CLEAN;
  BUILD_OPTIONS build_options;
  CHECK_OPTIONS check_options;
  TRACE_OPTIONS trace_options;
  DEBUG_OPTIONS debug_options;
  NEXT_OPTIONS next_options;
  NODE_WORDS trace_words({"FROM", "TO"});
  NODE_WORDS debug_words({"UIP"});
  NODE_WORDS next_words({"UIP"});
  DESCRIBE_OPTIONS describe_options;
  IMPORT_OPTIONS import_options;
  GENERATE_OPTIONS generate_options;
  add_build(app, build_options, status);
  add_check(app, check_options, status);
  add_trace(app, trace_options, trace_words, status);
  add_debug(app, debug_options, debug_words, status);
  add_next(app, next_options, next_words, status);
  add_describe(app, describe_options);
  add_import(app, import_options);
  add_generate(app, generate_options);
  const std::string first = argc > 1 ? argv[1] : "";
  if (!first.empty() && first.front() != '-' && !is_command(app, first))
    return tell(BAD_INPUT, "unknown command \"" + first + "\" (see kep-rg --help)");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& wish) { // help or version
    std::ostringstream text;
    app.exit(wish, text, text);
    KEP_REPORT::info("%s", text.str().c_str());
    return CLEAN;
  } catch (const CLI::ParseError& error) {
    const std::string command = is_command(app, first) ? first + " " : "";
    return tell(BAD_INPUT, std::string(error.what()) + " (see kep-rg " + command + "--help)");
  }
  return status;
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
  handle_interrupts();
  watch_standard_output();
  const int status = run_and_tell(argc, argv);
  const int lost = finish_standard_output();
  if (lost != 0 && (status == CLEAN || status == FINDING))
    return tell(BAD_INPUT, std::string("standard output: can't be written: ") + std::strerror(lost) +
                               "; what was printed is lost, in whole or in part");
  return status;
}
