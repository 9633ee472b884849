#pragma once

/// @file
/// How far a long phase is.

#include "kep_report/kep_report_export.h"

#include <atomic>
#include <cstdint>
#include <functional>

/// A long phase of some work and how far it is. It lives on the stack of the function that does the work:
///
///     KEP_REPORT_PROGRESS progress("edges", num_nodes);
///     ...
///     progress.add(10000); // by any thread, in big steps
///
/// A phase prints nothing. Whoever wants to show it sets a watcher; without one it is a counter that nobody
/// reads.
class KEP_REPORT_EXPORT KEP_REPORT_PROGRESS {
public:
  /// `name` must outlive the phase. The total is in units of the caller's choice; 0 where it is not known.
  explicit KEP_REPORT_PROGRESS(const char* name, std::uint64_t total = 0);
  ~KEP_REPORT_PROGRESS();
  KEP_REPORT_PROGRESS(const KEP_REPORT_PROGRESS&) = delete;
  KEP_REPORT_PROGRESS& operator=(const KEP_REPORT_PROGRESS&) = delete;

  /// May be called from any thread. The steps should be big: all threads count in one number.
  void add(std::uint64_t done) { m_done.fetch_add(done, std::memory_order_relaxed); }

  ///@{
  /// As the phase was begun.
  const char* get_name() const { return m_name; }
  std::uint64_t get_total() const { return m_total; }
  ///@}
  /// May be called from any thread while the phase lives. An estimated total may be passed.
  std::uint64_t get_done() const { return m_done.load(std::memory_order_relaxed); }

private:
  const char* m_name;
  std::uint64_t m_total;
  std::atomic<std::uint64_t> m_done = 0;
};

namespace KEP_REPORT {

/// When a watcher is called: behind the beginning of a phase, and before its end.
enum class PROGRESS_EVENT : int { BEGINS, ENDS };

/// Is called on the thread of the phase when it begins and before it ends, by one thread at a time. In
/// between the phase may be asked from anywhere. Phases nest.
using PROGRESS_WATCHER = std::function<void(const KEP_REPORT_PROGRESS&, PROGRESS_EVENT)>;

/// Sets the watcher of the process, none where it is empty. When the call returns, no thread is in the one
/// before it. A watcher must not throw, and must not set another one. It may see the end of a phase whose
/// beginning it has not seen.
KEP_REPORT_EXPORT void set_progress_watcher(PROGRESS_WATCHER watcher);

} // namespace KEP_REPORT
