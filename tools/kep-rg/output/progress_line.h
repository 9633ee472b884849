#pragma once

#include "kep_report/kep_report_progress.h"
#include "kep_report/kep_report_sink.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// While it lives, the phase that runs is shown on a terminal: one line, drawn anew in place some times a
/// second and erased when the phase ends or something else is to be told. The innermost phase is shown, and
/// only once it takes long enough to read the line.
class PROGRESS_LINE {
public:
  using CLOCK = std::chrono::steady_clock;

  /// Nothing is drawn, or done, unless the file is a terminal that can erase a line.
  explicit PROGRESS_LINE(int file);
  ~PROGRESS_LINE();
  PROGRESS_LINE(const PROGRESS_LINE&) = delete;
  PROGRESS_LINE& operator=(const PROGRESS_LINE&) = delete;

  /// The text of the line, of at most so many characters: how much of the total is done, and the time left,
  /// each where it can be known.
  static std::string format(const char* name, std::uint64_t done, std::uint64_t total, double seconds,
                            std::size_t width);

private:
  struct PHASE {
    const KEP_REPORT_PROGRESS* m_progress;
    CLOCK::time_point m_begin;
  };

  void watch(const KEP_REPORT_PROGRESS& progress, KEP_REPORT::PROGRESS_EVENT event);
  void keep_drawing();
  void draw();
  void erase();
  void write(const std::string& text) const;

  const int m_file;
  const bool m_is_drawn_at_all;
  std::mutex m_mutex; // of all below
  std::condition_variable m_wake_up;
  std::vector<PHASE> m_phases; // the innermost last
  bool m_is_drawn = false;
  bool m_is_over = false;
  std::array<KEP_REPORT::SINK, KEP_REPORT::NUM_STREAMS> m_sinks; // those of before
  std::thread m_thread;
};
