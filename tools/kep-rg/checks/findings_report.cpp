#include "tools/kep-rg/checks/findings_report.h"

#include "kep_io/text/kep_closest_names.h"
#include "kep_report/kep_report_number.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

using KIND = KEP_RG_FINDING_KIND;
using SUBJECT = KEP_RG_FINDING_SUBJECT;

WAIVED_KINDS get_waived_kinds(const std::vector<std::string>& ids) {
  WAIVED_KINDS waived;
  for (const std::string& id : ids) {
    KEP_CLOSEST_NAMES closest(id);
    bool is_known = false;
    for (unsigned i = 0; i != KEP_RG_NUM_FINDING_KINDS; ++i) {
      const auto kind = static_cast<KIND>(i);
      closest.offer(kep_rg_get_id(kind));
      if (id != kep_rg_get_id(kind)) continue;
      waived.insert(kind);
      is_known = true;
    }
    if (!is_known)
      throw std::runtime_error(
          fmt::format("--waive: no finding has the id \"{}\"; closest: {}", id, closest.get_names().front()));
  }
  return waived;
}

std::size_t get_max_shown(bool is_verbose) {
  constexpr std::size_t MAX_SHOWN = 20;
  return is_verbose ? std::numeric_limits<std::size_t>::max() : MAX_SHOWN;
}

FINDINGS_REPORT::FINDINGS_REPORT(std::ostream& out, WAIVED_KINDS waived, std::size_t max_shown)
    : m_out(out), m_waived(std::move(waived)), m_max_shown(max_shown) {}

std::string FINDINGS_REPORT::get_id(KIND kind) const {
  return fmt::format("{}{}", kep_rg_get_id(kind), m_waived.contains(kind) ? " (waived)" : "");
}

void FINDINGS_REPORT::add(KIND kind, std::uint64_t num, std::size_t num_kept,
                          const std::function<std::string(std::size_t)>& get_text) {
  m_num[static_cast<std::size_t>(kind)] += num;
  if (num == 0) return;
  m_out << get_id(kind) << ": " << KEP_REPORT::group_digits(num) << '\n';
  if (m_found) m_found->push_back({kind, num, {}});
  for (std::size_t i = 0; i != num_kept; ++i) {
    const std::string text = get_text(i);
    m_out << "  " << text << '\n';
    if (m_found) m_found->back().m_first.push_back(text);
  }
  if (num_kept != num) m_out << "  and " << KEP_REPORT::group_digits(num - num_kept) << " more\n";
}

void FINDINGS_REPORT::add(const KEP_ROUTING::GRAPH& graph, const KEP_RG_FINDINGS& findings) {
  add(findings.m_kind, findings.m_num, findings.m_first.size(),
      [&](std::size_t i) { return kep_rg_get_finding(graph, findings.m_kind, findings.m_first[i]).m_text; });
}

void FINDINGS_REPORT::add(const FOUND_KIND& found) {
  add(found.m_kind, found.m_num, found.m_first.size(), [&found](std::size_t i) { return found.m_first[i]; });
}

bool FINDINGS_REPORT::has_any() const {
  return std::any_of(m_num.begin(), m_num.end(), [](std::uint64_t num) { return num != 0; });
}

bool FINDINGS_REPORT::is_clean() const {
  for (std::size_t i = 0; i != m_num.size(); ++i)
    if (m_num[i] != 0 && !m_waived.contains(static_cast<KIND>(i))) return false;
  return true;
}

std::string FINDINGS_REPORT::get_summary(SUBJECT subject) const {
  std::string text;
  for (std::size_t i = 0; i != m_num.size(); ++i) {
    const auto kind = static_cast<KIND>(i);
    if (kind == KIND::NO_NODE) continue; // the verdict says so in words of its own
    if (kep_rg_get_subject(kind) == subject) append_number(kind, text);
  }
  return text;
}

std::string FINDINGS_REPORT::get_summary() const {
  std::string text;
  for (std::size_t i = 0; i != m_num.size(); ++i)
    append_number(static_cast<KIND>(i), text);
  return text;
}

void FINDINGS_REPORT::append_number(KIND kind, std::string& text) const {
  const std::uint64_t num = m_num[static_cast<std::size_t>(kind)];
  if (num != 0)
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", KEP_REPORT::group_digits(num), get_id(kind));
}

namespace {

std::string get_size_text(const VERDICT_SCOPE& scope) {
  const auto count = [](std::uint64_t number, const char* what) {
    return fmt::format("{} {}{}", KEP_REPORT::group_digits(number), what, number == 1 ? "" : "s");
  };
  return fmt::format("{}, {}", count(scope.m_num_nodes, "node"), count(scope.m_num_edges, "edge"));
}

/// A graph without nodes agrees with a model that makes none, but nobody wants to hear that all is well.
std::string get_graph_text(const FINDINGS_REPORT& report, const VERDICT_SCOPE& scope) {
  const bool is_empty = scope.m_num_nodes == 0;
  const std::string wrong = report.get_summary(SUBJECT::GRAPH);
  if (!wrong.empty())
    return fmt::format("the graph is wrong: {}{}", wrong, is_empty ? "; it has no nodes at all" : "");
  if (is_empty) return "the graph has no nodes at all: there is nothing to check";
  return scope.m_is_proved ? fmt::format("the graph agrees with the model: {}", get_size_text(scope)) : "";
}

} // namespace

std::string get_part_text(const FINDINGS_REPORT& report, const VERDICT_SCOPE& scope,
                          const KEP_RG_PART& part) {
  const auto [first, end] = part.get_range(scope.m_num_nodes);
  const std::string found = report.get_summary();
  return fmt::format("Part {} of {}, {} of {} nodes: {}.", part.m_index + 1, part.m_num_parts,
                     KEP_REPORT::group_digits(end - first), KEP_REPORT::group_digits(scope.m_num_nodes),
                     found.empty() ? "nothing found" : found);
}

std::string get_verdict(const FINDINGS_REPORT& report, const VERDICT_SCOPE& scope) {
  std::string text = get_graph_text(report, scope);
  const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : "; ") + part; };
  const bool is_right = report.get_summary(SUBJECT::GRAPH).empty() && scope.m_num_nodes != 0;
  const std::string odd = report.get_summary(SUBJECT::DEVICE);
  if (!odd.empty()) add((is_right ? "odd about the device: " : "beside that: ") + odd);
  if (odd.empty() && is_right && scope.m_is_proved) add("nothing is odd about the device");
  const std::string failed = report.get_summary(SUBJECT::TRACE);
  if (!failed.empty()) add("traces that fail: " + failed);
  if (failed.empty() && scope.m_is_traced && scope.m_num_nodes != 0) add("no trace fails");
  text.front() = static_cast<char>(text.front() - 'a' + 'A');
  return text + ".";
}
