#pragma once

#include "kep/common/kep_loop.h"
#include "kep/common/kep_tsan.h"

#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <vector>

/// Calls `body(begin, end)` for parts of the numbers below `size`, side by side, by as many threads as the
/// arena of the caller has. A part has `grain` numbers or more, where there are so many, and there are few
/// parts, so that each may keep what it learns. Of several parts that throw the first one's exception is
/// told, whichever came first; KEP_CANCELLED where the task group of the caller was cancelled.
template <class BODY>
void kep_for_parts(std::size_t size, std::size_t grain, const BODY& body) {
  constexpr std::size_t PARTS_OF_A_THREAD = 4;
  const auto num_threads = static_cast<std::size_t>(tbb::this_task_arena::max_concurrency());
  const std::size_t num_parts =
      std::clamp<std::size_t>(size / grain, size != 0, num_threads * PARTS_OF_A_THREAD);
  std::vector<std::exception_ptr> failures(num_parts);
  const auto run_part = [&](std::size_t part) {
    KEP_TSAN::begin_body();
    try {
      body(size * part / num_parts, size * (part + 1) / num_parts);
    } catch (...) {
      failures[part] = std::current_exception();
    }
    KEP_TSAN::end_body();
  };
  kep_run_loop([&](tbb::task_group_context& context) {
    tbb::parallel_for(std::size_t{0}, num_parts, run_part, context);
  });
  for (const std::exception_ptr& failure : failures)
    if (failure) std::rethrow_exception(failure);
}
