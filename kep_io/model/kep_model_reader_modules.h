#pragma once

#include "kep/kep_db_builder.h"
#include "kep_io/model/kep_model_reader_bits.h"
#include "kep_io/model/kep_model_reader_warnings.h"
#include "kep_io/text/kep_json_value.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

class KEP_REPORT_PROGRESS;

/// Fills a builder with the modules of a file. First all modules with their ports, since masters may stand
/// behind their uses; then what is inside them. Views into the parsed file are kept until the end.
class KEP_MODEL_MODULES {
public:
  /// Net numbers below `dense_limit` are looked up in an array: the size of the file is a good limit.
  KEP_MODEL_MODULES(KEP_DB_BUILDER& builder, std::uint64_t dense_limit, KEP_MODEL_WARNINGS& warnings)
      : m_builder(builder), m_nets(builder, dense_limit), m_warnings(warnings) {}

  void read(simdjson::dom::object modules, const KEP_JSON_PLACE& place);

private:
  /// A port as the file has it: one or more ports of the model.
  struct PORT {
    std::string_view m_name;
    unsigned m_first;
    unsigned m_width;
    bool m_has_net_attributes = false;
    std::uint64_t m_last_cell = 0; // the last one that names the port
  };
  struct MODULE {
    std::string_view m_key;
    simdjson::dom::object m_object;
    KEP_MODULE_ID m_id{};
    std::vector<PORT> m_ports;
    std::unordered_map<std::string_view, unsigned> m_port_numbers;

    PORT* find_port(std::string_view name);
  };

  std::uint64_t count_cells() const;
  void read_ports(MODULE& module, const KEP_JSON_PLACE& place);
  void read_port(MODULE& module, std::string_view name, simdjson::dom::object port,
                 const KEP_JSON_PLACE& place);
  void connect_ports(MODULE& module, const KEP_JSON_PLACE& place);
  void read_cells(MODULE& module, const KEP_JSON_PLACE& place);
  void read_cell(MODULE& module, std::string_view name, simdjson::dom::object cell,
                 const KEP_JSON_PLACE& place);
  void connect_cell(MODULE& module, KEP_INSTANCE_ID instance, MODULE& master, simdjson::dom::object cell,
                    const KEP_JSON_PLACE& place);
  void read_netnames(MODULE& module, const KEP_JSON_PLACE& place);
  void read_port_attributes(MODULE& module, PORT& port, simdjson::dom::object net,
                            const KEP_JSON_PLACE& place);

  KEP_DB_BUILDER& m_builder;
  KEP_MODEL_NETS m_nets;
  KEP_MODEL_WARNINGS& m_warnings;
  std::vector<MODULE> m_modules;
  std::unordered_map<std::string_view, std::size_t> m_module_numbers;
  std::uint64_t m_num_cells = 0; // read so far
  KEP_REPORT_PROGRESS* m_progress = nullptr;
};
