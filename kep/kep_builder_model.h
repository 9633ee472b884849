#pragma once

#include "kep/kep_db_builder.h"
#include "kep/kep_name_pool.h"

#include <string>
#include <unordered_map>
#include <vector>

/// What a builder holds: the model as it came, by numbers.
struct KEP_DB_BUILDER::MODEL {
  static constexpr std::uint32_t NONE = ~0U;

  struct PORT {
    const char* m_name;
    const char* m_blc_icd_port_name;
    int m_blc_re_index;
    std::uint32_t m_net;
    KEP_PORT_DIRECTION m_direction;
  };
  struct INSTANCE {
    const char* m_name;
    std::uint32_t m_master;
    std::uint32_t m_num_nets; // how many of the master's ports have a place in the module's m_inst_port_nets
    std::size_t m_first_net;  // the first of these places
    KEP_INSTANCE_PROPERTIES m_properties;
  };
  struct MODULE {
    const char* m_key;
    const char* m_name;
    KEP_MODULE_PROPERTIES m_properties; // names emptied
    std::uint32_t m_equivalents = NONE; // number of the group
    std::vector<PORT> m_ports;
    std::vector<INSTANCE> m_instances;
    std::vector<const char*> m_nets; // their names
    std::vector<std::uint32_t> m_inst_port_nets;
  };

  KEP_NAME_POOL m_names;
  std::vector<MODULE> m_modules;
  std::unordered_map<std::string, std::uint32_t> m_groups;

  MODULE& get(KEP_MODULE_ID id) { return m_modules[static_cast<std::uint32_t>(id)]; }
};
