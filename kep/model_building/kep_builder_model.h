#pragma once

#include "kep/kep_db_builder.h"
#include "kep/model/kep_name_pool.h"

#include <cstddef>
#include <cstdint>
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
    std::uint32_t m_mark;               // in the ids of its instances and nets
    std::vector<PORT> m_ports;
    std::vector<INSTANCE> m_instances;
    std::vector<const char*> m_nets; // their names
    std::vector<std::uint32_t> m_inst_port_nets;
  };

  KEP_NAME_POOL m_names;
  std::vector<MODULE> m_modules;
  std::unordered_map<std::string, std::uint32_t> m_groups;
  std::uint32_t m_mark = make_mark(); // in the ids of its modules

  /// Another one for each owner of ids in the process, never 0.
  static std::uint32_t make_mark();

  // What an id stands for. One that is not its own is an assertion, which names the operation.
  std::uint32_t get_number(KEP_MODULE_ID id, const char* operation) const;
  MODULE& get(KEP_MODULE_ID id, const char* operation) { return m_modules[get_number(id, operation)]; }
  static PORT& get(MODULE& module, unsigned port, const char* operation);
  static INSTANCE& get(MODULE& module, KEP_INSTANCE_ID id, const char* operation);
  static std::uint32_t get_number(const MODULE& module, KEP_NET_ID id, const char* operation);
};
