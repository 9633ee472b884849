#include "python/load.h"

#include "kep_io/kep_io_error.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_redundancy_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "python/errors.h"
#include "python/long_work.h"
#include "python/model.h"
#include "python/text.h"

#include <fmt/format.h>

#include <pybind11/stl.h>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace py = pybind11;
using namespace pybind11::literals;

namespace {

/// Whatever names a file in Python, as the system has it.
std::string get_path(const py::object& path) {
  PyObject* bytes = nullptr;
  if (PyUnicode_FSConverter(path.ptr(), &bytes) == 0) throw py::error_already_set();
  return py::reinterpret_steal<py::bytes>(bytes);
}

/// A pair of a name and a text, as build() of the package makes of a Text; anything else is a path.
SOURCE get_source(const py::handle& given) {
  if (!py::isinstance<py::tuple>(given) || py::len(given) != 2)
    return {get_path(py::reinterpret_borrow<py::object>(given)), {}};
  const auto text = py::reinterpret_borrow<py::tuple>(given);
  return {get_value<TEXT>(text[0], "the name of a text"), get_value<TEXT>(text[1], "a text")};
}

std::vector<SOURCE> get_sources(const py::list& given) {
  std::vector<SOURCE> sources;
  for (const py::handle& each : given)
    sources.push_back(get_source(each));
  return sources;
}

/// Of texts and pipes, which can't be read again, the name alone is kept.
KEP_DATABASE_INPUT describe(const char* role, const SOURCE& source) {
  struct stat status {};
  if (!source.m_text && ::stat(source.m_name.c_str(), &status) == 0 && S_ISREG(status.st_mode))
    return kep_describe_input(role, source.m_name);
  KEP_DATABASE_INPUT input;
  input.m_role = role;
  input.m_name = source.m_name.substr(source.m_name.rfind('/') + 1);
  return input;
}

/// Makes a device, step by step. Takes no lock of Python.
class DEVICE_MAKER {
public:
  DEVICE_MAKER(std::string name, int num_threads) : m_name(std::move(name)), m_num_threads(num_threads) {
    m_origin.m_made_by = "kep_rg for Python " KEP_RG_VERSION;
  }

  void read_model(const SOURCE& source) {
    m_origin.m_inputs.push_back(describe("model", source));
    m_db = source.m_text ? kep_read_model_text(*source.m_text, source.m_name, &m_warnings)
                         : kep_read_model(source.m_name, &m_warnings);
  }
  void take_model(KEP_DB_BUILDER builder) { m_db = KEP_DB_BUILDER::freeze(std::move(builder)); }

  void read_routing(const std::vector<SOURCE>& sources) {
    m_is_described = !sources.empty();
    kep_describe_no_routing(m_db.get()); // unless a source says more
    KEP_RG_PARSE parse(m_db.get());
    for (const SOURCE& source : sources) {
      m_origin.m_inputs.push_back(describe("routing", source));
      for (std::string& warning :
           source.m_text ? kep_read_routing_text(m_db.get(), parse, *source.m_text, source.m_name)
                         : kep_read_routing(m_db.get(), parse, source.m_name))
        m_warnings.push_back(std::move(warning));
    }
  }

  void read_redundancy(const std::vector<SOURCE>& sources) {
    if (sources.empty()) return;
    KEP_RG_PARSE_REDUNDANCY parser(m_db.get(), static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                   KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, m_num_threads);
    for (const SOURCE& source : sources) {
      m_origin.m_inputs.push_back(describe("redundancy", source));
      for (const KEP_REDUNDANCY_FAULT& fault :
           source.m_text ? kep_read_redundancy_text(m_db.get(), parser, *source.m_text, source.m_name)
                         : kep_read_redundancy(m_db.get(), parser, source.m_name))
        m_warnings.push_back(fmt::format("{}:{}: can't be read: \"{}\"", kep_get_file_name(source.m_name),
                                         fault.m_line, fault.m_text));
    }
  }

