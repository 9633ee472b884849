#include "tools/kep-rg/check_command.h"

#include "kep/kep_routing_graph.h"
#include "kep_report/kep_report.h"
#include "kep_rg/kep_rg_post_checks.h"
#include "tools/kep-rg/prove_graph.h"
#include "tools/kep-rg/trace_edges.h"

#include <fmt/format.h>
#include <tbb/task_arena.h>

#include <memory>
#include <string>

namespace {

/// The checks of redundant edges, then the others; which of them found something.
std::string run_post_checks(KEP_DB* db, bool verbose, bool check_count, bool& clean) {
  KEP_RG_POST_CHECKS checks(db, verbose);
  unsigned num_clean = 0;
  unsigned num_findings = 0;
  const auto count = [&](bool result) { ++(result ? num_clean : num_findings); };
  count(checks.test_redundant_edges());
  if (check_count) count(checks.test_redundant_edge_count());
  count(checks.test_hipi_api());
  count(checks.test_graph_connectivity());
  clean = num_findings == 0;
  std::string text =
      fmt::format("Checked the graph: {} checks clean, {} with findings", num_clean, num_findings);
  if (!check_count) text += "; the number of redundant edges is not checked, since there are none";
  return text;
}

} // namespace

bool run_checks(KEP_DB* db, const DEVICE_OPTIONS& options, BUILD_STATS& stats) {
  const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "check");
  const bool check_count =
      !options.m_redundancy.empty() || db->get_routing_template_graph()->get_num_redundant_edges() != 0;
  bool clean = true;
  tbb::task_arena arena(options.m_num_threads, 1);
  const std::string text =
      arena.execute([&] { return run_post_checks(db, options.m_verbose, check_count, clean); });
  KEP_REPORT::print_info(text.c_str());
  return clean;
}

bool run_traces(KEP_DB* db, const DEVICE_OPTIONS& options, BUILD_STATS& stats) {
  const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "trace");
  const TRACE_TALLY tally =
      trace_all_edges(*db, options.m_num_threads, options.m_nodes_per_display, options.m_verbose);
  return report_traces(tally, *db->get_routing_template_graph());
}

bool check_command(const CHECK_OPTIONS& options) {
  check_outputs(options.m_device, {options.m_stats});
  BUILD_STATS stats;
  const std::unique_ptr<KEP_DB> db = read_device(options.m_device, stats);
  DEVICE_OPTIONS build_options = options.m_device;
  build_options.m_verbose = false; // what is to be listed are findings
  build_graph(db.get(), build_options, stats);
  bool clean = run_checks(db.get(), options.m_device, stats);
  clean &= options.m_prove ? prove_graph(db.get(), options.m_device, stats)
                           : run_traces(db.get(), options.m_device, stats);
  if (!options.m_stats.empty()) write_stats(stats, *db->get_routing_template_graph(), options.m_stats);
  return clean;
}
