#include "kep_report/kep_report_progress.h"

#include <mutex>

namespace KEP_REPORT {
namespace {

struct WATCH {
  std::mutex m_mutex;
  PROGRESS_WATCHER m_watcher;
};

// Never destroyed, as the streams are.
WATCH& get_watch() {
  static WATCH& watch = *new WATCH;
  return watch;
}

void tell(const KEP_REPORT_PROGRESS& progress, PROGRESS_EVENT event) {
  WATCH& watch = get_watch();
  const std::lock_guard lock(watch.m_mutex);
  if (watch.m_watcher) watch.m_watcher(progress, event);
}

} // namespace

void set_progress_watcher(PROGRESS_WATCHER watcher) {
  WATCH& watch = get_watch();
  const std::lock_guard lock(watch.m_mutex);
  watch.m_watcher.swap(watcher);
}

} // namespace KEP_REPORT

KEP_REPORT_PROGRESS::KEP_REPORT_PROGRESS(const char* name, std::uint64_t total)
    : m_name(name), m_total(total) {
  KEP_REPORT::tell(*this, KEP_REPORT::PROGRESS_EVENT::BEGINS);
}

KEP_REPORT_PROGRESS::~KEP_REPORT_PROGRESS() {
  KEP_REPORT::tell(*this, KEP_REPORT::PROGRESS_EVENT::ENDS);
}
