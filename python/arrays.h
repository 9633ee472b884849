#pragma once

#include "python/device.h"

#include <cstdint>
#include <optional>
#include <pybind11/numpy.h>

/// The kinds of nodes, as Python knows them.
enum class NODE_KIND : std::uint8_t { UIP, HIPI, BOUNDARY };

/// Arrays by number of node.
pybind11::array get_fanout_counts(DEVICE& device);
pybind11::array get_fanin_counts(DEVICE& device);
pybind11::array get_kinds(DEVICE& device);

void bind_arrays(pybind11::module_& module);
