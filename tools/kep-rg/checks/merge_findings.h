#pragma once

#include "tools/kep-rg/checks/findings_file.h"

#include <ostream>
#include <vector>

/// Puts the parts of one run together, which may come in any order. std::runtime_error that names the file
/// and the reason unless they are all parts of one run, each once.
FINDINGS_PART merge_findings(std::vector<FINDINGS_PART> parts);

/// Shows what was found as `check` does of a whole device, but for its summary. False when there is a finding
/// that is not waived.
bool report_findings(const FINDINGS_PART& whole, bool is_quiet, std::ostream& out);
