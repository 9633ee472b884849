#pragma once

#include "kep/kep_cancelled.h"

#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

/// Calls `work()` on `num_threads` threads, the caller's one of them, or on all for
/// tbb::task_arena::automatic. Who cancels the caller's task group cancels the work, too: KEP_CANCELLED then,
/// unless it was done.
template <class WORK>
void kep_run_in_arena(int num_threads, const WORK& work) {
  // Groups that begin in an arena hang on that arena. So this one begins here, by a loop that does nothing.
  tbb::task_group_context context;
  tbb::parallel_for(
      0, 1, [](int) {}, context);
  bool is_done = false;
  tbb::task_arena(num_threads, 1).execute([&] {
    tbb::task_group(context).run_and_wait([&] {
      work();
      is_done = true;
    });
  });
  if (!is_done) throw KEP_CANCELLED(); // what a cancelled group throws ends in it
}
