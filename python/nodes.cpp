#include "python/nodes.h"

#include "kep_io/kep_find_nodes.h"
#include "kep_io/kep_io_error.h"
#include "kep_rg/kep_rg_find_routing_node_on_net.h"
#include "kep_rg/kep_rg_findings.h"
#include "python/errors.h"
#include "python/long_work.h"
#include "python/manners.h"
#include "python/number.h"
#include "python/text.h"

#include <fmt/format.h>

#include <pybind11/operators.h>
#include <pybind11/stl.h>

namespace py = pybind11;
using KEP_ROUTING::NODE;
using KEP_ROUTING::NUMBERED_FWD_EDGE;
using KEP_ROUTING::NUMBERED_GRAPH;
using KEP_ROUTING::NUMBERED_REV_EDGE;

std::optional<DEVICE_NODE> find_node(DEVICE& device, const NODE& node) {
  if (!node) return std::nullopt;
  const std::uint32_t number = device.get_graph().get_index(node);
  if (number >= device.get_num_nodes()) return std::nullopt; // in a damaged graph
  return DEVICE_NODE(device.shared_from_this(), number);
}

std::vector<DEVICE_NODE> find_nodes(DEVICE& device, const std::string& name) {
  std::vector<NODE> found = kep_find_nodes(device.get_db(), name);
  if (found.empty())
    run_long(1, [&] { // the closest names take a walk over all nodes
      try {
        found = kep_get_nodes(device.get_db(), name);
      } catch (const KEP_IO_ERROR& error) {
        throw NOT_FOUND_FAILURE(error.what());
      }
    });
  std::vector<DEVICE_NODE> nodes;
  nodes.reserve(found.size());
  for (const NODE& node : found)
    if (std::optional<DEVICE_NODE> there = find_node(device, node)) nodes.push_back(std::move(*there));
  if (nodes.empty()) // in a damaged graph
    throw NOT_FOUND_FAILURE(fmt::format("no node \"{}\": its number is out of range", name));
  return nodes;
}

namespace {

std::vector<DEVICE_EDGE> get_fanouts(const DEVICE_NODE& node) {
  const auto range = node.m_device->get_numbers().iter_all_fanout(node.m_number);
  std::vector<DEVICE_EDGE> edges;
  edges.reserve(static_cast<std::size_t>(range.size()));
  for (const NUMBERED_FWD_EDGE& edge : range)
    edges.push_back({node.m_device, node.m_number, static_cast<std::uint32_t>(edges.size()), edge});
  return edges;
}

} // namespace

std::vector<DEVICE_EDGE> find_edges(const DEVICE_NODE& source, std::uint32_t target) {
  std::vector<DEVICE_EDGE> edges = get_fanouts(source);
  std::erase_if(edges, [target](const DEVICE_EDGE& edge) { return edge.m_edge.get_fanout() != target; });
  return edges;
}

