#pragma once

#include "kep/common/kep_tsan.h"

#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cstddef>

/// Calls `body(begin, end)` for blocks of the numbers below `size`, side by side, by as many threads as the
/// arena of the caller has. A block has `grain` numbers or more, where there are so many, and there are few
/// blocks, so that each may keep what it learns.
template <class BODY>
void KEP_FOR_BLOCKS(std::size_t size, std::size_t grain, const BODY& body) {
  constexpr std::size_t BLOCKS_OF_A_THREAD = 4;
  const auto num_threads = static_cast<std::size_t>(tbb::this_task_arena::max_concurrency());
  const std::size_t num_blocks =
      std::clamp<std::size_t>(size / grain, size != 0, num_threads * BLOCKS_OF_A_THREAD);
  KEP_TSAN::before_loop();
  tbb::parallel_for(std::size_t{0}, num_blocks, [&](std::size_t block) {
    KEP_TSAN::begin_body();
    body(size * block / num_blocks, size * (block + 1) / num_blocks);
    KEP_TSAN::end_body();
  });
  KEP_TSAN::after_loop();
}
