#pragma once

#include "tests/support/build_access.h"

#include <algorithm>
#include <string>
#include <vector>

namespace test_model {

/// The rows of representative nodes that the edge phase of a builder stored, sorted: "t/m:o* below t", with
/// "*" for a hipi twin.
inline std::vector<std::string> representative_rows(KEP_RG_BUILD& build) {
  std::vector<std::string> lines;
  for (const auto& rows : KEP_RG_TEST_ACCESS::representative_rows(build))
    for (const auto& row : rows)
      lines.push_back(row.m_node->get_name(KEP_NAME_STYLE()) + (row.m_relpath.m_orientation ? "*" : "") +
                      " below " + row.m_module.get_unfolded_instance().get_name(KEP_NAME_STYLE()));
  std::sort(lines.begin(), lines.end());
  return lines;
}

} // namespace test_model
