#include "kep_report/kep_report_sink.h"
#include "python/arrays.h"
#include "python/checks.h"
#include "python/device.h"
#include "python/errors.h"
#include "python/load.h"
#include "python/model.h"
#include "python/nodes.h"
#include "python/tracer.h"

#include <pybind11/pybind11.h>
#include <string_view>

PYBIND11_MODULE(_kep_rg, module) {
  module.doc() = "The compiled part of kep_rg; import kep_rg.";
  module.attr("__version__") = KEP_RG_VERSION;
  // A program that imports the module keeps its standard output.
  for (const KEP_REPORT::STREAM stream : {KEP_REPORT::STREAM::INFO, KEP_REPORT::STREAM::DEBUG})
    KEP_REPORT::set_sink(stream, [](std::string_view) {});
  bind_errors(module);
  bind_nodes(module);
  bind_tracer(module);
  bind_checks(module);
  bind_device(module);
  bind_arrays(module);
  bind_model(module);
  bind_load(module);
}
