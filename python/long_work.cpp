#include "python/long_work.h"

#include "kep/kep_cancelled.h"
#include "python/errors.h"

#include <fmt/format.h>
#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <pybind11/pybind11.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace py = pybind11;

namespace {

constexpr int MAX_THREADS = 256; // as many as the thread library is sure to start
constexpr std::chrono::milliseconds SIGNAL_STEP{10};
constexpr std::chrono::seconds PATIENCE_AT_EXIT{5}; // with work that waits for something, as for a pipe

/// Takes the lock of the interpreter back. A thread that is still there when Python ends never gets it:
/// Python ends the thread by an unwinding of its stack that C++ does not survive, so it stands still here
/// instead, until the process is gone.
void take_lock_back(PyThreadState* state) {
  try {
    PyEval_RestoreThread(state);
  } catch (...) { // of which nothing else is thrown
    for (;;)
      ::pause();
  }
}

/// The work on a thread of its own. Only who made it calls.
class WORKER {
public:
  /// With the lock of the interpreter held, as when it goes.
  WORKER(int num_threads, const std::function<void()>& work)
      : m_thread([this, num_threads, &work] { run(num_threads, work); }) {
    [[maybe_unused]] static const int registered = Py_AtExit(&end_all);
    s_workers.push_back(this);
  }
  ~WORKER() {
    m_thread.join();
    std::erase(s_workers, this);
  }
  WORKER(const WORKER&) = delete;
  WORKER& operator=(const WORKER&) = delete;

  void cancel() { m_context.cancel_group_execution(); }
  /// Waits for some time, while other threads of Python run; false if the work is not done then.
  bool wait() {
    PyThreadState* state = PyEval_SaveThread();
    const bool is_done = wait_until(std::chrono::steady_clock::now() + SIGNAL_STEP);
    take_lock_back(state);
    return is_done;
  }
  /// Once it is done.
  void rethrow() const {
    if (m_failure) std::rethrow_exception(m_failure);
  }

private:
  /// What threads began that Python leaves behind as it ends is not done behind the back of a process that
  /// takes itself apart. No thread but the last one runs Python's code any more.
  static void end_all() {
    for (WORKER* worker : s_workers)
      if (worker->m_process == ::getpid()) worker->cancel();
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE_AT_EXIT;
    for (WORKER* worker : s_workers)
      if (worker->m_process == ::getpid()) worker->wait_until(deadline);
  }

  bool wait_until(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_until(lock, deadline, [this] { return m_is_done; });
  }

  void run(int num_threads, const std::function<void()>& work) {
    try {
      if (num_threads > tbb::info::default_concurrency()) {
        // One for all works: of several the smallest would hold for all, and the library would warn.
        static const tbb::global_control more(tbb::global_control::max_allowed_parallelism, MAX_THREADS);
      }
      tbb::task_arena(num_threads).execute([&] {
        tbb::task_group group(m_context);
        if (group.run_and_wait(work) == tbb::canceled) throw KEP_CANCELLED();
      });
    } catch (...) {
      m_failure = std::current_exception();
    }
    const std::lock_guard lock(m_mutex);
    m_is_done = true;
    m_changed.notify_all();
  }

  static inline std::vector<WORKER*> s_workers; // guarded by the lock of the interpreter

  pid_t m_process = ::getpid(); // a fork copies the worker, but not its thread
  tbb::task_group_context m_context;
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_is_done = false;
  std::exception_ptr m_failure;
  std::thread m_thread; // last: it uses all others
};

} // namespace

int get_num_threads(const std::optional<NUMBER>& asked) {
  if (!asked) return tbb::info::default_concurrency();
  if (asked->get_value() < 1)
    throw ARGUMENT_FAILURE(fmt::format("threads={}: at least one thread is needed", asked->get_text()));
  return static_cast<int>(std::min<std::int64_t>(asked->get_value(), MAX_THREADS));
}

void let_others_run() {
  take_lock_back(PyEval_SaveThread());
}

void run_long(int num_threads, const std::function<void()>& work) {
  WORKER worker(num_threads, work);
  std::optional<py::error_already_set> signal;
  while (!worker.wait())
    if (!signal && PyErr_CheckSignals() != 0) {
      signal.emplace();
      worker.cancel();
    }
  if (signal) throw py::error_already_set(*signal);
  worker.rethrow();
}
