#pragma once

#include "tools/kep-rg/load_device.h"

#include <string>

/// What `kep-rg check` was asked for.
struct CHECK_OPTIONS {
  DEVICE_OPTIONS m_device;
  bool m_prove = false; ///< hold every edge against the model, and trace none
  std::string m_stats;  ///< file for the statistics; empty: none
};

/// The post checks of a finished graph. The findings and one line of outcome go to the report; false when
/// there is a finding. That redundant edges are many enough is only checked where redundancy data was given
/// or redundant edges are there: a device without any is no fault.
bool run_checks(KEP_DB* db, const DEVICE_OPTIONS& options, BUILD_STATS& stats);

/// The traces of all edges. The report says how many edges verify and how many do not, by reason, with the
/// first of each; a verbose run lists them all. False when there is a finding: an edge that does not verify,
/// other than one at a boundary node.
bool run_traces(KEP_DB* db, const DEVICE_OPTIONS& options, BUILD_STATS& stats);

/// Builds a graph and runs all of it.
bool check_command(const CHECK_OPTIONS& options);
