#include "kep_rg/kep_rg_connectivity_check.h"

#include "kep_report/kep_report.h"
#include "kep_rg/kep_rg_format.h"

#include <chrono>
#include <string>

using KEP_ROUTING::NODE;

namespace {

using CLOCK = std::chrono::steady_clock;

void print_seconds(const char* format, CLOCK::time_point begin, CLOCK::time_point end) {
  const auto span = std::chrono::duration_cast<std::chrono::nanoseconds>(end - begin).count();
  const float seconds = static_cast<float>(span) / 1000000000.0F;
  KEP_REPORT::print_info((kep_rg_format(format) % seconds).str().c_str());
}

bool is_input(const NODE& node) {
  return node.get_num_fanin() == 0 && node.get_num_real_edges() != 0;
}

bool is_isolated(const NODE& node) {
  return node.get_num_fanin() == 0 && node.get_num_edges() == 0;
}

/// What lies in a BLC, or in a module that is also described as one, is none of the ordinary routing.
bool is_exempt(const NODE& node) {
  const KEP_MODULE* const module = node.is_boundary() ? node.get_port()->get_parent()
                                                      : node.get_unfolded_inst_port()
                                                            .get_unfolded_instance()
                                                            .get_module(KEP_VIEW_TYPE::DEFAULT_VIEW)
                                                            .m_object;
  return module->get_view_type() == KEP_VIEW_TYPE::BLC ||
         module->get_num_equivalent_modules(KEP_VIEW_TYPE::BLC) != 0;
}

constexpr KEP_NAME_STYLE LISTING_STYLE{.m_options = {true, true, true, false, false, true, true}};

} // namespace

KEP_RG_CONNECTIVITY_CHECK::KEP_RG_CONNECTIVITY_CHECK(KEP_DB* db, bool verbose)
    : m_db(db), m_verbose(verbose), m_graph(get_graph()),
      m_num_nodes(static_cast<std::uint32_t>(m_graph->get_num_nodes())), m_work_list(m_num_nodes),
      m_reached(m_num_nodes) {}

bool KEP_RG_CONNECTIVITY_CHECK::run() {
  const CLOCK::time_point start = CLOCK::now();
  const CLOCK::time_point t1 = CLOCK::now();
  if (m_verbose) print_seconds("Cache initialization took %f seconds.", start, t1);
  mark_input_nodes();
  walk();
  if (m_verbose) print_seconds("Traversal and marking took %f seconds.", t1, CLOCK::now());
  return report_unreachable();
}

/// Puts a node on the work list the first time that it is met.
void KEP_RG_CONNECTIVITY_CHECK::reach(std::uint32_t index) {
  if (m_reached[index]) return;
  m_reached[index] = true;
  m_work_list.insert(index);
}

void KEP_RG_CONNECTIVITY_CHECK::mark_input_nodes() {
  int num_inputs = 0;
  std::uint32_t index = 0;
  for (const NODE& node : m_graph->iter_nodes()) {
    if (is_input(node)) {
      ++num_inputs;
      reach(index);
    }
    ++index;
  }
  if (!m_verbose) return;
  const int num_nodes = static_cast<int>(m_num_nodes);
  boost::format format =
      kep_rg_format("Found a total of %d input nodes, representing a %.3f %% of the total nodes ('%d') in "
                    "the graph.");
  format % num_inputs % (static_cast<double>(num_inputs) * 100.0 / static_cast<double>(num_nodes)) %
      num_nodes;
  KEP_REPORT::print_error(format.str().c_str()); // a statistic, yet it belongs among the errors
}

void KEP_RG_CONNECTIVITY_CHECK::walk() {
  std::vector<std::uint32_t> fanouts;
  std::uint32_t near = 0;
  for (std::uint32_t index = 0; m_work_list.take(index);) {
    fanouts.clear();
    m_graph->append_real_fanouts(index, near, fanouts);
    for (const std::uint32_t fanout : fanouts)
      reach(fanout);
  }
}

bool KEP_RG_CONNECTIVITY_CHECK::report_unreachable() {
  unsigned num_unreachable = 0;
  for (std::uint32_t index = 0; index != m_num_nodes; ++index) {
    if (m_reached[index]) continue;
    const NODE node = m_graph->get_node(index);
    if (is_isolated(node) || is_exempt(node)) continue;
    if (m_verbose && num_unreachable == 0)
      KEP_REPORT::print_info(
          "The following unfolded inst ports are not connected to the input nodes. They "
          "are associated with routing nodes in the URG and are connected to other nodes.");
    ++num_unreachable;
    if (!m_verbose) break;
    KEP_REPORT::print_info(node.get_unfolded_inst_port().get_name(LISTING_STYLE).c_str());
  }
  if (num_unreachable == 0) return true;
  const std::string rule = "RG-UNREACHABLE-ROUTING-NODES";
  boost::format format = kep_rg_format(KEP_REPORT::get_msg_db()->get(rule)->to_boost());
  KEP_REPORT::print_error((format % num_unreachable).str().c_str());
  return false;
}
