#pragma once

#include <pybind11/pybind11.h>
#include <stdexcept>
#include <string>

// Failures of the module's own code. Each becomes the Python exception of its name: ArgumentError,
// NotFoundError, OutputError.

/// What a caller handed in can't be used.
class ARGUMENT_FAILURE : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// What a caller asked for is not there.
class NOT_FOUND_FAILURE : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// What a caller wants to be written can't be.
class OUTPUT_FAILURE : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// The C++ value of an object that a caller handed in; TypeError, which names what it was to be, for any
/// other.
template <class VALUE>
VALUE get_value(const pybind11::handle& object, const char* what) {
  try {
    return object.cast<VALUE>();
  } catch (const pybind11::cast_error&) {
    throw pybind11::type_error(std::string("expected ") + what + ", not " + Py_TYPE(object.ptr())->tp_name);
  }
}

/// Makes the exceptions of the module, and has those of the libraries told by them.
void bind_errors(pybind11::module_& module);
