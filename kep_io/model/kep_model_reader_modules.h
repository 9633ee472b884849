#pragma once

#include "kep/kep_db_builder.h"
#include "kep_io/model/kep_model_reader_warnings.h"
#include "kep_io/text/kep_json_value.h"

#include <cstddef>
#include <unordered_map>
#include <vector>

/// The modules of a file with their ports, in its order. They are read before what is inside them, since
/// masters may stand behind their uses. Views into the parsed file are kept.
class KEP_MODEL_MODULES {
public:
  /// A port as the file has it: one or more ports of the model.
  struct PORT {
    std::string_view m_name;
    unsigned m_first;
    unsigned m_width;
    std::size_t m_number; // among those of all modules
  };
  struct MODULE {
    std::string_view m_key;
    simdjson::dom::object m_object;
    KEP_MODULE_ID m_id{};
    std::vector<PORT> m_ports;
    std::unordered_map<std::string_view, unsigned> m_port_numbers;

    const PORT* find_port(std::string_view name) const;
  };

  /// Adds them to the builder. `place` must outlive this.
  KEP_MODEL_MODULES(simdjson::dom::object modules, const KEP_JSON_PLACE& place, KEP_DB_BUILDER& builder,
                    KEP_MODEL_WARNINGS& warnings);

  const MODULE* find(std::string_view key) const;
  const MODULE& get(std::size_t number) const { return m_modules[number]; }
  std::size_t get_number(const MODULE& module) const {
    return static_cast<std::size_t>(&module - m_modules.data());
  }
  std::size_t get_num_ports() const { return m_num_ports; }
  const KEP_JSON_PLACE& get_place() const { return m_place; }

private:
  void read_ports(MODULE& module, KEP_DB_BUILDER& builder);
  void read_port(MODULE& module, std::string_view name, simdjson::dom::object port,
                 const KEP_JSON_PLACE& place, KEP_DB_BUILDER& builder);

  const KEP_JSON_PLACE& m_place;
  std::vector<MODULE> m_modules;
  std::unordered_map<std::string_view, std::size_t> m_module_numbers;
  std::size_t m_num_ports = 0;
};
