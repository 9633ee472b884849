#pragma once

#include "tools/kep-rg/device/load_device.h"

#include <string>

/// What `kep-rg trace` was asked for. A name stands for all nodes at its place, a plain node and its hipi
/// twin.
struct TRACE_OPTIONS {
  DEVICE_OPTIONS m_device;
  std::string m_from;
  std::string m_to;
};

/// Builds a graph and prints the traces of the edges between two nodes, hop by hop. False when there is no
/// such edge and when the trace of one does not verify. A name without a node is told by std::runtime_error,
/// with the names closest to it.
bool trace_command(const TRACE_OPTIONS& options);
