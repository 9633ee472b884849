#pragma once

/// @file
/// Redundancy data from a text in memory.

#include "kep/kep_db.h"
#include "kep_rg/kep_rg_relative_port.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

class KEP_RG_REDUNDANCY_FIXUP_TABLES; // the two rewrite tables; belongs to the parser

/// Reads redundancy data (docs/glossary.md): a text that names, for one module, ports below it that are
/// redundant.
///
///     module_name: my_tile
///     0 inst_a/inst_b:port_c
///     0 inst_d:port_e
///
/// The text is a stream of tokens split at blanks, tabs, newlines and double quotes; lines mean nothing.
/// Behind the keyword and the module's name come pairs, of which the first is not read and the second is a
/// relative port below the module. A carriage return belongs to its token.
///
/// A tool constructs one, calls parse(), reads what failed, calls fixup() and stores the result with
/// kep_rg_indexed_relative_paths_add_to(). The database must outlive the object; one thread calls, and
/// parse() uses others inside.
class KEP_RG_EXPORT KEP_RG_PARSE_REDUNDANCY {
public:
  /// `view_type` is the view in which the module of the data is searched. A negative number of threads means
  /// as many as the machine has. Reports the number.
  KEP_RG_PARSE_REDUNDANCY(KEP_DB* db, int view_type, const KEP_VIEW_TYPE_RANK& rank, int num_threads);
  /// Copies share the rewrite tables, if there are any yet: a copy must then not outlive its source nor be
  /// destroyed beside it.
  KEP_RG_PARSE_REDUNDANCY(const KEP_RG_PARSE_REDUNDANCY& other) = default;
  KEP_RG_PARSE_REDUNDANCY& operator=(const KEP_RG_PARSE_REDUNDANCY& other) = default;
  ~KEP_RG_PARSE_REDUNDANCY();

  /// Replaces `out` by the ports that could be read, in the order of the data, and tells whether all could
  /// and there were some. KEP_RUNTIME_ERROR when the keyword is missing; asserts that no pair is cut short
  /// (find_cut_off asks before).
  bool parse(KEP_RG_MODULE_RELATIVE_PORTS* out, std::string_view text);
  /// What parse() could not read, in the order of the data; of the last call alone.
  std::vector<std::string> get_failed_lines() { return m_failed_lines; }
  /// Where these begin, as offsets in the text.
  const std::vector<std::size_t>& get_failed_offsets() const { return m_failed_offsets; }
  /// The module of the data when nothing below it could be read, else empty.
  std::string get_failed_module() { return m_failed_module; }
  /// The last call found no such module.
  bool is_module_unknown() const;
  /// Why parse() would throw or assert on this text, in a few words: the keyword is missing, or the text is
  /// cut off behind it or in the middle of a pair. "" if it would not. Cheap.
  static const char* find_cut_off(std::string_view text);

  /// Rewrites ports to the level that the graph needs, appends them to `out` and gives the number of
  /// rewrites: a port of a nested mux becomes the port of the enclosing mux that is wired down to it, and an
  /// output of a mux becomes its first input. The rules come from the description as it stands at the first
  /// call.
  std::size_t fixup(KEP_RG_MODULE_RELATIVE_PORTS* out, const KEP_RG_MODULE_RELATIVE_PORTS* in);
  ///@{
  /// The two rewrite tables, null before the first fixup().
  const KEP_RG_RELATIVE_PORT_TO_PORT* get_inner_to_outer() const;
  const KEP_RG_RELATIVE_PORT_TO_PORT* get_output_to_input() const;
  ///@}

  /// The database of the data.
  KEP_DB* get_db() { return m_db; }

private:
  KEP_DB* m_db;
  KEP_VIEW_TYPE m_view_type;
  KEP_VIEW_TYPE_RANK m_view_type_rank;
  std::string m_failed_module;
  std::vector<std::string> m_failed_lines;
  int m_num_threads;
  KEP_RG_REDUNDANCY_FIXUP_TABLES* m_fixup_tables = nullptr; // owned; made by the first fixup
  std::vector<std::size_t> m_failed_offsets;
};