  void build() {
    KEP_RG_BUILD build(m_db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(m_num_threads));
    if (const std::string refusal = build.find_refusal(); !refusal.empty())
      throw KEP_DB_ERROR(fmt::format("{}: {}", m_name, refusal));
    try {
      build.build();
    } catch (const KEP_DB_ERROR& error) { // more than a graph can hold
      throw KEP_DB_ERROR(fmt::format("{}: {}", m_name, error.what()));
    }
    const std::string missing = build.explain_no_nodes();
    if (!missing.empty())
      m_warnings.push_back(
          fmt::format("{}: no port of a cell became a node: {} (docs/model.md says what makes a node)",
                      m_name, m_is_described ? missing : "no routing description is given"));
  }

  /// The device, and what was odd about its sources.
  py::tuple take() {
    auto device = std::make_shared<DEVICE>(std::move(m_db), std::move(m_origin), std::move(m_name));
    return py::make_tuple(std::move(device), std::vector<TEXT>(m_warnings.begin(), m_warnings.end()));
  }

private:
  std::string m_name;
  int m_num_threads;
  bool m_is_described = false;
  std::unique_ptr<KEP_DB> m_db;
  KEP_DATABASE_ORIGIN m_origin;
  std::vector<std::string> m_warnings;
};

/// (device, warnings)
py::tuple build_device(const py::object& model, const py::list& routing, const py::list& redundancy,
                       const std::optional<NUMBER>& threads) {
  const int num_threads = get_num_threads(threads);
  const std::vector<SOURCE> routing_sources = get_sources(routing);
  const std::vector<SOURCE> redundancy_sources = get_sources(redundancy);
  std::optional<SOURCE> source;
  std::optional<KEP_DB_BUILDER> builder;
  if (py::isinstance<MODEL>(model))
    builder.emplace(get_value<MODEL_PTR>(model, "a Model")->take());
  else
    source = get_source(model);
  DEVICE_MAKER maker(source ? kep_get_file_name(source->m_name) : "model", num_threads);
  run_long(num_threads, [&] {
    if (source)
      maker.read_model(*source);
    else
      maker.take_model(std::move(*builder));
    maker.read_routing(routing_sources);
    maker.read_redundancy(redundancy_sources);
    maker.build();
  });
  return maker.take();
}

DEVICE_PTR open_device(const py::object& path, bool checksums) {
  const std::string file = get_path(path);
  DEVICE_PTR device;
  run_long(get_num_threads(std::nullopt), [&] {
    KEP_DATABASE_INFO info;
    std::unique_ptr<KEP_DB> db = kep_open_database(
        file, checksums ? KEP_DATABASE_CHECKSUMS::TEST : KEP_DATABASE_CHECKSUMS::SKIP, &info);
    kep_describe_no_routing(db.get()); // unless the file says more
    device = std::make_shared<DEVICE>(std::move(db), std::move(info.m_origin), kep_get_file_name(file));
  });
  return device;
}

} // namespace

void save_device(DEVICE& device, const py::object& path) {
  const std::string file = get_path(path);
  run_long(get_num_threads(std::nullopt), [&] {
    try {
      kep_write_database(device.get_db(), device.get_origin(), file);
    } catch (const KEP_IO_ERROR& error) {
      throw OUTPUT_FAILURE(error.what());
    }
  });
}

void bind_load(py::module_& module) {
  module.def(
      "open", &open_device, "path"_a, "checksums"_a = true,
      "Opens a device database, a file that Device.save() or `kep-rg build -o` wrote, by mapping it.\n\n"
      "Checksums of all of it are tested unless that is turned off; every index and size in it is tested\n"
      "in any case. InputError tells what is wrong with a file.");
  module.def("build", &build_device, "model"_a, "routing"_a, "redundancy"_a, "threads"_a,
             "(device, warnings) of a model, a path, a (name, text) or a Model, and lists of paths and\n"
             "(name, text) for the rest.");
}
