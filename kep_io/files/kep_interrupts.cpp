#include "kep_io/files/kep_interrupts.h"

#include <climits>

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <unistd.h>

namespace {

// All that a handler touches: atomics that need no lock, and memory that stays.
struct SLOT {
  std::atomic<bool> m_is_used = false;
  char m_path[PATH_MAX] = {};
};
std::array<SLOT, 8> g_slots;
std::atomic<bool> g_line_is_drawn = false;
std::atomic<int> g_num_delays = 0;
std::atomic<int> g_signal = 0; // that came and is to end the process
std::atomic<bool> g_is_ending = false;
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void end_by(int signal) {
  g_is_ending = true;
  for (const SLOT& slot : g_slots)
    if (slot.m_is_used) ::unlink(slot.m_path);
  constexpr char ERASE[] = "\r\033[K";
  if (g_line_is_drawn) [[maybe_unused]]
    const ssize_t ignored = ::write(STDERR_FILENO, ERASE, sizeof ERASE - 1);
  std::signal(signal, SIG_DFL);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  std::raise(signal);
}

// Tells first and asks then, as a delay does the other way round: one of the two sees the other.
void on_signal(int signal) {
  g_signal = signal;
  if (g_num_delays == 0) end_by(signal);
}

} // namespace

void kep_handle_interrupts() {
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM}) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = on_signal;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
  }
  std::signal(SIGXFSZ, SIG_IGN);
}

KEP_INTERRUPT_DELAY::KEP_INTERRUPT_DELAY() {
  if (g_num_delays++ == 0 && g_signal != 0) end_by(g_signal);
}

KEP_INTERRUPT_DELAY::~KEP_INTERRUPT_DELAY() {
  if (--g_num_delays == 0 && g_signal != 0) end_by(g_signal);
}

void kep_remove_on_interrupt(const std::string& path) {
  for (SLOT& slot : g_slots) {
    if (slot.m_is_used || path.size() >= sizeof slot.m_path) continue;
    std::memcpy(slot.m_path, path.c_str(), path.size() + 1);
    slot.m_is_used = true;
    return;
  }
}

void kep_keep_on_interrupt(const std::string& path) {
  for (SLOT& slot : g_slots)
    if (slot.m_is_used && path == slot.m_path) slot.m_is_used = false;
}

void kep_erase_line_on_interrupt(bool is_drawn) {
  g_line_is_drawn = is_drawn;
}

bool kep_is_ended_by_interrupt() {
  return g_is_ending;
}
