#include "kep_io/text/kep_json_text.h"
#include "kep_report/kep_report.h"
#include "kep_report/kep_report_number.h"
#include "tools/kep-rg/ask/net_report.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/commands/node_words.h"
#include "tools/kep-rg/output/plain_output.h"
#include "tools/kep-rg/output/table_output.h"

#include <fmt/format.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace {

std::string count(std::uint64_t number, const std::string& what) {
  return fmt::format("{} {}{}", KEP_REPORT::group_digits(number), what, number == 1 ? "" : "s");
}

/// A bidirectional point drives and reads.
std::uint64_t get_num_drivers(const NET_REPORT& report) {
  return report.get_number(NET_ROLE::DRIVES) + report.get_number(NET_ROLE::BOTH);
}
std::uint64_t get_num_readers(const NET_REPORT& report) {
  return report.get_number(NET_ROLE::READS) + report.get_number(NET_ROLE::BOTH);
}

void print(const NET_REPORT& report, const std::string& name) {
  info() << fmt::format("# {}: {}, {}, {}, {}", name, count(report.get_nets().size(), "net"),
                        count(get_num_drivers(report), "driver"), count(get_num_readers(report), "reader"),
                        count(report.get_num_mux_inputs(), "mux input"))
         << (report.get_num_mux_inputs() == 0 ? "" : " among them") << std::endl;
  TABLE_OUTPUT table(NET_REPORT::get_columns(), false);
  report.list(table);
  table.finish();
}

void print_json(const NET_REPORT& report) {
  info() << fmt::format(
      "\n{{\"nets\": {}, \"drivers\": {}, \"readers\": {}, \"mux_inputs\": {}, \"points\": ",
      report.get_nets().size(), get_num_drivers(report), get_num_readers(report),
      report.get_num_mux_inputs());
  TABLE_OUTPUT table(NET_REPORT::get_columns(), true);
  report.list(table);
  table.finish();
  info() << "}";
}

/// False for a port position without a net.
bool tell_nets(const KEP_DB& db, const std::string& name, bool is_json) {
  const auto groups = find_joined_groups(get_nets(db, name));
  if (is_json) info() << fmt::format("{{\"name\": {}, \"joined\": [", kep_get_json_text(name));
  bool is_first = true;
  for (const std::vector<KEP_UNFOLDED_NET>& group : groups) {
    const NET_REPORT report(db, group);
    if (is_json && !is_first) info() << ",";
    is_first = false;
    is_json ? print_json(report) : print(report, name);
  }
  if (is_json)
    info() << "]}" << std::endl;
  else if (groups.empty())
    info() << "No net is connected to " << name << std::endl;
  return !groups.empty();
}

} // namespace

COMMAND add_net_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "net",
      "Tell what hangs on a net of a device, or on the net of a node: all nets that are joined with it "
      "through the hierarchy, what drives them, what reads them");
  const auto device = std::make_shared<DEVICE_OPTIONS>();
  const auto words = std::make_shared<NODE_WORDS>(std::vector<std::string>{"NET-OR-NODE"});
  const auto is_json = std::make_shared<bool>(false);
  words->add_to(*command,
                "The device model and its routing descriptions, or a device database, and the full name of a "
                "net, a/b/n, or of a node or any other port position, a/b:c, or :p for a port of the top");
  command->add_flag("--json", *is_json, "Print one JSON object");
  add_device_options(*command, *device);
  command->footer(
      "Exit status: 0 told; 1 no net is connected to the port position; 2 bad input or bad use, a "
      "name of neither a net nor a port among it; 3 an internal failure.");
  return {command, [device, words, is_json] {
            const std::string name = words->take(*device)[0];
            return answer_on_device(*device, [&](const KEP_DB& db) { return tell_nets(db, name, *is_json); });
          }};
}
