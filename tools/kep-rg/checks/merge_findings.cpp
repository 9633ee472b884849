#include "tools/kep-rg/checks/merge_findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

using KIND = KEP_RG_FINDING_KIND;

namespace {

[[noreturn]] void refuse(const FINDINGS_PART& part, const std::string& reason) {
  throw std::runtime_error(fmt::format("{}: {}", part.m_file, reason));
}

std::string get_text(const WAIVED_KINDS& waived) {
  std::string text;
  for (const KIND kind : waived)
    text += fmt::format("{}--waive {}", text.empty() ? "" : " ", kep_rg_get_id(kind));
  return text.empty() ? "no --waive" : text;
}

/// Both are of one device, of as many parts, and were made with the same options.
void check_likeness(const FINDINGS_PART& first, const FINDINGS_PART& part) {
  const auto check_option = [&](bool is_of_first, bool is_of_part, const char* option) {
    if (is_of_first != is_of_part)
      refuse(part, fmt::format("made {} {}, and {} {}", is_of_part ? "with" : "without", option, first.m_file,
                               is_of_first ? "with" : "without"));
  };
  if (part.m_checksum != first.m_checksum)
    refuse(part, fmt::format("findings of another device than those of {}: {} with checksum {:016x}, and {} "
                             "with checksum {:016x}",
                             first.m_file, part.m_device, part.m_checksum, first.m_device, first.m_checksum));
  if (part.m_part.m_num_parts != first.m_part.m_num_parts)
    refuse(part, fmt::format("one of {} parts, and {} is one of {}", part.m_part.m_num_parts, first.m_file,
                             first.m_part.m_num_parts));
  check_option(first.m_scope.m_is_traced, part.m_scope.m_is_traced, "--trace");
  check_option(first.m_is_verbose, part.m_is_verbose, "--verbose");
  if (part.m_waived != first.m_waived)
    refuse(part, fmt::format("made with {}, and {} with {}", get_text(part.m_waived), first.m_file,
                             get_text(first.m_waived)));
  if (part.m_scope.m_num_nodes != first.m_scope.m_num_nodes ||
      part.m_scope.m_num_edges != first.m_scope.m_num_edges ||
      part.m_is_redundancy_judged != first.m_is_redundancy_judged)
    refuse(part, fmt::format("damaged: it says other things of the device than {}", first.m_file));
}

/// Each part is there once; they stand in their order.
void check_completeness(const std::vector<FINDINGS_PART>& parts) {
  const std::uint32_t num_parts = parts.front().m_part.m_num_parts;
  for (std::size_t i = 1; i < parts.size(); ++i)
    if (parts[i].m_part.m_index == parts[i - 1].m_part.m_index)
      refuse(parts[i], fmt::format("part {} of {} is there twice, in {} too", parts[i].m_part.m_index + 1,
                                   num_parts, parts[i - 1].m_file));
  if (parts.size() == num_parts) return;
  constexpr std::size_t MAX_NAMED = 10;
  std::vector<std::uint32_t> missing;
  auto part = parts.begin();
  for (std::uint32_t index = 0; index != num_parts; ++index)
    if (part != parts.end() && part->m_part.m_index == index)
      ++part;
    else
      missing.push_back(index + 1);
  const std::size_t num_named = std::min(missing.size(), MAX_NAMED);
  refuse(
      parts.front(),
      fmt::format("part {} of {}, and of the others {} missing: {}{}", parts.front().m_part.m_index + 1,
                  num_parts, missing.size() == 1 ? "one is" : fmt::format("{} are", missing.size()),
                  fmt::join(missing.begin(), missing.begin() + static_cast<std::ptrdiff_t>(num_named), ", "),
                  num_named == missing.size() ? "" : ", ..."));
}

/// Adds what was found in a later part: of the findings of each kind the first ones are kept.
void add(FINDINGS_PART& whole, FINDINGS_PART& part, std::map<KIND, FOUND_KIND>& found) {
  whole.m_traces.m_num_edges += part.m_traces.m_num_edges;
  whole.m_traces.m_num_verified += part.m_traces.m_num_verified;
  whole.m_traces.m_num_failed += part.m_traces.m_num_failed;
  const std::size_t max_kept = get_max_shown(whole.m_is_verbose);
  for (FOUND_KIND& more : part.m_found) {
    FOUND_KIND& all = found[more.m_kind];
    all.m_kind = more.m_kind;
    all.m_num += more.m_num;
    const std::size_t num_kept = std::min(max_kept - all.m_first.size(), more.m_first.size());
    std::move(more.m_first.begin(), more.m_first.begin() + static_cast<std::ptrdiff_t>(num_kept),
              std::back_inserter(all.m_first));
    more.m_first = {};
  }
}

} // namespace

FINDINGS_PART merge_findings(std::vector<FINDINGS_PART> parts) {
  for (const FINDINGS_PART& part : parts)
    check_likeness(parts.front(), part);
  std::stable_sort(parts.begin(), parts.end(), [](const FINDINGS_PART& left, const FINDINGS_PART& right) {
    return left.m_part.m_index < right.m_part.m_index;
  });
  check_completeness(parts);
  FINDINGS_PART whole = parts.front();
  whole.m_part = {};
  whole.m_traces = {};
  whole.m_found.clear();
  std::map<KIND, FOUND_KIND> found;
  for (FINDINGS_PART& part : parts)
    add(whole, part, found);
  for (auto& [kind, all] : found)
    whole.m_found.push_back(std::move(all));
  return whole;
}

bool report_findings(const FINDINGS_PART& whole, bool is_quiet, std::ostream& out) {
  FINDINGS_REPORT report(out, whole.m_waived, get_max_shown(whole.m_is_verbose));
  auto found = whole.m_found.begin();
  const auto add_up_to = [&](KIND end) {
    for (; found != whole.m_found.end() && found->m_kind < end; ++found)
      report.add(*found);
  };
  add_up_to(KIND::FEW_REDUNDANT_EDGES);
  if (whole.m_is_verbose && !whole.m_is_redundancy_judged) out << REDUNDANCY_NOT_JUDGED_TEXT;
  add_up_to(KIND::TRACE_NULL_NODE);
  if (whole.m_scope.m_is_traced && !is_quiet) out << get_text(whole.m_traces);
  for (; found != whole.m_found.end(); ++found)
    report.add(*found);
  if (report.has_any() || !is_quiet) out << get_verdict(report, whole.m_scope) << '\n';
  out.flush();
  return report.is_clean();
}
