#include "python/errors.h"

#include "kep/kep_cancelled.h"
#include "kep/kep_db.h"
#include "kep_io/kep_io_error.h"
#include "kep_report/kep_report_assert.h"
#include "kep_rg/kep_rg_exception.h"
#include "python/text.h"

#include <exception>
#include <initializer_list>
#include <string>

namespace py = pybind11;

namespace {

/// The exceptions of the module; they live as long as the process.
struct PYTHON_ERRORS {
  PyObject* m_error = nullptr;
  PyObject* m_input = nullptr;
  PyObject* m_output = nullptr;
  PyObject* m_argument = nullptr;
  PyObject* m_not_found = nullptr;
  PyObject* m_internal = nullptr;
};
PYTHON_ERRORS s_errors;

PyObject* make_error(py::module_& module, const char* name, std::initializer_list<PyObject*> bases,
                     const char* doc) {
  py::tuple parents(bases.size());
  std::size_t i = 0;
  for (PyObject* base : bases)
    parents[i++] = py::reinterpret_borrow<py::object>(base);
  PyObject* error =
      PyErr_NewExceptionWithDoc((std::string("kep_rg.") + name).c_str(), doc, parents.ptr(), nullptr);
  if (!error) throw py::error_already_set();
  module.add_object(name, error);
  return error;
}

/// The line is that of the tool: on one line, whatever the text holds.
void raise(PyObject* type, const std::string& text) {
  const std::string line = KEP_IO_ERROR(text).what();
  PyObject* value = make_str(line);
  if (!value) return; // out of memory, which is set
  PyErr_SetObject(type, value);
  Py_DECREF(value);
}

void translate(std::exception_ptr failure) {
  try {
    if (failure) std::rethrow_exception(failure);
  } catch (const ARGUMENT_FAILURE& error) {
    raise(s_errors.m_argument, error.what());
  } catch (const NOT_FOUND_FAILURE& error) {
    raise(s_errors.m_not_found, error.what());
  } catch (const OUTPUT_FAILURE& error) {
    raise(s_errors.m_output, error.what());
  } catch (const KEP_IO_ERROR& error) {
    raise(s_errors.m_input, error.what());
  } catch (const KEP_DB_ERROR& error) {
    raise(s_errors.m_input, error.what());
  } catch (const KEP_EXCEPTION& error) {
    raise(s_errors.m_input, kep_rg_get_reason(error));
  } catch (const KEP_CANCELLED&) { // the caller is told by the exception of his signal handler
    raise(s_errors.m_internal, "the work was cancelled, and nobody asked for it");
  } catch (const KEP_REPORT_ASSERTION_FAILURE& error) {
    raise(s_errors.m_internal, error.what());
  }
}

} // namespace

void bind_errors(py::module_& module) {
  s_errors.m_error = make_error(module, "Error", {PyExc_Exception}, "All that kep_rg refuses.");
  s_errors.m_input =
      make_error(module, "InputError", {s_errors.m_error},
                 "A file, a text or a model that can't be used. The one line tells where and why.");
  s_errors.m_output = make_error(module, "OutputError", {s_errors.m_error}, "A file that can't be written.");
  s_errors.m_argument = make_error(module, "ArgumentError", {s_errors.m_error, PyExc_ValueError},
                                   "An argument that can't be used, such as a node of another device.");
  s_errors.m_not_found = make_error(module, "NotFoundError", {s_errors.m_error, PyExc_LookupError},
                                    "A node or an edge that is not there.");
  s_errors.m_internal = make_error(module, "InternalError", {s_errors.m_error, PyExc_RuntimeError},
                                   "A fault of kep_rg itself; please report it.");
  py::register_local_exception_translator(&translate);
}
