#include "tools/kep-rg/checks/trace_numbers.h"

#include "kep_report/kep_report_number.h"

#include <fmt/format.h>

using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;

TRACE_NUMBERS get_numbers(const KEP_RG_TRACE_TALLY& tally) {
  TRACE_NUMBERS numbers;
  for (const std::uint64_t num : tally.m_num_edges)
    numbers.m_num_edges += num;
  for (const KEP_RG_FINDINGS& findings : tally.m_findings)
    numbers.m_num_failed += findings.m_num;
  numbers.m_num_verified = tally.m_num_edges[static_cast<std::size_t>(OUTCOME::VERIFIED)];
  return numbers;
}

std::string get_text(const TRACE_NUMBERS& numbers) {
  const std::uint64_t num_at_boundary = numbers.m_num_edges - numbers.m_num_verified - numbers.m_num_failed;
  return fmt::format(
      "Traced {} edges: {} verified, {} at boundary nodes, {} failed\n"
      "Traces of sound edges may fail: a trace knows nets and arcs alone, so it may miss the way "
      "over a spare row, around a BLC or from an inserted input (docs/verification.md)\n",
      KEP_REPORT::group_digits(numbers.m_num_edges), KEP_REPORT::group_digits(numbers.m_num_verified),
      KEP_REPORT::group_digits(num_at_boundary), KEP_REPORT::group_digits(numbers.m_num_failed));
}
