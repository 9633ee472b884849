#pragma once

#include <pybind11/pybind11.h>
#include <string>
#include <string_view>
#include <utility>

/// A text on its way from or to Python. Names in a device and names of files are bytes, which need not be
/// UTF-8: a byte that is not becomes a lone surrogate ("surrogateescape"), as in Python's own names of files,
/// and that byte again on the way back.
struct TEXT : std::string {
  using std::string::string;
  TEXT(std::string text) : std::string(std::move(text)) {} // NOLINT(google-explicit-constructor)
};

/// A new str; null where there is no memory for it, which is set.
inline PyObject* make_str(std::string_view text) {
  return PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
}

namespace pybind11::detail {

template <>
struct type_caster<TEXT> {
  PYBIND11_TYPE_CASTER(TEXT, const_name("str"));

  bool load(handle given, bool) {
    if (!PyUnicode_Check(given.ptr())) return false;
    const auto made =
        reinterpret_steal<object>(PyUnicode_AsEncodedString(given.ptr(), "utf-8", "surrogateescape"));
    if (!made) { // other surrogates than those
      PyErr_Clear();
      return false;
    }
    value.assign(PyBytes_AS_STRING(made.ptr()), static_cast<std::size_t>(PyBytes_GET_SIZE(made.ptr())));
    return true;
  }
  static handle cast(const TEXT& text, return_value_policy, handle) { return make_str(text); }
};

} // namespace pybind11::detail
