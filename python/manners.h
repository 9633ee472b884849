#pragma once

#include <pybind11/pybind11.h>
#include <string>

// What all classes of the module have in common.

/// Objects of the class are neither copied nor pickled: what they hold lives in this process.
inline void forbid_pickling(const pybind11::object& made_class) {
  const std::string text = "cannot pickle a " + made_class.attr("__name__").cast<std::string>() +
                           ": what it holds lives in this process alone";
  made_class.attr("__reduce__") = pybind11::cpp_function(
      [text](const pybind11::object&) -> pybind11::object { throw pybind11::type_error(text); },
      pybind11::is_method(made_class));
}

/// Only calls of the module give objects of the class. Without this one that holds nothing could be made.
inline void forbid_making(const pybind11::object& made_class) {
  forbid_pickling(made_class);
  const std::string text =
      made_class.attr("__name__").cast<std::string>() + " objects are made by other calls of kep_rg alone";
  made_class.attr("__new__") = pybind11::staticmethod(
      pybind11::cpp_function([text](const pybind11::args&, const pybind11::kwargs&) -> pybind11::object {
        throw pybind11::type_error(text);
      }));
}
