#pragma once

#include "tools/kep-rg/checks/verify_graph.h"
#include "tools/kep-rg/device/load_device.h"

#include <string>

/// What `kep-rg check` was asked for.
struct CHECK_OPTIONS {
  DEVICE_OPTIONS m_device;
  VERIFICATION m_verification;
};

/// Builds a graph and verifies it: the proof and the post checks, the traces if they are asked for. False
/// when there is a finding that is not waived.
bool check_command(const CHECK_OPTIONS& options);
