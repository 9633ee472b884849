#include "kep/kep_paths.h"
#include "kep_io/kep_find_nodes.h"
#include "kep_io/text/kep_json_text.h"
#include "kep_report/kep_report.h"
#include "kep_report/kep_report_number.h"
#include "kep_rg/kep_rg_findings.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/commands/node_words.h"
#include "tools/kep-rg/output/plain_output.h"
#include "tools/kep-rg/output/table_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using KEP_REPORT::group_digits;
using KEP_ROUTING::NODE;
using KEP_ROUTING::NUMBERED_FWD_EDGE;
using KEP_ROUTING::NUMBERED_GRAPH;
using KEP_ROUTING::PATH_DIRECTION;
using KEP_ROUTING::PATH_RULES;
using KEP_ROUTING::SHORTEST_PATHS;
using NUMBERS = std::vector<std::uint32_t>;

/// What `kep-rg path` was asked for.
struct PATH_OPTIONS {
  std::vector<std::string> m_avoid;
  std::optional<std::uint32_t> m_max;
  std::optional<std::uint32_t> m_all_within;
  bool m_is_back = false;
  bool m_only_real = false;
  bool m_is_json = false;
};

std::string count_steps(std::uint64_t number) {
  return fmt::format("{} step{}", group_digits(number), number == 1 ? "" : "s");
}

/// Answers about the nodes of one device.
class PATH_ANSWER {
public:
  PATH_ANSWER(const KEP_DB& db, const PATH_OPTIONS& options)
      : m_db(db), m_graph(*db.get_routing_template_graph()), m_options(options) {}

  bool tell_path(const std::string& from_name, const std::string& to_name) {
    m_ends = {{from_name, "begins"}, {to_name, "ends"}};
    const NUMBERS from = find(from_name);
    const NUMBERS to = find(to_name);
    const PATH_RULES rules = get_rules();
    const SHORTEST_PATHS paths = find_shortest_paths(m_graph, from, to, rules, get_max());
    if (m_options.m_is_json)
      info() << fmt::format("{{\"from\": {}, \"to\": {}, \"found\": {}", kep_get_json_text(from_name),
                            kep_get_json_text(to_name), static_cast<bool>(paths));
    if (paths)
      m_options.m_is_json ? print_json(paths) : print(paths);
    else
      tell_reach(measure(from, PATH_DIRECTION::TO_FANOUTS, rules),
                 measure(to, PATH_DIRECTION::TO_FANINS, rules));
    if (m_options.m_is_json) info() << "}" << std::endl;
    return static_cast<bool>(paths);
  }

  void list_all(const std::string& name) {
    m_ends = {{name, "begins"}};
    KEP_ROUTING::REACH reach(m_graph, find(name),
                             m_options.m_is_back ? PATH_DIRECTION::TO_FANINS : PATH_DIRECTION::TO_FANOUTS,
                             get_rules());
    TABLE_OUTPUT table({"node", "kind", "steps"}, m_options.m_is_json);
    do
      for (const std::uint32_t number : reach.get_nodes()) {
        const NODE node = m_graph.get_graph().get_node(number);
        table.add(node.get_name(NAME_STYLE));
        table.add(get_kind_text(node));
        table.add(std::uint64_t{reach.get_steps()});
      }
    while (reach.get_steps() != *m_options.m_all_within && reach.step());
    table.finish();
  }

private:
  struct END {
    std::string m_name;
    const char* m_what;
  };
  struct REACHED {
    std::uint64_t m_num_nodes; ///< without those that it began with
    std::uint32_t m_steps;
  };

  std::uint32_t get_max() const { return m_options.m_max.value_or(KEP_ROUTING::ANY_NUMBER_OF_STEPS); }

  NUMBERS find(const std::string& name) const {
    const std::vector<NODE> nodes = kep_get_nodes(m_db, name);
    NUMBERS numbers;
    numbers.reserve(nodes.size());
    for (const NODE& node : nodes)
      numbers.push_back(m_graph.get_graph().get_index(node));
    return numbers;
  }

