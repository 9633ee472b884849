#include "python/device.h"

#include "python/arrays.h"
#include "python/checks.h"
#include "python/errors.h"
#include "python/load.h"
#include "python/long_work.h"
#include "python/manners.h"
#include "python/nodes.h"
#include "python/number.h"
#include "python/text.h"
#include "python/tracer.h"

#include <fmt/format.h>

#include <pybind11/stl.h>

namespace py = pybind11;
using namespace pybind11::literals;

DEVICE::DEVICE(std::unique_ptr<KEP_DB> db, KEP_DATABASE_ORIGIN origin, std::string name)
    : m_db(std::move(db)), m_origin(std::move(origin)), m_name(std::move(name)) {}

DEVICE::~DEVICE() = default;

DEVICE_TRACER& DEVICE::get_tracer() {
  if (!m_tracer) m_tracer = std::make_unique<DEVICE_TRACER>(*m_db);
  return *m_tracer;
}

namespace {

/// Between two looks for Ctrl-C and for other threads. These get their turn only if they have waited for the
/// switch interval, 5 ms, by then: names of one step take longer.
constexpr std::uint32_t NAMES_PER_STEP = 100000;

py::list get_names(const DEVICE& device, const NUMBER& first, const std::optional<NUMBER>& last) {
  const NODE_RANGE range = get_range(device, first, last);
  py::list names(range.m_end - range.m_first);
  std::string name;
  for (std::uint32_t node = range.m_first; node != range.m_end; ++node) {
    name.clear();
    device.get_graph().get_node(node).append_name(NAME_STYLE, name);
    const auto made = py::reinterpret_steal<py::object>(make_str(name));
    if (!made) throw py::error_already_set();
    names[node - range.m_first] = made;
    if ((node + 1) % NAMES_PER_STEP != 0) continue;
    let_others_run();
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  }
  return names;
}

TEXT get_text(const DEVICE& device) {
  return fmt::format("<kep_rg.Device \"{}\": {} nodes, {} edges>", device.get_name(), device.get_num_nodes(),
                     device.get_num_edges());
}

void bind_reading(py::class_<DEVICE, DEVICE_PTR>& device) {
  device.def("__repr__", [](const DEVICE& self) { return get_text(self); })
      .def("__len__", &DEVICE::get_num_nodes, "The number of nodes.")
      .def_property_readonly(
          "name", [](const DEVICE& self) -> TEXT { return self.get_name(); },
          "The file of the device, as messages call it.")
      .def_property_readonly("num_edges", &DEVICE::get_num_edges,
                             "The number of edges, real and redundant ones.")
      .def_property_readonly(
          "num_redundant_edges",
          [](const DEVICE& self) { return self.get_graph().get_num_redundant_edges(); },
          "The number of redundant edges.")
      .def("names", &get_names, "first"_a = 0, "last"_a = py::none(),
           "The names of the nodes numbered first to last - 1, by default all.");
}

void bind_nodes_of_device(py::class_<DEVICE, DEVICE_PTR>& device) {
  device
      .def(
          "node", [](DEVICE& self, const NUMBER& number) { return make_node(self, number); }, "number"_a,
          "The node of that number, from 0 to len(device) - 1.")
      .def(
          "node", [](DEVICE& self, const TEXT& name) { return find_nodes(self, name).front(); }, "name"_a,
          "The node of that name: \"a/b:c\", or \":p\" for a port of the top. Where a plain and a hipi node\n"
          "bear one name it is the plain node; find_nodes() gives both. NotFoundError tells the closest\n"
          "names.")
      .def(
          "find_nodes", [](DEVICE& self, const TEXT& name) { return find_nodes(self, name); }, "name"_a,
          "All nodes of that name, the plain node before its hipi twin. NotFoundError when there is none.")
      .def("__iter__", [](DEVICE& self) { return DEVICE_NODE_ITER(self.shared_from_this()); });
}

void bind_work(py::class_<DEVICE, DEVICE_PTR>& device) {
  device
      .def("save", &save_device, "path"_a,
           "Writes the device as a database, a file that open() takes. It appears when it is complete.")
      .def("trace", &trace_edges, "source"_a, "target"_a,
           "The way of the edges from one node to another through the hierarchy. Nodes are told as Node, "
           "name\n"
           "or number. NotFoundError when there is no such edge.")
      .def("check", &check_device, py::kw_only(), "trace"_a = false, "max_findings"_a = 20,
           "threads"_a = py::none(),
           "Holds every node and edge against the model and runs the post checks; with `trace` it traces\n"
           "every edge, too. Of each kind so many findings are kept; all are counted.")
      .def("fanout_counts", &get_fanout_counts,
           "The numbers of fanouts of all nodes, real and redundant ones, by number (numpy.uint32).")
      .def("fanin_counts", &get_fanin_counts, "The numbers of fanins of all nodes, by number (numpy.uint32).")
      .def("kinds", &get_kinds, "The kinds of all nodes, by number (numpy.uint8): values of Kind.");
}

} // namespace

void bind_device(py::module_& module) {
  py::class_<DEVICE, DEVICE_PTR> device(
      module, "Device",
      "A device with its finished routing graph, which never changes. Made by open() and build().\n\n"
      "Nodes are numbered from 0 to len(device) - 1. Any number of threads may read.");
  forbid_making(device);
  bind_reading(device);
  bind_nodes_of_device(device);
  bind_work(device);
}
