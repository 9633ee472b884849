#include "python/number.h"

#include "python/errors.h"

#include <fmt/format.h>

#include <limits>

namespace py = pybind11;

std::optional<NUMBER> NUMBER::find(const py::handle& object) {
  if (!object || PyIndex_Check(object.ptr()) == 0) return std::nullopt;
  const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(object.ptr()));
  if (!index) throw py::error_already_set();
  int overflow = 0;
  NUMBER number(PyLong_AsLongLongAndOverflow(index.ptr(), &overflow));
  if (overflow != 0) {
    using LIMITS = std::numeric_limits<std::int64_t>;
    number.m_value = overflow < 0 ? LIMITS::min() : LIMITS::max();
    const auto text = py::reinterpret_steal<py::str>(PyNumber_ToBase(index.ptr(), 10));
    if (!text) throw py::error_already_set(); // more digits than Python tells
    number.m_text = text;
  }
  if (py::isinstance<DEVICE_NODE>(object)) number.m_node = object.cast<DEVICE_NODE>();
  return number;
}

const NUMBER& NUMBER::of(const DEVICE& device) const {
  if (m_node && m_node->m_device.get() != &device)
    throw ARGUMENT_FAILURE(fmt::format("node \"{}\" is one of another device, {}",
                                       m_node->get().get_name(NAME_STYLE), m_node->m_device->get_name()));
  return *this;
}

NODE_RANGE get_range(const DEVICE& device, const NUMBER& first, const std::optional<NUMBER>& last) {
  const std::int64_t num_nodes = device.get_num_nodes();
  const NUMBER end = last.value_or(num_nodes).of(device);
  if (first.of(device).get_value() < 0 || first.get_value() > end.get_value() || end.get_value() > num_nodes)
    throw ARGUMENT_FAILURE(fmt::format("nodes {} to {}: {} has nodes 0 to {}", first.get_text(),
                                       end.get_text(), device.get_name(), num_nodes));
  return {static_cast<std::uint32_t>(first.get_value()), static_cast<std::uint32_t>(end.get_value())};
}

DEVICE_NODE make_node(DEVICE& device, const NUMBER& number) {
  const std::int64_t value = number.of(device).get_value();
  if (value < 0 || value >= device.get_num_nodes())
    throw NOT_FOUND_FAILURE(fmt::format("no node {}: {} has {} nodes", number.get_text(), device.get_name(),
                                        device.get_num_nodes()));
  return {device.shared_from_this(), static_cast<std::uint32_t>(value)};
}
