#pragma once

#include "tools/kep-rg/load_device.h"

/// Holds every edge of the graph against the model. Each missing and each surplus edge goes to the report by
/// name, the first ones in the order of the graph or, in a verbose run, all; then one line of outcome. False
/// when there is a finding.
bool prove_graph(KEP_DB* db, const DEVICE_OPTIONS& options, BUILD_STATS& stats);