  PATH_RULES get_rules() const {
    PATH_RULES rules{{}, m_options.m_only_real};
    for (const std::string& name : m_options.m_avoid) {
      for (const END& end : m_ends)
        if (name == end.m_name)
          throw std::runtime_error(
              fmt::format("--avoid {}: the path {} there and can't avoid it", name, end.m_what));
      const NUMBERS nodes = find(name);
      rules.m_avoid.insert(rules.m_avoid.end(), nodes.begin(), nodes.end());
    }
    return rules;
  }

  REACHED measure(const NUMBERS& nodes, PATH_DIRECTION direction, const PATH_RULES& rules) const {
    KEP_ROUTING::REACH reach(m_graph, nodes, direction, rules);
    const std::uint64_t num_own = reach.get_num_reached();
    while (reach.get_steps() != get_max() && reach.step()) {
    }
    return {reach.get_num_reached() - num_own, reach.get_steps()};
  }

  NODE get_node(std::uint32_t number) const { return m_graph.get_graph().get_node(number); }

  /// The net from which the signal comes: outside of the mux input, else of the target; inside of an output
  /// that has one, and of a port of the top.
  static std::string get_net_text(const NUMBERED_FWD_EDGE& edge, const NODE& to) {
    KEP_UNFOLDED_INST_PORT uip = edge.get_mux_input();
    if (!uip) uip = to.get_unfolded_inst_port();
    KEP_UNFOLDED_NET net;
    if (!uip) {
      const KEP_PORT* port = to.get_port();
      return port && port->get_net() ? port->get_net()->get_name(NAME_STYLE) : "";
    }
    if (uip.m_object->is_output())
      net = uip.get_unfolded_port(KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank).get_unfolded_net();
    if (!net) net = uip.get_unfolded_net();
    return net.get_name(NAME_STYLE);
  }

  void print(const SHORTEST_PATHS& paths) const {
    info() << kep_rg_get_node_text(get_node(paths.m_start)) << std::endl;
    const std::size_t width = std::to_string(paths.m_edges.size()).size();
    std::size_t number = 0;
    for (const NUMBERED_FWD_EDGE& edge : paths.m_edges) {
      const NODE to = get_node(edge.get_fanout());
      info() << fmt::format("  {:{}}  {}, {}", ++number, width, kep_rg_get_node_text(to),
                            edge.is_redundant() ? "redundant" : "real");
      if (const KEP_UNFOLDED_INST_PORT mux_input = edge.get_mux_input())
        info() << ", through " << mux_input.get_name(NAME_STYLE);
      if (const std::string net = get_net_text(edge, to); !net.empty()) info() << ", net " << net;
      info() << std::endl;
    }
    info() << fmt::format("{}, {}{} shortest path{}", count_steps(paths.m_edges.size()),
                          paths.m_num_paths == SHORTEST_PATHS::MANY ? "at least " : "",
                          group_digits(paths.m_num_paths), paths.m_num_paths == 1 ? "" : "s")
           << std::endl;
  }

  void print_json(const SHORTEST_PATHS& paths) const {
    info() << fmt::format(", \"steps\": {}, \"shortest_paths\": {},\n\"path\": [", paths.m_edges.size(),
                          paths.m_num_paths);
    const NODE start = get_node(paths.m_start);
    info() << fmt::format("\n{{\"node\": {}, \"kind\": \"{}\"}}",
                          kep_get_json_text(start.get_name(NAME_STYLE)), get_kind_text(start));
    for (const NUMBERED_FWD_EDGE& edge : paths.m_edges) {
      const NODE to = get_node(edge.get_fanout());
      info() << fmt::format(
          ",\n{{\"node\": {}, \"kind\": \"{}\", \"class\": \"{}\", \"mux_input\": {}, \"net\": {}}}",
          kep_get_json_text(to.get_name(NAME_STYLE)), get_kind_text(to),
          edge.is_redundant() ? "redundant" : "real",
          kep_get_json_text(edge.get_mux_input().get_name(NAME_STYLE)),
          kep_get_json_text(get_net_text(edge, to)));
    }
    info() << "\n]";
  }

