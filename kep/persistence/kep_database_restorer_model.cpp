#include "kep/model_building/kep_builder_model.h"
#include "kep/model_building/kep_model_freezer.h"
#include "kep/persistence/kep_database_restorer.h"
#include "kep/persistence/kep_table_rules.h"

#include <span>

using KEP_TABLE_RULES::CUTTER;
using KEP_TABLE_RULES::NAMES;
using KEP_TABLE_RULES::require;

namespace {

constexpr std::uint32_t NO_NUMBER = KEP_MODEL_TABLES::NONE;

template <class ROW>
bool has_mark(const ROW& row, typename ROW::MARK mark) {
  return (row.m_marks & mark) != 0;
}

KEP_MODULE_PROPERTIES get_properties(const KEP_MODEL_TABLES& tables, std::uint32_t number) {
  using ROW = KEP_MODEL_TABLES::MODULE;
  const ROW& row = tables.m_modules[number];
  require(row.m_view < KEP_NUM_MODULE_VIEWS, "a module has no view");
  require(tables.m_db_type <= static_cast<std::uint8_t>(KEP_DB_TYPE::REDUNDANCY),
          "there is no such type of database");
  KEP_MODULE_PROPERTIES properties;
  properties.m_view_type = static_cast<KEP_VIEW_TYPE>(row.m_view);
  properties.m_is_designated_top = number == tables.m_top;
  properties.m_is_ip_root = has_mark(row, ROW::IP_ROOT);
  properties.m_has_trait_0 = has_mark(row, ROW::TRAIT_0);
  properties.m_is_blc_bidir_buffer = has_mark(row, ROW::BLC_BIDIR_BUFFER);
  properties.m_is_foreign = has_mark(row, ROW::FOREIGN);
  properties.m_is_device_top = has_mark(row, ROW::DEVICE_TOP);
  properties.m_db_type = static_cast<KEP_DB_TYPE>(tables.m_db_type);
  return properties;
}

KEP_INSTANCE_PROPERTIES get_properties(const KEP_MODEL_TABLES::INSTANCE& row) {
  using ROW = KEP_MODEL_TABLES::INSTANCE;
  return {has_mark(row, ROW::INST_HEADER), has_mark(row, ROW::TRAIT_0), has_mark(row, ROW::BLC_ATOM),
          has_mark(row, ROW::BLC_INSERTED_BUFFER)};
}

void check_net(std::uint32_t net, std::uint32_t num_nets) {
  require(net < num_nets || net == NO_NUMBER, "a port is on a net that is not there");
}

/// Fills what a builder would hold, module by module. Names stay where they are. MODEL is what a builder has.
template <class MODEL>
class MODEL_FILLER {
public:
  explicit MODEL_FILLER(const KEP_MODEL_TABLES& tables) : m_tables(tables) {}

  void fill(MODEL& model) {
    model.m_modules.resize(m_tables.m_modules.size());
    for (std::uint32_t i = 0; i != m_tables.m_modules.size(); ++i)
      fill_module(i, model.m_modules[i]);
    m_ports.finish();
    m_instances.finish();
    m_nets.finish();
    m_inst_ports.finish();
  }

private:
  using MODULE = typename MODEL::MODULE;

  const char* get_name_at(std::uint32_t begin) { return m_names.get(begin); }

  void fill_module(std::uint32_t number, MODULE& module) {
    const KEP_MODEL_TABLES::MODULE& row = m_tables.m_modules[number];
    require(row.m_equivalents < m_tables.m_modules.size() || row.m_equivalents == NO_NUMBER,
            "a module is in a group that is not there");
    module.m_key = get_name_at(row.m_key);
    module.m_name = get_name_at(row.m_name);
    module.m_properties = get_properties(m_tables, number);
    module.m_equivalents = row.m_equivalents;
    fill_ports(row, module);
    const std::size_t first_net = m_nets.cut(row.m_num_nets);
    module.m_nets.reserve(row.m_num_nets);
    for (std::uint32_t i = 0; i != row.m_num_nets; ++i)
      module.m_nets.push_back(get_name_at(m_tables.m_net_names[first_net + i]));
    fill_instances(row, module);
  }

  void fill_ports(const KEP_MODEL_TABLES::MODULE& row, MODULE& module) {
    const KEP_MODEL_TABLES::PORT* port = m_tables.m_ports.data() + m_ports.cut(row.m_num_ports);
    module.m_ports.reserve(row.m_num_ports);
    for (std::uint32_t i = 0; i != row.m_num_ports; ++i, ++port) {
      require(port->m_direction <= static_cast<std::uint8_t>(KEP_PORT_DIRECTION::BIDIR),
              "a port has no direction");
      check_net(port->m_net, row.m_num_nets);
      module.m_ports.push_back({get_name_at(port->m_name), get_name_at(port->m_blc_icd_port_name),
                                port->m_blc_re_index, port->m_net,
                                static_cast<KEP_PORT_DIRECTION>(port->m_direction)});
    }
  }

  void fill_instances(const KEP_MODEL_TABLES::MODULE& row, MODULE& module) {
    const KEP_MODEL_TABLES::INSTANCE* instance =
        m_tables.m_instances.data() + m_instances.cut(row.m_num_instances);
    std::uint64_t num_inst_ports = 0;
    module.m_instances.reserve(row.m_num_instances);
    for (std::uint32_t i = 0; i != row.m_num_instances; ++i, ++instance) {
      require(instance->m_master < m_tables.m_modules.size(), "an instance has no master");
      const std::uint32_t num_ports = m_tables.m_modules[instance->m_master].m_num_ports;
      module.m_instances.push_back({get_name_at(instance->m_name), instance->m_master, num_ports,
                                    num_inst_ports, get_properties(*instance)});
      num_inst_ports += num_ports;
    }
    const std::uint32_t* nets = m_tables.m_inst_port_nets.data() + m_inst_ports.cut(num_inst_ports);
    for (std::uint64_t i = 0; i != num_inst_ports; ++i)
      check_net(nets[i], row.m_num_nets);
    module.m_inst_port_nets.assign(nets, nets + num_inst_ports);
  }

  const KEP_MODEL_TABLES& m_tables;
  NAMES m_names{std::span(m_tables.m_names), m_tables.m_modules.size() + m_tables.m_ports.size() +
                                                 m_tables.m_instances.size() + m_tables.m_net_names.size()};
  CUTTER m_ports{m_tables.m_ports.size()};
  CUTTER m_instances{m_tables.m_instances.size()};
  CUTTER m_nets{m_tables.m_net_names.size()};
  CUTTER m_inst_ports{m_tables.m_inst_port_nets.size()};
};

} // namespace

/// Through what freezes the model of a builder, so that its rules are tested where they are anyway.
void KEP_DATABASE_RESTORER::restore_model() {
  const KEP_MODEL_TABLES& tables = m_tables.m_model;
  require(tables.m_top < tables.m_modules.size(), "the top is no module");
  KEP_DB_BUILDER::MODEL model;
  MODEL_FILLER<KEP_DB_BUILDER::MODEL>(tables).fill(model);
  m_db = KEP_MODEL_FREEZER(model).freeze(std::span(m_tables.m_positions));
}
