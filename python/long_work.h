#pragma once

#include "python/number.h"

#include <functional>
#include <optional>

/// The number of threads that a caller asked for, all cores without one. ARGUMENT_FAILURE for a number that
/// is none.
int get_num_threads(const std::optional<NUMBER>& asked);

/// Lets other threads of Python go on for a moment, if they have waited for the switch interval.
void let_others_run();

/// Runs work of the libraries on other threads, so many at most, while Python goes on: the lock of the
/// interpreter is not held, and must not be taken by the work. A signal whose handler raises, as that of
/// Ctrl-C does, cancels the work; its exception is what is thrown then. What the work throws is thrown.
void run_long(int num_threads, const std::function<void()>& work);
