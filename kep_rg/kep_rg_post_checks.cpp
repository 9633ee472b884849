#include "kep_rg/kep_rg_post_checks.h"

#include "kep/common/kep_loop.h"
#include "kep/common/kep_tsan.h"
#include "kep_report/kep_report.h"
#include "kep_report/kep_report_assert.h"
#include "kep_rg/checks/kep_rg_connectivity_check.h"
#include "kep_rg/checks/kep_rg_print_rule.h"
#include "kep_rg/checks/kep_rg_rules.h"
#include "kep_rg/common/kep_rg_report.h"

#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_group.h>

#include <atomic>
#include <cstdint>

using KEP_RG_RULES::HIPI;
using KEP_ROUTING::FWD_EDGE;
using KEP_ROUTING::NODE;
using KEP_ROUTING::NODE_ITER_RANGE;

KEP_RG_POST_CHECKS::KEP_RG_POST_CHECKS(KEP_DB* db, bool verbose) : m_db(db), m_verbose(verbose) {
  KEP_ASSERT_EXPLAIN(m_db, "Null db pointer, cannot proceed with rg post checking.");
  m_graph = m_db->get_routing_template_graph();
}

KEP_RG_POST_CHECKS::KEP_RG_POST_CHECKS(const KEP_RG_POST_CHECKS&) = default;
KEP_RG_POST_CHECKS::KEP_RG_POST_CHECKS(KEP_RG_POST_CHECKS&&) noexcept = default;
KEP_RG_POST_CHECKS& KEP_RG_POST_CHECKS::operator=(const KEP_RG_POST_CHECKS&) = default;
KEP_RG_POST_CHECKS& KEP_RG_POST_CHECKS::operator=(KEP_RG_POST_CHECKS&&) noexcept = default;
KEP_RG_POST_CHECKS::~KEP_RG_POST_CHECKS() = default;

bool KEP_RG_POST_CHECKS::re_check_this_node(const NODE& node) {
  return KEP_RG_RULES::has_redundant_edge_beside_others(node);
}

bool KEP_RG_POST_CHECKS::test_redundant_edges() {
  for (const NODE& node : m_graph->iter_nodes())
    if (re_check_this_node(node) && !redundant_edges_have_one_real_on_same_path(node)) {
      kep_rg_print_rule("RG-NO-REAL-EDGE-FOR-REDUNDANT-EDGE");
      return false;
    }
  if (m_verbose) KEP_REPORT::print_info("All redundant edges have a real edge on the same path");
  return true;
}

/// Of several such fanouts the first one in the order of the edges is told, redundant edges before real ones.
bool KEP_RG_POST_CHECKS::redundant_edges_have_one_real_on_same_path(const NODE& node) {
  const KEP_RG_RULES::REAL_FANOUTS real_fanouts(node);
  if (!real_fanouts.has_doubled()) return true;

  const auto find_failing = [&](const auto& edges) {
    for (const FWD_EDGE& edge : edges) {
      const int count = real_fanouts.count(edge);
      if (count < 2) continue;
      kep_rg_print_rule("RG-ONE-REAL-EDGE-PER-NODE", count,
                        edge.get_fanout().get_unfolded_inst_port().get_name(KEP_RG_REPORT::NAME_STYLE));
      return true;
    }
    return false;
  };
  return !find_failing(node.iter_redundant_fanout()) && !find_failing(node.iter_real_fanout());
}

bool KEP_RG_POST_CHECKS::test_redundant_edge_count() {
  std::uint64_t num_real = 0;
  std::uint64_t num_redundant = 0;
  for (const NODE& node : m_graph->iter_nodes()) {
    std::uint64_t redundant = 0;
    for (const FWD_EDGE& edge : node.iter_redundant_fanout()) {
      KEP_ASSERT(edge.get_fanout());
      ++redundant;
    }
    num_real += node.get_num_edges() - redundant;
    num_redundant += redundant;
  }
  if (KEP_RG_RULES::are_enough_redundant(num_real, num_redundant)) return true;
  kep_rg_print_rule("RG-REDUNDANT-EDGE-COUNT-PREREQUISITE");
  return false;
}

namespace {

void print_hipi_finding(const char* condition) {
  kep_rg_print_rule("RG-HIPI-CHECK-FAILED", condition);
}

/// Goes on after a finding, but for a node that is not fed by its hipi node: that one ends the range. True
/// when all is well.
bool check_hipi(const NODE_ITER_RANGE& nodes) {
  bool result = true;
  for (const NODE& node : nodes) {
    const HIPI found = KEP_RG_RULES::check_hipi(node);
    if (found == HIPI::HOLDS) continue;
    result = false;
    if (found == HIPI::NOT_FIRST) print_hipi_finding("!(is_hipi && fanin_iter != fanin_range.begin())");
    if (found == HIPI::NOT_NAMED) print_hipi_finding("!(is_hipi && node.get_hipi_node() != from_node)");
    if (found == HIPI::NOT_FED) {
      print_hipi_finding("!has_hipi_fanin || node.get_hipi_node()");
      break;
    }
  }
  return result;
}

} // namespace

bool KEP_RG_POST_CHECKS::test_hipi_api() {
  if (m_verbose) KEP_REPORT::print_info("Making sure hipi API will work.");
  constexpr unsigned GRAIN = 10000;
  const NODE_ITER_RANGE nodes = m_db->get_routing_template_graph()->iter_nodes_with_grain(GRAIN);
  if (nodes.empty()) return true;
  std::atomic<bool> result = true;
  const auto check = [&result](const NODE_ITER_RANGE& range) {
    KEP_TSAN::begin_body();
    if (!check_hipi(range)) result = false;
    KEP_TSAN::end_body();
  };
  kep_run_loop([&](tbb::task_group_context& context) {
    tbb::parallel_for(nodes, check, tbb::auto_partitioner(), context);
  });
  return result;
}

// Stands here so that a failure names this file.
KEP_ROUTING::GRAPH* KEP_RG_CONNECTIVITY_CHECK::get_graph() const {
  KEP_ASSERT_EXPLAIN(m_db, "Null db pointer, cannot proceed with connectivity check.");
  return m_db->get_routing_template_graph();
}

bool KEP_RG_POST_CHECKS::test_graph_connectivity() {
  KEP_RG_CONNECTIVITY_CHECK check(m_db, m_verbose);
  return check.run();
}
