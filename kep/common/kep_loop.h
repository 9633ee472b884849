#pragma once

#include "kep/common/kep_tsan.h"
#include "kep/kep_cancelled.h"

#include <tbb/task_group.h>

/// Calls `loop(context)`, which has to hand the context to a parallel algorithm of TBB. Who cancels the task
/// group of the caller cancels the context, too: KEP_CANCELLED then, since parts may have been left out. The
/// context of the loop itself tells, as those around it may be marked a little later.
template <class LOOP>
void kep_run_loop(const LOOP& loop) {
  tbb::task_group_context context;
  KEP_TSAN::before_loop();
  loop(context);
  KEP_TSAN::after_loop();
  if (context.is_group_execution_cancelled()) throw KEP_CANCELLED();
}
