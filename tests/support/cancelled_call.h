#pragma once

#include "kep/kep_cancelled.h"

#include <tbb/task_group.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace test_model {

/// Whether a call in a task group that was cancelled before is ended by KEP_CANCELLED.
template <class CALL>
bool is_cancelled(const CALL& call) {
  bool is_ended = false;
  tbb::task_group group;
  group.run_and_wait([&] {
    group.cancel();
    try {
      call();
    } catch (const KEP_CANCELLED&) {
      is_ended = true;
    }
  });
  return is_ended;
}

/// The same for a group that is cancelled from another thread while it works, each time a little later until
/// the call is done before: how often it was ended. Some times, if the machine lets the other thread come.
template <class CALL>
unsigned count_cancelled_calls(const CALL& call) {
  constexpr unsigned ENOUGH = 20;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  unsigned num_ended = 0;
  for (unsigned delay = 0; num_ended != ENOUGH && std::chrono::steady_clock::now() < end;) {
    bool is_ended = false;
    tbb::task_group group;
    std::atomic<bool> has_begun = false;
    std::thread other([&] {
      while (!has_begun)
        std::this_thread::yield();
      std::this_thread::sleep_for(std::chrono::microseconds(delay));
      group.cancel();
    });
    group.run_and_wait([&] {
      has_begun = true;
      try {
        call();
      } catch (const KEP_CANCELLED&) {
        is_ended = true;
      }
    });
    other.join();
    num_ended += is_ended ? 1 : 0;
    delay = is_ended ? delay + delay / 4 + 50 : 0;
  }
  return num_ended;
}

} // namespace test_model
