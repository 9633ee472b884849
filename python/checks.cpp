#include "python/checks.h"

#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_proof.h"
#include "kep_rg/kep_rg_trace_tally.h"
#include "python/errors.h"
#include "python/long_work.h"
#include "python/manners.h"

#include <fmt/format.h>

#include <algorithm>
#include <pybind11/stl.h>

namespace py = pybind11;
using KIND = KEP_RG_FINDING_KIND;

namespace {

const char* get_subject(KIND kind) {
  switch (kep_rg_get_subject(kind)) {
  case KEP_RG_FINDING_SUBJECT::GRAPH:
    return "graph";
  case KEP_RG_FINDING_SUBJECT::DEVICE:
    return "device";
  case KEP_RG_FINDING_SUBJECT::TRACE:
    return "trace";
  }
  return "";
}

/// Runs checks and gathers what they find. Takes no lock of Python.
class CHECKER {
public:
  CHECKER(DEVICE& device, std::size_t max_findings, CHECK_REPORT& report)
      : m_device(device), m_graph(device.get_graph()), m_max_findings(max_findings), m_report(report) {}

  void prove(int num_threads) {
    const KEP_RG_PROOF::RESULT result = KEP_RG_PROOF(&m_device.get_db()).run(num_threads, m_max_findings);
    add_proved(KIND::MISSING_NODE, result.m_num_missing_nodes, result.m_node_findings);
    add_proved(KIND::SURPLUS_NODE, result.m_num_surplus_nodes, result.m_node_findings);
    add_proved(KIND::MISSING_EDGE, result.m_num_missing_edges, result.m_edge_findings);
    add_proved(KIND::SURPLUS_EDGE, result.m_num_surplus_edges, result.m_edge_findings);
  }

  void run_post_checks() {
    for (const KEP_RG_FINDINGS& findings : kep_rg_find_all(m_graph, is_redundancy_judged(), m_max_findings))
      add(findings);
  }

  void trace(int num_threads) {
    const KEP_RG_TRACE_TALLY tally = kep_rg_trace_all_edges(m_device.get_db(), num_threads, m_max_findings);
    for (const KEP_RG_FINDINGS& findings : tally.m_findings)
      add(findings);
  }

private:
  /// Where nothing was said of redundancy, and nothing is redundant, it is no matter.
  bool is_redundancy_judged() const {
    const auto& inputs = m_device.get_origin().m_inputs;
    return m_graph.get_num_redundant_edges() != 0 ||
           std::any_of(inputs.begin(), inputs.end(),
                       [](const KEP_DATABASE_INPUT& input) { return input.m_role == "redundancy"; });
  }

  template <class FOUND>
  void add_proved(KIND kind, std::uint64_t num, const std::vector<FOUND>& found) {
    count(kind, num);
    for (const FOUND& each : found)
      if (kep_rg_get_kind(each) == kind) add(kep_rg_get_finding(each));
  }
  void add(const KEP_RG_FINDINGS& findings) {
    count(findings.m_kind, findings.m_num);
    for (const KEP_RG_FINDINGS::PLACE& place : findings.m_first)
      add(kep_rg_get_finding(m_graph, findings.m_kind, place));
  }
  void count(KIND kind, std::uint64_t num) {
    if (num != 0) m_report.m_counts.emplace_back(kep_rg_get_id(kind), num);
  }
  void add(const KEP_RG_FINDING& finding) {
    std::optional<TEXT> mux_input;
    if (finding.m_mux_input) mux_input = finding.m_mux_input.get_name(NAME_STYLE);
    m_report.m_findings.push_back({kep_rg_get_id(finding.m_kind), get_subject(finding.m_kind), finding.m_text,
                                   find_node(m_device, finding.m_node), find_node(m_device, finding.m_to),
                                   std::move(mux_input)});
  }

  DEVICE& m_device;
  const KEP_ROUTING::GRAPH& m_graph;
  std::size_t m_max_findings;
  CHECK_REPORT& m_report;
};

py::dict get_counts(const CHECK_REPORT& report) {
  py::dict counts;
  for (const auto& [id, num] : report.m_counts)
    counts[py::str(id)] = num;
  return counts;
}

std::string get_text(const CHECK_REPORT& report) {
  if (report.m_counts.empty()) return "<kep_rg.CheckReport: nothing found>";
  std::string text;
  for (const auto& [id, num] : report.m_counts)
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", num, id);
  return fmt::format("<kep_rg.CheckReport: {}>", text);
}

} // namespace

CHECK_REPORT check_device(DEVICE& device, bool with_traces, const NUMBER& max_findings,
                          const std::optional<NUMBER>& threads) {
  if (max_findings.get_value() < 0)
    throw ARGUMENT_FAILURE(fmt::format("max_findings={}: it can't be negative", max_findings.get_text()));
  const int num_threads = get_num_threads(threads);
  CHECK_REPORT report;
  run_long(num_threads, [&] {
    CHECKER checker(device, static_cast<std::size_t>(max_findings.get_value()), report);
    checker.prove(num_threads);
    checker.run_post_checks();
    if (with_traces) checker.trace(num_threads);
  });
  return report;
}

void bind_checks(py::module_& module) {
  py::class_<DEVICE_FINDING> finding(module, "Finding", "One finding of a check.");
  forbid_making(finding);
  finding
      .def("__repr__",
           [](const DEVICE_FINDING& self) -> TEXT {
             return fmt::format("<kep_rg.Finding {}: {}>", self.m_id, self.m_text);
           })
      .def_readonly("id", &DEVICE_FINDING::m_id, "What kind it is: \"missing-node\", \"surplus-edge\", ...")
      .def_readonly("subject", &DEVICE_FINDING::m_subject,
                    "What it says something about: \"graph\", which is wrong; \"device\", which is odd;\n"
                    "\"trace\", which fails, as traces of sound edges may.")
      .def_readonly("text", &DEVICE_FINDING::m_text, "One line, as the tool prints it.")
      .def_readonly("node", &DEVICE_FINDING::m_node,
                    "The node, or the source of the edge; None for a missing node and for the whole graph.")
      .def_readonly("target", &DEVICE_FINDING::m_target, "The target of the edge; None without one.")
      .def_readonly("mux_input", &DEVICE_FINDING::m_mux_input,
                    "The mux input of the edge; None without one.");
  py::class_<CHECK_REPORT> report(module, "CheckReport", "What a check found.");
  forbid_making(report);
  report.def("__repr__", [](const CHECK_REPORT& self) { return get_text(self); })
      .def_property_readonly("counts", &get_counts, "The number of all findings of each kind, by id.")
      .def_readonly("findings", &CHECK_REPORT::m_findings, "The first findings of each kind.")
      .def_property_readonly(
          "is_clean", [](const CHECK_REPORT& self) { return self.m_counts.empty(); }, "Nothing was found.");
}
