#pragma once

#include "kep/common/kep_loop.h"
#include "kep/common/kep_tsan.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_group.h>

#include <cstddef>

/// Runs the body over ranges of 0 to `size`, in a group of its own below that of the caller.
template <class BODY>
void kep_rg_run_redundancy_loop(std::size_t size, std::size_t grain, const BODY& body) {
  using RANGE = tbb::blocked_range<std::size_t>;
  if (size == 0) return;
  const auto run_range = [&body](const RANGE& range) {
    KEP_TSAN::begin_body();
    body(range);
    KEP_TSAN::end_body();
  };
  kep_run_loop([&](tbb::task_group_context& context) {
    tbb::parallel_for(RANGE(0, size, grain), run_range, tbb::auto_partitioner(), context);
  });
}
