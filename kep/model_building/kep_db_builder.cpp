#include "kep/kep_db_builder.h"

#include "kep/model_building/kep_builder_model.h"
#include "kep/model_building/kep_model_freezer.h"
#include "kep_report/kep_report_assert.h"

#include <atomic>

namespace {

/// An id: the mark of its owner above, the number there below.
template <class ID>
ID make_id(std::uint32_t mark, std::size_t number) {
  return static_cast<ID>(static_cast<std::uint64_t>(mark) << 32 | static_cast<std::uint32_t>(number));
}

template <class ID>
std::uint32_t get_mark(ID id) {
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(id) >> 32);
}

template <class ID>
std::uint32_t get_number(ID id) {
  return static_cast<std::uint32_t>(id);
}

} // namespace

/// After 2^32 modules they begin anew; then an id of a module long gone could pass for another's.
std::uint32_t KEP_DB_BUILDER::MODEL::make_mark() {
  static std::atomic<std::uint32_t> s_last{0};
  std::uint32_t mark = 0;
  while (mark == 0)
    mark = s_last.fetch_add(1, std::memory_order_relaxed) + 1;
  return mark;
}

std::uint32_t KEP_DB_BUILDER::MODEL::get_number(KEP_MODULE_ID id, const char* operation) const {
  const std::uint32_t number = ::get_number(id);
  KEP_ASSERT_EXPLAIN(::get_mark(id) == m_mark && number < m_modules.size(),
                     "KEP_DB_BUILDER::%s: the module is not of this builder", operation);
  return number;
}

KEP_DB_BUILDER::MODEL::PORT& KEP_DB_BUILDER::MODEL::get(MODULE& module, unsigned port,
                                                        const char* operation) {
  KEP_ASSERT_EXPLAIN(port < module.m_ports.size(), "KEP_DB_BUILDER::%s: the module %s has no port %u",
                     operation, module.m_key, port);
  return module.m_ports[port];
}

KEP_DB_BUILDER::MODEL::INSTANCE& KEP_DB_BUILDER::MODEL::get(MODULE& module, KEP_INSTANCE_ID id,
                                                            const char* operation) {
  const std::uint32_t number = ::get_number(id);
  KEP_ASSERT_EXPLAIN(::get_mark(id) == module.m_mark && number < module.m_instances.size(),
                     "KEP_DB_BUILDER::%s: the instance is not of the module %s", operation, module.m_key);
  return module.m_instances[number];
}

std::uint32_t KEP_DB_BUILDER::MODEL::get_number(const MODULE& module, KEP_NET_ID id, const char* operation) {
  const std::uint32_t number = ::get_number(id);
  KEP_ASSERT_EXPLAIN(::get_mark(id) == module.m_mark && number < module.m_nets.size(),
                     "KEP_DB_BUILDER::%s: the net is not of the module %s", operation, module.m_key);
  return number;
}

KEP_DB_BUILDER::KEP_DB_BUILDER() : m_model(std::make_unique<MODEL>()) {}
KEP_DB_BUILDER::~KEP_DB_BUILDER() = default;
KEP_DB_BUILDER::KEP_DB_BUILDER(KEP_DB_BUILDER&&) noexcept = default;
KEP_DB_BUILDER& KEP_DB_BUILDER::operator=(KEP_DB_BUILDER&&) noexcept = default;

KEP_DB_BUILDER::MODEL& KEP_DB_BUILDER::get_model(const char* operation) const {
  KEP_ASSERT_EXPLAIN(m_model, "KEP_DB_BUILDER::%s: the builder was frozen or moved from", operation);
  return *m_model;
}

KEP_MODULE_ID KEP_DB_BUILDER::add_module(std::string_view key, const KEP_MODULE_PROPERTIES& properties) {
  MODEL& model = get_model("add_module");
  MODEL::MODULE module;
  module.m_key = model.m_names.intern(key);
  module.m_name = properties.m_name.empty() ? module.m_key : model.m_names.intern(properties.m_name);
  module.m_properties = properties;
  module.m_properties.m_name.clear();
  module.m_properties.m_equivalents.clear();
  if (!properties.m_equivalents.empty()) {
    const auto next = static_cast<std::uint32_t>(model.m_groups.size());
    module.m_equivalents = model.m_groups.emplace(properties.m_equivalents, next).first->second;
  }
  module.m_mark = MODEL::make_mark();
  model.m_modules.push_back(std::move(module));
  return make_id<KEP_MODULE_ID>(model.m_mark, model.m_modules.size() - 1);
}

