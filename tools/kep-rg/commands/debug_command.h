#pragma once

#include "tools/kep-rg/device/load_device.h"

#include <string>

/// What `kep-rg debug` was asked for.
struct DEBUG_OPTIONS {
  DEVICE_OPTIONS m_device;
  std::string m_uip;
  std::string m_log; ///< file for the points of the walk; "-" draws it; empty: none
};

/// Builds a graph, walks from one of its nodes again and lists the fanouts that this gives, as the dump has
/// them. A name without a plain node is told by std::runtime_error; the log appears only when it is complete.
void debug_command(const DEBUG_OPTIONS& options);
