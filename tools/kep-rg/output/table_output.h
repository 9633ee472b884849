#pragma once

#include "kep/kep_routing_graph.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// How a dump and every list call the kind of a node: uip, hipi, boundary.
const char* get_kind_text(const KEP_ROUTING::NODE& node);
/// The module that a node is a port of: the master of its instance, the top for a boundary node.
const KEP_MODULE* get_module(const KEP_ROUTING::NODE& node);

/// A list on standard output, written as it is made: a head line with the names of the columns and a line for
/// each row, with tabs in between; or a JSON array with an object a line.
class TABLE_OUTPUT {
public:
  TABLE_OUTPUT(std::vector<std::string> columns, bool is_json);
  TABLE_OUTPUT(const TABLE_OUTPUT&) = delete;
  TABLE_OUTPUT& operator=(const TABLE_OUTPUT&) = delete;

  ///@{
  /// The next cell of the row. A row is complete with its last cell.
  void add(std::string_view text);
  void add(std::uint64_t number);
  ///@}
  /// Behind the last row.
  void finish();

private:
  void begin_cell();
  void end_cell();
  void print();

  std::vector<std::string> m_columns; // as JSON has them, where it is asked for
  bool m_is_json;
  std::size_t m_column = 0;
  bool m_has_rows = false;
  std::string m_text; // not yet printed
};
