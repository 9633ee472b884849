#include "kep_rg/kep_rg_outputs_without_node.h"

#include "kep_report/kep_report_number.h"

#include <fmt/format.h>

namespace {

struct REASON_INFO {
  const char* m_text;
  const char* m_counter_name;
};

/// In the order of KEP_RG_OUTPUTS_WITHOUT_NODE::REASON.
constexpr REASON_INFO REASONS[KEP_RG_OUTPUTS_WITHOUT_NODE::NUM_REASONS] = {
    {"no inst header and no wire type", "no_node_no_header"},
    {"unconnected", "no_node_unconnected"},
    {"removed", "no_node_removed"},
    {"in a spare row", "no_node_spare_row"},
    {"behind a skip path", "no_node_skip"},
    {"named like a non-template mux", "no_node_name_pattern"},
    {"where an arc begins, too", "no_node_arc_input"},
    {"left out by a BLC trait", "no_node_blc_trait"},
    {"inside another mux", "no_node_inside_mux"},
    {"in an IP root that is no routing root", "no_node_root_not_routed"},
    {"in a part of an IP root whose first occurrence gave no node", "no_node_skipped_part"},
};

} // namespace

std::uint64_t KEP_RG_OUTPUTS_WITHOUT_NODE::get_total() const {
  std::uint64_t total = 0;
  for (const COUNT& count : m_counts)
    total += count.m_number;
  return total;
}

const char* KEP_RG_OUTPUTS_WITHOUT_NODE::get_text(REASON reason) {
  return REASONS[static_cast<std::size_t>(reason)].m_text;
}

const char* KEP_RG_OUTPUTS_WITHOUT_NODE::get_counter_name(REASON reason) {
  return REASONS[static_cast<std::size_t>(reason)].m_counter_name;
}

std::string KEP_RG::format_outputs_without_node(const KEP_RG_OUTPUTS_WITHOUT_NODE& outputs) {
  std::string text;
  for (std::size_t i = 0; i != outputs.m_counts.size(); ++i) {
    if (outputs.m_counts[i].m_number == 0) continue;
    text += fmt::format("{}{} {}", text.empty() ? "" : "; ",
                        KEP_REPORT::group_digits(outputs.m_counts[i].m_number), REASONS[i].m_text);
  }
  return text;
}
