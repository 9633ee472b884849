#pragma once

#include "python/device.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A node as Python holds it: its number, and the device that it keeps alive.
struct DEVICE_NODE {
  DEVICE_NODE(DEVICE_PTR device, std::uint32_t number) : m_device(std::move(device)), m_number(number) {}
  KEP_ROUTING::NODE get() const { return m_device->get_graph().get_node(m_number); }
  bool operator==(const DEVICE_NODE& other) const {
    return m_device == other.m_device && m_number == other.m_number;
  }

  DEVICE_PTR m_device;
  std::uint32_t m_number;
};

/// An edge as Python holds it.
struct DEVICE_EDGE {
  bool operator==(const DEVICE_EDGE& other) const {
    return m_device == other.m_device && m_source == other.m_source && m_index == other.m_index;
  }

  DEVICE_PTR m_device;
  std::uint32_t m_source;
  std::uint32_t m_index; // among the fanouts of the source
  KEP_ROUTING::NUMBERED_FWD_EDGE m_edge;
};

/// Over all nodes of a device.
class DEVICE_NODE_ITER {
public:
  explicit DEVICE_NODE_ITER(DEVICE_PTR device) : m_device(std::move(device)) {}
  /// None at the end.
  std::optional<DEVICE_NODE> get_next() {
    if (m_next == m_device->get_num_nodes()) return std::nullopt;
    return DEVICE_NODE(m_device, m_next++);
  }

private:
  DEVICE_PTR m_device;
  std::uint32_t m_next = 0;
};

/// The node of a node of the graph; none for the null node.
std::optional<DEVICE_NODE> find_node(DEVICE& device, const KEP_ROUTING::NODE& node);
/// The nodes of a name. NOT_FOUND_FAILURE, with the closest names, when there is none.
std::vector<DEVICE_NODE> find_nodes(DEVICE& device, const std::string& name);
/// The edges from one node to another.
std::vector<DEVICE_EDGE> find_edges(const DEVICE_NODE& source, std::uint32_t target);

void bind_nodes(pybind11::module_& module);
