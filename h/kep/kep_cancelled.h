#pragma once

/// @file
/// How long work is ended from another thread.

#include "kep/kep_export.h"

#include <exception>

/// Work that was told to end before it was done. Whoever wants to be able to end a build, a check, a trace of
/// all edges, or the reading or writing of a file runs it in a task group of TBB and cancels that from
/// another thread:
///
///     tbb::task_group group;
///     group.run([&] { build.build(); });
///     ... group.cancel();
///
/// The work then throws this out of the operation that was called, within a fraction of a second as a rule;
/// `group.wait()` tells that it was cancelled. A database whose build was cancelled has the graph that it had
/// before, or none, and can be built again; a model that was being read is gone; of a description or of
/// redundancy data stays what was carried out; and a file that was being written is as it was before. Work
/// that was done when the group was cancelled is done.
class KEP_EXPORT KEP_CANCELLED : public std::exception {
public:
  KEP_CANCELLED() = default;
  KEP_CANCELLED(const KEP_CANCELLED&) = default;
  KEP_CANCELLED& operator=(const KEP_CANCELLED&) = default;
  ~KEP_CANCELLED() override;

  /// One line that says that it was cancelled.
  const char* what() const noexcept override;
};

/// Throws KEP_CANCELLED if the task group that the caller runs in was cancelled. For loops of one's own, such
/// as those of an observer; quick enough for each thousandth step.
KEP_EXPORT void kep_throw_if_cancelled();
