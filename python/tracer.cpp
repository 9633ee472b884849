#include "python/tracer.h"

#include "kep_rg/kep_rg_findings.h"
#include "python/errors.h"
#include "python/long_work.h"
#include "python/manners.h"
#include "python/number.h"

#include <fmt/format.h>

#include <pybind11/stl.h>

namespace py = pybind11;
using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;

namespace {

TRACE_STEP get_step(const KEP_RG_TRACE_EDGE::HOP& hop) {
  const std::string to = hop.m_uip.get_name(NAME_STYLE);
  if (hop.m_is_arc) return {"mux", hop.m_uip.get_unfolded_instance().get_name(NAME_STYLE), to};
  return {"net", hop.m_net.get_name(NAME_STYLE), to};
}

/// A name stands for all nodes at its place.
std::vector<DEVICE_NODE> get_nodes(DEVICE& device, const py::object& node) {
  if (py::isinstance<py::str>(node)) return find_nodes(device, node.cast<TEXT>());
  return {make_node(device, get_value<NUMBER>(node, "a Node, a name or a number"))};
}

TEXT get_text(const TRACE_STEP& step) {
  return fmt::format("{} {} to {}", step.m_kind, step.m_name.empty() ? "none" : step.m_name, step.m_to);
}

} // namespace

void DEVICE_TRACER::trace(const KEP_ROUTING::NODE& from, const KEP_ROUTING::NODE& to, EDGE_TRACE& out) {
  OUTCOME outcome = from.is_boundary() ? OUTCOME::STARTS_AT_BOUNDARY
                    : to.is_boundary() ? OUTCOME::ENDS_AT_BOUNDARY
                                       : OUTCOME::NOT_FOUND;
  if (outcome == OUTCOME::NOT_FOUND && m_tracer.trace_edge(from, to, m_uips)) {
    outcome = m_tracer.check_trace(from, m_uips, m_hops);
    for (const KEP_RG_TRACE_EDGE::HOP& hop : m_hops)
      out.m_steps.push_back(get_step(hop));
    for (std::size_t i = m_hops.size(); i < m_uips.size(); ++i)
      out.m_steps.push_back({"unknown", "", m_uips[i].get_name(NAME_STYLE)});
  }
  out.m_is_verified = outcome == OUTCOME::VERIFIED;
  if (!out.m_is_verified) out.m_reason = kep_rg_get_reason(outcome);
}

EDGE_TRACE trace_edges(DEVICE& device, const py::object& source, const py::object& target) {
  const std::vector<DEVICE_NODE> sources = get_nodes(device, source);
  const std::vector<DEVICE_NODE> targets = get_nodes(device, target);
  EDGE_TRACE trace;
  for (const DEVICE_NODE& from : sources)
    for (const DEVICE_NODE& to : targets) {
      trace.m_edges = find_edges(from, to.m_number);
      if (trace.m_edges.empty()) continue;
      run_long(1, [&] {
        device.with_tracer([&](DEVICE_TRACER& tracer) { tracer.trace(from.get(), to.get(), trace); });
      });
      return trace;
    }
  throw NOT_FOUND_FAILURE(fmt::format("No edge from {} to {}", sources[0].get().get_name(NAME_STYLE),
                                      targets[0].get().get_name(NAME_STYLE)));
}

void bind_tracer(py::module_& module) {
  py::class_<TRACE_STEP> step(module, "Step", "One step of a trace: by what it comes to an inst port.");
  forbid_making(step);
  step.def("__repr__",
           [](const TRACE_STEP& self) -> TEXT { return fmt::format("<kep_rg.Step {}>", get_text(self)); })
      .def("__str__", [](const TRACE_STEP& self) { return get_text(self); })
      .def_readonly("kind", &TRACE_STEP::m_kind,
                    "\"net\", \"mux\", or \"unknown\" behind the last step that verifies.")
      .def_readonly("name", &TRACE_STEP::m_name,
                    "The net, or the instance of the mux; empty where two sides without a net meet.")
      .def_readonly("to", &TRACE_STEP::m_to, "The inst port that the step comes to, \"a/b:c\".");
  py::class_<EDGE_TRACE> trace(module, "Trace",
                               "The way of the edges between two nodes through the hierarchy.");
  forbid_making(trace);
  trace
      .def("__repr__",
           [](const EDGE_TRACE& self) -> TEXT {
             return fmt::format("<kep_rg.Trace: {} steps, {}>", self.m_steps.size(),
                                self.m_is_verified ? "verified" : self.m_reason);
           })
      .def_readonly("edges", &EDGE_TRACE::m_edges,
                    "The edges between the two nodes; those that run side by side have one trace.")
      .def_readonly("steps", &EDGE_TRACE::m_steps, "The steps from the source to the target.")
      .def_readonly("is_verified", &EDGE_TRACE::m_is_verified, "Every step holds in the model.")
      .def_readonly("reason", &EDGE_TRACE::m_reason,
                    "Why the trace does not verify, \"\" where it does. Edges at boundary nodes have none.");
}
