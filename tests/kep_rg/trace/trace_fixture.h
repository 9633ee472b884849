#pragma once

#include "tests/support/build_case.h"
#include "tests/support/check_report.h"
#include "tests/support/damaged_graph.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

/// A device whose graph is given edge by edge, or built. The tables of its description are made at the first
/// trace.
class TRACED : public BUILD_CASE {
public:
  using BUILD_CASE::BUILD_CASE;

  void publish(const std::vector<std::string>& lines) { test_model::EDITED_GRAPH(*db(), lines).publish(); }
  KEP_RG_TRACE_EDGE& tracer() {
    if (!m_tracer) m_tracer.emplace(db(), *parse().find_routing_primitive_cache());
    return *m_tracer;
  }
  KEP_ROUTING::NODE node(const char* name) const { return test_model::node_named(*db(), name); }

  /// The trace from node to node; "(none)" where there is none. What is said is in report().
  std::vector<std::string> trace(const char* from, const char* to) {
    std::vector<KEP_UNFOLDED_INST_PORT> uips;
    m_report = test_model::report_of([&] { return tracer().trace_edge(node(from), node(to), uips); });
    if (!m_report.m_result) return {"(none)"};
    EXPECT_TRUE(m_report.is_silent());
    std::vector<std::string> names;
    for (const KEP_UNFOLDED_INST_PORT& each : uips)
      names.push_back(test_model::name_of(each));
    return names;
  }
  const test_model::CHECK_REPORT& report() const { return m_report; }
  /// Whether all edges trace and verify, and what is said of the first that does not.
  std::vector<std::string> verify_all() {
    m_report = test_model::report_of([&] { return tracer().verify_all_edge_traces(); });
    EXPECT_THAT(m_report.m_infos, testing::IsEmpty());
    EXPECT_EQ(m_report.m_rest, "");
    EXPECT_EQ(m_report.m_result, m_report.m_errors.empty());
    return m_report.m_errors;
  }

private:
  std::optional<KEP_RG_TRACE_EDGE> m_tracer;
  test_model::CHECK_REPORT m_report;
};
