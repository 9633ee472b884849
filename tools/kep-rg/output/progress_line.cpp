#include "tools/kep-rg/output/progress_line.h"

#include "kep_io/files/kep_interrupts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::chrono::milliseconds REDRAW_AFTER(100);
constexpr std::chrono::milliseconds SHOW_AFTER(300);
constexpr std::size_t MAX_WIDTH = 80;
// A share is told of what is at least so much, and the time left after so many seconds.
constexpr double LEAST_SHARE = 0.01;
constexpr double LEAST_SECONDS = 1;

bool can_erase_lines(int file) {
  const char* terminal = std::getenv("TERM");
  return ::isatty(file) != 0 && terminal && std::string_view(terminal) != "dumb";
}

/// One column stays free: a cursor behind the last one may stand on the next line.
std::size_t get_width(int file) {
  winsize size{};
  const bool is_known = ::ioctl(file, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
  return std::min<std::size_t>(is_known ? size.ws_col : MAX_WIDTH, MAX_WIDTH) - 1;
}

std::string format_seconds(double seconds) {
  const auto whole = std::llround(seconds);
  if (whole < 60) return fmt::format("{} s", whole);
  if (whole < 3600) return fmt::format("{} min {} s", whole / 60, whole % 60);
  return fmt::format("{} h {} min", whole / 3600, whole / 60 % 60);
}

} // namespace

PROGRESS_LINE::PROGRESS_LINE(int file) : m_file(file), m_is_drawn_at_all(can_erase_lines(file)) {
  if (!m_is_drawn_at_all) return;
  m_thread = std::thread([this] { keep_drawing(); }); // may fail, when nothing is to be taken back yet
  for (std::size_t i = 0; i != m_sinks.size(); ++i) {
    const auto stream = static_cast<KEP_REPORT::STREAM>(i);
    m_sinks[i] = KEP_REPORT::set_sink(stream, {});
    KEP_REPORT::set_sink(stream, [this, i](std::string_view text) {
      {
        const std::lock_guard lock(m_mutex);
        erase();
      }
      m_sinks[i](text);
    });
  }
  KEP_REPORT::set_progress_watcher([this](const KEP_REPORT_PROGRESS& progress,
                                          KEP_REPORT::PROGRESS_EVENT event) { watch(progress, event); });
}

PROGRESS_LINE::~PROGRESS_LINE() {
  if (!m_is_drawn_at_all) return;
  KEP_REPORT::set_progress_watcher({});
  {
    const std::lock_guard lock(m_mutex);
    m_is_over = true;
    erase();
  }
  m_wake_up.notify_one();
  m_thread.join();
  for (std::size_t i = 0; i != m_sinks.size(); ++i)
    KEP_REPORT::set_sink(static_cast<KEP_REPORT::STREAM>(i), m_sinks[i]);
}

void PROGRESS_LINE::watch(const KEP_REPORT_PROGRESS& progress, KEP_REPORT::PROGRESS_EVENT event) {
  const std::lock_guard lock(m_mutex);
  if (event == KEP_REPORT::PROGRESS_EVENT::BEGINS) {
    m_phases.push_back({&progress, CLOCK::now()});
    return;
  }
  std::erase_if(m_phases, [&](const PHASE& phase) { return phase.m_progress == &progress; });
  erase();
}

void PROGRESS_LINE::keep_drawing() {
  std::unique_lock lock(m_mutex);
  while (!m_wake_up.wait_for(lock, REDRAW_AFTER, [this] { return m_is_over; }))
    draw();
}

void PROGRESS_LINE::draw() {
  if (m_phases.empty() || kep_is_ended_by_interrupt()) return;
  const PHASE& phase = m_phases.back();
  const CLOCK::duration elapsed = CLOCK::now() - phase.m_begin;
  if (elapsed < SHOW_AFTER) return;
  m_is_drawn = true;
  kep_erase_line_on_interrupt(true);
  const std::string line =
      format(phase.m_progress->get_name(), phase.m_progress->get_done(), phase.m_progress->get_total(),
             std::chrono::duration<double>(elapsed).count(), get_width(m_file));
  write(fmt::format("\r{}\033[K", line));
}

void PROGRESS_LINE::erase() {
  if (!std::exchange(m_is_drawn, false)) return;
  write("\r\033[K");
  kep_erase_line_on_interrupt(false);
}

/// A terminal that can't be written to has nobody in front of it.
void PROGRESS_LINE::write(const std::string& text) const {
  [[maybe_unused]] const ssize_t ignored = ::write(m_file, text.data(), text.size());
}

std::string PROGRESS_LINE::format(const char* name, std::uint64_t done, std::uint64_t total, double seconds,
                                  std::size_t width) {
  std::string text = name;
  const double share = total == 0 ? 0 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
  if (total != 0) text += fmt::format(": {} % done", static_cast<int>(share * 100));
  if (total != 0 && share >= LEAST_SHARE && seconds >= LEAST_SECONDS)
    text += fmt::format(", {} left", format_seconds(seconds / share * (1 - share)));
  if (total == 0) text += " ...";
  return text.substr(0, width);
}
