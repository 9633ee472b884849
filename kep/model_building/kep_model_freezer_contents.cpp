#include "kep/model/kep_name_index.h"
#include "kep/model_building/kep_model_freezer.h"
#include "kep/model_building/kep_model_freezer_loop.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t INSTANCES_PER_PART = 1 << 12;

} // namespace

void KEP_MODEL_FREEZER::make_contents(MODEL::MODULE& from, KEP_MODULE& module) {
  make_nets(from, module);
  make_instances(from, module);
  kep_for_each_on_all_threads(3, [&](std::size_t step) {
    if (step == 0)
      check_net_names(module);
    else if (step == 1)
      fill_nets(from, module);
    else
      index_names(module);
  });
  // All of it is in the folded model now.
  from.m_ports = std::vector<MODEL::PORT>();
  from.m_instances = std::vector<MODEL::INSTANCE>();
  from.m_nets = std::vector<const char*>();
  from.m_inst_port_nets = std::vector<std::uint32_t>();
}

/// Makes the nets, without their members, and numbers them anew in what the builder has.
void KEP_MODEL_FREEZER::make_nets(MODEL::MODULE& from, KEP_MODULE& module) {
  const std::size_t num_given = from.m_nets.size();
  std::vector<std::uint32_t> num_ports(num_given);
  std::vector<std::uint32_t> num_inst_ports(num_given);
  for (const MODEL::PORT& port : from.m_ports)
    if (port.m_net != MODEL::NONE) ++num_ports[port.m_net];
  for (const std::uint32_t net : from.m_inst_port_nets)
    if (net != MODEL::NONE) ++num_inst_ports[net];

  std::vector<std::uint32_t> numbers(num_given, MODEL::NONE);
  for (std::size_t i = 0; i != num_given; ++i)
    // A net that only one port of the module is on leads nowhere: nothing is behind that port.
    if (num_inst_ports[i] != 0 || num_ports[i] > 1) numbers[i] = module.m_num_nets++;
  module.m_nets = std::make_unique<KEP_NET[]>(module.m_num_nets);
  for (std::size_t i = 0; i != num_given; ++i) {
    if (numbers[i] == MODEL::NONE) continue;
    KEP_NET& net = module.m_nets[numbers[i]];
    net.m_parent = &module;
    net.m_name = from.m_nets[i];
    net.m_num_ports = num_ports[i];
    net.m_num_inst_ports = num_inst_ports[i];
  }
  if (module.m_num_nets == num_given) return; // under the numbers that they had
  for (MODEL::PORT& port : from.m_ports)
    if (port.m_net != MODEL::NONE) port.m_net = numbers[port.m_net];
  for (std::uint32_t& net : from.m_inst_port_nets)
    if (net != MODEL::NONE) net = numbers[net];
}

void KEP_MODEL_FREEZER::make_instances(const MODEL::MODULE& from, KEP_MODULE& module) {
  const std::size_t num_instances = from.m_instances.size();
  std::vector<std::uint64_t> part_begins;
  std::uint64_t num_inst_ports = 0;
  for (std::size_t i = 0; i != num_instances; ++i) {
    if (i % INSTANCES_PER_PART == 0) part_begins.push_back(num_inst_ports);
    num_inst_ports += get_module(from.m_instances[i].m_master).m_num_ports;
  }
  // A node's identity keeps an inst port number in 31 bits.
  if (num_inst_ports >= std::uint64_t{1} << 31)
    fail(place_of(module),
         fmt::format("the cells have {} ports, more than the 2147483647 that a module can have",
                     num_inst_ports));
  module.m_num_instances = static_cast<unsigned>(num_instances);
  module.m_instances = std::make_unique<KEP_INSTANCE[]>(num_instances);
  module.m_num_inst_ports = static_cast<unsigned>(num_inst_ports);
  module.m_inst_ports = std::make_unique_for_overwrite<KEP_INST_PORT[]>(num_inst_ports);
  kep_for_each_on_all_threads(part_begins.size(), [&](std::size_t part) {
    KEP_INST_PORT* next = module.m_inst_ports.get() + part_begins[part];
    const std::size_t end = std::min(num_instances, (part + 1) * INSTANCES_PER_PART);
    for (std::size_t i = part * INSTANCES_PER_PART; i != end; ++i) {
      make_instance(from, from.m_instances[i], module, module.m_instances[i], next);
      next += module.m_instances[i].m_module->m_num_ports;
    }
  });
}

