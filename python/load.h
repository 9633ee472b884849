#pragma once

#include "python/device.h"

#include <optional>
#include <pybind11/pybind11.h>
#include <string>

/// What a device is made from: a file, by its path, or a text with the name that stands for it in messages.
struct SOURCE {
  std::string m_name;
  std::optional<std::string> m_text; ///< none: a file
};

/// Writes the device as a database.
void save_device(DEVICE& device, const pybind11::object& path);

void bind_load(pybind11::module_& module);
