#pragma once

#include "tools/kep-rg/device/load_device.h"

#include <string>

/// What `kep-rg next` was asked for.
struct NEXT_OPTIONS {
  DEVICE_OPTIONS m_device;
  std::string m_uip;
};

/// Builds a graph, looks for the next routing node from one of its nodes along a plain wire and prints the
/// way. False when there is none, which is told with the reason. A name without a plain node is told by
/// std::runtime_error.
bool next_command(const NEXT_OPTIONS& options);