void KEP_MODEL_FREEZER::make_instance(const MODEL::MODULE& from, const MODEL::INSTANCE& given,
                                      KEP_MODULE& module, KEP_INSTANCE& instance, KEP_INST_PORT* inst_ports) {
  check_name(module, ".cells", given.m_name);
  instance.m_parent = &module;
  instance.m_module = &get_module(given.m_master);
  instance.m_name = given.m_name;
  instance.m_has_inst_header = given.m_properties.m_has_inst_header;
  instance.m_has_trait_0 = given.m_properties.m_has_trait_0;
  instance.m_is_blc_atom = given.m_properties.m_is_blc_atom;
  instance.m_is_blc_inserted_buffer = given.m_properties.m_is_blc_inserted_buffer;
  instance.m_inst_ports = inst_ports;
  for (unsigned port = 0; port != instance.m_module->m_num_ports; ++port) {
    const std::uint32_t net =
        port < given.m_num_nets ? from.m_inst_port_nets[given.m_first_net + port] : MODEL::NONE;
    inst_ports[port].m_inst = &instance;
    inst_ports[port].m_net = net == MODEL::NONE ? nullptr : &module.m_nets[net];
  }
}

void KEP_MODEL_FREEZER::check_net_names(const KEP_MODULE& module) {
  for (unsigned i = 0; i != module.m_num_nets; ++i)
    check_name(module, ".netnames", module.m_nets[i].m_name);
}

/// Members in the order of the model: ports, then inst ports by instance and port.
void KEP_MODEL_FREEZER::fill_nets(const MODEL::MODULE& from, KEP_MODULE& module) {
  // Where the next member of each net goes, side by side: nets themselves would fill the caches.
  std::vector<std::uint32_t> next_ports;
  std::vector<std::uint32_t> next_inst_ports;
  std::uint32_t num_ports = 0;
  std::uint32_t num_inst_ports = 0;
  for (unsigned i = 0; i != module.m_num_nets; ++i) {
    next_ports.push_back(std::exchange(num_ports, num_ports + module.m_nets[i].m_num_ports));
    next_inst_ports.push_back(
        std::exchange(num_inst_ports, num_inst_ports + module.m_nets[i].m_num_inst_ports));
  }
  module.m_net_ports = std::make_unique_for_overwrite<KEP_PORT*[]>(num_ports);
  module.m_net_inst_ports = std::make_unique_for_overwrite<KEP_INST_PORT*[]>(num_inst_ports);
  for (unsigned i = 0; i != module.m_num_nets; ++i) {
    module.m_nets[i].m_ports = module.m_net_ports.get() + next_ports[i];
    module.m_nets[i].m_inst_ports = module.m_net_inst_ports.get() + next_inst_ports[i];
  }
  for (unsigned i = 0; i != module.m_num_ports; ++i) {
    const std::uint32_t net = from.m_ports[i].m_net;
    if (net == MODEL::NONE) continue;
    module.m_ports[i].m_net = &module.m_nets[net];
    module.m_net_ports[next_ports[net]++] = &module.m_ports[i];
  }
  for (unsigned i = 0; i != module.m_num_instances; ++i) {
    const MODEL::INSTANCE& given = from.m_instances[i];
    for (unsigned port = 0; port != given.m_num_nets; ++port)
      if (const std::uint32_t net = from.m_inst_port_nets[given.m_first_net + port]; net != MODEL::NONE)
        module.m_net_inst_ports[next_inst_ports[net]++] = module.m_instances[i].m_inst_ports + port;
  }
}

void KEP_MODEL_FREEZER::index_names(KEP_MODULE& module) {
  const auto port_name = [&module](unsigned i) { return module.m_ports[i].m_name; };
  const auto instance_name = [&module](unsigned i) { return module.m_instances[i].m_name; };
  const unsigned port = KEP_NAME_INDEX::build(module.m_port_names, module.m_num_ports, port_name);
  if (port != module.m_num_ports)
    fail(place_of(module) + ".ports." + port_name(port), "a port of that name stands before");
  const unsigned instance =
      KEP_NAME_INDEX::build(module.m_instance_names, module.m_num_instances, instance_name);
  if (instance != module.m_num_instances)
    fail(place_of(module) + ".cells." + instance_name(instance), "a cell of that name stands before");
}
