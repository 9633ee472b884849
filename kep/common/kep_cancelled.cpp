#include "kep/kep_cancelled.h"

#include <tbb/task_group.h>

KEP_CANCELLED::~KEP_CANCELLED() = default;

const char* KEP_CANCELLED::what() const noexcept {
  return "cancelled";
}

void kep_throw_if_cancelled() {
  if (tbb::is_current_task_group_canceling()) throw KEP_CANCELLED();
}
