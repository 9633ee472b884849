#pragma once

#include "kep/common/kep_tsan.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_group.h>

#include <cstddef>

/// Runs the body over ranges of 0 to `size`, in a group of its own: nobody else cancels it.
template <class BODY>
void kep_rg_run_redundancy_loop(std::size_t size, std::size_t grain, const BODY& body) {
  using RANGE = tbb::blocked_range<std::size_t>;
  if (size == 0) return;
  tbb::task_group_context context;
  KEP_TSAN::before_loop();
  tbb::parallel_for(
      RANGE(0, size, grain),
      [&body](const RANGE& range) {
        KEP_TSAN::begin_body();
        body(range);
        KEP_TSAN::end_body();
      },
      tbb::auto_partitioner(), context);
  KEP_TSAN::after_loop();
}