namespace {

std::vector<DEVICE_EDGE> get_fanins(const DEVICE_NODE& node) {
  const auto range = node.m_device->get_numbers().iter_all_fanin(node.m_number);
  std::vector<DEVICE_EDGE> edges;
  edges.reserve(static_cast<std::size_t>(range.size()));
  for (const NUMBERED_REV_EDGE& edge : range)
    if (edge.get_fanin() != NUMBERED_GRAPH::NONE)
      edges.push_back({node.m_device, edge.get_fanin(), edge.find_fwd_index(), edge.find_fwd_edge()});
  return edges;
}

/// Along a plain wire; a wire is known to begin at a plain node alone.
std::optional<DEVICE_NODE> find_next(const DEVICE_NODE& node) {
  if (node.get().is_boundary() || node.get().is_hipi()) return std::nullopt;
  KEP_UNFOLD_OBSERVER nobody;
  const KEP_RG_FIND_ROUTING_NODE_ON_NET finder(KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, &nobody);
  return find_node(*node.m_device, finder.find_routing_node(node.get()));
}

DEVICE_NODE get_target(const DEVICE_EDGE& edge) {
  return make_node(*edge.m_device, edge.m_edge.get_fanout()); // there is none in a damaged graph
}

std::optional<TEXT> get_mux_input(const DEVICE_EDGE& edge) {
  const KEP_UNFOLDED_INST_PORT mux_input = edge.m_edge.get_mux_input();
  if (!mux_input) return std::nullopt;
  return mux_input.get_name(NAME_STYLE);
}

TEXT get_text(const DEVICE_NODE& node) {
  return fmt::format("<kep_rg.Node {} \"{}\">", node.m_number, kep_rg_get_node_text(node.get()));
}

TEXT get_text(const DEVICE_EDGE& edge) {
  const NODE source = edge.m_device->get_graph().get_node(edge.m_source);
  return fmt::format("<kep_rg.Edge \"{}\" -> \"{}\", {}>", kep_rg_get_node_text(source),
                     kep_rg_get_node_text(get_target(edge).get()),
                     edge.m_edge.is_redundant() ? "redundant" : "real");
}

std::size_t get_hash(const DEVICE_NODE& node) {
  return std::hash<const void*>()(node.m_device.get()) ^ (node.m_number * std::size_t{0x9e3779b97f4a7c15});
}

std::size_t get_hash(const DEVICE_EDGE& edge) {
  const std::size_t word = (std::size_t{edge.m_source} << 32) + edge.m_index + 1;
  return std::hash<const void*>()(edge.m_device.get()) ^ (word * std::size_t{0x9e3779b97f4a7c15});
}

void bind_node(py::module_& module) {
  py::class_<DEVICE_NODE> node(
      module, "Node",
      "A node of a device, which it keeps alive. Equal nodes are those of one number in "
      "one device.");
  forbid_making(node);
  node.def("__repr__", [](const DEVICE_NODE& self) { return get_text(self); })
      .def("__hash__", [](const DEVICE_NODE& self) { return get_hash(self); })
      .def("__index__", [](const DEVICE_NODE& self) { return self.m_number; })
      .def(py::self == py::self)
      .def_property_readonly(
          "device", [](const DEVICE_NODE& self) { return self.m_device; }, "The device of the node.")
      .def_property_readonly(
          "index", [](const DEVICE_NODE& self) { return self.m_number; },
          "The number of the node, its place in every array by number.")
      .def_property_readonly(
          "name", [](const DEVICE_NODE& self) -> TEXT { return self.get().get_name(NAME_STYLE); },
          "The name as a dump has it: \"a/b:c\", or \":p\" for a port of the top.")
      .def_property_readonly(
          "is_hipi", [](const DEVICE_NODE& self) { return self.get().is_hipi(); },
          "The node is the hipi node at its place.")
      .def_property_readonly(
          "is_boundary", [](const DEVICE_NODE& self) { return self.get().is_boundary(); },
          "The node stands for a port of the top.")
      .def_property_readonly("fanouts", &get_fanouts,
                             "The edges that leave the node, real ones first, in the order of the graph.")
      .def_property_readonly("fanins", &get_fanins, "The edges that reach the node.")
      .def("next", &find_next,
           "The next node along a plain wire; None where the wire branches, ends or comes back, and for a\n"
           "boundary or hipi node.");
}

void bind_edge(py::module_& module) {
  py::class_<DEVICE_EDGE> edge(
      module, "Edge", "An edge from one node to another. Equal edges are those of one place in one device.");
  forbid_making(edge);
  edge.def("__repr__", [](const DEVICE_EDGE& self) { return get_text(self); })
      .def("__hash__", [](const DEVICE_EDGE& self) { return get_hash(self); })
      .def(py::self == py::self)
      .def_property_readonly(
          "source", [](const DEVICE_EDGE& self) { return DEVICE_NODE(self.m_device, self.m_source); },
          "The node that the edge leaves.")
      .def_property_readonly("target", &get_target, "The node that the edge reaches.")
      .def_property_readonly("mux_input", &get_mux_input,
                             "The mux input through which the edge reaches its target, \"a/b:c\"; None "
                             "without a mux.")
      .def_property_readonly(
          "is_redundant", [](const DEVICE_EDGE& self) { return self.m_edge.is_redundant(); },
          "The edge is redundant, and not real.");
}

} // namespace

void bind_nodes(py::module_& module) {
  bind_node(module);
  bind_edge(module);
  py::class_<DEVICE_NODE_ITER> nodes(module, "_NodeIterator");
  forbid_making(nodes);
  nodes.def("__iter__", [](py::object self) { return self; }).def("__next__", [](DEVICE_NODE_ITER& self) {
    std::optional<DEVICE_NODE> node = self.get_next();
    if (!node) throw py::stop_iteration();
    return *node;
  });
}
