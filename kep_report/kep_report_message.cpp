#include "kep_report/kep_report_message.h"

#include "kep_report/kep_report_assert.h"

namespace {

// A text begins with its code, so that a finding can be looked up, filtered and counted by it.
constinit KEP_REPORT_MESSAGE_CODE s_codes[] = {
    {"RG-UNREACHABLE-ROUTING-NODES",
     "RG-UNREACHABLE-ROUTING-NODES: routing nodes that the input nodes do not reach: %u",
     "RG-UNREACHABLE-ROUTING-NODES: routing nodes that the input nodes do not reach: %1%"},
    {"RG-ONE-REAL-EDGE-PER-NODE",
     "RG-ONE-REAL-EDGE-PER-NODE: %i real edges lead from one node to the same fanout %s",
     "RG-ONE-REAL-EDGE-PER-NODE: %1% real edges lead from one node to the same fanout %2%"},
    {"RG-HIPI-CHECK-FAILED", //
     "RG-HIPI-CHECK-FAILED: condition that does not hold: %s",
     "RG-HIPI-CHECK-FAILED: condition that does not hold: %1%"},
    {"RG-NO-REAL-EDGE-FOR-REDUNDANT-EDGE",
     "RG-NO-REAL-EDGE-FOR-REDUNDANT-EDGE: a node has redundant edges, but not one real edge for each fanout"},
    {"RG-REDUNDANT-EDGE-COUNT-PREREQUISITE",
     "RG-REDUNDANT-EDGE-COUNT-PREREQUISITE: too few edges are redundant for a check of redundant edges"},
};

} // namespace

const char* KEP_REPORT_MESSAGE_CODE::to_printf() const {
  return m_printf_text;
}

const char* KEP_REPORT_MESSAGE_CODE::to_boost() const {
  return m_boost_text;
}

KEP_REPORT_MESSAGE_CODE* KEP_REPORT_MESSAGE_CODE_DB::get(const std::string& code) const {
  KEP_REPORT_MESSAGE_CODE* found = nullptr;
  for (KEP_REPORT_MESSAGE_CODE& entry : s_codes)
    if (code == entry.get_code()) found = &entry;
  KEP_ASSERT_EXPLAIN(found, "There is no message with the code \"%s\"", code.c_str());
  return found;
}

KEP_REPORT_MESSAGE_CODE_DB* KEP_REPORT_MESSAGE_CODE_DB::get_instance() {
  static constinit KEP_REPORT_MESSAGE_CODE_DB db;
  return &db;
}
