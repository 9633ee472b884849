#include "kep_report/kep_report_progress.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace progress_thread_test {

using KEP_REPORT::PROGRESS_EVENT;

/// Writes down what a watcher sees while it lives.
struct WATCHED {
  WATCHED() {
    KEP_REPORT::set_progress_watcher([this](const KEP_REPORT_PROGRESS& progress, PROGRESS_EVENT event) {
      m_seen.push_back((event == PROGRESS_EVENT::BEGINS ? "+" : "-") + std::string(progress.get_name()) +
                       " " + std::to_string(progress.get_done()) + "/" +
                       std::to_string(progress.get_total()));
    });
  }
  ~WATCHED() { KEP_REPORT::set_progress_watcher({}); }
  WATCHED(const WATCHED&) = delete;
  WATCHED& operator=(const WATCHED&) = delete;

  std::vector<std::string> m_seen;
};

TEST(Progress, AWatcherSeesPhasesBeginAndEndWithWhatWasDone) {
  const WATCHED watched;
  {
    KEP_REPORT_PROGRESS outer("outer", 10);
    outer.add(3);
    { const KEP_REPORT_PROGRESS inner("inner"); }
    outer.add(4);
  }
  EXPECT_EQ(watched.m_seen,
            (std::vector<std::string>{"+outer 0/10", "+inner 0/0", "-inner 0/0", "-outer 7/10"}));
}

TEST(Progress, NobodyNeedsToWatch) {
  KEP_REPORT_PROGRESS progress("phase", 2);
  progress.add(1);
  EXPECT_EQ(progress.get_done(), 1U);
  EXPECT_EQ(progress.get_total(), 2U);
}

TEST(Progress, EveryThreadMayAddAndAskAndHavePhasesOfItsOwn) {
  WATCHED watched;
  {
    KEP_REPORT_PROGRESS progress("all", 400);
    std::vector<std::thread> threads;
    for (int i = 0; i != 4; ++i)
      threads.emplace_back([&progress] {
        const KEP_REPORT_PROGRESS own("own");
        for (int step = 0; step != 100; ++step) {
          progress.add(1);
          EXPECT_LE(progress.get_done(), 400U);
        }
      });
    for (std::thread& thread : threads)
      thread.join();
  }
  EXPECT_EQ(watched.m_seen.size(), 10U);
  EXPECT_EQ(watched.m_seen.back(), "-all 400/400");
}

} // namespace progress_thread_test
