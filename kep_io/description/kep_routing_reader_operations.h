#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_primitive.h"
#include "kep_io/description/kep_routing_reader_statement.h"
#include "kep_rg/kep_rg_parse.h"

#include <string>

/// Carries statements out: looks up what they name and calls the operation. KEP_ROUTING_REFUSAL for a name
/// that names nothing, and for what the operation takes for granted; what the operation refuses itself goes
/// through.
class KEP_ROUTING_OPERATIONS {
public:
  KEP_ROUTING_OPERATIONS(KEP_DB* db, KEP_RG_PARSE& parse);
  void carry_out(const KEP_ROUTING_STATEMENT& statement);
  /// What is odd about the last statement, though it was carried out; "" when nothing is.
  const std::string& get_warning() const { return m_warning; }

private:
  void add_port_edge(const KEP_ROUTING_STATEMENT& statement);
  void add_routing_root(const KEP_ROUTING_STATEMENT& statement);
  void set_skip_paths(const KEP_ROUTING_STATEMENT& statement);
  void add_wire_type(const KEP_ROUTING_STATEMENT& statement);
  void set_spare_row(const KEP_ROUTING_STATEMENT& statement);

  KEP_MODULE* get_module(const KEP_ROUTING_STATEMENT& statement) const;
  KEP_PORT* get_port(const KEP_ROUTING_STATEMENT& statement, KEP_ROUTING_FIELD field) const;

  KEP_DB* m_db;
  KEP_RG_PARSE& m_parse;
  KEP_ROUTING_PRIMITIVE* m_store;
  std::string m_warning;
};
