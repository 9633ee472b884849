#pragma once

/// @file
/// Wall times of phases.

#include <chrono>
#include <string>
#include <utility>
#include <vector>

/// The phases of a run and their wall times in seconds, in the order in which they ended.
using KEP_RG_PHASES = std::vector<std::pair<std::string, double>>;

/// Enters the wall time of its scope under a name. `phases` and `name` must outlive it; one thread.
class KEP_RG_PHASE_CLOCK {
public:
  /// Starts the clock.
  KEP_RG_PHASE_CLOCK(KEP_RG_PHASES& phases, const char* name)
      : m_phases(phases), m_name(name), m_start(std::chrono::steady_clock::now()) {}
  KEP_RG_PHASE_CLOCK(const KEP_RG_PHASE_CLOCK&) = delete;
  KEP_RG_PHASE_CLOCK& operator=(const KEP_RG_PHASE_CLOCK&) = delete;
  ~KEP_RG_PHASE_CLOCK() {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - m_start;
    m_phases.emplace_back(m_name, elapsed.count());
  }

private:
  KEP_RG_PHASES& m_phases;
  const char* m_name;
  std::chrono::steady_clock::time_point m_start;
};
