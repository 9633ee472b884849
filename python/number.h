#pragma once

#include "python/nodes.h"

#include <cstdint>
#include <optional>
#include <pybind11/pybind11.h>
#include <string>

/// A number that a caller handed in: an int, however large, or whatever Python takes for one. A Node stands
/// for its number in its own device.
class NUMBER {
public:
  NUMBER(std::int64_t value = 0) : m_value(value) {} // NOLINT: a number is one of these, too
  /// None unless the object stands for a number.
  static std::optional<NUMBER> find(const pybind11::handle& object);

  /// The number, or the closest one that there is.
  std::int64_t get_value() const { return m_value; }
  /// As messages tell it.
  std::string get_text() const { return m_text.empty() ? std::to_string(m_value) : m_text; }
  /// ARGUMENT_FAILURE for a node of another device.
  const NUMBER& of(const DEVICE& device) const;

private:
  std::int64_t m_value;
  std::string m_text; // of a number that does not fit
  std::optional<DEVICE_NODE> m_node;
};

/// The nodes from one number up to another. ARGUMENT_FAILURE unless they are in order and there.
struct NODE_RANGE {
  std::uint32_t m_first;
  std::uint32_t m_end;
};
NODE_RANGE get_range(const DEVICE& device, const NUMBER& first, const std::optional<NUMBER>& last);
/// NOT_FOUND_FAILURE unless there is a node of that number.
DEVICE_NODE make_node(DEVICE& device, const NUMBER& number);

template <>
struct pybind11::detail::type_caster<NUMBER> {
  PYBIND11_TYPE_CASTER(NUMBER, const_name("int"));
  bool load(handle object, bool) {
    const std::optional<NUMBER> found = NUMBER::find(object);
    if (found) value = *found;
    return found.has_value();
  }
};
