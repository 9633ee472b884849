#pragma once

#include "kep_rg/kep_rg_part.h"
#include "tools/kep-rg/checks/findings_report.h"
#include "tools/kep-rg/checks/trace_numbers.h"

#include <cstdint>
#include <string>
#include <vector>

/// What one part of the checks found, and of what, as a file of findings has it: one JSON object, which
/// docs/formats.md describes.
struct FINDINGS_PART {
  std::string m_file; ///< from which it was read
  std::string m_device;
  std::uint64_t m_checksum = 0; ///< of the device
  KEP_RG_PART m_part;
  bool m_is_verbose = false; ///< all findings are kept
  WAIVED_KINDS m_waived;
  bool m_is_redundancy_judged = false;
  VERDICT_SCOPE m_scope; ///< the whole graph
  TRACE_NUMBERS m_traces;
  std::vector<FOUND_KIND> m_found; ///< in the order of kinds
};

/// Failures are told as those of KEP_ATOMIC_FILE.
void write_findings(const FINDINGS_PART& part, const std::string& path);

/// KEP_IO_ERROR, "FILE: REASON", for what can't be read or isn't such a file.
FINDINGS_PART read_findings(const std::string& path);
