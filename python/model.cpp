#include "python/model.h"

#include "python/errors.h"
#include "python/manners.h"
#include "python/text.h"

#include <fmt/format.h>

#include <pybind11/stl.h>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace py = pybind11;
using namespace pybind11::literals;

KEP_DB_BUILDER& MODEL::get_builder() {
  if (!m_builder) throw ARGUMENT_FAILURE("the model was given to a build; a new one begins with Model()");
  return *m_builder;
}

KEP_DB_BUILDER MODEL::take() {
  KEP_DB_BUILDER builder = std::move(get_builder());
  m_builder.reset();
  return builder;
}

namespace {

/// A module, an instance and a net as Python holds them.
struct MODEL_MODULE {
  MODEL_PTR m_model;
  KEP_MODULE_ID m_id;
  TEXT m_key;
  std::unordered_map<std::string, unsigned> m_ports; // by name, their indices
};
using MODULE_PTR = std::shared_ptr<MODEL_MODULE>;

struct MODEL_NET {
  MODULE_PTR m_module;
  KEP_NET_ID m_id;
  TEXT m_name;
};

struct MODEL_INSTANCE {
  MODULE_PTR m_parent;
  MODULE_PTR m_master;
  KEP_INSTANCE_ID m_id;
  TEXT m_name;
};

/// One of a few names; the others are told.
template <class VALUE, std::size_t NUM>
VALUE find_value(const std::pair<const char*, VALUE> (&values)[NUM], const TEXT& name, const char* what) {
  std::string names;
  for (const auto& [known, value] : values) {
    if (name == known) return value;
    names += fmt::format("{}\"{}\"", names.empty() ? "" : ", ", known);
  }
  throw ARGUMENT_FAILURE(fmt::format("no {} is called \"{}\"; there are {}", what, name, names));
}

KEP_VIEW_TYPE find_view(const TEXT& name) {
  constexpr std::pair<const char*, KEP_VIEW_TYPE> VIEWS[] = {{"LOGICAL", KEP_VIEW_TYPE::LOGICAL},
                                                             {"VIEW_1", KEP_VIEW_TYPE::VIEW_1},
                                                             {"BLC", KEP_VIEW_TYPE::BLC},
                                                             {"LOGICAL_TWIN", KEP_VIEW_TYPE::LOGICAL_TWIN}};
  return find_value(VIEWS, name, "view");
}

KEP_PORT_DIRECTION find_direction(const TEXT& name) {
  constexpr std::pair<const char*, KEP_PORT_DIRECTION> DIRECTIONS[] = {{"input", KEP_PORT_DIRECTION::INPUT},
                                                                       {"output", KEP_PORT_DIRECTION::OUTPUT},
                                                                       {"inout", KEP_PORT_DIRECTION::BIDIR}};
  return find_value(DIRECTIONS, name, "direction");
}

KEP_DB_TYPE find_db_type(int number) {
  if (number < 0 || number > 2) throw ARGUMENT_FAILURE(fmt::format("db_type={}: 0, 1 or 2", number));
  return static_cast<KEP_DB_TYPE>(number);
}

unsigned find_port(const MODEL_MODULE& module, const TEXT& name) {
  const auto found = module.m_ports.find(name);
  if (found == module.m_ports.end())
    throw ARGUMENT_FAILURE(fmt::format("module \"{}\" has no port \"{}\"", module.m_key, name));
  return found->second;
}

void check_net(const MODEL_MODULE& module, const MODEL_NET& net) {
  if (net.m_module->m_model != module.m_model)
    throw ARGUMENT_FAILURE(fmt::format("net \"{}\" is one of another model", net.m_name));
  if (net.m_module.get() != &module)
    throw ARGUMENT_FAILURE(fmt::format("net \"{}\" lies in module \"{}\", and not in \"{}\"", net.m_name,
                                       net.m_module->m_key, module.m_key));
}

void add_port(MODEL_MODULE& module, const TEXT& name, const TEXT& direction, int blc_re_index,
              const TEXT& blc_icd_port_name) {
  const KEP_PORT_DIRECTION way = find_direction(direction);
  const unsigned index =
      module.m_model->get_builder().add_port(module.m_id, name, way, blc_re_index, blc_icd_port_name);
  module.m_ports.try_emplace(name, index);
}

MODEL_NET add_net(const MODULE_PTR& module, const TEXT& name) {
  return {module, module->m_model->get_builder().add_net(module->m_id, name), name};
}

void connect_port(MODEL_MODULE& module, const TEXT& port, const MODEL_NET& net) {
  check_net(module, net);
  module.m_model->get_builder().connect(module.m_id, find_port(module, port), net.m_id);
}

void connect_instance(const MODEL_INSTANCE& instance, const TEXT& port, const MODEL_NET& net) {
  const MODEL_MODULE& parent = *instance.m_parent;
  check_net(parent, net);
  parent.m_model->get_builder().connect(parent.m_id, instance.m_id, find_port(*instance.m_master, port),
                                        net.m_id);
}

MODEL_INSTANCE add_instance(const MODULE_PTR& parent, const TEXT& name, const MODULE_PTR& master,
                            const std::vector<std::pair<TEXT, MODEL_NET>>& connections,
                            const KEP_INSTANCE_PROPERTIES& properties) {
  if (master->m_model != parent->m_model)
    throw ARGUMENT_FAILURE(fmt::format("module \"{}\" is one of another model", master->m_key));
  for (const auto& [port, net] : connections) { // so that nothing was added where one is refused
    check_net(*parent, net);
    find_port(*master, port);
  }
  KEP_DB_BUILDER& builder = parent->m_model->get_builder();
  MODEL_INSTANCE instance{parent, master, builder.add_instance(parent->m_id, name, master->m_id, properties),
                          name};
  for (const auto& [port, net] : connections)
    connect_instance(instance, port, net);
  return instance;
}

std::vector<std::pair<TEXT, MODEL_NET>> get_connections(const py::dict& given) {
  std::vector<std::pair<TEXT, MODEL_NET>> connections;
  connections.reserve(given.size());
  for (const auto& [port, net] : given)
    connections.emplace_back(get_value<TEXT>(port, "the name of a port"), get_value<MODEL_NET>(net, "a Net"));
  return connections;
}

void bind_model_class(py::module_& module) {
  py::class_<MODEL, MODEL_PTR> model(
      module, "Model",
      "A device that a program describes: modules with ports, instances and nets. build() takes it, once: a\n"
      "model that was given to a build is used up, even where that fails.\n\n"
      "Names and attributes are those of a model file, without \"kep_\".");
  forbid_pickling(model);
  model.def(py::init<>())
      .def(
          "add_module",
          [](const MODEL_PTR& self, const TEXT& key, const TEXT& name, const TEXT& view,
             const TEXT& equivalents, bool top, bool ip_root, bool trait_0, bool blc_bidir_buffer,
             bool foreign, int db_type, bool device_top) {
            const KEP_MODULE_PROPERTIES properties{
                name,    equivalents,           find_view(view), top, ip_root, trait_0, blc_bidir_buffer,
                foreign, find_db_type(db_type), device_top};
            const KEP_MODULE_ID id = self->get_builder().add_module(key, properties);
            return std::make_shared<MODEL_MODULE>(MODEL_MODULE{self, id, key, {}});
          },
          "key"_a, py::kw_only(), "name"_a = "", "view"_a = "LOGICAL", "equivalents"_a = "", "top"_a = false,
          "ip_root"_a = false, "trait_0"_a = false, "blc_bidir_buffer"_a = false, "foreign"_a = false,
          "db_type"_a = 2, "device_top"_a = false,
          "A new module. `key` is its name, too, unless it is given one; modules of one name are views of "
          "it.");
}

void bind_model_module(py::module_& module) {
  py::class_<MODEL_MODULE, MODULE_PTR> made(module, "Module", "A module of a Model.");
  forbid_making(made);
  made.def("__repr__",
           [](const MODEL_MODULE& self) -> TEXT { return fmt::format("<kep_rg.Module \"{}\">", self.m_key); })
      .def_readonly("key", &MODEL_MODULE::m_key, "What the model calls it.")
      .def("add_port", &add_port, "name"_a, "direction"_a, py::kw_only(), "blc_re_index"_a = -1,
           "blc_icd_port_name"_a = "", "A new port: \"input\", \"output\" or \"inout\".")
      .def("add_net", &add_net, "name"_a, "A new net inside the module.")
      .def(
          "add_instance",
          [](const MODULE_PTR& self, const TEXT& name, const MODULE_PTR& master, const py::dict& connections,
             bool inst_header, bool trait_0, bool blc_atom, bool blc_inserted_buffer) {
            return add_instance(self, name, master, get_connections(connections),
                                {inst_header, trait_0, blc_atom, blc_inserted_buffer});
          },
          "name"_a, py::arg("master").none(false), "connections"_a = py::dict(), py::kw_only(),
          "inst_header"_a = false, "trait_0"_a = false, "blc_atom"_a = false, "blc_inserted_buffer"_a = false,
          "A new instance of `master`, with nets of this module by the names of its ports.")
      .def("connect", &connect_port, "port"_a, "net"_a,
           "Puts a port of the module on a net inside it. A later call for the same port moves it.");
}

} // namespace

void bind_model(py::module_& module) {
  py::class_<MODEL_NET> net(module, "Net", "A net inside a module of a Model.");
  forbid_making(net);
  net.def("__repr__",
          [](const MODEL_NET& self) -> TEXT { return fmt::format("<kep_rg.Net \"{}\">", self.m_name); })
      .def_readonly("name", &MODEL_NET::m_name, "Its name inside the module.");
  bind_model_class(module);
  bind_model_module(module);
  py::class_<MODEL_INSTANCE> instance(module, "Instance", "An instance inside a module of a Model.");
  forbid_making(instance);
  instance
      .def("__repr__",
           [](const MODEL_INSTANCE& self) -> TEXT {
             return fmt::format("<kep_rg.Instance \"{}\">", self.m_name);
           })
      .def_readonly("name", &MODEL_INSTANCE::m_name, "Its name inside the module.")
      .def("connect", &connect_instance, "port"_a, "net"_a,
           "Puts a port of the instance on a net of the module around it. A later call moves it.");
}