unsigned KEP_DB_BUILDER::add_port(KEP_MODULE_ID module, std::string_view name, KEP_PORT_DIRECTION direction,
                                  int blc_re_index, std::string_view blc_icd_port_name) {
  MODEL& model = get_model("add_port");
  auto& ports = model.get(module, "add_port").m_ports;
  ports.push_back({model.m_names.intern(name), model.m_names.intern(blc_icd_port_name), blc_re_index,
                   MODEL::NONE, direction});
  return static_cast<unsigned>(ports.size() - 1);
}

void KEP_DB_BUILDER::set_port_blc(KEP_MODULE_ID module, unsigned port, int blc_re_index,
                                  std::string_view blc_icd_port_name) {
  MODEL& model = get_model("set_port_blc");
  MODEL::PORT& target = MODEL::get(model.get(module, "set_port_blc"), port, "set_port_blc");
  target.m_blc_re_index = blc_re_index;
  target.m_blc_icd_port_name = model.m_names.intern(blc_icd_port_name);
}

KEP_INSTANCE_ID KEP_DB_BUILDER::add_instance(KEP_MODULE_ID parent, std::string_view name,
                                             KEP_MODULE_ID master,
                                             const KEP_INSTANCE_PROPERTIES& properties) {
  MODEL& model = get_model("add_instance");
  MODEL::MODULE& module = model.get(parent, "add_instance");
  module.m_instances.push_back(
      {model.m_names.intern(name), model.get_number(master, "add_instance"), 0, 0, properties});
  return make_id<KEP_INSTANCE_ID>(module.m_mark, module.m_instances.size() - 1);
}

KEP_NET_ID KEP_DB_BUILDER::add_net(KEP_MODULE_ID module, std::string_view name) {
  MODEL& model = get_model("add_net");
  MODEL::MODULE& owner = model.get(module, "add_net");
  owner.m_nets.push_back(model.m_names.intern(name));
  return make_id<KEP_NET_ID>(owner.m_mark, owner.m_nets.size() - 1);
}

void KEP_DB_BUILDER::set_net_name(KEP_MODULE_ID module, KEP_NET_ID net, std::string_view name) {
  MODEL& model = get_model("set_net_name");
  MODEL::MODULE& owner = model.get(module, "set_net_name");
  owner.m_nets[MODEL::get_number(owner, net, "set_net_name")] = model.m_names.intern(name);
}

void KEP_DB_BUILDER::connect(KEP_MODULE_ID module, unsigned port, KEP_NET_ID net) {
  MODEL::MODULE& owner = get_model("connect").get(module, "connect");
  MODEL::get(owner, port, "connect").m_net = MODEL::get_number(owner, net, "connect");
}

void KEP_DB_BUILDER::connect(KEP_MODULE_ID module, KEP_INSTANCE_ID instance, unsigned port, KEP_NET_ID net) {
  MODEL& model = get_model("connect");
  MODEL::MODULE& parent = model.get(module, "connect");
  MODEL::INSTANCE& target = MODEL::get(parent, instance, "connect");
  const std::uint32_t net_number = MODEL::get_number(parent, net, "connect");
  const std::size_t num_ports = model.m_modules[target.m_master].m_ports.size();
  KEP_ASSERT_EXPLAIN(port < (target.m_num_nets == 0 ? num_ports : target.m_num_nets),
                     "KEP_DB_BUILDER::connect: the master of the instance %s had no port %u", target.m_name,
                     port);
  if (target.m_num_nets == 0) {
    target.m_num_nets = static_cast<std::uint32_t>(num_ports);
    target.m_first_net = parent.m_inst_port_nets.size();
    parent.m_inst_port_nets.resize(target.m_first_net + target.m_num_nets, MODEL::NONE);
  }
  parent.m_inst_port_nets[target.m_first_net + port] = net_number;
}

std::unique_ptr<KEP_DB> KEP_DB_BUILDER::freeze(KEP_DB_BUILDER&& builder) {
  builder.get_model("freeze");
  const std::unique_ptr<MODEL> model = std::move(builder.m_model); // a builder is used once
  return KEP_MODEL_FREEZER(*model).freeze();
}
