#pragma once

#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_part.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

using WAIVED_KINDS = std::set<KEP_RG_FINDING_KIND>;

/// The kinds of these ids. An id that there is not is told by std::runtime_error, with the closest one.
WAIVED_KINDS get_waived_kinds(const std::vector<std::string>& ids);

/// So many of a kind are shown, and kept in files.
std::size_t get_max_shown(bool is_verbose);

/// The findings of one kind: how many there are, and the texts of the first ones.
struct FOUND_KIND {
  KEP_RG_FINDING_KIND m_kind{};
  std::uint64_t m_num = 0;
  std::vector<std::string> m_first;
};

/// Shows findings kind by kind and keeps count of them.
class FINDINGS_REPORT {
public:
  using KIND = KEP_RG_FINDING_KIND;
  using SUBJECT = KEP_RG_FINDING_SUBJECT;

  /// Shows that many of a kind at most.
  FINDINGS_REPORT(std::ostream& out, WAIVED_KINDS waived, std::size_t max_shown);

  std::size_t get_max_shown() const { return m_max_shown; }
  /// What is shown from now on is put in there, too.
  void keep_in(std::vector<FOUND_KIND>& found) { m_found = &found; }
  /// The next kind, unless it has no findings: their number, the first ones, a line each, and how many more
  /// there are. So many were kept, of which each gives its text.
  void add(KIND kind, std::uint64_t num, std::size_t num_kept,
           const std::function<std::string(std::size_t)>& get_text);
  void add(const KEP_ROUTING::GRAPH& graph, const KEP_RG_FINDINGS& findings);
  void add(const FOUND_KIND& found);

  bool has_any() const;
  /// Nothing was found but kinds that are waived.
  bool is_clean() const;
  /// What was found about that: "4 unreachable-node, 2 doubled-edge (waived)"; empty if nothing was.
  std::string get_summary(SUBJECT subject) const;
  /// The same of all: the numbers of each kind, in the order of the kinds.
  std::string get_summary() const;

private:
  std::string get_id(KIND kind) const;
  void append_number(KIND kind, std::string& text) const;

  std::ostream& m_out;
  WAIVED_KINDS m_waived;
  std::size_t m_max_shown;
  std::vector<FOUND_KIND>* m_found = nullptr;
  std::array<std::uint64_t, KEP_RG_NUM_FINDING_KINDS> m_num{}; // by kind
};

/// Stands in a run that tells more where the number of redundant edges is no matter.
inline constexpr const char* REDUNDANCY_NOT_JUDGED_TEXT =
    "The number of redundant edges is not judged: there are none, and no redundancy data\n";

/// What was looked at.
struct VERDICT_SCOPE {
  bool m_is_proved = false; ///< the graph was held against the model and against the post checks
  bool m_is_traced = false; ///< every edge was traced
  std::uint64_t m_num_nodes = 0;
  std::uint64_t m_num_edges = 0;
};

/// One line: which part of the checks it was, and what it found.
std::string get_part_text(const FINDINGS_REPORT& report, const VERDICT_SCOPE& scope, const KEP_RG_PART& part);

/// One line: whether the graph agrees with the model, what is odd about the device, which traces fail.
std::string get_verdict(const FINDINGS_REPORT& report, const VERDICT_SCOPE& scope);
