#pragma once

#include "tools/kep-rg/checks/verify_graph.h"
#include "tools/kep-rg/device/load_device.h"

#include <string>

/// What `kep-rg build` was asked for.
struct BUILD_OPTIONS {
  DEVICE_OPTIONS m_device;
  std::string m_wire_paths; ///< file for the paths of wires; empty: none
  std::string m_dump;       ///< folder for the dump; empty: none
  VERIFICATION m_verification;
};

/// Reads a device, builds its routing graph, checks it and writes what was asked for. False when a check made
/// a finding; the files are written all the same. Input that can't be used is told by an exception of the
/// library that found it out, or by std::runtime_error; files appear only when they are complete.
bool build_command(const BUILD_OPTIONS& options);
