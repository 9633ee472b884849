#pragma once

#include "kep/kep_db_builder.h"
#include "kep_io/model/kep_model_reader_bits.h"
#include "kep_io/model/kep_model_reader_modules.h"
#include "kep_io/model/kep_model_reader_names.h"
#include "kep_io/model/kep_model_reader_outline.h"
#include "kep_io/model/kep_model_reader_piece.h"
#include "kep_io/model/kep_model_reader_warnings.h"

#include <cstdint>
#include <vector>

/// Adds to a builder what is inside modules: pieces are read on all threads and added one by one in the order
/// of the file, so that nothing hangs on the threads.
class KEP_MODEL_CONTENTS {
public:
  /// Net numbers below `dense_limit` are looked up in an array: the size of the file is a good limit.
  KEP_MODEL_CONTENTS(const KEP_MODEL_MODULES& modules, KEP_DB_BUILDER& builder, std::uint64_t dense_limit,
                     KEP_MODEL_WARNINGS& warnings)
      : m_modules(modules), m_builder(builder), m_warnings(warnings), m_nets(builder, dense_limit),
        m_names(warnings), m_has_net_attributes(modules.get_num_ports()) {}

  void read(const KEP_MODEL_OUTLINE& outline);

private:
  using MODULE = KEP_MODEL_MODULES::MODULE;

  void add(const KEP_MODEL_PIECE& piece);
  void connect_ports(const MODULE& module, const KEP_JSON_PLACE& place);
  void add_cells(const MODULE& module, const KEP_MODEL_PIECE& piece, const KEP_JSON_PLACE& list_place);
  void add_nets(const MODULE& module, const KEP_MODEL_PIECE& piece, const KEP_JSON_PLACE& list_place);
  void set_port_attributes(const MODULE& module, const KEP_MODEL_PIECE::NET& net,
                           const KEP_JSON_PLACE& place);

  const KEP_MODEL_MODULES& m_modules;
  KEP_DB_BUILDER& m_builder;
  KEP_MODEL_WARNINGS& m_warnings;
  KEP_MODEL_NETS m_nets;
  KEP_MODEL_NAMES m_names;
  std::vector<KEP_NET_ID> m_net_ids;      // of the bits of a piece
  std::vector<bool> m_has_net_attributes; // by the number of a port
};
