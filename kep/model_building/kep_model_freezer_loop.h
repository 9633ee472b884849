#pragma once

#include "kep/common/kep_loop.h"
#include "kep/common/kep_tsan.h"

#include <tbb/parallel_for.h>

#include <cstddef>
#include <exception>
#include <mutex>

/// Calls work(i) for each i below `count`, on all threads. Calls may throw: the others are made all the same,
/// and what the one of the least i threw is thrown, so it hangs on no thread.
template <class WORK>
void kep_for_each_on_all_threads(std::size_t count, const WORK& work) {
  std::mutex mutex;
  std::size_t first = count;
  std::exception_ptr thrown;
  const auto call = [&](std::size_t i) {
    KEP_TSAN::begin_body();
    try {
      work(i);
    } catch (...) {
      const std::lock_guard lock(mutex);
      if (i < first) {
        first = i;
        thrown = std::current_exception();
      }
    }
    KEP_TSAN::end_body();
  };
  kep_run_loop(
      [&](tbb::task_group_context& context) { tbb::parallel_for(std::size_t{0}, count, call, context); });
  if (thrown) std::rethrow_exception(thrown);
}
