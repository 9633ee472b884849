#include "kep/kep_db_builder.h"

#include "kep/kep_builder_model.h"
#include "kep/kep_model_freezer.h"

KEP_DB_BUILDER::KEP_DB_BUILDER() : m_model(std::make_unique<MODEL>()) {}
KEP_DB_BUILDER::~KEP_DB_BUILDER() = default;
KEP_DB_BUILDER::KEP_DB_BUILDER(KEP_DB_BUILDER&&) noexcept = default;
KEP_DB_BUILDER& KEP_DB_BUILDER::operator=(KEP_DB_BUILDER&&) noexcept = default;

KEP_MODULE_ID KEP_DB_BUILDER::add_module(std::string_view key, const KEP_MODULE_PROPERTIES& properties) {
  MODEL::MODULE module;
  module.m_key = m_model->m_names.intern(key);
  module.m_name = properties.m_name.empty() ? module.m_key : m_model->m_names.intern(properties.m_name);
  module.m_properties = properties;
  module.m_properties.m_name.clear();
  module.m_properties.m_equivalents.clear();
  if (!properties.m_equivalents.empty()) {
    const auto next = static_cast<std::uint32_t>(m_model->m_groups.size());
    module.m_equivalents = m_model->m_groups.emplace(properties.m_equivalents, next).first->second;
  }
  m_model->m_modules.push_back(std::move(module));
  return static_cast<KEP_MODULE_ID>(m_model->m_modules.size() - 1);
}

unsigned KEP_DB_BUILDER::add_port(KEP_MODULE_ID module, std::string_view name, KEP_PORT_DIRECTION direction,
                                  int blc_re_index, std::string_view blc_icd_port_name) {
  auto& ports = m_model->get(module).m_ports;
  ports.push_back({m_model->m_names.intern(name), m_model->m_names.intern(blc_icd_port_name), blc_re_index,
                   MODEL::NONE, direction});
  return static_cast<unsigned>(ports.size() - 1);
}

void KEP_DB_BUILDER::set_port_blc(KEP_MODULE_ID module, unsigned port, int blc_re_index,
                                  std::string_view blc_icd_port_name) {
  MODEL::PORT& target = m_model->get(module).m_ports.at(port);
  target.m_blc_re_index = blc_re_index;
  target.m_blc_icd_port_name = m_model->m_names.intern(blc_icd_port_name);
}

KEP_INSTANCE_ID KEP_DB_BUILDER::add_instance(KEP_MODULE_ID parent, std::string_view name,
                                             KEP_MODULE_ID master,
                                             const KEP_INSTANCE_PROPERTIES& properties) {
  auto& instances = m_model->get(parent).m_instances;
  instances.push_back({m_model->m_names.intern(name), static_cast<std::uint32_t>(master), 0, 0, properties});
  return static_cast<KEP_INSTANCE_ID>(instances.size() - 1);
}

KEP_NET_ID KEP_DB_BUILDER::add_net(KEP_MODULE_ID module, std::string_view name) {
  auto& nets = m_model->get(module).m_nets;
  nets.push_back(m_model->m_names.intern(name));
  return static_cast<KEP_NET_ID>(nets.size() - 1);
}

void KEP_DB_BUILDER::set_net_name(KEP_MODULE_ID module, KEP_NET_ID net, std::string_view name) {
  m_model->get(module).m_nets.at(static_cast<std::uint32_t>(net)) = m_model->m_names.intern(name);
}

void KEP_DB_BUILDER::connect(KEP_MODULE_ID module, unsigned port, KEP_NET_ID net) {
  m_model->get(module).m_ports.at(port).m_net = static_cast<std::uint32_t>(net);
}

void KEP_DB_BUILDER::connect(KEP_MODULE_ID module, KEP_INSTANCE_ID instance, unsigned port, KEP_NET_ID net) {
  MODEL::MODULE& parent = m_model->get(module);
  MODEL::INSTANCE& target = parent.m_instances.at(static_cast<std::uint32_t>(instance));
  if (target.m_num_nets == 0) {
    target.m_num_nets = static_cast<std::uint32_t>(m_model->m_modules[target.m_master].m_ports.size());
    target.m_first_net = parent.m_inst_port_nets.size();
    parent.m_inst_port_nets.resize(target.m_first_net + target.m_num_nets, MODEL::NONE);
  }
  if (port >= target.m_num_nets) throw KEP_DB_ERROR("connected to a port that the master does not have");
  parent.m_inst_port_nets[target.m_first_net + port] = static_cast<std::uint32_t>(net);
}

std::unique_ptr<KEP_DB> KEP_DB_BUILDER::freeze(KEP_DB_BUILDER&& builder) {
  const std::unique_ptr<MODEL> model = std::move(builder.m_model); // a builder is used once
  return KEP_MODEL_FREEZER(*model).freeze();
}