  void tell_reach(const REACHED& from, const REACHED& to) const {
    if (m_options.m_is_json) {
      info() << fmt::format(",\n\"from_reaches\": {{\"nodes\": {}, \"steps\": {}}},\n"
                            "\"to_is_reached_from\": {{\"nodes\": {}, \"steps\": {}}}",
                            from.m_num_nodes, from.m_steps, to.m_num_nodes, to.m_steps);
      return;
    }
    info() << fmt::format("No path{}{} from {} to {}{}",
                          m_options.m_max ? " of at most " + count_steps(*m_options.m_max) : "",
                          m_options.m_only_real ? " by real edges" : "", m_ends[0].m_name, m_ends[1].m_name,
                          m_options.m_avoid.empty()
                              ? ""
                              : fmt::format(" that avoids {}", fmt::join(m_options.m_avoid, ", ")))
           << std::endl;
    print_reach(m_ends[0].m_name + " reaches", from);
    print_reach(m_ends[1].m_name + " is reached from", to);
  }
  void print_reach(const std::string& what, const REACHED& reached) const {
    info() << "  " << what << ' ';
    if (reached.m_num_nodes == 0)
      info() << "no other node";
    else
      info() << fmt::format("{} other node{}, {} in {}", group_digits(reached.m_num_nodes),
                            reached.m_num_nodes == 1 ? "" : "s",
                            reached.m_num_nodes == 1 ? "that" : "the farthest", count_steps(reached.m_steps));
    info() << std::endl;
  }

  const KEP_DB& m_db;
  NUMBERED_GRAPH m_graph;
  const PATH_OPTIONS& m_options;
  std::vector<END> m_ends;
};

void add_options(CLI::App& command, PATH_OPTIONS& options) {
  const CLI::Range numbers(std::uint32_t{0}, std::numeric_limits<std::uint32_t>::max() - 1);
  add_text(command, "--avoid", options.m_avoid, "NODE ...",
           "Nodes that the path must not go through; takes all words up to the next option");
  CLI::Option* max =
      command.add_option("--max", options.m_max, "Look for paths of at most so many steps")->type_name("N");
  CLI::Option* all = command.add_option(
      "--all-within", options.m_all_within,
      "List all nodes that FROM reaches in so many steps, with their steps, as TSV; without TO");
  max->check(numbers);
  all->type_name("N")->check(numbers)->excludes(max);
  command
      .add_flag("--back", options.m_is_back,
                "With --all-within: list the nodes from which FROM is reached instead")
      ->needs(all);
  command.add_flag("--real", options.m_only_real, "Go by real edges alone; else redundant ones count, too");
  command.add_flag("--json", options.m_is_json, "Print JSON");
}

} // namespace

COMMAND add_path_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "path", "Find a shortest path from one node of a device to another, and tell how many there are");
  const auto device = std::make_shared<DEVICE_OPTIONS>();
  const auto words = std::make_shared<NODE_WORDS>(std::vector<std::string>{"FROM", "TO"});
  const auto options = std::make_shared<PATH_OPTIONS>();
  words->add_to(*command,
                "The device model and its routing descriptions, or a device database, and the names of "
                "two nodes as the dump has them: a/b:c, or :p for the boundary node of a port. A "
                "name stands for the plain node and for the hipi node at its place");
  add_options(*command, *options);
  add_device_options(*command, *device);
  command->footer(
      "Exit status: 0 there is a path, or a list was asked for; 1 there is none, and it is told how far each "
      "end reaches; 2 bad input or bad use, a name without a node among it; 3 an internal failure.");
  return {command, [device, words, options] {
            const std::vector<std::string> names = words->take(*device, options->m_all_within ? 1 : 2);
            return answer_on_device(*device, [&](const KEP_DB& db) {
              PATH_ANSWER answer(db, *options);
              if (!options->m_all_within) return answer.tell_path(names[0], names[1]);
              answer.list_all(names[0]);
              return true;
            });
          }};
}
