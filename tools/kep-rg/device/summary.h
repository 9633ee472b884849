#pragma once

#include "kep/kep_db.h"
#include "tools/kep-rg/device/load_device.h"

#include <cstdint>
#include <string>
#include <vector>

/// Prints what a build made, in a few aligned lines, unless the run is quiet or standard output is taken: the
/// device, nodes, edges, memory, times, and the files that were written.
void print_summary(const KEP_DB& db, const DEVICE_OPTIONS& options, const BUILD_STATS& stats,
                   const std::vector<std::string>& files);

/// A number of bytes in three figures: 12.3 MB.
std::string format_bytes(std::uint64_t bytes);
