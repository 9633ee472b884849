#include "kep_rg/checks/kep_rg_connectivity_check.h"

#include "kep_report/kep_report.h"
#include "kep_rg/checks/kep_rg_print_rule.h"

#include <fmt/format.h>

#include <chrono>
#include <string>

namespace {

using CLOCK = std::chrono::steady_clock;

void print_seconds(const char* what, CLOCK::time_point begin, CLOCK::time_point end) {
  const auto span = std::chrono::duration_cast<std::chrono::nanoseconds>(end - begin).count();
  const float seconds = static_cast<float>(span) / 1000000000.0F;
  KEP_REPORT::print_info(fmt::format("{} took {:f} seconds.", what, seconds).c_str());
}

constexpr KEP_NAME_STYLE LISTING_STYLE{.m_options = {true, true, true, false, false, true, true}};

} // namespace

KEP_RG_CONNECTIVITY_CHECK::KEP_RG_CONNECTIVITY_CHECK(KEP_DB* db, bool verbose)
    : m_db(db), m_verbose(verbose), m_graph(get_graph()), m_reachability(*m_graph) {}

bool KEP_RG_CONNECTIVITY_CHECK::run() {
  const CLOCK::time_point start = CLOCK::now();
  const CLOCK::time_point t1 = CLOCK::now();
  if (m_verbose) print_seconds("Cache initialization", start, t1);
  mark_input_nodes();
  m_reachability.walk();
  if (m_verbose) print_seconds("Traversal and marking", t1, CLOCK::now());
  return report_unreachable();
}

void KEP_RG_CONNECTIVITY_CHECK::mark_input_nodes() {
  const int num_inputs = static_cast<int>(m_reachability.mark_input_nodes());
  if (!m_verbose) return;
  const int num_nodes = static_cast<int>(m_graph->get_num_nodes());
  const std::string text = fmt::format(
      "Found a total of {} input nodes, representing a {:.3f} % of the total nodes ('{}') in the graph.",
      num_inputs, static_cast<double>(num_inputs) * 100.0 / static_cast<double>(num_nodes), num_nodes);
  // A statistic, but readers of reports look for it among the errors, beside what it puts in proportion.
  KEP_REPORT::print_error(text.c_str());
}

bool KEP_RG_CONNECTIVITY_CHECK::report_unreachable() {
  unsigned num_unreachable = 0;
  const auto num_nodes = static_cast<std::uint32_t>(m_graph->get_num_nodes());
  for (std::uint32_t place = 0; place != num_nodes; ++place) {
    if (!m_reachability.is_unreachable(place)) continue;
    if (m_verbose && num_unreachable == 0)
      KEP_REPORT::print_info(
          "The following unfolded inst ports are not connected to the input nodes. They "
          "are associated with routing nodes in the URG and are connected to other nodes.");
    ++num_unreachable;
    if (!m_verbose) break;
    KEP_REPORT::print_info(m_graph->get_node(place).get_unfolded_inst_port().get_name(LISTING_STYLE).c_str());
  }
  if (num_unreachable == 0) return true;
  kep_rg_print_rule("RG-UNREACHABLE-ROUTING-NODES", num_unreachable);
  return false;
}
