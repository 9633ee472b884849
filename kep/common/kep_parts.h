#pragma once

#include "kep/common/kep_tsan.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstddef>

/// Calls `body(begin, end)` for the numbers below `size` in parts that follow each other, by all threads of
/// the caller's arena.
template <class BODY>
void kep_for_parts(std::size_t size, const BODY& body) {
  constexpr std::size_t PART = 1 << 12;
  KEP_TSAN::before_loop();
  tbb::parallel_for(std::size_t{0}, (size + PART - 1) / PART, [&](std::size_t part) {
    KEP_TSAN::begin_body();
    body(part * PART, std::min(part * PART + PART, size));
    KEP_TSAN::end_body();
  });
  KEP_TSAN::after_loop();
}
