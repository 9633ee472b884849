#pragma once

/// @file
/// Where the time goes.

#include "kep_report/kep_report_export.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KEP_REPORT::detail {
struct PROFILE_NODE;
}

/// A measured section of the program: it opens where the object is constructed and closes where it is
/// destroyed, by an exception too. Objects live on the stack of one thread.
///
/// Sections nest as the scopes of a thread do; a thread's outermost section stands at the top of the tree.
/// Sections of the same name in the same place are one entry, on which all threads add up.
class KEP_REPORT_EXPORT KEP_REPORT_PROFILER {
public:
  /// Opens the section `name`. With `measure` false the object does nothing.
  KEP_REPORT_PROFILER(const std::string& name, bool measure);
  ~KEP_REPORT_PROFILER();
  KEP_REPORT_PROFILER(const KEP_REPORT_PROFILER&) = delete;
  KEP_REPORT_PROFILER& operator=(const KEP_REPORT_PROFILER&) = delete;

private:
  KEP_REPORT::detail::PROFILE_NODE* m_section; // null where nothing is measured
  std::int64_t m_wall_start;                   // nanoseconds
  std::int64_t m_cpu_start;                    // nanoseconds
};

namespace KEP_REPORT {

/// One entry of the profile, with what was measured in it and the sections that were opened inside it.
struct PROFILE_SECTION {
  std::string m_name;                      ///< as the sections were opened
  std::uint64_t m_times_entered = 0;       ///< by all threads together
  double m_wall_seconds = 0;               ///< by a steady clock
  double m_cpu_seconds = 0;                ///< processor time of the whole process, all its threads together
  std::vector<PROFILE_SECTION> m_children; ///< in order of first entry
};

/// A copy of the profile: its outermost sections, in order of first entry. A section that is still open is
/// counted as entered, its time comes when it closes. May be called from any thread.
KEP_REPORT_EXPORT std::vector<PROFILE_SECTION> get_profile();

/// Forgets what was measured. Sections that are open keep their place in the tree, are counted as entered as
/// often as they are open, and are measured from now on. May be called from any thread.
KEP_REPORT_EXPORT void reset_profile();

} // namespace KEP_REPORT
