#pragma once

#include "kep/kep_db_builder.h"
#include "kep_io/model/kep_model_reader_bits.h"
#include "kep_io/model/kep_model_reader_modules.h"
#include "kep_io/model/kep_model_reader_names.h"
#include "kep_io/model/kep_model_reader_outline.h"
#include "kep_io/model/kep_model_reader_warnings.h"
#include "kep_io/text/kep_json_value.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <string_view>
#include <vector>

/// What a piece of a model holds, parsed and checked as far as it can be on its own: pieces are read side by
/// side, and their contents added in the order of the file. Texts last until the next piece is read with the
/// same object.
class KEP_MODEL_PIECE {
public:
  /// A bit that is not unconnected, in the order of the file.
  struct BIT {
    unsigned m_index; // of a cell the port of the master, of a net the bit
    std::uint64_t m_number;
  };
  struct CELL {
    std::size_t m_master;
    KEP_INSTANCE_PROPERTIES m_properties;
    std::size_t m_end; // of its bits, which begin where those of the one before end
  };
  struct NET {
    KEP_MODEL_BIT_RANGE m_range;
    std::size_t m_end;
    // If it is named like a port, what it tells of it.
    const KEP_MODEL_MODULES::PORT* m_port;
    std::optional<std::int64_t> m_re_index;
    std::optional<std::string_view> m_icd_port_name;
  };

  explicit KEP_MODEL_PIECE(const KEP_MODEL_MODULES& modules);

  void set_text(const KEP_MODEL_PIECE_TEXT& text) { m_text = &text; }
  /// Throws nothing.
  void read();

  const KEP_MODEL_PIECE_TEXT& get_text() const { return *m_text; }
  /// Of the cells or nets, and maybe of one more behind them at which the piece was refused.
  const std::vector<KEP_MODEL_NAME>& get_names() const { return m_names; }
  const std::vector<CELL>& get_cells() const { return m_cells; }
  const std::vector<NET>& get_nets() const { return m_nets; }
  const std::vector<BIT>& get_bits() const { return m_bits; }
  const KEP_MODEL_ODD_ATTRIBUTES& get_odd_attributes() const { return m_odd; }
  /// Throws what the piece was refused with behind these, if it was.
  void rethrow_refusal() const {
    if (m_refusal) std::rethrow_exception(m_refusal);
  }

private:
  simdjson::dom::object parse(const KEP_JSON_PLACE& list_place);
  void read_members();
  void read_cell(simdjson::dom::object cell, const KEP_JSON_PLACE& place);
  void read_connections(simdjson::dom::object cell, const KEP_MODEL_MODULES::MODULE& master,
                        const KEP_JSON_PLACE& place);
  void read_net(std::string_view name, simdjson::dom::object net, const KEP_JSON_PLACE& place);
  void read_port_attributes(NET& net, simdjson::dom::object object, const KEP_JSON_PLACE& place);

  const KEP_MODEL_MODULES& m_modules;
  const KEP_MODEL_PIECE_TEXT* m_text = nullptr;
  std::string m_padded;
  simdjson::dom::parser m_parser;
  std::vector<KEP_MODEL_NAME> m_names;
  std::vector<CELL> m_cells;
  std::vector<NET> m_nets;
  std::vector<BIT> m_bits;
  KEP_MODEL_ODD_ATTRIBUTES m_odd;
  std::exception_ptr m_refusal;
  // By the number of a port: the last cell, counted through all pieces read here, that names it.
  std::vector<std::uint64_t> m_last_cells;
  std::uint64_t m_num_cells = 0;
};
