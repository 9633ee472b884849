#pragma once

#include "kep_rg/kep_rg_part.h"
#include "tools/kep-rg/device/load_device.h"

#include <ostream>
#include <string>
#include <vector>

/// What a finished graph is asked.
struct VERIFICATION {
  bool m_check = false;                  ///< run the proof and the post checks
  bool m_trace = false;                  ///< verify the traces of all edges
  std::vector<std::string> m_waive = {}; ///< ids of findings that don't decide the result
  KEP_RG_PART m_part = {};               ///< of the checks
  std::string m_findings = {};           ///< file for the findings; empty: none
};

/// Holds the graph of a database against its model and against the rules of a graph, traces its edges, or
/// both. What is found goes to `out`, the first ones of each kind or, in a verbose run, all; the last line is
/// the verdict, or what a part found. A quiet run that finds nothing says nothing. False when there is a
/// finding that is not waived.
bool verify_graph(KEP_DB* db, const DEVICE_OPTIONS& device, const VERIFICATION& asked, BUILD_STATS& stats,
                  std::ostream& out);
