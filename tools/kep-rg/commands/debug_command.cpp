#include "kep_io/files/kep_atomic_file.h"
#include "kep_report/kep_report.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_debug.h"
#include "kep_rg/kep_rg_primitives.h"
#include "kep_rg/kep_rg_uui_observer.h"
#include "tools/kep-rg/commands/commands.h"
#include "tools/kep-rg/commands/device_command.h"
#include "tools/kep-rg/commands/node_words.h"
#include "tools/kep-rg/device/find_plain_node.h"
#include "tools/kep-rg/output/plain_output.h"
#include "tools/kep-rg/output/quiet.h"
#include "tools/kep-rg/output/walk_tree.h"

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace {

const char* const DRAW = "-";

/// What `kep-rg debug` was asked for.
struct DEBUG_OPTIONS {
  DEVICE_OPTIONS m_device;
  NODE_WORDS m_words{std::vector<std::string>{"UIP"}};
  std::string m_log; ///< file for the points of the walk; DRAW: a tree before the fanouts; empty: none
};

/// The lines of the log, into a file that tells when it can't be written.
class WALK_LOG : public KEP_UNFOLD_OBSERVER {
public:
  explicit WALK_LOG(const std::string& path) : m_file(path) {}

  void visit(const KEP_UNFOLDED_PORT& port, VISIT_TYPE type) override {
    m_file.out() << KEP_RG_UUI_OBSERVER::get_line(port, type);
  }
  void visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) override {
    m_file.out() << KEP_RG_UUI_OBSERVER::get_line(uip, type,
                                                  KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank);
  }
  void finish() { kep_commit_together({&m_file}); }

private:
  KEP_ATOMIC_FILE m_file;
};

/// The builder is verbose while it walks again, and what it tells of muxes is in the tree: it is shown only
/// to those who asked for such lines.
void walk(KEP_RG_BUILD& build, const KEP_ROUTING::NODE& node, KEP_UNFOLD_OBSERVER* observer,
          KEP_RG_DBG_FANOUTS& fanouts, bool verbose) {
  const LIBRARY_REPORT report(verbose);
  build.debug_edges(&fanouts, node.get_unfolded_inst_port(), false, observer);
}

void print_fanouts(const KEP_ROUTING::NODE& from, KEP_RG_DBG_FANOUTS& fanouts) {
  info() << "from\tfrom_kind\tto\tto_kind\tclass\tmux_input" << std::endl;
  const std::string name = from.get_name(NAME_STYLE);
  for (const KEP_RG_DBG_FANOUT* fanout : fanouts.iter()) {
    const KEP_ROUTING_BUILDER_NODE& to = *fanout->get_routing_node();
    info() << name << "\tuip\t" << to.get_name(NAME_STYLE) << "\t"
           << (to.is_boundary() ? "boundary"
               : to.is_hipi()   ? "hipi"
                                : "uip")
           << "\t" << (fanout->is_redundant() ? "redundant" : "real") << "\t"
           << fanout->get_mux_input().get_name(NAME_STYLE) << std::endl;
  }
}

/// Walks from a node once more and lists the fanouts that this gives. The log appears only when it is
/// complete.
void debug(const DEBUG_OPTIONS& options, const std::string& uip) {
  const bool draws = options.m_log == DRAW;
  keep_stats_off_standard_output(options.m_device);
  check_outputs(options.m_device, {draws ? std::string() : options.m_log});
  BUILD_STATS stats;
  const std::unique_ptr<KEP_DB> db = read_device(options.m_device, stats);
  // The builder stays: the targets are its nodes.
  const std::unique_ptr<KEP_RG_BUILD> build = build_and_keep(db.get(), options.m_device, stats);
  const KEP_ROUTING::NODE node = find_plain_node(*db, uip);
  KEP_RG_DBG_FANOUTS fanouts;
  if (draws) {
    const KEP_RG_PRIMITIVES primitives(db.get(), build->find_routing_primitive_cache());
    WALK_TREE tree(primitives, *db);
    walk(*build, node, &tree, fanouts, options.m_device.m_verbose);
    tree.print(info(), fanouts);
    info() << std::endl;
  } else {
    std::unique_ptr<WALK_LOG> log;
    if (!options.m_log.empty()) log = std::make_unique<WALK_LOG>(options.m_log);
    walk(*build, node, log.get(), fanouts, options.m_device.m_verbose);
    if (log) log->finish();
  }
  print_fanouts(node, fanouts);
  write_stats(*db, options.m_device, stats);
}

} // namespace

COMMAND add_debug_command(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("debug", "Build the routing graph of a device, walk once more from one "
                                  "node and list the fanouts that this gives, as the dump does");
  const auto options = std::make_shared<DEBUG_OPTIONS>();
  options->m_words.add_to(*command, NODE_WORDS::UIP_TEXT);
  add_device_options(*command, options->m_device);
  add_text(*command, "--log", options->m_log, "FILE",
           "Write each point of the walk into this file, a line a point; or draw the walk as a tree "
           "before the fanouts, for -");
  command->footer(
      "Exit status: 0 clean; 2 bad input or bad use, a name without a node among it; 3 an internal failure.");
  return {command, [options] {
            const std::string uip = options->m_words.take(options->m_device)[0];
            return run_on_device(options->m_device, [&] {
              debug(*options, uip);
              return true;
            });
          }};
}
