#include "kep_report/kep_report.h"
#include "kep_report/kep_report_capture.h"
#include "tests/kep_report/child_process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace thread_test {

using KEP_REPORT::PREFIX_VIEW;
using KEP_REPORT::STREAM;

constexpr PREFIX_VIEW NO_PREFIX = PREFIX_VIEW::STANDARD;
constexpr int THREADS = 8;
constexpr int LINES = 2000;

void in_threads(int count, const auto& body) {
  std::barrier start(count);
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i)
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      body(i);
    });
  for (std::thread& thread : threads)
    thread.join();
}

std::string make_line(int thread, int line) {
  return "thread " + std::to_string(thread) + " line " + std::to_string(line) + " " +
         std::string(static_cast<std::size_t>(line % 97), static_cast<char>('a' + thread));
}

// A third of the lines goes out through each of the three ways of writing.
void write_lines(int thread) {
  for (int i = 0; i < LINES; ++i) {
    std::string tail(static_cast<std::size_t>(i % 97), static_cast<char>('a' + thread));
    if (i % 3 == 0)
      KEP_REPORT::info(NO_PREFIX) << "thread " << thread << " line " << i << ' ' << tail << std::endl;
    else if (i % 3 == 1)
      KEP_REPORT::info("thread %d line %d %s\n", thread, i, tail.c_str());
    else
      KEP_REPORT::print_info(make_line(thread, i).c_str());
  }
}

// Every line of every thread is there once, whole, and those of one thread are in order.
void expect_all_lines(const std::string& text) {
  std::map<int, int> next_line;
  std::istringstream lines(text);
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    int thread = -1;
    std::istringstream words(line);
    std::string word;
    words >> word >> thread;
    ASSERT_TRUE(words && thread >= 0 && thread < THREADS) << line;
    ASSERT_EQ(line, make_line(thread, next_line[thread]++));
  }
  EXPECT_EQ(count, THREADS * LINES);
}

TEST(Threads, NoLineIsTornOrLost) {
  KEP_REPORT_CAPTURE capture;
  in_threads(THREADS, write_lines);
  expect_all_lines(capture.text(STREAM::INFO));
}

TEST(Threads, NoLineIsTornOrLostOnTheStandardOutput) {
  CHILD_RESULT child = run_in_child([] { in_threads(THREADS, write_lines); });
  EXPECT_EQ(child.m_exit_status, 0);
  expect_all_lines(child.m_standard_output);
}

TEST(Threads, NoTwoThreadsAreInSinksAtOnce) {
  KEP_REPORT_CAPTURE capture;
  std::atomic<int> inside = 0;
  std::atomic<int> most = 0;
  int calls = 0; // guarded by the lock of the sinks alone
  auto sink = [&](std::string_view) {
    int now = ++inside;
    most = std::max(most.load(), now);
    ++calls;
    std::this_thread::yield();
    --inside;
  };
  KEP_REPORT::set_sink(STREAM::ERR, sink);
  KEP_REPORT::set_sink(STREAM::DEBUG, sink);
  in_threads(THREADS, [](int thread) {
    for (int i = 0; i < 500; ++i)
      (thread % 2 ? KEP_REPORT::err(NO_PREFIX) : KEP_REPORT::debug(NO_PREFIX)) << i << std::endl;
  });
  EXPECT_EQ(most, 1);
  EXPECT_EQ(calls, THREADS * 500);
}

TEST(Threads, AReplacedSinkIsNotEnteredAnyMore) {
  KEP_REPORT_CAPTURE capture;
  std::atomic<int> written = 0;
  std::size_t taken = 0;
  int replaced = 0;
  in_threads(4, [&](int thread) {
    if (thread != 0) {
      for (int i = 0; i < LINES; ++i, ++written)
        KEP_REPORT::print_info("x");
      return;
    }
    do {
      // The text lives no longer than its sink; a late call would write to a dead object.
      auto text = std::make_unique<std::string>();
      KEP_REPORT::SINK previous =
          KEP_REPORT::set_sink(STREAM::INFO, [&inner = *text](std::string_view line) { inner += line; });
      std::this_thread::yield();
      KEP_REPORT::set_sink(STREAM::INFO, previous);
      taken += text->size() / 2;
      ++replaced;
    } while (written < 3 * LINES);
  });
  EXPECT_GT(replaced, 0);
  EXPECT_EQ(taken + capture.text(STREAM::INFO).size() / 2, 3U * LINES);
}

TEST(Threads, UnendedTextsOfManyThreadsLeaveWhole) {
  KEP_REPORT_CAPTURE capture;
  in_threads(THREADS, [](int) { KEP_REPORT::warn(NO_PREFIX) << '<' << 12345 << '>'; });
  std::string expected;
  for (int i = 0; i < THREADS; ++i)
    expected += "<12345>";
  EXPECT_EQ(capture.text(STREAM::WARN), expected);
}

// Reports when it is destroyed.
struct LAST_WORDS {
  const char* m_text;
  ~LAST_WORDS() {
    KEP_REPORT::err(NO_PREFIX) << m_text << " by stream" << std::endl;
    KEP_REPORT::err("%s by form\n", m_text);
    KEP_REPORT::print_error(m_text);
  }
};

TEST(ProcessEnd, StaticObjectsMayReportInTheirDestructors) {
  CHILD_RESULT child = run_in_child([] {
    static LAST_WORDS made_before{"made before"};
    KEP_REPORT::err(NO_PREFIX) << "main" << std::endl;
    static LAST_WORDS made_after{"made after"};
  });
  EXPECT_EQ(child.m_exit_status, 0);
  EXPECT_EQ(child.m_standard_error, "main\n"
                                    "made after by stream\nmade after by form\nmade after\n"
                                    "made before by stream\nmade before by form\nmade before\n");
}

TEST(ProcessEnd, StaticObjectsMayReportOnAThreadThatNeverReported) {
  CHILD_RESULT child = run_in_child([] {
    std::thread([] {
      static LAST_WORDS only{"only"};
      std::exit(0);
    }).join();
  });
  EXPECT_EQ(child.m_exit_status, 0);
  EXPECT_EQ(child.m_standard_error, "only by stream\nonly by form\nonly\n");
}

TEST(ProcessEnd, UnendedTextOfTheMainThreadLeaves) {
  CHILD_RESULT child = run_in_child([] { KEP_REPORT::info(NO_PREFIX) << "no end"; });
  EXPECT_EQ(child.m_exit_status, 0);
  EXPECT_EQ(child.m_standard_output, "no end");
}

TEST(ThreadEnd, ThreadLocalObjectsMayReportInTheirDestructors) {
  KEP_REPORT_CAPTURE capture;
  std::thread([] {
    static thread_local LAST_WORDS made_before{"late"};
    made_before.m_text = "later"; // makes it, ahead of the streams of this thread
    KEP_REPORT::err(NO_PREFIX) << "body" << std::endl;
  }).join();
  EXPECT_EQ(capture.text(STREAM::ERR), "body\nlater by stream\nlater by form\nlater\n");
}

} // namespace thread_test
